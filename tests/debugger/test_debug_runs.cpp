#include "app/python_host.h"
#include "config/settings.h"
#include "debugger/debug_session.h"
#include "debugger/debug_view.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "output/output_view.h"
#include "shell/editor_session.h"
#include "shell/kestrel_editor.h"
#include "tests/support/fake_key_state.h"
#include "tests/support/python_window.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"
#include "views/side_bar.h"
#include "views/status_bar.h"

#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtTest/QTest>
#include <QtGui/QHelpEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QToolTip>
#include <QtWidgets/QTreeWidget>

#include <functional>

using namespace ke2;

namespace {

// The tool being debugged: a function in its own buffer and one in another open file it imports.
const char kMain[] = "import sys\n"
                     "sys.path.insert(0, FOLDER)\n"
                     "import helper\n"
                     "def add(a, b):\n"
                     "    result = a + b\n"
                     "    return result\n"
                     "total = add(2, 3)\n"
                     "try:\n"
                     "    doubled = helper.twice(total)\n"
                     "    print('doubled %02d' % doubled)\n"
                     "    total = add(total, doubled)\n"
                     "finally:\n"
                     "    open(MARKER, 'w').write('finally ran')\n";
const char kHelper[] = "def twice(x):\n"
                       "    doubled = x * 2\n"
                       "    return doubled\n";

} // namespace

// Debugged runs end to end in the real window with the embedded interpreter. The run pauses
// inside the window's own event loop, so each stop is answered by a step of a script run from
// that loop; what the window showed at each stop is noted and compared afterwards.
class DebugRunsTest : public QObject {
    Q_OBJECT

    using Step = std::function<void(QStringList &notes)>;

    std::unique_ptr<test::PythonWindow> m_python;
    PythonHost *m_host = nullptr;
    KestrelEditor *m_window = nullptr;
    QTemporaryDir m_dir;
    QString m_main;
    QString m_helper;

    CodeEditor *editorOf(const QString &path)
    {
        for (CodeEditorGroup *group : m_window->Groups()) {
            const int index = group->IndexOfPath(path);
            if (index >= 0)
                return group->CodeEditorAt(index);
        }
        return nullptr;
    }

    CodeEditor *openTool()
    {
        m_window->OpenFile(m_helper);
        m_window->OpenFile(m_main);
        CodeEditor *main = editorOf(m_main);
        if (main)
            main->setFocus();
        return main;
    }

    // What the window shows at a stop: the current tab's file, its paused line (1-based), and the
    // locals named in `names` as the Variables view lists them.
    QString describeStop(const QStringList &names)
    {
        CodeEditor *editor = m_window->ActiveCodeEditor();
        QString note = QFileInfo(editor->Path()).fileName() + ":" + QString::number(editor->PausedLine() + 1);
        QTreeWidget *tree = m_window->GetDebugView()->VariablesTree();
        QTreeWidgetItem *locals = tree->topLevelItem(0);
        for (const QString &name : names) {
            QString value = "?";
            for (int i = 0; locals && i < locals->childCount(); ++i)
                if (locals->child(i)->text(0) == name)
                    value = locals->child(i)->text(1);
            note += " " + name + "=" + value;
        }
        return note;
    }

    // Runs the main tab under the debugger, answering the stops with `steps` in turn; returns
    // the notes the steps made. Continue answers any stop beyond the script.
    QStringList debug(const QVector<Step> &steps)
    {
        QStringList notes;
        int stop = 0;
        DebugSession *session = m_window->GetDebugSession();
        const auto connection = connect(session, &DebugSession::Paused, this, [&] {
            const int index = stop++;
            // Answered from the loop the pause turns, as a user's click would be.
            QTimer::singleShot(0, this, [&, index] {
                if (index < steps.size())
                    steps.at(index)(notes);
                else
                    session->Continue();
            });
        });
        m_window->Debug();
        if (!QTest::qWaitFor([&] { return !session->IsActive(); }, 20000))
            notes << "timed out";
        disconnect(connection);
        if (session->IsActive())
            notes << "run did not end";
        return notes;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_main = m_dir.filePath("tool_main.py");
        m_helper = m_dir.filePath("helper.py");
        QVERIFY(test::writeFile(m_main, kMain) && test::writeFile(m_helper, kHelper));
    }

    void init()
    {
        m_python = std::make_unique<test::PythonWindow>();
        m_host = m_python->host.get();
        QVERIFY(m_python->start());
        m_window = m_python->window;
        Settings::instance().saveAllOnExecute = false;
        Settings::instance().saveAllOnExit = false; // a test's edits never reach the shared files
        QVERIFY(m_host->executePython(QString("FOLDER = %1\nMARKER = %2").arg(
            "'" + m_dir.path() + "'", "'" + m_dir.filePath("marker.txt") + "'")));
        QFile::remove(m_dir.filePath("marker.txt"));
    }

    void cleanup()
    {
        m_python->stop();
        Settings::instance().breakpoints.clear(); // the next window starts without a session
        m_python.reset();
    }

    void stepsWatchesAndStop()
    {
        CodeEditor *main = openTool();
        QVERIFY(main);
        main->ToggleBreakpoint(4);  // in add()
        main->ToggleBreakpoint(10); // total = add(total, doubled)
        QCOMPARE(main->Breakpoints().size(), 2);
        QCOMPARE(main->Breakpoints().at(0).line, 4);
        DebugView *view = m_window->GetDebugView();
        int ticks = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, [&ticks] { ++ticks; });
        timer.start(10);
        const QStringList notes = debug({
            [&](QStringList &n) {
                n << describeStop({"a", "b"});
                // A hover over a name shows its value.
                CodeEditor *editor = m_window->ActiveCodeEditor();
                QTextCursor at(editor->document()->findBlockByNumber(4));
                at.movePosition(QTextCursor::NextWord, QTextCursor::MoveAnchor, 3); // "    result = a"
                const QPoint point = editor->cursorRect(at).center() + QPoint(2, 0);
                QHelpEvent hover(QEvent::ToolTip, point, editor->viewport()->mapToGlobal(point));
                QApplication::sendEvent(editor->viewport(), &hover);
                n << QToolTip::text();
                // The window answers while paused: timers fire, Execute is refused.
                const int before = ticks;
                QTest::qWait(100);
                n << QString("timer fired: %1").arg(ticks > before ? "yes" : "no");
                m_window->Execute();
                n << m_window->GetStatusBar()->LineMessage();
                m_window->StepOver();
            },
            [&](QStringList &n) {
                n << describeStop({"result"});
                // The output panel's evaluate line, shown while paused, evaluates in the paused
                // frame; the answer is framed as a Python result or error.
                QLineEdit *evaluate = m_window->findChild<OutputView *>()->EvaluateLine();
                n << QString("evaluate line shown: %1").arg(evaluate->isVisible() ? "yes" : "no");
                for (const char *expression : {"result * 2", "missing + 1"}) {
                    evaluate->setText(expression);
                    QTest::keyClick(evaluate, Qt::Key_Return);
                }
                n << m_window->OutputText().section('\n', -5);
                m_window->StepOut();
            },
            [&](QStringList &n) {
                n << describeStop({});
                m_window->StepOver();
            },
            [&](QStringList &n) {
                n << describeStop({});
                m_window->StepInto();
            },
            [&](QStringList &n) {
                n << describeStop({"x"});
                view->AddWatch("x * 10");
                view->AddWatch("doubled");
                n << "watch " + view->WatchTree()->topLevelItem(0)->text(1) + " "
                         + view->WatchTree()->topLevelItem(1)->text(1);
                m_window->StepOver();
            },
            [&](QStringList &n) {
                n << "watch " + view->WatchTree()->topLevelItem(1)->text(1);
                m_window->StepOut();
            },
            [&](QStringList &n) {
                n << describeStop({});
                m_window->Debug(); // continues
            },
            [&](QStringList &n) {
                n << describeStop({});
                n << QString("stack %1").arg(m_window->GetDebugSession()->Frames().size());
                m_window->StopDebugging();
            },
        });
        const QStringList expected = {
            "tool_main.py:5 a=2 b=3",
            "a = 2",
            "timer fired: yes",
            KestrelEditor::debugPausedExecuteMessage(),
            "tool_main.py:6 result=5",
            "evaluate line shown: yes",
            "result * 2\n# Result: 10 #\nmissing + 1\n# Error: NameError: name 'missing' is not defined #\n",
            "tool_main.py:8",
            "tool_main.py:9",
            "helper.py:2 x=5",
            "watch 50 NameError: name 'doubled' is not defined",
            "watch 10",
            "tool_main.py:10",
            "tool_main.py:11",
            "stack 1",
        };
        QCOMPARE(notes, expected);
        QCOMPARE(test::readFile(m_dir.filePath("marker.txt")), QByteArray("finally ran"));
        QTRY_VERIFY(m_window->OutputText().contains("doubled 10\n"));
        QCOMPARE(main->PausedLine(), -1);
        QVERIFY(!m_window->findChild<OutputView *>()->EvaluateLine()->isVisible());
    }

    // Esc interrupts a debugged run whether it runs or waits at a stop: KeyboardInterrupt is
    // reported once, `finally` blocks run, and the window goes on working (a plain Execute and a
    // second debugged run). Presses come from a fake keyboard, in milliseconds after the run began,
    // or as a key event to the window (what a host whose watch is idle while paused relies on).
    void escapeInterruptsDebugRuns_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<int>("breakpoint"); // 0-based line; -1: none
        QTest::addColumn<bool>("focused");
        QTest::addColumn<bool>("keyEvent");
        QTest::addColumn<bool>("interrupted");
        const QString loop = "import time\ntry:\n    n = 0\n    while time.time() < START + 3:\n        n += 1\n"
                             "finally:\n    print('cleaned up')\n";
        QTest::newRow("running") << loop << -1 << true << false << true;
        QTest::newRow("paused at a stop") << loop << 4 << true << false << true;
        QTest::newRow("paused, key event in the window") << loop << 4 << false << true << true;
        QTest::newRow("paused, Esc in another program") << loop << 4 << false << false << false;
    }
    void escapeInterruptsDebugRuns()
    {
        QFETCH(QString, code);
        QFETCH(int, breakpoint);
        QFETCH(bool, focused);
        QFETCH(bool, keyEvent);
        QFETCH(bool, interrupted);
        CodeEditor *main = openTool();
        main->setPlainText(code);
        if (breakpoint >= 0)
            main->ToggleBreakpoint(breakpoint);
        auto keyboard = std::make_shared<test::FakeKeyState>(QVector<int>{400}, focused);
        m_host->interruptWatch().setSourceFactory(test::FakeKeyState::factory(keyboard));
        QVERIFY(m_host->executePython("import time\nSTART = time.time()"));
        QStringList stops;
        const QStringList notes = debug({[&](QStringList &) {
            // Waits as a user reading the stop would; an Esc ends the wait.
            DebugSession *session = m_window->GetDebugSession();
            if (keyEvent)
                QTest::keyClick(m_window->ActiveCodeEditor(), Qt::Key_Escape);
            const bool ended = QTest::qWaitFor([&] { return !session->IsPaused(); }, 1000);
            QCOMPARE(ended, !session->IsPaused());
            stops << QString("still paused: %1").arg(session->IsPaused() ? "yes" : "no");
            if (session->IsPaused())
                m_window->StopDebugging();
        }});
        QCOMPARE(notes, QStringList());
        if (breakpoint >= 0)
            QCOMPARE(stops, QStringList{QString("still paused: %1").arg(interrupted ? "no" : "yes")});
        QTRY_VERIFY(m_window->OutputText().contains("cleaned up\n"));
        QCOMPARE(m_window->OutputText().count("KeyboardInterrupt"), interrupted ? 1 : 0);
        // At the tool's own line, never inside the debugger.
        QVERIFY2(!interrupted || m_window->OutputText().contains("# Error: KeyboardInterrupt: file " + m_main + " line "),
                 qPrintable(m_window->OutputText().right(300)));
        // Ended at the press, not when the loop would have.
        if (interrupted && !keyEvent)
            QVERIFY2(keyboard->elapsed() - keyboard->lastPress() < 1500, qPrintable(QString::number(keyboard->elapsed())));
        QCOMPARE(main->PausedLine(), -1);
        QVERIFY(m_host->executePython("after_escape = 6 * 7"));
        main->setPlainText("after_debug = after_escape + 1\n");
        main->SetBreakpoints({});
        main->ToggleBreakpoint(0);
        const QStringList again = debug({[&](QStringList &n) {
            n << describeStop({});
            m_window->Debug();
        }});
        QCOMPARE(again, QStringList{"tool_main.py:1"});
        int value = 0;
        QVERIFY(m_host->executePythonInt("after_debug", value));
        QCOMPARE(value, 43);
    }

    // The Debug view fits the narrowest side bar the window gives it: nothing is cut off by a
    // minimum width, and every run control shows whole.
    void debugViewFitsTheNarrowestSideBar()
    {
        DebugView *view = m_window->GetDebugView();
        m_window->resize(1366, 768);
        m_window->ShowDebug();
        QSplitter *splitter = m_window->SideBarSplitter();
        const int pane = splitter->indexOf(m_window->GetSideBar());
        const QList<QToolButton *> buttons = view->findChildren<QToolButton *>();
        QCOMPARE(buttons.size(), 6);
        for (const int width : {220, 1366 / 5}) {
            QList<int> sizes = splitter->sizes();
            sizes[1 - pane] += sizes[pane] - width;
            sizes[pane] = width;
            splitter->setSizes(sizes);
            QApplication::processEvents();
            QVERIFY2(view->width() <= width && view->minimumSizeHint().width() <= view->width(),
                     qPrintable(QString("%1 wide, %2 needed").arg(view->width()).arg(view->minimumSizeHint().width())));
            for (QToolButton *button : buttons) {
                const QRect shown = QRect(button->mapTo(view, QPoint()), button->size());
                QVERIFY2(view->rect().contains(shown) && button->width() >= button->sizeHint().width(),
                         qPrintable(QString("%1 at %2: %3 wide, %4 needed").arg(button->text()).arg(width)
                                        .arg(button->width()).arg(button->sizeHint().width())));
                QVERIFY2(!button->icon().isNull() && button->toolTip().startsWith(button->text()),
                         qPrintable(button->toolTip()));
            }
        }
    }

    void conditionsHitCountsAndExceptions_data()
    {
        QTest::addColumn<QString>("condition");
        QTest::addColumn<int>("hitCount");
        QTest::addColumn<QString>("firstStop");
        QTest::newRow("condition picks the second call") << "a == 5" << 0 << "tool_main.py:5 a=5 b=10";
        QTest::newRow("hit count skips the first call") << "" << 2 << "tool_main.py:5 a=5 b=10";
        QTest::newRow("plain breakpoint stops at once") << "" << 0 << "tool_main.py:5 a=2 b=3";
    }

    void conditionsHitCountsAndExceptions()
    {
        QFETCH(QString, condition);
        QFETCH(int, hitCount);
        QFETCH(QString, firstStop);
        CodeEditor *main = openTool();
        main->ToggleBreakpoint(4);
        main->UpdateBreakpoint({4, true, condition, hitCount});
        const QStringList notes = debug({[&](QStringList &n) {
            n << describeStop({"a", "b"});
            m_window->StopDebugging();
        }});
        QCOMPARE(notes, QStringList{firstStop});
    }

    void uncaughtExceptionPausesBeforeTheReport()
    {
        CodeEditor *main = openTool();
        main->selectAll();
        main->insertPlainText("def fail(n):\n    limit = n\n    raise ValueError('bad %d' % n)\nfail(4)\n");
        QStringList seenOutput;
        const QStringList notes = debug({[&](QStringList &n) {
            n << describeStop({"limit"});
            n << m_window->GetStatusBar()->LineMessage();
            seenOutput << m_window->OutputText();
            m_window->Debug();
        }});
        QCOMPARE(notes, (QStringList{"tool_main.py:3 limit=4", "Paused at line 3 of tool_main.py on ValueError: bad 4"}));
        QVERIFY(seenOutput.value(0).contains("fail(4)\n") && !seenOutput.value(0).contains("Error:"));
        QTRY_VERIFY2(m_window->OutputText().contains("# Error: ValueError: file " + m_main + " line 3: bad 4 #"),
                     qPrintable(m_window->OutputText()));
    }

    void breakpointsComeBackWithTheSession()
    {
        CodeEditor *main = openTool();
        main->ToggleBreakpoint(4);
        main->ToggleBreakpoint(8);
        main->UpdateBreakpoint({8, false, "total > 1; True", 3});
        CodeEditor *helper = editorOf(m_helper);
        helper->ToggleBreakpoint(2);
        const CodeEditorBreakpoints mainPoints = main->Breakpoints();
        m_window->SaveState();
        m_python->stop();
        QVERIFY(m_python->start());
        m_window = m_python->window;
        QVERIFY(editorOf(m_main) && editorOf(m_helper));
        QCOMPARE(editorOf(m_main)->Breakpoints(), mainPoints);
        QCOMPARE(editorOf(m_helper)->Breakpoints().size(), 1);
        QCOMPARE(editorOf(m_helper)->Breakpoints().at(0).line, 2);
        // The Breakpoints list shows all three.
        QCOMPARE(m_window->GetDebugView()->BreakpointsTree()->topLevelItemCount(), 3);
    }
};

KE2_TEST_CLASS(DebugRunsTest)
#include "test_debug_runs.moc"
