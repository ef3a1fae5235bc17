#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "language/pylint_worker.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/stack_probe.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QRegularExpression>
#include <QtCore/QScopeGuard>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace ke2;
using namespace ke2::test;

namespace {

// A stand-in for pylint: a shell script that reads the file it is given like pylint would.
QString writeScript(const QString &folder, const QString &name, const QString &body)
{
    const QString path = folder + '/' + name;
    return test::writeScript(path, ("for last; do :; done\n" + body).toUtf8()) ? path : QString();
}

// A stand-in that imports each module the checked file imports, with the environment pylint gets.
const char *const importingPylint = "for name in $(sed -n 's/^import //p' \"$last\"); do\n"
                                    "  python3 -c \"import $name\" 2>/dev/null || echo \"::E:1:0:[E0401]:Unable to import '$name'::\"\n"
                                    "done";

int lineCount(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().count('\n') : 0;
}

} // namespace

// The worker with real processes: Debian's pylint and scripts that misbehave the ways pylint can.
// The preferences folder, and so the worker's temporary file, sits below a folder whose name
// holds spaces and a non-ASCII letter.
class PylintWorkerTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_prefs;
    QString m_scripts;
    FakeHost m_host;
    Settings m_savedSettings;

    PylintWorker::Options options(const QString &program, int timeLimitMs = 20000, bool showErrors = false)
    {
        PylintWorker::Options result;
        result.pylintEnabled = true;
        result.pylintPath = program;
        result.timeLimitMs = timeLimitMs;
        result.pylintShowErrors = showErrors;
        return result;
    }
    // The worker never waits inside a request: the test waits for the answer.
    static bool answered(PylintWorker &worker, QSignalSpy &output, const QString &source, const QString &path,
                         const QString &pythonPath = QString())
    {
        const int before = output.count();
        worker.Pylint(source, path, pythonPath);
        return QTest::qWaitFor([&] { return output.count() > before; }, 20000);
    }

private slots:
    void initTestCase()
    {
        m_prefs = m_dir.filePath(QString::fromUtf8("prefs with spaces é/"));
        m_scripts = m_dir.filePath(QString::fromUtf8("tools dir 'q'"));
        QVERIFY(QDir().mkpath(m_prefs) && QDir().mkpath(m_scripts));
        m_host.answer("internalVar -userPrefDir", m_prefs);
        HostBridge::setHost(&m_host);
        m_savedSettings = Settings::instance();
    }
    void cleanupTestCase()
    {
        HostBridge::setHost(nullptr);
        Settings::instance() = m_savedSettings;
    }
    void init()
    {
        if (QFileInfo(m_prefs + "kestrelEditor2/temp").isFile()) // left by a failed check
            QFile::remove(m_prefs + "kestrelEditor2/temp");
        PylintWorker::ResetWorkerFileFailure();
        PylintWorker::ForgetReportedMessages();
        m_host.clearCommands();
    }

    void realPylintReportsOnTheFileItWasGiven()
    {
        const QString pylint = QStandardPaths::findExecutable("pylint");
        QVERIFY2(!pylint.isEmpty(), "pylint is not installed (./ke2 deps)");
        PylintWorker worker;
        QVERIFY(worker.TempFilePath().contains(QString::fromUtf8("prefs with spaces é")));
        worker.SetOptions(options(pylint));
        QSignalSpy output(&worker, &PylintWorker::PylintOutput);
        QVERIFY(answered(worker, output, QString::fromUtf8("import os\ntext = 'é'\nx = undefined_name\n"), "a b.py"));
        QCOMPARE(output[0][0].toString(), QString("a b.py"));
        QCOMPARE(output[0][2].toInt(), 1);
        QVERIFY2(output[0][1].toStringList().contains("E:3:4:[E0602]:Undefined variable 'undefined_name'"),
                 qPrintable(output[0][1].toStringList().join('|')));
        QVERIFY(m_host.texts(FakeHost::Kind::Error).isEmpty());
    }

    // A newer request kills the run still going; only the newer text is reported.
    void aNewerRequestSupersedesTheRunningOne()
    {
        const QString script = writeScript(m_scripts, "slow pylint", "echo $$ >> \"$0.pids\"\nsleep 2\n"
                                                                      "echo \"::E:1:0:[E0001]:$(head -n 1 \"$last\")::\"\nexit 2");
        QFile::remove(script + ".pids");
        PylintWorker worker;
        worker.SetOptions(options(script));
        QSignalSpy output(&worker, &PylintWorker::PylintOutput);
        worker.Pylint("first\n", "a.py", QString());
        QTRY_COMPARE(lineCount(script + ".pids"), 1); // the first pylint runs
        QVERIFY(answered(worker, output, "second\n", "b.py"));
        QCOMPARE(output.count(), 1);
        QCOMPARE(output[0][0].toString(), QString("b.py"));
        QCOMPARE(output[0][1].toStringList(), (QStringList{"E:1:0:[E0001]:second", "\n"}));
        QFile pids(script + ".pids");
        QVERIFY(pids.open(QIODevice::ReadOnly));
        const QList<QByteArray> started = pids.readAll().split('\n');
        QVERIFY(started.size() >= 2);
        QVERIFY2(!QFile::exists("/proc/" + QString::fromLatin1(started[0])), "the superseded pylint still runs");
    }

    // Requests pile up while pylint runs (every pause in typing sends one). Each must be handled
    // on its own, not inside the wait for the one before: the stack stays as deep as for one
    // request, only the newest waits, and superseded texts start no pylint at all.
    void thousandsOfRequestsWhilePylintRuns()
    {
        const QString script = writeScript(m_scripts, "sleepy pylint", "echo $$ >> \"$0.pids\"\nsleep 0.5\n"
                                                                       "echo \"::E:1:0:[E0001]:$(head -n 1 \"$last\")::\"\nexit 2");
        QFile::remove(script + ".pids");
        QThread thread;
        auto *worker = new PylintWorker;
        auto *probe = new StackProbe;
        worker->installEventFilter(probe);
        worker->SetOptions(options(script));
        worker->moveToThread(&thread);
        probe->moveToThread(&thread);
        QStringList answers;
        connect(worker, &PylintWorker::PylintOutput, this,
                [&](const QString &, const QStringList &parts, int) { answers.append(parts.value(0)); });
        thread.start();
        auto stop = qScopeGuard([&] { // also when a check below fails
            QMetaObject::invokeMethod(worker, [worker] { worker->Shutdown(); }, Qt::QueuedConnection);
            thread.wait(5000);
            delete worker;
            delete probe;
        });
        const int requests = 3000;
        for (int i = 1; i <= requests; ++i)
            QMetaObject::invokeMethod(worker, [worker, i] { worker->Pylint(QString("text%1\n").arg(i), "a.py", QString()); },
                                      Qt::QueuedConnection);
        QTRY_COMPARE_WITH_TIMEOUT(answers.size(), 1, 60000);
        QCOMPARE(answers[0], QString("E:1:0:[E0001]:text%1").arg(requests));
        QMetaObject::invokeMethod(worker, [worker] { worker->Shutdown(); }, Qt::QueuedConnection);
        QVERIFY(thread.wait(5000)); // within the bounded kill wait
        QCOMPARE(probe->requests.loadAcquire(), requests + 1);
        const quintptr depth = probe->highest.loadAcquire() - probe->lowest.loadAcquire();
        QVERIFY2(depth < 1024, qPrintable(QString("requests reached %1 bytes deeper than the first").arg(depth)));
        QVERIFY2(lineCount(script + ".pids") <= 3, qPrintable(QString::number(lineCount(script + ".pids"))));
        QCOMPARE(answers.size(), 1);
    }

    // Whatever goes wrong ends with no marks. Our own messages are always said, pylint's own
    // failures only when errors are shown; either once, however many pauses and groups ask,
    // and again after the settings change.
    void failuresAreSaidOnce_data()
    {
        QTest::addColumn<QString>("body"); // empty: no executable at all
        QTest::addColumn<int>("timeLimitMs");
        QTest::addColumn<bool>("showErrors");
        QTest::addColumn<QString>("message"); // empty: nothing is said
        QTest::newRow("missing") << QString() << 20000 << false << "^Pylint executable not found: .*missing pylint$";
        QTest::newRow("hangs") << "exec sleep 30" << 300 << true << "^Pylint did not finish within 0.3 seconds and was stopped$";
        QTest::newRow("hangs, errors hidden") << "exec sleep 30" << 300 << false << QString();
        QTest::newRow("crashes") << "echo started\nkill -SEGV $$" << 20000 << true << "^Pylint stopped unexpectedly";
        QTest::newRow("crashes, errors hidden") << "echo started\nkill -SEGV $$" << 20000 << false << QString();
        QTest::newRow("garbage") << "echo 'Segmentation of the universe'" << 20000 << true
                                 << "^Pylint gave no result \\(exit code 0\\): Segmentation of the universe$";
        QTest::newRow("usage error") << "echo 'no such option: --msg-template' >&2\nexit 32" << 20000 << true
                                     << "^Pylint gave no result \\(exit code 32\\): no such option: --msg-template$";
        QTest::newRow("usage error, errors hidden") << "echo 'no such option: --msg-template' >&2\nexit 32" << 20000
                                                    << false << QString();
        QTest::newRow("not a program") << "#" << 20000 << true << "^Pylint could not be started";
    }
    void failuresAreSaidOnce()
    {
        QFETCH(QString, body);
        QFETCH(int, timeLimitMs);
        QFETCH(bool, showErrors);
        QFETCH(QString, message);
        QString program = body.isEmpty() ? m_scripts + "/missing pylint" : writeScript(m_scripts, QTest::currentDataTag(), body);
        if (body == "#") // a file that is there but cannot run
            QVERIFY(QFile::setPermissions(program, QFileDevice::ReadOwner | QFileDevice::WriteOwner));
        PylintWorker first, second; // two groups
        PylintWorker::Options settings = options(program, timeLimitMs, showErrors);
        QSignalSpy reports1(&first, &PylintWorker::Report), reports2(&second, &PylintWorker::Report);
        QSignalSpy output1(&first, &PylintWorker::PylintOutput), output2(&second, &PylintWorker::PylintOutput);
        const int expected = message.isEmpty() ? 0 : 1;
        for (int round = 1; round <= 2; ++round) {
            first.SetOptions(settings);
            second.SetOptions(settings);
            for (int request = 0; request < 2; ++request) {
                QVERIFY(answered(first, output1, "x = 1\n", "a.py"));
                QVERIFY(answered(second, output2, "x = 1\n", "b.py"));
                QCOMPARE(output1.last()[2].toInt(), -1);
                QCOMPARE(output2.last()[2].toInt(), -1);
            }
            QList<QList<QVariant>> said = reports1 + reports2;
            QCOMPARE(said.count(), expected * round);
            if (expected)
                QVERIFY2(QRegularExpression(message).match(said.last()[0].toString()).hasMatch(),
                         qPrintable(said.last()[0].toString()));
            settings.pylintConfigPath = "changed"; // any change of the settings says it again
        }
    }

    // pylint's output is read whole: a NUL byte (from a source line, say) loses nothing after it.
    void outputWithNulKeepsEveryMessage()
    {
        const QString script = writeScript(m_scripts, "nul pylint",
                                           "printf '::E:1:0:[E0001]:before \\000 within::\\n::W:2:0:[W0611]:after::\\n'\nexit 6");
        PylintWorker worker;
        worker.SetOptions(options(script));
        QSignalSpy output(&worker, &PylintWorker::PylintOutput);
        QVERIFY(answered(worker, output, "x = 1\n", "a.py"));
        QCOMPARE(output[0][2].toInt(), 2);
        const QStringList parts = output[0][1].toStringList();
        QCOMPARE(parts.value(0), QString("E:1:0:[E0001]:before ") + QChar(0) + " within");
        QVERIFY2(parts.contains("W:2:0:[W0611]:after"), qPrintable(parts.join('|')));
    }

    // pylint checks a copy, yet imports resolve as for the file itself: next to it, through its
    // package, and on the path the group passes.
    void importsResolveAsForTheFileItself_data()
    {
        QTest::addColumn<QString>("buffer");
        QTest::addColumn<QString>("import");
        QTest::addColumn<int>("errors");
        QTest::newRow("sibling module") << "proj/main.py" << "sibling_mod" << 0;
        QTest::newRow("through the package") << "proj/pkg/mod.py" << "pkg.helper" << 0;
        QTest::newRow("sibling inside the package") << "proj/pkg/mod.py" << "helper" << 0;
        QTest::newRow("the group's path") << "proj/main.py" << "lib_mod" << 0;
        QTest::newRow("not there") << "proj/main.py" << "not_there_mod" << 1;
        QTest::newRow("internal buffer") << "" << "sibling_mod" << 1;
    }
    void importsResolveAsForTheFileItself()
    {
        QFETCH(QString, buffer);
        QFETCH(QString, import);
        QFETCH(int, errors);
        const QString root = m_dir.filePath("imports");
        for (const char *file : {"proj/sibling_mod.py", "proj/pkg/__init__.py", "proj/pkg/helper.py", "lib/lib_mod.py"}) {
            QVERIFY(QDir().mkpath(QFileInfo(root + '/' + file).path()));
            QVERIFY(test::writeFile(root + '/' + file, QByteArray()));
        }
        const QString script = writeScript(m_scripts, "import pylint", importingPylint);
        PylintWorker worker;
        worker.SetOptions(options(script));
        QSignalSpy output(&worker, &PylintWorker::PylintOutput);
        const QString path = buffer.isEmpty() ? QString() : root + '/' + buffer;
        QVERIFY(answered(worker, output, "import " + import + "\n", path, QDir::toNativeSeparators(root + "/lib")));
        QCOMPARE(output[0][0].toString(), path);
        QVERIFY2(output[0][2].toInt() == errors, qPrintable(output[0][1].toStringList().join('|')));
    }

    // A temporary folder that cannot hold the file turns pylint off for the rest of the session.
    void unwritableTemporaryFolder()
    {
        const QString pylint = writeScript(m_scripts, "quiet pylint", "exit 0");
        {
            PylintWorker worker;
            worker.SetOptions(options(pylint));
            QVERIFY(!worker.TempFilePath().isEmpty());
            QSignalSpy reports(&worker, &PylintWorker::Report);
            QVERIFY(QDir(m_prefs + "kestrelEditor2/temp").removeRecursively());
            QFile blocker(m_prefs + "kestrelEditor2/temp"); // a file where the folder was
            QVERIFY(blocker.open(QIODevice::WriteOnly));
            blocker.close();
            worker.Pylint("x = 1\n", "a.py", QString());
            worker.Pylint("x = 2\n", "a.py", QString());
            QCOMPARE(reports.count(), 1);
            QCOMPARE(reports[0][0].toString(), QString("Failed to write to worker file"));
        }
        QVERIFY(PylintWorker::WorkerFileFailed());
        PylintWorker::ResetWorkerFileFailure();
        PylintWorker blocked;
        QCOMPARE(m_host.texts(FakeHost::Kind::Error), (QStringList{"[KestrelEditor2] Failed to create temp directory", "[KestrelEditor2] Failed to create worker file"}));
        QVERIFY(blocked.TempFilePath().isEmpty());
        QVERIFY(PylintWorker::WorkerFileFailed());
        QFile::remove(m_prefs + "kestrelEditor2/temp");
    }

    void argumentsAreAListNeverAShellLine()
    {
        PylintWorker::Options minimal;
        minimal.pylintConfigPath = "/my rc/pylintrc";
        const QStringList withMinimal = PylintWorker::Arguments(minimal, "/t mp/f.py");
        QCOMPARE(withMinimal.first(), QString("--msg-template=::{C}:{line}:{column}:[{msg_id}]:{msg}::"));
        QCOMPARE(withMinimal.size(), 4);
        QVERIFY(withMinimal[1].startsWith("--disable=W,R,C,E1111") && withMinimal[2].startsWith("--enable=import-error,"));
        QCOMPARE(withMinimal.last(), QString("/t mp/f.py"));
        PylintWorker::Options own = minimal;
        own.pylintUseMinimalCheckers = false;
        QCOMPARE(PylintWorker::Arguments(own, "/t mp/f.py").mid(1),
                 (QStringList{"--rcfile=/my rc/pylintrc", "/t mp/f.py"}));
    }

    // The group sends its Python buffer to its worker's thread and turns the answer into marks:
    // errors, warnings and information by pylint's category. A column past the line's end (even
    // past an int) marks from the line's end.
    void groupMarksTheEditorFromPylint()
    {
        const QString pylint = writeScript(m_scripts, "fixed pylint",
                                           "echo '************* Module x'\n"
                                           "echo '::E:2:4:[E0602]:Undefined variable y::'\n"
                                           "echo '::W:2:2147483647:[W0611]:Unused import os::'\n"
                                           "echo '::C:3:0:[C0114]:Missing docstring::'\nexit 18");
        Settings::instance().pylintEnabled = true;
        Settings::instance().pylintPath = pylint;
        CodeEditorGroup group(0);
        group.AddCodeEditor({CODE_EDITOR_FILE, LANGUAGE_PYTHON, m_dir.filePath("m.py"), QString()}, "import os\nx = y\nz = 1\n");
        group.show();
        CodeEditor *editor = group.CurrentCodeEditor();
        QTRY_COMPARE_WITH_TIMEOUT(editor->Marks(MARK_ERROR).size(), 1, 10000);
        QVERIFY(m_host.texts(FakeHost::Kind::Error).isEmpty());
        QCOMPARE(editor->Marks(MARK_ERROR)[0].start, 14);
        QCOMPARE(editor->Marks(MARK_ERROR)[0].message, QString("E0602: Undefined variable y"));
        QCOMPARE(editor->Marks(MARK_WARNING).size(), 1);
        QCOMPARE(editor->Marks(MARK_WARNING)[0].start, 15);
        QCOMPARE(editor->Marks(MARK_INFORMATION).size(), 1);

        Settings::instance().pylintEnabled = false;
        group.ApplyPylintSettings(); // the parser's own diagnostics are back at once
        QCOMPARE(editor->Marks(MARK_ERROR).size(), 0);
        Settings::instance() = m_savedSettings;
    }

    // The group's imports come from the workspace folders too, as they are at each check.
    void groupImportsFromTheWorkspaceFolders()
    {
        const QString workspace = m_dir.filePath("workspace");
        QVERIFY(QDir().mkpath(workspace));
        QVERIFY(test::writeFile(workspace + "/ws_mod.py", QByteArray()));
        const QString pylint = writeScript(m_scripts, "importing pylint", importingPylint);
        Settings::instance().pylintEnabled = true;
        Settings::instance().pylintPath = pylint;
        QStringList folders;
        CodeEditorGroup group(0);
        group.SetImportFolders([&folders] { return folders; });
        group.AddCodeEditor({CODE_EDITOR_FILE, LANGUAGE_PYTHON, m_dir.filePath("elsewhere/m.py"), QString()}, "import ws_mod\n");
        group.show();
        CodeEditor *editor = group.CurrentCodeEditor();
        QTRY_COMPARE_WITH_TIMEOUT(editor->Marks(MARK_ERROR).size(), 1, 10000);
        folders = QStringList{workspace};
        group.UpdateParser();
        QTRY_COMPARE_WITH_TIMEOUT(editor->Marks(MARK_ERROR).size(), 0, 10000);
        Settings::instance() = m_savedSettings;
    }
};

KE2_TEST_CLASS(PylintWorkerTest)

#include "test_pylint_worker.moc"
