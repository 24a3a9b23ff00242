// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Flags.h"
#include "core/modTools.h"

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

/// A program directory for a test that looks into app.log.
class AppLog
{
public:
    AppLog() { modTools::state().programDirectory = m_directory.path(); }

    QString text() const { return textIn(m_directory.path()); }

    static QString textIn(const QString& directory)
    {
        QFile file(directory + QStringLiteral("/app.log"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    /// What stands in a log although none is wanted: all but what is always logged, a line that goes down or comes back and a goniometer
    /// controller that has to be asked again. Nothing while the log is on.
    static QStringList unwantedIn(const QString& directory)
    {
        if (flags().log)
            return {};
        QStringList lines = textIn(directory).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
        lines.removeIf([](const QString& line) {
            return line.contains(QStringLiteral(": line down, ")) || line.endsWith(QStringLiteral(": line open again")) ||
                   line.startsWith(QStringLiteral("SMC: ")) || line.startsWith(QStringLiteral("The counting program is sent again"));
        });
        return lines;
    }

private:
    QTemporaryDir m_directory;
};
