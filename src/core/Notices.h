// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include <functional>

/// What the operator should know and need not answer: message bars above the chart, lines on the console's standard error. They hold
/// nothing up; a procedure that asks uses Prompts.
namespace Notices {
/// A button of the bar. The bar goes when it is pressed.
struct Action
{
    QString caption;
    std::function<void()> run;
};

struct Notice
{
    QString id;   ///< "setpoint LTC": one with the same id takes the place of the one before
    QString text; ///< one or two sentences
    QList<Action> actions;
};

/// Oldest first.
const QList<Notice>& all();
/// Shows it; one whose text is new stands in the log, when that is kept.
void show(const Notice& notice);
void show(const QString& id, const QString& text);
/// Takes it away, when there is one: what it said is over.
void take(const QString& id);
/// All of them, for tests.
void reset();

class Notifier : public QObject
{
    Q_OBJECT

signals:
    void changed();
    /// A text that was not there before.
    void shown(const QString& text);
};
Notifier& notifier();
} // namespace Notices
