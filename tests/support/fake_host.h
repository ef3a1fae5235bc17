#pragma once

#include "plugin/host.h"
#include "plugin/host_bridge.h"

#include <QtCore/QHash>
#include <QtCore/QVariant>
#include <QtCore/QVector>

namespace ke2::test {

// A scripted host. Every command text is recorded in order; answers come from a table the test
// fills (exact text → value), then from an optional handler; anything else fails.
class FakeHost : public Host {
public:
    enum class Kind { Mel, MelOnIdle, Python, PythonOnIdle, Error, Warning, Info };
    struct Command {
        Kind kind;
        QString text;
        bool display = false; // on-idle commands only
        bool quiet = false;   // the quiet-execution flag when the command was sent
        bool operator==(const Command &other) const
        {
            return kind == other.kind && text == other.text;
        }
    };
    // A value of QString, int, double or QStringList type; an invalid QVariant means "fails".
    using Handler = std::function<std::optional<QVariant>(Kind kind, const QString &text)>;

    // Answer `text` with `value`; the command succeeds whatever the value's type.
    void answer(const QString &text, const QVariant &value) { m_answers.insert(text, value); }
    // Make `text` fail.
    void fail(const QString &text) { m_answers.insert(text, QVariant()); }
    void setHandler(Handler handler) { m_handler = std::move(handler); }

    const QVector<Command> &commands() const { return m_commands; }
    QStringList texts() const;                // every recorded text, in order
    QStringList texts(Kind kind) const;       // those of one kind
    void clearCommands() { m_commands.clear(); }

    // The idle queue: commands stay queued until the test runs them in order; returns how many ran.
    int runIdle();

    // Emits a raw host output message, as the host's output callback would.
    void emitOutput(const QString &text, MessageType type) { emitOutput(text, static_cast<int>(type)); }
    void emitOutput(const QString &text, int type);
    void fireQuit();

    // Widgets the host UI calls answer with; null by default.
    QWidget *mainWindowWidget = nullptr;
    QWidget *currentParentWidget = nullptr;
    QHash<QString, QWidget *> controls;
    QVector<QPair<QWidget *, QWidget *>> addedToLayout;
    QHash<QString, int> optionVars;
    // Like Maya by default; a test turns these off to act as a host without them.
    bool hasMel = true;
    bool hasDockingUi = true;

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
    bool optionVarExists(const QString &name) override { return optionVars.contains(name); }
    int optionVarInt(const QString &name) override { return optionVars.value(name); }
    void setOptionVarInt(const QString &name, int value) override { optionVars.insert(name, value); }
    bool hasFeature(Feature feature) const override
    {
        return feature == Feature::Mel ? hasMel : hasDockingUi;
    }
    QWidget *mainWindow() override { return mainWindowWidget; }
    QWidget *currentParent() override { return currentParentWidget; }
    QWidget *findControl(const QString &name) override { return controls.value(name); }
    bool addWidgetToLayout(QWidget *widget, QWidget *parent) override;
    bool addCallbacks(QuitCallback onQuit) override;
    bool removeCallbacks() override;

private:
    std::optional<QVariant> lookup(Kind kind, const QString &text);
    // Records `command` and reads its answer into `result` if it is of `type` (or `alsoType`).
    template <typename T>
    bool answerAs(Kind kind, const QString &command, T &result, int type, int alsoType = -1);
    void record(Kind kind, const QString &text, bool display = false);

    QHash<QString, QVariant> m_answers;
    Handler m_handler;
    QVector<Command> m_commands;
    QVector<Command> m_idle;
    QuitCallback m_onQuit;
    bool m_callbacksInstalled = false;
};

// Installs `host` as the bridge's host for the lifetime of the object; the previous one comes back.
class ScopedHost {
public:
    explicit ScopedHost(Host *host)
        : m_previous(HostBridge::host())
    {
        HostBridge::setHost(host);
    }
    ~ScopedHost() { HostBridge::setHost(m_previous); }
    ScopedHost(const ScopedHost &) = delete;
    ScopedHost &operator=(const ScopedHost &) = delete;

private:
    Host *m_previous;
};

} // namespace ke2::test
