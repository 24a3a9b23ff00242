// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "serial/SerialChannel.h"
#include "serial/modCOM.h"
#include "support/ScriptedPort.h"
#include "support/TestClock.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTest>

using namespace Qt::StringLiterals;

/// This test makes the application object itself, and ends it.
class TestApplicationEnd : public QObject
{
    Q_OBJECT

private slots:
    void theDevicesAreGoneBeforeTheApplicationIs()
    {
        const TestClock clock;
        ScriptedDevice smc;
        QPointer<QIODevice> device;
        {
            int argumentCount = 1;
            char name[] = "test";
            char* arguments[] = {name, nullptr};
            const QCoreApplication application(argumentCount, arguments);
            configuration().smc.settings = u"9600,N,8,1"_s;
            smc.plugInto(modCOM::MCComm());
            QVERIFY(modCOM::OpenMCComm());
            device = modCOM::MCComm().device();
            QVERIFY(device && device->isOpen());
        }
        QVERIFY(device.isNull());
        QVERIFY(!modCOM::MCComm().isOpen());
    }
};

QTEST_APPLESS_MAIN(TestApplicationEnd)
#include "tst_applicationend.moc"
