// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"

qint16 CreateAsciiYFile(const QString& path)
{
    return FileWriting::WriteExport("ascii-y", path, [](QByteArray& content) {
        // The format has no data points: intended.
        content = "sample: " + FileWriting::SampleName().trimmed() + NumberFields::lineEnd;
        return ProgramError();
    });
}
