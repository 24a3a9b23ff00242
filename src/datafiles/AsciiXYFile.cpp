// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/ScanData.h"
#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"

qint16 CreateAsciiXYFile(const QString& path)
{
    return FileWriting::WriteExport("ascii-xy", path, [](QByteArray& content) {
        constexpr qsizetype usualLine = 20;
        const ScanData& data = scanData();
        content.reserve(data.size() * usualLine);
        content.append(NumberFields::lineEnd);
        for (qint32 i = 1; i <= data.size(); ++i) {
            const NumberBytes::Text angle = NumberBytes::Print(data.parameters.start + (i - 1) * data.parameters.step);
            const qsizetype blank = angle[0] == ' ' ? 1 : 0;
            content.append(angle.data() + blank, angle.size() - blank).append(' ');
            NumberFields::AppendPrintNum(content, data.count(i));
            content.append(NumberFields::lineEnd);
        }
        return ProgramError();
    });
}
