#include "editor/code_editor.h"
#include "tests/editor/editor_test_support.h"
#include "tests/support/test_registry.h"

#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtTest/QTest>

#include <functional>

using namespace ke2;

// Hostile text through the clipboard and the keyboard: nothing crashes, and every composite edit
// is whole or undone whole. Size alone adds nothing here (no rule depends on it; speed is the
// benchmark's), so the multi-line text is kept to a few thousand lines.
class CodeEditorBadInputTest : public QObject {
    Q_OBJECT
private slots:
    void pastes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("thousands of lines of code")
            << QStringLiteral("    value = call(a, [1, 2], {'k': \"v\"})  # note\n").repeated(3000);
        QTest::newRow("a single 1 MB line") << QString(1024 * 1024, QLatin1Char('('));
        QTest::newRow("mixed tabs and spaces") << QStringLiteral("\t  if a:\n  \t\tb = (\n \t \t)\n");
        QTest::newRow("CRLF and lone CR") << QStringLiteral("a = 1\r\nb = (2,\r3)\r\n");
        QTest::newRow("NUL characters") << QStringLiteral("a = '") + QChar(0) + QStringLiteral("'\n(") + QChar(0);
    }
    void pastes()
    {
        QFETCH(QString, text);
        const std::function<void(CodeEditor &)> edits[] = {
            [](CodeEditor &e) { e.CustomPaste(); },
            [](CodeEditor &e) { ke2::test::typeKeys(e, QStringLiteral("\n(\"x\t\b\b")); },
            [](CodeEditor &e) { e.MoveLine(true); },
            [](CodeEditor &e) { e.CopyLine(false); },
            [](CodeEditor &e) { e.selectAll(); e.ToggleComment(); },
            [](CodeEditor &e) { e.IncreaseIndent(true); },
            [](CodeEditor &e) { e.DecreaseIndent(); },
            [](CodeEditor &e) { e.ToggleBlockComment(); },
            [](CodeEditor &e) { e.TrimTrailingWhiteSpaces(true); },
        };
        for (CodeEditorLanguage language : {LANGUAGE_MEL, LANGUAGE_PYTHON}) {
            auto editor = ke2::test::makeEditor(language, QStringLiteral("def f():|"));
            QGuiApplication::clipboard()->setText(text);
            QStringList states{editor->toPlainText()};
            for (const auto &edit : edits) {
                edit(*editor);
                editor->UpdateExtraSelections();
                states.append(editor->toPlainText());
            }
            QVERIFY(states.at(1).size() > text.size() / 2); // the paste arrived
            editor->grab();
            // Back over the composite edits (the typing aside): each comes off whole.
            for (int i = states.size() - 1; i > 2; --i) {
                if (states.at(i) != states.at(i - 1)) {
                    editor->undo();
                    QCOMPARE(editor->toPlainText(), states.at(i - 1));
                }
            }
            while (editor->document()->isUndoAvailable())
                editor->undo();
            QCOMPARE(editor->toPlainText(), QStringLiteral("def f():"));
        }
    }

    void tenThousandUndoSteps()
    {
        auto editor = ke2::test::makeEditor(LANGUAGE_PYTHON, QStringLiteral("|"));
        // Return with smart indent, bracket pairs and Backspace alternate so that no two steps merge.
        for (int i = 0; i < 2500; ++i)
            ke2::test::typeKeys(*editor, QStringLiteral("(\n\b"));
        int steps = 0;
        for (; editor->document()->isUndoAvailable(); ++steps)
            editor->undo();
        QVERIFY(steps >= 7500);
        QCOMPARE(editor->toPlainText(), QString());
        while (editor->document()->isRedoAvailable())
            editor->redo();
        QVERIFY(!editor->toPlainText().isEmpty());
    }
};
KE2_TEST_CLASS(CodeEditorBadInputTest)

#include "test_code_editor_bad_input.moc"
