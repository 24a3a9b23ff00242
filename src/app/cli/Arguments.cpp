// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/cli/Arguments.h"

#include "core/modTools.h"
#include "datafiles/ExportFormats.h"

#include <algorithm>
#include <cmath>

namespace {
QString knownFormats()
{
    QStringList keys;
    for (const ExportFormats::Format& format : ExportFormats::formats())
        keys.append(QString::fromLatin1(format.key));
    return keys.join(u' ');
}

QString exportObjection(const QString& value)
{
    const qsizetype equals = value.indexOf(u'=');
    if (equals <= 0 || equals == value.size() - 1)
        return QStringLiteral("must be FORMAT=FILE");
    if (ExportFormats::ofKey(value.left(equals)) == nullptr)
        return QStringLiteral("names no known format; known are: ") + knownFormats();
    return {};
}

QString numberObjection(cli::Kind kind, const QString& value)
{
    const std::optional<double> number = cli::wholeNumber(value);
    if (!number)
        return QStringLiteral("is not a number");
    if (kind != cli::Kind::Number && *number <= 0)
        return QStringLiteral("must be above 0");
    if (kind == cli::Kind::Count && (*number != std::floor(*number) || *number > 1e6))
        return QStringLiteral("must be a whole number up to 1000000");
    return {};
}
} // namespace

std::optional<double> cli::wholeNumber(const QString& text)
{
    QString plain = text.trimmed();
    plain.replace(u',', u'.');
    bool ok = false;
    const double value = plain.toDouble(&ok);
    return ok && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

QString cli::objection(Kind kind, const QString& value)
{
    QString name = value;
    switch (kind) {
    case Kind::Switch:
    case Kind::Text:
        return {};
    case Kind::Path:
        return value.isEmpty() ? QStringLiteral("must not be empty") : QString();
    case Kind::ScanFile:
        return value.size() > 4 && value.endsWith(u".sdf", Qt::CaseInsensitive) ? QString() : QStringLiteral("must end in .sdf");
    case Kind::Number:
    case Kind::Positive:
    case Kind::Count:
        return numberObjection(kind, value);
    case Kind::Export:
        return exportObjection(value);
    case Kind::Name:
        return modTools::ValidFileName(name) ? QString() : QStringLiteral("is not a valid file name");
    }
    return {};
}

std::optional<double> cli::Arguments::number(const char* option) const
{
    return has(option) ? wholeNumber(text(option)) : std::nullopt;
}

QString cli::Arguments::take(const Option& option, const QString& value)
{
    const QString name = QString::fromLatin1(option.name);
    if (const QString why = objection(option.kind, value); !why.isEmpty())
        return u"%1: '%2' %3."_qs.arg(name, value, why);
    if (m_values.contains(name) && !option.repeatable && option.kind != Kind::Switch)
        return u"%1 is given twice."_qs.arg(name);
    m_values[name].append(value);
    return {};
}

QString cli::Arguments::read(const QStringList& words, const QList<Option>& options, const QList<Option>& operands)
{
    qsizetype nextOperand = 0;
    bool onlyOperands = false;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString& word = words[i];
        QString problem;
        if (!onlyOperands && word == u"--") {
            onlyOperands = true;
        } else if (!onlyOperands && word.startsWith(u"--")) {
            const qsizetype equals = word.indexOf(u'=');
            const QString name = word.mid(2, equals < 0 ? -1 : equals - 2);
            const auto option =
                std::find_if(options.begin(), options.end(), [&](const Option& one) { return name == QLatin1String(one.name); });
            if (option == options.end())
                return u"Unknown option --%1."_qs.arg(name);
            const bool isSwitch = option->kind == Kind::Switch;
            if (isSwitch && equals >= 0)
                return u"--%1 takes no value."_qs.arg(name);
            if (!isSwitch && equals < 0 && i + 1 == words.size())
                return u"--%1 needs a value."_qs.arg(name);
            problem = take(*option, isSwitch ? QString() : equals >= 0 ? word.mid(equals + 1) : words[++i]);
        } else if (nextOperand == operands.size()) {
            return u"'%1' is one word too many."_qs.arg(word);
        } else {
            problem = take(operands[nextOperand++], word);
        }
        if (!problem.isEmpty())
            return problem;
    }
    for (const QList<Option>& list : {operands, options}) {
        for (const Option& option : list) {
            if (option.required && !has(option.name))
                return u"%1 is missing."_qs.arg(QString::fromLatin1(option.name));
        }
    }
    return {};
}
