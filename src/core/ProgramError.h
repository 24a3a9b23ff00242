// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QFileDevice>
#include <QString>

/// The program's error numbers and descriptions, as message boxes show them ("Error # 61"). No error: number 0.
struct ProgramError
{
    int number = 0;
    QString description; ///< "Disk full", "Path not found", ...

    explicit operator bool() const { return number != 0; }

    enum Number {
        Overflow = 6,
        DivisionByZero = 11,
        TypeMismatch = 13,
        BadFileName = 52,
        FileNotFound = 53,
        FileAlreadyOpen = 55,
        DeviceIoError = 57,
        DiskFull = 61,
        InputPastEnd = 62,
        PermissionDenied = 70,
        DiskNotReady = 71,
        PathFileAccess = 75,
        PathNotFound = 76,
        InvalidPort = 8002,
        PortAlreadyOpen = 8005,
    };

    /// The error with its description from the table.
    static ProgramError of(int number);
    /// The error of a platform's error code (errno, or GetLastError on Windows).
    static ProgramError ofSystem(int systemError);
    /// Why `path` cannot be opened or written: looks at the file, its folder and the device's own error.
    /// `systemError` is the platform's error code taken right after the failure (0: unknown).
    static ProgramError ofFile(const QString& path, QFileDevice::FileError error, int systemError);
};
