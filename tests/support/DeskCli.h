// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "support/DeskLab.h"

#include <QByteArray>
#include <QStringList>

/// The console program on a desk: each run begins as a fresh process does, and ends with an exit status. What it prints is gathered. It has
/// no terminal.
///
///     DeskLab lab;
///     QVERIFY(lab.start({"--ltc", "331"}));
///     DeskCli cli(lab);
///     cli.whenSays("Dwelling", [&] { cli.interrupt(); });
///     QCOMPARE(cli.run({"profile", "run", lab.path("p.gtp"), "--yes"}), 3);
class DeskCli
{
public:
    explicit DeskCli(DeskLab& lab) : m_lab(lab) {}
    ~DeskCli();
    DeskCli(const DeskCli&) = delete;
    DeskCli& operator=(const DeskCli&) = delete;

    QByteArray out;           ///< standard output since the last run began
    QByteArray err;           ///< standard error
    QString programDirectory; ///< empty: that of the instrument

    /// Runs in its program directory to the end: the exit status, 1 when the program ended at once (EndProgram).
    int run(const QStringList& words);
    /// With these words and no others: `run` says --program-dir first.
    int runBare(const QStringList& words);
    /// Does something once, as soon as the program has said a text.
    void whenSays(const QByteArray& text, Desk::Action action);
    /// Ctrl-C.
    void interrupt();
    /// The terminal closes.
    void hangUp();
    /// Ends the process as if it had never been told: its lines are closed this moment, nothing more is sent, and `run` returns. What it
    /// does to files from now on is done in vain when the next run gets a copy made at this moment (DeskLab::copyOfDirectory).
    void kill();

private:
    QString directory() const { return programDirectory.isEmpty() ? m_lab.path() : programDirectory; }

    DeskLab& m_lab;
};
