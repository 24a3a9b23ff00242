// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"

qint16 CreateAsciiXYFile(const ScanRecord& scan, const QString& path)
{
    return FileWriting::WriteExport("ascii-xy", scan, path, [](const ScanRecord& data, QByteArray& content) {
        constexpr qsizetype usualLine = 20;
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
