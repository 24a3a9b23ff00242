// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/startup/modMain.h"
#include "serial/modCOM.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

/// The virtual instrument as a process of its own, and the program started on it.
class VirtualLab
{
public:
    /// False when the instrument did not come up.
    bool start(const QStringList& arguments = {})
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(SCAN_BIN_DIR "/virtual-instrument"),
                        QStringList{QStringLiteral("--dir"), m_directory.path()} + arguments);
        QByteArray said;
        while (!said.contains("ready") && m_process.waitForReadyRead(10000))
            said += m_process.readAllStandardOutput();
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
    ~VirtualLab()
    {
        modCOM::reset();
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }

private:
    QTemporaryDir m_directory;
    QProcess m_process;
};
