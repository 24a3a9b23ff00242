// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Menu.h"

#include <QList>
#include <QStringList>

#include <optional>

/// A kind of thing that goes on for a while: what it works with, and what it means for the rest of the program. One row each, below.
struct OperationKind
{
    const char* name;                                     ///< as the status names it
    Resources needs;                                      ///< what it works with; none other that needs one of these begins meanwhile
    bool locksFields = false;                             ///< the four parameter fields cannot be typed into
    bool unattended = false;                              ///< nobody watches: boxes answer themselves, sample name and comment are locked
    bool isRun = false;                                   ///< measures: idle power comes some time after it
    std::optional<Menu::Entry> abortEntry = std::nullopt; ///< chosen again, this entry breaks it off
    const char16_t* runningCaption = nullptr;             ///< that entry's caption meanwhile
};

/// One that is going on. It stands on the stack of the procedure that waits, or lives with the window or timer that carries it; entry
/// states, captions, boxes, idle power and status all ask this list, and refresh with it.
///
///     Operation use(Operations::utility);
///     if (!use.granted())
///         ...refuse
class Operation
{
public:
    /// Begins, when nobody holds what it needs.
    explicit Operation(const OperationKind& kind);
    ~Operation();
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    const OperationKind& kind() const { return m_kind; }
    bool granted() const { return m_granted; }
    bool isCancelled() const { return m_cancelled; }
    /// Neither refused, nor broken off, nor is the program closing.
    bool goesOn() const;
    /// It is broken off: for entries and captions it is over, but it holds what it needs until it ends.
    void cancel();
    /// Gives some of what it holds back before its end.
    void release(Resources some);
    /// All of them, in the order in which they began.
    static const QList<Operation*>& all();
    /// Their kinds' names, those that go on.
    static QStringList names();
    /// The one of this kind that goes on, cancelled ones left out; null when there is none.
    static Operation* running(const OperationKind& kind);
    static bool isRunning(const OperationKind& kind) { return running(kind) != nullptr; }
    /// Nobody holds any of these, not even one that is broken off and still ends.
    static bool free(Resources some);
    /// Nobody who goes on holds any of these: for the entries, which whoever is broken off bars no longer.
    static bool open(Resources some);
    /// A scan or a profile goes on.
    static bool anyRun();
    /// No operation but those of this kind is there: whoever of this kind wants to wait on the stack holds nobody up. Otherwise it goes on
    /// by ticks.
    static bool nothingWaits(const OperationKind& apartFrom);
    static bool anyUnattended();
    static bool fieldsLocked();
    /// The kind whose entry this is, and that goes on.
    static bool canBreakOff(Menu::Entry entry);

    /// Whether one of the runs that went on when this was made has been broken off or has ended since, or a profile was told to abort, or
    /// the program closes.
    class Watch
    {
    public:
        Watch();
        bool brokenOff() const;

    private:
        QList<const Operation*> m_runs;
        bool m_unattended;
        bool m_abort;
    };

private:
    void leave();

    const OperationKind& m_kind;
    Resources m_holds;
    bool m_granted;
    bool m_cancelled = false;
};

/// The kinds.
namespace Operations {
inline constexpr OperationKind scan{.name = "scan",
                                    .needs = Resource::Goniometer | Resource::ScanInMemory | Resource::ScanToSave | Resource::TubePower,
                                    .locksFields = true,
                                    .isRun = true,
                                    .abortEntry = Menu::Entry::mnuMeasStartAcquisition,
                                    .runningCaption = Menu::abortCaption};
inline constexpr OperationKind profile{.name = "profile",
                                       .needs = Resource::Goniometer | Resource::ScanInMemory | Resource::ScanToSave |
                                                Resource::TemperatureLine | Resource::Surroundings | Resource::TubePower,
                                       .locksFields = true,
                                       .unattended = true,
                                       .isRun = true,
                                       .abortEntry = Menu::Entry::mnuMeasExecTempProfile,
                                       .runningCaption = u"Abort Execution of &Temperature Profile..."};
inline constexpr OperationKind ratemeter{.name = "ratemeter", .needs = Resource::Goniometer};
/// An entry that asks or moves the goniometer.
inline constexpr OperationKind utility{.name = "goniometer", .needs = Resource::Goniometer | Resource::ScanInMemory, .locksFields = true};
inline constexpr OperationKind communicationTest{
    .name = "communication test", .needs = Resource::Goniometer | Resource::ScanInMemory, .locksFields = true};
/// An entry that exchanges with a temperature controller, and the wait that follows it.
inline constexpr OperationKind temperature{.name = "temperature", .needs = Resource::TemperatureLine};
/// An entry, or the idle watch, that talks with the generator.
inline constexpr OperationKind generator{.name = "generator", .needs = Resource::GeneratorLine};
/// The window in which the power is set, as long as it is open.
inline constexpr OperationKind powerWindow{.name = "generator window", .needs = Resource::GeneratorLine};
/// The tube warms up after its power was set: it bars nothing.
inline constexpr OperationKind warmUp{.name = "warm-up", .needs = {}};
} // namespace Operations
