// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/CodePage.h"
#include "core/PrivateProfile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

using namespace PrivateProfile;

class TestPrivateProfile : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_path;

    void put(const QByteArray& bytes) const
    {
        QFile file(m_path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), bytes.size());
    }
    QByteArray bytes() const
    {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
    }
    QString text(const char* section, const char* key) const
    {
        return GetPrivateProfileString(QString::fromLatin1(section), QString::fromLatin1(key), u"(default)"_qs, m_path);
    }
    qint32 integer(const char* key) const { return GetPrivateProfileInt(u"General"_qs, QString::fromLatin1(key), 77, m_path); }
    bool write(const char* section, const char* key, const QString& value) const
    {
        return WritePrivateProfileString(QString::fromLatin1(section), QString::fromLatin1(key), value, m_path);
    }

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_path = m_folder->filePath(u"scan.ini"_qs);
    }

    void aMissingFileSectionOrKeyGivesTheDefault()
    {
        QCOMPARE(text("General", "WorkDir"), u"(default)");
        QCOMPARE(integer("TMax"), 77);
        put("[General]\nFileName=x\nNoEqualsSign\n");
        QCOMPARE(text("General", "WorkDir"), u"(default)");
        QCOMPARE(text("LTC", "FileName"), u"(default)");
        QCOMPARE(text("General", "NoEqualsSign"), u"(default)");
        QCOMPARE(GetPrivateProfileString(u"LTC"_qs, u"x"_qs, u"  blanks "_qs, m_path), u"blanks");
    }

    void sectionsAndKeysAreFoundInAnyCase()
    {
        put("[SMC]\r\nSERIALPORT=3\r\n[general]\r\nfilename=probe\r\n");
        QCOMPARE(text("smc", "SerialPort"), u"3");
        QCOMPARE(text("General", "FileName"), u"probe");
    }

    void theFirstMatchWins()
    {
        put("[General]\nA=1\na=2\n[LTC]\nA=3\n[GENERAL]\nA=4\nB=5\n");
        QCOMPARE(text("General", "A"), u"1");
        QCOMPARE(text("General", "B"), u"(default)");
    }

    void blanksAndOnePairOfQuotesAreDropped()
    {
        put("  [ General ]  ; here\n \tA \t=  one two\t \nB=\"quoted\"\nC=' single '\nD=\"\"twice\"\"\nE=\"\nF=\"open\nG=\nH = = x\n");
        QCOMPARE(text("General", "A"), u"one two");
        QCOMPARE(text("General", "B"), u"quoted");
        QCOMPARE(text("General", "C"), u"single");
        QCOMPARE(text("General", "D"), u"\"twice\"");
        QCOMPARE(text("General", "E"), u"\"");
        QCOMPARE(text("General", "F"), u"\"open");
        QCOMPARE(text("General", "G"), u"");
        QCOMPARE(text("General", "H"), u"= x");
    }

    void commentsAreNoKeys()
    {
        put("[General]\n;A=1\n  ;B=2\nC=3 ; stays\n;[LTC]\nD=4\n");
        QCOMPARE(text("General", "A"), u"(default)");
        QCOMPARE(text("General", ";A"), u"(default)");
        QCOMPARE(text("General", "B"), u"(default)");
        QCOMPARE(text("General", "C"), u"3 ; stays");
        QCOMPARE(text("General", "D"), u"4");
    }

    void theTextIsCutAtAZero()
    {
        put(QByteArray("[General]\nA=before \0after\n", 26));
        QCOMPARE(text("General", "A"), u"before");
    }

    void bothLineEndsAndAMissingLastOneAreRead()
    {
        put("[General]\r\nA=1\nB=2\r\nC=3");
        QCOMPARE(text("General", "A"), u"1");
        QCOMPARE(text("General", "B"), u"2");
        QCOMPARE(text("General", "C"), u"3");
    }

    void integersAreLeadingDigits()
    {
        put("[General]\nA=12\nB=-3x\nC=+4\nD=abc\nE=\nF=99999999999999999999\nG=-99999999999\nH=1.9\nI= 5 6\nJ=-\nK=\"8\"\nL=0x10\n");
        QCOMPARE(integer("A"), 12);
        QCOMPARE(integer("B"), -3);
        QCOMPARE(integer("C"), 4);
        QCOMPARE(integer("D"), 0);
        QCOMPARE(integer("E"), 0);
        QCOMPARE(integer("F"), 2147483647);
        QCOMPARE(integer("G"), -2147483647 - 1);
        QCOMPARE(integer("H"), 1);
        QCOMPARE(integer("I"), 5);
        QCOMPARE(integer("J"), 0);
        QCOMPARE(integer("K"), 8);
        QCOMPARE(integer("L"), 0);
        QCOMPARE(integer("Z"), 77);
    }

    void writingReplacesOneValueAndKeepsEveryOtherByte()
    {
        put("; head\r\n[General]\r\n workdir = \"C:\\old\"  \r\n; about "
            "A\r\nA=1\r\n\r\nWorkDir=second\r\n[LTC]\r\nWorkDir=other\r\n\t\r\n");
        QVERIFY(write("General", "WorkDir", u"D:\\new dir"_qs));
        QCOMPARE(
            bytes(),
            "; head\r\n[General]\r\n workdir = D:\\new dir\r\n; about A\r\nA=1\r\n\r\nWorkDir=second\r\n[LTC]\r\nWorkDir=other\r\n\t\r\n");
        QCOMPARE(text("General", "WorkDir"), u"D:\\new dir");
    }

    void aNewKeyGoesToTheEndOfItsSection()
    {
        put("[General]\nA=1\n; last\n\n[LTC]\nB=2\n");
        QVERIFY(write("general", "ScanStart", u"10"_qs));
        QCOMPARE(bytes(), "[General]\nA=1\n; last\nScanStart=10\n\n[LTC]\nB=2\n");
    }

    void aNewKeyAfterAHeadingAlone()
    {
        put("[General]");
        QVERIFY(write("General", "A", u"1"_qs));
        QCOMPARE(bytes(), "[General]\r\nA=1\r\n");
    }

    void aNewSectionGoesToTheEndOfTheFile()
    {
        put("[LTC]\nB=2");
        QVERIFY(write("General", "A", u"1"_qs));
        QCOMPARE(bytes(), "[LTC]\nB=2\n[General]\nA=1\n");
    }

    void aValueInALastLineWithoutEndIsReplaced()
    {
        put("[General]\nA=1");
        QVERIFY(write("General", "A", u"2"_qs));
        QCOMPARE(bytes(), "[General]\nA=2");
    }

    void aMissingFileIsMade()
    {
        QVERIFY(write("General", "A", u"1"_qs));
        QCOMPARE(bytes(), "[General]\r\nA=1\r\n");
    }

    void aTextWithLineEndsStaysOneLine()
    {
        put("[General]\nA=1\n");
        QVERIFY(write("General", "A", u"x\r\n[LTC]"_qs));
        QCOMPARE(bytes(), "[General]\nA=x  [LTC]\n");
    }

    void theFilesEncodingIsKept()
    {
        put("[General]\nA=\xC3\xA4\nB=1\n"); // UTF-8
        QCOMPARE(text("General", "A"), u"\u00E4");
        QVERIFY(write("General", "B", u"\u00FC\u4E2D"_qs));
        QCOMPARE(bytes(), "[General]\nA=\xC3\xA4\nB=\xC3\xBC\xE4\xB8\xAD\n");

        put("[General]\nA=\xE4\x80\x81\nB=1\n; \xFF\n"); // valid UTF-8 but for the comment
        QVERIFY(write("General", "B", u"\u00FC\u20AC\u4E2D"_qs));
        QCOMPARE(bytes(), "[General]\nA=\xE4\x80\x81\nB=\xFC\x80?\n; \xFF\n");
        QCOMPARE(text("General", "A"), u"\u00E4\u20AC\u0081");
    }

    void aByteOrderMarkDoesNotHideTheFirstSection()
    {
        put("\xEF\xBB\xBF[General]\nA=1\n");
        QCOMPARE(text("General", "A"), u"1");
        QVERIFY(write("General", "A", u"2"_qs));
        QCOMPARE(bytes(), "\xEF\xBB\xBF[General]\nA=2\n");
    }

    void whatCannotBeWrittenIsReported()
    {
        QVERIFY(QDir().mkdir(m_path)); // a directory stands in the file's place
        QVERIFY(!write("General", "A", u"1"_qs));
        QCOMPARE(text("General", "A"), u"(default)");
        QVERIFY(!WritePrivateProfileString(u"General"_qs, u"A"_qs, u"1"_qs, m_folder->filePath(u"no/such/scan.ini"_qs)));
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{u"scan.ini"_qs});
    }

    void aReadOnlyFileStaysWhole()
    {
        put("[General]\nA=1\n");
        const auto readable = QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther;
        QVERIFY(QFile::setPermissions(m_path, readable));
        QVERIFY(QFile::setPermissions(m_folder->path(), readable | QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther));
#ifdef Q_OS_UNIX
        const uid_t self = geteuid();
        if (self == 0)
            QCOMPARE(seteuid(65534), 0); // permissions do not bind the superuser
#endif
        const bool written = write("General", "A", u"2"_qs);
        const QString seen = text("General", "A");
#ifdef Q_OS_UNIX
        if (self == 0)
            QCOMPARE(seteuid(self), 0);
#endif
        QVERIFY(QFile::setPermissions(m_folder->path(), readable | QFile::WriteOwner | QFile::ExeOwner));
        QVERIFY(!written);
        QCOMPARE(seen, u"1");
        QCOMPARE(bytes(), "[General]\nA=1\n");
    }

    void anEndlessFileIsNotRead()
    {
        if (!QFile::exists(u"/dev/zero"_qs))
            QSKIP("no endless device");
        QCOMPARE(GetPrivateProfileString(u"General"_qs, u"A"_qs, u"default"_qs, u"/dev/zero"_qs), u"default");
    }

    void everyByteSurvivesTheCodePage()
    {
        QByteArray all;
        for (int code = 0; code < 256; ++code)
            all.append(static_cast<char>(code));
        QCOMPARE(CodePage::toWindows1252(CodePage::fromWindows1252(all)), all);
    }

    void whatHasNoPlaceInTheCodePageIsAQuestionMark()
    {
        QCOMPARE(CodePage::toWindows1252(u"\u00C4\u00DF\u20AC\u2013\u4E2D\U0001F600x\u0100"_qs), "\xC4\xDF\x80\x96??x?");
        QCOMPARE(CodePage::fromWindows1252("\x80\x99\x9F\xFC"), u"\u20AC\u2122\u0178\u00FC");
    }

    void aFileThatCannotBeReadIsNotReplaced()
    {
        put("[General]\nA=1\n");
        QVERIFY(QFile::setPermissions(m_path, {}));
        QVERIFY(QFile::setPermissions(m_folder->path(), QFile::Permissions(0x7777))); // beside it everybody may write
#ifdef Q_OS_UNIX
        const uid_t self = geteuid();
        if (self == 0)
            QCOMPARE(seteuid(65534), 0);
#endif
        const bool written = write("General", "A", u"2"_qs);
        const QString seen = text("General", "A");
#ifdef Q_OS_UNIX
        if (self == 0)
            QCOMPARE(seteuid(self), 0);
#endif
        QVERIFY(QFile::setPermissions(m_path, QFile::ReadOwner | QFile::WriteOwner));
        QVERIFY(!written);
        QCOMPARE(seen, u"(default)");
        QCOMPARE(bytes(), "[General]\nA=1\n");
    }

    void aFileAsLargeAsCanBeReadIsReadAndALargerOneLeftAlone()
    {
        constexpr qsizetype largest = 4 * 1024 * 1024;
        const QByteArray head = "[General]\r\nA=1\r\n;";
        const QByteArray whole = head + QByteArray(largest - head.size() - 2, 'x') + "\r\n";
        put(whole);
        QCOMPARE(text("General", "A"), u"1");
        put(whole + "x");
        QCOMPARE(text("General", "A"), u"(default)");
        QVERIFY(!write("General", "A", u"2"_qs));
        QVERIFY(bytes() == whole + "x");
    }
};

QTEST_APPLESS_MAIN(TestPrivateProfile)
#include "tst_privateprofile.moc"
