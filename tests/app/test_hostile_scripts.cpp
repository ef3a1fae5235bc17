#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

// Scripts that real users write, each run by `kestrel-editor --run` and by `python3`, the oracle:
// the files left behind, the exit status (zero or not), standard output and the errors must
// agree. Our output is the output panel's text: the echoed script first, errors and warnings
// framed as "# Error: ... #" lines in standard output, and text rather than bytes (invalid UTF-8
// shows as U+FFFD, so both sides are compared as decoded text).
class HostileScriptsTest : public QObject {
    Q_OBJECT

    struct Outcome {
        bool finished = false;
        int exitCode = -1;
        QString out;
        QStringList errors;
        QStringList files; // "path: content"
    };

    // Runs `command` in a fresh folder holding the script under `name` (printf escapes allowed,
    // so a name need not be valid text).
    static Outcome launch(const QString &program, const QStringList &before, const QByteArray &name,
                          const QByteArray &script)
    {
        Outcome outcome;
        QTemporaryDir dir;
        QProcess shell;
        shell.setWorkingDirectory(dir.path());
        shell.start("/bin/sh", QStringList{"-c", "name=\"$(printf \"$2\")\" && printf \"$1\" > \"$name\" && shift 2 "
                                                 "&& exec \"$@\" \"$name\"",
                                           "sh", QString::fromLatin1(escaped(script)), QString::fromLatin1(name), program}
                                   + before);
        shell.closeWriteChannel(); // input() meets the end of its input, as with python3 < /dev/null
        outcome.finished = shell.waitForFinished(120000);
        outcome.exitCode = shell.exitStatus() == QProcess::NormalExit ? shell.exitCode() : -1;
        outcome.out = text(shell.readAllStandardOutput());
        outcome.errors = errorLines(text(shell.readAllStandardError()));
        QDirIterator it(dir.path(), QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            QFile file(path);
            file.open(QIODevice::ReadOnly);
            outcome.files.append(QDir(dir.path()).relativeFilePath(path) + ": " + text(file.readAll()));
        }
        outcome.files.sort();
        return outcome;
    }

    // All of it: Qt 5's QByteArray overload stops at a NUL byte.
    static QString text(const QByteArray &bytes) { return QString::fromUtf8(bytes.constData(), bytes.size()); }

    // Every byte as an octal escape, for printf.
    static QByteArray escaped(const QByteArray &bytes)
    {
        QByteArray text;
        for (const char c : bytes)
            text += '\\' + QByteArray::number(static_cast<uchar>(c), 8).rightJustified(3, '0');
        return text;
    }

    // python3's standard error, tracebacks reduced to their last line ("Type: message").
    static QStringList errorLines(const QString &text)
    {
        QStringList lines;
        for (const QString &line : text.split('\n')) {
            if (line.isEmpty() || line.startsWith(' ') || line == "Traceback (most recent call last):"
                || line.startsWith("QStandardPaths: "))
                continue;
            lines.append(line);
        }
        return lines;
    }

    // Ours: the echo removed, framed lines taken out as errors, the rest is standard output.
    static void unframe(Outcome &ours, const QString &echo)
    {
        static const QRegularExpression framed("^# (Error|Warning|Result): (.*) #$");
        static const QRegularExpression located("^(\\w+): file .+? line \\d+: ");
        QString out = ours.out.startsWith(echo) ? ours.out.mid(echo.size()) : "<no echo>" + ours.out;
        QStringList display, errors;
        for (const QString &line : out.split('\n')) {
            const QRegularExpressionMatch match = framed.match(line);
            if (!match.hasMatch()) {
                display.append(line);
            } else if (match.captured(1) == "Error") {
                QString error = match.captured(2);
                error.replace(located, "\\1: ");
                errors.append(error);
            }
        }
        ours.out = display.join('\n');
        ours.errors = errorLines(errors.join('\n'));
    }

private slots:
    void againstPython_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QByteArray>("name");
        const auto row = [](const char *title, const QByteArray &script, const QByteArray &name = "script.py") {
            QTest::newRow(title) << script << name;
        };
        row("file left open is written", "f = open('left.txt', 'w')\nf.write('data')\n");
        row("at-exit handlers run", "import atexit\natexit.register(print, 'bye')\n"
                                    "atexit.register(lambda: open('atexit.txt', 'w').write('ran'))\nprint('main')\n");
        row("running thread is waited for",
            "import threading, time\ndef work():\n    time.sleep(0.5)\n    print('late')\n"
            "    open('thread.txt', 'w').write('done')\nthreading.Thread(target=work).start()\nprint('main')\n");
        row("daemon thread ends with the interpreter", "import threading, time\ndef spin():\n    while True:\n"
            "        time.sleep(0.01)\nthreading.Thread(target=spin, daemon=True).start()\nprint('main')\n");
        row("temporary directory removed", "import tempfile, os\nd = tempfile.TemporaryDirectory(dir='.')\n"
                                           "open(os.path.join(d.name, 'x'), 'w').write('x')\n");
        row("closed pipe raises BrokenPipeError",
            "import subprocess\np = subprocess.Popen(['true'], stdin=subprocess.PIPE)\np.wait()\n"
            "try:\n    p.stdin.write(b'x' * 200000)\n    p.stdin.flush()\nexcept BrokenPipeError as e:\n"
            "    print('caught', type(e).__name__)\n");
        row("progress bar on stderr is one line", "import sys\nfor i in range(40000):\n"
            "    sys.stderr.write('\\rprogress %d' % i)\n    sys.stderr.flush()\nsys.stderr.write('\\n')\n");
        row("NUL byte is a syntax error", QByteArray("print(1)\n\0print(2)\n", 19));
        row("undecodable bytes in an exception message", "import os\nraise ValueError(os.fsdecode(b'r_\\xff.txt'))\n");
        row("coding line decides the encoding", "# -*- coding: latin-1 -*-\nprint('caf\xe9')\n");
        row("forked child ends at the end of the script", "import os\npid = os.fork()\nif pid == 0:\n    print('child')\n"
            "    open('child.txt', 'w').write('c')\nelse:\n    os.waitpid(pid, 0)\n    print('parent')\n");
        row("joined thread's lines in order",
            "import threading, sys\ndef work():\n    for i in range(20000):\n        print(i)\n"
            "    sys.stderr.write('thread end\\n')\nprint('first')\nt = threading.Thread(target=work)\n"
            "t.start()\nt.join()\nprint('last')\n");
        row("invalid UTF-8 through stdout.buffer",
            "import sys\nsys.stdout.buffer.write(b'a\\xffb\\xe2\\x82')\nsys.stdout.buffer.write(b'\\xac\\n')\n");
        row("stdout replaced by an object that raises", "import sys\nclass Bad:\n    def write(self, s):\n"
            "        raise OSError('nope')\n    def flush(self):\n        pass\nsys.stdout = Bad()\nprint('x')\n");
        row("recursion past the limit", "def r():\n    r()\nr()\n");
        row("input at the end of input", "print('ask')\ninput()\n");
        row("script deletes its own file", "import os, sys\nos.remove(sys.argv[0])\nprint(os.path.basename(__file__))\n");
        row("exception in a thread", "import threading\ndef f():\n    raise ValueError('boom')\n"
                                     "t = threading.Thread(target=f)\nt.start()\nt.join()\nprint('after')\n");
        row("file name that is not valid text", "import sys\nprint(repr(sys.argv[0]))\n", "n\\377me.py");
        // A script never ends the window (SystemExit is an error there); --run ends as python3.
        row("sys.exit(0) ends quietly", "import sys\nprint('x')\nsys.exit(0)\n");
    }
    void againstPython()
    {
        QFETCH(QByteArray, script);
        QFETCH(QByteArray, name);
        Outcome ours = launch(KE2_EDITOR_BINARY, {"--run"}, name, script);
        const Outcome oracle = launch("python3", {}, name, script);
        QVERIFY(ours.finished && oracle.finished);
        QCOMPARE(ours.errors, QStringList()); // nothing of ours goes to standard error
        QString echo = script.contains("latin-1") ? QString::fromLatin1(script) : text(script);
        if (!echo.endsWith('\n'))
            echo += '\n';
        unframe(ours, echo);
        QCOMPARE(ours.files, oracle.files);
        QCOMPARE(ours.exitCode != 0, oracle.exitCode != 0);
        QCOMPARE(ours.out, oracle.out);
        QCOMPARE(ours.errors, oracle.errors);
    }
};

KE2_TEST_CLASS(HostileScriptsTest)
#include "test_hostile_scripts.moc"
