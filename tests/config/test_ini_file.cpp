#include "config/color_scheme.h"
#include "config/ini_file.h"
#include "config/key_bindings.h"
#include "config/settings.h"
#include "tests/config/config_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QSettings>
#include <QtTest/QTest>

using ke2::IniFile;
using ke2::test::ConfigFixture;

namespace {

// One of the three configuration files and its reader.
struct ConfigFile {
    const char *label;
    QString name;
    // A complete file of non-default values; `changed` writes different ones over it.
    std::function<void(ConfigFixture &, bool changed)> writeSample;
    // Reads the file, writes over it, reads that again into a fresh record and returns what the
    // record writes to an empty folder: every value it holds.
    std::function<QByteArray(ConfigFixture &)> reread;
};

template <typename Record>
QByteArray rereadAs(ConfigFixture &fixture, const QString &name)
{
    Record first;
    first.read();
    first.write();
    Record again;
    again.read();
    QFile::remove(fixture.file(name));
    again.write();
    return fixture.get(name);
}

const std::vector<ConfigFile> &configFiles()
{
    static const std::vector<ConfigFile> files{
        {"settings", "kestrelEditor2.ini",
         [](ConfigFixture &fixture, bool changed) {
             ke2::Settings settings;
             if (!changed && fixture.put("kestrelEditor2.ini", ke2::test::readData("settings_custom.ini")))
                 settings.read();
             settings.outputBufferSize = changed ? 99 : 1234;
             settings.write();
         },
         [](ConfigFixture &fixture) { return rereadAs<ke2::Settings>(fixture, "kestrelEditor2.ini"); }},
        {"colours", "kestrelEditor2_colors.ini",
         [](ConfigFixture &, bool changed) {
             ke2::ColorScheme scheme;
             for (const QString &name : scheme.codeEditorRoles.names)
                 scheme.codeEditorRoles[name].format.setForeground(changed ? Qt::blue : QColor(1, 2, 3));
             scheme.outputHighlightRules.resize(changed ? 1 : 2);
             scheme.write();
         },
         [](ConfigFixture &fixture) { return rereadAs<ke2::ColorScheme>(fixture, "kestrelEditor2_colors.ini"); }},
        {"bindings", "kestrelEditor2_bindings.ini",
         [](ConfigFixture &, bool changed) {
             ke2::KeyBindings bindings;
             bindings.setShortcuts(7, {QKeySequence(changed ? "F11" : "F12")});
             bindings.setShortcuts(13, changed ? QList<QKeySequence>{QKeySequence("F10")} : QList<QKeySequence>());
             bindings.write();
         },
         [](ConfigFixture &fixture) { return rereadAs<ke2::KeyBindings>(fixture, "kestrelEditor2_bindings.ini"); }},
    };
    return files;
}

// Contents a hand-edited or damaged file may have, derived from a good one.
QVector<QPair<QString, QByteArray>> corruptContents(const QByteArray &good)
{
    QByteArray random;
    quint32 state = 0x2545F491u; // fixed seed: the same bytes on every run
    for (int i = 0; i < 64 * 1024; ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        random.append(char(state & 0xFF));
    }
    const QByteArray forged = "@Variant(\\0\\0\\0\\v\\x7f\\xff\\xff\\xf0)\n"; // a list of ~4 billion strings
    return {{"empty", QByteArray()},
            {"truncated half-way", good.left(good.size() / 2)},
            {"truncated mid-line", good.left(good.indexOf('=', good.size() / 3) + 1)},
            {"random bytes", random},
            {"nul bytes", QByteArray(4096, '\0')},
            {"non-UTF-8 text", "[main]\n\xff\xfe\xc3(=\xe9\xe8\n[\xff\xff]\nkey=\xc3\x28\xa0\xa1\n"},
            {"unbalanced brackets and quotes", "[main\n=\n==\n[]]\nx=\"unterminated\n[preferences]\\\n@=@Rect(\n@ByteArray(\n"},
            {"forged huge variant", "[main]\nrecentFiles=" + forged + "[user_bindings]\nnewBuffer=" + forged
                                        + "[codeeditor]\nPlain%20Text=" + forged + "[customhighlighting]\n0=" + forged},
            {"oversized file", "[main]\nrecentFiles=" + QByteArray(IniFile::maximumSize + 1024, 'x')}};
}

} // namespace

class IniFileTest : public QObject {
    Q_OBJECT
private slots:
    void groupsAndKeysFollowTheLayout()
    {
        ConfigFixture fixture;
        QVERIFY(fixture.put("order.ini", "[main]\nfromNewerVersion=42\n")); // unknown content survives
        const IniFile::Layout layout{{"zeta", {"b", "a", "Find/Replace Selected", "Plain Text"}}, {"alpha", {"y", "x"}}};
        QVERIFY(IniFile::write(fixture.file("order.ini"), [](QSettings &ini) {
            for (const char *key : {"alpha/x", "alpha/y", "alpha/unlisted", "zeta/a", "zeta/b", "zeta/Plain Text",
                                    "zeta/Find/Replace Selected", "middle/m"})
                ini.setValue(key, 1);
        }, layout));
        QCOMPARE(fixture.get("order.ini"),
                 QByteArray("[zeta]\nb=1\na=1\nFind\\Replace%20Selected=1\nPlain%20Text=1\n\n"
                            "[alpha]\ny=1\nx=1\nunlisted=1\n\n[main]\nfromNewerVersion=42\n\n[middle]\nm=1\n"));
        QCOMPARE(QDir(fixture.prefs.configDir()).entryList(QDir::Files), QStringList{"order.ini"}); // no leftovers
    }

    void unusableTargetsLeaveEverythingAsItWas()
    {
        ConfigFixture fixture;
        const auto fill = [](QSettings &ini) { ini.setValue("a", 1); };
        QVERIFY(!IniFile::write(QString(), fill));
        QVERIFY(QDir().mkpath(fixture.file("adir.ini")));
        QVERIFY(!IniFile::write(fixture.file("adir.ini"), fill));
        QVERIFY(QFileInfo(fixture.file("adir.ini")).isDir());
        QVERIFY(fixture.put("afile", "x"));
        QVERIFY(!IniFile::write(fixture.file("afile/inside.ini"), fill));
        QCOMPARE(fixture.get("afile"), QByteArray("x"));
        QVERIFY(!IniFile::openForReading(fixture.file("adir.ini")));
        QVERIFY(!IniFile::openForReading(fixture.file("missing.ini")));
    }

    void interruptedWriteKeepsTheEarlierFile_data()
    {
        QTest::addColumn<int>("file");
        QTest::addColumn<qint64>("bytes"); // negative: that many bytes short of the whole file
        for (int file = 0; file < int(configFiles().size()); ++file) {
            for (const qint64 bytes : {0, 30, 1200, -1})
                QTest::addRow("%s, after %lld bytes", configFiles()[file].label, bytes) << file << bytes;
        }
    }
    void interruptedWriteKeepsTheEarlierFile()
    {
        QFETCH(int, file);
        QFETCH(qint64, bytes);
        const ConfigFile &config = configFiles()[file];
        ConfigFixture fixture;
        config.writeSample(fixture, false);
        const QByteArray before = fixture.get(config.name);
        IniFile::simulateInterruptionAfter(bytes < 0 ? before.size() + bytes : bytes);
        config.writeSample(fixture, true);
        IniFile::simulateInterruptionAfter(-1);
        QCOMPARE(fixture.get(config.name), before);
        QCOMPARE(QDir(fixture.prefs.configDir()).entryList(QDir::Files), QStringList{config.name}); // no leftovers
        config.writeSample(fixture, true); // the next complete write goes through
        QVERIFY(fixture.get(config.name) != before);
    }

    void corruptFilesKeepDefaults_data()
    {
        QTest::addColumn<int>("file");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QByteArray>("custom"); // what the file held before it was damaged
        for (int file = 0; file < int(configFiles().size()); ++file) {
            ConfigFixture fixture;
            configFiles()[file].writeSample(fixture, false);
            const QByteArray custom = fixture.get(configFiles()[file].name);
            for (const auto &[name, content] : corruptContents(custom))
                QTest::addRow("%s, %s", configFiles()[file].label, qPrintable(name)) << file << content << custom;
        }
    }
    void corruptFilesKeepDefaults()
    {
        QFETCH(int, file);
        QFETCH(QByteArray, content);
        QFETCH(QByteArray, custom);
        const ConfigFile &config = configFiles()[file];
        ConfigFixture fixture;
        const QList<QByteArray> defaults = config.reread(fixture).split('\n');
        QVERIFY(fixture.put(config.name, custom));
        const QList<QByteArray> customValues = config.reread(fixture).split('\n');
        QVERIFY(customValues != defaults);
        QVERIFY(fixture.put(config.name, content));
        const QList<QByteArray> read = config.reread(fixture).split('\n');
        // A truncated copy may yield the values before the cut (a binding cut after "=" reads as
        // cleared); anything else reads as the defaults.
        const bool truncated = QByteArray(QTest::currentDataTag()).contains("truncated");
        if (!truncated)
            QCOMPARE(read, defaults);
        for (const QByteArray &line : read) {
            QVERIFY2(defaults.contains(line) || customValues.contains(line) || (file == 2 && line.endsWith('=')),
                     line.constData());
        }
    }
};

KE2_TEST_CLASS(IniFileTest)
#include "test_ini_file.moc"
