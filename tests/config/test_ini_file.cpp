#include "config/color_scheme.h"
#include "config/ini_file.h"
#include "config/key_bindings.h"
#include "config/settings.h"
#include "tests/support/prefs_fixture.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>
#include <QtCore/QRandomGenerator>
#include <QtCore/QThread>
#include <QtCore/QSettings>
#include <QtTest/QTest>

using ke2::IniFile;
using ke2::test::PrefsFixture;
using ke2::test::FakeHost;

namespace {

enum ConfigFile { SettingsFile, ColorsFile, BindingsFile };
const char *const labels[] = {"settings", "colours", "bindings"};
const QString names[] = {"kestrelEditor2.ini", "kestrelEditor2_colors.ini", "kestrelEditor2_bindings.ini"};

// Writes a complete file of non-default values; `changed` writes different ones over it.
void writeSample(PrefsFixture &fixture, int file, bool changed)
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
QByteArray rereadAs(PrefsFixture &fixture, const QString &name)
{
    Record first, again;
    first.read();
    first.write();
    again.read();
    return ke2::test::writtenAlone(fixture, name, again);
}
QByteArray reread(PrefsFixture &fixture, int file)
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
                                        + "[codeeditor]\nPlain%20Text=" + forged + "[customhighlighting]\n0=" + forged}};
}

QProcess *startChild(const QString &job)
{
    auto *process = new QProcess;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("KE2_INI_CHILD", job);
    environment.insert("KE2_TEST_CLASS", "IniFileTest");
    process->setProcessEnvironment(environment);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(QCoreApplication::applicationFilePath(), {"childWriter"});
    return process;
}

} // namespace

class IniFileTest : public QObject {
    Q_OBJECT
private slots:
    void groupsAndKeysFollowTheLayout()
    {
        PrefsFixture fixture;
        const IniFile::Layout layout{{"zeta", {"b", "a", "Find/Replace Selected", "Plain Text"}}, {"alpha", {"y", "x"}}};
        const auto fill = [](QSettings &ini) {
            for (const char *key : {"alpha/x", "alpha/y", "alpha/unlisted", "zeta/a", "zeta/b", "zeta/Plain Text",
                                    "zeta/Find/Replace Selected", "middle/m"})
                ini.setValue(key, 1);
        };
        QVERIFY(IniFile::write(fixture.file("new.ini"), fill, layout));
        QCOMPARE(fixture.get("new.ini"), QByteArray("[zeta]\nb=1\na=1\nFind\\Replace%20Selected=1\nPlain%20Text=1\n\n"
                                                     "[alpha]\ny=1\nx=1\nunlisted=1\n\n[middle]\nm=1\n"));
        // An existing file keeps its own order and lines; new keys join their group in layout
        // order, new groups follow.
        QVERIFY(fixture.put("old.ini", "[alpha]\nx=1\n\n[main]\nfromNewerVersion=42\n"));
        QVERIFY(IniFile::write(fixture.file("old.ini"), fill, layout));
        QCOMPARE(fixture.get("old.ini"), QByteArray("[alpha]\nx=1\ny=1\nunlisted=1\n\n[main]\nfromNewerVersion=42\n\n"
                                                     "[zeta]\nb=1\na=1\nFind\\Replace%20Selected=1\nPlain%20Text=1\n\n"
                                                     "[middle]\nm=1\n"));
        QCOMPARE(QDir(fixture.prefs.configDir()).entryList(QDir::Files), (QStringList{"new.ini", "old.ini"})); // no leftovers
    }

    // Whatever the user's text holds reads back as written, characters outside the Basic
    // Multilingual Plane included, and the file keeps non-ASCII text readable as UTF-8.
    void everyCharacterSurvivesAWrite_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("line");
        const QString emoji = QString::fromUtf8("/scripts/\xF0\x9F\x98\x80 caf\xC3\xA9.mel");
        QTest::newRow("emoji") << QVariant(emoji) << QByteArray("k=/scripts/\xF0\x9F\x98\x80 caf\xC3\xA9.mel");
        QTest::newRow("emoji in a list") << QVariant(QStringList{emoji, "b"}) << QByteArray("\xF0\x9F\x98\x80");
        QTest::newRow("escape-like text") << QVariant(QStringLiteral("\\xe9 \\\\ \"q\" \t\u00e9\\xd83d"))
                                          << QByteArray("\xC3\xA9");
        QTest::newRow("bytes") << QVariant(QByteArray("\x80\xff\xe9\0x")) << QByteArray("k=@ByteArray(");
    }
    void everyCharacterSurvivesAWrite()
    {
        QFETCH(QVariant, value);
        QFETCH(QByteArray, line);
        PrefsFixture fixture;
        QVERIFY(IniFile::write(fixture.file(QTest::currentDataTag() + QStringLiteral(".ini")),
                               [&](QSettings &ini) { ini.setValue("k", value); }));
        const QByteArray bytes = fixture.get(QTest::currentDataTag() + QStringLiteral(".ini"));
        QVERIFY2(bytes.contains(line), bytes.constData());
        QVERIFY(fixture.put("copy.ini", bytes)); // a path this process has not read: no cached values
        const auto settings = IniFile::openForReading(fixture.file("copy.ini"));
        QVERIFY(settings);
        QCOMPARE(settings->value("k"), value);
    }

    // What the user did not change is kept byte for byte: values in another encoding, comments,
    // spacing, order, keys of newer versions; only the changed value's line is new.
    void untouchedLinesKeepTheirBytes()
    {
        PrefsFixture fixture;
        const QByteArray before = "; my settings\r\n[main]\r\nrecentFiles=/scripts/caf\xe9.mel\r\n"
                                  "codeEditorZoom = 2\r\nfromNewerVersion=x\r\n\r\n"
                                  "[preferences]\r\n; keep the buffer small\r\noutputBufferSize=100\r\n"
                                  "pylintPath=\"/opt/pylint, \xe9" "dition\"\r\n";
        QVERIFY(fixture.put(names[SettingsFile], before));
        ke2::Settings settings;
        settings.read();
        settings.outputBufferSize = 200;
        settings.write();
        const QByteArray after = fixture.get(names[SettingsFile]);
        QVERIFY2(after.startsWith("; my settings\r\n[main]\r\nrecentFiles=/scripts/caf\xe9.mel\r\n"
                                  "codeEditorZoom = 2\r\nfromNewerVersion=x\r\n"),
                 after.constData());
        QVERIFY(after.contains("[preferences]\r\n; keep the buffer small\r\noutputBufferSize=200\r\n"
                               "pylintPath=\"/opt/pylint, \xe9" "dition\"\r\n"));
        QVERIFY(!after.contains("outputBufferSize=100"));
        QCOMPARE(after.count("recentFiles="), 1);
        ke2::Settings again; // every key is there
        again.read();
        QCOMPARE(again.outputBufferSize, 200);
        QCOMPARE(again.codeEditorZoom, 2);
        QCOMPARE(again.tabsSizeMel, 4);
        // The same write again changes nothing.
        settings.write();
        QCOMPARE(fixture.get(names[SettingsFile]), after);
    }

    // Line ends are the user's too: a file that mixes them, or lacks the last one, keeps them on
    // every line the write did not change, and a write that changes nothing writes nothing.
    void handEditedFilesKeepTheirBytes()
    {
        PrefsFixture fixture;
        // A lone carriage return ends a line for the reader too ("e" is a key of its own).
        const QByteArray before = "[main]\r\na=1\re=6\nb=2\r\nc=3";
        QVERIFY(fixture.put("ends.ini", before));
        const QString path = fixture.file("ends.ini");
        QVERIFY(ke2::IniFile::write(path, [](QSettings &) {}));
        QCOMPARE(fixture.get("ends.ini"), before);
        QVERIFY(ke2::IniFile::write(path, [](QSettings &s) { s.setValue("main/b", 5); }));
        QCOMPARE(fixture.get("ends.ini"), QByteArray("[main]\r\na=1\re=6\nb=5\r\nc=3"));
        QVERIFY(ke2::IniFile::write(path, [](QSettings &s) { s.setValue("main/d", 4); }));
        QCOMPARE(fixture.get("ends.ini"), QByteArray("[main]\r\na=1\re=6\nb=5\r\nc=3\r\nd=4\r\n"));

        // An unclosed quote would swallow a key added after it: the file is then written whole,
        // its old bytes kept beside it.
        const QByteArray broken = "[General]\nname=\"open\n";
        QVERIFY(fixture.put("broken.ini", broken));
        QVERIFY(ke2::IniFile::write(fixture.file("broken.ini"), [](QSettings &s) { s.setValue("size", 3); }));
        QCOMPARE(fixture.get("broken.ini.bak"), broken);
        QCOMPARE(ke2::IniFile::openForReading(fixture.file("broken.ini"))->value("size").toInt(), 3);

        // Replacing that value uncovers the line it swallowed, which alone is no setting: the
        // file is written whole too, and reads back without an error.
        const QByteArray swallowing = "[foo]\nbar=\"open\nloose\n";
        QVERIFY(fixture.put("swallowing.ini", swallowing));
        QVERIFY(ke2::IniFile::write(fixture.file("swallowing.ini"), [](QSettings &s) { s.setValue("foo/bar", 1); }));
        QCOMPARE(fixture.get("swallowing.ini.bak"), swallowing);
        const auto reread = ke2::IniFile::openForReading(fixture.file("swallowing.ini"));
        QCOMPARE(reread->value("foo/bar").toInt(), 1);
        QCOMPARE(reread->status(), QSettings::NoError);

        // A key's line inside another key's swallowed value: changing it must not change that value.
        const QByteArray inside = "[General]\nsize=13\nname=\"a\nsize=12\nname=\"b\n";
        QVERIFY(fixture.put("inside.ini", inside));
        const QVariant name = ke2::IniFile::openForReading(fixture.file("inside.ini"))->value("name");
        QVERIFY(ke2::IniFile::write(fixture.file("inside.ini"), [](QSettings &s) { s.setValue("size", 14); }));
        const auto after = ke2::IniFile::openForReading(fixture.file("inside.ini"));
        QCOMPARE(after->value("size").toInt(), 14);
        QCOMPARE(after->value("name"), name);
    }

    // A file that cannot be read is never overwritten: it is kept aside, with a warning.
    void unreadableFileIsKeptAside()
    {
        PrefsFixture fixture;
        const QByteArray damaged = "[main\nrecentFiles=/a.mel\nnot a setting\n";
        QVERIFY(fixture.put("damaged.ini", damaged));
        QVERIFY(IniFile::write(fixture.file("damaged.ini"), [](QSettings &ini) { ini.setValue("main/version", 1); }));
        QCOMPARE(fixture.get("damaged.ini"), QByteArray("[main]\nversion=1\n"));
        const QStringList aside = QDir(fixture.prefs.configDir()).entryList({"damaged.ini.unreadable-*"}, QDir::Files);
        QCOMPARE(aside.size(), 1);
        QCOMPARE(fixture.get(aside.first()), damaged);
        const QStringList warnings = fixture.host.texts(FakeHost::Kind::Warning);
        QCOMPARE(warnings.size(), 1);
        QVERIFY2(warnings.first().contains(aside.first()), qPrintable(warnings.first()));
    }

    // Runs as a child of the tests below (the test program started again with this function
    // alone): KE2_INI_CHILD=file;mode;prefix.
    void childWriter()
    {
        const QStringList job = qEnvironmentVariable("KE2_INI_CHILD").split(';');
        if (job.size() != 3)
            QSKIP("run by the tests below as a child process");
        if (job.at(1) == "keys") {
            for (int i = 0; i < 100; ++i) {
                const QString key = QStringLiteral("keys/%1_%2").arg(job.at(2)).arg(i);
                QVERIFY(IniFile::write(job.at(0), [&](QSettings &ini) { ini.setValue(key, i); }));
            }
            return;
        }
        for (int n = 1;; ++n) { // until killed
            IniFile::write(job.at(0), [&](QSettings &ini) {
                ini.setValue("main/n", n);
                ini.setValue("main/payload", QString(1 << 20, QChar('a' + n % 26)));
            });
        }
    }

    void twoProcessesWritingAtOnceKeepEveryKey()
    {
        PrefsFixture fixture;
        const QString path = fixture.file("shared.ini");
        QVERIFY(QDir().mkpath(fixture.prefs.configDir()));
        QVector<QProcess *> writers;
        for (const char *prefix : {"first", "second"})
            writers.append(startChild(path + ";keys;" + prefix));
        for (QProcess *writer : writers) {
            QVERIFY(writer->waitForFinished(120000));
            QCOMPARE(writer->exitCode(), 0);
            delete writer;
        }
        QSettings ini(path, QSettings::IniFormat);
        ini.beginGroup("keys");
        QCOMPARE(ini.childKeys().size(), 200);
        QCOMPARE(ini.value("second_99").toInt(), 99);
    }

    // A writer killed at any moment leaves a whole file, earlier or later, and its lock does not
    // block the next writer.
    void killedWriterLeavesAWholeFile()
    {
        PrefsFixture fixture;
        const QString path = fixture.file("killed.ini");
        QVERIFY(QDir().mkpath(fixture.prefs.configDir()));
        QVERIFY(IniFile::write(path, [](QSettings &ini) {
            ini.setValue("main/n", 0);
            ini.setValue("main/payload", QString(1 << 20, QChar('a')));
        }));
        for (const int delay : {40, 90, 170, 260, 400}) {
            QProcess *writer = startChild(path + ";loop;-");
            QVERIFY(writer->waitForStarted());
            QThread::msleep(delay);
            writer->kill();
            QVERIFY(writer->waitForFinished());
            delete writer;
            QSettings ini(path, QSettings::IniFormat);
            const int n = ini.value("main/n", -1).toInt();
            QVERIFY(n >= 0);
            QCOMPARE(ini.value("main/payload").toString(), QString(1 << 20, QChar('a' + n % 26)));
        }
        QVERIFY(IniFile::write(path, [](QSettings &ini) { ini.setValue("main/n", 26); }));
        QCOMPARE(QSettings(path, QSettings::IniFormat).value("main/n").toInt(), 26);
        QVERIFY(!QFile::exists(path + ".lock"));
    }
    void emptyLockFileOfAKilledWriterIsTakenOver()
    {
        // Killed after creating its lock file but before writing its owner into it.
        PrefsFixture fixture;
        const QString path = fixture.file("orphan.ini");
        QVERIFY(fixture.put("orphan.ini.lock", QByteArray()));
        QFile lock(path + ".lock");
        QVERIFY(lock.open(QIODevice::ReadWrite));
        QVERIFY(lock.setFileTime(QDateTime::currentDateTime().addSecs(-5), QFileDevice::FileModificationTime));
        lock.close();
        QElapsedTimer waited;
        waited.start();
        QVERIFY(IniFile::write(path, [](QSettings &ini) { ini.setValue("main/n", 7); }));
        QVERIFY(waited.elapsed() < IniFile::lockWaitMilliseconds);
        QCOMPARE(QSettings(path, QSettings::IniFormat).value("main/n").toInt(), 7);
    }
    void unusableTargetsLeaveEverythingAsItWas()
    {
        PrefsFixture fixture;
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

    void corruptFilesKeepDefaults_data()
    {
        QTest::addColumn<int>("file");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QByteArray>("custom"); // what the file held before it was damaged
        for (int file : {SettingsFile, ColorsFile, BindingsFile}) {
            PrefsFixture fixture;
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
        PrefsFixture fixture;
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
