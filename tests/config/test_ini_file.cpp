#include "config/ini_file.h"
#include "config/color_scheme.h"
#include "config/key_bindings.h"
#include "config/settings.h"
#include "tests/config/config_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QSettings>
#include <QtTest/QTest>


using ke2::IniFile;
using ke2::Settings;
using ke2::test::ConfigFixture;


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

    void interruptedWriteKeepsTheEarlierFile_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<qint64>("bytes"); // negative: that many bytes short of the whole file
        for (const char *file : {"settings", "colours", "bindings"}) {
            QTest::addRow("%s, before the first byte", file) << file << qint64(0);
            QTest::addRow("%s, inside the first group", file) << file << qint64(30);
            QTest::addRow("%s, half-way", file) << file << qint64(1200);
            QTest::addRow("%s, one byte short", file) << file << qint64(-1);
        }
    }
    void interruptedWriteKeepsTheEarlierFile()
    {
        QFETCH(QString, file);
        QFETCH(qint64, bytes);
        ConfigFixture fixture;
        // Each writer: a first complete write, then a changed one that gets interrupted; the
        // check reads the file back and tells whether the first values are there.
        std::function<void(bool)> write;
        std::function<bool()> firstValuesRead;
        QString name;
        if (file == "settings") {
            name = "kestrelEditor2.ini";
            write = [](bool changed) {
                Settings settings;
                settings.outputBufferSize = changed ? 99 : 1234;
                settings.recentFiles = changed ? QStringList() : QStringList{"/a.py", "/b.mel"};
                settings.write();
            };
            firstValuesRead = [] {
                Settings settings;
                settings.read();
                return settings.outputBufferSize == 1234 && settings.recentFiles.size() == 2;
            };
        } else if (file == "colours") {
            name = "kestrelEditor2_colors.ini";
            write = [](bool changed) {
                ke2::ColorScheme scheme;
                scheme.codeEditorRoles["Gutter"].format.setBackground(changed ? Qt::blue : Qt::red);
                scheme.outputHighlightRules.resize(changed ? 1 : 2);
                scheme.write();
            };
            firstValuesRead = [] {
                ke2::ColorScheme scheme;
                scheme.read();
                return scheme.codeEditorRoles.format("Gutter").background().color() == QColor(Qt::red)
                    && scheme.outputHighlightRules.size() == 2;
            };
        } else {
            name = "kestrelEditor2_bindings.ini";
            write = [](bool changed) {
                ke2::KeyBindings bindings;
                bindings.setShortcuts(7, {QKeySequence(changed ? "F11" : "F12")});
                bindings.setShortcuts(13, changed ? QList<QKeySequence>{QKeySequence("F10")} : QList<QKeySequence>());
                bindings.write();
            };
            firstValuesRead = [] {
                ke2::KeyBindings bindings;
                bindings.read();
                return bindings.shortcuts(7) == QList<QKeySequence>{QKeySequence("F12")} && bindings.shortcuts(13).isEmpty();
            };
        }
        write(false);
        const QByteArray before = fixture.get(name);
        QVERIFY(firstValuesRead());
        IniFile::simulateInterruptionAfter(bytes < 0 ? before.size() + bytes : bytes);
        write(true);
        IniFile::simulateInterruptionAfter(-1);
        QCOMPARE(fixture.get(name), before);
        QVERIFY(firstValuesRead());
        QCOMPARE(QDir(fixture.prefs.configDir()).entryList(QDir::Files), QStringList{name}); // no leftovers
        // The next complete write goes through.
        write(true);
        QVERIFY(!firstValuesRead());
    }
};

KE2_TEST_CLASS(IniFileTest)
#include "test_ini_file.moc"
