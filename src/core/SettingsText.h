// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

/// The table of settings as text. Two files of the project hold it between a line with "settings: begin" and one with "settings: end";
/// tools/update-settings.sh writes it there.
namespace Settings {
/// For docs/FORMATS.md.
QString markdown();
/// For packaging/scan.ini.example.
QString exampleFile();
/// For a terminal.
QString plainText();
} // namespace Settings
