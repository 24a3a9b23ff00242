// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QJsonObject>
#include <QStringList>

class FrontPanel;
struct Instrument;

/// What is known of the instrument and how far the run is, for other programs. docs/FORMATS.md describes the members. `running`: the names
/// of the operations that run.
QJsonObject statusJson(const Instrument& now, const FrontPanel& panel, const QStringList& running);
