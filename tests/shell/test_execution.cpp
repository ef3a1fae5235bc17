#include "app/close_wait.h"
#include "app/python_host.h"
#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "output/output_text_edit.h"
#include "shell/editor_session.h"
#include "shell/kestrel_editor.h"
#include "views/status_bar.h"
#include "tests/support/dialog_answers.h"
#include "tests/support/python_window.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"

#include <QtCore/QTemporaryDir>
#include <QtGui/QTextBlock>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QAction>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QToolButton>

using namespace ke2;

namespace {

// The colour an output line is painted with by the highlighting rules, or an invalid colour.
QColor lineColour(const OutputTextEdit &output, const QString &line)
{
    for (const QTextEdit::ExtraSelection &selection : output.extraSelections()) {
        if (selection.cursor.selectedText() == line && selection.format.hasProperty(QTextFormat::ForegroundBrush))
            return selection.format.foreground().color();
    }
    return QColor();
}

QPoint pointOfLine(OutputTextEdit &output, const QString &line)
{
    for (QTextBlock block = output.document()->begin(); block.isValid(); block = block.next()) {
        if (block.text() == line)
            return output.cursorRect(QTextCursor(block)).center() + QPoint(8, 0);
    }
    return QPoint(-1, -1);
}

} // namespace

// The main job from end to end in the real window with the embedded Python host: keys typed
// into a Python tab, run with the execute keys, the output framed and coloured, and an error
// that leads back to the tab's own line.
class ExecutionTest : public QObject {
    Q_OBJECT

    std::unique_ptr<test::PythonWindow> m_python;
    PythonHost *m_host = nullptr;
    KestrelEditor *m_window = nullptr;

    CodeEditor *pythonTab()
    {
        CodeEditorGroup *group = m_window->Group(0);
        for (int i = 0; i < group->Count(); ++i) {
            if (group->CodeEditorAt(i)->Language() == LANGUAGE_PYTHON) {
                group->SetCurrentIndex(i);
                return group->CodeEditorAt(i);
            }
        }
        return nullptr;
    }

    // The Python tab, with the keyboard focus and the output cleared; null if the focus never came.
    CodeEditor *focusedPythonTab()
    {
        CodeEditor *editor = pythonTab();
        if (!editor)
            return nullptr;
        editor->setFocus();
        if (!QTest::qWaitFor([editor] { return editor->hasFocus(); }))
            return nullptr;
        m_window->ClearHistory();
        return editor;
    }

    OutputTextEdit *output() { return m_window->findChild<OutputTextEdit *>(); }

    // Waits until the output holds `text` (the host runs queued code when the loop is idle).
    bool waitForOutput(const QString &text)
    {
        return QTest::qWaitFor([&] { return m_window->OutputText().contains(text); }, 10000);
    }

private slots:
    void init()
    {
        m_python = std::make_unique<test::PythonWindow>();
        m_host = m_python->host.get();
        QVERIFY(m_python->start());
        m_window = m_python->window;
        QApplication::setActiveWindow(m_window);
        QVERIFY(QTest::qWaitForWindowActive(m_window));
    }
    void cleanup() { m_python.reset(); }

    void typedPythonRunsAndErrorsLeadToTheTabLine()
    {
        CodeEditor *editor = focusedPythonTab();
        QVERIFY(editor);

        // Execute with nothing selected runs the whole tab.
        QTest::keyClicks(editor, QStringLiteral("x = 6 * 7"));
        QTest::keyClick(editor, Qt::Key_Return, Qt::ControlModifier);
        QVERIFY(waitForOutput(QStringLiteral("x = 6 * 7\n")));

        // Execute Line on an indented line runs it without the indentation.
        QTest::keyClick(editor, Qt::Key_Return);
        QTest::keyClicks(editor, QStringLiteral("    x + 1"));
        QTest::keyClick(editor, Qt::Key_Return, Qt::ControlModifier | Qt::AltModifier);
        QVERIFY(waitForOutput(QStringLiteral("x + 1\n# Result: 43 #\n")));

        // A printed line, then the whole tab again, which fails on its second line.
        QTest::keyClick(editor, Qt::Key_Return);
        QTest::keyClicks(editor, QStringLiteral("print(x * 2"));
        QTest::keyClick(editor, Qt::Key_End);
        QTest::keyClick(editor, Qt::Key_Return, Qt::ControlModifier | Qt::AltModifier);
        QVERIFY(waitForOutput(QStringLiteral("print(x * 2)\n84\n")));

        OutputTextEdit *out = output();
        QVERIFY(out);
        out->FlushPendingOutput();
        out->UpdateExtraSelections();
        QCOMPARE(lineColour(*out, QStringLiteral("# Result: 43 #")), QColor(42, 180, 34));
        QCOMPARE(m_window->OutputText(), QStringLiteral("x = 6 * 7\nx + 1\n# Result: 43 #\nprint(x * 2)\n84\n"));

        // Fifteen lines; the selection starts at line 10 and raises on its second line.
        QStringList lines;
        for (int i = 1; i <= 15; ++i)
            lines << QStringLiteral("value_%1 = %1").arg(i);
        lines[10] = QStringLiteral("missing_name + 1");
        editor->setPlainText(lines.join(QLatin1Char('\n')));
        QTest::keyClick(editor, Qt::Key_Home, Qt::ControlModifier);
        for (int i = 0; i < 9; ++i)
            QTest::keyClick(editor, Qt::Key_Down);
        QTest::keyClick(editor, Qt::Key_Down, Qt::ShiftModifier);
        QTest::keyClick(editor, Qt::Key_End, Qt::ShiftModifier);
        QCOMPARE(editor->textCursor().selectedText(), QStringLiteral("value_10 = 10\u2029missing_name + 1"));
        QTest::keyClick(editor, Qt::Key_Return, Qt::ControlModifier);
        const QString error =
            QStringLiteral("# Error: NameError: file <maya console> line 2: name 'missing_name' is not defined #");
        QVERIFY2(waitForOutput(error), qPrintable(m_window->OutputText()));
        out->FlushPendingOutput();
        out->UpdateExtraSelections();
        QCOMPARE(lineColour(*out, error), QColor(244, 40, 40));

        // Elsewhere in the tab first, then Ctrl+click on the error line in the output.
        QTest::keyClick(editor, Qt::Key_Home, Qt::ControlModifier);
        out->setFocus();
        const QPoint at = pointOfLine(*out, error);
        QVERIFY(at.x() >= 0);
        QTest::mouseClick(out->viewport(), Qt::LeftButton, Qt::ControlModifier, at);
        QCOMPARE(editor->textCursor().blockNumber() + 1, 11);
        QCOMPARE(editor->RunErrorLine() + 1, 11);
        QTRY_VERIFY(editor->hasFocus());
        // The mark goes with the next edit of that line.
        QTest::keyClicks(editor, QStringLiteral("z"));
        QCOMPARE(editor->RunErrorLine(), -1);
    }

    // Each default execute key, pressed in a two-line tab whose cursor is on the second line.
    void executeKeys_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("ran");
        const QString all = QStringLiteral("a = 1\nb = a + 1\n");
        const QString line = QStringLiteral("b = a + 1\n");
        QTest::newRow("Ctrl+Return runs all without a selection") << int(Qt::Key_Return) << int(Qt::ControlModifier) << all;
        QTest::newRow("Ctrl+Enter") << int(Qt::Key_Enter) << int(Qt::ControlModifier | Qt::KeypadModifier) << all;
        QTest::newRow("Ctrl+Shift+Return") << int(Qt::Key_Return) << int(Qt::ControlModifier | Qt::ShiftModifier) << all;
        QTest::newRow("Ctrl+Shift+Enter") << int(Qt::Key_Enter) << int(Qt::ControlModifier | Qt::ShiftModifier | Qt::KeypadModifier) << all;
        QTest::newRow("Ctrl+Alt+Return") << int(Qt::Key_Return) << int(Qt::ControlModifier | Qt::AltModifier) << line;
        QTest::newRow("Ctrl+Alt+Enter") << int(Qt::Key_Enter) << int(Qt::ControlModifier | Qt::AltModifier | Qt::KeypadModifier) << line;
    }
    void executeKeys()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(QString, ran);
        CodeEditor *editor = focusedPythonTab();
        QVERIFY(editor);
        editor->setPlainText(QStringLiteral("a = 1\nb = a + 1"));
        editor->moveCursor(QTextCursor::End);
        QTest::keyClick(editor, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QVERIFY2(waitForOutput(ran), qPrintable(m_window->OutputText()));
        QCOMPARE(m_window->OutputText(), ran);
        QCOMPARE(editor->toPlainText(), QStringLiteral("a = 1\nb = a + 1"));
    }

    // Hostile output through the real host: the run ends, the output keeps to its bound and ends
    // with what was printed after the flood, and the window still takes keys.
    void badOutputLeavesTheWindowResponsive_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("lastLine");
        const QString after = QStringLiteral("after the flood");
        QTest::newRow("one 20 MB line") << QStringLiteral("print('x' * 20000000)\nprint('after the flood')") << after;
        QTest::newRow("a million empty lines")
            << QStringLiteral("for _ in range(1000000):\n    print()\nprint('after the flood')") << after;
        QTest::newRow("NUL and invalid UTF-8 bytes")
            << QStringLiteral("import sys\nfor _ in range(100000):\n"
                              "    sys.stdout.buffer.write(b'nul \\x00 bad \\xff\\xc3( \\xe2\\x82\\n')\n"
                              "print('after the flood')")
            << after;
        QTest::newRow("a stdout that raises")
            << QStringLiteral("import sys\nclass Broken:\n"
                              "    def write(self, text):\n        raise OSError('stdout is gone')\n"
                              "    flush = write\n"
                              "sys.stdout = Broken()\nprint('lost')")
            << QStringLiteral("# Error: OSError: file <maya console> line 4: stdout is gone #");
    }
    void badOutputLeavesTheWindowResponsive()
    {
        QFETCH(QString, script);
        QFETCH(QString, lastLine);
        CodeEditor *editor = focusedPythonTab();
        QVERIFY(editor);
        editor->setPlainText(script);
        QSignalSpy finished(m_host, &PythonHost::runFinished);
        QTest::keyClick(editor, Qt::Key_Return, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(finished.wait(60000));
        // A script that leaves a broken stream behind gets a fresh one on the next run.
        m_host->executePython(QStringLiteral("import sys; sys.stdout = None"));

        QTest::keyClick(editor, Qt::Key_End, Qt::ControlModifier);
        QTest::keyClicks(editor, QStringLiteral("#"));
        QVERIFY(editor->toPlainText().endsWith(QLatin1Char('#')));

        OutputTextEdit *out = output();
        QTRY_VERIFY_WITH_TIMEOUT(!out->HasPendingOutput(), 20000);
        QVERIFY(out->LineCount() <= Settings::instance().outputBufferSize);
        QTextBlock last = out->document()->lastBlock();
        while (last.isValid() && last.text().isEmpty())
            last = last.previous();
        QCOMPARE(last.text(), lastLine);
        if (script.contains(QLatin1String("buffer")))
            QVERIFY(last.previous().text().startsWith(QStringLiteral("nul \u0000 bad \ufffd\ufffd( \ufffd")));
    }

    // A group's toolbar buttons run that group's current tab wherever the focus is (here in the
    // output) and make the group active.
    void toolbarButtonsRunTheirGroupsTab_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("ran");
        QTest::newRow("execute") << "executeButton" << "ran 1\nran 2\n";
        QTest::newRow("execute line") << "executeLineButton" << "ran 2\n";
    }
    void toolbarButtonsRunTheirGroupsTab()
    {
        QFETCH(QString, button);
        QFETCH(QString, ran);
        CodeEditor *editor = pythonTab();
        editor->setPlainText(QStringLiteral("print('ran', 1)\nprint('ran', 2)"));
        editor->moveCursor(QTextCursor::End);
        m_window->OnMoveTabToZoneRequested(0, m_window->Group(0)->IndexOf(editor), 0, TAB_DROP_ZONE_AFTER);
        m_window->ClearHistory();
        output()->setFocus();
        QTRY_VERIFY(output()->hasFocus());
        m_window->Group(1)->findChild<QToolButton *>(button)->click();
        QVERIFY(waitForOutput(ran));
        QCOMPARE(m_window->ActiveGroup(), m_window->Group(1));
    }

    // While Python runs the status bar says so, and the message goes once the run has ended.
    void pythonRunIsShownInTheStatusBar()
    {
        CodeEditor *editor = focusedPythonTab();
        QVERIFY(editor);
        editor->setPlainText(QStringLiteral("import time\ntime.sleep(1.5)"));
        QSignalSpy finished(m_host, &PythonHost::runFinished);
        QTest::keyClick(editor, Qt::Key_Return, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(m_window->GetStatusBar()->LineMessage(), QString("Python is running: Esc to stop"));
        QVERIFY(finished.wait(10000));
        QTRY_VERIFY_WITH_TIMEOUT(m_window->GetStatusBar()->LineMessage() != KestrelEditor::pythonRunHint(), 1000);
    }

    // Quit (Ctrl+Q) in the program's File menu closes the window as its close button does: a
    // modified file is asked about first, and Cancel keeps the window.
    void quitClosesThroughTheClosePath()
    {
        QAction *quit = addQuitAction(*m_window);
        QCOMPARE(m_window->MenuBar()->actions().first()->menu()->actions().last(), quit);
        CloseWait closeWait(*m_host);
        closeWait.watch(m_window);
        QApplication::setQuitOnLastWindowClosed(false);
        Settings::instance().saveAllOnExit = false; // the close asks about modified files
        QTemporaryDir files;
        QVERIFY(test::writeFile(files.filePath("tool.py"), "x = 1\n"));
        m_window->OpenFile(files.filePath("tool.py"));
        m_window->ActiveCodeEditor()->insertPlainText("y");
        test::DialogAnswers answers({QStringLiteral("Cancel"), QStringLiteral("No")});
        QTest::keyClick(m_window->ActiveCodeEditor(), Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(answers.seen.size(), 1);
        QVERIFY(m_window->isVisible());
        quit->trigger();
        QCOMPARE(answers.seen.size(), 2);
        QVERIFY(!m_window->isVisible());
        QApplication::setQuitOnLastWindowClosed(true);
        Settings::instance().saveAllOnExit = true;
    }
};

KE2_TEST_CLASS(ExecutionTest)
#include "test_execution.moc"
