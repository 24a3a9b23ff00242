// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "support/Desk.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QMenu>
#include <QMessageBox>
#include <QObject>
#include <QTest>

#include <functional>
#include <utility>

/// The hand on mouse and keyboard: answers the windows that open while a procedure waits, in the order in which they are expected, each in
/// the moment in which it has opened. A window that nobody expects is closed and counts as a failure.
class Operator : public QObject
{
public:
    explicit Operator(Desk& desk)
    {
        desk.each([this] { return look(); });
        desk.onFailure = [] {
            if (QWidget* open = QApplication::activePopupWidget())
                open->close();
            if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget()))
                dialog->reject();
        };
    }

    /// A message box with this title and text (a null text is not compared): its button is pressed.
    void expect(const QString& title, const QString& text, const QString& button, std::function<void(QMessageBox*)> also = {})
    {
        m_expected << Expectation{title, text, button, std::move(also), {}};
    }
    /// Any other modal window with this title: `hand` works in it and must end it.
    void expectWindow(const QString& title, std::function<void(QDialog*)> hand)
    {
        m_expected << Expectation{title, {}, {}, {}, std::move(hand)};
    }

    /// Leaves the windows alone from now on: the test works in them itself.
    void rest() { m_resting = true; }
    /// Answers them again.
    void work() { m_resting = false; }

    bool done() const { return m_expected.isEmpty(); }
    /// What went wrong, or what has not come; empty when all is well.
    QString complaint() const
    {
        QStringList all = m_failures;
        for (const Expectation& missing : m_expected)
            all << QStringLiteral("never came: ") + missing.title + QStringLiteral(": ") + missing.text;
        return all.join(u'\n');
    }

    /// Without a window manager a menu that was closed can stay the active window.
    static void activate(QWidget* window)
    {
        window->activateWindow();
        QT_WARNING_PUSH
        QT_WARNING_DISABLE_DEPRECATED
        QApplication::setActiveWindow(window);
        QT_WARNING_POP
    }

    /// Opens a menu with Alt and its access key, then goes on with the access keys of its entries.
    static void chooseByKeys(QWidget* window, const QString& keys)
    {
        activate(window);
        QCOMPARE(QApplication::activeWindow(), window);
        QTest::keyClick(window, keys.at(0).toLatin1(), Qt::AltModifier);
        for (QChar key : keys.mid(1)) {
            QVERIFY2(QApplication::activePopupWidget() != nullptr, qPrintable(keys));
            QTest::keyClick(QApplication::activePopupWidget(), key.toLatin1());
        }
    }

private:
    struct Expectation
    {
        QString title, text, button;
        std::function<void(QMessageBox*)> also;
        std::function<void(QDialog*)> hand;
    };

    /// One look at the screen; true when there was something to do.
    bool look()
    {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (m_resting || dialog == nullptr || dialog == m_working || !dialog->isVisible())
            return false;
        auto* box = qobject_cast<QMessageBox*>(dialog);
        if (m_expected.isEmpty() || m_expected.first().title != dialog->windowTitle()) {
            m_failures << QStringLiteral("unexpected window: ") + dialog->windowTitle() +
                              (box != nullptr ? QStringLiteral(": ") + box->text() : QString());
            dialog->close();
            return true;
        }
        const Expectation expected = m_expected.takeFirst();
        QDialog* const outer = std::exchange(m_working, dialog);
        if (expected.hand)
            expected.hand(dialog);
        else
            answer(expected, dialog, box);
        m_working = outer;
        return true;
    }

    void answer(const Expectation& expected, QDialog* dialog, QMessageBox* box)
    {
        if (box == nullptr) {
            m_failures << QStringLiteral("not a message box: ") + dialog->windowTitle();
            dialog->close();
            return;
        }
        if (!expected.text.isNull() && box->text() != expected.text)
            m_failures << QStringLiteral("text is <") + box->text() + QStringLiteral("> instead of <") + expected.text + u'>';
        if (expected.also)
            expected.also(box);
        for (QAbstractButton* button : box->buttons()) {
            if (button->text().remove(u'&') == expected.button) {
                QTest::mouseClick(button, Qt::LeftButton);
                return;
            }
        }
        m_failures << QStringLiteral("no button ") + expected.button + QStringLiteral(" in ") + dialog->windowTitle();
        dialog->close();
    }

    QList<Expectation> m_expected;
    QStringList m_failures;
    QDialog* m_working = nullptr;
    bool m_resting = false;
};
