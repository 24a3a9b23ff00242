// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// The command line of the console program. What a command accepts stands in one table (Commands.cpp); values are checked here, before any
/// device is opened, so that a slip of the pen ends with exit status 2 and a clear text.
namespace cli {
/// Exit statuses.
enum ExitStatus { Done = 0, Failed = 1, WrongUsage = 2, Aborted = 3 };

/// What an option's or operand's value must be.
enum class Kind {
    Switch,   ///< takes no value
    Text,     ///< any text, also an empty one
    Path,     ///< not empty
    ScanFile, ///< a path that ends in ".sdf"
    Number,   ///< a decimal number, "," or "." before the decimals
    Positive, ///< a number above 0
    Count,    ///< a whole number above 0
    Export,   ///< FORMAT=FILE with a known format
    Name,     ///< a sample name as the file-name field takes it
};

struct Option
{
    const char* name; ///< without the two dashes; of an operand its name in the usage line
    Kind kind;
    const char* argument; ///< name of the value in the help
    const char* help;
    bool required = false;
    bool repeatable = false;
};

class Arguments
{
public:
    bool has(const char* option) const { return m_values.contains(QString::fromLatin1(option)); }
    QString text(const char* option) const { return m_values.value(QString::fromLatin1(option)).value(0); }
    QStringList texts(const char* option) const { return m_values.value(QString::fromLatin1(option)); }
    /// The value of a number; nothing when it was not given.
    std::optional<double> number(const char* option) const;

    /// Takes the words that follow the command. Returns what is wrong with them; empty: all is well.
    QString read(const QStringList& words, const QList<Option>& options, const QList<Option>& operands);

private:
    QString take(const Option& option, const QString& value);

    QHash<QString, QStringList> m_values;
};

/// The whole text as a number, "," counting as "."; nothing when anything else stands in it.
std::optional<double> wholeNumber(const QString& text);
/// Why `value` is none of its kind; empty: it is one.
QString objection(Kind kind, const QString& value);
} // namespace cli
