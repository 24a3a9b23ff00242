// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ScanRecord.h"

#include <QDateTime>
#include <QString>

#include <optional>

/// Nothing measured is lost: copies of the last 50 scans in the folder "recovered" of the program directory, each written as soon as its
/// counts are read, and what the controller was told to measure last. Nothing is shown or logged; a folder that takes no files keeps none.
namespace Recovery {
/// Writes the copy (native format), and notes that it is not saved yet.
void keep(const ScanRecord& scan);
/// The scan that was kept last is saved, or the operator does not want it.
void saved();

/// A copy whose scan was never saved.
struct Unsaved
{
    QString path;
    QString sample;
    QDateTime begin; ///< of the measurement, or of the copy
};
/// The one that was kept last, by this run of the program or one before it; nothing when it was saved.
std::optional<Unsaved> unsaved();

/// The counts that were taken last, as they came: whoever reads the same again in doubt reads an old scan. Known to the next program too.
void transferTaken(const QString& reply);
bool isLastTransfer(const QString& reply);

/// A scan begins: its parameters, sample and comment are what the controller's counts belong to from now on.
void started(const ScanRecord& scan);
/// What was started last, without counts, by this run of the program or one before it.
std::optional<ScanRecord> lastStarted();
} // namespace Recovery
