// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "fake_calls.h"
#include "gpib/GPIBLibrary.h"
#include "gpib/modGPIB.h"
#include "support/AppLog.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"

#include <QLibrary>
#include <QTest>

#include <cstring>
#include <memory>

using namespace Qt::StringLiterals;

namespace {
QString libraryPath(const char* name)
{
    return QStringLiteral(FAKE_LIBRARY_DIR "/lib") + QLatin1String(name) + ".so"_L1;
}

FakeScript& scriptOf(const char* name)
{
    QLibrary library(libraryPath(name));
    auto entry = reinterpret_cast<FakeScript* (*)()>(library.resolve("fakeScript"));
    if (entry == nullptr)
        qFatal("%s does not load: %s", name, qPrintable(library.errorString()));
    return *entry();
}

void reply(FakeScript& script, const QByteArray& bytes)
{
    std::memcpy(script.reply, bytes.constData(), static_cast<size_t>(bytes.size()));
    script.reply[bytes.size()] = 0;
    script.replyLength = static_cast<int>(bytes.size());
}
} // namespace

class TestGpib : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<ScriptedPrompts> m_prompts;

    FakeScript& use(const char* library, bool sicl)
    {
        FakeScript& script = scriptOf(library);
        script = FakeScript{};
        configuration().ltc.gpibType = sicl ? u"hp"_s : u"ni"_s;
        configuration().ltc.gpibDeviceAddress = 12;
        configuration().ltc.siclInterfaceName = u"hpib7"_s;
        (sicl ? modGPIB::state().siclNames : modGPIB::state().niNames) = {libraryPath(library)};
        return script;
    }

private slots:
    void init()
    {
        resetProgram();
        modGPIB::reset();
        m_clock = std::make_unique<TestClock>();
        m_prompts = std::make_unique<ScriptedPrompts>();
    }

    void cleanup()
    {
        QVERIFY(m_prompts->allShown());
        m_prompts.reset();
        m_clock.reset();
        modGPIB::reset();
    }

    void onlyTheExactTextHpSelectsSicl()
    {
        QCOMPARE(modGPIB::typeOf(u"hp"_s), qint16(0));
        QCOMPARE(modGPIB::typeOf(u"HP"_s), qint16(1));
        QCOMPARE(modGPIB::typeOf(u"ni"_s), qint16(1));
        QCOMPARE(modGPIB::typeOf(u""_s), qint16(1));
    }

    void niOpensTestsThenRegisters()
    {
        FakeScript& script = use("fake_ni", false);
        QVERIFY(!modGPIB::GPIBInit());
        QCOMPARE(QByteArray(script.calls), QByteArray("ibdev 0 12 0 9 1 0\nThreadIbsta\nRegister 4\n"));
        QCOMPARE(endProgramCalls(), 0);
    }

    void niWithoutRegistrationGoesOn()
    {
        FakeScript& script = use("fake_ni_bare", false);
        modGPIB::GPIBInit();
        QCOMPARE(QByteArray(script.calls), QByteArray("ibdev 0 12 0 9 1 0\nThreadIbsta\n"));
        reply(script, "293.15\r\n");
        QCOMPARE(modGPIB::GPIBGetResponse(), u"293.15"_s);
    }

    void niFailedRegistrationIsShownAndPassedOver()
    {
        FakeScript& script = use("fake_ni", false);
        script.registerResult = 3;
        m_prompts->expect(u""_s, u"RegisterGpibGlobalsForThread() failed! Return value: 3"_s, Prompts::Button::Ok);
        modGPIB::GPIBInit();
        QCOMPARE(endProgramCalls(), 0);
        modGPIB::GPIBOutput(u"WS"_s);
        QVERIFY(QByteArray(script.calls).contains("ibwrt 17 [WS\r\n] 4"));
    }

    void niErrorBitEndsTheProgramWhateverIsPressed_data()
    {
        QTest::addColumn<bool>("cancel");
        QTest::newRow("OK") << false;
        QTest::newRow("Cancel") << true;
    }

    void niErrorBitEndsTheProgramWhateverIsPressed()
    {
        QFETCH(bool, cancel);
        FakeScript& script = use("fake_ni", false);
        script.status = 0x8100;
        m_prompts
            ->expect(u"GPIBInit()"_s, u"National Instruments GPIB Interface not available..."_s,
                     cancel ? Prompts::Button::Cancel : Prompts::Button::Ok)
            .withButtons(Prompts::Buttons::OkCancel);
        modGPIB::GPIBInit();
        QCOMPARE(endProgramCalls(), 1);
        QVERIFY(!QByteArray(script.calls).contains("Register"));
    }

    void aMissingNiLibraryCountsAsTheErrorBit()
    {
        use("fake_ni", false);
        modGPIB::state().niNames = {u"/nowhere/libgpib.so.0"_s, libraryPath("fake_ni_broken")};
        m_prompts->expect(u"GPIBInit()"_s, u"National Instruments GPIB Interface not available..."_s, Prompts::Button::Ok);
        modGPIB::GPIBInit();
        QCOMPARE(endProgramCalls(), 1);
    }

    void aLibraryWithAMissingEntryIsNamedInTheReason()
    {
        GPIBLibrary::NI488 library;
        QString why;
        QVERIFY(!library.load({libraryPath("fake_ni_broken")}, &why));
        QVERIFY2(why.contains("no entry ThreadIbcnt"_L1), qPrintable(why));
        QVERIFY(library.load({libraryPath("fake_ni_broken"), libraryPath("fake_ni_bare")}, &why));
        // A file that is no library at all, as one for another processor would be.
        GPIBLibrary::SICL other;
        QVERIFY(!other.load({QStringLiteral(SCAN_BIN_DIR "/../CMakeCache.txt")}, &why));
        QVERIFY(!why.isEmpty());
    }

    void niReplies_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("nothing") << QByteArray() << QString();
        QTest::newRow("two bytes are an empty reply") << QByteArray("\r\n") << QString();
        QTest::newRow("one character") << QByteArray("7\r\n") << u"7"_s;
        QTest::newRow("inner blanks stay, outer go") << QByteArray("  A  B \r\n") << u"A  B"_s;
    }

    void niReplies()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        FakeScript& script = use("fake_ni", false);
        modGPIB::GPIBInit();
        reply(script, bytes);
        QCOMPARE(modGPIB::GPIBGetResponse(), text);
        QVERIFY(QByteArray(script.calls).contains("ibrd 17 32000 32\n"));
    }

    void theBusFaultIsToldFromAReadThatTimedOut()
    {
        FakeScript& script = use("fake_ni", false);
        modGPIB::GPIBInit();
        modGPIB::GPIBOutput(u"SDAT?"_s);
        QCOMPARE(modGPIB::Fault(), QString());
        script.status = 0xC100; // error and time-out
        QCOMPARE(modGPIB::GPIBGetResponse(), QString());
        QCOMPARE(modGPIB::Fault(), QString()); // no answer
        script.status = 0x8100;
        QCOMPARE(modGPIB::GPIBGetResponse(), QString());
        QCOMPARE(modGPIB::Fault(), u"Bus fault: ibsta 0x8100, iberr 0"_s);
        script.status = 0x100;
        modGPIB::GPIBOutput(u"SDAT?"_s);
        QCOMPARE(modGPIB::Fault(), QString());
        script.status = 0xC100; // nobody listens: a write that times out is no matter of the device's answer
        modGPIB::GPIBOutput(u"SDAT?"_s);
        QCOMPARE(modGPIB::Fault(), u"Bus fault: ibsta 0xc100, iberr 0"_s);
    }

    void theSiclErrorIsTheBusFault()
    {
        FakeScript& script = use("fake_sicl", true);
        modGPIB::GPIBInit();
        script.errorAtCall = script.callCount + 1;
        script.errorNumber = 8;
        modGPIB::GPIBOutput(u"SDAT?"_s);
        QVERIFY2(modGPIB::Fault().startsWith(u"Bus fault: error 8, This error text"_s), qPrintable(modGPIB::Fault()));
        script.errorAtCall = script.callCount + 1;
        script.errorNumber = 15; // time-out
        QCOMPARE(modGPIB::GPIBGetResponse(), QString());
        QCOMPARE(modGPIB::Fault(), QString());
    }

    void niReadWaitsRxDelay()
    {
        FakeScript& script = use("fake_ni", false);
        modGPIB::GPIBInit();
        reply(script, "1\r\n");
        configuration().ltc.line.rxDelay = 0.5F;
        const quint32 before = modTools::timeGetTime();
        modGPIB::GPIBGetResponse();
        QVERIFY(modTools::timeGetTime() - before >= 500);
    }

    void siclOpensWithAddressAndTimeOut()
    {
        FakeScript& script = use("fake_sicl", true);
        QVERIFY(!modGPIB::GPIBInit());
        QCOMPARE(QByteArray(script.calls), QByteArray("iopen hpib7,12\nitimeout 5 1000\n"));
        modGPIB::GPIBOutput(u"KRDG?"_s);
        QVERIFY(QByteArray(script.calls).endsWith("iprintf 5 [KRDG?\r\n]\n"));
        reply(script, "+077.35\r\n");
        QCOMPARE(modGPIB::GPIBGetResponse(), u"+077.35"_s);
        QVERIFY(QByteArray(script.calls).endsWith("iscanf 5 %2048t\n"));
    }

    void siclReplyIsCutAtTheFirstEnd()
    {
        FakeScript& script = use("fake_sicl", true);
        modGPIB::GPIBInit();
        reply(script, "12\n34\r\n");
        QCOMPARE(modGPIB::GPIBGetResponse(), u"12"_s);
        reply(script, "12\r34\n");
        QCOMPARE(modGPIB::GPIBGetResponse(), u"12"_s);
        reply(script, QByteArray(2048, 'x'));
        QCOMPARE(modGPIB::GPIBGetResponse(), QString(2048, u'x'));
    }

    void siclErrorsCarryNumberAndSixtyCharacters()
    {
        for (int call = 1; call <= 2; ++call) {
            FakeScript& script = use("fake_sicl", true);
            script.errorAtCall = call;
            script.errorNumber = 12;
            const ProgramError error = modGPIB::GPIBInit();
            QCOMPARE(error.number, 12);
            QCOMPARE(error.description, u"This error text is a good deal longer than the sixty charact"_s);
            QCOMPARE(script.callCount, call);
        }
    }

    void siclErrorsOnWriteAndReadAreKept()
    {
        FakeScript& script = use("fake_sicl", true);
        script.errorAtCall = 3;
        script.errorNumber = 15;
        modGPIB::GPIBInit();
        QCOMPARE(modGPIB::GPIBOutput(u"WS"_s), qint16(0));
        QCOMPARE(modGPIB::state().error.number, 15);
        script.errorAtCall = 4;
        reply(script, "garbage\r\n");
        QCOMPARE(modGPIB::GPIBGetResponse(), QString());
        QCOMPARE(modGPIB::state().error.number, 15);
    }

    void whatFailsIsLoggedWithItsReason_data()
    {
        QTest::addColumn<bool>("log");
        QTest::newRow("log on") << true;
        QTest::newRow("log off") << false;
    }

    void whatFailsIsLoggedWithItsReason()
    {
        QFETCH(bool, log);
        const AppLog appLog;
        flags().log = log;
        FakeScript& script = use("fake_sicl", true);
        script.errorAtCall = 1;
        script.errorNumber = 12;
        modGPIB::GPIBInit();
        const QString error = u"GPIB: error 12: This error text is a good deal longer than the sixty charact\r\n"_s;
        QCOMPARE(appLog.text(), log ? error : QString());
        modGPIB::state().siclNames = {u"/nowhere/libsicl.so"_s};
        modGPIB::GPIBInit();
        const QString sicl = appLog.text().mid(log ? error.size() : 0);
        QVERIFY2(log ? sicl.startsWith(u"GPIB: "_s) && sicl.contains(u"/nowhere/libsicl.so"_s) : sicl.isEmpty(), qPrintable(sicl));
        const qsizetype before = appLog.text().size();
        use("fake_ni", false);
        modGPIB::state().niNames = {u"/nowhere/libgpib.so"_s};
        m_prompts->expect(u"GPIBInit()"_s, QString());
        modGPIB::GPIBInit();
        const QString ni = appLog.text().mid(before);
        QVERIFY2(log ? ni.startsWith(u"GPIB: "_s) && ni.contains(u"/nowhere/libgpib.so"_s) : ni.isEmpty(), qPrintable(ni));
    }

    void aMissingSiclLibraryIsError53()
    {
        use("fake_sicl", true);
        modGPIB::state().siclNames = {u"/nowhere/libsicl.so"_s};
        QCOMPARE(modGPIB::GPIBInit().number, 53);
        QCOMPARE(modGPIB::GPIBOutput(u"WS"_s), qint16(0));
        QCOMPARE(modGPIB::GPIBGetResponse(), QString());
    }

    void anotherTypeCallsNothing()
    {
        FakeScript& script = use("fake_ni", false);
        modGPIB::GPIBInit();
        script.calls[0] = 0;
        modGPIB::state().GPIBType = 5;
        QCOMPARE(modGPIB::GPIBOutput(u"WS"_s), qint16(0));
        QCOMPARE(modGPIB::GPIBGetResponse(), QString());
        QCOMPARE(QByteArray(script.calls), QByteArray());
    }

    void theCommunicationDisplayShowsReplies()
    {
        FakeScript& script = use("fake_ni", false);
        modGPIB::GPIBInit();
        reply(script, "293.15\r\n");
        modGPIB::GPIBGetResponse();
        QCOMPARE(frontPanel().panel(3), QString());
        flags().showCommunication = true;
        modGPIB::GPIBGetResponse();
        QCOMPARE(frontPanel().panel(3), u"LTC response: 293.15"_s);
    }
};

QTEST_GUILESS_MAIN(TestGpib)
#include "tst_gpib.moc"
