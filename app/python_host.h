#pragma once

#include "plugin/host.h"

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QQueue>
#include <QtCore/QTimer>

#include <memory>

class QSettings;

namespace ke2 {

// The standalone program's host: an embedded CPython interpreter running in `__main__`, as Maya's
// does. Python output reaches the editor through the same framing as Maya's command-output
// callback. The few MEL queries the editor sends are answered natively; other MEL fails, because
// MEL needs a Maya session.
//
// The interpreter is process-wide and lives until the process ends; one PythonHost is active at a
// time and owns the streams while it lives.
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

    // Error messages delivered since construction (what `--run` turns into its exit code).
    int errorCount() const { return m_errorCount; }

    bool executeMel(const QString &command) override;
    bool executeMelString(const QString &command, QString &result) override;
    bool executeMelInt(const QString &command, int &result) override;
    bool executeMelDouble(const QString &command, double &result) override;
    bool executeMelStringArray(const QString &command, QStringList &result) override;
    void executeMelOnIdle(const QString &command, bool displayEnabled) override;

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
    QWidget *mainWindow() override { return nullptr; }
    QWidget *currentParent() override { return nullptr; }
    QWidget *findControl(const QString &) override { return nullptr; }
    bool addWidgetToLayout(QWidget *, QWidget *) override { return false; }

    bool addCallbacks(QuitCallback onQuit) override;
    bool removeCallbacks() override;

    // Entry for the interpreter's streams and the runner; `type` is a MessageType number.
    void emitMessage(const QString &text, int type);

private:
    struct IdleCommand {
        bool mel;
        QString text;
        bool display;
    };
    void runNextIdle();
    void runIdleCommand(const IdleCommand &command);
    // Evaluates an expression (or runs statements) for a typed result; nothing is printed on
    // failure. `value` receives a new reference to the result, or null for statements.
    bool evaluate(const QString &source, void **value);
    // Answers the MEL the editor needs outside Maya; false for anything else.
    bool answerMel(const QString &command, QVariant &answer);
    QString optionVarsFile() const;

    QString m_prefsRoot;
    QHash<QString, int> m_optionVars; // what optionVars.ini held at start, and every change since
    QQueue<IdleCommand> m_idle;
    QTimer m_idleTimer;
    QuitCallback m_onQuit;
    QMetaObject::Connection m_quitConnection;
    bool m_callbacksInstalled = false;
    int m_errorCount = 0;
};

} // namespace ke2
