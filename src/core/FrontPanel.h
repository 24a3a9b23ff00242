// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Menu.h"
#include "core/modTools.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>

#include <array>

/// What the operator reads and types, without the window. Procedures write it; the main window shows it and writes back what is typed; the
/// console program shows the parts that a terminal can. Everything runs on one thread.
class FrontPanel : public QObject
{
    Q_OBJECT

public:
    /// The text fields, by the names they have in the window.
    enum class Field { ScanStart, ScanStop, ScanStep, CounterTime, txtFileName, txtComment, txtWorkDir };
    enum class Pointer { Default, Hourglass };
    /// The live text windows. The second one is for a text that must be seen while the first belongs to something else.
    enum class TextWindow { First, Second };

    FrontPanel();

    /// Back to the state of a program that has just started. Connections stay.
    void reset();

    QString text(Field field) const { return m_texts.value(field); }
    /// Sets a field's text; the window shows it.
    void setText(Field field, const QString& text);
    /// The field's leading number, a decimal comma counting as a point; 0 without a number.
    double number(Field field) const;
    /// Object name of a field in the window.
    static const char* fieldName(Field field);

    /// Main window's caption.
    QString caption() const { return m_caption; }
    void setCaption(const QString& caption);

    /// Status-bar panels: 1 files, plot, acquisition; 2 measuring date; 3 temperature controllers; 4 progress.
    QString panel(int number) const { return m_panels.value(number); }
    void setPanel(int number, const QString& text);

    /// Scan progress in percent, -1: none (the bar is empty).
    int progress() const { return m_progress; }
    void setProgress(int percent);

    Pointer pointer() const { return m_pointer; }
    void setPointer(Pointer pointer);

    /// The warning pictures.
    bool picLaserOn() const { return m_laserOn; }
    void setPicLaserOn(bool on);
    bool picXRayOn() const { return m_xRayOn; }
    void setPicXRayOn(bool on);

    QString entryCaption(Menu::Entry entry) const;
    void setEntryCaption(Menu::Entry entry, const QString& caption);
    bool isEntryEnabled(Menu::Entry entry) const { return !m_disabled.contains(entry); }
    /// The one place where every menu entry's state is derived from the operations that go on and from the flags; call it after changing a
    /// flag (an operation does it itself). Also settles which fields can be
    /// typed into.
    void refreshEntries();
    /// The four scan parameters.
    bool parameterFieldsReadOnly() const { return m_fieldsReadOnly; }
    /// Sample name and comment: an unattended run has taken both for all its files when it started.
    bool nameFieldsReadOnly() const { return m_nameReadOnly; }

    /// Moves the input focus to btnFirst, away from the parameter fields.
    void focusFirst() { emit focusRequested(); }

    /// The live text window: a title, a text and a button. openTextDisplay shows it (or renames it), setTextDisplay replaces its text,
    /// closeTextDisplay takes it away; the title stays. A press of the first one's button emits textDisplayButton; the procedure that
    /// opened it closes it. `modal`: nothing else can be done until it is closed.
    void openTextDisplay(const QString& title, const QString& buttonCaption = QStringLiteral("OK"), bool modal = false,
                         TextWindow which = TextWindow::First);
    void setTextDisplay(const QString& text, TextWindow which = TextWindow::First);
    void closeTextDisplay(TextWindow which = TextWindow::First);
    bool textDisplayOpen(TextWindow which = TextWindow::First) const { return display(which).open; }
    bool textDisplayModal(TextWindow which = TextWindow::First) const { return display(which).modal; }
    QString textDisplayTitle(TextWindow which = TextWindow::First) const { return display(which).title; }
    QString textDisplayText(TextWindow which = TextWindow::First) const { return display(which).text; }
    QString textDisplayButtonCaption(TextWindow which = TextWindow::First) const { return display(which).button; }
    /// Called by whoever shows the first window when its button is pressed.
    void pressTextDisplayButton() { emit textDisplayButton(); }

    /// Ticks while a run is active and refreshes the progress display: 100 ms, 1000 ms in silent mode.
    modTools::Timer ExposureTimer;

signals:
    void textChanged(FrontPanel::Field field, const QString& text);
    void captionChanged(const QString& caption);
    void panelChanged(int number, const QString& text);
    void progressChanged(int percent);
    void pointerChanged(FrontPanel::Pointer pointer);
    void picturesChanged();
    void entriesChanged();
    void focusRequested();
    void textDisplayChanged();
    void textDisplayButton();

private:
    struct TextDisplay
    {
        QString title;
        QString text;
        QString button;
        bool open = false;
        bool modal = false;
    };
    const TextDisplay& display(TextWindow which) const { return m_textDisplays[static_cast<std::size_t>(which)]; }
    TextDisplay& display(TextWindow which) { return m_textDisplays[static_cast<std::size_t>(which)]; }

    std::array<TextDisplay, 2> m_textDisplays;
    QHash<Field, QString> m_texts;
    QHash<int, QString> m_panels;
    QHash<Menu::Entry, QString> m_captions;
    QSet<Menu::Entry> m_disabled;
    QString m_caption;
    Pointer m_pointer = Pointer::Default;
    int m_progress = -1;
    bool m_laserOn = false;
    bool m_xRayOn = false;
    bool m_fieldsReadOnly = false;
    bool m_nameReadOnly = false;
};

FrontPanel& frontPanel();
