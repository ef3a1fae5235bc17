#include "config/key_bindings.h"
#include "editor/code_editor_completer.h"
#include "tests/editor/editor_test_support.h"
#include "tests/support/test_registry.h"

#include <QtGui/QKeyEvent>
#include <QtTest/QSignalSpy>
#include <QtWidgets/QMenu>

using namespace ke2;
using namespace ke2::test;

namespace {
// Settings a typing row may turn on next to its language: indent to parentheses; tabs of size 0.
enum { Parens = 0x10, Tabs = 0x20 };

// Records what the editor asks of a completion popup.
struct RecordingCompleter : CodeEditorCompleter {
    bool visible = false;
    QVector<bool> requests; // applyIfSingle of each request
    bool IsPopupVisible() const override { return visible; }
    void HidePopup() override { visible = false; }
    void Update(const QTextCursor &, const QRect &, bool applyIfSingle) override { requests.append(applyIfSingle); }
};

// A parent that sees the key events the editor leaves alone (modifier presses aside).
struct KeyRecorder : QWidget {
    QVector<QKeySequence> keys;
    void keyPressEvent(QKeyEvent *event) override
    {
        if (event->key() != Qt::Key_Control && event->key() != Qt::Key_Shift)
            keys.append(QKeySequence(int(event->modifiers()) | event->key()));
    }
};
} // namespace

class CodeEditorKeysTest : public QObject {
    Q_OBJECT
private slots:
    void typing_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("after");
        const int M = LANGUAGE_MEL, P = LANGUAGE_PYTHON, T = LANGUAGE_TEXT;
        QTest::newRow("python aligns under the open bracket") << (P | Parens) << "x = foo(a,|" << "\n" << "x = foo(a,\n        |";
        QTest::newRow("mel aligns under an open paren") << (M | Parens) << "  print(\"a\",|" << "\n" << "  print(\"a\",\n        |";
        QTest::newRow("python closing bracket returns to the opening line")
            << (P | Parens) << "x = foo(a,\n        b)|" << "\n" << "x = foo(a,\n        b)\n|";
        QTest::newRow("python closing then colon adds a level")
            << (P | Parens) << "    if (a and\n            b):|" << "\n" << "    if (a and\n            b):\n        |";
        QTest::newRow("tabs: return indents with a tab") << (P | Tabs) << "def f():|" << "\n" << "def f():\n\t|";
        QTest::newRow("tabs: size 0 counts as 4") << (P | Tabs) << "        x|" << "\x02" << "\tx|";
        QTest::newRow("tabs: backspace removes a tab") << (P | Tabs) << "\t\t|" << "\b" << "\t|";
        QTest::newRow("mel return between braces gives three lines") << M << "proc f() {|}" << "\n" << "proc f() {\n    |\n}";
        QTest::newRow("mel return after open brace indents") << M << "if ($a) {|" << "\n" << "if ($a) {\n    |";
        QTest::newRow("mel return after open paren indents") << M << "    foo(|" << "\n" << "    foo(\n        |";
        QTest::newRow("a typed line feed breaks the line as return") << M << "if ($a) {|" << "\x07" << "if ($a) {\n    |";
        QTest::newRow("mel return keeps indentation") << M << "    $a = 1;|" << "\n" << "    $a = 1;\n    |";
        QTest::newRow("mel brace balance -2 outdents once") << M << "        }}|" << "\n" << "        }}\n    |";
        QTest::newRow("mel brace balance -1 keeps indentation") << M << "    }|" << "\n" << "    }\n    |";
        QTest::newRow("mel brace in string does not count") << M << "    print \"{\";|" << "\n" << "    print \"{\";\n    |";
        QTest::newRow("mel closing brace takes the opening line's indent")
            << M << "    if ($a) {\n        $b = 1;\n        |" << "}" << "    if ($a) {\n        $b = 1;\n    }|";
        QTest::newRow("python return after colon indents") << P << "def f():|" << "\n" << "def f():\n    |";
        QTest::newRow("python return after assignment keeps indent") << P << "    x = 1|" << "\n" << "    x = 1\n    |";
        QTest::newRow("python bracket split") << P << "x = [|]" << "\n" << "x = [\n    |\n]";
        QTest::newRow("python return in leading whitespace cuts it") << P << "  |  x" << "\n" << "  \n  |  x";
        QTest::newRow("shift return is an ordinary newline") << P << "def f():|" << "\x04" << "def f():\n    |";
        QTest::newRow("text return has no indent") << T << "    a|" << "\n" << "    a\n|";
        QTest::newRow("paren before a word inserts only one") << P << "|foo" << "(" << "(|foo";
        QTest::newRow("paren at line end inserts a pair") << P << "x|" << "(" << "x(|)";
        QTest::newRow("paren before a space inserts a pair") << P << "f| x" << "(" << "f(|) x";
        QTest::newRow("paren before a closing paren inserts a pair") << P << "f(|)" << "(" << "f((|))";
        QTest::newRow("paren inside a string inserts one") << P << "x = 'a|'" << "(" << "x = 'a(|'";
        QTest::newRow("paren wraps a selection") << P << "x = ^foo|" << "(" << "x = (^foo|)";
        QTest::newRow("closing paren types over") << P << "f(a|)" << ")" << "f(a)|";
        QTest::newRow("closing bracket replaces a selection") << P << "^ab|" << "]" << "]|";
        QTest::newRow("quote pair in code") << P << "x = |" << "\"" << "x = \"|\"";
        QTest::newRow("quote types over") << P << "x = \"ab|\"" << "\"" << "x = \"ab\"|";
        QTest::newRow("quote after a letter is single") << P << "ab|" << "'" << "ab'|";
        QTest::newRow("quote before a word is single") << P << "|ab" << "'" << "'|ab";
        QTest::newRow("mel backtick pairs") << M << "$a = |" << "`" << "$a = `|`";
        QTest::newRow("python backtick is plain") << P << "a = |" << "`" << "a = `|";
        QTest::newRow("text paren is plain") << T << "x|" << "(" << "x(|";
        QTest::newRow("backspace deletes a bracket pair") << P << "f(|)" << "\b" << "f|";
        QTest::newRow("backspace deletes a quote pair") << P << "x = \"|\"" << "\b" << "x = |";
        QTest::newRow("backspace inside a string deletes one") << P << "x = \"a(|)\"" << "\b" << "x = \"a|)\"";
        QTest::newRow("backspace between other quotes in a string deletes one") << M << "$a = \"'|'\";" << "\b" << "$a = \"|'\";";
        QTest::newRow("backspace in indentation to previous stop") << P << "      |x" << "\b" << "    |x";
        QTest::newRow("backspace in indentation by a level") << M << "        |" << "\b" << "    |";
        QTest::newRow("backspace in text deletes one") << T << "        |" << "\b" << "       |";
        QTest::newRow("tab to next stop") << P << "ab|" << "\t" << "ab  |";
        QTest::newRow("tab on blank line normalises") << P << "      |" << "\t" << "        |";
        QTest::newRow("backtab outdents") << P << "        x|" << "\x02" << "    x|";
        QTest::newRow("tab indents every selected line") << P << "^a\n\nb|" << "\t" << "    ^a\n\n    b|";
        QTest::newRow("double click on $name selects the dollar") << M << "$na|me = 1;" << "\x06" << "^$name| = 1;";
        QTest::newRow("double click in A$name: A is in the class") << M << "A$na|me = 1;" << "\x06" << "A$^name| = 1;";
        QTest::newRow("double click in B$name: most capitals are not") << M << "B$na|me = 1;" << "\x06" << "B^$name| = 1;";
        QTest::newRow("double click in x$name") << M << "x$na|me = 1;" << "\x06" << "x$^name| = 1;";
        QTest::newRow("home goes to first non-blank") << P << "    foo|" << "\x01" << "    |foo";
        QTest::newRow("second home goes to column 0") << P << "    foo|" << "\x01\x01" << "|    foo";
        QTest::newRow("third home back to first non-blank") << P << "    foo|" << "\x01\x01\x01" << "    |foo";
    }
    void typing()
    {
        QFETCH(int, language);
        QFETCH(QString, before);
        QFETCH(QString, keys);
        QFETCH(QString, after);
        SettingsGuard guard;
        Settings &settings = Settings::instance();
        settings.melIndentToParentheses = settings.pythonIndentToParentheses = language & Parens;
        settings.tabsInsertSpacesDefault = !(language & Tabs);
        settings.tabsSizeDefault = language & Tabs ? 0 : 4;
        auto editor = makeEditor(CodeEditorLanguage(language & 0xf), before);
        typeKeys(*editor, keys.left(keys.size() - 1));
        const QString beforeLast = editor->toPlainText();
        typeKeys(*editor, keys.right(1));
        QCOMPARE(editorState(*editor), after);
        editor->undo(); // whatever the last key did is one undo step
        QCOMPARE(editor->toPlainText(), beforeLast);
    }

    void keypadEnterEscapeAndInsert()
    {
        KeyRecorder parent;
        auto *editor = new CodeEditor(LANGUAGE_PYTHON, QString(), &parent);
        editor->setPlainText(QStringLiteral("print(1)"));
        QSignalSpy escape(editor, &CodeEditor::EscapeKeyPressed);
        QSignalSpy overwrite(editor, &CodeEditor::OverwriteModeChanged);
        const bool wasOverwrite = CodeEditor::SharedOverwriteMode();
        typeKeys(*editor, QStringLiteral("\x03")); // keypad Enter reaches the window as Ctrl+Enter
        QTest::keyClick(editor, Qt::Key_Return, Qt::ControlModifier);
        QTest::keyClick(editor, Qt::Key_Escape);
        QTest::keyClick(editor, Qt::Key_Insert);
        QCOMPARE(editor->toPlainText(), QStringLiteral("print(1)"));
        QCOMPARE(parent.keys, (QVector<QKeySequence>{Qt::CTRL | Qt::Key_Enter, Qt::CTRL | Qt::Key_Return}));
        QCOMPARE(qMakePair(int(escape.count()), int(overwrite.count())), qMakePair(1, 1));
        QCOMPARE(CodeEditor::SharedOverwriteMode(), !wasOverwrite);
        QTest::keyClick(editor, Qt::Key_Insert);
        QCOMPARE(CodeEditor::SharedOverwriteMode(), wasOverwrite);
    }

    void completionRequests_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<bool>("onLetters");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QVector<bool>>("requests"); // forced or not, one per request
        const int M = LANGUAGE_MEL, P = LANGUAGE_PYTHON;
        QTest::newRow("letters open the popup") << P << true << "ab" << QVector<bool>{false, false};
        QTest::newRow("letters off: no request") << P << false << "ab" << QVector<bool>{};
        QTest::newRow("dot opens the popup in python") << P << false << "." << QVector<bool>{false};
        QTest::newRow("digits do not") << M << true << "12" << QVector<bool>{};
        QTest::newRow("text buffers never ask") << int(LANGUAGE_TEXT) << true << "ab" << QVector<bool>{};
        QTest::newRow("ctrl space forces a request") << M << true << "ls\x05" << QVector<bool>{false, false, true};
        QTest::newRow("ctrl space does nothing with letters off") << M << false << "ls\x05" << QVector<bool>{};
    }
    void completionRequests()
    {
        QFETCH(int, language);
        QFETCH(bool, onLetters);
        QFETCH(QString, keys);
        QFETCH(QVector<bool>, requests);
        SettingsGuard guard;
        Settings::instance().melCompleteOnLetters = Settings::instance().pythonCompleteOnLetters = onLetters;
        RecordingCompleter completer;
        auto editor = makeEditor(CodeEditorLanguage(language), QStringLiteral("|"));
        editor->SetCompleter(&completer);
        typeKeys(*editor, keys);
        QCOMPARE(completer.requests, requests);
        QCOMPARE(editor->toPlainText(), QString(keys).remove(QChar(5)));
    }

    void visiblePopupClosesOnBackspaceAfterDotAndOnMoves()
    {
        RecordingCompleter completer;
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("os.|"));
        editor->SetCompleter(&completer);
        completer.visible = true;
        QTest::keyClick(editor.get(), Qt::Key_Backspace);
        QVERIFY(!completer.visible);
        completer.visible = true;
        QTest::keyClick(editor.get(), Qt::Key_Left);
        QVERIFY(!completer.visible);
    }

    void contextMenuShowsBoundKeys()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("x|"));
        KeyBindings::instance().setShortcuts(KeyBindings::instance().find(QStringLiteral("executeLine"))->number,
                                             {QKeySequence(QStringLiteral("Ctrl+Alt+L"))});
        std::unique_ptr<QMenu> menu(editor->CreateContextMenu());
        KeyBindings::instance().restoreDefaults();
        QAction *executeLine = menu->actions().value(7);
        QCOMPARE(executeLine->text(), QStringLiteral("Execute Line"));
        QCOMPARE(executeLine->shortcut(), QKeySequence(QStringLiteral("Ctrl+Alt+L")));
        QCOMPARE(menu->actions().value(6)->shortcut(), QKeySequence(QStringLiteral("Ctrl+Return")));
        QSignalSpy requested(editor.get(), &CodeEditor::ExecuteLineRequested);
        executeLine->trigger();
        QCOMPARE(requested.count(), 1);
    }
};
KE2_TEST_CLASS(CodeEditorKeysTest)

#include "test_code_editor_keys.moc"
