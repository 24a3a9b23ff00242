// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/Recovery.h"

#include "core/modTools.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NativeFile.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {
constexpr qsizetype mostCopies = 50;
constexpr qsizetype longestName = 60;
const QString timeFormat = u"yyyyMMdd_hhmmss"_s;

QString folder()
{
    return modTools::state().programDirectory + u"/recovered"_s;
}

/// The folder; empty when it cannot be made, or the program has no directory yet.
QString madeFolder()
{
    return !modTools::state().programDirectory.isEmpty() && QDir().mkpath(folder()) ? folder() : QString();
}

QString markPath()
{
    return folder() + u"/unsaved.json"_s;
}

QString startedPath()
{
    return folder() + u"/started.json"_s;
}

QString transferPath()
{
    return folder() + u"/transfer.json"_s;
}

QString markOf(const QString& reply)
{
    return QString::fromLatin1(QCryptographicHash::hash(reply.toLatin1(), QCryptographicHash::Sha1).toHex());
}

QJsonObject objectIn(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

void write(const QString& path, const QJsonObject& object)
{
    FileWriting::WriteWhole(path, QJsonDocument(object).toJson());
}

/// "20261122_161500_quartz.sdf"
QString copyName(const ScanRecord& scan)
{
    static const QRegularExpression unsafe(u"[^\\w.-]+"_s, QRegularExpression::UseUnicodePropertiesOption);
    const QString start =
        modTools::currentDateTime().toString(timeFormat) + u'_' + QString(scan.sample).replace(unsafe, u"_"_s).left(longestName);
    QString name = start + u".sdf"_s;
    for (int n = 2; QFileInfo::exists(folder() + u'/' + name); ++n)
        name = start + u'(' + QString::number(n) + u").sdf"_s;
    return name;
}

void removeOldest()
{
    QDir copies(folder());
    QStringList names = copies.entryList({u"*.sdf"_s}, QDir::Files, QDir::Name);
    while (names.size() > mostCopies)
        copies.remove(names.takeFirst());
}
} // namespace

namespace Recovery {
void keep(const ScanRecord& scan)
{
    if (madeFolder().isEmpty())
        return;
    const QString name = copyName(scan);
    const QString path = folder() + u'/' + name;
    if (FileWriting::WriteWhole(path, NativeFile::Content(scan, path)))
        return;
    const QDateTime begin = scan.begin.isValid() ? scan.begin : modTools::currentDateTime();
    write(markPath(), {{u"file"_s, name}, {u"sample"_s, scan.sample}, {u"begin"_s, begin.toString(Qt::ISODate)}});
    removeOldest();
}

void saved()
{
    if (!modTools::state().programDirectory.isEmpty())
        QFile::remove(markPath());
}

std::optional<Unsaved> unsaved()
{
    const QJsonObject mark = objectIn(markPath());
    const QString path = folder() + u'/' + QFileInfo(mark.value(u"file").toString()).fileName();
    if (mark.isEmpty() || !QFileInfo(path).isFile())
        return std::nullopt;
    return Unsaved{path, mark.value(u"sample").toString(), QDateTime::fromString(mark.value(u"begin").toString(), Qt::ISODate)};
}

void transferTaken(const QString& reply)
{
    if (!madeFolder().isEmpty())
        write(transferPath(), {{u"counts"_s, markOf(reply)}});
}

bool isLastTransfer(const QString& reply)
{
    return objectIn(transferPath()).value(u"counts").toString() == markOf(reply);
}

void started(const ScanRecord& scan)
{
    if (madeFolder().isEmpty())
        return;
    const ScanParameters& parameters = scan.parameters;
    write(startedPath(), {{u"start"_s, parameters.start},
                          {u"stop"_s, parameters.stop},
                          {u"step"_s, parameters.step},
                          {u"counterTime"_s, parameters.counterTime},
                          {u"points"_s, parameters.numberOfPoints},
                          {u"sample"_s, scan.sample},
                          {u"comment"_s, scan.comment},
                          {u"begin"_s, scan.begin.toString(Qt::ISODate)},
                          {u"measuringDate"_s, scan.measuringDate}});
}

std::optional<ScanRecord> lastStarted()
{
    const QJsonObject last = objectIn(startedPath());
    const auto number = [&last](const char16_t* key) { return last.value(QStringView(key)).toDouble(); };
    if (number(u"points") < 2 || number(u"step") <= 0)
        return std::nullopt;
    ScanRecord scan = ScanRecord::of(
        {number(u"start"), number(u"stop"), number(u"step"), number(u"counterTime"), static_cast<qint32>(number(u"points"))});
    scan.sample = last.value(u"sample").toString();
    scan.comment = last.value(u"comment").toString();
    scan.begin = QDateTime::fromString(last.value(u"begin").toString(), Qt::ISODate);
    scan.measuringDate = last.value(u"measuringDate").toString();
    return scan;
}
} // namespace Recovery
