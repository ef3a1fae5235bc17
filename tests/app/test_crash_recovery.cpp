#include "tests/support/dialog_answers.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "plugin/host_bridge.h"
#include "shell/kestrel_editor.h"
#include "shell/text_file.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <csignal>
#include <memory>

using namespace ke2;
using namespace ke2::test;

// The host dies without warning, often. A real kestrel-editor on a virtual X display gets real
// keystrokes, is killed outright three seconds after the last one, and a new window must bring
// back everything that was typed.
class CrashRecoveryTest : public QObject {
    Q_OBJECT

    QProcess m_display;
    QString m_displayName;

    bool xdotool(const QStringList &arguments, QString *output = nullptr)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DISPLAY"), m_displayName);
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral("xdotool"), arguments);
        if (!process.waitForFinished(30000) || process.exitCode() != 0)
            return false;
        if (output)
            *output = QString::fromUtf8(process.readAllStandardOutput()).trimmed();
        return true;
    }

private slots:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty() ||
            QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty())
            QSKIP("needs Xvfb and xdotool (./ke2 deps installs them)");
        // Xvfb picks a free display and writes its number on the given descriptor.
        m_display.start(QStringLiteral("Xvfb"), {"-displayfd", "1", "-screen", "0", "1280x900x24", "-nolisten", "tcp"});
        QVERIFY(m_display.waitForReadyRead(20000));
        m_displayName = QLatin1Char(':') + QString::fromLatin1(m_display.readLine().trimmed());
        QVERIFY(m_displayName.size() > 1);
    }
    void cleanupTestCase()
    {
        if (m_display.state() != QProcess::NotRunning) {
            m_display.terminate();
            m_display.waitForFinished(5000);
        }
    }

    // The session ends under the window (log-out, shutdown): SIGTERM half a second after the
    // last key closes it as the user would, and what was typed is back in the next window.
    void typingIsSavedOnTerminate()
    {
        TempPrefs prefs;
        QProcess editor;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DISPLAY"), m_displayName);
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        environment.insert(QStringLiteral("KE2_PREFS_DIR"), prefs.root());
        editor.setProcessEnvironment(environment);
        editor.start(KE2_EDITOR_BINARY, QStringList());
        QVERIFY(editor.waitForStarted());
        QString window;
        QVERIFY(xdotool({"search", "--sync", "--onlyvisible", "--name", "Kestrel Editor 2"}, &window));
        window = window.section(QLatin1Char('\n'), 0, 0);
        QTest::qWait(1500);
        QVERIFY(xdotool({"windowfocus", "--sync", window}));
        QVERIFY(xdotool({"type", "--delay", "20", "print('kept at log-out')"}));
        QTest::qWait(500);
        ::kill(pid_t(editor.processId()), SIGTERM);
        QVERIFY(editor.waitForFinished(20000));
        QCOMPARE(editor.exitStatus(), QProcess::NormalExit);
        QCOMPARE(editor.exitCode(), 0);

        FakeHost host;
        host.hasDockingUi = false;
        prefs.attach(host);
        HostBridge::setHost(&host);
        Settings::instance() = Settings();
        Settings::instance().read();
        DialogAnswers dialogs;
        auto window2 = std::make_unique<KestrelEditor>();
        window2->show();
        QStringList buffers;
        for (int i = 0; i < window2->Group(0)->Count(); ++i)
            buffers << window2->Group(0)->CodeEditorAt(i)->toPlainText();
        QVERIFY2(buffers.contains(QStringLiteral("print('kept at log-out')")), qPrintable(buffers.join(" | ")));
        QVERIFY2(dialogs.seen.isEmpty(), qPrintable(dialogs.seen.join(" | "))); // a clean exit: nothing to recover
        window2.reset();
        HostBridge::setHost(nullptr);
        Settings::instance() = Settings();
    }

    void typedTextSurvivesAKill()
    {
        TempPrefs prefs;
        QTemporaryDir files;
        const QString path = files.filePath(QStringLiteral("tool.py"));
        const QByteArray onDisk("x = 1\r\n# caf\xE9\r\n");
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(onDisk) == onDisk.size());
        }

        QProcess editor;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DISPLAY"), m_displayName);
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        environment.insert(QStringLiteral("KE2_PREFS_DIR"), prefs.root());
        editor.setProcessEnvironment(environment);
        editor.start(KE2_EDITOR_BINARY, {path});
        QVERIFY(editor.waitForStarted());
        QString window;
        QVERIFY(xdotool({"search", "--sync", "--onlyvisible", "--name", "Kestrel Editor 2"}, &window));
        window = window.section(QLatin1Char('\n'), 0, 0);
        QTest::qWait(1500); // restored and laid out
        QVERIFY(xdotool({"windowfocus", "--sync", window}));
        // The file is the current tab; Ctrl+PgUp goes to the Python buffer before it.
        QVERIFY(xdotool({"type", "--delay", "20", "typed_into_file "}));
        QVERIFY(xdotool({"key", "ctrl+Prior"}));
        QVERIFY(xdotool({"type", "--delay", "20", "print('scratch')"}));
        QTest::qWait(3000);
        ::kill(pid_t(editor.processId()), SIGKILL);
        QVERIFY(editor.waitForFinished(10000));
        QCOMPARE(editor.exitStatus(), QProcess::CrashExit);

        // A new window on the same preferences, offered the file's text back.
        FakeHost host;
        host.hasDockingUi = false;
        prefs.attach(host);
        HostBridge::setHost(&host);
        Settings::instance() = Settings();
        Settings::instance().read();
        DialogAnswers dialogs({QStringLiteral("Keep")});
        auto window2 = std::make_unique<KestrelEditor>();
        window2->show();
        QTRY_COMPARE(dialogs.seen.size(), 1);
        CodeEditorGroup *group = window2->Group(0);
        const int file = group->IndexOfPath(path);
        QVERIFY(file >= 0);
        QCOMPARE(TextFile::DocumentText(*group->CodeEditorAt(file)->document()),
                 QStringLiteral("typed_into_file x = 1\n# caf%1\n").arg(QChar(0xE9)));
        QStringList buffers;
        for (int i = 0; i < group->Count(); ++i)
            buffers << group->CodeEditorAt(i)->toPlainText();
        QVERIFY2(buffers.contains(QStringLiteral("print('scratch')")), qPrintable(buffers.join(" | ")));
        QFile file2(path);
        QVERIFY(file2.open(QIODevice::ReadOnly));
        QCOMPARE(file2.readAll(), onDisk); // the recovery copy never wrote the user's file

        window2.reset();
        HostBridge::setHost(nullptr);
        Settings::instance() = Settings();
    }
};

KE2_TEST_CLASS(CrashRecoveryTest)

#include "test_crash_recovery.moc"
