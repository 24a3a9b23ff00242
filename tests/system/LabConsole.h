// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "support/CommandLine.h"
#include "support/DeskCli.h"
#include "support/DeskLab.h"

#include <QFile>

/// The console program and the virtual instrument on one desk.
///
///     LabConsole lab("--ltc 331");
///     QCOMPARE(lab.said("ltc setpoint 77 --current --no-wait"), QByteArray("Setpoint: 77 K\n|"));
class LabConsole : public DeskLab
{
public:
    /// Options of the instrument; the test has failed when it does not come up.
    explicit LabConsole(const QStringList& options = {})
    {
        desk.limit = longest;
        QVERIFY(start(options));
    }
    explicit LabConsole(const char* options) : LabConsole(words(options)) {}

    int run(const QStringList& command) { return cli.run(command); }
    int run(const char* command) { return cli.run(words(command)); }
    /// What a command says on standard output and standard error, '|' between them; an unexpected exit status before that.
    QByteArray said(const char* command, int expected = 0)
    {
        const int status = run(command);
        return (status == expected ? QByteArray() : "exit status " + QByteArray::number(status) + ": ") + cli.out + '|' + cli.err;
    }
    bool has(const QString& file) const { return QFile::exists(path(file)); }
    bool store(const QString& file, const QByteArray& bytes) const
    {
        QFile written(path(file));
        return written.open(QIODevice::WriteOnly) && written.write(bytes) == bytes.size();
    }

    DeskCli cli{*this};

private:
    static constexpr double longest = 3600; // s, for all commands of a test
};
