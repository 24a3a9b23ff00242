// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"

qint16 CreateProFile(const QString& path)
{
    return FileWriting::WriteExport("pro", path, [](QByteArray& content) {
        NumberFields::AppendHeader(content, false);
        NumberFields::AppendRaisedCounts(content, false);
        content.append(NumberFields::lineEnd);
        return ProgramError();
    });
}
