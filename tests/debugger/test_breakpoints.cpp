#include "editor/code_editor.h"
#include "editor/code_editor_line_numbers.h"
#include "tests/support/test_registry.h"

#include <QtGui/QTextBlock>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace ke2;

namespace {

QList<int> lines(const CodeEditor &editor)
{
    QList<int> result;
    for (const CodeEditorBreakpoint &point : editor.Breakpoints())
        result.append(point.line);
    return result;
}

// Applies an edit given as "position:removed:inserted" to the document.
void edit(CodeEditor &editor, const QString &change)
{
    const QStringList parts = change.split(':');
    QTextCursor cursor(editor.document());
    cursor.setPosition(parts.at(0).toInt());
    cursor.setPosition(parts.at(0).toInt() + parts.at(1).toInt(), QTextCursor::KeepAnchor);
    cursor.insertText(QString(parts.mid(2).join(':')).replace("\\n", "\n"));
}

} // namespace

// Breakpoints as the editor keeps them: where a toggle lands, how they follow edits, the gutter.
class BreakpointsTest : public QObject {
    Q_OBJECT

private slots:
    void toggleLandsOnCode_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("line");
        QTest::addColumn<QList<int>>("expected");
        const QString text = "x = 1\n\n# note\n    \ny = 2\n";
        QTest::newRow("code line") << text << 0 << QList<int>{0};
        QTest::newRow("blank moves to the next code") << text << 1 << QList<int>{4};
        QTest::newRow("comment moves to the next code") << text << 2 << QList<int>{4};
        QTest::newRow("whitespace-only line too") << text << 3 << QList<int>{4};
        QTest::newRow("nothing after: no breakpoint") << "x = 1\n\n# end" << 1 << QList<int>{};
        QTest::newRow("toggle twice clears") << text << -4 << QList<int>{};
    }

    void toggleLandsOnCode()
    {
        QFETCH(QString, text);
        QFETCH(int, line);
        QFETCH(QList<int>, expected);
        CodeEditor editor(LANGUAGE_PYTHON);
        editor.setPlainText(text);
        QSignalSpy changed(&editor, &CodeEditor::BreakpointsChanged);
        editor.ToggleBreakpoint(qAbs(line));
        if (line < 0)
            editor.ToggleBreakpoint(qAbs(line));
        QCOMPARE(lines(editor), expected);
        QCOMPARE(changed.isEmpty(), expected.isEmpty() && line >= 0);
    }

    void followsEdits_data()
    {
        QTest::addColumn<QString>("editSpec");
        QTest::addColumn<QList<int>>("expected");
        // Text: "a = 1\nb = 2\nc = 3\nd = 4\n", breakpoints on lines 1 and 3 (b and d).
        QTest::newRow("line inserted above") << "0:0:z = 0\\n" << QList<int>{2, 4};
        QTest::newRow("line removed above") << "0:6:" << QList<int>{0, 2};
        QTest::newRow("typing at the start of its line") << "6:0:    " << QList<int>{1, 3};
        QTest::newRow("Enter at the start moves it down with its code") << "6:0:\\n" << QList<int>{2, 4};
        QTest::newRow("joined to the line above") << "5:1:" << QList<int>{0, 2};
        QTest::newRow("lines between removed: one stays") << "6:12:" << QList<int>{1};
        QTest::newRow("edit below leaves them") << "24:0:e = 5\\n" << QList<int>{1, 3};
    }

    void followsEdits()
    {
        QFETCH(QString, editSpec);
        QFETCH(QList<int>, expected);
        CodeEditor editor(LANGUAGE_PYTHON);
        editor.setPlainText("a = 1\nb = 2\nc = 3\nd = 4\n");
        editor.ToggleBreakpoint(1);
        editor.ToggleBreakpoint(3);
        edit(editor, editSpec);
        QCOMPARE(lines(editor), expected);
    }

    void propertiesAndGutterClicks()
    {
        CodeEditor editor(LANGUAGE_PYTHON);
        editor.setPlainText("a = 1\nb = 2\n");
        editor.resize(400, 200);
        editor.show();
        QVERIFY(QTest::qWaitForWindowExposed(&editor));
        // A click beside the second line sets it; a second click clears it.
        CodeEditorLineNumbers *area = editor.LineNumberArea();
        const int y = editor.cursorRect(QTextCursor(editor.document()->findBlockByNumber(1))).center().y();
        QTest::mouseClick(area, Qt::LeftButton, Qt::NoModifier, QPoint(4, y));
        QCOMPARE(lines(editor), QList<int>{1});
        editor.UpdateBreakpoint({1, false, "b > 1", 3});
        QCOMPARE(editor.Breakpoints().at(0), (CodeEditorBreakpoint{1, false, "b > 1", 3}));
        // The properties stay with the breakpoint when it moves.
        edit(editor, "0:0:\\n");
        QCOMPARE(editor.Breakpoints().at(0), (CodeEditorBreakpoint{2, false, "b > 1", 3}));
        QTest::mouseClick(area, Qt::LeftButton, Qt::NoModifier,
                          QPoint(4, editor.cursorRect(QTextCursor(editor.document()->findBlockByNumber(2))).center().y()));
        QCOMPARE(lines(editor), QList<int>{});
        // Text and MEL buffers take no breakpoints from the gutter.
        CodeEditor mel(LANGUAGE_MEL);
        mel.setPlainText("print 1;\n");
        mel.OnLineNumberAreaClicked(2);
        QCOMPARE(mel.Breakpoints().size(), 0);
    }

    void pausedLineIsMarkedAndCleared()
    {
        CodeEditor editor(LANGUAGE_PYTHON);
        editor.setPlainText("a = 1\nb = 2\n");
        editor.SetPausedLine(1);
        QCOMPARE(editor.PausedLine(), 1);
        const auto marked = [&editor] {
            for (const QTextEdit::ExtraSelection &selection : editor.extraSelections())
                if (selection.format.background().color() == CodeEditor::pausedLineColor())
                    return selection.cursor.blockNumber();
            return -1;
        };
        QCOMPARE(marked(), 1);
        editor.SetPausedLine(-1);
        QCOMPARE(editor.PausedLine(), -1);
        QCOMPARE(marked(), -1);
    }
};

KE2_TEST_CLASS(BreakpointsTest)
#include "test_breakpoints.moc"
