// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/modFile.h"

#include "core/CodePage.h"
#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberBytes.h"
#include "core/NumberText.h"
#include "core/PrivateProfile.h"
#include "core/Prompts.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "datafiles/ExportFormats.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"
#include "datafiles/ScanFileReader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <optional>

namespace {
using Field = FrontPanel::Field;

const QString beginMark = QStringLiteral("/*<beginc>");
const QString endMark = QStringLiteral("<endc>*/");
constexpr qint32 mostPoints = 1000000;
constexpr qsizetype extensionLength = 4;
constexpr qint16 temperatureFollows = 7;

// --- writing

QString blanksTrimmed(const QString& text)
{
    qsizetype from = 0;
    qsizetype to = text.size();
    while (from < to && text[from] == u' ')
        ++from;
    while (to > from && text[to - 1] == u' ')
        --to;
    return text.mid(from, to - from);
}

/// True when the name is used, also by something that cannot be opened: that too is to be kept.
bool isTaken(const QString& path)
{
    return modFile::FileReadable(path) == 0 || QFileInfo::exists(path) || QFileInfo(path).isSymLink();
}

/// The first free one of "Quartz.sdf", "Quartz(2).sdf", "Quartz(3).sdf"; there is no index 1, which is intended.
QString freeName(const QString& path)
{
    const QString base = path.left(qMax<qsizetype>(0, path.size() - extensionLength));
    const QString extension = path.right(extensionLength);
    QString candidate = path;
    for (qint32 n = 2; isTaken(candidate); ++n)
        candidate = base + u'(' + NumberText::General(n) + u')' + extension;
    return candidate;
}

QString fullPath(const QString& path)
{
    return QDir::isAbsolutePath(path) ? path : QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
}

QString crLfBreaks(const QString& text)
{
    QString result = text;
    return result.replace(QStringLiteral("\r\n"), QStringLiteral("\n")).replace(u'\r', u'\n').replace(u'\n', QStringLiteral("\r\n"));
}

QByteArray nativeContent(const QString& path)
{
    const ScanData& data = scanData();
    QByteArray content;
    const auto line = [&content](const QByteArray& text) { content.append(text).append(NumberFields::lineEnd); };
    const auto fixed = [&content](double value, int decimals) {
        NumberFields::Append(content, NumberBytes::Fixed(value, decimals));
        content.append(NumberFields::lineEnd);
    };

    line("scan " SCAN_VERSION);
    line("0");
    line("1");
    line(FileWriting::SampleName());
    line("n.n");
    line("");
    line(FileWriting::OneLine(frontPanel().panel(2)));
    fixed(data.parameters.counterTime, 1);
    line(FileWriting::OneLine(fullPath(path)));
    line(CodePage::toCodePage(beginMark + crLfBreaks(blanksTrimmed(frontPanel().text(Field::txtComment))) + endMark));
    fixed(data.parameters.start, 3);
    fixed(data.parameters.stop, 3);
    fixed(data.parameters.step, 3);
    line("");
    content.append(QByteArray::number(data.temperatureFlag));
    if (data.temperatureFlag == temperatureFollows) {
        NumberFields::Append(content, NumberBytes::General(data.temperature));
        content.append(' ');
    }
    line("");
    line("");
    NumberFields::AppendCountLines(content);
    return content;
}

// --- reading

const QString openErrorTitle = QStringLiteral("Open file error");

bool mayReplaceUnsaved()
{
    if (!flags().dataPresent || flags().dataSaved)
        return true;
    Prompts::Message question;
    question.title = QStringLiteral("Open file");
    question.text = QStringLiteral("Data in memory were not yet saved!\n\nDo you really want to continue?");
    question.icon = Prompts::Icon::Question;
    question.buttons = Prompts::Buttons::YesNo;
    question.defaultButton = 2;
    question.goesOn = Prompts::Button::Yes;
    question.safe = question.unattended = Prompts::Button::No;
    return prompts().message(question) == Prompts::Button::Yes;
}

Prompts::Message refusal(const QString& text, Prompts::Icon icon)
{
    Prompts::Message box;
    box.title = openErrorTitle;
    box.text = text;
    box.icon = icon;
    return box;
}

Prompts::Message correctionFileQuestion()
{
    Prompts::Message question;
    question.title = QStringLiteral("Open file");
    question.text = QStringLiteral("Generate correction file?");
    question.icon = Prompts::Icon::Question;
    question.buttons = Prompts::Buttons::OkCancel;
    question.defaultButton = 2;
    question.safe = question.unattended = Prompts::Button::Cancel;
    return question;
}

/// Major and minor as one number of single precision: 2.1 in a file equals 2.1 of the program.
float programVersion()
{
    const QStringList parts = QStringLiteral(SCAN_VERSION).split(u'.');
    constexpr double minorParts = 10;
    return static_cast<float>(parts.value(0).toInt() + parts.value(1).toInt() / minorParts);
}

/// Reads the identification line. The box that refuses the file, or nothing when it is to be read.
std::optional<Prompts::Message> refusedBy(ScanFileReader& reader, const QString& path)
{
    constexpr qsizetype nameLength = 4;
    const QString first = reader.line().trimmed();
    if (first.contains(QStringLiteral("angle error protocol"), Qt::CaseInsensitive))
        return correctionFileQuestion(); // its answer changes nothing: intended
    if (first.left(nameLength).toLower() != QStringLiteral("scan"))
        return refusal(u'\'' + path + QStringLiteral("' is is not a Scan file"), Prompts::Icon::Exclamation);
    const auto fileVersion = static_cast<float>(NumberText::ReadNumber(first.mid(nameLength)));
    if (programVersion() < fileVersion)
        return refusal(QStringLiteral("File version:") + NumberText::Print(fileVersion) +
                           QStringLiteral("\nProgram version: " SCAN_VERSION) +
                           QStringLiteral("\n\nCannot read data files generated by newer program versions!"),
                       Prompts::Icon::Critical);
    return std::nullopt;
}

QString readComment(ScanFileReader& reader)
{
    constexpr qsizetype longest = 4194304; // characters; a file without end mark is read to its end without keeping it
    const QString first = reader.line();
    const qsizetype marks = beginMark.size() + endMark.size();
    if (first.contains(endMark) && first.contains(beginMark))
        return first.mid(beginMark.size(), qMax<qsizetype>(0, first.size() - marks));
    QString comment = first.mid(beginMark.size());
    bool tooLong = reader.lineTooLong();
    for (bool ended = false; !ended;) {
        QString next = reader.line();
        tooLong = tooLong || reader.lineTooLong() || comment.size() + next.size() > longest;
        ended = next.contains(endMark);
        if (ended)
            next.chop(endMark.size());
        if (!tooLong)
            comment += u'\n' + next;
    }
    if (tooLong)
        throw ScanFileReader::ReadError{ProgramError::of(ProgramError::Overflow)};
    return comment;
}

double readInto(ScanFileReader& reader, Field field)
{
    const double value = reader.number();
    frontPanel().setText(field, NumberText::General(value));
    return value;
}

qint32 pointsOf(const ScanParameters& parameters)
{
    if (parameters.step == 0)
        throw ScanFileReader::ReadError{ProgramError::of(ProgramError::DivisionByZero)};
    bool overflow = false;
    const qint32 points = NumberText::RoundToLong(std::abs(parameters.start - parameters.stop) / parameters.step + 1, &overflow);
    if (overflow || points < 1 || points > mostPoints)
        throw ScanFileReader::ReadError{ProgramError::of(ProgramError::Overflow)};
    return points;
}

/// Sizes the scan in memory and reads its counts; on a read error the counts so far stay in it.
void readCounts(ScanFileReader& reader, const ScanParameters& parameters)
{
    constexpr qint32 pointsPerLook = 1000;
    constexpr quint32 longestSilence = 50; // ms
    ScanData& data = scanData();
    // From here on the earlier scan is gone, whatever becomes of this one.
    flags().dataPresent = false;
    flags().dataSaved = false;
    data.resize(parameters.numberOfPoints);
    data.parameters = parameters;
    data.minimum = 0;
    data.maximum = 0;
    for (qint32 i = 1; i <= data.size(); ++i)
        data.setPoint(i, (i - 1) * parameters.step + parameters.start, 0);

    quint32 lastEvents = modTools::timeGetTime();
    for (qint32 i = 1; i <= parameters.numberOfPoints; ++i) {
        const qint32 value = reader.value();
        data.minimum = i == 1 ? value : std::min(data.minimum, value);
        data.maximum = i == 1 ? value : std::max(data.maximum, value);
        data.setPoint(i, data.angle(i), value);
        // The window stays live during a long read: the clock is looked at every 1000 points, and events run when 50 ms have gone by.
        if (i % pointsPerLook == 0 && modTools::timeGetTime() - lastEvents >= longestSilence) {
            modTools::DoEvents();
            lastEvents = modTools::timeGetTime();
        }
    }
}

/// Reads the whole file. The box that refuses it or tells of a read error, or nothing when it was read whole.
std::optional<Prompts::Message> readNative(const QString& path)
{
    ScanFileReader reader(path);
    if (std::optional<Prompts::Message> refused = refusedBy(reader, path))
        return refused;
    const auto skip = [&reader](int lines) {
        for (int i = 0; i < lines; ++i)
            reader.line();
    };
    skip(2);
    frontPanel().setText(Field::txtFileName, reader.line());
    skip(2);
    frontPanel().setPanel(2, reader.line());
    ScanParameters parameters;
    parameters.counterTime = readInto(reader, Field::CounterTime);
    skip(1);
    frontPanel().setText(Field::txtComment, readComment(reader));
    parameters.start = readInto(reader, Field::ScanStart);
    parameters.stop = readInto(reader, Field::ScanStop);
    parameters.step = readInto(reader, Field::ScanStep);
    parameters.numberOfPoints = pointsOf(parameters);
    scanParameters() = parameters;
    skip(3);
    readCounts(reader, parameters);
    return std::nullopt;
}

/// Reads the file under the busy flag and has it drawn; the box to be shown after that, or nothing when the file was read whole.
std::optional<Prompts::Message> readAndDraw(const QString& path)
{
    const FileWriting::Activity activity(QStringLiteral("Reading file ") + path + QStringLiteral("..."), QStringLiteral("Ready"));
    try {
        if (std::optional<Prompts::Message> refused = readNative(path))
            return refused;
    } catch (const ScanFileReader::ReadError& failure) {
        return refusal(QStringLiteral("Error # %1 was generated while reading file ").arg(failure.error.number) + path +
                           QStringLiteral(".\n") + failure.error.description,
                       Prompts::Icon::Critical);
    }
    const ScanParameters& read = scanData().parameters;
    scanData().plot(read.start, read.stop, read.step, scanData().maximum);
    flags().dataPresent = true;
    flags().dataSaved = true;
    return std::nullopt;
}

/// Makes the directory the work directory, at once also in scan.ini.
void takeOverWorkDirectory(const modFile::PathParts& chosen)
{
    modFile::state().fileName = chosen.name;
    configuration().general.workDir = chosen.directory;
    frontPanel().setText(Field::txtWorkDir, chosen.directory);
    if (modTools::state().keepSettings)
        return;
    if (!PrivateProfile::WritePrivateProfileString(QStringLiteral("General"), QStringLiteral("WorkDir"), chosen.directory,
                                                   modTools::state().iniPath))
        modTools::WriteLog(false, QStringLiteral("WorkDir not written to ") + modTools::state().iniPath);
}

void showDispatchError(int number)
{
    const ProgramError error = ProgramError::of(number);
    showMessage(QStringLiteral("Save data"), QStringLiteral("Error # %1 caused by SaveAs()\n%2").arg(error.number).arg(error.description),
                Prompts::Icon::Critical);
}

/// The save dialog asked about the name typed, not about the one that the format's name rule makes of it.
bool mayReplace(const QString& path)
{
    if (!QFileInfo::exists(path))
        return true;
    Prompts::Message question;
    question.title = QStringLiteral("Save data");
    question.text = u'\'' + path + QStringLiteral("' already exists.\nDo you want to replace it?");
    question.icon = Prompts::Icon::Exclamation;
    question.buttons = Prompts::Buttons::YesNo;
    question.defaultButton = 2;
    question.goesOn = Prompts::Button::Yes;
    question.safe = question.unattended = Prompts::Button::No;
    return prompts().message(question) == Prompts::Button::Yes;
}
} // namespace

namespace modFile {
State& state()
{
    static State instance;
    return instance;
}

qint16 CreateZELKOFile(QString& path, bool keepExisting)
{
    modTools::WriteLog(false, QStringLiteral("CreateZELKOFile()"));
    ProgramError error;
    {
        const FileWriting::Activity activity(QStringLiteral("Writing file ") + path + QStringLiteral("..."));
        if (keepExisting)
            path = freeName(path);
        error = FileWriting::WriteWhole(path, nativeContent(path));
    }
    if (error)
        showMessage(QString::fromUtf16(ExportFormats::formats().first().errorTitle),
                    QStringLiteral("Error # %1 caused by CreateZELKOFile()\n%2").arg(error.number).arg(error.description),
                    Prompts::Icon::Critical);
    return static_cast<qint16>(error.number);
}

bool OpenScanFile(bool interactive, const QString& path)
{
    QString chosenPath = path;
    if (interactive) {
        if (!mayReplaceUnsaved())
            return false;
        Prompts::FileDialog dialog;
        dialog.filter = QStringLiteral("Zelko Scan Data files (*.sdf)|*.sdf|All files (*.*)|*.*");
        dialog.directory = configuration().general.workDir;
        chosenPath = prompts().openFile(dialog).path;
        if (chosenPath.isEmpty())
            return false;
        takeOverWorkDirectory(SplitPath(chosenPath));
    }

    if (const std::optional<Prompts::Message> box = readAndDraw(chosenPath)) {
        prompts().message(*box);
        return false;
    }
    return true;
}

void SaveAs()
{
    Prompts::FileDialog dialog;
    dialog.title = QStringLiteral("Save data");
    dialog.filter = ExportFormats::filter();
    dialog.directory = configuration().general.workDir;
    dialog.fileName = frontPanel().text(Field::txtFileName).trimmed();
    if (!dialog.fileName.isEmpty())
        dialog.fileName += QLatin1String(ExportFormats::formats().first().suffix);
    dialog.overwritePrompt = true;
    const Prompts::ChosenFile chosen = prompts().saveFile(dialog);
    if (chosen.path.isEmpty())
        return;
    const PathParts parts = SplitPath(chosen.path);
    const ExportFormats::Format* format = ExportFormats::ofFilterIndex(chosen.filterIndex);
    if (parts.name.isEmpty() || format == nullptr) {
        showDispatchError(ProgramError::BadFileName);
        return;
    }
    takeOverWorkDirectory(parts);

    const QString name = format->fileName(parts.name);
    const QString path = parts.directory + name;
    if (name != parts.name && !mayReplace(path))
        return;
    if (format->writer(path) == 0 && chosen.filterIndex == 1) {
        flags().dataSaved = true;
        frontPanel().refreshEntries();
    }
}

qint16 DirectoryWritable(const QString& directory)
{
    QFile scratch(WithSeparator(directory) + QStringLiteral("@.tmp"));
    errno = 0;
    if (!scratch.open(QIODevice::WriteOnly))
        return static_cast<qint16>(ProgramError::ofFile(scratch.fileName(), scratch.error(), errno).number);
    scratch.close();
    scratch.remove();
    return -1;
}

qint16 FileReadable(const QString& path)
{
    QFile file(path);
    errno = 0;
    if (file.open(QIODevice::ReadOnly))
        return 0;
    return static_cast<qint16>(ProgramError::ofFile(path, file.error(), errno).number);
}

PathParts SplitPath(const QString& path)
{
    qsizetype last = path.lastIndexOf(u'\\');
#ifndef Q_OS_WIN
    last = qMax(last, path.lastIndexOf(u'/'));
#endif
    if (last < 0)
        return {};
    return {path.left(last + 1), path.mid(last + 1)};
}

QString WithSeparator(const QString& directory)
{
    const PathParts parts = SplitPath(directory);
    if (!parts.directory.isEmpty() && parts.name.isEmpty())
        return directory;
    return directory + QDir::separator();
}
} // namespace modFile
