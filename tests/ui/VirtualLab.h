// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/PrivateProfile.h"
#include "core/startup/modMain.h"
#include "serial/modCOM.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <utility>

/// The virtual instrument as a process of its own, and the program started on it.
class VirtualLab
{
public:
    /// False when the instrument did not come up.
    bool start(const QStringList& arguments = {})
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(SCAN_BIN_DIR "/virtual-instrument"),
                        QStringList{QStringLiteral("--dir"), m_directory.path(), QStringLiteral("--trace"), traceFile()} + arguments);
        QByteArray said;
        while (!said.contains("ready") && m_process.waitForReadyRead(10000))
            said += m_process.readAllStandardOutput();
        if (!arguments.contains(QStringLiteral("--fault")))
            bePatient();
        return said.contains("ready");
    }
    /// Reads the instrument's scan.ini and probes the devices, as the program does at its start.
    void connectProgram()
    {
        modMain::SetProgramDirectory(m_directory.path());
        modMain::LoadSettings();
        modMain::SetCaption();
        frontPanel().refreshEntries();
    }
    QString path() const { return m_directory.path(); }
    /// What a device ("SMC", "LTC", "HTC", "Laser") has received since `forget`, its line ends written as '|'.
    QString received(const QString& device) const
    {
        QFile trace(traceFile());
        QByteArray all;
        if (trace.open(QIODevice::ReadOnly) && trace.seek(m_forgotten))
            all = trace.readAll();
        const QString mark = u' ' + device + QStringLiteral(" <- ");
        QString text;
        for (const QString& line : QString::fromLatin1(all).split(u'\n'))
            if (const qsizetype at = line.indexOf(mark); at >= 0)
                text += line.mid(at + mark.size());
        return text.replace(QStringLiteral("<cr><lf>"), QStringLiteral("|")).replace(QStringLiteral("<cr>"), QStringLiteral("|"));
    }
    void forget() { m_forgotten = QFileInfo(traceFile()).size(); }
    ~VirtualLab()
    {
        modCOM::reset();
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }

private:
    /// Healthy devices get time to answer on a busy machine.
    void bePatient() const
    {
        for (const auto& [section, key] : {std::pair{"smc", "MCRxTimeout"}, std::pair{"LTC", "RxTimeout"}})
            PrivateProfile::WritePrivateProfileString(QString::fromLatin1(section), QString::fromLatin1(key), QStringLiteral("20"),
                                                      path() + QStringLiteral("/scan.ini"));
    }
    QString traceFile() const { return m_directory.filePath(QStringLiteral("trace.txt")); }

    QTemporaryDir m_directory;
    qint64 m_forgotten = 0;
    QProcess m_process;
};
