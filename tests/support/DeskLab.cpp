// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/DeskLab.h"

#include "core/FrontPanel.h"
#include "core/PrivateProfile.h"
#include "core/startup/modMain.h"
#include "serial/modCOM.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {
const QString traceName = QStringLiteral("trace.txt");
}

DeskLab::~DeskLab()
{
    modCOM::reset();
}

bool DeskLab::start(const QStringList& options)
{
    lab::Options read;
    QString why;
    const QStringList all = QStringList{QStringLiteral("--dir"), path(), QStringLiteral("--trace"), path(traceName)} + options;
    if (!lab::readOptions(all, read, why)) {
        qWarning("%s", qPrintable(why));
        return false;
    }
    desk.setSpeed(read.speed);
    const lab::Surroundings surroundings{desk, desk.alarms(), [this](const lab::DeviceEntry& entry, const lab::Options&) {
                                             return desk.makeChannel(QStringLiteral("desk:") + QString::fromUtf8(entry.linkName.data()));
                                         }};
    m_instrument = std::make_unique<lab::VirtualInstrument>(read, surroundings);
    m_instrument->announce = [](const QString&) {};
    if (!m_instrument->start(why)) {
        qWarning("%s", qPrintable(why));
        return false;
    }
    // Lines carry what the test asks for, and nothing else.
    configure(QStringLiteral("General"), QStringLiteral("StripInterval"), QStringLiteral("0"));
    desk.plugAll();
    return true;
}

void DeskLab::configure(const QString& section, const QString& key, const QString& value) const
{
    PrivateProfile::WritePrivateProfileString(section, key, value, path(QStringLiteral("scan.ini")));
}

void DeskLab::connectProgram(const QString& directory)
{
    desk.plugAll();
    modMain::SetProgramDirectory(directory.isEmpty() ? path() : directory);
    modMain::LoadSettings();
    modMain::SetCaption();
    frontPanel().refreshEntries();
}

QString DeskLab::copyOfDirectory()
{
    const auto copy = std::make_shared<QTemporaryDir>();
    m_copies.append(copy);
    for (const QFileInfo& file : QDir(path()).entryInfoList(QDir::Files))
        if (file.fileName() != traceName && !QFile::copy(file.filePath(), copy->filePath(file.fileName())))
            return {};
    // What works there leaves the original alone.
    const QString ini = copy->filePath(QStringLiteral("scan.ini"));
    const QString workDir = PrivateProfile::GetPrivateProfileString(QStringLiteral("General"), QStringLiteral("WorkDir"), {}, ini);
    if (!workDir.isEmpty() && QDir(workDir) == QDir(path()) &&
        !PrivateProfile::WritePrivateProfileString(QStringLiteral("General"), QStringLiteral("WorkDir"), copy->path() + u'/', ini))
        return {};
    return copy->path();
}

QByteArray DeskLab::read(const QString& name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray DeskLab::trace() const
{
    return read(traceName).mid(m_forgotten);
}

QString DeskLab::received(const QString& device) const
{
    const QString mark = u' ' + device + QStringLiteral(" <- ");
    QString text;
    for (const QString& line : QString::fromLatin1(trace()).split(u'\n'))
        if (const qsizetype at = line.indexOf(mark); at >= 0)
            text += line.mid(at + mark.size());
    return text.replace(QStringLiteral("<cr><lf>"), QStringLiteral("|")).replace(QStringLiteral("<cr>"), QStringLiteral("|"));
}

const lab::GoniometerController& DeskLab::goniometer() const
{
    return dynamic_cast<const lab::GoniometerController&>(*m_instrument->device("smc"));
}

void DeskLab::forget()
{
    m_forgotten = QFileInfo(path(traceName)).size();
}
