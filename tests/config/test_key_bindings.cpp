#include "config/key_bindings.h"
#include "tests/config/config_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QSettings>
#include <QtTest/QTest>

#include <memory>
#include <vector>

using ke2::KeyBindings;
using ke2::test::ConfigFixture;
using ke2::test::FakeHost;

namespace {

const QString fileName = QStringLiteral("kestrelEditor2_bindings.ini");

// Every entry's shortcuts in portable text, one line per entry.
QStringList dump(const KeyBindings &bindings)
{
    QStringList lines;
    for (const ke2::ActionBinding &binding : bindings.entries())
        lines.append(binding.identifier + "=" + QKeySequence::listToString(binding.shortcuts, QKeySequence::PortableText));
    return lines;
}

// Actions for every entry but the reserved one, as the main window attaches them.
struct AttachedActions {
    QObject owner;
    explicit AttachedActions(KeyBindings &bindings)
    {
        for (const ke2::ActionBinding &binding : bindings.entries()) {
            if (!binding.fixed)
                bindings.setAction(binding.number, new QAction(binding.displayName, &owner));
        }
    }
};

} // namespace

class KeyBindingsTest : public QObject {
    Q_OBJECT
private slots:
    void theTable()
    {
        const KeyBindings bindings;
        const auto &entries = bindings.entries();
        QCOMPARE(entries.size(), 82);
        QStringList identifiers;
        for (int i = 0; i < entries.size(); ++i) {
            QCOMPARE(entries.at(i).number, i + 1);
            QCOMPARE(entries.at(i).shortcuts, entries.at(i).defaultShortcuts);
            QVERIFY(entries.at(i).defaultShortcuts.size() <= 3);
            for (const QKeySequence &sequence : entries.at(i).defaultShortcuts)
                QVERIFY2(!sequence.isEmpty(), qPrintable(entries.at(i).identifier)); // every key text parses
            identifiers.append(entries.at(i).identifier);
        }
        identifiers.removeDuplicates();
        QCOMPARE(identifiers.size(), 82);
        // Numbers other parts refer to.
        QCOMPARE(bindings.entry(29)->identifier, QString("findNext"));
        QCOMPARE(bindings.shortcuts(29), QList<QKeySequence>{QKeySequence(Qt::Key_F3)});
        QCOMPARE(bindings.entry(36)->identifier, QString("replaceAll"));
        QCOMPARE(bindings.entry(57)->shortcuts,
                 (QList<QKeySequence>{QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter),
                                      QKeySequence(Qt::Key_Enter)}));
        QCOMPARE(bindings.entry(58)->displayName, QString("Execute"));
        QCOMPARE(bindings.entry(58)->identifier, QString("executeAlt"));
        QCOMPARE(bindings.entry(1)->defaultShortcuts, QKeySequence::keyBindings(QKeySequence::New));
        const ke2::ActionBinding *reserved = bindings.entry(82);
        QVERIFY(reserved->fixed);
        QCOMPARE(reserved->identifier, QString("escape"));
        QCOMPARE(reserved->shortcuts, QList<QKeySequence>{QKeySequence(Qt::Key_Escape)});
        QCOMPARE(bindings.entry(0), nullptr);
        QCOMPARE(bindings.entry(83), nullptr);
    }

    void noFileMeansDefaultsAndNoWarning()
    {
        ConfigFixture fixture;
        KeyBindings bindings;
        AttachedActions actions(bindings);
        bindings.read();
        QCOMPARE(dump(bindings), dump(KeyBindings()));
        QVERIFY(fixture.host.texts(FakeHost::Kind::Warning).isEmpty());
        bindings.write();
        // Every non-reserved identifier in table order, "escape" never.
        QVERIFY(ke2::test::matchesGolden(fixture.get(fileName), "bindings_defaults.ini"));
        QVERIFY(!fixture.get(fileName).contains("escape"));
    }

    void fileValues_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("expected"); // portable text of the current shortcuts
        QTest::newRow("one empty string: no shortcut") << QByteArray("closeFile=") << "closeFile" << "";
        QTest::newRow("quoted empty string: no shortcut") << QByteArray("closeFile=\"\"") << "closeFile" << "";
        QTest::newRow("absent: defaults") << QByteArray("other=x") << "closeFile" << "Ctrl+W";
        QTest::newRow("two shortcuts") << QByteArray("saveAs=Ctrl+Alt+S, F12") << "saveAs" << "Ctrl+Alt+S; F12";
        QTest::newRow("a chord") << QByteArray("saveAs=\"Ctrl+K, Ctrl+S\"") << "saveAs" << "Ctrl+K, Ctrl+S";
        QTest::newRow("unparsable text is dropped") << QByteArray("saveAs=Banana+Q, F12") << "saveAs" << "F12";
        QTest::newRow("wrong type counts as absent") << QByteArray("closeFile=@Rect(1 2 3 4)") << "closeFile" << "Ctrl+W";
        QTest::newRow("invalid counts as absent") << QByteArray("closeFile=@Invalid()") << "closeFile" << "Ctrl+W";
        QTest::newRow("the reserved entry is not read") << QByteArray("escape=F5") << "escape" << "Esc";
        QTest::newRow("the absent marker itself") << QByteArray("closeFile=UndefinedKey") << "closeFile" << "Ctrl+W";
    }
    void fileValues()
    {
        QFETCH(QByteArray, line);
        QFETCH(QString, identifier);
        QFETCH(QString, expected);
        ConfigFixture fixture;
        QVERIFY(fixture.put(fileName, "[user_bindings]\n" + line + "\n"));
        KeyBindings bindings;
        bindings.read();
        QCOMPARE(QKeySequence::listToString(bindings.find(identifier)->shortcuts, QKeySequence::PortableText), expected);
    }

    void theEarlierEntryKeepsAContestedKey()
    {
        ConfigFixture fixture;
        QVERIFY(fixture.put(fileName, "[user_bindings]\ndeleteLine=Ctrl+W\n"));
        KeyBindings bindings;
        AttachedActions actions(bindings);
        bindings.read();
        QCOMPARE(bindings.find("deleteLine")->shortcuts, QList<QKeySequence>());
        QCOMPARE(bindings.find("closeFile")->shortcuts, QList<QKeySequence>{QKeySequence("Ctrl+W")});
        QCOMPARE(fixture.host.texts(FakeHost::Kind::Warning),
                 QStringList{"[KestrelEditor2] Duplicate hotkey detected: Delete Line (Ctrl+W)"});
    }

    void duplicateResolution_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QStringList>("warnings");
        QTest::addColumn<QStringList>("changed"); // identifier=shortcuts after reading, for the entries that differ
        QTest::newRow("a later default loses to an earlier user key")
            << QByteArray("newBuffer=Ctrl+K\n")
            << QStringList{"Duplicate hotkey detected: Toggle Code Editor (Ctrl+K)"}
            << QStringList{"newBuffer=Ctrl+K", "toggleCodeEditor="};
        QTest::newRow("the reserved key beats any action")
            << QByteArray("newBuffer=Esc, F9\n") << QStringList{"Duplicate hotkey detected: New Buffer (Esc)"}
            << QStringList{"newBuffer=F9"};
        QTest::newRow("only the contested key is removed")
            << QByteArray("saveAs=F3, F11\n") << QStringList{"Duplicate hotkey detected: Find Next (F3)"}
            << QStringList{"saveAs=F3; F11", "findNext="};
        QTest::newRow("keypad Enter and Return are different keys")
            << QByteArray("saveAs=Ctrl+Alt+Return\n")
            << QStringList{"Duplicate hotkey detected: Execute Line (Ctrl+Alt+Return)"}
            << QStringList{"saveAs=Ctrl+Alt+Return", "executeLine=Ctrl+Alt+Enter"};
    }
    void duplicateResolution()
    {
        QFETCH(QByteArray, file);
        QFETCH(QStringList, warnings);
        QFETCH(QStringList, changed);
        ConfigFixture fixture;
        QVERIFY(fixture.put(fileName, "[user_bindings]\n" + file));
        KeyBindings bindings;
        AttachedActions actions(bindings);
        bindings.read();
        const QStringList defaults = dump(KeyBindings()), read = dump(bindings);
        QStringList differing;
        for (int i = 0; i < read.size(); ++i) {
            if (read.at(i) != defaults.at(i))
                differing.append(read.at(i));
        }
        QCOMPARE(differing, changed);
        QStringList shown = fixture.host.texts(FakeHost::Kind::Warning);
        for (QString &text : shown)
            text.remove("[KestrelEditor2] ");
        QCOMPARE(shown, warnings);
    }

    void entriesWithoutActionsAreNotChecked()
    {
        ConfigFixture fixture;
        QVERIFY(fixture.put(fileName, "[user_bindings]\ndeleteLine=Ctrl+W\n"));
        KeyBindings bindings;
        bindings.read();
        QCOMPARE(bindings.find("deleteLine")->shortcuts, QList<QKeySequence>{QKeySequence("Ctrl+W")});
        QVERIFY(fixture.host.texts(FakeHost::Kind::Warning).isEmpty());
        // Once the window attaches its actions the check applies.
        AttachedActions actions(bindings);
        QCOMPARE(bindings.detectDuplicates(), QStringList{"Duplicate hotkey detected: Delete Line (Ctrl+W)"});
    }

    void everyShortcutRoundTrips()
    {
        ConfigFixture fixture;
        KeyBindings bindings;
        const QString letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
        for (const ke2::ActionBinding &binding : bindings.entries()) {
            const int i = binding.number - 1;
            if (i % 10 == 9)
                bindings.setShortcuts(binding.number, {}); // some without any shortcut
            else
                bindings.setShortcuts(binding.number, {QKeySequence(QString("Ctrl+Alt+Shift+%1, %2").arg(letters[i % 26]).arg(letters[i / 26]))});
        }
        bindings.setShortcuts(82, {QKeySequence("F1")}); // the reserved entry cannot be changed
        bindings.write();
        KeyBindings back;
        back.read();
        QCOMPARE(dump(back), dump(bindings));
        QCOMPARE(back.find("saveScriptToShelf")->shortcuts, QList<QKeySequence>()); // number 10
        QSettings ini(fixture.file(fileName), QSettings::IniFormat);
        QCOMPARE(ini.value("user_bindings/saveScriptToShelf").toStringList(), QStringList{""});
        QVERIFY(!ini.contains("user_bindings/escape"));
    }

    void restoreDefaults()
    {
        ConfigFixture fixture;
        KeyBindings bindings;
        AttachedActions actions(bindings);
        bindings.setShortcuts(13, {});                          // closeFile
        bindings.setShortcuts(43, {QKeySequence("Ctrl+W")});    // deleteLine takes its key
        bindings.setShortcuts(2, {QKeySequence("F9")});         // newMelBuffer
        bindings.restoreDefaults({13});
        QCOMPARE(bindings.shortcuts(13), QList<QKeySequence>{QKeySequence("Ctrl+W")});
        QCOMPARE(bindings.shortcuts(43), QList<QKeySequence>()); // lost it to the earlier entry
        QCOMPARE(bindings.shortcuts(2), QList<QKeySequence>{QKeySequence("F9")});
        bindings.restoreDefaults();
        QCOMPARE(dump(bindings), dump(KeyBindings()));
    }

    void shortcutsReachTheActions()
    {
        KeyBindings bindings;
        AttachedActions actions(bindings);
        bindings.applyShortcuts(true);
        QCOMPARE(bindings.entry(57)->action->shortcuts().size(), 3);
        QCOMPARE(bindings.entry(13)->action->shortcut(), QKeySequence("Ctrl+W"));
        bindings.applyShortcuts(false);
        QVERIFY(bindings.entry(13)->action->shortcuts().isEmpty());
        QCOMPARE(bindings.shortcuts(13), QList<QKeySequence>{QKeySequence("Ctrl+W")}); // the table keeps them
        delete bindings.entry(13)->action.data();
        bindings.applyShortcuts(true); // a deleted action is simply skipped
        QVERIFY(!bindings.entry(13)->action);
    }

    void corruptFilesKeepDefaults()
    {
        ConfigFixture source;
        KeyBindings custom;
        custom.setShortcuts(7, {QKeySequence("F12")});
        custom.setShortcuts(13, {});
        custom.write();
        const QByteArray customFile = source.get(fileName);
        const QStringList defaults = dump(KeyBindings()), customDump = dump(custom);
        for (const auto &[name, content] : ke2::test::corruptContents(customFile)) {
            ConfigFixture fixture;
            QVERIFY(fixture.put(fileName, content));
            KeyBindings bindings;
            AttachedActions actions(bindings);
            bindings.read();
            bindings.write();
            bindings.read();
            const QStringList read = dump(bindings);
            for (int i = 0; i < read.size(); ++i) {
                // A line cut right after "=" reads as a cleared binding, like one the user emptied.
                const bool cleared = read.at(i).endsWith('=');
                if (name.startsWith("truncated"))
                    QVERIFY2(read.at(i) == defaults.at(i) || read.at(i) == customDump.at(i) || cleared,
                             qPrintable(name + ": " + read.at(i)));
                else
                    QVERIFY2(read.at(i) == defaults.at(i), qPrintable(name + ": " + read.at(i)));
            }
        }
    }
};

KE2_TEST_CLASS(KeyBindingsTest)
#include "test_key_bindings.moc"
