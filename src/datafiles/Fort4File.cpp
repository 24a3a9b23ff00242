// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"

qint16 CreateFort4File(const QString& path)
{
    return FileWriting::WriteExport("fort4", path, [](QByteArray& content) {
        NumberFields::AppendHeader(content, true);
        content.append(FileWriting::SampleName());
        NumberFields::AppendRaisedCounts(content, true);
        NumberFields::AppendPadding(content);
        content.append(NumberFields::lineEnd);
        return ProgramError();
    });
}
