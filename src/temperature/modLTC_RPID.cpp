// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/modLTC_RPID.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "temperature/modLTC.h"
#include "temperature/modTC.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {
/// The tables of the models. The limits of P, I and D are the same in file and dialog.
struct ModelTable
{
    int models;
    const char16_t* file;
    const char16_t* builtInLine; ///< when that of scan.ini cannot be used
    qint16 fileRange;
    qint16 dialogRange;
    float highest;
    const char16_t* highestText;
    QStringList firstLines;
};

const ModelTable& table()
{
    using namespace modLTC;
    static const QStringList lakeShore = {u"25=R2P25I500D0"_s, u"300=R3P300I50D0"_s};
    static const QList<ModelTable> tables = {
        {LakeShore330, u"ls330.pid", u"300=R3P300I50D0", 3, 3, 999.0F, u"999", lakeShore},
        {LakeShore331 | LakeShore331As330, u"ls331.pid", u"300=R3P300I50D0", 3, 3, 999.0F, u"999", lakeShore},
        {DRC91CA,
         u"drc91.pid",
         u"300=R5P40I01D10",
         5,
         5,
         99.0F,
         u"99.0",
         {u"4=R4P40I10D15"_s, u"15=R5P10I10D05"_s, u"28=R5P10I07D04"_s, u"35=R5P30I03D15"_s, u"55=R5P30I01D10"_s, u"75=R5P35I01D10"_s,
          u"300=R5P40I01D10"_s}},
        {DRC81C,
         u"drc81.pid",
         u"300=R5P40I01D10",
         5,
         4,
         99.0F,
         u"99.0",
         {u"4=R3P40I10D15"_s, u"15=R4P10I10D05"_s, u"28=R4P10I07D04"_s, u"35=R4P30I03D15"_s, u"55=R4P30I01D10"_s, u"75=R4P35I01D10"_s,
          u"300=R4P40I01D10"_s}},
    };
    for (const ModelTable& candidate : tables)
        if ((candidate.models & configuration().ltc.modelCode) != 0)
            return candidate;
    return tables[1];
}

QString defaultLine()
{
    const Configuration::LTC& ltc = configuration().ltc;
    switch (ltc.modelCode) {
    case modLTC::LakeShore330:
        return ltc.ls330DefaultPID;
    case modLTC::DRC91CA:
        return ltc.drc91DefaultPID;
    case modLTC::DRC81C:
        return ltc.drc81DefaultPID;
    default:
        return ltc.ls331DefaultPID;
    }
}

QString logText(const char* procedure, const QString& path, float setpoint, const PIDTable::Values& values)
{
    return QString::fromLatin1(procedure) + u"(File: "_s + path + u"; Setpoint:"_s + NumberText::General(setpoint) + u"; R:"_s +
           NumberText::General(qint32{values.r}) + u"; P:"_s + NumberText::General(values.p) + u"; I:"_s + NumberText::General(values.i) +
           u"; D:"_s + NumberText::General(values.d) + u")"_s;
}

PIDTable::Values valuesOf(const modLTC::Parameters& parameters)
{
    return {parameters.range, parameters.p, parameters.i, parameters.d};
}

void showSaved(const QString& path, float setpoint, const PIDTable::Values& values)
{
    const QStringList lines = {u"Setpoint: "_s + NumberText::General(setpoint),  QString(),
                               u"R: "_s + NumberText::General(qint32{values.r}), u"P: "_s + NumberText::General(values.p),
                               u"I: "_s + NumberText::General(values.i),         u"D: "_s + NumberText::General(values.d),
                               u"Saving RPID parameter to '"_s + path + u"'."_s};
    showMessage(u"Save data"_s, lines.join(u"\r\n"_s), Prompts::Icon::Information);
}
} // namespace

namespace modLTC {
QString RPIDFileName()
{
    return QString::fromUtf16(table().file);
}

QString RPIDFilePath()
{
    return QDir::toNativeSeparators(QDir(modTools::state().programDirectory).filePath(RPIDFileName()));
}

PIDTable::Use RPIDUse()
{
    const float highest = table().highest;
    const QString line = PIDTable::UsableLine(defaultLine(), QString::fromUtf16(table().builtInLine), PIDTable::Kind::RPID);
    return {PIDTable::Kind::RPID, line, {table().fileRange, highest, highest, highest}, table().firstLines};
}

QString RPIDRangeHint()
{
    return u"0...."_s + NumberText::General(qint32{table().dialogRange});
}

QString RPIDValueHint()
{
    return u"0...."_s + QString::fromUtf16(table().highestText);
}

QString RPIDFieldMessage(char field, const QString& text)
{
    const bool range = field == 'R';
    const double highest = range ? double(table().dialogRange) : double(table().highest);
    const std::optional<double> value = PIDTable::FieldValue(text);
    if (value && *value >= 0 && *value <= highest && (!range || *value == NumberText::RoundToEven(*value)))
        return {};
    return u"The valid "_s + QLatin1Char(field) + u" range is 0 ... "_s +
           (range ? NumberText::General(qint32{table().dialogRange}) : QString::fromUtf16(table().highestText)) + u"!"_s;
}

void LoadRPIDFile()
{
    PIDTable::Load(RPIDFilePath(), RPIDUse(), u"LTC 330"_s, u"LTC"_s, flags().ltcEnabled);
}

qint16 LTCOpenRPID(const QString& path, float setpoint, PIDTable::Values* values)
{
    modTools::WriteLog(false, u"LTCOpenRPID()"_s);
    const qint16 status = PIDTable::Look(path, setpoint, RPIDUse(), values);
    modTools::WriteLog(false, logText("LTCOpenRPID", path, setpoint, *values));
    return status;
}

qint16 LTCNewSetpointWithPID(float setpoint, float ramp)
{
    modTools::WriteLog(false, u"LTCNewSetpointWithPID()"_s);
    PIDTable::Values values;
    LTCOpenRPID(RPIDFilePath(), setpoint, &values);
    state().controlParameterText = PIDTable::ValuesText(values, PIDTable::Kind::RPID);
    qint16 status = LTCSetPID(values.p, values.i, values.d);
    status |= LTCSetRamp(ramp);
    status |= LTCSetRange(values.r);
    status |= LTCNewSetpoint(setpoint);
    return status;
}

qint16 LTCSaveRPIDParameter(QString path, float setpoint, const PIDTable::Values& values)
{
    const bool given = !path.isEmpty();
    if (!given)
        path = PIDTable::AskForFile(RPIDFileName());
    if (path.isEmpty() || PIDTable::Save(path, setpoint, values, PIDTable::Kind::RPID, u"LTCSaveRPIDParameter"_s) != 0)
        return -1;
    if (given)
        showSaved(path, setpoint, values);
    modTools::WriteLog(false, logText("LTCSaveRPIDParameter", path, setpoint, values));
    return 0;
}

bool ReadRPIDForDialog(PIDTable::Values* values, float* setpoint)
{
    Parameters parameters;
    const bool disabled = !flags().ltcEnabled;
    if (LTCGetStatus(parameters) != 0 || (LTCGetSetpoint(*setpoint) != 0 && !disabled)) {
        modTC::ReportSilence(u"LTC"_s, u"Unable to query LTC..."_s, Prompts::Icon::Exclamation);
        return false;
    }
    *values = valuesOf(parameters);
    return true;
}

void SendRPIDFromDialog(const PIDTable::Values& values)
{
    if (!flags().ltcEnabled)
        return;
    if (LTCSetPID(values.p, values.i, values.d) != 0 || LTCSetRange(values.r) != 0) {
        modTC::ReportSilence(u"LTC"_s, u"Unable to query LTC..."_s, Prompts::Icon::Exclamation);
        return;
    }
    state().controlParameterText = PIDTable::ValuesText(values, PIDTable::Kind::RPID);
    modTools::WriteLog(false, u"LTC: PID parameters changed."_s);
}

void mnuLTCSavePID()
{
    Parameters parameters;
    const bool read = LTCGetStatus(parameters) == 0;
    const std::optional<double> setpoint = read ? LTCAskSetpoint() : std::nullopt; // a text would be saved under 0
    if (!setpoint) {
        modTC::ReportSilence(u"LTC"_s, u"Unable to query LTC."_s + u"\r\n"_s + u"Sub aborted..."_s, Prompts::Icon::Exclamation);
        return;
    }
    if (LTCSaveRPIDParameter({}, static_cast<float>(*setpoint), valuesOf(parameters)) == 0)
        modTools::WriteLog(false, u"LTC: PID parameters saved."_s);
}
} // namespace modLTC
