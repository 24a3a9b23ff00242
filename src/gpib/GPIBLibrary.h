// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QLibrary>
#include <QString>
#include <QStringList>

#include <cstdint>

#ifdef Q_OS_WIN
#define GPIB_NI_CALL __stdcall
#define GPIB_SICL_CALL __cdecl
#else
#define GPIB_NI_CALL
#define GPIB_SICL_CALL
#endif

/// The two vendors' libraries, loaded when the program runs: nothing is installed, and nothing is missed, where no bus is used.
namespace GPIBLibrary {
/// NI-488.2. Counts are as wide as a pointer: 32 bits in the 32-bit library, `long` or `size_t` in the others.
struct NI488
{
    using ibdev_t = int(GPIB_NI_CALL*)(int board, int primary, int secondary, int timeout, int eot, int eos);
    using ibwrt_t = int(GPIB_NI_CALL*)(int device, const void* buffer, std::intptr_t count);
    using ibrd_t = int(GPIB_NI_CALL*)(int device, void* buffer, std::intptr_t count);
    using status_t = int(GPIB_NI_CALL*)();
    using count_t = long(GPIB_NI_CALL*)();
    using register_t = int(GPIB_NI_CALL*)(long* ibsta, long* iberr, long* ibcnt, long* ibcntl);

    ibdev_t ibdev = nullptr;
    ibwrt_t ibwrt = nullptr;
    ibrd_t ibrd = nullptr;
    status_t ThreadIbsta = nullptr;
    status_t ThreadIberr = nullptr;
    status_t ThreadIbcnt = nullptr;
    count_t ThreadIbcntl = nullptr;                    ///< null: ThreadIbcnt takes its place
    register_t RegisterGpibGlobalsForThread = nullptr; ///< null: newer libraries need no registration

    /// Loads the first of `names` that has all entries it must have. False, with the reason in *why, when there is none.
    bool load(const QStringList& names, QString* why);

private:
    QLibrary m_library;
};

/// SICL.
struct SICL
{
    using iopen_t = int(GPIB_SICL_CALL*)(char* address);
    using itimeout_t = int(GPIB_SICL_CALL*)(int session, long milliseconds);
    using iprintf_t = int(GPIB_SICL_CALL*)(int session, const char* format, ...);
    using iscanf_t = int(GPIB_SICL_CALL*)(int session, const char* format, ...);
    using igeterrno_t = int(GPIB_SICL_CALL*)();
    using igeterrstr_t = char*(GPIB_SICL_CALL*)(int error);
    using icauseerr_t = void(GPIB_SICL_CALL*)(int session, int error, int flag);

    iopen_t iopen = nullptr;
    itimeout_t itimeout = nullptr;
    iprintf_t iprintf = nullptr;
    iscanf_t iscanf = nullptr;
    igeterrno_t igeterrno = nullptr;
    igeterrstr_t igeterrstr = nullptr;
    icauseerr_t icauseerr = nullptr; ///< published by the library; this program re-posts no error

    bool load(const QStringList& names, QString* why);

private:
    QLibrary m_library;
};

/// The names under which the libraries are looked for on this platform, in order.
QStringList niNames();
QStringList siclNames();
} // namespace GPIBLibrary
