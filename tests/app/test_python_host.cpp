#include "app/close_wait.h"
#include "app/python_host.h"
#include "tests/support/fake_key_state.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtCore/QRegularExpression>
#include <QtGui/QGuiApplication>
#include <QtTest/QTest>
#include <QtWidgets/QWidget>

#include <sys/stat.h>

using ke2::PythonHost;

// Runs against the real embedded interpreter.
class PythonHostTest : public QObject {
    Q_OBJECT

    ke2::test::TempPrefs m_prefs;
    std::unique_ptr<PythonHost> m_host;
    QStringList m_lines;

    QString run(const QString &code, bool display = true)
    {
        m_lines.clear();
        m_host->executePythonOnIdle(code, display);
        m_host->drainIdleQueue();
        return m_lines.join(QString());
    }

private slots:
    void init()
    {
        m_host = std::make_unique<PythonHost>(m_prefs.root());
        m_host->addCallbacks(nullptr);
        m_host->output().setReceiver([this](const QString &text) { m_lines.append(text); });
        m_lines.clear();
    }
    void cleanup() { m_host.reset(); }

    void executeOnIdle_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("expected");
        QTest::newRow("expression echoes and returns its repr")
            << "1+2" << "1+2\n# Result: 3 #\n";
        QTest::newRow("None gives no result line") << "None" << "None\n";
        QTest::newRow("print output is display text") << "print('hi')" << "print('hi')\nhi\n";
        QTest::newRow("statements give no result") << "x_stmt = 4\nx_stmt * 2"
                                                   << "x_stmt = 4\nx_stmt * 2\n";
        QTest::newRow("exception names type, line and message")
            << "a = 1\n1/0" << "a = 1\n1/0\n# Error: ZeroDivisionError: file <maya console> line 2: division by zero #\n";
        QTest::newRow("exception in a function reports the innermost line")
            << "def f():\n    return undefined_name\nf()"
            << "def f():\n    return undefined_name\nf()\n"
               "# Error: NameError: file <maya console> line 2: name 'undefined_name' is not defined #\n";
        QTest::newRow("failing __repr__ becomes an error")
            << "type('BadRepr', (), {'__repr__': lambda self: 1 / 0})()"
            << "type('BadRepr', (), {'__repr__': lambda self: 1 / 0})()\n"
               "# Error: ZeroDivisionError: file <maya console> line 1: division by zero #\n";
        QTest::newRow("stderr lines are errors")
            << "import sys\nsys.stderr.write('bad\\nworse')" << "import sys\nsys.stderr.write('bad\\nworse')\n"
               "# Error: bad #\n# Error: worse #\n";
        QTest::newRow("warnings are warning lines")
            << "import warnings\nwarnings.warn('old')"
            << "import warnings\nwarnings.warn('old')\n# Warning: <maya console>:2: UserWarning: old #\n";
    }
    void executeOnIdle()
    {
        QFETCH(QString, code);
        QFETCH(QString, expected);
        QCOMPARE(run(code), expected);
        // Whatever happened, the interpreter goes on working.
        QCOMPARE(run("40+2"), QString("40+2\n# Result: 42 #\n"));
    }

    void hostileCodeLeavesInterpreterUsable_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("errorType");
        QTest::newRow("deleted stdout") << "import sys\ndel sys.stdout\nprint('x')" << "RuntimeError";
        QTest::newRow("unbounded recursion") << "def r():\n    r()\nr()" << "RecursionError";
        QTest::newRow("syntax error") << "x = (" << "SyntaxError";
        QTest::newRow("null byte in source") << QString::fromLatin1("1 +\0 1", 6) << "";
        QTest::newRow("input has no terminal") << "input()" << "EOFError";
        QTest::newRow("KeyboardInterrupt") << "raise KeyboardInterrupt" << "KeyboardInterrupt: file <maya console> line 1:  #";
        QTest::newRow("exception whose str fails")
            << "class E(Exception):\n    def __str__(self):\n        raise TypeError()\nraise E()" << "E";
    }
    void hostileCodeLeavesInterpreterUsable()
    {
        QFETCH(QString, code);
        QFETCH(QString, errorType);
        const int before = m_host->errorCount();
        const QString out = run(code);
        QCOMPARE(m_host->errorCount(), before + 1);
        QVERIFY2(out.contains("# Error: " + errorType), qPrintable(out));
        QCOMPARE(run("print('alive')"), QString("print('alive')\nalive\n"));
    }

    void outputFlowsOnlyWhereItShould()
    {
        QCOMPARE(run("1+2", false), QString()); // display off: no echo, no result
        QCOMPARE(run("print('shown')", false), QString("shown\n"));
        QVERIFY(run("1/0", false).startsWith("# Error: ZeroDivisionError"));
        m_lines.clear();
        QVERIFY(m_host->executePythonQuietly("print('internal'); import warnings; warnings.warn('w')"));
        m_host->executeMelOnIdle("commandEcho -state 0", false);
        m_host->drainIdleQueue();
        QVERIFY2(m_lines.isEmpty(), qPrintable(m_lines.join("|")));
        m_host->removeCallbacks();
        QCOMPARE(run("print('lost')"), QString());
        m_host->addCallbacks(nullptr);
        QCOMPARE(run("print('found')", false), QString("found\n"));
    }

    // Other threads' output reaches the receiver on this thread, in the order it was written,
    // before the run that printed it counts as finished.
    void threadOutputInOrderBeforeFinished()
    {
        QStringList atFinish;
        connect(m_host.get(), &PythonHost::runFinished, this, [&] { atFinish = m_lines; });
        const QString out = run("import threading, sys\n"
                                "def work():\n"
                                "    for i in range(3000):\n"
                                "        print('t%d' % i)\n"
                                "    sys.stderr.write('half')\n"
                                "print('before')\n"
                                "t = threading.Thread(target=work)\n"
                                "t.start(); t.join()\n"
                                "sys.stderr.write(' line\\n')\n"
                                "print('after')",
                                false);
        QStringList expected{"before"};
        for (int i = 0; i < 3000; ++i)
            expected.append(QString("t%1").arg(i));
        expected += QStringList{"# Error: half line #", "after", ""};
        QCOMPARE(out.split('\n'), expected);
        QCOMPARE(atFinish.join(QString()), out);
        // Output of a thread that outlives the run keeps arriving through the event loop.
        run("import threading, time\nthreading.Thread(target=lambda: (time.sleep(0.2), print('later'))).start()", false);
        QTRY_COMPARE(m_lines.join(QString()), QString("later\n"));
    }

    // Threads writing to stderr at once never tear or lose each other's lines.
    void concurrentErrorLinesStayWhole()
    {
        const QString out = run("import threading, sys\n"
                                "def work(n):\n"
                                "    for i in range(2000):\n"
                                "        sys.stderr.write('%d-%d-' % (n, i) + 'x' * 50 + '\\n')\n"
                                "ts = [threading.Thread(target=work, args=(n,)) for n in range(4)]\n"
                                "[t.start() for t in ts]; [t.join() for t in ts]",
                                false);
        const QStringList lines = out.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 8000);
        static const QRegularExpression whole("^// Error: \\d-\\d+-x{50} //$");
        for (const QString &line : lines)
            QVERIFY2(whole.match(line).hasMatch(), qPrintable(line));
    }

    // What the host says before anything receives output is kept for the first receiver.
    void startUpMessagesWaitForAReceiver()
    {
        ke2::test::TempPrefs prefs;
        QVERIFY(mkfifo(QFile::encodeName(prefs.root() + "/optionVars.ini").constData(), 0600) == 0);
        m_host.reset();
        m_host = std::make_unique<PythonHost>(prefs.root()); // reading the FIFO would block for ever
        m_host->displayError("first");
        QStringList received;
        m_host->output().setReceiver([&received](const QString &text) { received.append(text); });
        QCOMPARE(received.size(), 2);
        QVERIFY2(received[0].startsWith("// Warning: ") && received[0].contains("optionVars.ini is not a regular file"),
                 qPrintable(received[0]));
        QCOMPARE(received[1], QString("// Error: first //\n"));
        m_host->setOptionVarInt("echoAllLines", 1); // kept for the session, the FIFO left alone
        QCOMPARE(m_host->optionVarInt("echoAllLines"), 1);
        QVERIFY(QFileInfo(prefs.root() + "/optionVars.ini").isFile() == false);
    }

    void closeWaitsForScriptThreads()
    {
        QWidget window;
        window.show();
        ke2::CloseWait wait(*m_host);
        wait.watch(&window);
        QVERIFY(window.close()); // nothing running: closes at once
        window.show();
        run("import threading\nrelease = threading.Event()\n"
            "threading.Thread(target=release.wait, name='worker').start()\n"
            "threading.Thread(target=release.wait, daemon=True).start()",
            false);
        QVERIFY(!window.close());
        QVERIFY(window.isVisible() && wait.isWaiting());
        QCOMPARE(m_lines.last(), "// Warning: " + ke2::CloseWait::waitingMessage({"worker"}) + " //\n");
        QVERIFY(QGuiApplication::overrideCursor());
        QVERIFY(m_host->executePython("release.set()"));
        QTRY_VERIFY(!window.isVisible()); // closed by itself once the thread ended
        QVERIFY(!wait.isWaiting() && !wait.cutShort() && !QGuiApplication::overrideCursor());

        // A second close request stops waiting.
        window.show();
        run("stuck = threading.Event()\nthreading.Thread(target=stuck.wait).start()", false);
        QVERIFY(!window.close());
        QVERIFY(window.close());
        QVERIFY(wait.cutShort() && !QGuiApplication::overrideCursor());
        QCOMPARE(m_host->runningScriptThreads().size(), 1);
        QVERIFY(m_host->executePython("stuck.set()"));
        QTRY_VERIFY(m_host->runningScriptThreads().isEmpty());
    }

    // Esc stops a runaway script: KeyboardInterrupt at the running line, finally blocks run, and
    // the next run works. Presses come from a fake keyboard, in milliseconds after the run began.
    void escapeStopsRunawayScripts_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QVector<int>>("presses");
        QTest::addColumn<bool>("focused");
        QTest::addColumn<QString>("ending");
        // Framed with "//" until the script's own printing switches the frame to "#".
        const QString interrupted = "// Error: KeyboardInterrupt: file <maya console> line %1:  //\n";
        const QString afterPrint = "# Error: KeyboardInterrupt: file <maya console> line %1:  #\n";
        // (The loops test a condition: python3 itself lets an interrupt of a `while True:` loop escape
        // the try around it.)
        QTest::newRow("tight loop") << "while True:\n    pass" << QVector<int>{300} << true << interrupted.arg(1);
        QTest::newRow("finally block runs")
            << "x = 0\ntry:\n    while x >= 0:\n        x += 1\nfinally:\n    print('cleaned up')" << QVector<int>{300} << true
            << "cleaned up\n" + afterPrint.arg(3);
        QTest::newRow("long sleep") << "import time\ntime.sleep(100)" << QVector<int>{300} << true << interrupted.arg(2);
        QTest::newRow("caught once, stopped by the second press")
            << "x = 0\ntry:\n    while x >= 0:\n        x += 1\nexcept KeyboardInterrupt:\n    print('caught')\nwhile True:\n    x += 1"
            << QVector<int>{300, 900} << true << "caught\n" + afterPrint.arg(7);
        QTest::newRow("Esc in another program does nothing")
            << "import time\nt = time.time()\nwhile time.time() - t < 0.8: pass\nprint('done')" << QVector<int>{200}
            << false << "done\n";
    }
    void escapeStopsRunawayScripts()
    {
        QFETCH(QString, code);
        QFETCH(QVector<int>, presses);
        QFETCH(bool, focused);
        QFETCH(QString, ending);
        auto keyboard = std::make_shared<ke2::test::FakeKeyState>(presses, focused);
        m_host->interruptWatch().setSourceFactory(ke2::test::FakeKeyState::factory(keyboard));
        const QString out = run(code, false);
        QVERIFY2(out.endsWith(ending), qPrintable(out.right(300)));
        QCOMPARE(out.count("KeyboardInterrupt"), ending.count("KeyboardInterrupt"));
        if (focused) // stopped soon after the last press, not when the script would have ended
            QVERIFY2(keyboard->elapsed() - keyboard->lastPress() < 1500, qPrintable(QString::number(keyboard->elapsed())));
        QVERIFY(!m_host->interruptWatch().isRunning()); // the watch lives only while a run does
        QCOMPARE(run("40+2"), QString("40+2\n# Result: 42 #\n"));
    }

    void idleCommandsWaitForTheEventLoopAndKeepOrder()
    {
        for (const char *code : {"order_log = ['a']", "order_log.append('b')", "order_log.append('c')"})
            m_host->executePythonOnIdle(code, false);
        QStringList log;
        QVERIFY(m_host->hasPendingIdleCommands() && !m_host->executePythonStringList("order_log", log));
        QTRY_VERIFY(!m_host->hasPendingIdleCommands());
        QVERIFY(m_host->executePythonStringList("order_log", log));
        QCOMPARE(log, (QStringList{"a", "b", "c"}));
    }

    void typedResults()
    {
        QString text = "kept";
        int number = -1;
        QStringList list{"stale"};
        QVERIFY(m_host->executePython("typed_value = 7"));
        QVERIFY(m_host->executePythonInt("typed_value * 6", number) && number == 42);
        QVERIFY(m_host->executePythonString("'%d' % typed_value + '\\u00e9'", text));
        QCOMPARE(text, QString::fromUtf8("7\xc3\xa9"));
        QVERIFY(m_host->executePythonStringList("('x', 'y')", list));
        QCOMPARE(list, (QStringList{"x", "y"}));
        QVERIFY(m_host->executePythonString("__name__", text) && text == "__main__");
        // Wrong types and failures answer false and leave the result alone (lists are cleared).
        QVERIFY(!m_host->executePythonInt("'seven'", number) && !m_host->executePythonInt("2 ** 40", number));
        QVERIFY(!m_host->executePythonString("1/0", text) && !m_host->executePythonStringList("['a', 1]", list));
        QVERIFY(number == 42 && text == "__main__" && list.isEmpty());
        QVERIFY(!m_host->executePython("raise SystemExit(1)"));
        QVERIFY2(m_lines.isEmpty(), qPrintable(m_lines.join("|"))); // failures print nothing
        QVERIFY(m_host->executePython("print('visible')"));
        QCOMPARE(m_lines.join(QString()), QString("visible\n"));
    }

    void melQueriesAnsweredNatively()
    {
        int batch = -1, dpiMode = -1;
        QVERIFY(m_host->executeMelInt("about -batch", batch) && m_host->executeMelInt("mayaDpiSetting -q -m;", dpiMode));
        QCOMPARE(batch + dpiMode, 0);
        QString prefs, scripts;
        QVERIFY(m_host->executeMelString("internalVar -userPrefDir", prefs));
        QVERIFY(m_host->executeMelString("internalVar -userScriptDir", scripts));
        QCOMPARE(QStringList({prefs, scripts}), QStringList({m_prefs.root() + "/prefs/", m_prefs.root() + "/scripts/"}));
        QVERIFY(QFileInfo(prefs).isDir());
        QVERIFY(!m_host->executeMelString("about -batch", prefs)); // an int is not a string
        QVERIFY(!m_host->executeMel("polySphere"));
        QVERIFY(!m_host->executeMelInt("workspaceControl -q -exists KestrelEditor2Window", batch));
        QVERIFY2(m_lines.isEmpty(), qPrintable(m_lines.join("|")));
    }

    // User MEL says it needs Maya, echoed or not; the editor's own option commands stay silent.
    void melOnIdleNeedsMaya_data()
    {
        QTest::addColumn<QString>("mel");
        QTest::addColumn<bool>("display");
        QTest::addColumn<QStringList>("expected");
        const QString needsMaya = PythonHost::melUnavailableMessage();
        QTest::newRow("echoed") << "polySphere;" << true << QStringList{"polySphere;\n", "// Error: " + needsMaya + " //\n"};
        QTest::newRow("a bare variable's print, not echoed")
            << "print($myVar); print(\"\\n\")" << false << QStringList{"# Error: " + needsMaya + " #\n"};
        QTest::newRow("an output option") << "stackTrace -state 1" << false << QStringList();
        QTest::newRow("the echo option") << "commandEcho -state 0" << false << QStringList();
    }
    void melOnIdleNeedsMaya()
    {
        QFETCH(QString, mel);
        QFETCH(bool, display);
        QFETCH(QStringList, expected);
        run("None"); // a Python echo before: "#" frames what follows
        const int before = m_host->errorCount();
        m_lines.clear();
        m_host->executeMelOnIdle(mel, display);
        m_host->drainIdleQueue();
        QCOMPARE(m_lines, expected);
        QCOMPARE(m_host->errorCount(), before + (expected.isEmpty() ? 0 : 1));
    }

    // With the stack trace on, an error shows every frame, caller first, as comment lines.
    void stackTraceShowsEveryFrame_data()
    {
        QTest::addColumn<bool>("stackTrace");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("error");
        const QString nested = "def f():\n    raise ValueError('bad')\ndef g():\n    f()\ng()";
        QTest::newRow("off: the innermost frame") << false << nested
                                                  << "# Error: ValueError: file <maya console> line 2: bad #\n";
        QTest::newRow("on: every frame")
            << true << nested
            << "# Error: bad\n# Traceback (most recent call last):\n#   File \"<maya console>\", line 5, in <module>\n"
               "#   File \"<maya console>\", line 4, in g\n#   File \"<maya console>\", line 2, in f\n# ValueError: bad #\n";
        QTest::newRow("on: a syntax error") << true << "x = (1,"
                                            << "# Error: '(' was never closed\n#   File \"<maya console>\", line 1\n#     x = (1,\n#         ^\n"
                                               "# SyntaxError: '(' was never closed #\n";
    }
    void stackTraceShowsEveryFrame()
    {
        QFETCH(bool, stackTrace);
        QFETCH(QString, code);
        QFETCH(QString, error);
        m_host->setOptionVarInt("stackTraceIsOn", stackTrace ? 1 : 0);
        QCOMPARE(run(code), code + "\n" + error);
    }

    void optionVarsPersistPerRoot()
    {
        QVERIFY(!m_host->optionVarExists("echoAllLines"));
        m_host->setOptionVarInt("echoAllLines", 1);
        m_host.reset();
        ke2::test::TempPrefs other;
        QCOMPARE(PythonHost(m_prefs.root()).optionVarInt("echoAllLines"), 1);
        QVERIFY(!PythonHost(other.root()).optionVarExists("echoAllLines"));
    }
};

KE2_TEST_CLASS(PythonHostTest)
#include "test_python_host.moc"
