// SPDX-License-Identifier: GPL-3.0-or-later
//
// The table of settings, and the two files of the project that are written from it.

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/NumberText.h"
#include "core/Settings.h"
#include "core/SettingsText.h"
#include "core/modTools.h"
#include "support/ResetProgram.h"

#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Settings;

namespace {
const QString project = QStringLiteral(SCAN_TEST_DATA "/../..");

QByteArray fileOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().replace("\r\n", "\n") : QByteArray("(missing)");
}

/// What stands between the marker lines.
QByteArray generatedPart(const QByteArray& document)
{
    const qsizetype begin = document.indexOf('\n', document.indexOf("settings: begin")) + 1;
    const qsizetype end = document.lastIndexOf('\n', document.indexOf("settings: end")) + 1;
    return document.mid(begin, end - begin);
}

QString nameOf(const Section& section, const Setting& setting)
{
    return QString::fromLatin1(section.name) + u'/' + QString::fromLatin1(setting.key);
}

bool isNumber(const Setting& setting)
{
    return setting.type != Type::Text && setting.type != Type::Word;
}

const void* addressOf(const Place& place)
{
    return std::visit([](auto* member) { return static_cast<const void*>(member); }, place);
}
} // namespace

class TestSettings : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;

    /// The log of a start with this scan.ini.
    QStringList logOf(const QByteArray& ini)
    {
        configuration() = Configuration{};
        QFile::remove(m_folder->filePath(u"app.log"_qs));
        QFile file(modTools::state().iniPath);
        if (!file.open(QIODevice::WriteOnly) || file.write(ini) != ini.size())
            return {};
        file.close();
        for (const Section& section : table())
            read(section.block, configuration());
        return QString::fromUtf8(fileOf(m_folder->filePath(u"app.log"_qs))).split(u'\n', Qt::SkipEmptyParts);
    }

private slots:
    void init()
    {
        resetProgram();
        m_folder = std::make_unique<QTemporaryDir>();
        modTools::state().programDirectory = m_folder->path();
        modTools::state().iniPath = m_folder->filePath(u"scan.ini"_qs);
        flags().log = true;
    }

    // --- the files of the project: tools/update-settings.sh writes them

    void theTableOfTheDocumentsIsTheOneThatIsRead()
    {
        QCOMPARE(generatedPart(fileOf(project + u"/docs/FORMATS.md"_qs)), markdown().toUtf8());
    }
    void theExampleFileHasTheKeysThatAreRead()
    {
        QCOMPARE(generatedPart(fileOf(project + u"/packaging/scan.ini.example"_qs)), exampleFile().toUtf8());
    }

    void theExampleFileSaysTheDefaultsWhereItNamesNoOther()
    {
        const QByteArray example = fileOf(project + u"/packaging/scan.ini.example"_qs);
        const QStringList defaults = logOf({});
        const QStringList read = logOf(example);
        QStringList different;
        QCOMPARE(read.size(), defaults.size());
        for (qsizetype i = 0; i < read.size(); ++i)
            if (read[i] != defaults[i])
                different += read[i];
        QCOMPARE(different, (QStringList{u"ScanMode=online"_qs, u"ScanStart=10"_qs, u"ScanStop=90"_qs, u"ScanStep=0.02"_qs,
                                         u"CounterTime=1"_qs, u"giGeneratorModel=SEIFERT3000"_qs}));
        for (const char* key : {"ScanMode", "ScanStart", "ScanStop", "ScanStep", "CounterTime", "Model"}) {
            const qsizetype line = example.lastIndexOf('\n', example.lastIndexOf("\n" + QByteArray(key) + '=') - 1) + 1;
            QVERIFY2(example.mid(line, example.indexOf('\n', line) - line).contains("; missing: "), key);
        }
    }

    // --- the rows

    void eachKeyStandsOnceInItsSection()
    {
        QSet<QString> names;
        for (const Section& section : table()) {
            for (const Setting& setting : section.settings) {
                if (*setting.help == '\0') {
                    QCOMPARE(nameOf(section, setting), u"General/WorkDir"); // the second reading
                    continue;
                }
                QVERIFY2(!names.contains(nameOf(section, setting).toLower()), qPrintable(nameOf(section, setting)));
                names.insert(nameOf(section, setting).toLower());
            }
        }
        QVERIFY(names.size() > 75);
    }

    void noTwoKeysGoToOnePlace()
    {
        QHash<const void*, QString> owners;
        for (const Section& section : table()) {
            for (const Setting& setting : section.settings) {
                const QString name = nameOf(section, setting);
                const QString owner = owners.value(addressOf(setting.place(configuration())), name);
                QCOMPARE(name, owner);
                owners.insert(addressOf(setting.place(configuration())), name);
            }
        }
    }

    void everyDefaultCanBeRight()
    {
        for (const Section& section : table()) {
            for (const Setting& setting : section.settings) {
                if (!isNumber(setting) || setting.more.defaultOf != nullptr)
                    continue;
                const QString text = QString::fromLatin1(setting.defaultText);
                const double value = NumberText::ReadNumber(text);
                const Range& range = setting.more.range;
                QVERIFY2(NumberText::StartsWithNumber(text), qPrintable(nameOf(section, setting)));
                QVERIFY2(value >= range.lowest.value_or(value) && value <= range.highest.value_or(value),
                         qPrintable(nameOf(section, setting)));
            }
        }
    }

    void everyKnownTextIsTaken()
    {
        for (const Section& section : table()) {
            for (const Setting& setting : section.settings) {
                for (const KnownText& known : setting.more.texts) {
                    const QByteArray text = QByteArray(known.text).toUpper();
                    logOf("[" + QByteArray(section.name) + "]\n" + setting.key + "=" + text + "\n");
                    QCOMPARE(*std::get<qint32*>(setting.place(configuration())), known.value);
                    QCOMPARE(Settings::nameOf(section.block, QString::fromLatin1(setting.key), known.value),
                             QString::fromLatin1(known.name));
                }
            }
        }
        QCOMPARE(Settings::nameOf(Block::LtcLine, u"Model"_qs, 99), QString());
    }

    void aValueIsHeldWhereTheTableSaysSo()
    {
        const QStringList log = logOf("[LTC]\nLogInterval=60\nMinQueries=-1\n");
        QCOMPARE(configuration().ltc.logInterval, 30);
        QCOMPARE(configuration().ltc.minQueries, -1); // a range alone holds nothing
        QVERIFY(log.contains(u"MinQueries=-1"_qs));
        QVERIFY(log.contains(u"gbLTCCoolLogInterval=30"_qs));
    }

    void theTerminalShowsEveryKey()
    {
        const QString text = plainText();
        for (const Section& section : table())
            for (const Setting& setting : section.settings)
                QVERIFY2(text.contains(u"\n  "_qs + QString::fromLatin1(setting.key) + u' '), setting.key);
        QVERIFY(text.contains(u"  CounterTime                counting time per point [s, 0.1 to 500]; missing: .1\n"_qs));
    }
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
