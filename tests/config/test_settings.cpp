#include "config/settings.h"
#include "config/user_directories.h"
#include "tests/support/prefs_fixture.h"
#include "tests/support/test_registry.h"

#include <QtCore/QSettings>
#include <QtTest/QTest>

using ke2::Settings;
using ke2::test::PrefsFixture;

namespace {
const QString fileName = QStringLiteral("kestrelEditor2.ini");
const int intMax = std::numeric_limits<int>::max();
} // namespace

class SettingsTest : public QObject {
    Q_OBJECT
private slots:
    void defaultsAndARoundTripOfEveryKey()
    {
        PrefsFixture fixture;
        Settings defaults, settings;
        defaults.read(); // no file
        defaults.write();
        QVERIFY(ke2::test::matchesGolden(fixture.get(fileName), "settings_defaults.ini"));
        QCOMPARE(defaults.outputFont.styleHint(), QFont::TypeWriter);
        QVERIFY(fixture.host.texts(ke2::test::FakeHost::Kind::Error).isEmpty());
        const QByteArray custom = ke2::test::readData("settings_custom.ini");
        const QList<QByteArray> lines = custom.split('\n'), defaultLines = fixture.get(fileName).split('\n');
        QCOMPARE(lines.size(), defaultLines.size());
        for (int i = 0; i < lines.size(); ++i) // every key but "version" differs from its default
            QVERIFY2(!lines[i].contains('=') || lines[i].startsWith("version=") || lines[i] != defaultLines[i], lines[i]);
        QVERIFY(fixture.put(fileName, custom));
        settings.read();
        QCOMPARE(settings.codeEditorFont.family(), QString("DejaVu Sans Mono"));
        QCOMPARE(settings.windowGeometry, QRect(QPoint(10, 20), QPoint(810, 620)));
        QCOMPARE(settings.recentFiles, (QStringList{"/data/b.py", "/data/a, with comma.mel"}));
        QCOMPARE(settings.workspacePath, fixture.prefs.configDir() + "/workspaces/team/tools.ke2-workspace");
        QCOMPARE(settings.tabBarScrolling, QStringList{""});
        QCOMPARE(settings.workspaceState, (QList<QByteArray>{"0123456789abcdef", "GHIJKLMNOPQRSTUV", "wxyz0123"})); // 40 bytes
        QCOMPARE(settings.pylintPythonHomePath, QString::fromUtf8("/opt/pythön/é")); // typed as UTF-8
        settings.write();
        QCOMPARE(fixture.get(fileName), custom);
    }

    void workspacePathIsRelativeInsideTheWorkspacesFolder_data()
    {
        QTest::addColumn<QString>("inMemory"); // "@" stands for the workspaces folder
        QTest::addColumn<QString>("stored");
        QTest::newRow("inside: relative") << "@/a/b.ke2-workspace" << "a/b.ke2-workspace";
        QTest::newRow("elsewhere: absolute") << "/projects/x.ke2-workspace" << "/projects/x.ke2-workspace";
        QTest::newRow("sibling with the same prefix: absolute") << "@2/x.ke2-workspace" << "@2/x.ke2-workspace";
        QTest::newRow("different case: absolute") << "@CASE/x.ke2-workspace" << "@CASE/x.ke2-workspace";
        QTest::newRow("none stays empty") << "" << "";
    }
    void workspacePathIsRelativeInsideTheWorkspacesFolder()
    {
        QFETCH(QString, inMemory);
        QFETCH(QString, stored);
        PrefsFixture fixture;
        const QString workspaces = ke2::UserDirectories::workspacesDirectory();
        auto expand = [&](QString text) {
            return text.startsWith("@CASE") ? workspaces.toUpper() + text.mid(5) : text.replace("@", workspaces);
        };
        Settings settings, back;
        settings.workspacePath = expand(inMemory);
        settings.write();
        QCOMPARE(QSettings(fixture.file(fileName), QSettings::IniFormat).value("workspace/workspacePath").toString(),
                 expand(stored));
        back.read();
        QCOMPARE(back.workspacePath, expand(inMemory));
    }

    void recentFilesAndTheirLimit()
    {
        PrefsFixture fixture;
        Settings settings, reread;
        for (int i = 1; i <= 9; ++i)
            settings.addRecentFile(QString("/f%1.py").arg(i));
        settings.addRecentFile("/f5.py"); // moves to the front
        settings.addRecentFile("/F5.py"); // case matters
        settings.addRecentFile(QString());
        QCOMPARE(settings.recentFiles, (QStringList{"/F5.py", "/f5.py", "/f9.py", "/f8.py", "/f7.py", "/f6.py", "/f4.py", "/f3.py"}));
        reread.read(); // every addition was written
        QCOMPARE(reread.recentFiles, settings.recentFiles);
        settings.setRecentFileLimit(10);
        for (const char *path : {"/a", "/b", "/c"})
            settings.addRecentFile(path);
        QCOMPARE(settings.recentFiles.size(), 10);
        settings.setRecentFileLimit(11); // falls back to 8, not 10
        QCOMPARE(settings.recentFileLimit(), 8);
        QCOMPARE(settings.recentFiles.mid(0, 2), (QStringList{"/c", "/b"}));
        QCOMPARE(settings.recentFiles.size(), 8);
        settings.setRecentFileLimit(-4);
        QCOMPARE(settings.recentFileLimit(), 0);
        QCOMPARE(settings.recentFiles, QStringList());
        settings.setRecentFileLimit(8);
        settings.addRecentFile("/d");
        settings.clearRecentFiles();
        reread.read();
        QCOMPARE(reread.recentFiles, QStringList());
    }

    void windowGeometryFitsTheScreen_data()
    {
        QTest::addColumn<QRect>("saved");
        QTest::addColumn<QRect>("applied");
        QTest::newRow("inside: unchanged") << QRect(100, 50, 800, 600) << QRect(100, 50, 800, 600);
        QTest::newRow("negative size: not applied") << QRect(10, 10, -5, 20) << QRect();
        QTest::newRow("off to the right: moved back") << QRect(1800, 100, 400, 300) << QRect(1520, 100, 400, 300);
        QTest::newRow("off the top-left: moved in") << QRect(-5000, -20, 400, 300) << QRect(0, 0, 400, 300);
        QTest::newRow("near the int limits: shrunk") << QRect(intMax / 2, intMax / 2, intMax / 2, intMax / 2) << QRect(0, 0, 1920, 1080);
    }
    void windowGeometryFitsTheScreen()
    {
        QFETCH(QRect, saved);
        QFETCH(QRect, applied);
        QCOMPARE(Settings::clampWindowGeometry(saved, QRect(0, 0, 1920, 1080)), applied);
    }

    // A size that does not convert reads as 0, which leaves the font as it was; any positive size
    // is kept, small ones too.
    void fontSizes_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<int>("points");
        for (const char *typo : {"abc", "0", "-3", "12.5", ""})
            QTest::addRow("\"%s\" keeps the default", typo) << QByteArray(typo) << 9;
        QTest::newRow("3 stays 3") << QByteArray("3") << 3;
        QTest::newRow("20 stays 20") << QByteArray("20") << 20;
    }
    void fontSizes()
    {
        QFETCH(QByteArray, value);
        QFETCH(int, points);
        PrefsFixture fixture;
        QVERIFY(fixture.put(fileName, "[preferences]\ncodeEditorFontSize=" + value + "\noutputFontSize=" + value + "\n"));
        Settings settings;
        settings.read();
        QCOMPARE(settings.codeEditorFont.pointSize(), points);
        QCOMPARE(settings.outputFont.pointSize(), points);
    }

    void wrongTypesAndAbsurdNumbersAreClampedWhereUsed()
    {
        PrefsFixture fixture;
        QVERIFY(fixture.put(fileName, "[main]\nwindowGeometry=not a rect\ncodeEditorVisible=0\noutputZoom=1e9\n"
                                      "[tabs]\nactiveTabViewIndex=7\n[preferences]\ncodeEditorFontSize=100000\n"
                                      "outputFontSize=abc\noutputBufferSize=-5\ntabsSizeMel=@ByteArray(xyz)\n"
                                      "tabsSizePython=1000\ntabsSizeDefault=7\ncodeEditorFontFamily=@Rect(1 2 3 4)\n"));
        Settings settings;
        settings.read();
        QCOMPARE(settings.windowGeometry, QRect());
        QCOMPARE(settings.codeEditorVisible, false);
        QCOMPARE(settings.outputZoom, 0); // does not convert to an int
        QCOMPARE(settings.codeEditorFont.family(), QString());
        QCOMPARE(settings.saveAllOnExecute, true); // absent: default
        QCOMPARE(settings.codeEditorFont.pointSize(), 100000); // the widgets bound what they show
        QCOMPARE(settings.outputFont.pointSize(), 9);
        QCOMPARE(Settings::clampEditorGroupIndex(settings.activeTabViewIndex), 0);
        QCOMPARE(Settings::clampOutputBufferSize(settings.outputBufferSize), 1);
        QCOMPARE(settings.tabsSizeMel, 0);
        QCOMPARE(settings.tabsSizePython, 1000);
        const int min = Settings::minimumFontSize, max = Settings::maximumFontSize;
        QCOMPARE(Settings::clampEditorGroupIndex(-1), 0);
        QCOMPARE(Settings::clampEditorGroupIndex(2), 2);
        QCOMPARE(Settings::clampOutputBufferSize(intMax), Settings::maximumOutputBufferSize);
        QCOMPARE(Settings::clampOutputBufferSize(3000), 3000);
        // Zoom: base size plus offset stays in the font range, whatever the base and offset.
        const int zooms[][3] = {{9, 3, 12}, {9, -100, min}, {9, intMax, max}, {100000, -intMax - 1, min}, {-50, 2, min + 2}};
        for (const auto &[base, zoom, shown] : zooms) {
            QCOMPARE(Settings::zoomedFontSize(base, zoom), shown);
            const int clamped = Settings::clampZoom(zoom, base); // stepping from it has no dead zone
            QCOMPARE(Settings::zoomedFontSize(base, clamped), shown);
            if (shown > min)
                QCOMPARE(Settings::zoomedFontSize(base, clamped - 1), shown - 1);
        }
    }
};

KE2_TEST_CLASS(SettingsTest)
#include "test_settings.moc"
