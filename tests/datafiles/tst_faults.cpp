// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Flags.h"
#include "core/modTools.h"
#include "datafiles/ExportFormats.h"
#include "datafiles/GoldenScans.h"
#include "datafiles/modFile.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"
#include "support/SmallDisk.h"

#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>

class tst_faults : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString at(const QString& name) const { return m_folder->filePath(name); }

    /// Writes in the given format and looks for the box with that error, and that memory stays as it was.
    void fails(const QString& key, const QString& path, int number, const QString& description)
    {
        const ExportFormats::Format& format = *ExportFormats::ofKey(key);
        GoldenScans::put(9);
        scanData().parameters = {10, 49.98, 0.02, 1, 2000};
        scanData().resize(2000);
        for (qint32 i = 1; i <= 2000; ++i)
            scanData().setPoint(i, 10 + (i - 1) * 0.02, GoldenScans::count(i));
        const QVector<double> counts = scanData().counts();
        flags().dataPresent = true;
        ScriptedPrompts boxes;
        boxes.expect(QString::fromUtf16(format.errorTitle),
                     key == u"sdf" ? QStringLiteral("Error # %1 caused by CreateZELKOFile()\n%2").arg(number).arg(description)
                                   : QStringLiteral("Error\n[%1]\n[%2]").arg(number).arg(description));
        QCOMPARE(format.writer(scanData(), path), qint16(number));
        QCOMPARE(scanData().counts(), counts);
        QCOMPARE(scanData().parameters.numberOfPoints, 2000);
        QVERIFY(flags().dataPresent && !flags().dataSaved && !flags().busy);
        QCOMPARE(frontPanel().panel(1), QString());
        QCOMPARE(frontPanel().pointer(), FrontPanel::Pointer::Default);
    }

    static void everyFormat()
    {
        QTest::addColumn<QString>("key");
        for (const ExportFormats::Format& format : ExportFormats::formats())
            QTest::newRow(format.key) << QString::fromLatin1(format.key);
    }

private slots:
    void init()
    {
        resetProgram();
        m_folder = std::make_unique<QTemporaryDir>();
    }

    void onAFullDiskTheEarlierFileStaysWhole_data() { everyFormat(); }
    void onAFullDiskTheEarlierFileStaysWhole()
    {
        QFETCH(QString, key);
        GoldenScans::write(at(QStringLiteral("x")), "earlier");
        {
            // ASCII Y writes a line only.
            const SmallDisk disk(key == u"ascii-y" ? 4 : 4096);
            fails(key, at(QStringLiteral("x")), 61, QStringLiteral("Disk full"));
            fails(key, at(QStringLiteral("new")), 61, QStringLiteral("Disk full"));
        }
        QCOMPARE(GoldenScans::bytesOf(at(QStringLiteral("x"))), QByteArray("earlier"));
        QCOMPARE(GoldenScans::filesIn(m_folder->path()), QStringList{QStringLiteral("x")});
    }

    void aDeviceThatTakesNothingIsAFullDisk_data() { everyFormat(); }
    void aDeviceThatTakesNothingIsAFullDisk()
    {
        QFETCH(QString, key);
        fails(key, QStringLiteral("/dev/full"), 61, QStringLiteral("Disk full"));
        QVERIFY(QFileInfo::exists(QStringLiteral("/dev/full")));
    }

    void aFolderThatTakesNoFilesIsPermissionDenied_data() { everyFormat(); }
    void aFolderThatTakesNoFilesIsPermissionDenied()
    {
        QFETCH(QString, key);
        // sysfs refuses new files even to root.
        fails(key, QStringLiteral("/sys/x.out"), 70, QStringLiteral("Permission denied"));
        if (geteuid() == 0)
            return;
        GoldenScans::write(at(QStringLiteral("x")), "earlier");
        QFile::setPermissions(m_folder->path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        fails(key, at(QStringLiteral("x")), 70, QStringLiteral("Permission denied"));
        QFile::setPermissions(m_folder->path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        QCOMPARE(GoldenScans::bytesOf(at(QStringLiteral("x"))), QByteArray("earlier"));
    }

    void aMissingFolderIsPathNotFound_data() { everyFormat(); }
    void aMissingFolderIsPathNotFound()
    {
        QFETCH(QString, key);
        fails(key, at(QStringLiteral("none/x")), 76, QStringLiteral("Path not found"));
    }

    void aFolderAsTargetIsAnAccessError_data() { everyFormat(); }
    void aFolderAsTargetIsAnAccessError()
    {
        QFETCH(QString, key);
        QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("folder")));
        fails(key, at(QStringLiteral("folder")), 75, QStringLiteral("Path/File access error"));
        QVERIFY(QFileInfo(at(QStringLiteral("folder"))).isDir());
        QVERIFY(GoldenScans::filesIn(m_folder->path()).isEmpty());
        QVERIFY(GoldenScans::filesIn(at(QStringLiteral("folder"))).isEmpty());
    }

    void aNameOf300CharactersIsABadName_data() { everyFormat(); }
    void aNameOf300CharactersIsABadName()
    {
        QFETCH(QString, key);
        fails(key, at(QString(300, u'n')), 52, QStringLiteral("Bad file name or number"));
        QVERIFY(GoldenScans::filesIn(m_folder->path()).isEmpty());
    }

    void aNameOf250CharactersIsWritten()
    {
        ScriptedPrompts boxes;
        GoldenScans::put(9);
        QString path = at(QString(250, u'n') + QStringLiteral(".sdf"));
        QCOMPARE(modFile::CreateZELKOFile(scanData(), path, false), qint16(0));
        QVERIFY(QFileInfo::exists(path));
    }

    void anEmptyNameIsABadName_data() { everyFormat(); }
    void anEmptyNameIsABadName()
    {
        QFETCH(QString, key);
        fails(key, QString(), 52, QStringLiteral("Bad file name or number"));
    }

    void savingFromTheMenuOnAFullDiskLeavesTheDataUnsaved()
    {
        ScriptedPrompts boxes;
        GoldenScans::put(23);
        flags().dataPresent = true;
        modTools::state().iniPath = at(QStringLiteral("scan.ini"));
        boxes.expectSave(QStringLiteral("Save data"), QStringLiteral("/dev/full"), 1);
        boxes.expect(QString(), QStringLiteral("Error # 61 caused by CreateZELKOFile()\nDisk full"));
        modFile::SaveAs();
        QVERIFY(flags().dataPresent && !flags().dataSaved);
    }

    void anUnwritableFolderIsToldByItsNumber() { QCOMPARE(modFile::DirectoryWritable(QStringLiteral("/sys")), qint16(70)); }

    void theReplacedFileKeepsItsPermissions()
    {
        ScriptedPrompts boxes;
        GoldenScans::put(9);
        QString path = at(QStringLiteral("x.sdf"));
        GoldenScans::write(path, "earlier");
        const QFileDevice::Permissions wanted =
            QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup | QFileDevice::WriteGroup;
        QVERIFY(QFile::setPermissions(path, wanted));
        QCOMPARE(modFile::CreateZELKOFile(scanData(), path, false), qint16(0));
        QCOMPARE(QFile::permissions(path) & (wanted | QFileDevice::ReadOther), wanted);
    }
};

QTEST_GUILESS_MAIN(tst_faults)
#include "tst_faults.moc"
