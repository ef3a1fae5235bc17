#pragma once

#include "plugin/command_output.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

class QWidget;

namespace ke2 {

// The one port through which the editor talks to its host application. Three adapters implement
// it: Maya (plug-in), an embedded Python interpreter (standalone program) and a scripted fake
// (tests). Adapters stay thin; every decision about command texts, messages and framing lives in
// host-independent code above this port.
//
// The primitives mirror what the host offers: none of them throws, failures are return values.
class Host {
public:
    using QuitCallback = std::function<void()>;

    Host() = default;
    virtual ~Host();
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    // Raw host output enters here and leaves framed towards the output panel.
    CommandOutput &output() { return m_output; }
    const CommandOutput &output() const { return m_output; }

    // --- MEL, synchronous (display and undo off) ---
    virtual bool executeMel(const QString &command) = 0;
    // Each "for a ..." call assigns the result only when the command succeeded and the result
    // had the asked type.
    virtual bool executeMelString(const QString &command, QString &result) = 0;
    virtual bool executeMelInt(const QString &command, int &result) = 0;
    virtual bool executeMelDouble(const QString &command, double &result) = 0;
    virtual bool executeMelStringArray(const QString &command, QStringList &result) = 0;
    // --- MEL, queued for the host's next idle moment ---
    virtual void executeMelOnIdle(const QString &command, bool displayEnabled) = 0;

    // --- Python, synchronous in the host's main namespace (display and undo off) ---
    virtual bool executePython(const QString &command) = 0;
    // The list is cleared first, then filled with every element.
    virtual bool executePythonStringList(const QString &command, QStringList &result) = 0;
    virtual bool executePythonString(const QString &command, QString &result) = 0;
    virtual bool executePythonInt(const QString &command, int &result) = 0;
    // --- Python, queued for the host's next idle moment ---
    virtual void executePythonOnIdle(const QString &command, bool displayEnabled = true) = 0;

    // Runs a Python command while its output is kept from the output panel: the plug-in's own
    // internal calls never show up among the user's output.
    bool executePythonQuietly(const QString &command);

    // --- Messages in the host's own output ---
    virtual void displayError(const QString &message) = 0;
    virtual void displayWarning(const QString &message) = 0;
    virtual void displayInfo(const QString &message) = 0;

    // --- Option variables (the host's persistent preferences) ---
    virtual bool optionVarExists(const QString &name) = 0;
    // 0 when the variable does not exist or is not an integer.
    virtual int optionVarInt(const QString &name) = 0;
    virtual void setOptionVarInt(const QString &name, int value) = 0;

    // --- What the host has. Maya has everything; the standalone host has no MEL interpreter
    // and no docking layout, menus or shelf, and start-up skips what it lacks. ---
    enum class Feature {
        Mel,        // runs MEL (embedded MEL procedures, MEL name lists)
        DockingUi,  // workspace controls, the main menu bar and the shelf
    };
    virtual bool hasFeature(Feature feature) const;
    // Whether the Python calls above may be made from a thread other than the user-interface one
    // (the interpreter takes its own lock). Maya's Python may not.
    virtual bool pythonCallableFromAnyThread() const { return false; }

    // A Python callable expression, evaluated in the host's `__main__`, that hands a debugger
    // stop to the editor and returns the user's action (see DebugPause). Inside Maya it is the
    // plug-in's own command.
    virtual QString debugPauseCallable() const;

    // --- Host user interface; null / false where the host has none ---
    virtual QWidget *mainWindow() = 0;
    virtual QWidget *currentParent() = 0;
    virtual QWidget *findControl(const QString &name) = 0;
    virtual bool addWidgetToLayout(QWidget *widget, QWidget *parent) = 0;

    // --- Callbacks: the host's quit event and its command output (fed into output()) ---
    virtual bool addCallbacks(QuitCallback onQuit) = 0;
    // Succeeds trivially when nothing is installed.
    virtual bool removeCallbacks() = 0;

private:
    CommandOutput m_output;
};

} // namespace ke2
