// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <span>
#include <variant>

struct Configuration;

/// The keys of scan.ini, one row each (SettingsTable.cpp). The order of the rows is the order of reading and of the lines in the log; the
/// table in docs/FORMATS.md and packaging/scan.ini.example are written from them (tools/update-settings.sh).
namespace Settings {
/// What is read in one go. A section may have several: start-up does something else in between.
enum class Block { General, Smc, LtcLine, LtcLimits, Htc, Laser, Generator, Goniometer };

enum class Type {
    Text,    ///< as it stands
    Word,    ///< trimmed, in lower case
    Number,  ///< its leading number, a decimal comma counting as a point; 0 without one
    Rounded, ///< the same, rounded to a whole number (halves to the even one)
    Integer, ///< leading digits with sign; 0 without any. Into a flag: true for 1
    Switch   ///< an integer; true when it is not 0
};

/// Where a value goes: a member of the configuration record, or a flag.
using Place = std::variant<bool*, qint32*, float*, double*, QString*>;

/// A text that stands for a value.
struct KnownText
{
    const char* text; ///< in lower case
    qint32 value;
    const char* name; ///< as it is shown
};

/// Values that can be right, ends included.
struct Range
{
    std::optional<double> lowest, highest;
};

/// True when data files can be written in the directory; null: every directory is taken.
using DirectoryTest = bool (*)(const QString& directory);

/// What not every key has.
struct More
{
    const char* unit = "";
    Range range = {};                                     ///< not enforced; values outside are taken as they are
    Range held = {};                                      ///< enforced: the value is moved to the nearer end
    std::span<const KnownText> texts = {};                ///< the texts that are known: the place gets the value of the one that is read
    std::optional<qint32> otherwise = {};                 ///< what the place gets for any other text; nothing: it stays as it is
    QString (*defaultOf)(const Configuration&) = nullptr; ///< a default that hangs on the program or on what was read before
    QString (*keep)(const QString& text, const Configuration&, DirectoryTest) = nullptr; ///< what is kept of a text
    /// Name in the log of the value as it is kept (a flag as "-1" or "0", a known text by its name). Without one the log has the key and
    /// the value as it was read, as it has for a text that is not known.
    const char* logName = nullptr;
    const char* secondaryLogName = nullptr; ///< the line stands in the secondary log too, under this name
    const char* example = nullptr;          ///< what the example file says, when that is not the default
    bool unlogged = false;                  ///< the log has a line for the older keys only: its lines are fixed
    const char* hint = nullptr;             ///< what the example file says behind a ";": a key that is better left out
};

struct Setting
{
    const char* key;
    Type type;
    const char* defaultText;        ///< as it would stand in the file; with `defaultOf`: what documents say instead
    Place (*place)(Configuration&); ///< floats take single-precision values, held at the end of their range
    const char* help;               ///< what it is and what its values mean; empty: not in the documents
    More more = {};
};

/// A part of the file that is read in one go.
struct Section
{
    Block block;
    const char* name;
    const char* heading; ///< in the log; null: none, the section is read on
    const char* about;   ///< what the section is about; null: as the block before of the same name
    std::span<const Setting> settings;
};

/// All blocks in the order of reading. `WorkDir` stands twice: it is read a second time.
std::span<const Section> table();

/// Reads a block's keys into the configuration record and logs them, after the block's heading.
void read(Block block, Configuration& into, DirectoryTest directoryUsable = nullptr);

/// The name that a value of a key with known texts is shown by; empty when none has it.
QString nameOf(Block block, const QString& key, qint32 value);
/// What such a text stands for; nothing when it is not known.
std::optional<qint32> valueOf(Block block, const QString& key, const QString& text);
} // namespace Settings
