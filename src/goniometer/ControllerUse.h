// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

/// Who works with the goniometer controller. Each entry that asks, moves or measures claims the controller for as long as it waits, so that
/// none starts inside the waits of another; meanwhile Flags::utilityRunning is set and the entries of the others are disabled.
///
///     const ControllerUse use;
///     if (!use.granted())
///         ...refuse
class ControllerUse
{
public:
    /// Claims the controller when it is free().
    ControllerUse();
    ~ControllerUse();
    ControllerUse(const ControllerUse&) = delete;
    ControllerUse& operator=(const ControllerUse&) = delete;

    bool granted() const { return m_granted; }

    /// No scan (not even an aborted one whose controller still stops), profile, ratemeter, utility or communication test is at work.
    static bool free();

private:
    static void claim(bool claimed);
    bool m_granted;
};
