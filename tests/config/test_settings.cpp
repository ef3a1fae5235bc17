#include "config/settings.h"
#include "config/user_directories.h"
#include "tests/config/config_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QSettings>
#include <QtTest/QTest>

using ke2::Settings;
using ke2::test::ConfigFixture;

namespace {

const QString fileName = QStringLiteral("kestrelEditor2.ini");

// The file a record writes into a fresh preferences folder.
QByteArray snapshot(const Settings &settings)
{
    ConfigFixture fixture;
    settings.write();
    return fixture.get(fileName);
}

// Every stored key of a snapshot, "group/key" -> value.
QVariantMap valuesOf(const QByteArray &file)
{
    ConfigFixture fixture;
    fixture.put(fileName, file);
    QSettings ini(fixture.file(fileName), QSettings::IniFormat);
    QVariantMap values;
    for (const auto &group : Settings::fileLayout())
        for (const QString &key : group.second)
            values.insert(group.first + "/" + key, ini.value(group.first + "/" + key));
    return values;
}

} // namespace

class SettingsTest : public QObject {
    Q_OBJECT
private slots:
    void missingFileGivesTheDefaults()
    {
        ConfigFixture fixture;
        Settings settings;
        settings.read();
        settings.write();
        // Every key with its default, groups and keys in their documented order.
        QVERIFY(ke2::test::matchesGolden(fixture.get(fileName), "settings_defaults.ini"));
        QCOMPARE(settings.codeEditorFont.family(), QString("Consolas"));
        QCOMPARE(settings.codeEditorFont.pointSize(), 9);
        QCOMPARE(settings.outputFont.styleHint(), QFont::TypeWriter);
        QVERIFY(settings.windowGeometry.isNull());
        QCOMPARE(settings.windowGeometry, QRect());
        QCOMPARE(settings.recentFileLimit(), 8);
        QVERIFY(fixture.host.texts(ke2::test::FakeHost::Kind::Error).isEmpty());
    }

    void everyKeyRoundTripsWithANonDefaultValue()
    {
        ConfigFixture fixture;
        const QByteArray custom = ke2::test::readData("settings_custom.ini");
        QVERIFY(fixture.put(fileName, custom));
        Settings settings;
        settings.read();
        // The reference file gives every key a value other than its default ("version" aside).
        const QVariantMap defaults = valuesOf(snapshot(Settings()));
        const QVariantMap read = valuesOf(snapshot(settings));
        for (auto it = defaults.begin(); it != defaults.end(); ++it) {
            if (it.key() != "main/version")
                QVERIFY2(read.value(it.key()) != it.value(), qPrintable(it.key()));
        }
        QCOMPARE(settings.codeEditorFont.family(), QString("DejaVu Sans Mono"));
        QCOMPARE(settings.outputFont.pointSize(), 14);
        QCOMPARE(settings.windowGeometry, QRect(QPoint(10, 20), QPoint(810, 620)));
        QCOMPARE(settings.recentFiles, (QStringList{"/data/b.py", "/data/a, with comma.mel"}));
        QCOMPARE(settings.workspacePath, fixture.prefs.configDir() + "/workspaces/team/tools.ke2-workspace");
        QCOMPARE(settings.workspaceState.size(), 2);
        QCOMPARE(settings.tabBarScrolling, QStringList{""});
        QCOMPARE(settings.pylintPythonHomePath, QString::fromUtf8("/opt/pythön/é")); // typed as UTF-8
        // Written back in the same folder, the file is unchanged.
        settings.write();
        const QByteArray written = fixture.get(fileName);
        if (written != custom)
            qWarning().noquote() << written;
        QCOMPARE(written, custom);
    }

    void workspacePathIsRelativeInsideTheWorkspacesFolder_data()
    {
        QTest::addColumn<QString>("inMemory"); // "@" stands for the workspaces folder
        QTest::addColumn<QString>("stored");
        QTest::newRow("inside: relative") << "@/mine.ke2-workspace" << "mine.ke2-workspace";
        QTest::newRow("nested inside: relative") << "@/a/b.ke2-workspace" << "a/b.ke2-workspace";
        QTest::newRow("elsewhere: absolute") << "/projects/x.ke2-workspace" << "/projects/x.ke2-workspace";
        QTest::newRow("sibling with the same prefix: absolute") << "@2/x.ke2-workspace" << "@2/x.ke2-workspace";
        QTest::newRow("different case: absolute") << "@CASE/x.ke2-workspace" << "@CASE/x.ke2-workspace";
        QTest::newRow("none stays empty") << "" << "";
    }
    void workspacePathIsRelativeInsideTheWorkspacesFolder()
    {
        QFETCH(QString, inMemory);
        QFETCH(QString, stored);
        ConfigFixture fixture;
        const QString workspaces = ke2::UserDirectories::workspacesDirectory();
        auto expand = [&](QString text) {
            if (text.startsWith("@CASE"))
                return workspaces.toUpper() + text.mid(5);
            return text.replace("@", workspaces);
        };
        Settings settings;
        settings.workspacePath = expand(inMemory);
        settings.write();
        QSettings ini(fixture.file(fileName), QSettings::IniFormat);
        QCOMPARE(ini.value("workspace/workspacePath").toString(), expand(stored));
        Settings back;
        back.read();
        QCOMPARE(back.workspacePath, expand(inMemory));
    }

    void workspaceStateIsCutInto16ByteEntries()
    {
        ConfigFixture fixture;
        QByteArray bytes;
        for (int i = 0; i < 40; ++i)
            bytes.append(char(i));
        {
            QSettings ini(fixture.file(fileName), QSettings::IniFormat);
            ini.setValue("workspace/workspaceState", bytes);
        }
        Settings settings;
        settings.read();
        QCOMPARE(settings.workspaceState, (QList<QByteArray>{bytes.mid(0, 16), bytes.mid(16, 16), bytes.mid(32, 8)}));
        settings.workspaceState.removeFirst();
        settings.write();
        QSettings ini(fixture.file(fileName), QSettings::IniFormat);
        QCOMPARE(ini.value("workspace/workspaceState").toByteArray(), bytes.mid(16));
    }

    void recentFiles()
    {
        ConfigFixture fixture;
        Settings settings;
        for (int i = 1; i <= 9; ++i)
            settings.addRecentFile(QString("/f%1.py").arg(i));
        QCOMPARE(settings.recentFiles.size(), 8);
        QCOMPARE(settings.recentFiles.first(), QString("/f9.py"));
        QCOMPARE(settings.recentFiles.last(), QString("/f2.py")); // the oldest was dropped
        settings.addRecentFile("/f5.py");
        QCOMPARE(settings.recentFiles.size(), 8);
        QCOMPARE(settings.recentFiles.mid(0, 3), (QStringList{"/f5.py", "/f9.py", "/f8.py"}));
        settings.addRecentFile("/F5.py"); // case matters
        QCOMPARE(settings.recentFiles.mid(0, 2), (QStringList{"/F5.py", "/f5.py"}));
        settings.addRecentFile(QString());
        QCOMPARE(settings.recentFiles.first(), QString("/F5.py"));
        // Every addition was written.
        Settings reread;
        reread.read();
        QCOMPARE(reread.recentFiles, settings.recentFiles);
        settings.clearRecentFiles();
        reread.read();
        QCOMPARE(reread.recentFiles, QStringList());
    }

    void recentFileLimit_data()
    {
        QTest::addColumn<int>("limit");
        QTest::addColumn<int>("expected");
        QTest::newRow("10 is taken as is") << 10 << 10;
        QTest::newRow("11 falls back to 8") << 11 << 8;
        QTest::newRow("12 falls back to 8") << 12 << 8;
        QTest::newRow("3 trims the list") << 3 << 3;
        QTest::newRow("0 empties the list") << 0 << 0;
        QTest::newRow("negative counts as 0") << -4 << 0;
    }
    void recentFileLimit()
    {
        QFETCH(int, limit);
        QFETCH(int, expected);
        ConfigFixture fixture;
        Settings settings;
        settings.setRecentFileLimit(10);
        for (int i = 0; i < 12; ++i)
            settings.addRecentFile(QString("/f%1").arg(i));
        QCOMPARE(settings.recentFiles.size(), 10);
        settings.setRecentFileLimit(limit);
        QCOMPARE(settings.recentFileLimit(), expected);
        QCOMPARE(settings.recentFiles.size(), std::min(expected, 10));
        if (expected > 0)
            QCOMPARE(settings.recentFiles.first(), QString("/f11"));
    }

    void clampHelpers_data()
    {
        QTest::addColumn<int>("which");
        QTest::addColumn<int>("value");
        QTest::addColumn<int>("expected");
        enum { Font, Tab, Buffer, Group };
        QTest::newRow("font size 9 kept") << int(Font) << 9 << 9;
        QTest::newRow("font size 100000 capped") << int(Font) << 100000 << Settings::maximumFontSize;
        QTest::newRow("font size 0 raised") << int(Font) << 0 << Settings::minimumFontSize;
        QTest::newRow("font size negative raised") << int(Font) << -12 << Settings::minimumFontSize;
        QTest::newRow("tab size 4 kept") << int(Tab) << 4 << 4;
        QTest::newRow("tab size 0 raised to 1") << int(Tab) << 0 << 1;
        QTest::newRow("tab size 1000 capped") << int(Tab) << 1000 << Settings::maximumTabSize;
        QTest::newRow("buffer 3000 kept") << int(Buffer) << 3000 << 3000;
        QTest::newRow("negative buffer raised to 1") << int(Buffer) << -5 << 1;
        QTest::newRow("huge buffer capped") << int(Buffer) << std::numeric_limits<int>::max()
                                            << Settings::maximumOutputBufferSize;
        QTest::newRow("group 2 kept") << int(Group) << 2 << 2;
        QTest::newRow("group 3 falls back to 0") << int(Group) << 3 << 0;
        QTest::newRow("group -1 falls back to 0") << int(Group) << -1 << 0;
    }
    void clampHelpers()
    {
        QFETCH(int, which);
        QFETCH(int, value);
        QFETCH(int, expected);
        const int results[] = {Settings::clampFontSize(value), Settings::clampTabSize(value),
                               Settings::clampOutputBufferSize(value), Settings::clampEditorGroupIndex(value)};
        QCOMPARE(results[which], expected);
    }

    void windowGeometryFitsTheScreen_data()
    {
        QTest::addColumn<QRect>("saved");
        QTest::addColumn<QRect>("applied");
        const int big = std::numeric_limits<int>::max() / 2;
        QTest::newRow("inside: unchanged") << QRect(100, 50, 800, 600) << QRect(100, 50, 800, 600);
        QTest::newRow("null: not applied") << QRect() << QRect();
        QTest::newRow("negative size: not applied") << QRect(10, 10, -5, 20) << QRect();
        QTest::newRow("off to the right: moved back") << QRect(1800, 100, 400, 300) << QRect(1520, 100, 400, 300);
        QTest::newRow("off the top-left: moved in") << QRect(-5000, -20, 400, 300) << QRect(0, 0, 400, 300);
        QTest::newRow("huge: shrunk to the screen") << QRect(0, 0, 100000, 100000) << QRect(0, 0, 1920, 1080);
        QTest::newRow("near the int limits") << QRect(big, big, big, big) << QRect(0, 0, 1920, 1080);
    }
    void windowGeometryFitsTheScreen()
    {
        QFETCH(QRect, saved);
        QFETCH(QRect, applied);
        QCOMPARE(Settings::clampWindowGeometry(saved, QRect(0, 0, 1920, 1080)), applied);
    }

    void zoomStaysInsideTheFontRange_data()
    {
        QTest::addColumn<int>("base");
        QTest::addColumn<int>("zoom");
        QTest::addColumn<int>("shown");
        QTest::newRow("no zoom") << 9 << 0 << 9;
        QTest::newRow("zoom in") << 9 << 3 << 12;
        QTest::newRow("zoom out") << 9 << -3 << 6;
        QTest::newRow("zoom far out") << 9 << -100 << Settings::minimumFontSize;
        QTest::newRow("zoom far in") << 9 << std::numeric_limits<int>::max() << Settings::maximumFontSize;
        QTest::newRow("absurd base, zoom far out") << 100000 << std::numeric_limits<int>::min()
                                                   << Settings::minimumFontSize;
        QTest::newRow("negative base") << -50 << 2 << Settings::minimumFontSize + 2;
    }
    void zoomStaysInsideTheFontRange()
    {
        QFETCH(int, base);
        QFETCH(int, zoom);
        QFETCH(int, shown);
        QCOMPARE(Settings::zoomedFontSize(base, zoom), shown);
        // Stepping from a clamped zoom moves the shown size at once, without a dead zone.
        const int clamped = Settings::clampZoom(zoom, base);
        QCOMPARE(Settings::zoomedFontSize(base, clamped), shown);
        if (shown > Settings::minimumFontSize)
            QCOMPARE(Settings::zoomedFontSize(base, clamped - 1), shown - 1);
    }

    void wrongTypesAndAbsurdNumbers()
    {
        ConfigFixture fixture;
        QVERIFY(fixture.put(fileName, "[main]\nwindowGeometry=not a rect\ncodeEditorVisible=0\noutputZoom=1e9\n"
                                      "[tabs]\nactiveTabViewIndex=7\n"
                                      "[preferences]\ncodeEditorFontSize=100000\noutputFontSize=abc\n"
                                      "outputBufferSize=-5\ntabsSizeMel=@ByteArray(xyz)\n"
                                      "codeEditorFontFamily=@Rect(1 2 3 4)\n"));
        Settings settings;
        settings.read();
        QCOMPARE(settings.windowGeometry, QRect());
        QCOMPARE(settings.codeEditorVisible, false);
        QCOMPARE(settings.outputZoom, 0); // does not convert to an int
        QCOMPARE(Settings::clampEditorGroupIndex(settings.activeTabViewIndex), 0);
        QCOMPARE(settings.codeEditorFont.pointSize(), Settings::maximumFontSize);
        QCOMPARE(settings.outputFont.pointSize(), Settings::minimumFontSize);
        QCOMPARE(Settings::clampOutputBufferSize(settings.outputBufferSize), 1);
        QCOMPARE(Settings::clampTabSize(settings.tabsSizeMel), 1);
        QCOMPARE(settings.codeEditorFont.family(), QString());
        QCOMPARE(settings.saveAllOnExecute, true); // absent: default
    }

    void corruptFilesKeepDefaults()
    {
        const QByteArray custom = ke2::test::readData("settings_custom.ini");
        const QVariantMap defaults = valuesOf(snapshot(Settings()));
        QVERIFY(!custom.isEmpty());
        for (const auto &[name, content] : ke2::test::corruptContents(custom)) {
            ConfigFixture fixture;
            QVERIFY(fixture.put(fileName, content));
            // What was read must survive a later write too (the write keeps the current file's
            // unknown content).
            Settings settings;
            settings.read();
            settings.write();
            settings.read();
            // A truncated copy of the custom file may yield some of its values; nothing else.
            ConfigFixture customFixture;
            customFixture.put(fileName, custom);
            Settings customSettings;
            customSettings.read();
            const QVariantMap customValues = valuesOf(snapshot(customSettings));
            const QVariantMap read = valuesOf(snapshot(settings));
            const bool truncated = name.startsWith("truncated");
            for (auto it = defaults.begin(); it != defaults.end(); ++it) {
                const QVariant value = read.value(it.key());
                if (it.key() == "workspace/workspacePath")
                    continue; // absolute in memory, so it differs between folders
                if (truncated)
                    QVERIFY2(value == it.value() || value == customValues.value(it.key()),
                             qPrintable(name + ": " + it.key()));
                else
                    QVERIFY2(value == it.value(), qPrintable(name + ": " + it.key() + " = " + value.toString()));
            }
        }
    }

    void noPrefsFolderMeansNoFileWork()
    {
        ke2::test::FakeHost host; // cannot tell its preferences folder
        ke2::Host *previous = ke2::HostBridge::host();
        ke2::HostBridge::setHost(&host);
        Settings settings;
        settings.outputZoom = 3;
        settings.read();
        settings.write();
        settings.addRecentFile("/x.mel");
        ke2::HostBridge::setHost(previous);
        QCOMPARE(settings.outputZoom, 3);
        QCOMPARE(settings.recentFiles, QStringList{"/x.mel"});
    }
};

KE2_TEST_CLASS(SettingsTest)
#include "test_settings.moc"
