// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/FrontPanel.h"

#include "core/Flags.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "core/Operation.h"

FrontPanel& frontPanel()
{
    // Never taken down: an operation that ends with the program still shows it.
    static auto* const thePanel = new FrontPanel;
    return *thePanel;
}

FrontPanel::FrontPanel() : ExposureTimer("ExposureTimer")
{
    ExposureTimer.setInterval(1000);
    refreshEntries();
}

void FrontPanel::reset()
{
    for (Field field :
         {Field::ScanStart, Field::ScanStop, Field::ScanStep, Field::CounterTime, Field::txtFileName, Field::txtComment, Field::txtWorkDir})
        setText(field, {});
    for (int number = 1; number <= 4; ++number)
        setPanel(number, {});
    setCaption({});
    setProgress(-1);
    setPointer(Pointer::Default);
    setPicLaserOn(false);
    setPicXRayOn(false);
    m_textDisplays = {};
    emit textDisplayChanged();
    ExposureTimer.setEnabled(false);
    ExposureTimer.setInterval(1000);
    m_captions.clear();
    refreshEntries();
}

const char* FrontPanel::fieldName(Field field)
{
    switch (field) {
    case Field::ScanStart:
        return "ScanStart";
    case Field::ScanStop:
        return "ScanStop";
    case Field::ScanStep:
        return "ScanStep";
    case Field::CounterTime:
        return "CounterTime";
    case Field::txtFileName:
        return "txtFileName";
    case Field::txtComment:
        return "txtComment";
    case Field::txtWorkDir:
        return "txtWorkDir";
    }
    return "";
}

void FrontPanel::setText(Field field, const QString& text)
{
    if (m_texts.value(field) == text)
        return;
    m_texts[field] = text;
    emit textChanged(field, text);
}

double FrontPanel::number(Field field) const
{
    return NumberText::ReadNumber(text(field));
}

void FrontPanel::setCaption(const QString& caption)
{
    m_caption = caption;
    emit captionChanged(caption);
}

void FrontPanel::setPanel(int number, const QString& text)
{
    if (m_panels.value(number) == text)
        return;
    m_panels[number] = text;
    emit panelChanged(number, text);
}

void FrontPanel::setProgress(int percent)
{
    if (m_progress == percent)
        return;
    m_progress = percent;
    emit progressChanged(percent);
}

void FrontPanel::setPointer(Pointer pointer)
{
    if (m_pointer == pointer)
        return;
    m_pointer = pointer;
    emit pointerChanged(pointer);
}

void FrontPanel::setPicLaserOn(bool on)
{
    m_laserOn = on;
    emit picturesChanged();
}

void FrontPanel::setPicXRayOn(bool on)
{
    m_xRayOn = on;
    emit picturesChanged();
}

QString FrontPanel::entryCaption(Menu::Entry entry) const
{
    const auto found = m_captions.constFind(entry);
    return found != m_captions.constEnd() ? *found : QString::fromUtf16(Menu::item(entry).caption);
}

void FrontPanel::setEntryCaption(Menu::Entry entry, const QString& caption)
{
    m_captions[entry] = caption;
    emit entriesChanged();
}

void FrontPanel::refreshEntries()
{
    using enum Menu::Entry;
    const Flags& now = flags();
    QSet<Menu::Entry> disabled;
    // What is on can be switched off whatever goes on.
    const auto isOn = [](const Menu::Item& item) {
        return item.outputOf != nullptr && instrument().mayBeOn(QString::fromLatin1(item.outputOf));
    };
    for (const Menu::Item& item : Menu::items())
        if (!(Operation::open(item.needs) || Operation::canBreakOff(item.entry) || isOn(item)) ||
            (item.device != nullptr && !(now.*item.device)))
            disabled.insert(item.entry);
    const auto needs = [&disabled](Menu::Entry entry, bool there) {
        if (!there)
            disabled.insert(entry);
    };
    needs(mnuFileOpen, !now.busy);
    needs(mnuFileSaveAs, now.dataPresent && !now.busy);
    needs(mnuExtrasGenerator, now.generatorRemote || now.shutterRemote);
    needs(mnuExtrasGeneratorSwitchShutter, now.shutterRemote);
    needs(mnuExtrasGeneratorSetPower, now.generatorRemote);
    needs(mnuExtrasGeneratorGetStatus, now.generatorRemote);

    m_fieldsReadOnly = Operation::fieldsLocked();
    m_nameReadOnly = Operation::anyUnattended();
    m_disabled = disabled;
    emit entriesChanged();
}

void FrontPanel::openTextDisplay(const QString& title, const QString& buttonCaption, bool modal, TextWindow which)
{
    TextDisplay& shown = display(which);
    shown = {title, shown.text, buttonCaption, true, modal};
    emit textDisplayChanged();
}

void FrontPanel::setTextDisplay(const QString& text, TextWindow which)
{
    display(which).text = text;
    emit textDisplayChanged();
}

void FrontPanel::closeTextDisplay(TextWindow which)
{
    display(which).open = false;
    display(which).text.clear();
    emit textDisplayChanged();
}
