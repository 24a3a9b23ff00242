// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "profile/TProfile.h"

#include <QString>

/// What the profile editor decides, without its window: which boxes make a step, which values are refused and with what words, and how a
/// list entry comes back into the boxes.
namespace ProfileEdit {
/// The texts of the entry boxes, as typed.
struct Boxes
{
    QString t1, t2, dt, ramp, dwell, expoTime, comment;

    bool operator==(const Boxes&) const = default;
};

enum class Box { T1, T2, dT, Ramp, Dwell, ExpoTime, Comment };

/// "second(s)" or "minute(s)".
QString TimeUnit();
/// "Valid temperature range:" + lower + "..." + upper + "."
QString RangeText();
/// Highest dwell: 533 minutes or 32000 seconds.
qint32 longestDwell();

/// What is wrong, and the box that the focus returns to; an empty text: nothing.
struct Fault
{
    QString text;
    Box box = Box::T1;
};
/// What is missing for a step. A box without a number, such as a lone point, counts as empty.
Fault missing(const Boxes& boxes);
/// The lines that an insert appends: the step, the comment, or both.
QStringList lines(const Boxes& boxes);
/// The line that a change puts in the place of `line`. It keeps its kind: a comment takes the comment box, a step, of which nothing is
/// missing, the others. The ";" that a comment line brought into its box does not become a second one.
QString changed(const QString& line, const Boxes& boxes);
/// A list entry back in the boxes. A comment fills only the comment box, a step all but it.
void load(const QString& line, Boxes* boxes);

/// What is wrong with a box when it loses the focus ("Please select a ramp rate ..."); empty: nothing, or the box is empty.
QString refusal(Box box, const QString& text);
/// The first box with a value that is refused.
Fault outOfRange(const Boxes& boxes);
/// What is wrong with the values that a step gives, its whole series: "364 K lies outside 8...305." The first one that is out of the
/// controller's range is named; empty: none is.
QString seriesRefusal(const TProfile::Step& step);
/// The same for all lines of the profile, their ramp rates too, "line 3: " before it; empty: all can be set.
QString profileRefusal();
/// The key as it goes into a numeric box: digits and "."; "," becomes "."; null: not accepted.
QChar acceptedKey(QChar key);

/// "Current profile: " + file, with " (modified)" while it is.
QString caption();
} // namespace ProfileEdit
