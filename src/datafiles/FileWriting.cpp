// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/FileWriting.h"

#include "core/CodePage.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "datafiles/ExportFormats.h"
#include "datafiles/modFile.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <filesystem>
#include <system_error>
#include <utility>

#ifdef Q_OS_WIN
#include <io.h>
#include <windows.h>
#else
#include <cerrno>
#include <unistd.h>
#endif

namespace {
#ifdef Q_OS_WIN
int lastSystemError()
{
    return static_cast<int>(GetLastError());
}
void clearSystemError()
{
    SetLastError(0);
}
bool flushToDisk(int handle)
{
    return _commit(handle) == 0;
}
#else
int lastSystemError()
{
    return errno;
}
void clearSystemError()
{
    errno = 0;
}
// What cannot be flushed at all (a terminal, a pipe) answers EINVAL; that is no failure of the file.
bool flushToDisk(int handle)
{
    return ::fsync(handle) == 0 || errno == EINVAL || errno == EROFS;
}
#endif

/// Opens with `mode`, writes everything, closes.
ProgramError writeAndClose(QFile& file, QIODevice::OpenMode mode, const QByteArray& content, const QString& path)
{
    clearSystemError();
    if (!file.open(mode | QIODevice::WriteOnly | QIODevice::Unbuffered))
        return ProgramError::ofFile(path, file.error(), lastSystemError());
    clearSystemError();
    const bool written = file.write(content) == content.size() && flushToDisk(file.handle());
    ProgramError error = written ? ProgramError() : ProgramError::ofFile(path, QFileDevice::ResourceError, lastSystemError());
    file.close();
    return error;
}

/// A free name in the folder of `path`, short whatever the length of the file's own name.
QString temporaryName(const QString& path)
{
    const QString folder = QFileInfo(path).absolutePath();
    QString name;
    do
        name = folder + QStringLiteral("/~scan%1.tmp").arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
    while (QFileInfo::exists(name));
    return name;
}

QString linkFollowed(const QString& path)
{
    constexpr int longestChain = 40;
    QString target = path;
    for (int i = 0; i < longestChain && QFileInfo(target).isSymLink(); ++i)
        target = QFileInfo(target).symLinkTarget();
    return target;
}
} // namespace

namespace FileWriting {
Activity::Activity(const QString& text, QString after) : m_after(std::move(after))
{
    flags().busy = true;
    frontPanel().setPointer(FrontPanel::Pointer::Hourglass);
    frontPanel().setPanel(1, text);
    frontPanel().refreshEntries();
    modTools::DoEvents();
}

Activity::~Activity()
{
    flags().busy = false;
    frontPanel().setPanel(1, m_after);
    frontPanel().refreshEntries();
    modTools::DoEvents();
    frontPanel().setPointer(FrontPanel::Pointer::Default);
}

void TellSimulated(const ScanRecord& scan, const QString& path)
{
    if (scan.simulated)
        frontPanel().setPanel(1, QStringLiteral("Saved, simulated counts: ") + path);
}

ProgramError WriteWhole(const QString& path, const QByteArray& content)
{
    const QString target = linkFollowed(path);
    const QFileInfo existing(target);
    const bool there = existing.exists();
    if (path.isEmpty() || existing.isDir() || existing.fileName().isEmpty())
        return ProgramError::ofFile(path, QFileDevice::OpenError, 0);
    if (there && !existing.isWritable())
        return ProgramError::of(ProgramError::PermissionDenied);
    if (there && !existing.isFile()) {
        QFile device(target);
        return writeAndClose(device, QIODevice::WriteOnly, content, target);
    }

    QFile file(temporaryName(target));
    ProgramError error = writeAndClose(file, QIODevice::NewOnly, content, target);
    if (!error) {
        if (there)
            file.setPermissions(existing.permissions());
        std::error_code failure;
        std::filesystem::rename(file.filesystemFileName(), QFile(target).filesystemFileName(), failure);
        if (failure)
            error = ProgramError::ofFile(target, QFileDevice::RenameError, failure.value());
    }
    if (error)
        file.remove();
    return error;
}

qint16 WriteExport(const char* key, const ScanRecord& scan, const QString& path, Content content)
{
    ProgramError error;
    {
        const Activity activity(QStringLiteral("Writing file ") + path + QStringLiteral("..."));
        QByteArray bytes;
        error = content(scan, bytes);
        if (!error)
            error = WriteWhole(path, bytes);
    }
    if (error)
        showMessage(QString::fromUtf16(ExportFormats::ofKey(QString::fromLatin1(key))->errorTitle),
                    QStringLiteral("Error\n[%1]\n[%2]").arg(error.number).arg(error.description), Prompts::Icon::Critical);
    else
        TellSimulated(scan, path);
    return static_cast<qint16>(error.number);
}

QByteArray OneLine(const QString& text)
{
    QString line = text;
    line.replace(QStringLiteral("\r\n"), QStringLiteral(" ")).replace(u'\r', u' ').replace(u'\n', u' ');
    return CodePage::toCodePage(line);
}
} // namespace FileWriting
