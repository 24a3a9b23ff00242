// SPDX-License-Identifier: GPL-3.0-or-later

#include "profile/ProfileRunParts.h"

#include "core/Configuration.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/ProgramError.h"
#include "core/ScanData.h"
#include "core/ScanParameters.h"
#include "core/modTools.h"
#include "datafiles/Recovery.h"
#include "datafiles/modFile.h"
#include "serial/modCOM.h"

using namespace Qt::StringLiterals;
using namespace ProfileRun::Parts;
using Field = FrontPanel::Field;
using Outcome = ScanRun::Reading::Outcome;

namespace {
constexpr int saveTries = 10;
constexpr quint32 saveRetryDelay = 60000; // ms

/// The counter time of a step while it is measured: the field shows it and gets its own text back.
class OwnCounterTime
{
public:
    explicit OwnCounterTime(double seconds) : m_before(frontPanel().text(Field::CounterTime))
    {
        frontPanel().setText(Field::CounterTime, NumberText::General(seconds));
    }
    ~OwnCounterTime()
    {
        frontPanel().setText(Field::CounterTime, m_before);
        scanParameters().counterTime = NumberText::ReadNumber(m_before);
    }
    OwnCounterTime(const OwnCounterTime&) = delete;
    OwnCounterTime& operator=(const OwnCounterTime&) = delete;

private:
    QString m_before;
};

/// Reads the counts into memory; a controller that does not answer now still holds them and is asked again. `onlyWhole`: they may be those
/// of an earlier scan.
ScanRun::Reading readCounts(const ScanRecord& scan, bool onlyWhole)
{
    const quint32 start = modTools::timeGetTime();
    for (int tries = 1;; ++tries) {
        const LineWatch watch(modCOM::MCComm());
        ScanRun::Reading reading = readAndDraw(scan, onlyWhole);
        const bool refused = reading.outcome == Outcome::Refused;
        const bool holdsNone = flags().smcOnline && reading.received == 0 && tries > 1;
        if ((reading.taken() && !watch.lost()) || refused || holdsNone || !goesOn() || tooLong(start))
            return reading;
        frontPanel().setPanel(1, u"Reading the scan data again..."_s);
        if (!lineIsThere(modCOM::MCComm())) {
            reading.outcome = Outcome::NotReady;
            return reading;
        }
        if (!reading.taken())
            pause(deviceRetryDelay);
    }
}

enum class Counting { Done, Again, Failed };

/// Why a scan could not be measured.
QString failureText(ScanRun::Result result)
{
    if (result == ScanRun::Result::Silent)
        return u"The goniometer controller was silent for ten minutes; the scan was skipped."_s;
    if (result == ScanRun::Result::Busy)
        return u"The goniometer controller was busy for much longer than a scan takes; the scan was skipped."_s;
    if (modCOM::MCComm().isDown())
        return u"The line to the goniometer controller was gone for ten minutes; the scan was skipped."_s;
    return u"Nothing shows that the scan has been started; it was skipped."_s;
}

/// Measures and reads the counts into `scan`. Again: there is nothing of this scan in the controller.
Counting count(ScanRecord& scan)
{
    const quint32 losses = modCOM::MCComm().losses();
    ScanRun::Options options;
    options.goOn = goesOn;
    options.started = [losses] {
        ProfileRun::state().counting = true;
        if (modCOM::MCComm().losses() != losses)
            remark(u"The line to the goniometer controller was lost while the scan was started; the scan begins again."_s);
    };
    options.barAfter = true;
    options.silenceLimit = silenceLimit;
    options.busyLimit = ScanRun::LongestTime(scan.parameters);
    options.unattended = true;
    const ScanRun::Result result = ScanRun::Measure(scan.parameters, options);
    if (!goesOn())
        return Counting::Failed;
    const bool doubtful = result == ScanRun::Result::Doubtful;
    if (result != ScanRun::Result::Counted && !doubtful) {
        remark(failureText(result));
        return Counting::Failed;
    }
    scan.end = ScanRun::state().last.end;
    const ScanRun::Reading reading = readCounts(scan, doubtful);
    if (doubtful)
        remark(reading.taken() ? u"Nothing showed that the scan was started; its counts came whole."_s
                               : u"Nothing shows that the scan has been started, and its counts did not come."_s);
    const bool read = reading.taken();
    if (read)
        scan = reading.scan;
    if (!goesOn())
        return read ? Counting::Done : Counting::Failed;
    const qint32 wanted = scan.parameters.numberOfPoints;
    const qint32 received = reading.received;
    if (!read && doubtful)
        return received == 0 ? Counting::Again : Counting::Failed;
    if (!read && received != 0) {
        // A person who is asked about the missing points may refuse the rest.
        remark(received > 0 ? u"Received "_s + NumberText::General(received) + u" of "_s + NumberText::General(wanted) +
                                  u" points, which were refused; the scan is not saved."_s
                            : u"The counts could not be read from the goniometer controller."_s);
        return Counting::Failed;
    }
    row().partial = flags().smcOnline && received != wanted;
    if (!row().partial)
        return Counting::Done;
    remark(u"Received "_s + NumberText::General(std::max(received, 0)) + u" of "_s + NumberText::General(wanted) + u" points."_s);
    return received > 0 ? Counting::Done : Counting::Again;
}

QString fileName(const ScanRecord& scan)
{
    return ProfileRun::FileName(scan.sample, row().actual.value_or(row().setpoint));
}

/// Writes the scan into a directory; the name written, empty when the disk refuses. The box about that stands a minute when nobody is
/// there.
QString saveIn(const QString& directory, const ScanRecord& scan)
{
    QString path = modFile::WithSeparator(directory) + fileName(scan);
    const qint16 error = modFile::CreateZELKOFile(scan, path, true);
    if (error == 0)
        return path;
    remark(u"Saving to '"_s + path + u"' failed: "_s + ProgramError::of(error).description + u"."_s);
    return {};
}
} // namespace

namespace ProfileRun::Parts {
ScanRecord scanOfStep()
{
    ScanRecord scan = ScanRun::PanelScan(row().counterTime);
    scan.sample = ProfileRun::state().sample;
    scan.comment = ProfileRun::state().comment;
    scan.remarks = row().remarks;
    return scan;
}

ScanRun::Reading readAndDraw(const ScanRecord& scan, bool onlyWhole)
{
    ScanRun::Reading reading = ScanRun::ReadIntoMemory(scan, onlyWhole);
    if (reading.taken())
        scanData().plot();
    return reading;
}

std::optional<ScanRecord> acquire()
{
    enter(ProfileRun::Phase::Acquiring);
    ProfileRun::state().counting = false;
    const OwnCounterTime shown(row().counterTime);
    ScanRecord scan = scanOfStep();
    ScanRun::Begin(scan);
    Counting result = count(scan);
    ScanRun::EndProgress();
    if (result == Counting::Again && goesOn()) {
        result = count(scan);
        ScanRun::EndProgress();
    }
    if (result != Counting::Done) {
        // Everything was switched off, and nobody was asked about the counts: they stay in memory.
        if (flags().abort && ProfileRun::state().counting && !ProfileRun::state().abortAsked && !flags().closing)
            readAndDraw(scan);
        return std::nullopt;
    }
    frontPanel().setPanel(1, u"Data acquisition done."_s);
    return scan;
}

void save(const ScanRecord& scan)
{
    enter(ProfileRun::Phase::Saving);
    row().maximumCount = scan.maximum;
    if (ProfileRun::state().rehearsal) {
        row().file = fileName(scan);
        return;
    }
    QString path;
    // An operator who breaks off waits no longer for the disk: the program directory takes the scan at once.
    for (int tries = 0; tries < saveTries && path.isEmpty() && !flags().closing && (tries == 0 || !flags().abort); ++tries) {
        const quint32 tried = modTools::timeGetTime();
        path = saveIn(configuration().general.workDir, scan);
        if (path.isEmpty() && tries + 1 < saveTries)
            pause(saveRetryDelay, tried);
    }
    if (path.isEmpty() && !flags().closing)
        path = saveIn(modTools::state().programDirectory, scan);
    row().file = path;
    if (path.isEmpty())
        remark(u"The scan could not be saved; it is in memory until the next one."_s);
    else {
        flags().dataSaved = true;
        Recovery::saved();
    }
}
} // namespace ProfileRun::Parts
