#include "config/color_scheme.h"
#include "config/ini_file.h"
#include "config/key_bindings.h"
#include "config/settings.h"
#include "tests/config/config_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QRandomGenerator>
#include <QtCore/QSettings>
#include <QtTest/QTest>

using ke2::IniFile;
using ke2::test::ConfigFixture;

namespace {

enum ConfigFile { SettingsFile, ColorsFile, BindingsFile };
const char *const labels[] = {"settings", "colours", "bindings"};
const QString names[] = {"kestrelEditor2.ini", "kestrelEditor2_colors.ini", "kestrelEditor2_bindings.ini"};

// Writes a complete file of non-default values; `changed` writes different ones over it.
void writeSample(ConfigFixture &fixture, int file, bool changed)
{
    if (file == SettingsFile) {
        ke2::Settings settings;
        if (!changed && fixture.put(names[file], ke2::test::readData("settings_custom.ini")))
            settings.read();
        settings.outputBufferSize = changed ? 99 : 1234;
        settings.write();
    } else if (file == ColorsFile) {
        ke2::ColorScheme scheme;
        for (const QString &name : scheme.codeEditorRoles.names)
            scheme.codeEditorRoles[name].format.setForeground(changed ? Qt::blue : QColor(1, 2, 3));
        scheme.outputHighlightRules.resize(changed ? 1 : 2);
        scheme.write();
    } else {
        ke2::KeyBindings bindings;
        bindings.setShortcuts(7, {QKeySequence(changed ? "F11" : "F12")});
        bindings.setShortcuts(13, changed ? QList<QKeySequence>{QKeySequence("F10")} : QList<QKeySequence>());
        bindings.write();
    }
}

// Reads the file, writes over it, reads that again into a fresh record and returns what the
// record writes to an empty folder: every value it holds.
template <typename Record>
QByteArray rereadAs(ConfigFixture &fixture, const QString &name)
{
    Record first, again;
    first.read();
    first.write();
    again.read();
    return ke2::test::writtenAlone(fixture, name, again);
}
QByteArray reread(ConfigFixture &fixture, int file)
{
    if (file == SettingsFile)
        return rereadAs<ke2::Settings>(fixture, names[file]);
    return file == ColorsFile ? rereadAs<ke2::ColorScheme>(fixture, names[file]) : rereadAs<ke2::KeyBindings>(fixture, names[file]);
}

// Contents a hand-edited or damaged file may have, derived from a good one.
QVector<QPair<QString, QByteArray>> corruptContents(const QByteArray &good)
{
    QByteArray random(64 * 1024, '\0'); // the same bytes on every run
    QRandomGenerator(0x2545F491u).fillRange(reinterpret_cast<quint32 *>(random.data()), random.size() / 4);
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
        for (int file : {SettingsFile, ColorsFile, BindingsFile}) {
            for (const qint64 bytes : {0, 30, 1200, -1})
                QTest::addRow("%s, after %lld bytes", labels[file], bytes) << file << bytes;
        }
    }
    void interruptedWriteKeepsTheEarlierFile()
    {
        QFETCH(int, file);
        QFETCH(qint64, bytes);
        ConfigFixture fixture;
        writeSample(fixture, file, false);
        const QByteArray before = fixture.get(names[file]);
        IniFile::simulateInterruptionAfter(bytes < 0 ? before.size() + bytes : bytes);
        writeSample(fixture, file, true);
        IniFile::simulateInterruptionAfter(-1);
        QCOMPARE(fixture.get(names[file]), before);
        QCOMPARE(QDir(fixture.prefs.configDir()).entryList(QDir::Files), QStringList{names[file]}); // no leftovers
        writeSample(fixture, file, true); // the next complete write goes through
        QVERIFY(fixture.get(names[file]) != before);
    }

    void corruptFilesKeepDefaults_data()
    {
        QTest::addColumn<int>("file");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QByteArray>("custom"); // what the file held before it was damaged
        for (int file : {SettingsFile, ColorsFile, BindingsFile}) {
            ConfigFixture fixture;
            writeSample(fixture, file, false);
            const QByteArray custom = fixture.get(names[file]);
            for (const auto &[name, content] : corruptContents(custom))
                QTest::addRow("%s, %s", labels[file], qPrintable(name)) << file << content << custom;
        }
    }
    void corruptFilesKeepDefaults()
    {
        QFETCH(int, file);
        QFETCH(QByteArray, content);
        QFETCH(QByteArray, custom);
        ConfigFixture fixture;
        const QList<QByteArray> defaults = reread(fixture, file).split('\n');
        QVERIFY(fixture.put(names[file], custom));
        const QList<QByteArray> customValues = reread(fixture, file).split('\n');
        QVERIFY(customValues != defaults);
        QVERIFY(fixture.put(names[file], content));
        const QList<QByteArray> read = reread(fixture, file).split('\n');
        // A truncated copy may yield the values before the cut (a binding cut after "=" reads as
        // cleared); anything else reads as the defaults.
        const bool truncated = QByteArray(QTest::currentDataTag()).contains("truncated");
        if (!truncated)
            QCOMPARE(read, defaults);
        for (const QByteArray &line : read) {
            QVERIFY2(defaults.contains(line) || customValues.contains(line) || (file == BindingsFile && line.endsWith('=')),
                     line.constData());
        }
    }
};

KE2_TEST_CLASS(IniFileTest)
#include "test_ini_file.moc"
