#include "tests/support/dialog_answers.h"
#include "tests/support/prefs_fixture.h"
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

#include <QtCore/QDirIterator>

#include <csignal>
#include <memory>
#include <unistd.h>

namespace {

// Asks a window to close as a window manager's close button does (WM_DELETE_WINDOW). The
// virtual display has no window manager, and xdotool can only destroy windows.
const char closeWindowScript[] = R"(
import ctypes, sys
x = ctypes.cdll.LoadLibrary("libX11.so.6")
x.XOpenDisplay.restype = ctypes.c_void_p
x.XOpenDisplay.argtypes = [ctypes.c_char_p]
x.XInternAtom.restype = ctypes.c_ulong
x.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
class ClientMessage(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                ("format", ctypes.c_int), ("data", ctypes.c_long * 5)]
class Event(ctypes.Union):
    _fields_ = [("xclient", ClientMessage), ("pad", ctypes.c_long * 24)]
x.XSendEvent.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_long, ctypes.POINTER(Event)]
x.XFlush.argtypes = [ctypes.c_void_p]
display = x.XOpenDisplay(sys.argv[1].encode())
window = int(sys.argv[2])
event = Event()
event.xclient.type = 33
event.xclient.window = window
event.xclient.message_type = x.XInternAtom(display, b"WM_PROTOCOLS", 0)
event.xclient.format = 32
event.xclient.data[0] = x.XInternAtom(display, b"WM_DELETE_WINDOW", 0)
sys.exit(0 if display and x.XSendEvent(display, window, 0, 0, ctypes.byref(event)) and x.XFlush(display) else 1)
)";

void openToEveryone(const QString &folder)
{
    const auto all = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup |
                     QFileDevice::WriteGroup | QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::WriteOther |
                     QFileDevice::ExeOther;
    QFile::setPermissions(folder, all);
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext())
        QFile::setPermissions(it.next(), all);
}

} // namespace

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

    // The window of `editor`'s dialog: a visible window with the editor's name that is neither
    // `main` nor the dialog answered before (which may still be on screen for a moment on a
    // loaded machine: a key sent to it would be lost).
    QString dialogBesides(const QString &main, const QString &answered = QString())
    {
        for (int tries = 0; tries < 150; ++tries) {
            QString found;
            if (xdotool({"search", "--onlyvisible", "--name", "Kestrel Editor 2"}, &found)) {
                for (const QString &id : found.split(QLatin1Char('\n')))
                    if (!id.isEmpty() && id != main && id != answered)
                        return id;
            }
            QTest::qWait(100);
        }
        return QString();
    }

    bool isShown(const QString &window)
    {
        QString found;
        return xdotool({"search", "--onlyvisible", "--name", "Kestrel Editor 2"}, &found)
               && found.split(QLatin1Char('\n')).contains(window);
    }

    // Presses `key` in `dialog` until the dialog goes. On a loaded machine the key can arrive
    // before the dialog has the focus, and then lands in the main window with the dialog left
    // open, which takes every later close request; the key is pressed again only after a wait
    // long enough for a dialog that did take it to be gone.
    bool answer(const QString &dialog, const QString &key)
    {
        for (int attempt = 0; attempt < 3; ++attempt) {
            if (!xdotool({"windowfocus", "--sync", dialog}) || !xdotool({"key", key}))
                return !isShown(dialog);
            for (int wait = 0; wait < 50; ++wait) {
                if (!isShown(dialog))
                    return true;
                QTest::qWait(100);
            }
        }
        return false;
    }

    QProcessEnvironment editorEnvironment(const TempPrefs &prefs) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DISPLAY"), m_displayName);
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        environment.insert(QStringLiteral("KE2_PREFS_DIR"), prefs.root());
        return environment;
    }

    // Starts `editor` (kestrel-editor unless `program` says otherwise) on the virtual display and
    // gives its window, once restored and laid out, the keyboard; returns the window's id.
    QString startEditor(QProcess &editor, const QProcessEnvironment &environment, const QStringList &arguments = {},
                        const QString &program = QStringLiteral(KE2_EDITOR_BINARY))
    {
        editor.setProcessEnvironment(environment);
        editor.start(program, arguments);
        QString window;
        if (!editor.waitForStarted()
            || !xdotool({"search", "--sync", "--onlyvisible", "--pid", QString::number(editor.processId())}, &window))
            return QString();
        window = window.section(QLatin1Char('\n'), 0, 0);
        QTest::qWait(1500);
        return xdotool({"windowfocus", "--sync", window}) ? window : QString();
    }

    // A new window on the same preferences, as the next start of the program, answering
    // `answers` to what it offers; the host and settings go with it.
    struct NextStart {
        FakeHost host;
        std::unique_ptr<DialogAnswers> dialogs;
        std::unique_ptr<KestrelEditor> window;
        NextStart(TempPrefs &prefs, const QStringList &answers = {})
        {
            host.hasDockingUi = false;
            prefs.attach(host);
            HostBridge::setHost(&host);
            Settings::instance() = Settings();
            Settings::instance().read();
            dialogs = std::make_unique<DialogAnswers>(answers);
            window = std::make_unique<KestrelEditor>();
            window->show();
        }
        ~NextStart()
        {
            window.reset();
            HostBridge::setHost(nullptr);
            Settings::instance() = Settings();
        }
        QStringList buffers() const
        {
            QStringList texts;
            for (CodeEditorGroup *group : window->Groups())
                for (int i = 0; i < group->Count(); ++i)
                    texts << group->CodeEditorAt(i)->toPlainText();
            return texts;
        }
        QString textOf(const QString &path) const
        {
            for (CodeEditorGroup *group : window->Groups())
                if (group->IndexOfPath(path) >= 0)
                    return TextFile::DocumentText(*group->CodeEditorAt(group->IndexOfPath(path))->document());
            return QString();
        }
    };

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
        QVERIFY(!startEditor(editor, editorEnvironment(prefs)).isEmpty());
        QVERIFY(xdotool({"type", "--delay", "20", "print('kept at log-out')"}));
        QTest::qWait(500);
        ::kill(pid_t(editor.processId()), SIGTERM);
        QVERIFY(editor.waitForFinished(20000));
        QCOMPARE(editor.exitStatus(), QProcess::NormalExit);
        QCOMPARE(editor.exitCode(), 0);

        NextStart next(prefs);
        QVERIFY2(next.buffers().contains(QStringLiteral("print('kept at log-out')")), qPrintable(next.buffers().join(" | ")));
        QVERIFY2(next.dialogs->seen.isEmpty(), qPrintable(next.dialogs->seen.join(" | "))); // a clean exit: nothing to recover
    }

    void typedTextSurvivesAKill()
    {
        TempPrefs prefs;
        QTemporaryDir files;
        const QString path = files.filePath(QStringLiteral("tool.py"));
        const QByteArray onDisk("x = 1\r\n# caf\xE9\r\n");
        QVERIFY(writeFile(path, onDisk));

        QProcess editor;
        QVERIFY(!startEditor(editor, editorEnvironment(prefs), {path}).isEmpty());
        // The file is the current tab; Ctrl+PgUp goes to the Python buffer before it.
        QVERIFY(xdotool({"type", "--delay", "20", "typed_into_file "}));
        QVERIFY(xdotool({"key", "ctrl+Prior"}));
        QVERIFY(xdotool({"type", "--delay", "20", "print('scratch')"}));
        QTest::qWait(3000);
        ::kill(pid_t(editor.processId()), SIGKILL);
        QVERIFY(editor.waitForFinished(10000));
        QCOMPARE(editor.exitStatus(), QProcess::CrashExit);

        // A new window on the same preferences, offered the file's text back.
        NextStart next(prefs, {QStringLiteral("Keep")});
        QTRY_COMPARE(next.dialogs->seen.size(), 1);
        QVERIFY(next.window->Group(0)->IndexOfPath(path) >= 0);
        QCOMPARE(next.textOf(path), QStringLiteral("typed_into_file x = 1\n# caf%1\n").arg(QChar(0xE9)));
        QVERIFY2(next.buffers().contains(QStringLiteral("print('scratch')")), qPrintable(next.buffers().join(" | ")));
        QCOMPARE(readFile(path), onDisk); // the recovery copy never wrote the user's file
    }

    // Closing the window with an unsaved file: each key answers the next question the close
    // brings up. Cancel keeps the window and the typing (a later Yes saves it); No leaves the
    // file as it was with nothing to recover; a save that fails (a file the user cannot
    // write) says so, and closing anyway brings the typing back at the next start.
    void closingAsksAboutUnsavedFiles_data()
    {
        QTest::addColumn<bool>("saveAllOnExit");
        QTest::addColumn<bool>("writable");
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<bool>("saved");
        QTest::addColumn<bool>("offered");
        QTest::newRow("cancel, then yes") << false << true << QStringList{"Escape", "y"} << true << false;
        QTest::newRow("no") << false << true << QStringList{"n"} << false << false;
        QTest::newRow("save fails, cancel, then close anyway")
            << true << false << QStringList{"Escape", "a"} << false << true;
        QTest::newRow("yes, save fails, close anyway") << false << false << QStringList{"y", "a"} << false << true;
    }
    void closingAsksAboutUnsavedFiles()
    {
        QFETCH(bool, saveAllOnExit);
        QFETCH(bool, writable);
        QFETCH(QStringList, keys);
        QFETCH(bool, saved);
        QFETCH(bool, offered);
        if (QStandardPaths::findExecutable(QStringLiteral("python3")).isEmpty())
            QSKIP("needs python3 to send the close request");
        TempPrefs prefs;
        QTemporaryDir files;
        const QString path = files.filePath(QStringLiteral("tool.py"));
        const QByteArray onDisk("x = 1\n");
        QVERIFY(writeFile(path, onDisk));
        {
            FakeHost host;
            prefs.attach(host);
            ScopedHost active(&host);
            Settings settings;
            settings.saveAllOnExit = saveAllOnExit;
            settings.write();
        }
        // Permissions bind only an ordinary user: as root the editor runs as nobody.
        QString program = QStringLiteral(KE2_EDITOR_BINARY);
        QStringList arguments{path};
        if (::geteuid() == 0) {
            arguments.prepend(program);
            arguments = QStringList{"--reuid=65534", "--regid=65534", "--clear-groups"} + arguments;
            program = QStringLiteral("setpriv");
        }
        openToEveryone(prefs.root());
        openToEveryone(files.path());
        if (!writable)
            QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::ReadOther));

        QProcess editor;
        QProcessEnvironment environment = editorEnvironment(prefs);
        environment.insert(QStringLiteral("HOME"), prefs.root());
        const QString window = startEditor(editor, environment, arguments, program);
        QVERIFY(!window.isEmpty());
        QVERIFY(xdotool({"type", "--delay", "20", "typed "}));
        QTest::qWait(300);
        QString answered;
        for (const QString &key : keys) {
            QCOMPARE(QProcess::execute(QStringLiteral("python3"),
                                       {QStringLiteral("-c"), QString::fromLatin1(closeWindowScript), m_displayName, window}),
                     0);
            const QString dialog = dialogBesides(window, answered);
            answered = dialog;
            QVERIFY2(!dialog.isEmpty(), qPrintable(key));
            QVERIFY2(answer(dialog, key), qPrintable(key));
            if (key == QLatin1String("Escape")) {
                QVERIFY(!editor.waitForFinished(700)); // still open
            }
        }
        QVERIFY(editor.waitForFinished(20000));
        QCOMPARE(editor.exitStatus(), QProcess::NormalExit);
        QCOMPARE(editor.exitCode(), 0);

        QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        QCOMPARE(readFile(path), saved ? "typed " + onDisk : onDisk);
        NextStart next(prefs, {QStringLiteral("Keep")});
        QTest::qWait(300);
        const QStringList seen = next.dialogs->seen;
        QCOMPARE(seen.size(), offered ? 1 : 0);
        if (offered) {
            QVERIFY2(seen.first().startsWith(QStringLiteral("Recover: '%1'").arg(path)), qPrintable(seen.first()));
            QCOMPARE(next.textOf(path), QStringLiteral("typed x = 1\n"));
        }
    }

    // Two sessions on one preferences folder (two Maya sessions of one user): each types into
    // its Python buffer; neither overwrites the other's, and the next start has both.
    void twoSessionsKeepTheirOwnBuffers()
    {
        TempPrefs prefs;
        QProcess sessions[2];
        const QStringList typed{"print('from first')", "print('from second')"};
        for (int i = 0; i < 2; ++i) {
            QVERIFY(!startEditor(sessions[i], editorEnvironment(prefs)).isEmpty());
            QVERIFY(xdotool({"type", "--delay", "20", typed.at(i)}));
        }
        QTest::qWait(3000); // both have put their typing on disk
        for (QProcess &editor : sessions) {
            ::kill(pid_t(editor.processId()), SIGTERM);
            QVERIFY(editor.waitForFinished(20000));
            QCOMPARE(editor.exitCode(), 0);
        }

        NextStart next(prefs);
        for (const QString &text : typed)
            QVERIFY2(next.buffers().contains(text), qPrintable(next.buffers().join(" | ")));
    }
};

KE2_TEST_CLASS(CrashRecoveryTest)

#include "test_crash_recovery.moc"
