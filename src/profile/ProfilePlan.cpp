// SPDX-License-Identifier: GPL-3.0-or-later

// What a run will do, before it does it: its measurements, its time, its files.

#include "core/Configuration.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/ScanParameters.h"
#include "core/modTools.h"
#include "datafiles/modFile.h"
#include "goniometer/ScanRun.h"
#include "profile/ProfileEdit.h"
#include "profile/ProfileRun.h"
#include "temperature/Controller.h"

#include <QDirIterator>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;
using ProfileRun::Row;

namespace {
constexpr double longestTime = 1e9;        // s, where texts stop counting
constexpr qsizetype longestDetails = 1000; // scans that are listed
constexpr qsizetype mostFindings = 100;
constexpr qsizetype columnGap = 2; // blanks between the columns of the list

/// Expected time from the setpoint to the steady temperature [s].
double settlingTime(double from, double to, double ramp)
{
    return configuration().general.onThisInstrument(Temperature::active().settlingTime(from, to, ramp));
}

double scanTime(const Row& row)
{
    return ScanRun::ExpectedTime(scanParameters(), row.counterTime);
}

/// What all scans of a step have in common.
Row rowOf(const TProfile::Step& step)
{
    const double exposure = TProfile::Seconds(NumberText::RoundToEven(step.exposure.value_or(0)));
    Row row;
    row.ramp = step.ramp.value_or(0);
    row.dwell = TProfile::Seconds(step.dwell.value_or(0));
    row.counterTime = exposure > 0 ? exposure : scanParameters().counterTime;
    return row;
}

/// The names in the work directory and those that the plan has given away.
class Names
{
public:
    Names()
    {
        QDirIterator files(configuration().general.workDir, {u"*.sdf"_s}, QDir::AllEntries | QDir::Hidden | QDir::System);
        while (files.hasNext()) {
            files.next();
            m_taken.insert(folded(files.fileName()));
        }
    }
    /// Gives the row its file name: the one that saving would choose.
    void take(Row& row, const QString& name)
    {
        row.plannedFile = name;
        row.exists = m_taken.contains(folded(name));
        if (row.exists) {
            qint32& index = m_lastIndex[folded(name)];
            index = std::max(index, 1);
            do
                row.plannedFile = name.chopped(extension.size()) + u'(' + NumberText::General(++index) + u')' + extension;
            while (m_taken.contains(folded(row.plannedFile)));
        }
        m_taken.insert(folded(row.plannedFile));
    }

private:
    static QString folded(const QString& name)
    {
#ifdef Q_OS_WIN
        return name.toLower();
#else
        return name;
#endif
    }

    const QString extension = u".sdf"_s;
    QSet<QString> m_taken;
    QHash<QString, qint32> m_lastIndex;
};

/// Cells as columns of text, each as wide as its widest cell; the first `numbers` columns to the right.
QStringList inColumns(const QList<QStringList>& table, qsizetype numbers)
{
    QList<qsizetype> widths;
    for (const QStringList& cells : table) {
        widths.resize(std::max(widths.size(), cells.size()));
        for (qsizetype i = 0; i < cells.size(); ++i)
            widths[i] = std::max(widths[i], cells[i].size());
    }
    QStringList lines;
    for (const QStringList& cells : table) {
        QString line;
        for (qsizetype i = 0; i < cells.size(); ++i)
            line += (i < numbers ? cells[i].rightJustified(widths[i]) : cells[i].leftJustified(widths[i])) + QString(columnGap, u' ');
        while (line.endsWith(u' '))
            line.chop(1);
        lines += line;
    }
    return lines;
}

/// The scans with their files, the first of them when there are very many.
QStringList scanList(const QList<Row>& rows)
{
    const QString unit = u' ' + Temperature::active().scale().unit;
    QList<QStringList> table;
    const qsizetype listed = std::min(rows.size(), longestDetails);
    for (qsizetype i = 0; i < listed; ++i)
        table += {NumberText::General(qint64{i + 1}), NumberText::General(rows[i].setpoint) + unit,
                  NumberText::General(rows[i].counterTime) + u" s"_s, rows[i].plannedFile, rows[i].exists ? u"index added"_s : QString()};
    QStringList lines = inColumns(table, 3);
    if (listed < rows.size())
        lines += u"... and "_s + NumberText::General(qint64{rows.size() - listed}) + u" more"_s;
    return lines;
}

/// The measurements of several rows seen as one: it ends at the last of them and takes their time.
class Outliner
{
public:
    Outliner(ProfileRun::Outline& outline, qsizetype rowsPerMark) : m_outline(outline), m_rowsPerMark(rowsPerMark) {}

    void add(const TProfile::Step& step, qsizetype count)
    {
        Row row = rowOf(step);
        const double fixed = row.dwell + scanTime(row);
        const double within = count > 1 ? settlingTime(step.temperature(0), step.temperature(1), row.ramp) : 0;
        for (qsizetype i = 0; i < count;) {
            const qsizetype taken = std::min(count - i, m_rowsPerMark - m_inMark);
            row.estimate = static_cast<double>(taken) * (within + fixed);
            if (i == 0)
                row.estimate += settlingTime(m_before, step.temperature(0), row.ramp) - within;
            i += taken;
            row.setpoint = m_before = step.temperature(i - 1);
            append(row, taken);
        }
    }

private:
    void append(const Row& row, qsizetype taken)
    {
        m_outline.scans += taken;
        m_outline.seconds += row.estimate;
        const double carried = m_inMark > 0 ? m_outline.rows.takeLast().estimate : 0;
        m_outline.rows += row;
        m_outline.rows.last().estimate += carried;
        m_inMark = (m_inMark + taken) % m_rowsPerMark;
    }

    ProfileRun::Outline& m_outline;
    qsizetype m_rowsPerMark;
    qsizetype m_inMark = 0;
    double m_before = Temperature::active().startsAt;
};
/// What is wrong with the value that stands behind a key.
QString faultOf(const QString& key, const QString& text, std::optional<ProfileEdit::Box> box)
{
    if (text.isEmpty())
        return {};
    if (!NumberText::StartsWithNumber(text))
        return key + u" is not a number"_s + (key == u"T1"_s ? u"; the line is skipped"_s : QString());
    bool whole = false;
    QString(text).remove(u' ').replace(u',', u'.').toDouble(&whole);
    if (!whole)
        return key + u" is read as "_s + NumberText::General(NumberText::ReadNumber(text));
    return box ? ProfileEdit::refusal(*box, text) : QString();
}

/// What the check says of one line.
QStringList faultsOf(const QString& line)
{
    using ProfileEdit::Box;
    static const std::pair<const char16_t*, std::optional<Box>> fields[] = {{u"T1", Box::T1},  {u"T2", Box::T2},    {u"DT", Box::dT},
                                                                            {u"R", Box::Ramp}, {u"DW", Box::Dwell}, {u"E", std::nullopt}};
    if (line.trimmed().isEmpty() || TProfile::IsComment(line))
        return {};
    if (TProfile::FieldText(line, u"T1"_s).isEmpty())
        return {u"no start temperature; the line is skipped"_s};
    ProfileEdit::Boxes boxes;
    ProfileEdit::load(line, &boxes);
    QStringList faults;
    if (const QString missing = ProfileEdit::missing(boxes).text; !missing.isEmpty() && TProfile::ParseStep(line))
        faults += missing + u" Only T1 is measured."_s;
    for (const auto& [name, box] : fields) {
        const QString key = QString::fromUtf16(name);
        QString text = TProfile::FieldText(line, key);
        if (box == Box::dT && text.startsWith(u'-'))
            text.remove(0, 1); // the sign of a step has no meaning
        if (const QString fault = faultOf(key, text, box); !fault.isEmpty())
            faults += fault;
        const qsizetype at = line.indexOf(key + u":"_s, 0, Qt::CaseInsensitive);
        if (at >= 0 && line.indexOf(u";"_s + key + u":"_s, at, Qt::CaseInsensitive) >= 0)
            faults += key + u" stands more than once; the first counts"_s;
    }
    return faults;
}
} // namespace

namespace ProfileRun {
QList<Row> Plan()
{
    QList<Row> rows;
    const QString sample = frontPanel().text(FrontPanel::Field::txtFileName);
    Names names;
    double before = Temperature::active().startsAt;
    const QStringList& lines = TProfile::state().lines;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const std::optional<TProfile::Step> step = TProfile::ParseStep(lines[i]);
        if (!step)
            continue;
        Row next = rowOf(*step);
        next.line = static_cast<int>(i) + 1;
        const qsizetype count = step->count(mostScans + 1 - rows.size());
        for (qsizetype k = 0; k < count; ++k) {
            next.setpoint = step->temperature(k);
            next.estimate = settlingTime(before, next.setpoint, next.ramp) + next.dwell + scanTime(next);
            names.take(next, FileName(sample, next.setpoint));
            before = next.setpoint;
            rows += next;
        }
    }
    return rows;
}

double TimeFor(const QList<Row>& rows, qsizetype from)
{
    double seconds = 0;
    for (qsizetype i = from; i < rows.size(); ++i)
        seconds += rows[i].estimate;
    return seconds;
}

Outline outline(const QList<TProfile::Step>& steps, qsizetype marks)
{
    QList<qsizetype> counts;
    qsizetype scans = 0;
    for (const TProfile::Step& step : steps) {
        counts += step.count(longestPlan - scans);
        scans += counts.last();
    }
    Outline result;
    Outliner outliner(result, std::max<qsizetype>(1, (scans + marks - 1) / marks));
    for (qsizetype i = 0; i < steps.size(); ++i)
        outliner.add(steps[i], counts[i]);
    return result;
}

double TimeLeft(qsizetype index)
{
    const Row& row = state().rows[index];
    const double elapsed = (modTools::timeGetTime() - state().phaseStartedAt) / 1000.0;
    const auto rest = [elapsed](double expected) { return std::max(expected - elapsed, 0.0); };
    const double scan = scanTime(row);
    switch (row.phase) {
    case Phase::Pending:
    case Phase::Paused:
        return row.estimate;
    case Phase::Setpoint:
    case Phase::Settling:
        return std::max(rest(row.estimate - row.dwell - scan) + row.dwell + scan, 1.0);
    case Phase::Dwelling:
        return std::max(rest(row.dwell) + scan, 1.0);
    case Phase::Acquiring:
        return std::max(rest(scan), 1.0);
    case Phase::Saving:
        return 1;
    default:
        return 0;
    }
}

double TimeLeft()
{
    double seconds = 0;
    for (qsizetype i = std::max(state().current, 0); i < state().rows.size(); ++i)
        seconds += TimeLeft(i);
    return seconds;
}

QString TimeText(double seconds)
{
    const auto whole = static_cast<qint64>(std::ceil(std::clamp(seconds, 0.0, longestTime)));
    return NumberText::General(whole / 3600) + u':' + QString::number(whole / 60 % 60).rightJustified(2, u'0') + u':' +
           QString::number(whole % 60).rightJustified(2, u'0');
}

QString TotalText(qint64 scans, double seconds)
{
    const auto minutes = std::llround(std::clamp(seconds, 0.0, longestTime) / 60);
    return NumberText::General(scans) + (scans == 1 ? u" scan, about "_s : u" scans, about "_s) +
           NumberText::General(qint64{minutes / 60}) + u" h "_s + QString::number(minutes % 60).rightJustified(2, u'0') + u" min"_s;
}

QString FileName(const QString& sample, double value)
{
    return sample + u"_"_s + Temperature::active().scale().fileValue(value) + u".sdf"_s;
}

QString TooManyText()
{
    return u"The profile asks for more than "_s + NumberText::General(qint64{mostScans}) + u" scans."_s;
}

QStringList Check()
{
    QStringList findings;
    qsizetype scans = 0;
    const QStringList& lines = TProfile::state().lines;
    for (qsizetype i = 0; i < lines.size() && findings.size() < mostFindings; ++i) {
        const QString where = u"line "_s + NumberText::General(qint64{i + 1}) + u": "_s;
        bool outside = false;
        for (const QString& finding : faultsOf(lines[i])) {
            findings += where + finding;
            outside = outside || finding.startsWith(u"The valid temperature range"_s) || finding.startsWith(u"The valid current range"_s);
        }
        const std::optional<TProfile::Step> step = TProfile::ParseStep(lines[i]);
        if (!step)
            continue;
        if (const QString why = ProfileEdit::seriesRefusal(*step); !why.isEmpty() && !outside)
            findings += where + why;
        scans += step->count(mostScans + 1 - scans);
        if (scans > mostScans) {
            findings += where + TooManyText();
            break;
        }
    }
    if (findings.size() >= mostFindings)
        findings += u"... and perhaps more"_s;
    return findings;
}

QString SummaryText()
{
    QStringList lines;
    const QString pidFile = Temperature::active().tableFile();
    if (!pidFile.isEmpty())
        lines += u"- PID parameter file: "_s + pidFile;
    lines += u"- Temperature profile: "_s + TProfile::state().currentFile;
    lines += u"- Current work directory is '"_s + configuration().general.workDir + u"'."_s;
    const Temperature::Scale scale = Temperature::active().scale();
    lines += u"- Files will be saved as '<SampleName>_"_s + scale.filePattern + u".sdf' ("_s + scale.filePattern + u"="_s +
             scale.fileMeaning + u")."_s;
    lines += u"  NOTE: Existing files with identical names get an additional index (n)!"_s;
    return lines.join(u"\r\n"_s) + u"\r\n\r\n"_s + u"Are you ready to continue?"_s;
}

QString DetailsText(const QList<Row>& rows)
{
    const double time = TimeFor(rows);
    QStringList lines = {TotalText(rows.size(), time)};
    if (!rows.isEmpty())
        lines[0] +=
            u", until "_s +
            modTools::currentDateTime().addSecs(static_cast<qint64>(std::clamp(time, 0.0, longestTime))).toString(u"yyyy-MM-dd hh:mm"_s);
    if (!configuration().general.autoSave)
        lines += u"Rehearsal: no file will be written."_s;
    lines += Check();
    if (!rows.isEmpty())
        lines += {QString(), u"Files by setpoint; the temperature read takes its place:"_s};
    return (lines + scanList(rows)).join(u'\n');
}
} // namespace ProfileRun
