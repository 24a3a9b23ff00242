// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"

#include "core/Settings.h"
#include "core/modTools.h"

using Settings::Block;

Configuration& configuration()
{
    static Configuration theConfiguration;
    return theConfiguration;
}

QString Configuration::Line::name() const
{
    return serialDevice.isEmpty() ? QStringLiteral("COM") + QString::number(serialPort) : serialDevice;
}

void Configuration::readGeneral(bool (*directoryUsable)(const QString& directory))
{
    Settings::read(Block::General, *this, directoryUsable);
}

void Configuration::readSmc()
{
    Settings::read(Block::Smc, *this);
}

void Configuration::readLtcLine()
{
    Settings::read(Block::LtcLine, *this);
    const QString name = Settings::nameOf(Block::LtcLine, QStringLiteral("Model"), ltc.modelCode);
    if (!name.isEmpty())
        ltc.modelName = name;
}

void Configuration::readLtcLimits()
{
    Settings::read(Block::LtcLimits, *this);
}

void Configuration::readHtc()
{
    Settings::read(Block::Htc, *this);
}

void Configuration::readLaser()
{
    Settings::read(Block::Laser, *this);
}

void Configuration::readGenerator()
{
    Settings::read(Block::Generator, *this);
    modTools::WriteLog(false, QStringLiteral("gfGeneratorRemoteControl=") + modTools::FlagText(generator.remote));
    modTools::WriteLog(false, QStringLiteral("gfShutterRemoteControl=") + modTools::FlagText(generator.shutter >= 1));
}

int Configuration::readGoniometerType()
{
    Settings::read(Block::Goniometer, *this);
    return general.goniometerType;
}
