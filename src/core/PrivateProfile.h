// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

/// The platform's private-profile functions over one INI file. On Windows the platform's own are called; elsewhere these follow its
/// rules: sections and keys without regard to case, the first match wins, surrounding blanks and one pair of quotes dropped, comments
/// (";") and everything not written kept byte for byte, the file's own line end and encoding kept (UTF-8 when valid, otherwise
/// Windows-1252).
namespace PrivateProfile {
/// The key's text, cut at a terminating zero and trimmed of blanks; `defaultText` when file, section or key is missing.
QString GetPrivateProfileString(const QString& section, const QString& key, const QString& defaultText, const QString& path);
/// Leading digits with sign; 0 when the value is not numeric; `defaultValue` when file, section or key is missing.
qint32 GetPrivateProfileInt(const QString& section, const QString& key, qint32 defaultValue, const QString& path);
/// Writes key = text, replacing the first such key, otherwise adding it at the end of the section, otherwise adding the section at the end
/// of the file. The file is rewritten beside itself and renamed. False when it could not be written; the old file is then whole.
bool WritePrivateProfileString(const QString& section, const QString& key, const QString& text, const QString& path);
} // namespace PrivateProfile
