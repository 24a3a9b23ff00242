// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/modTools.h"
#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"

namespace {
constexpr qsizetype angleWidth = 8;
constexpr qsizetype countWidth = 9;
constexpr int angleDecimals = 4;
constexpr int headDecimals = 3;
constexpr qsizetype headLines = 32;

void appendKey(QByteArray& content, const char* key, double value)
{
    content.append(key);
    NumberFields::Append(content, NumberBytes::Fixed(value, headDecimals));
    content.append(NumberFields::lineEnd);
}
} // namespace

qint16 CreateUXDFile(const ScanRecord& scan, const QString& path)
{
    modTools::WriteLog(false, QStringLiteral("CreateUXDFile()"));
    return FileWriting::WriteExport("uxd", scan, path, [](const ScanRecord& data, QByteArray& content) {
        content.reserve((data.size() + headLines) * (angleWidth + countWidth + 2));
        content.append("_SAMPLE=").append(FileWriting::OneLine(data.sample)).append(NumberFields::lineEnd);
        content.append("_DATEMEASURED=").append(NumberFields::lineEnd); // without the date: intended
        appendKey(content, "_START=", data.parameters.start);
        appendKey(content, "_STEPSIZE=", data.parameters.step);
        for (qint32 i = 1; i <= data.size(); ++i) {
            NumberFields::AppendRight(content, NumberBytes::Fixed(data.parameters.start + (i - 1) * data.parameters.step, angleDecimals),
                                      angleWidth);
            NumberFields::AppendRight(content, NumberBytes::Print(data.count(i)), countWidth);
            content.append(NumberFields::lineEnd);
        }
        return ProgramError();
    });
}
