// SPDX-License-Identifier: GPL-3.0-or-later
//
// The commands that need no instrument: info, convert.

#include "app/cli/Commands.h"
#include "app/cli/PeakSearch.h"

#include "core/Flags.h"
#include "core/NumberText.h"
#include "core/ScanData.h"
#include "datafiles/modFile.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {
using NumberText::General;

QString absolute(const QString& path)
{
    return QFileInfo(path).absoluteFilePath();
}

/// The version in the file's first line, behind the program's name.
QString versionOf(const QString& path)
{
    constexpr qint64 longestLine = 256;
    constexpr qsizetype programNameLength = 4;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(file.readLine(longestLine)).trimmed().mid(programNameLength).trimmed();
}

double smallest()
{
    return scanData().size() == 0 ? 0 : *std::min_element(scanData().counts().begin(), scanData().counts().end());
}
double largest()
{
    return scanData().size() == 0 ? 0 : *std::max_element(scanData().counts().begin(), scanData().counts().end());
}

QJsonArray peakArray(const QList<cli::Peak>& peaks)
{
    QJsonArray array;
    for (const cli::Peak& peak : peaks)
        array.append(QJsonObject{{"angle", peak.angle}, {"counts", peak.counts}, {"relative", peak.relative}});
    return array;
}

void showJson(const QString& path, const std::optional<QList<cli::Peak>>& peaks)
{
    const ScanParameters& used = scanData().parameters;
    QJsonObject object{
        {"version", versionOf(path)},
        {"name", scanData().sample},
        {"date", scanData().measuringDate},
        {"counterTime", used.counterTime},
        {"comment", scanData().comment},
        {"start", used.start},
        {"stop", used.stop},
        {"step", used.step},
        {"points", scanData().size()},
        {"minimum", smallest()},
        {"maximum", largest()},
        {"total", cli::totalCounts()},
    };
    if (peaks)
        object.insert("peaks", peakArray(*peaks));
    cli::Terminal::result(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Indented)).trimmed());
}

void showText(const QString& path, const std::optional<QList<cli::Peak>>& peaks)
{
    const auto line = [](const QString& name, const QString& value) {
        cli::Terminal::result(u"%1 %2"_qs.arg(name + u':', -13).arg(value).trimmed());
    };
    line(u"Sample name"_qs, scanData().sample);
    line(u"Measured"_qs, scanData().measuringDate);
    line(u"Comment"_qs, scanData().comment);
    line(u"File version"_qs, versionOf(path));
    cli::Terminal::result(cli::summary());
    if (!peaks)
        return;
    cli::Terminal::result(u"%1 %2 %3"_qs.arg(u"Peak [deg]"_qs, 10).arg(u"Counts"_qs, 10).arg(u"Relative"_qs, 10));
    for (const cli::Peak& peak : *peaks)
        cli::Terminal::result(u"%1 %2 %3"_qs.arg(NumberText::Fixed(peak.angle, 3), 10)
                                  .arg(General(peak.counts), 10)
                                  .arg(NumberText::Fixed(peak.relative, 1), 10));
}
} // namespace

int cli::info(const Arguments& arguments)
{
    const QString path = absolute(arguments.text("file"));
    const bool whole = modFile::OpenScanFile(false, path);
    if (!flags().dataPresent)
        return Failed;
    if (!whole)
        Terminal::note(scanData().markText());
    std::optional<QList<Peak>> peaks;
    if (arguments.has("peaks"))
        peaks = findPeaks(scanData().angles(), scanData().counts(), static_cast<qsizetype>(*arguments.number("peaks")));
    arguments.has("json") ? showJson(path, peaks) : showText(path, peaks);
    return whole ? Done : Failed;
}

int cli::convert(const Arguments& arguments)
{
    if (!modFile::OpenScanFile(false, absolute(arguments.text("file"))))
        return Failed;
    const QStringList exports = arguments.texts("export");
    return targetsUsable(exportPaths(exports)) && writeExports(exports) ? Done : Failed;
}
