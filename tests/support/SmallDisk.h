// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QtGlobal>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/resource.h>

/// Files of this process cannot grow beyond a size, as on a full disk.
class SmallDisk
{
public:
    explicit SmallDisk(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit limit = m_before;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~SmallDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

private:
    rlimit m_before{};
};
#endif
