// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/ProgramError.h"

#include <QDir>
#include <QFileInfo>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <cerrno>
#endif

namespace {
struct Description
{
    int number;
    const char* text;
};

constexpr Description descriptions[] = {
    {ProgramError::Overflow, "Overflow"},
    {ProgramError::DivisionByZero, "Division by zero"},
    {ProgramError::TypeMismatch, "Type mismatch"},
    {ProgramError::BadFileName, "Bad file name or number"},
    {ProgramError::FileNotFound, "File not found"},
    {ProgramError::FileAlreadyOpen, "File already open"},
    {ProgramError::DeviceIoError, "Device I/O error"},
    {ProgramError::DiskFull, "Disk full"},
    {ProgramError::InputPastEnd, "Input past end of file"},
    {ProgramError::PermissionDenied, "Permission denied"},
    {ProgramError::DiskNotReady, "Disk not ready"},
    {ProgramError::PathFileAccess, "Path/File access error"},
    {ProgramError::PathNotFound, "Path not found"},
    {ProgramError::InvalidPort, "Invalid port number"},
    {ProgramError::PortAlreadyOpen, "Port already open"},
};

struct SystemError
{
    long code;
    int number;
};

#ifdef Q_OS_WIN
constexpr SystemError systemErrors[] = {
    {ERROR_FILE_NOT_FOUND, ProgramError::FileNotFound},
    {ERROR_PATH_NOT_FOUND, ProgramError::PathNotFound},
    {ERROR_BAD_NETPATH, ProgramError::PathNotFound},
    {ERROR_BAD_NET_NAME, ProgramError::PathNotFound},
    {ERROR_INVALID_DRIVE, ProgramError::PathNotFound},
    {ERROR_DIRECTORY, ProgramError::PathNotFound},
    {ERROR_ACCESS_DENIED, ProgramError::PermissionDenied},
    {ERROR_WRITE_PROTECT, ProgramError::PermissionDenied},
    {ERROR_SHARING_VIOLATION, ProgramError::PermissionDenied},
    {ERROR_LOCK_VIOLATION, ProgramError::PermissionDenied},
    {ERROR_NOT_READY, ProgramError::DiskNotReady},
    {ERROR_CRC, ProgramError::DeviceIoError},
    {ERROR_WRITE_FAULT, ProgramError::DeviceIoError},
    {ERROR_READ_FAULT, ProgramError::DeviceIoError},
    {ERROR_GEN_FAILURE, ProgramError::DeviceIoError},
    {ERROR_IO_DEVICE, ProgramError::DeviceIoError},
    {ERROR_HANDLE_EOF, ProgramError::InputPastEnd},
    {ERROR_HANDLE_DISK_FULL, ProgramError::DiskFull},
    {ERROR_DISK_FULL, ProgramError::DiskFull},
    {ERROR_INVALID_NAME, ProgramError::BadFileName},
    {ERROR_FILENAME_EXCED_RANGE, ProgramError::BadFileName},
};
#else
constexpr SystemError systemErrors[] = {
    {ENOENT, ProgramError::FileNotFound},     {ENOTDIR, ProgramError::PathNotFound},     {ELOOP, ProgramError::PathNotFound},
    {EACCES, ProgramError::PermissionDenied}, {EPERM, ProgramError::PermissionDenied},   {EROFS, ProgramError::PermissionDenied},
    {EBUSY, ProgramError::PermissionDenied},  {ETXTBSY, ProgramError::PermissionDenied}, {ENODEV, ProgramError::DiskNotReady},
    {ENXIO, ProgramError::DiskNotReady},      {EIO, ProgramError::DeviceIoError},        {ENOSPC, ProgramError::DiskFull},
    {EDQUOT, ProgramError::DiskFull},         {EFBIG, ProgramError::DiskFull},           {ENAMETOOLONG, ProgramError::BadFileName},
    {EINVAL, ProgramError::BadFileName},      {EILSEQ, ProgramError::BadFileName},
};
#endif
} // namespace

ProgramError ProgramError::of(int number)
{
    for (const Description& entry : descriptions)
        if (entry.number == number)
            return {number, QString::fromLatin1(entry.text)};
    return {number, number == 0 ? QString() : QStringLiteral("Application-defined or object-defined error")};
}

ProgramError ProgramError::ofSystem(int systemError)
{
    if (systemError == 0)
        return {};
    for (const SystemError& entry : systemErrors)
        if (entry.code == systemError)
            return of(entry.number);
    return of(PathFileAccess);
}

ProgramError ProgramError::ofFile(const QString& path, QFileDevice::FileError error, int systemError)
{
    const QFileInfo file(path);
    if (path.isEmpty() || file.fileName().contains(QChar(0)))
        return of(BadFileName);
    if (!file.absoluteDir().exists())
        return of(PathNotFound);
    if (file.isDir())
        return of(PathFileAccess);
    if (systemError != 0)
        return ofSystem(systemError);
    switch (error) {
    case QFileDevice::PermissionsError:
        return of(PermissionDenied);
    case QFileDevice::ResourceError:
        return of(DiskFull);
    case QFileDevice::ReadError:
    case QFileDevice::WriteError:
    case QFileDevice::FatalError:
        return of(DeviceIoError);
    default:
        return of(file.exists() ? PathFileAccess : FileNotFound);
    }
}
