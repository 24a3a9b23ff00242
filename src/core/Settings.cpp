// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Settings.h"

#include "core/Configuration.h"
#include "core/NumberText.h"
#include "core/PrivateProfile.h"
#include "core/modTools.h"

#include <algorithm>
#include <limits>

namespace Settings {
namespace {
const Section& sectionOf(Block block)
{
    const std::span<const Section> all = table();
    return *std::find_if(all.begin(), all.end(), [block](const Section& section) { return section.block == block; });
}

float single(double value)
{
    constexpr double largest = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(value, -largest, largest));
}

double heldWithin(const Range& range, double value)
{
    const double notBelow = std::max(value, range.lowest.value_or(value));
    return std::min(notBelow, range.highest.value_or(notBelow));
}

/// A number where it goes, and the text that the log has for it.
QString put(double value, const Place& place)
{
    if (auto* const* into = std::get_if<double*>(&place))
        return NumberText::General(**into = value);
    if (auto* const* into = std::get_if<float*>(&place))
        return NumberText::General(**into = single(value));
    return NumberText::General(*std::get<qint32*>(place) = NumberText::RoundToLong(value));
}

/// Reads one key after the other of a section.
class Reader
{
public:
    Reader(const char* section, Configuration& into, DirectoryTest directoryUsable)
        : m_section(QString::fromLatin1(section)), m_into(into), m_directoryUsable(directoryUsable)
    {
    }

    void read(const Setting& setting) const
    {
        switch (setting.type) {
        case Type::Text:
        case Type::Word:
            return readText(setting);
        case Type::Number:
        case Type::Rounded:
            return readNumber(setting);
        case Type::Integer:
        case Type::Switch:
            return readInteger(setting);
        }
    }

private:
    QString textOf(const Setting& setting) const
    {
        const QString without =
            setting.more.defaultOf != nullptr ? setting.more.defaultOf(m_into) : QString::fromLatin1(setting.defaultText);
        return PrivateProfile::GetPrivateProfileString(m_section, QString::fromLatin1(setting.key), without, modTools::state().iniPath);
    }

    void readText(const Setting& setting) const
    {
        QString text = textOf(setting);
        if (setting.type == Type::Word)
            text = text.trimmed().toLower();
        if (!setting.more.texts.empty())
            return choose(setting, text);
        const QString kept = setting.more.keep != nullptr ? setting.more.keep(text, m_into, m_directoryUsable) : text;
        *std::get<QString*>(setting.place(m_into)) = kept;
        log(setting, text, kept);
    }

    void choose(const Setting& setting, const QString& text) const
    {
        const QString lower = text.toLower();
        qint32& value = *std::get<qint32*>(setting.place(m_into));
        for (const KnownText& known : setting.more.texts) {
            if (lower != QLatin1String(known.text))
                continue;
            value = known.value;
            return log(setting, text, QString::fromLatin1(known.name));
        }
        value = setting.more.otherwise.value_or(value);
        logLine(setting, setting.key, text);
    }

    void readNumber(const Setting& setting) const
    {
        const QString text = put(heldWithin(setting.more.held, NumberText::ReadNumber(textOf(setting))), setting.place(m_into));
        log(setting, text, text);
    }

    void readInteger(const Setting& setting) const
    {
        const qint32 without = NumberText::RoundToLong(NumberText::LeadingNumber(QString::fromLatin1(setting.defaultText)));
        const qint32 value =
            PrivateProfile::GetPrivateProfileInt(m_section, QString::fromLatin1(setting.key), without, modTools::state().iniPath);
        const QString asRead = NumberText::General(value);
        const Place place = setting.place(m_into);
        if (auto* const* into = std::get_if<bool*>(&place)) {
            **into = setting.type == Type::Switch ? value != 0 : value == 1;
            return log(setting, asRead, modTools::FlagText(**into));
        }
        log(setting, asRead, put(heldWithin(setting.more.held, value), place));
    }

    static void log(const Setting& setting, const QString& asRead, const QString& kept)
    {
        if (setting.more.unlogged)
            return;
        if (setting.more.logName != nullptr)
            logLine(setting, setting.more.logName, kept);
        else
            logLine(setting, setting.key, asRead);
    }

    static void logLine(const Setting& setting, const char* name, const QString& value)
    {
        modTools::WriteLog(false, QString::fromLatin1(name) + u'=' + value);
        if (setting.more.secondaryLogName != nullptr)
            modTools::WriteSecondaryLog(QString::fromLatin1(setting.more.secondaryLogName) + u'=' + value);
    }

    QString m_section;
    Configuration& m_into;
    DirectoryTest m_directoryUsable;
};
} // namespace

void read(Block block, Configuration& into, DirectoryTest directoryUsable)
{
    const Section& section = sectionOf(block);
    if (section.heading != nullptr)
        modTools::WriteLog(false, QString::fromLatin1(section.heading));
    const Reader reader(section.name, into, directoryUsable);
    for (const Setting& setting : section.settings)
        reader.read(setting);
}

QString nameOf(Block block, const QString& key, qint32 value)
{
    for (const Setting& setting : sectionOf(block).settings)
        for (const KnownText& known : setting.more.texts)
            if (key == QLatin1String(setting.key) && known.value == value)
                return QString::fromLatin1(known.name);
    return {};
}

std::optional<qint32> valueOf(Block block, const QString& key, const QString& text)
{
    for (const Setting& setting : sectionOf(block).settings)
        for (const KnownText& known : setting.more.texts)
            if (key == QLatin1String(setting.key) && text.trimmed().toLower() == QLatin1String(known.text))
                return known.value;
    return std::nullopt;
}
} // namespace Settings
