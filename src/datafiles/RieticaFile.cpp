// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"

qint16 CreateRieticaFile(const ScanRecord& scan, const QString& path)
{
    return FileWriting::WriteExport("rietica", scan, path, [](const ScanRecord& data, QByteArray& content) {
        NumberFields::AppendHeader(content, data.parameters, true);
        content.append(FileWriting::OneLine(data.sample));
        NumberFields::AppendRaisedCounts(content, data.counts(), false);
        NumberFields::AppendPadding(content, data.size());
        content.append(NumberFields::lineEnd);
        return ProgramError();
    });
}
