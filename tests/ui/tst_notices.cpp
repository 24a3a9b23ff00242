// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Notices.h"

#include <QTest>
#include <QToolButton>

#include <memory>

using namespace Qt::StringLiterals;

/// The message bars above the chart.
class TestNotices : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    QWidget* bars() const { return m_bench->window->findChild<QWidget*>(u"NoticeBars"_s); }
    QString text(const char* id) const
    {
        const auto* bar = bars()->findChild<QWidget*>(QString::fromLatin1(id));
        return bar != nullptr ? bar->findChild<QLabel*>(u"text"_s)->text() : QString();
    }

private slots:
    void init()
    {
        m_bench = std::make_unique<LabWindow>();
        QVERIFY(m_bench->showWindow());
    }
    void cleanup() { m_bench.reset(); }

    void withoutANoticeThereIsNoBar() { QVERIFY(bars()->isHidden()); }

    void aNoticeTakesThePlaceOfOneWithItsName()
    {
        Notices::show(u"one"_s, u"The setpoint was not taken."_s);
        Notices::show(u"two"_s, u"The X-ray tube warms up."_s);
        QVERIFY(!bars()->isHidden());
        QCOMPARE(text("one"), u"The setpoint was not taken."_s);
        Notices::show(u"one"_s, u"The setpoint was taken at last."_s);
        QCOMPARE(text("one"), u"The setpoint was taken at last."_s);
        QCOMPARE(text("two"), u"The X-ray tube warms up."_s);
        Notices::take(u"one"_s);
        QCOMPARE(text("one"), QString());
        Notices::take(u"two"_s);
        QVERIFY(bars()->isHidden());
    }

    void aBarIsTakenAwayByItsCross()
    {
        Notices::show(u"one"_s, u"Something."_s);
        QTest::mouseClick(bars()->findChild<QToolButton*>(u"close"_s), Qt::LeftButton);
        QVERIFY(m_bench->desk().until([] { return Notices::all().isEmpty(); }, 1));
        QVERIFY(bars()->isHidden());
    }

    void itsButtonDoesWhatItSaysAndTheBarGoes()
    {
        bool done = false;
        Notices::show({u"one"_s, u"A scan that was not saved."_s, {{u"Open"_s, [&done] { done = true; }}}});
        QTest::mouseClick(bars()->findChild<QPushButton*>(), Qt::LeftButton);
        QVERIFY(m_bench->desk().until([&done] { return done; }, 1));
        QVERIFY(Notices::all().isEmpty());
    }

    void noBarTakesTheFocus()
    {
        const QWidget* before = m_bench->window->focusWidget();
        Notices::show({u"one"_s, u"Something."_s, {{u"Open"_s, {}}}});
        QCOMPARE(m_bench->window->focusWidget(), before);
    }
};

QTEST_MAIN(TestNotices)
#include "tst_notices.moc"
