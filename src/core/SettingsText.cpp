// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/SettingsText.h"

#include "core/NumberText.h"
#include "core/Settings.h"

#include <QList>
#include <QStringList>

namespace Settings {
namespace {
/// A section of the file with all its keys, each once.
struct WholeSection
{
    QString name;
    QString about;
    QList<const Setting*> settings;
};

QList<WholeSection> wholeSections()
{
    QList<WholeSection> all;
    for (const Section& section : table()) {
        const QString name = QString::fromLatin1(section.name);
        auto found = std::find_if(all.begin(), all.end(), [&name](const WholeSection& one) { return one.name == name; });
        if (found == all.end())
            found = all.insert(all.end(), {name, QString::fromLatin1(section.about), {}});
        for (const Setting& setting : section.settings)
            if (*setting.help != '\0')
                found->settings.append(&setting);
    }
    return all;
}

QString typeText(const Setting& setting)
{
    switch (setting.type) {
    case Type::Text:
    case Type::Word:
        return QStringLiteral("text");
    case Type::Number:
        return QStringLiteral("number");
    case Type::Rounded:
        return QStringLiteral("number, rounded");
    case Type::Integer:
    case Type::Switch:
        return QStringLiteral("whole number");
    }
    return {};
}

/// "0 to 30", "0 or more", empty without a range.
QString rangeText(const Setting& setting)
{
    const Range& range = setting.more.range;
    if (!range.lowest)
        return {};
    const QString lowest = NumberText::General(*range.lowest);
    return range.highest ? lowest + QStringLiteral(" to ") + NumberText::General(*range.highest) : lowest + QStringLiteral(" or more");
}

QString defaultText(const Setting& setting)
{
    return *setting.defaultText == '\0' ? QStringLiteral("empty") : QString::fromLatin1(setting.defaultText);
}

/// "help [s, 0 or more]", without the quotes that only documents have. On and off need no range: the meaning says it.
QString comment(const Setting& setting)
{
    QStringList within;
    if (*setting.more.unit != '\0')
        within += QString::fromLatin1(setting.more.unit);
    if (const QString range = rangeText(setting); !range.isEmpty() && range != QStringLiteral("0 to 1"))
        within += range;
    const QString text = QString::fromLatin1(setting.help).remove(u'`');
    return within.isEmpty() ? text : text + QStringLiteral(" [") + within.join(QStringLiteral(", ")) + u']';
}

/// The comment of the example file: a value that is not the default is said to be none.
QString exampleComment(const Setting& setting)
{
    const bool shown = setting.more.example == nullptr && setting.more.hint == nullptr;
    return comment(setting) + (shown ? QString() : QStringLiteral("; missing: ") + defaultText(setting).remove(u'`'));
}
} // namespace

QString markdown()
{
    QString text = QStringLiteral("| section | key | read as | unit | range | default | meaning |\n|---|---|---|---|---|---|---|\n");
    for (const WholeSection& section : wholeSections())
        for (const Setting* setting : section.settings)
            text += QStringLiteral("| %1 | `%2` | %3 | %4 | %5 | %6 | %7 |\n")
                        .arg(section.name, QString::fromLatin1(setting->key), typeText(*setting), QString::fromLatin1(setting->more.unit),
                             rangeText(*setting), defaultText(*setting), QString::fromLatin1(setting->help));
    return text.replace(QStringLiteral("deg C"), QStringLiteral(u"°C")).replace(QStringLiteral(" x "), QStringLiteral(u" × "));
}

QString exampleFile()
{
    QStringList parts;
    for (const WholeSection& section : wholeSections()) {
        QString part = section.about.isEmpty() ? QString() : QStringLiteral("; ") + section.about + u'\n';
        part += u'[' + section.name + QStringLiteral("]\n");
        for (const Setting* setting : section.settings) {
            const More& more = setting->more;
            const char* value = more.hint != nullptr ? more.hint : more.example != nullptr ? more.example : setting->defaultText;
            part += QStringLiteral("; ") + exampleComment(*setting) + u'\n';
            part += (more.hint != nullptr ? QStringLiteral(";") : QString()) + QString::fromLatin1(setting->key) + u'=' +
                    QString::fromLatin1(value) + u'\n';
        }
        parts.append(part);
    }
    return parts.join(u'\n');
}

QString plainText()
{
    QString text;
    for (const WholeSection& section : wholeSections()) {
        text += u'[' + section.name + QStringLiteral("]\n");
        for (const Setting* setting : section.settings)
            text += QStringLiteral("  %1 %2; missing: %3\n")
                        .arg(QString::fromLatin1(setting->key), -26)
                        .arg(comment(*setting), defaultText(*setting).remove(u'`'));
    }
    return text;
}
} // namespace Settings
