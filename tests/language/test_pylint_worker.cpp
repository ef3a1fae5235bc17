#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "language/pylint_worker.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QRegularExpression>
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
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return QString();
    file.write(("#!/bin/sh\nfor last; do :; done\n" + body + '\n').toUtf8());
    file.close();
    file.setPermissions(file.permissions() | QFileDevice::ExeOwner | QFileDevice::ExeUser);
    return path;
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

    PylintWorker::Options options(const QString &program, int timeLimitMs = 20000)
    {
        PylintWorker::Options result;
        result.pylintEnabled = true;
        result.pylintPath = program;
        result.timeLimitMs = timeLimitMs;
        return result;
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
        worker.Pylint(QString::fromUtf8("import os\ntext = 'é'\nx = undefined_name\n"), "a b.py", QString());
        QCOMPARE(output.count(), 1);
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
        QTimer::singleShot(300, &worker, [&] { worker.Pylint("second\n", "b.py", QString()); });
        QElapsedTimer clock;
        clock.start();
        worker.Pylint("first\n", "a.py", QString()); // returns once the second run ended
        QCOMPARE(output.count(), 1);
        QCOMPARE(output[0][0].toString(), QString("b.py"));
        QCOMPARE(output[0][1].toStringList(), (QStringList{"E:1:0:[E0001]:second", "\n"}));
        QVERIFY(clock.elapsed() < 4000); // the first run did not finish its sleep
        QFile pids(script + ".pids");
        QVERIFY(pids.open(QIODevice::ReadOnly));
        const QList<QByteArray> started = pids.readAll().split('\n');
        QVERIFY(started.size() >= 2);
        QVERIFY2(!QFile::exists("/proc/" + QString::fromLatin1(started[0])), "the superseded pylint still runs");
    }

    // Whatever goes wrong ends in one message and no marks.
    void failuresGiveOneMessageAndNoMarks_data()
    {
        QTest::addColumn<QString>("body"); // empty: no executable at all
        QTest::addColumn<int>("timeLimitMs");
        QTest::addColumn<QString>("message");
        QTest::newRow("missing") << QString() << 20000 << "^Pylint executable not found: .*missing pylint$";
        QTest::newRow("hangs") << "exec sleep 30" << 300 << "^Pylint did not finish within 0.3 seconds and was stopped$";
        QTest::newRow("crashes") << "echo started\nkill -SEGV $$" << 20000 << "^Pylint stopped unexpectedly";
        QTest::newRow("garbage") << "echo 'Segmentation of the universe'" << 20000 << "^Pylint gave no result \\(exit code 0\\): Segmentation of the universe$";
        QTest::newRow("usage error") << "echo 'no such option: --msg-template' >&2\nexit 32" << 20000
                                     << "^Pylint gave no result \\(exit code 32\\): no such option: --msg-template$";
    }
    void failuresGiveOneMessageAndNoMarks()
    {
        QFETCH(QString, body);
        QFETCH(int, timeLimitMs);
        QFETCH(QString, message);
        const QString program = body.isEmpty() ? m_scripts + "/missing pylint" : writeScript(m_scripts, QTest::currentDataTag(), body);
        PylintWorker worker;
        worker.SetOptions(options(program, timeLimitMs));
        QSignalSpy output(&worker, &PylintWorker::PylintOutput);
        QSignalSpy reports(&worker, &PylintWorker::Report);
        for (int request = 1; request <= 2; ++request) {
            worker.Pylint("x = 1\n", "a.py", QString());
            QCOMPARE(reports.count(), request);
            QVERIFY2(QRegularExpression(message).match(reports.last()[0].toString()).hasMatch(),
                     qPrintable(reports.last()[0].toString()));
            QCOMPARE(output.count(), request);
            QCOMPARE(output.last()[2].toInt(), -1);
        }
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
    // errors, warnings and information by pylint's category.
    void groupMarksTheEditorFromPylint()
    {
        const QString pylint = writeScript(m_scripts, "fixed pylint",
                                           "echo '************* Module x'\n"
                                           "echo '::E:2:4:[E0602]:Undefined variable y::'\n"
                                           "echo '::W:1:0:[W0611]:Unused import os::'\n"
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
        QCOMPARE(editor->Marks(MARK_INFORMATION).size(), 1);

        Settings::instance().pylintEnabled = false;
        group.ApplyPylintSettings(); // the parser's own diagnostics are back at once
        QCOMPARE(editor->Marks(MARK_ERROR).size(), 0);
        Settings::instance() = m_savedSettings;
    }
};

KE2_TEST_CLASS(PylintWorkerTest)

#include "test_pylint_worker.moc"
