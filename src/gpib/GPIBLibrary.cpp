// SPDX-License-Identifier: GPL-3.0-or-later

#include "gpib/GPIBLibrary.h"

namespace {
/// Fetches one entry; notes its name in *missing when it is not there and must be.
template <typename Function>
void resolve(QLibrary& library, const char* name, Function& function, QString* missing)
{
    function = reinterpret_cast<Function>(library.resolve(name));
    if (function == nullptr && missing != nullptr && missing->isEmpty())
        *missing = QString::fromLatin1(name);
}

/// Tries each name; `resolveAll` fetches the entries and names the first one missing.
template <typename ResolveAll>
bool loadFirst(QLibrary& library, const QStringList& names, QString* why, ResolveAll resolveAll)
{
    QStringList reasons;
    for (const QString& name : names) {
        library.setFileName(name);
        if (!library.load()) {
            reasons += name + QStringLiteral(": ") + library.errorString();
            continue;
        }
        const QString missing = resolveAll();
        if (missing.isEmpty())
            return true;
        reasons += name + QStringLiteral(": no entry ") + missing;
        library.unload();
    }
    *why = reasons.join(QStringLiteral("; "));
    return false;
}
} // namespace

namespace GPIBLibrary {
bool NI488::load(const QStringList& names, QString* why)
{
    return loadFirst(m_library, names, why, [this] {
        QString missing;
        resolve(m_library, "ibdev", ibdev, &missing);
        resolve(m_library, "ibwrt", ibwrt, &missing);
        resolve(m_library, "ibrd", ibrd, &missing);
        resolve(m_library, "ThreadIbsta", ThreadIbsta, &missing);
        resolve(m_library, "ThreadIberr", ThreadIberr, &missing);
        resolve(m_library, "ThreadIbcnt", ThreadIbcnt, &missing);
        resolve(m_library, "ThreadIbcntl", ThreadIbcntl, nullptr);
        resolve(m_library, "RegisterGpibGlobalsForThread", RegisterGpibGlobalsForThread, nullptr);
        return missing;
    });
}

bool SICL::load(const QStringList& names, QString* why)
{
    return loadFirst(m_library, names, why, [this] {
        QString missing;
        resolve(m_library, "iopen", iopen, &missing);
        resolve(m_library, "itimeout", itimeout, &missing);
        resolve(m_library, "iprintf", iprintf, &missing);
        resolve(m_library, "iscanf", iscanf, &missing);
        resolve(m_library, "igeterrno", igeterrno, &missing);
        resolve(m_library, "igeterrstr", igeterrstr, &missing);
        resolve(m_library, "icauseerr", icauseerr, nullptr);
        return missing;
    });
}

QStringList niNames()
{
#ifdef Q_OS_WIN
    return {QStringLiteral("Gpib-32.dll"), QStringLiteral("ni4882.dll")};
#else
    return {QStringLiteral("libgpib.so.0"), QStringLiteral("libgpib.so")};
#endif
}

QStringList siclNames()
{
#ifdef Q_OS_WIN
    return {QStringLiteral("vbsicl32.dll"), QStringLiteral("sicl32.dll")};
#else
    return {QStringLiteral("libsicl.so")};
#endif
}
} // namespace GPIBLibrary
