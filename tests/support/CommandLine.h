// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTest>

/// As QVERIFY2; the text is what a program has said.
#define VERIFY_OR_SHOW(condition, text) QVERIFY2(condition, QByteArray(text).constData())

/// "ltc setpoint 250" as the words of a command line.
inline QStringList words(const char* line)
{
    return QString::fromUtf8(line).split(u' ', Qt::SkipEmptyParts);
}
