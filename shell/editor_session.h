#pragma once

#include "shell/editor_window.h"

#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtWidgets/QWidget>

#include <functional>

namespace ke2 {

class Host;

// The editor's life inside its host: the start-up and shut-down sequences, the host command's
// flags, the window and the callbacks. Host-independent: the plug-in's entry points and
// `kestrel-editor` both run it, and the steps a host cannot do are skipped because the host says
// it lacks the feature.
class EditorSession {
public:
    enum class StartResult { Started, Batch, RegistrationFailed };
    enum class StopResult { Stopped, Batch, CallbacksKept };

    // The process-wide session.
    static EditorSession &instance();

    EditorSession() = default;
    EditorSession(const EditorSession &) = delete;
    EditorSession &operator=(const EditorSession &) = delete;

    // Makes `host` the active host, then (unless the host runs without a user interface) loads
    // the embedded scripts, calls `registerCommand`, runs the set-up steps and installs the
    // callbacks. A null `registerCommand` means there is no command to register.
    StartResult startUp(Host &host, const std::function<bool()> &registerCommand = {});
    // Removes the callbacks, tears the window down and calls `deregisterCommand`. Stops early,
    // keeping everything, when the callbacks cannot be removed.
    StopResult shutDown(const std::function<void()> &deregisterCommand = {});
    // Menu item, Script Editor button, workspace control and window; used at unload and quit.
    void tearDownGui();
    // Clipboard data may have been made by the editor's code; it must not outlive the plug-in.
    static void releaseClipboard();

    // --- The host command, one operation per flag ---
    static QString version();
    bool clearOutput();
    bool openFile(const QString &path);
    // Creates or restores the workspace control and puts the window in it; without a docking
    // host the window is shown as a top-level window.
    bool show();

    bool hasWindow() const { return !m_widget.isNull(); }
    QWidget *window() const { return m_widget.data(); }

    // The construction point of the window; tests put their own widget here.
    void setWindowFactory(EditorWindowFactory factory) { m_factory = std::move(factory); }

private:
    void setUp();
    void installCallbacks();
    void createWindowIfNeeded();
    void addWindowToControl(QWidget *parent);

    EditorWindowFactory m_factory;
    EditorWindow m_window;
    QPointer<QWidget> m_widget;
    bool m_firstShow = true;
};

} // namespace ke2
