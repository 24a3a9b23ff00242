// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QByteArray>
#include <QString>

/// The system's single-byte code page, in which data files and parameter files are written: the ANSI code page on Windows, Windows-1252
/// elsewhere. The five codes that Windows-1252 leaves free stand for the control characters of the same code, so that every byte survives
/// reading and writing.
namespace CodePage {
/// One byte per character; a character without a place in the code page becomes "?".
QByteArray toCodePage(const QString& text);
QString fromCodePage(const QByteArray& bytes);

/// The same for Windows-1252 on every system.
QByteArray toWindows1252(const QString& text);
QString fromWindows1252(const QByteArray& bytes);
} // namespace CodePage
