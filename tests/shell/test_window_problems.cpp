#include "tests/support/test_registry.h"
#include "tests/support/window_test.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "shell/kestrel_editor.h"
#include "views/problems_view.h"

#include <QtGui/QTextBlock>
#include <QtTest/QtTest>
#include <QtWidgets/QLabel>
#include <QtWidgets/QTreeWidget>

#include <memory>

using namespace ke2;
using ke2::test::FakeHost;

// Every problem of the open buffers in one list, and F8 / Shift+F8 through the current one.
class WindowProblemsTest : public test::WindowTest {
    Q_OBJECT
private:
    static CodeEditorMark markOn(const CodeEditor *editor, int line, const QString &message)
    {
        const int position = editor->document()->findBlockByNumber(line).position();
        return {position, position + 3, message};
    }

private slots:
    // A click on the status bar's counts lists the scanner's errors, the other diagnostics and
    // the last run's error of every buffer; a click on an entry goes there, and the list moves
    // with edits as the marks do.
    void problemsListGroupsEveryBuffer()
    {
        QVERIFY(shown());
        CodeEditor *mel = editorOf(LANGUAGE_MEL);
        mel->setPlainText(QStringLiteral("int $a = 1;\nint $unused;\n"));
        QTest::qWait(600); // the scanner's own pass after the edit comes first
        // A linter's warning reaches the editor as every diagnostic does.
        mel->SetDiagnostics({}, {markOn(mel, 1, QStringLiteral("unused variable $unused"))}, {});
        CodeEditor *python = editorOf(LANGUAGE_PYTHON);
        python->setPlainText(QStringLiteral("a = 1\nb = 2\nc = 3\ns = \"open\n"));
        m_window->UpdateParser();
        QTRY_VERIFY(!python->Marks(MARK_ERROR).isEmpty());
        python->SetRunError(2, QStringLiteral("# Error: NameError"));

        QLabel *count = m_window->findChild<QLabel *>(QStringLiteral("errorCountLabel"));
        QVERIFY(count && count->isVisible());
        QTest::mouseClick(count, Qt::LeftButton);
        ProblemsView *problems = m_window->Problems();
        QVERIFY(problems && problems->isVisible());
        const QStringList texts = problems->Texts();
        const int melAt = texts.indexOf(QStringLiteral("%1 (1)").arg(mel->DisplayName()));
        QVERIFY2(melAt >= 0, qPrintable(texts.join('\n')));
        QCOMPARE(texts.value(melAt + 1), QStringLiteral("  Ln 2  unused variable $unused"));
        const int pyAt = texts.indexOf(QStringLiteral("%1 (2)").arg(python->DisplayName()));
        QVERIFY2(pyAt >= 0, qPrintable(texts.join('\n')));
        QCOMPARE(texts.mid(pyAt + 1, 2), (QStringList{"  Ln 3  # Error: NameError", "  Ln 4  Unterminated String"}));

        // Go to the MEL buffer's warning from the list.
        QTreeWidget *tree = problems->Tree();
        QTreeWidgetItem *melWarning = tree->topLevelItem(melAt < pyAt ? 0 : 1)->child(0);
        tree->scrollToItem(melWarning);
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(melWarning).center());
        QCOMPARE(m_window->ActiveCodeEditor(), mel);
        QCOMPARE(mel->textCursor().blockNumber(), 1);

        // Two lines inserted above move the Python entries down with their marks.
        m_window->SetActiveCodeEditor(0, m_window->Group(0)->IndexOfPath(python->Path()));
        QTextCursor top(python->document());
        top.insertText(QStringLiteral("import os\nimport sys\n"));
        QTRY_VERIFY(problems->Texts().contains(QStringLiteral("  Ln 5  # Error: NameError")));
        QTRY_VERIFY(problems->Texts().contains(QStringLiteral("  Ln 6  Unterminated String")));
        QVERIFY(!problems->Texts().contains(QStringLiteral("  Ln 3  # Error: NameError")));
    }

    // F8 and Shift+F8 walk the current buffer's problems in text order and wrap around.
    void f8WalksTheProblemsOfTheBuffer()
    {
        QVERIFY(shown());
        CodeEditor *python = editorOf(LANGUAGE_PYTHON);
        python->setPlainText(QStringLiteral("a = 1\nb = 2\nc = 3\nd = 4\n"));
        QTest::qWait(600);
        python->SetDiagnostics({markOn(python, 3, QStringLiteral("error"))}, {markOn(python, 1, QStringLiteral("warning"))},
                               {});
        python->SetRunError(2, QStringLiteral("# Error: NameError"));
        python->setFocus();
        QTRY_VERIFY(python->hasFocus());
        QVector<int> lines;
        for (int i = 0; i < 4; ++i) {
            QTest::keyClick(python, Qt::Key_F8);
            lines << python->textCursor().blockNumber();
        }
        QCOMPARE(lines, (QVector<int>{1, 2, 3, 1}));
        QTest::keyClick(python, Qt::Key_F8, Qt::ShiftModifier);
        QCOMPARE(python->textCursor().blockNumber(), 3);
        QTest::keyClick(python, Qt::Key_F8, Qt::ShiftModifier);
        QCOMPARE(python->textCursor().blockNumber(), 2);
    }
};

KE2_TEST_CLASS(WindowProblemsTest)
#include "test_window_problems.moc"
