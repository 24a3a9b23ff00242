// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "VirtualInstrument.h"

#include "ScanIni.h"

#include <QDir>
#include <QFileInfo>

namespace lab {

namespace {

constexpr double oldRunSeconds = 30.0; // how long the old program of --busy has been running

QString fromView(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

std::unique_ptr<Channel> systemChannel(const DeviceEntry& entry, const Options& options)
{
    if (options.tcpPort >= 0)
        return makeTcpServer(static_cast<quint16>(options.tcpPort > 0 ? options.tcpPort + entry.tcpOffset : 0));
    return makePseudoTerminal(options.directory.isEmpty() ? QString() : QDir(options.directory).filePath(fromView(entry.linkName)));
}

VirtualInstrument::VirtualInstrument(const Options& options, const Surroundings& surroundings)
    : options_(options),
      surroundings_(surroundings),
      laboratory_(surroundings.clock, *findSample(options.sample.toStdString()), options.seed)
{
}

bool VirtualInstrument::start(QString& why)
{
    if (!options_.directory.isEmpty()) {
        if (!QDir().mkpath(options_.directory)) {
            why = QStringLiteral("%1: cannot be made").arg(options_.directory);
            return false;
        }
        options_.directory = QFileInfo(options_.directory).canonicalFilePath();
    }
    if (!openTrace(why))
        return false;
    for (const DeviceEntry& entry : deviceTable())
        if (entry.played(options_.devices) && !serve(entry, why))
            return false;
    if (!options_.directory.isEmpty() && !(writeIni(why) && writeFiles(why)))
        return false;
    for (const Station& station : stations_)
        announce(QString::fromStdString(station.device->name()) + QStringLiteral(" line: ") + station.line->address());
    return true;
}

const Device* VirtualInstrument::device(std::string_view name) const
{
    for (const Station& station : stations_)
        if (station.entry->name == name)
            return station.device.get();
    return nullptr;
}

bool VirtualInstrument::openTrace(QString& why)
{
    if (options_.traceFile.isEmpty())
        return true;
    traceFile_.setFileName(options_.traceFile);
    if (!traceFile_.open(QIODevice::WriteOnly)) {
        why = options_.traceFile + QStringLiteral(": ") + traceFile_.errorString();
        return false;
    }
    trace_.setSink([this](const std::string& line) {
        traceFile_.write(line.data(), static_cast<qint64>(line.size()));
        traceFile_.write("\n");
        traceFile_.flush();
    });
    return true;
}

bool VirtualInstrument::serve(const DeviceEntry& entry, QString& why)
{
    std::vector<Fault> faults;
    for (const Fault& fault : options_.faults)
        if (fault.device.empty() || fault.device == entry.name)
            faults.push_back(fault);
    Station station{&entry, entry.make(laboratory_, std::move(faults), trace_, options_.devices), nullptr};
    auto* goniometer = dynamic_cast<GoniometerController*>(station.device.get());
    if (goniometer != nullptr && options_.busy) {
        goniometer->beginOldRun();
        surroundings_.clock.skip(fromSeconds(oldRunSeconds));
    }
    auto channel = surroundings_.channel(entry, options_);
    if (!channel) {
        why = QStringLiteral("no pseudo-terminals on this system: use --tcp");
        return false;
    }
    station.line = std::make_unique<ServedLine>(surroundings_.clock, surroundings_.alarms, trace_, *station.device, std::move(channel),
                                                entry.line(options_.devices));
    station.line->announce = announce;
    if (!station.line->open(why))
        return false;
    stations_.push_back(std::move(station));
    return true;
}

bool VirtualInstrument::writeIni(QString& why) const
{
    const QString general = QStringLiteral("General");
    std::vector<IniValue> defaults{
        {general, QStringLiteral("WorkDir"), QDir::toNativeSeparators(options_.directory + QLatin1Char('/'))},
        {general, QStringLiteral("ScanMode"), QStringLiteral("online")},
        {general, QStringLiteral("ThetaMin"), QStringLiteral("0")},
        {general, QStringLiteral("ThetaMax"), QStringLiteral("180")},
        {general, QStringLiteral("ScanStart"), QStringLiteral("20")},
        {general, QStringLiteral("ScanStop"), QStringLiteral("32")},
        {general, QStringLiteral("ScanStep"), QStringLiteral("0.02")},
        {general, QStringLiteral("CounterTime"), QStringLiteral("0.1")},
        {general, QStringLiteral("ScanSpeed"), QStringLiteral("1500")},
        {general, QStringLiteral("SlewSpeed"), QStringLiteral("4000")},
        {general, QStringLiteral("FileName"), options_.sample},
        {general, QStringLiteral("DelaySleep"), QStringLiteral("1")},
        {general, QStringLiteral("StripInterval"), QStringLiteral("10")},
    };
    std::vector<IniValue> always{{general, QStringLiteral("InstrumentSpeed"), QString::number(options_.speed)}};
    for (const DeviceEntry& entry : deviceTable()) {
        const bool played = entry.played(options_.devices);
        for (const DeviceValue& value : entry.values(options_.devices)) {
            IniValue line{QString::fromStdString(value.section), QString::fromStdString(value.key), QString::fromStdString(value.value)};
            if (!played) {
                line.value = QStringLiteral("0");
                line.onlyWhereItStands = true;
            }
            if (played || value.use == DeviceValue::Use::enables)
                (value.use == DeviceValue::Use::fresh ? defaults : always).push_back(line);
        }
    }
    for (const Station& station : stations_)
        always.push_back({fromView(station.entry->iniSection), QStringLiteral("SerialDevice"), station.line->address()});
    return writeScanIni(options_.directory, always, defaults, why);
}

// The tables of control parameters, where the directory has none yet.
bool VirtualInstrument::writeFiles(QString& why) const
{
    for (const Station& station : stations_) {
        const auto wanted = station.entry->file(options_.devices);
        if (!wanted)
            continue;
        QFile file(QDir(options_.directory).filePath(QString::fromStdString(wanted->name)));
        if (file.exists())
            continue;
        const auto length = static_cast<qint64>(wanted->text.size());
        if (!file.open(QIODevice::WriteOnly | QIODevice::Text) || file.write(wanted->text.data(), length) != length) {
            why = file.fileName() + QStringLiteral(": ") + file.errorString();
            return false;
        }
    }
    return true;
}

} // namespace lab
