// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

/// Every value read from scan.ini at start. Floating values of delays are singles, scan values doubles.
struct Configuration
{
    struct General
    {
        QString workDir;              ///< work directory, with trailing separator when repaired or chosen
        QString programPath;          ///< directory of auxiliary files, with trailing separator
        double thetaMin = 0;          ///< lowest allowed 2-Theta [deg]
        double thetaMax = 180;        ///< highest allowed 2-Theta [deg]
        double scanStart = 0;         ///< [deg 2-Theta]
        double scanStop = 180;        ///< [deg 2-Theta]
        double scanStep = 0.01;       ///< [deg 2-Theta]
        qint32 scanSpeed = 1500;      ///< motor speed while scanning [controller units]
        qint32 slewSpeed = 4000;      ///< motor speed for positioning [controller units]
        QString fileName;             ///< default sample name
        double counterTime = 0.1;     ///< [s]
        int delaySleep = 1;           ///< 0: waits spin; anything else: they rest until the next event
        bool autoSave = true;         ///< false: a profile run is a rehearsal
        bool timeUnitMinutes = false; ///< profile dwell and exposure times are minutes
        double instrumentSpeed = 1;   ///< how many times as fast as a real one the instrument runs; a virtual one says so
        qint32 stripInterval = 0;     ///< between two readings for the strip [s]; 0: none
        qint32 goniometerType = 0;    ///< as read: 0 Guinier, 1 Theta-2-Theta

        /// What a real instrument needs so many seconds for.
        double onThisInstrument(double seconds) const { return instrumentSpeed > 0 ? seconds / instrumentSpeed : seconds; }
    } general;

    /// One serial line's section.
    struct Line
    {
        qint32 serialPort = 1; ///< COM number
        QString serialDevice;  ///< device file or "tcp:HOST:PORT"; empty: COM + serialPort
        QString settings;      ///< "9600,N,8,1"
        float txDelay = 0;     ///< [s]
        float rxDelay = 0;     ///< [s]
        float rxTimeout = 0;   ///< [s]

        /// "COM" + number, or the device text: how messages name the line.
        QString name() const;
    };

    Line smc; ///< rxTimeout is `MCRxTimeout`

    struct LTC
    {
        bool enabled = false;                        ///< key `LTC` as read
        int modelCode = 4;                           ///< 1 LS330, 2 LS331, 4 LS331 as 330, 16 DRC-91CA, 32 DRC-81C
        QString modelName = QStringLiteral("LS331"); ///< "LS331", "DRC91", ...
        Line line;                                   ///< `TCComm`
        QString siclInterfaceName;
        QString gpibType;             ///< "hp": SICL, anything else: NI-488.2
        qint32 gpibDeviceAddress = 0; ///< 0: serial
        QString ls330DefaultPID, ls331DefaultPID, drc81DefaultPID, drc91DefaultPID;
        qint32 tMax = 300; ///< [K]
        qint32 tMin = 8;   ///< [K]
        qint32 minQueries = 10;
        float verySmallWindow = 0.25F; ///< [K]
        float smallWindow = 1;         ///< [K]
        float largeWindow = 5;         ///< [K]
        bool resetAfterTempRun = false;
        qint32 logInterval = 30; ///< [s], at most 30
        double longestWait = 0;  ///< [h], 0: none
    } ltc;

    struct Generator
    {
        Line line; ///< `GeneratorComm`
        bool remote = false;
        int modelCode = 0;                                          ///< 1: Seifert 3000/3003
        qint32 shutter = 0;                                         ///< as read
        qint32 maxCurrent = 40, idleCurrent = 5, measCurrent = 30;  ///< [mA]
        qint32 maxVoltage = 40, idleVoltage = 20, measVoltage = 40; ///< [kV]
        bool reducePowerOnIdle = false;
        qint32 reducePowerOnIdleDelay = 15; ///< [min]
        qint32 powerSettlingTime = 0;       ///< as Generator power dialog uses it
    } generator;

    struct HTC
    {
        bool enabled = false;
        QString pidFile;
        QString defaultPID;
        qint32 tMin = 20, tMax = 1500; ///< [deg C]
        bool calibration = false;
        double longestWait = 0; ///< [h], 0: none
        double calibrationOffset = 0, calibrationFactor = 1;
    } htc;

    struct Laser
    {
        bool enabled = false;
        bool currentMode = false;
        double currentOffset = 0;        ///< [A]
        double currentPerDegree = 0.002; ///< [A/deg C]
        double maxCurrent = 2.5;         ///< [A]
        qint32 tMin = 20, tMax = 1200;   ///< [deg C]
        qint32 checkRounds = 3;
        qint32 stabilizationDelay = 60; ///< [s]
    } laser;

    // Each reads blocks of the table in core/Settings.h, which says how. A text that is no number reads as 0; numbers too large are held at
    // the end of their range. A file that is missing or cannot be read gives the defaults. Flags: readGeneral sets scanMode and
    // showCommunication, which stand in no other record. modMain sets all others from the record.

    /// Section General from `WorkDir` to `CounterTime`, then the optional keys. `directoryUsable` (null: every directory is) is the
    /// work-directory test; a directory that fails it is replaced by the program directory and written back. `WorkDir` is read a second
    /// time after the speeds, and taken when it is usable.
    void readGeneral(bool (*directoryUsable)(const QString& directory));
    void readSmc();
    /// Section LTC up to the default-PID keys. A `Model` that is none of the known ones is logged and leaves code and name as they were.
    void readLtcLine();
    /// Section LTC from `TMax` on, without a heading.
    void readLtcLimits();
    void readHtc();
    void readLaser();
    /// Logs "gfGeneratorRemoteControl=" and "gfShutterRemoteControl=" with the states of the two flags at the end.
    void readGenerator();
    /// `GoniometerType`, without a heading: 0 Guinier, 1 Theta-2-Theta.
    int readGoniometerType();
};

/// The configuration record. `configuration() = Configuration{}` resets it.
Configuration& configuration();
