#include "editor/code_editor.h"
#include "tests/editor/editor_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QMimeData>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtTest/QTest>

using namespace ke2;
using ke2::test::makeEditor;
using ke2::test::typeKeys;

// Hostile text through the clipboard and the keyboard: nothing crashes, and every composite edit
// is either whole or undone whole.
class CodeEditorBadInputTest : public QObject {
    Q_OBJECT
private slots:
    void pastes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("everyOperation");
        QString large;
        const QString line = QStringLiteral("    value = call(a, [1, 2], {'k': \"v\"})  # note\n");
        while (large.size() < 10 * 1024 * 1024)
            large += line;
        // The whole-document operations on 10 MB take minutes; typing and undo are what must hold.
        QTest::newRow("10 MB of code") << large << false;
        QTest::newRow("a single 1 MB line") << QString(1024 * 1024, QLatin1Char('(')) << true;
        QTest::newRow("mixed tabs and spaces") << QStringLiteral("\t  if a:\n  \t\tb = (\n \t \t)\n") << true;
        QTest::newRow("CRLF and lone CR") << QStringLiteral("a = 1\r\nb = (2,\r3)\r\n") << true;
        QTest::newRow("NUL characters") << QStringLiteral("a = '") + QChar(0) + QStringLiteral("'\n(") + QChar(0) << true;
    }
    void pastes()
    {
        QFETCH(QString, text);
        QFETCH(bool, everyOperation);
        for (CodeEditorLanguage language : {LANGUAGE_MEL, LANGUAGE_PYTHON}) {
            auto editor = makeEditor(language, QStringLiteral("def f():|"));
            QGuiApplication::clipboard()->setText(text);
            editor->CustomPaste();
            QVERIFY(editor->toPlainText().size() >= 8);
            // Every editing rule still runs on what was pasted.
            typeKeys(*editor, QStringLiteral("\n(\"x\t\b\b"));
            editor->MoveLine(true);
            editor->CopyLine(false);
            editor->UpdateExtraSelections();
            if (everyOperation) {
                editor->selectAll();
                editor->ToggleComment();
                editor->IncreaseIndent(true);
                editor->DecreaseIndent();
                editor->ToggleBlockComment();
                editor->TrimTrailingWhiteSpaces(true);
            }
            editor->grab();
            while (editor->document()->isUndoAvailable())
                editor->undo();
            QCOMPARE(editor->toPlainText(), QStringLiteral("def f():"));
        }
    }

    void tenThousandUndoSteps()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("|"));
        // Return with smart indent, bracket pairs and Backspace alternate so that no two steps merge.
        for (int i = 0; i < 2500; ++i)
            typeKeys(*editor, QStringLiteral("(\n\b"));
        int steps = 0;
        while (editor->document()->isUndoAvailable()) {
            editor->undo();
            ++steps;
        }
        QVERIFY(steps >= 7500);
        QCOMPARE(editor->toPlainText(), QString());
        while (editor->document()->isRedoAvailable())
            editor->redo();
        QVERIFY(!editor->toPlainText().isEmpty());
    }
};
KE2_TEST_CLASS(CodeEditorBadInputTest)

#include "test_code_editor_bad_input.moc"
