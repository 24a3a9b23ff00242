// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/NumberBytes.h"
#include "core/ScanParameters.h"

#include <QByteArray>
#include <QVector>

/// The number fields of the export formats. A field with a width is padded with blanks at its left and keeps its last characters: a value
/// too long for its field loses its leading digits, which is intended.
namespace NumberFields {
constexpr qsizetype width = 8;   ///< characters of Field8 and Count8
constexpr qsizetype widest = 16; ///< characters of the widest field

/// Appends `text` at the right end of a field of `fieldWidth` characters.
void AppendRight(QByteArray& content, const NumberBytes::Text& text, qsizetype fieldWidth);
/// "0.000" and a blank in 8 characters: " 10.000 ".
void AppendField8(QByteArray& content, double value);
/// Print form at its own length: " 1234", "-3", " .02".
void AppendPrintNum(QByteArray& content, double value);
/// Print form in 8 characters.
void AppendCount8(QByteArray& content, double value);
/// Appends a text as it stands.
void Append(QByteArray& content, const NumberBytes::Text& text);

constexpr char lineEnd[] = "\r\n";
constexpr qsizetype breakLength = 2;
constexpr char paddingField[] = "     1. "; ///< fills the last line of Rietica and FORT4
constexpr qint32 perLine = 10;              ///< counts on a line of Rietica, FORT4 and PRO

/// Start and step, for Rietica and FORT4 also stop, in Field8.
void AppendHeader(QByteArray& content, const ScanParameters& parameters, bool withStop);
/// All counts, each raised by one so that none is zero, ten to a line; a line break stands before the first of each
/// ten. `point` puts ". " after each number (FORT4).
void AppendRaisedCounts(QByteArray& content, const QVector<double>& counts, bool point);
/// All counts in print form, each with a blank and a line break behind it.
void AppendCountLines(QByteArray& content, const QVector<double>& counts);
/// 10 - (N mod 10) padding fields for N points: a whole line of ten when N is a multiple of ten, which is intended.
void AppendPadding(QByteArray& content, qint32 points);
} // namespace NumberFields
