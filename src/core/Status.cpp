// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Status.h"

#include "core/FrontPanel.h"
#include "core/Instrument.h"

#include <QJsonArray>

namespace {
QString timeText(const QDateTime& time)
{
    return time.toUTC().toString(Qt::ISODate);
}

QJsonValue json(bool value)
{
    return value;
}
QJsonValue json(qint16 value)
{
    return value;
}
QJsonValue json(double value)
{
    return value;
}
QJsonValue json(Instrument::Power power)
{
    switch (power) {
    case Instrument::Power::Off:
        return QStringLiteral("off");
    case Instrument::Power::Idle:
        return QStringLiteral("idle");
    case Instrument::Power::On:
        return QStringLiteral("on");
    }
    return {};
}

QString lineText(Instrument::Line line)
{
    switch (line) {
    case Instrument::Line::NotOpen:
        return QStringLiteral("not open");
    case Instrument::Line::Up:
        return QStringLiteral("up");
    case Instrument::Line::Down:
        return QStringLiteral("down");
    case Instrument::Line::Simulation:
        return QStringLiteral("simulation");
    }
    return {};
}

/// null and nothing else: unknown.
template <typename T>
QJsonObject known(const Known<T>& what)
{
    QJsonObject object{{"value", what.value ? json(*what.value) : QJsonValue()}};
    if (what.value)
        object.insert(QStringLiteral("confirmed"), timeText(what.confirmedOn));
    if (what.asked)
        object.insert(QStringLiteral("asked"), json(*what.asked));
    return object;
}

QJsonObject controllersOf(const Instrument& now)
{
    QJsonObject all;
    for (auto one = now.controllers.begin(); one != now.controllers.end(); ++one)
        all.insert(one.key(), QJsonObject{{"output", known(one->output)},
                                          {"setpoint", known(one->setpoint)},
                                          {"temperature", known(one->temperature)},
                                          {"unit", one->unit}});
    return all;
}
} // namespace

QJsonObject statusJson(const Instrument& now, const FrontPanel& panel, const QStringList& running)
{
    const QJsonObject lines{{"goniometer", lineText(now.goniometerLine)},
                            {"generator", lineText(now.generatorLine)},
                            {"temperature", lineText(now.temperatureLine)}};
    const QJsonObject progress{{"percent", panel.progress() >= 0 ? QJsonValue(panel.progress()) : QJsonValue()},
                               {"text", panel.panel(4)},
                               {"message", panel.panel(1)}};
    return {{"time", timeText(wallClock())},
            {"caption", panel.caption()},
            {"lines", lines},
            {"shutterOpen", known(now.shutterOpen)},
            {"axis1Angle", known(now.axis1Angle)},
            {"power", known(now.power)},
            {"milliampere", known(now.milliampere)},
            {"kilovolt", known(now.kilovolt)},
            {"controllers", controllersOf(now)},
            {"running", QJsonArray::fromStringList(running)},
            {"progress", progress}};
}
