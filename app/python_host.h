#pragma once

#include "plugin/host.h"
#include "plugin/interrupt_watch.h"

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QQueue>
#include <QtCore/QTimer>
#include <QtCore/QVariant>

namespace ke2 {

// The standalone program's host: an embedded CPython interpreter running in `__main__`, as Maya's
// does. Python output reaches the editor through the same framing as Maya's command-output
// callback. The few MEL queries the editor sends are answered natively; other MEL fails, because
// MEL needs a Maya session.
//
// The interpreter is process-wide and lives until finalize() ends it the way python3 ends; one
// PythonHost is active at a time and owns the streams while it lives. The script's own threads
// may print at any time: their output is queued and delivered on the thread that owns the host,
// in the order it was written, before the run that printed it counts as finished.
class PythonHost : public QObject, public Host {
    Q_OBJECT
public:
    // `prefsRoot` empty: defaultPrefsRoot().
    explicit PythonHost(const QString &prefsRoot = QString(), QObject *parent = nullptr);
    ~PythonHost() override;

    // The environment variable KE2_PREFS_DIR when set, else a folder in the platform's
    // configuration location.
    static QString defaultPrefsRoot();
    QString prefsRoot() const { return m_prefsRoot; }
    QString userPrefDir() const;
    QString userScriptDir() const;

    // The message shown when MEL is run outside Maya.
    static QString melUnavailableMessage();

    // Runs queued idle commands in order, including those they queue, until none is left.
    void drainIdleQueue();
    bool hasPendingIdleCommands() const { return !m_idle.isEmpty(); }

    // Error messages delivered since construction.
    int errorCount() const { return m_errorCount; }
    // Runs that ended in an uncaught exception (or MEL that could not run): `--run`'s exit code.
    int failedRuns() const { return m_failedRuns; }
    // How the last run ended, as python3 would exit after it: 0, 1 for an uncaught exception,
    // the status a file's SystemExit gave (its text, if it gave one, is `exitMessage`), 130
    // for a file's KeyboardInterrupt.
    int exitStatus() const { return m_exitStatus; }
    QString exitMessage() const { return m_exitMessage; }

    // Runs a script file's bytes as `python3 FILE` reads them: a byte order mark or coding line
    // decides the encoding and a NUL byte is a SyntaxError. With `nativePath`, `sys.argv`,
    // `__file__` and the first import folder name the file.
    void executePythonFileOnIdle(const QByteArray &source, const QByteArray &nativePath = QByteArray(),
                                 bool displayEnabled = true);

    // The script's threads that the interpreter waits for at exit and that are still running.
    // `interrupted` (optional) is set when an interrupt was requested meanwhile.
    QStringList runningScriptThreads(bool *interrupted = nullptr);
    // Waits, delivering their output, until those threads end (true), `milliseconds` pass
    // (negative: no limit) or an interrupt is requested.
    bool waitForScriptThreads(int milliseconds);
    // Ends the interpreter as python3 ends: waits for the script's threads (unless told not to,
    // or interrupted), runs the at-exit handlers and closes what the script left open; their
    // output is delivered even after removeCallbacks(). Once per process; nothing runs after it.
    bool finalize(bool waitForThreads = true);
    bool isFinalized() const;
    // Ctrl+C in the terminal raises KeyboardInterrupt in the running script, as in python3.
    void catchTerminalInterrupt();
    // Watches Esc while the user's runs execute; a press raises KeyboardInterrupt in the script.
    InterruptWatch &interruptWatch() { return m_watch; }

    bool executeMel(const QString &command) override;
    bool executeMelString(const QString &command, QString &result) override;
    bool executeMelInt(const QString &command, int &result) override;
    bool executeMelDouble(const QString &command, double &result) override;
    bool executeMelStringArray(const QString &command, QStringList &result) override;
    void executeMelOnIdle(const QString &command, bool displayEnabled) override;

    // Every call takes the interpreter lock, which the user-interface thread hands back between calls.
    bool pythonCallableFromAnyThread() const override { return true; }
    bool executePython(const QString &command) override;
    bool executePythonStringList(const QString &command, QStringList &result) override;
    bool executePythonString(const QString &command, QString &result) override;
    bool executePythonInt(const QString &command, int &result) override;
    void executePythonOnIdle(const QString &command, bool displayEnabled = true) override;

    void displayError(const QString &message) override;
    void displayWarning(const QString &message) override;
    void displayInfo(const QString &message) override;

    bool optionVarExists(const QString &name) override;
    int optionVarInt(const QString &name) override;
    void setOptionVarInt(const QString &name, int value) override;

    // No MEL interpreter and nothing to dock into: the window stands on its own.
    bool hasFeature(Feature) const override { return false; }
    // The embedded module's own function: the stop is handed to the editor directly.
    QString debugPauseCallable() const override { return QStringLiteral("__import__('_ke2host').debug_pause"); }
    QWidget *mainWindow() override { return nullptr; }
    QWidget *currentParent() override { return nullptr; }
    QWidget *findControl(const QString &) override { return nullptr; }
    bool addWidgetToLayout(QWidget *, QWidget *) override { return false; }

    bool addCallbacks(QuitCallback onQuit) override;
    bool removeCallbacks() override;

    // Entry for the interpreter's streams and the runner on the host's thread; `type` is a
    // MessageType number. Output queued by other threads is delivered first.
    void emitMessage(const QString &text, int type);
    // Delivers what the script's other threads have written so far.
    void deliverThreadOutput();
    // What a script's flush() does beyond delivering: `--run` pushes its standard output out.
    void setFlushHandler(std::function<void()> handler) { m_flush = std::move(handler); }
    void flushOutput()
    {
        if (m_flush)
            m_flush();
    }

signals:
    // A run from the idle queue has ended and all its output so far has been delivered.
    void runFinished(bool failed);

private:
    struct IdleCommand {
        bool mel;
        QString text;
        bool display;
        QByteArray source; // a file's bytes (null for console text)
        QByteArray path;
    };
    enum class Callbacks { NotYetInstalled, Installed, Removed };

    static void setActive(PythonHost *host);
    void deliverNow(const QString &text, int type);
    void echo(const QString &text);
    void runNextIdle();
    void runIdleCommand(const IdleCommand &command);
    void finishRun(bool failed);
    [[noreturn]] void endForkedChild(bool failed);
    QString optionVarsPath() const;
    void readOptionVars();
    // Evaluates an expression (or runs statements) for a typed result; nothing is printed on
    // failure. `value` receives a new reference to the result, or null for statements.
    bool evaluate(const QString &source, void **value);
    // Answers the MEL the editor needs outside Maya; false for anything else.
    bool answerMel(const QString &command, QVariant &answer);

    QString m_prefsRoot;
    QHash<QString, QVariant> m_optionVars;
    bool m_optionVarsWritable = true;
    QQueue<IdleCommand> m_idle;
    QTimer m_idleTimer;
    std::function<void()> m_flush;
    InterruptWatch m_watch;
    QuitCallback m_onQuit;
    QMetaObject::Connection m_quitConnection;
    Callbacks m_callbacks = Callbacks::NotYetInstalled;
    bool m_finalizing = false;
    bool m_deliveringThreadOutput = false;
    // A run is executing (it may be paused in the debugger, with the window's loop running):
    // queued commands wait for it to end instead of running inside it.
    bool m_running = false;
    int m_errorCount = 0;
    int m_failedRuns = 0;
    int m_exitStatus = 0;
    QString m_exitMessage;
};

} // namespace ke2
