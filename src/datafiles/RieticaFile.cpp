// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"

qint16 CreateRieticaFile(const QString& path)
{
    return FileWriting::WriteExport("rietica", path, [](QByteArray& content) {
        NumberFields::AppendHeader(content, true);
        content.append(FileWriting::SampleName());
        NumberFields::AppendRaisedCounts(content, false);
        NumberFields::AppendPadding(content);
        content.append(NumberFields::lineEnd);
        return ProgramError();
    });
}
