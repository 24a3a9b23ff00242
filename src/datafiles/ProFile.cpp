// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"

qint16 CreateProFile(const ScanRecord& scan, const QString& path)
{
    return FileWriting::WriteExport("pro", scan, path, [](const ScanRecord& data, QByteArray& content) {
        NumberFields::AppendHeader(content, data.parameters, false);
        NumberFields::AppendRaisedCounts(content, data.counts(), false);
        content.append(NumberFields::lineEnd);
        return ProgramError();
    });
}
