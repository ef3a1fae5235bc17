#include "app/command_line.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"

#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>
#include <QtTest/QTest>

#include <csignal>
#include <functional>

using ke2::CommandLine;

// The program as a user runs it: a real process, its output and its exit status.
class CommandLineTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    struct Result {
        int exitCode = -1;
        QString out, err;
    };
    Result launch(const QStringList &arguments, const QString &prefs = QString(),
                  const std::function<void(QProcess &)> &meanwhile = {})
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("KE2_PREFS_DIR", prefs.isEmpty() ? m_dir.path() + "/prefs" : prefs);
        process.setProcessEnvironment(environment);
        process.start(KE2_EDITOR_BINARY, arguments);
        if (meanwhile)
            meanwhile(process);
        if (!process.waitForFinished(60000))
            return {};
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
    }

private slots:
    void parse_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("path");
        using M = CommandLine::Mode;
        // Plain runs and the other invalid lines show in the process tests below.
        QTest::newRow("help wins") << QStringList{"--run", "a.py", "--help"} << int(M::Help) << "a.py";
        QTest::newRow("short version") << QStringList{"-v"} << int(M::Version) << "";
        QTest::newRow("two modes") << QStringList{"--run", "a", "--screenshot", "b"} << int(M::Invalid) << "a";
    }
    void parse()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, mode);
        QFETCH(QString, path);
        const CommandLine line = CommandLine::parse(arguments);
        QCOMPARE(int(line.mode), mode);
        QCOMPARE(line.path, path);
        QCOMPARE(line.error.isEmpty(), line.mode != CommandLine::Mode::Invalid);
    }

    // A file name argument is written with the row's script text first.
    void run_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err"); // a part of standard error
        const QString error = "# Error: %1: file %FILE% line %2 #\n";
        QTest::newRow("result") << QStringList{"--run", "sum.py"} << QByteArray("1+2") << 0 << "1+2\n# Result: 3 #\n" << "";
        QTest::newRow("print") << QStringList{"--run", "hi.py"} << QByteArray("print(\"hi\")\n") << 0
                               << "print(\"hi\")\nhi\n" << "";
        QTest::newRow("error exits 1") << QStringList{"--run", "div.py"} << QByteArray("1/0") << 1
                                       << "1/0\n" + error.arg("ZeroDivisionError", "1: division by zero") << "";
        QTest::newRow("MEL needs Maya") << QStringList{"--run", "scene.mel"} << QByteArray("polySphere;") << 1
                                        << "polySphere;\n// Error: MEL needs a Maya session; this standalone editor runs "
                                           "Python only. //\n" << "";
        QTest::newRow("start-up loaded the helpers as inside Maya")
            << QStringList{"--run", "helpers.py"} << QByteArray("'True' in KestrelEditorHelpers.list_keywords()") << 0
            << "'True' in KestrelEditorHelpers.list_keywords()\n# Result: True #\n" << "";
        QTest::newRow("missing file") << QStringList{"--run", "/nonexistent/x.py"} << QByteArray() << 2 << ""
                                      << "no such file";
        QTest::newRow("directory") << QStringList{"--run", "."} << QByteArray() << 2 << "" << "is a directory";
        QTest::newRow("unknown option") << QStringList{"--bogus"} << QByteArray() << 2 << "" << "unknown argument '--bogus'";
        QTest::newRow("missing value") << QStringList{"--run"} << QByteArray() << 2 << "" << "--run needs a file name";
        QTest::newRow("version") << QStringList{"--version"} << QByteArray() << 0 << "kestrel-editor 2.3.4\n" << "";
    }
    void run()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, text);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, err);
        if (!text.isEmpty())
            QVERIFY(ke2::test::writeFile(arguments[1] = m_dir.filePath(arguments[1]), text));
        const Result result = launch(arguments);
        QCOMPARE(result.out, QString(out).replace("%FILE%", arguments.value(1)));
        QCOMPARE(result.exitCode, exitCode);
        QVERIFY2(result.err.contains(err), qPrintable(result.err));
    }

    // --check: every diagnostic of every file, in order, and an exit status for a pipeline. "%D"
    // in the expected output stands for the files' folder.
    void check_data()
    {
        QTest::addColumn<QStringList>("files"); // name, then text, for each file
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        QTest::newRow("clean files") << QStringList{"ok.mel", "proc int f(int $a) { return $a; }\nf(1);\n", "ok.py", "x = 1\n"}
                                     << QStringList{"ok.mel", "ok.py"} << 0 << "" << "";
        QTest::newRow("MEL warnings only")
            << QStringList{"w.mel", "\nproc f() {\n    print $x;\n    return 1;\n}\nf(2);\n"} << QStringList{"w.mel"} << 0
            << "%D/w.mel:1:1: warning: Empty line(s) at start of file. Line numbers in trace may be incorrect.\n"
               "%D/w.mel:3:11: warning: Variable $x is used before it is declared or assigned in procedure f\n"
               "%D/w.mel:4:5: warning: Procedure f is declared without a return type but returns a value\n"
               "%D/w.mel:6:1: warning: Procedure f takes 0 arguments, called with 1\n"
            << "";
        QTest::newRow("no host: commands and flags unchecked")
            << QStringList{"c.mel", "polyCub -foo 1;\n"} << QStringList{"c.mel"} << 0 << "" << "";
        QTest::newRow("a Python error fails, in file order")
            << QStringList{"a.py", "def f():\n\treturn 'x\n", "b.mel", "proc f() { return 1; }\n"}
            << QStringList{"a.py", "b.mel"} << 1
            << "%D/a.py:2:9: error: Unterminated String\n"
               "%D/b.mel:1:12: warning: Procedure f is declared without a return type but returns a value\n"
            << "";
        QTest::newRow("unreadable file, the others still checked")
            << QStringList{"b.mel", "proc f() { return 1; }\n"} << QStringList{"missing.mel", "b.mel"} << 2
            << "%D/b.mel:1:12: warning: Procedure f is declared without a return type but returns a value\n"
            << "missing.mel: cannot be read";
        QTest::newRow("no file") << QStringList{} << QStringList{} << 2 << "" << "--check needs at least one file";
    }
    void check()
    {
        QFETCH(QStringList, files);
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, err);
        QTemporaryDir dir;
        for (int i = 0; i + 1 < files.size(); i += 2)
            QVERIFY(ke2::test::writeFile(dir.filePath(files.at(i)), files.at(i + 1).toUtf8()));
        QStringList paths{"--check"};
        for (const QString &name : arguments)
            paths << dir.filePath(name);
        const Result result = launch(paths);
        QCOMPARE(result.out, QString(out).replace("%D", dir.path()));
        QCOMPARE(result.exitCode, exitCode);
        QVERIFY2(result.err.contains(err), qPrintable(result.err));
    }

    QString script(const QString &name, const QByteArray &text)
    {
        const QString path = m_dir.filePath(name);
        return ke2::test::writeFile(path, text) ? path : QString();
    }

    // A script ends as it ends under python3: the same exit status, the same standard error
    // for sys.exit, and errors that name the file (and its line) instead of the console.
    void endsAsPython3_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("sameStandardError");
        QTest::addColumn<QString>("error"); // in our output, with %FILE%
        QTest::newRow("sys.exit(0)") << QByteArray("import sys\nsys.exit(0)\nprint('not reached')") << true << "";
        QTest::newRow("sys.exit()") << QByteArray("import sys\nsys.exit()") << true << "";
        QTest::newRow("sys.exit(3)") << QByteArray("import sys\nsys.exit(3)") << true << "";
        QTest::newRow("a status past 255 wraps") << QByteArray("raise SystemExit(256 + 7)") << true << "";
        QTest::newRow("sys.exit with a text") << QByteArray("import sys\nsys.exit('no input given')") << true << "";
        QTest::newRow("at-exit handlers still run")
            << QByteArray("import atexit, sys\natexit.register(lambda: sys.stderr.write('bye\\n'))\nsys.exit(4)") << false
            << "# Error: bye #\n";
        QTest::newRow("KeyboardInterrupt") << QByteArray("def f():\n    raise KeyboardInterrupt\nf()") << false
                                           << "# Error: KeyboardInterrupt: file %FILE% line 2:  #\n";
        QTest::newRow("an error names the file")
            << QByteArray("def f():\n    return 1 / 0\nf()") << false
            << "# Error: ZeroDivisionError: file %FILE% line 2: division by zero #\n";
    }
    void endsAsPython3()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, sameStandardError);
        QFETCH(QString, error);
        const QString python = QStandardPaths::findExecutable("python3");
        if (python.isEmpty())
            QSKIP("python3 is not installed");
        const QString tag = QString::fromLatin1(QTest::currentDataTag()).remove(QLatin1Char('\''));
        const QString path = script(QStringLiteral("ends %1.py").arg(tag), text);
        // Through a shell, so that a death by SIGINT shows as python3's status 130.
        auto statusOf = [this](const QStringList &command, QByteArray *err, QByteArray *out) {
            QProcess process;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert("KE2_PREFS_DIR", m_dir.path() + "/prefs");
            environment.insert("XDG_RUNTIME_DIR", m_dir.path()); // no notice from Qt about it
            process.setProcessEnvironment(environment);
            process.start("/bin/sh", QStringList{"-c", "\"$0\" \"$@\""} + command);
            if (!process.waitForFinished(60000))
                return -1;
            *err = process.readAllStandardError();
            *out = process.readAllStandardOutput();
            return process.exitCode();
        };
        QByteArray pythonErr, pythonOut, ourErr, ourOut;
        const int pythonStatus = statusOf({python, path}, &pythonErr, &pythonOut);
        const int ourStatus = statusOf({KE2_EDITOR_BINARY, "--run", path}, &ourErr, &ourOut);
        QCOMPARE(ourStatus, pythonStatus);
        if (sameStandardError)
            QCOMPARE(ourErr, pythonErr);
        QVERIFY2(QString::fromUtf8(ourOut).endsWith(QString(error).replace("%FILE%", path)), ourOut.constData());
    }

    // Start-up failures reach standard error, framed, before the script runs.
    void startUpMessagesOnStandardError()
    {
        const Result result = launch({"--run", script("ok.py", "print('ran')")}, "/proc/nonexistent/prefs");
        QCOMPARE(result.out, QString("print('ran')\nran\n"));
        QVERIFY2(result.err.contains("// Error: [KestrelEditor2] Failed to create user config directory //\n"),
                 qPrintable(result.err));
        QCOMPARE(result.exitCode, 0);
    }

    void outputThatCannotBeWrittenFails()
    {
        QProcess process;
        process.setStandardOutputFile("/dev/full");
        process.start(KE2_EDITOR_BINARY, {"--run", script("out.py", "print('x' * 100000)")});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitCode(), 1);
        QVERIFY(process.readAllStandardError().contains("the output could not be written: No space left on device"));
    }

    // Ctrl+C in the terminal: KeyboardInterrupt in the script, its finally blocks run.
    void interruptFromTheTerminal()
    {
        const QString path = script("loop.py", "import time\nprint('started', flush=True)\ntry:\n"
                                               "    while True:\n        time.sleep(0.01)\n"
                                               "finally:\n    open(__file__ + '.finally', 'w').write('ran')\n");
        const Result result = launch({"--run", path}, QString(), [](QProcess &process) {
            QByteArray seen;
            QTRY_VERIFY((seen += process.readAllStandardOutput()).contains("started\n"));
            ::kill(static_cast<pid_t>(process.processId()), SIGINT);
        });
        QCOMPARE(result.exitCode, 130);
        QVERIFY2(result.out.endsWith("# Error: KeyboardInterrupt: file " + path + " line 5:  #\n"), qPrintable(result.out));
        QVERIFY(QFile::exists(path + ".finally"));
    }

    void screenshotAndHelp()
    {
        const QString png = m_dir.filePath("window.png");
        QCOMPARE(launch({"--screenshot", png}).exitCode, 0);
        const QImage image(png);
        QVERIFY(image.width() > 10 && image.height() > 10);
        const Result help = launch({"--help"});
        QCOMPARE(help.exitCode, 0);
        QVERIFY(help.out.contains("--run FILE"));
    }
};

KE2_TEST_CLASS(CommandLineTest)
#include "test_command_line.moc"
