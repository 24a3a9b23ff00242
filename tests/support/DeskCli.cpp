// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/DeskCli.h"

#include "app/cli/Commands.h"
#include "app/cli/Interrupts.h"
#include "app/cli/Terminal.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Prompts.h"
#include "profile/ProfileRun.h"
#include "serial/modCOM.h"
#include "support/ResetAll.h"
#include "support/ResetProgram.h"

#include <QDir>

namespace {
void freshProcess()
{
    resetAll();
    cli::Interrupts::reset();
    cli::terminalPrompts() = {};
    // Who followed the run of an earlier process.
    QObject::disconnect(&ProfileRun::notifier(), nullptr, &frontPanel(), nullptr);
}

/// File names without a directory mean this one.
class WorkingDirectory
{
public:
    explicit WorkingDirectory(const QString& path) : m_before(QDir::currentPath()) { QDir::setCurrent(path); }
    ~WorkingDirectory() { QDir::setCurrent(m_before); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    QString m_before;
};
} // namespace

DeskCli::~DeskCli()
{
    cli::Terminal::setSink({});
    setPrompts(nullptr);
    freshProcess();
}

int DeskCli::run(const QStringList& words)
{
    return runBare(QStringList{QStringLiteral("--program-dir"), directory()} + words);
}

int DeskCli::runBare(const QStringList& words)
{
    const WorkingDirectory here(directory());
    freshProcess();
    m_lab.desk.plugAll();
    out.clear();
    err.clear();
    cli::Terminal::setSink(
        {[this](const QString& line) { out += line.toUtf8() + '\n'; }, [this](const QString& line) { err += line.toUtf8() + '\n'; }});
    const int status = cli::run(words);
    return endProgramCalls() > 0 ? 1 : status;
}

void DeskCli::whenSays(const QByteArray& text, Desk::Action action)
{
    m_lab.desk.when([this, text] { return out.contains(text) || err.contains(text); }, std::move(action));
}

void DeskCli::interrupt()
{
    cli::Interrupts::press();
}

void DeskCli::hangUp()
{
    cli::Interrupts::hangUp();
}

void DeskCli::kill()
{
    modCOM::reset();
    flags().closing = true;
}
