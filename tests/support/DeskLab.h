// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "VirtualInstrument.h"

#include "support/Desk.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/// The virtual instrument on a desk, in a directory of its own, with the scan.ini that it writes there; only `StripInterval` is 0 in it.
///
///     DeskLab lab;
///     QVERIFY(lab.start({"--ltc", "331"}));
///     lab.configure("LTC", "TxDelay", "0.02");
///     lab.connectProgram();
class DeskLab
{
public:
    DeskLab() = default;
    ~DeskLab();
    DeskLab(const DeskLab&) = delete;
    DeskLab& operator=(const DeskLab&) = delete;

    Desk desk;

    /// Options as on the instrument's command line; its directory and trace are given. False when it did not come up.
    bool start(const QStringList& options = {});
    /// A key of the scan.ini.
    void configure(const QString& section, const QString& key, const QString& value) const;
    /// Reads that scan.ini, or the one of another directory, and probes the devices, as the program does at its start.
    void connectProgram(const QString& directory = {});
    /// The same directory for the program: everything in it as it is at this moment, in a directory of its own, which is then the work
    /// directory, too, when this was. Empty when that failed.
    QString copyOfDirectory();

    QString path() const { return m_directory.path(); }
    QString path(const QString& name) const { return m_directory.filePath(name); }
    /// A file of the directory; empty when there is none.
    QByteArray read(const QString& name) const;
    /// What a device ("SMC", "Generator", "LTC", "HTC", "Laser") has received since `forget`, its line ends written as '|'.
    QString received(const QString& device) const;
    /// The goniometer's controller, brought up to the present whenever somebody asks it something; its counts are the truth about a scan.
    const lab::GoniometerController& goniometer() const;
    /// The record of the lines since `forget`.
    QByteArray trace() const;
    void forget();

private:
    QTemporaryDir m_directory;
    QList<std::shared_ptr<QTemporaryDir>> m_copies;
    qint64 m_forgotten = 0;
    std::unique_ptr<lab::VirtualInstrument> m_instrument;
};
