// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/modFile.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/PrivateProfile.h"
#include "core/Prompts.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "datafiles/ExportFormats.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NativeFile.h"
#include "datafiles/Recovery.h"
#include "datafiles/ScanFileReader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <optional>

namespace {
using Field = FrontPanel::Field;

constexpr int datePanel = 2;
constexpr qsizetype extensionLength = 4;

// --- writing

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

// --- reading

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

/// The fields and the measuring date show this scan; the next one has its parameters.
void show(const ScanRecord& scan)
{
    FrontPanel& panel = frontPanel();
    panel.setText(Field::txtFileName, scan.sample);
    panel.setPanel(datePanel, scan.measuringDate);
    panel.setText(Field::CounterTime, NumberText::General(scan.parameters.counterTime));
    panel.setText(Field::txtComment, scan.comment);
    panel.setText(Field::ScanStart, NumberText::General(scan.parameters.start));
    panel.setText(Field::ScanStop, NumberText::General(scan.parameters.stop));
    panel.setText(Field::ScanStep, NumberText::General(scan.parameters.step));
    scanParameters() = scan.parameters;
}

/// The scan in memory as it is to be saved: under the name and with the comment that the fields show now.
ScanRecord scanToSave()
{
    scanData().sample = frontPanel().text(Field::txtFileName);
    scanData().comment = frontPanel().text(Field::txtComment);
    return scanData().record();
}

/// What a file holds.
struct FileRead
{
    std::optional<ScanRecord> scan; ///< whole, or as many points as the file has; nothing: the file is none, or its head cannot be read
    std::optional<Prompts::Message> box; ///< why it was refused, or where the reading ended
};

Prompts::Message errorBox(const QString& path, const ProgramError& error)
{
    return NativeFile::Refusal(QStringLiteral("Error # %1 was generated while reading file ").arg(error.number) + path +
                                   QStringLiteral(".\n") + error.description,
                               Prompts::Icon::Critical);
}

/// Reads the whole file under the busy flag, and touches nothing else.
FileRead readFile(const QString& path)
{
    const FileWriting::Activity activity(QStringLiteral("Reading file ") + path + QStringLiteral("..."), QStringLiteral("Ready"));
    ScanRecord scan;
    try {
        ScanFileReader reader(path);
        if (std::optional<Prompts::Message> refused = NativeFile::RefusedBy(reader, path))
            return {std::nullopt, refused};
        scan = NativeFile::ReadHead(reader);
        NativeFile::ReadCounts(reader, scan);
    } catch (const ScanFileReader::ReadError& failure) {
        // A file that ends early has fewer points; in any other case nobody knows what its numbers are.
        const bool partial = scan.received > 0 && failure.error.number == ProgramError::InputPastEnd;
        return {partial ? std::optional(scan) : std::nullopt, errorBox(path, failure.error)};
    }
    return {scan, std::nullopt};
}

void takeIntoMemory(const ScanRecord& scan)
{
    show(scan);
    scanData().take(scan);
    flags().dataPresent = true;
    flags().dataSaved = true;
    frontPanel().refreshEntries();
    scanData().plot();
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

qint16 CreateZELKOFile(const ScanRecord& scan, QString& path, bool keepExisting)
{
    modTools::WriteLog(false, QStringLiteral("CreateZELKOFile()"));
    ProgramError error;
    {
        const FileWriting::Activity activity(QStringLiteral("Writing file ") + path + QStringLiteral("..."));
        if (keepExisting)
            path = freeName(path);
        error = FileWriting::WriteWhole(path, NativeFile::Content(scan, path));
    }
    if (error)
        showMessage(QString::fromUtf16(ExportFormats::formats().first().errorTitle),
                    QStringLiteral("Error # %1 caused by CreateZELKOFile()\n%2").arg(error.number).arg(error.description),
                    Prompts::Icon::Critical);
    else
        FileWriting::TellSimulated(scan, path);
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
    }

    const FileRead file = readFile(chosenPath);
    if (file.box)
        prompts().message(*file.box);
    if (!file.scan)
        return false;
    if (interactive)
        takeOverWorkDirectory(SplitPath(chosenPath));
    takeIntoMemory(*file.scan);
    return !file.box;
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
    if (format->writer(scanToSave(), path) == 0 && chosen.filterIndex == 1) {
        flags().dataSaved = true;
        Recovery::saved();
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
