#include "config/ini_file.h"
#include "config/settings.h"
#include "tests/config/config_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDirIterator>
#include <QtCore/QSettings>
#include <QtTest/QTest>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

using ke2::IniFile;
using ke2::Settings;
using ke2::test::ConfigFixture;

namespace {
QStringList repeated(const QString &text, int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list.append(text);
    return list;
}
} // namespace

class IniFileTest : public QObject {
    Q_OBJECT
private slots:
    void groupsAndKeysFollowTheLayout()
    {
        ConfigFixture fixture;
        QVERIFY(QDir().mkpath(fixture.prefs.configDir()));
        const QString path = fixture.file("order.ini");
        const IniFile::Layout layout{{"zeta", {"b", "a", "Find/Replace Selected", "Plain Text"}}, {"alpha", {"y", "x"}}};
        QVERIFY(IniFile::write(path, [](QSettings &ini) {
            for (const char *key : {"alpha/x", "alpha/y", "alpha/unlisted", "zeta/a", "zeta/b", "zeta/Plain Text",
                                    "zeta/Find/Replace Selected", "middle/m"})
                ini.setValue(key, 1);
        }, layout));
        QCOMPARE(fixture.get("order.ini"),
                 QByteArray("[zeta]\nb=1\na=1\nFind\\Replace%20Selected=1\nPlain%20Text=1\n\n"
                            "[alpha]\ny=1\nx=1\nunlisted=1\n\n[middle]\nm=1\n"));
        QSettings back(path, QSettings::IniFormat);
        QCOMPARE(back.value("zeta/Find/Replace Selected").toInt(), 1);
    }

    void unknownContentSurvivesAWrite()
    {
        ConfigFixture fixture;
        QVERIFY(fixture.put("keep.ini", "[main]\nfromNewerVersion=42\nversion=7\n[other]\nx=y\n"));
        QVERIFY(IniFile::write(fixture.file("keep.ini"), [](QSettings &ini) { ini.setValue("main/version", 1); },
                               {{"main", {"version"}}}));
        QSettings back(fixture.file("keep.ini"), QSettings::IniFormat);
        QCOMPARE(back.value("main/version").toInt(), 1);
        QCOMPARE(back.value("main/fromNewerVersion").toInt(), 42);
        QCOMPARE(back.value("other/x").toString(), QString("y"));
        QCOMPARE(QDir(fixture.prefs.configDir()).entryList(QDir::Files), QStringList{"keep.ini"}); // no leftovers
    }

    void unusableTargetsLeaveEverythingAsItWas()
    {
        ConfigFixture fixture;
        QVERIFY(!IniFile::write(QString(), [](QSettings &) {}));
        QVERIFY(QDir().mkpath(fixture.file("adir.ini")));
        QVERIFY(!IniFile::write(fixture.file("adir.ini"), [](QSettings &ini) { ini.setValue("a", 1); }));
        QVERIFY(QFileInfo(fixture.file("adir.ini")).isDir());
        QVERIFY(fixture.put("afile", "x"));
        QVERIFY(!IniFile::write(fixture.file("afile/inside.ini"), [](QSettings &ini) { ini.setValue("a", 1); }));
        QCOMPARE(fixture.get("afile"), QByteArray("x"));
        QVERIFY(!IniFile::openForReading(fixture.file("adir.ini")));
        QVERIFY(!IniFile::openForReading(fixture.file("missing.ini")));
    }

    void leftoversOfAnInterruptedWriteAreHarmless()
    {
        // What a write killed before its rename leaves behind: the old file and a partial copy.
        ConfigFixture fixture;
        Settings good;
        good.outputBufferSize = 1234;
        good.write();
        const QByteArray before = fixture.get("kestrelEditor2.ini");
        QVERIFY(fixture.put("kestrelEditor2.ini.Ab12Cd.tmp", before.left(before.size() / 3)));
        Settings read;
        read.read();
        QCOMPARE(read.outputBufferSize, 1234);
        read.outputZoom = 5;
        read.write();
        Settings again;
        again.read();
        QCOMPARE(again.outputZoom, 5);
        QCOMPARE(again.outputBufferSize, 1234);
    }

    void interruptedWriteKeepsTheEarlierFile_data()
    {
        QTest::addColumn<qint64>("bytes");
        QTest::newRow("before the first byte") << qint64(0);
        QTest::newRow("inside the first group") << qint64(40);
        QTest::newRow("half-way") << qint64(1500);
        QTest::newRow("one byte short") << qint64(-2); // resolved below
    }
    void interruptedWriteKeepsTheEarlierFile()
    {
        QFETCH(qint64, bytes);
        ConfigFixture fixture;
        Settings good;
        good.outputBufferSize = 1234;
        good.recentFiles = QStringList{"/a.py", "/b.mel"};
        good.write();
        const QByteArray before = fixture.get("kestrelEditor2.ini");
        Settings changed = good;
        changed.outputBufferSize = 99;
        changed.recentFiles.clear();
        IniFile::simulateInterruptionAfter(bytes < 0 ? before.size() - 1 : bytes);
        changed.write();
        IniFile::simulateInterruptionAfter(-1);
        QCOMPARE(fixture.get("kestrelEditor2.ini"), before);
        Settings read;
        read.read();
        QCOMPARE(read.outputBufferSize, 1234);
        QCOMPARE(read.recentFiles, good.recentFiles);
        QCOMPARE(QDir(fixture.prefs.configDir()).entryList(QDir::Files), QStringList{"kestrelEditor2.ini"});
    }

    // A writer process is killed at arbitrary moments while it rewrites the settings file over and
    // over; after each kill the file must be one complete write, old or new, never a mix or a
    // truncated one.
    void killedWriterNeverLeavesABrokenFile()
    {
#ifndef Q_OS_UNIX
        QSKIP("needs fork()");
#else
        ConfigFixture fixture;
        Settings first;
        first.outputBufferSize = 0;
        first.tabDetails = repeated(QStringLiteral("0:/a/long/path/to/make/the/file/take/a/while.py"), 400);
        first.write();
        const QString path = fixture.file("kestrelEditor2.ini");
        int lastSeen = 0;
        for (int round = 0; round < 8; ++round) {
            const pid_t child = fork();
            QVERIFY(child >= 0);
            if (child == 0) {
                Settings settings;
                for (int i = lastSeen + 1;; ++i) {
                    settings.outputBufferSize = i;
                    settings.tabDetails = repeated(QStringLiteral("%1:/a/long/path/to/make/the/file/take/a/while.py").arg(i), 400);
                    settings.write();
                }
                _exit(0);
            }
            usleep(30000 + round * 17000);
            kill(child, SIGKILL);
            int status = 0;
            waitpid(child, &status, 0);

            QSettings ini(path, QSettings::IniFormat);
            QCOMPARE(ini.status(), QSettings::NoError);
            const int written = ini.value("preferences/outputBufferSize", -1).toInt();
            QVERIFY2(written >= lastSeen, qPrintable(QString::number(written)));
            const QStringList details = ini.value("tabs/tabDetails").toStringList();
            QCOMPARE(details.size(), 400);
            QCOMPARE(details.last(), QStringLiteral("%1:/a/long/path/to/make/the/file/take/a/while.py").arg(written));
            QCOMPARE(ini.value("preferences/pylintShowErrors", "absent").toString(), QString("false"));
            lastSeen = written;
        }
        QVERIFY2(lastSeen > 0, "the writer never finished a single write");
#endif
    }
};

KE2_TEST_CLASS(IniFileTest)
#include "test_ini_file.moc"
