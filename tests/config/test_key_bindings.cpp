#include "config/key_bindings.h"
#include "tests/support/prefs_fixture.h"
#include "tests/support/test_registry.h"

#include <QtCore/QSettings>
#include <QtTest/QTest>

using ke2::KeyBindings;
using ke2::test::PrefsFixture;
using ke2::test::FakeHost;

namespace {

const QString fileName = QStringLiteral("kestrelEditor2_bindings.ini");

// The entries whose shortcuts differ from the defaults, "identifier=keys" in portable text.
QStringList changes(const KeyBindings &bindings)
{
    static const KeyBindings defaults;
    QStringList lines;
    for (int i = 0; i < bindings.entries().size(); ++i) {
        const ke2::ActionBinding &binding = bindings.entries().at(i);
        if (binding.shortcuts != defaults.entries().at(i).shortcuts)
            lines.append(binding.identifier + "=" + QKeySequence::listToString(binding.shortcuts, QKeySequence::PortableText));
    }
    return lines;
}

// Actions for every entry but the reserved one, as the main window attaches them.
void attachActions(KeyBindings &bindings, QObject *owner)
{
    for (const ke2::ActionBinding &binding : bindings.entries()) {
        if (!binding.fixed)
            bindings.setAction(binding.number, new QAction(binding.displayName, owner));
    }
}

} // namespace

class KeyBindingsTest : public QObject {
    Q_OBJECT
private slots:
    void defaultsAndARoundTripOfEveryEntry()
    {
        PrefsFixture fixture;
        QObject owner;
        KeyBindings bindings, back;
        attachActions(bindings, &owner);
        bindings.read();
        QVERIFY(fixture.host.texts(FakeHost::Kind::Warning).isEmpty());
        bindings.write();
        // Every entry but the reserved "escape", in table order, read back as its default keys.
        QStringList keys, expected{"[user_bindings]"};
        for (const QByteArray &line : fixture.get(fileName).trimmed().split('\n'))
            keys << QString::fromUtf8(line.constData(), line.size()).section('=', 0, 0);
        for (const ke2::ActionBinding &binding : bindings.entries())
            if (!binding.fixed)
                expected << binding.identifier;
        QCOMPARE(keys, expected);
        KeyBindings written;
        written.read();
        QCOMPARE(changes(written), QStringList());
        // The table itself: number, identifier, display name and default keys of each entry.
        QByteArray table;
        for (const ke2::ActionBinding &binding : bindings.entries()) {
            table += QStringLiteral("%1 %2 \"%3\" %4%5\n")
                         .arg(binding.number)
                         .arg(binding.identifier, binding.displayName,
                              QKeySequence::listToString(binding.defaultShortcuts, QKeySequence::PortableText),
                              binding.fixed ? QStringLiteral(" (fixed)") : QString())
                         .toUtf8();
        }
        QVERIFY(ke2::test::matchesGolden(table, "bindings_table.txt"));
        QVERIFY(bindings.entry(82)->fixed && bindings.entry(82)->identifier == "escape");
        QVERIFY(!bindings.entry(0) && !bindings.entry(KeyBindings::count + 1)); // numbered from 1
        QCOMPARE(bindings.entries().size(), KeyBindings::count);
        const QString letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
        for (int i = 0; i < KeyBindings::count; ++i) { // every tenth without any shortcut
            const QKeySequence chord(QString("Ctrl+Alt+Shift+%1, %2").arg(letters[i % 26]).arg(letters[i / 26]));
            bindings.setShortcuts(i + 1, i % 10 == 9 ? QList<QKeySequence>() : QList<QKeySequence>{chord});
        }
        QCOMPARE(bindings.shortcuts(82), QList<QKeySequence>{QKeySequence(Qt::Key_Escape)}); // fixed: not changed
        bindings.write();
        back.read();
        QCOMPARE(changes(back), changes(bindings));
        QSettings ini(fixture.file(fileName), QSettings::IniFormat);
        QCOMPARE(ini.value("user_bindings/saveScriptToShelf").toStringList(), QStringList{""}); // number 10
        QVERIFY(!ini.contains("user_bindings/escape"));
    }

    void fileValues_data()
    {
        QTest::addColumn<QByteArray>("lines"); // of [user_bindings]
        QTest::addColumn<bool>("withActions");
        QTest::addColumn<QStringList>("changed");
        QTest::addColumn<QStringList>("warnings");
        const QStringList none;
        QTest::newRow("one empty string: no shortcut") << QByteArray("closeFile=") << false << QStringList{"closeFile="} << none;
        QTest::newRow("quoted empty string: no shortcut") << QByteArray("closeFile=\"\"") << false << QStringList{"closeFile="} << none;
        QTest::newRow("two shortcuts") << QByteArray("saveAs=Ctrl+Alt+S, F12") << false << QStringList{"saveAs=Ctrl+Alt+S; F12"} << none;
        QTest::newRow("a chord") << QByteArray("saveAs=\"Ctrl+K, Ctrl+S\"") << false << QStringList{"saveAs=Ctrl+K, Ctrl+S"} << none;
        QTest::newRow("unparsable text is dropped") << QByteArray("saveAs=Banana+Q, F12") << false << QStringList{"saveAs=F12"} << none;
        QTest::newRow("a value of another type: no shortcut") << QByteArray("closeFile=@Rect(1 2 3 4)") << false
                                                             << QStringList{"closeFile="} << none;
        QTest::newRow("an invalid value: no shortcut") << QByteArray("closeFile=@Invalid()") << false << QStringList{"closeFile="} << none;
        QTest::newRow("a key repeated in one entry is a duplicate")
            << QByteArray("execute=Ctrl+Return, Ctrl+Return") << true << QStringList{"execute=Ctrl+Return"}
            << QStringList{"Duplicate hotkey detected: Execute (Ctrl+Return)"};
        QTest::newRow("the absent marker itself") << QByteArray("closeFile=UndefinedKey") << false << none << none;
        QTest::newRow("the reserved entry is not read") << QByteArray("escape=F5") << false << none << none;
        QTest::newRow("without actions nothing is checked") << QByteArray("deleteLine=Ctrl+W") << false
                                                           << QStringList{"deleteLine=Ctrl+W"} << none;
        QTest::newRow("the earlier entry keeps a contested key")
            << QByteArray("deleteLine=Ctrl+W") << true << QStringList{"deleteLine="}
            << QStringList{"Duplicate hotkey detected: Delete Line (Ctrl+W)"};
        QTest::newRow("a later default loses to an earlier user key")
            << QByteArray("newBuffer=Ctrl+K") << true << QStringList{"newBuffer=Ctrl+K", "toggleCodeEditor="}
            << QStringList{"Duplicate hotkey detected: Toggle Code Editor (Ctrl+K)"};
        QTest::newRow("the reserved key beats any action") << QByteArray("newBuffer=Esc, F6") << true << QStringList{"newBuffer=F6"}
                                                          << QStringList{"Duplicate hotkey detected: New Buffer (Esc)"};
        QTest::newRow("only the contested key is removed")
            << QByteArray("saveAs=F3, F12") << true << QStringList{"saveAs=F3; F12", "findNext="}
            << QStringList{"Duplicate hotkey detected: Find Next (F3)"};
        QTest::newRow("keypad Enter and Return are different keys")
            << QByteArray("saveAs=Ctrl+Alt+Return") << true << QStringList{"saveAs=Ctrl+Alt+Return", "executeLine=Ctrl+Alt+Enter"}
            << QStringList{"Duplicate hotkey detected: Execute Line (Ctrl+Alt+Return)"};
    }
    void fileValues()
    {
        QFETCH(QByteArray, lines);
        QFETCH(bool, withActions);
        QFETCH(QStringList, changed);
        QFETCH(QStringList, warnings);
        PrefsFixture fixture;
        QVERIFY(fixture.put(fileName, "[user_bindings]\n" + lines + "\n"));
        QObject owner;
        KeyBindings bindings;
        if (withActions)
            attachActions(bindings, &owner);
        bindings.read();
        QCOMPARE(changes(bindings), changed);
        for (QString &text : warnings)
            text.prepend("[KestrelEditor2] ");
        QCOMPARE(fixture.host.texts(FakeHost::Kind::Warning), warnings);
    }

    void restoreDefaultsAndApply()
    {
        PrefsFixture fixture;
        QObject owner;
        KeyBindings bindings;
        attachActions(bindings, &owner);
        bindings.setShortcuts(13, {});                       // closeFile
        bindings.setShortcuts(43, {QKeySequence("Ctrl+W")}); // deleteLine takes its key
        bindings.setShortcuts(2, {QKeySequence("F6")});      // newMelBuffer
        bindings.restoreDefaults({13});
        QCOMPARE(changes(bindings), (QStringList{"newMelBuffer=F6", "deleteLine="})); // lost Ctrl+W to the earlier entry
        bindings.applyShortcuts(true);
        QCOMPARE(bindings.entry(2)->action->shortcuts(), QList<QKeySequence>{QKeySequence("F6")});
        QCOMPARE(bindings.entry(57)->action->shortcuts().size(), 3);
        bindings.applyShortcuts(false);
        QVERIFY(bindings.entry(2)->action->shortcuts().isEmpty());
        QCOMPARE(bindings.shortcuts(2), QList<QKeySequence>{QKeySequence("F6")}); // the table keeps them
        delete bindings.entry(2)->action.data();
        bindings.applyShortcuts(true); // a deleted action is skipped
        bindings.restoreDefaults();
        QCOMPARE(changes(bindings), QStringList());
    }
};

KE2_TEST_CLASS(KeyBindingsTest)
#include "test_key_bindings.moc"
