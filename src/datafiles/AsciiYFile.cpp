// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"

qint16 CreateAsciiYFile(const ScanRecord& scan, const QString& path)
{
    return FileWriting::WriteExport("ascii-y", scan, path, [](const ScanRecord& data, QByteArray& content) {
        // The format has no data points: intended.
        content = "sample: " + FileWriting::OneLine(data.sample).trimmed() + NumberFields::lineEnd;
        return ProgramError();
    });
}
