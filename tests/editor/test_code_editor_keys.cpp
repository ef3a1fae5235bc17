#include "editor/code_editor.h"
#include "editor/code_editor_completer.h"
#include "tests/editor/editor_test_support.h"
#include "tests/support/test_registry.h"

#include <QtGui/QKeyEvent>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace ke2;
using ke2::test::editorState;
using ke2::test::makeEditor;
using ke2::test::typeKeys;

namespace {
// Records what the editor asks of a completion popup.
class RecordingCompleter : public CodeEditorCompleter {
public:
    bool visible = false;
    QVector<bool> requests; // applyIfSingle of each request
    bool IsPopupVisible() const override { return visible; }
    void HidePopup() override { visible = false; }
    void Update(const QTextCursor &, const QRect &, bool applyIfSingle) override { requests.append(applyIfSingle); }
};

// A parent that sees the key events the editor leaves alone.
class KeyRecorder : public QWidget {
public:
    QVector<QPair<int, Qt::KeyboardModifiers>> keys;

protected:
    void keyPressEvent(QKeyEvent *event) override
    {
        // The test tool presses modifier keys on their own first; only the keys themselves count.
        if (event->key() != Qt::Key_Control && event->key() != Qt::Key_Shift)
            keys.append({event->key(), event->modifiers()});
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
        // Return and smart indent
        QTest::newRow("mel return between braces gives three lines") << M << "proc f() {|}" << "\n" << "proc f() {\n    |\n}";
        QTest::newRow("mel return after open brace indents") << M << "if ($a) {|" << "\n" << "if ($a) {\n    |";
        QTest::newRow("mel return after open paren indents") << M << "    foo(|" << "\n" << "    foo(\n        |";
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
        // brackets and quotes
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
        // Backspace
        QTest::newRow("backspace deletes a bracket pair") << P << "f(|)" << "\b" << "f|";
        QTest::newRow("backspace deletes a quote pair") << P << "x = \"|\"" << "\b" << "x = |";
        QTest::newRow("backspace inside a string deletes one") << P << "x = \"a(|)\"" << "\b" << "x = \"a|)\"";
        QTest::newRow("backspace between other quotes in a string deletes one") << M << "$a = \"'|'\";" << "\b" << "$a = \"|'\";";
        QTest::newRow("backspace in indentation to previous stop") << P << "      |x" << "\b" << "    |x";
        QTest::newRow("backspace in indentation by a level") << M << "        |" << "\b" << "    |";
        QTest::newRow("backspace in text deletes one") << T << "        |" << "\b" << "       |";
        // Tab, Backtab, Home
        QTest::newRow("tab to next stop") << P << "ab|" << "\t" << "ab  |";
        QTest::newRow("tab on blank line normalises") << P << "      |" << "\t" << "        |";
        QTest::newRow("backtab outdents") << P << "        x|" << "\x02" << "    x|";
        QTest::newRow("tab indents every selected line") << P << "^a\n\nb|" << "\t" << "    ^a\n\n    b|";
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
        auto editor = makeEditor(CodeEditorLanguage(language), before);
        typeKeys(*editor, keys.left(keys.size() - 1));
        const QString beforeLast = editor->toPlainText();
        typeKeys(*editor, keys.right(1));
        QCOMPARE(editorState(*editor), after);
        // Whatever the last key did is one undo step.
        editor->undo();
        QCOMPARE(editor->toPlainText(), beforeLast);
    }

    void keypadEnterExecutesInsteadOfNewline()
    {
        KeyRecorder parent;
        auto *editor = new CodeEditor(LANGUAGE_PYTHON, QString(), &parent);
        editor->setPlainText(QStringLiteral("print(1)"));
        typeKeys(*editor, QStringLiteral("\x03"));
        QCOMPARE(editor->toPlainText(), QStringLiteral("print(1)"));
        QCOMPARE(parent.keys.size(), 1);
        QCOMPARE(parent.keys.first().first, int(Qt::Key_Enter));
        QCOMPARE(parent.keys.first().second, Qt::KeyboardModifiers(Qt::ControlModifier));
        // Ctrl+Return is left to the window as well.
        QTest::keyClick(editor, Qt::Key_Return, Qt::ControlModifier);
        QCOMPARE(editor->toPlainText(), QStringLiteral("print(1)"));
        QCOMPARE(parent.keys.size(), 2);
    }

    void escapeAndInsert()
    {
        auto editor = makeEditor(LANGUAGE_MEL, QStringLiteral("a|"));
        QSignalSpy escape(editor.get(), &CodeEditor::EscapeKeyPressed);
        QSignalSpy overwrite(editor.get(), &CodeEditor::OverwriteModeChanged);
        const bool was = CodeEditor::SharedOverwriteMode();
        QTest::keyClick(editor.get(), Qt::Key_Escape);
        QTest::keyClick(editor.get(), Qt::Key_Insert);
        QCOMPARE(escape.count(), 1);
        QCOMPARE(overwrite.count(), 1);
        QCOMPARE(CodeEditor::SharedOverwriteMode(), !was);
        QTest::keyClick(editor.get(), Qt::Key_Insert);
        QCOMPARE(CodeEditor::SharedOverwriteMode(), was);
    }

    void completionRequests_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<bool>("onLetters");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<int>("requests");
        QTest::newRow("letters open the popup") << int(LANGUAGE_PYTHON) << true << "ab" << 2;
        QTest::newRow("letters off: no request") << int(LANGUAGE_PYTHON) << false << "ab" << 0;
        QTest::newRow("dot opens the popup in python") << int(LANGUAGE_PYTHON) << false << "." << 1;
        QTest::newRow("digits do not") << int(LANGUAGE_MEL) << true << "12" << 0;
        QTest::newRow("text buffers never ask") << int(LANGUAGE_TEXT) << true << "ab" << 0;
    }
    void completionRequests()
    {
        QFETCH(int, language);
        QFETCH(bool, onLetters);
        QFETCH(QString, keys);
        QFETCH(int, requests);
        ke2::test::SettingsGuard guard;
        Settings::instance().melCompleteOnLetters = onLetters;
        Settings::instance().pythonCompleteOnLetters = onLetters;
        RecordingCompleter completer;
        auto editor = makeEditor(CodeEditorLanguage(language), QStringLiteral("|"));
        editor->SetCompleter(&completer);
        typeKeys(*editor, keys);
        QCOMPARE(completer.requests.size(), requests);
        for (bool forced : completer.requests)
            QVERIFY(!forced);
    }

    void ctrlSpaceFollowsCompleteOnLetters()
    {
        ke2::test::SettingsGuard guard;
        RecordingCompleter completer;
        auto editor = makeEditor(LANGUAGE_MEL, QStringLiteral("ls|"));
        editor->SetCompleter(&completer);
        Settings::instance().melCompleteOnLetters = false;
        QTest::keyClick(editor.get(), Qt::Key_Space, Qt::ControlModifier);
        QVERIFY(completer.requests.isEmpty());
        Settings::instance().melCompleteOnLetters = true;
        QTest::keyClick(editor.get(), Qt::Key_Space, Qt::ControlModifier);
        QCOMPARE(completer.requests, QVector<bool>{true});
        QCOMPARE(editor->toPlainText(), QStringLiteral("ls"));
    }

    void visiblePopupClosesOnBackspaceAfterDot()
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

    void indentToParentheses_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        const int M = LANGUAGE_MEL, P = LANGUAGE_PYTHON;
        QTest::newRow("python aligns under the open bracket") << P << "x = foo(a,|" << "x = foo(a,\n        |";
        QTest::newRow("mel aligns under an open paren") << M << "  print(\"a\",|" << "  print(\"a\",\n        |";
        QTest::newRow("python closing bracket returns to the opening line")
            << P << "x = foo(a,\n        b)|" << "x = foo(a,\n        b)\n|";
        QTest::newRow("python closing then colon adds a level")
            << P << "    if (a and\n            b):|" << "    if (a and\n            b):\n        |";
    }
    void indentToParentheses()
    {
        QFETCH(int, language);
        QFETCH(QString, before);
        QFETCH(QString, after);
        ke2::test::SettingsGuard guard;
        Settings::instance().melIndentToParentheses = true;
        Settings::instance().pythonIndentToParentheses = true;
        auto editor = makeEditor(CodeEditorLanguage(language), before);
        typeKeys(*editor, QStringLiteral("\n"));
        QCOMPARE(editorState(*editor), after);
    }

    void tabsStyleAndZeroTabSize()
    {
        ke2::test::SettingsGuard guard;
        Settings::instance().tabsInsertSpacesDefault = false;
        Settings::instance().tabsSizeDefault = 0; // falls back to 4
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("def f():|"));
        QCOMPARE(editor->TabSize(), 4);
        typeKeys(*editor, QStringLiteral("\n"));
        QCOMPARE(editorState(*editor), QStringLiteral("def f():\n\t|"));
        typeKeys(*editor, QStringLiteral("\t\b"));
        QCOMPARE(editorState(*editor), QStringLiteral("def f():\n\t|"));
    }
};
KE2_TEST_CLASS(CodeEditorKeysTest)

#include "test_code_editor_keys.moc"
