// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/modHTC_PID.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/NumberText.h"
#include "core/modTools.h"
#include "temperature/modHTC.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {
// Of file and dialog.
constexpr float highestP = 500;     // %
constexpr float highestTime = 5000; // s, of I and D
} // namespace

namespace modHTC {
QString PIDFilePath()
{
    return QDir::toNativeSeparators(QDir(modTools::state().programDirectory).filePath(configuration().htc.pidFile));
}

PIDTable::Use PIDUse()
{
    const QString line = PIDTable::UsableLine(configuration().htc.defaultPID, u"900=P71I8D2"_s, PIDTable::Kind::PID);
    return {PIDTable::Kind::PID, line, {0, highestP, highestTime, highestTime}, {line}};
}

void LoadPIDFile()
{
    PIDTable::Load(PIDFilePath(), PIDUse(), u"HTC"_s, u"HTC"_s, flags().htcEnabled);
}

QString PIDUnit(char field)
{
    return field == 'P' ? u"%"_s : u"s"_s;
}

QString PIDFieldText(char field, const QString& text)
{
    return NumberText::General(NumberText::RoundToLong(NumberText::ReadNumber(text))) + PIDUnit(field);
}

QString PIDFieldMessage(char field, const QString& text)
{
    const QString sign = PIDUnit(field);
    const float highest = field == 'P' ? highestP : highestTime;
    const std::optional<double> value = PIDTable::FieldValue(text, sign);
    if (value && *value >= 0 && *value <= highest)
        return {};
    return u"The valid "_s + QLatin1Char(field) + u" range is"_s + NumberText::Print(qint32{0}) + sign + u" ... "_s +
           NumberText::General(highest) + sign + u"!"_s;
}

void mnuHTCSavePID()
{
    DataBlock block;
    if (GetDataBlock(&block) != 0)
        return;
    const QString path = PIDTable::AskForFile(configuration().htc.pidFile);
    if (!path.isEmpty() && PIDTable::Save(path, static_cast<float>(block.setpoint), {0, block.p, block.i, block.d}, PIDTable::Kind::PID,
                                          u"mnuHTCSavePID"_s) == 0)
        modTools::WriteLog(false, u"HTC: PID parameters saved."_s);
}

void mnuHTCDefault()
{
    PIDTable::Values values;
    if (PIDTable::ParseValues(PIDUse().defaultLine, PIDTable::Kind::PID, &values) && SetPID(values) == 0)
        ReadBack();
}

bool ReadPIDForDialog(PIDTable::Values* values, double* setpoint)
{
    DataBlock block;
    if (GetDataBlock(&block) != 0)
        return false;
    *values = {0, block.p, block.i, block.d};
    *setpoint = block.setpoint;
    return true;
}

void SendPIDFromDialog(const PIDTable::Values& values)
{
    if (SetPID(values) != 0)
        return;
    modTools::WriteLog(false, u"HTC: PID parameters changed."_s);
    ReadBack();
}
} // namespace modHTC
