#include "shell/editor_session.h"

#include "config/color_scheme.h"
#include "config/settings.h"

#include "plugin/host.h"
#include "plugin/host_bridge.h"

#include <QtCore/QFileInfo>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>

namespace ke2 {

EditorSession &EditorSession::instance()
{
    static EditorSession session;
    return session;
}

EditorSession::StartResult EditorSession::startUp(Host &host, const std::function<bool()> &registerCommand)
{
    HostBridge::setHost(&host);
    m_firstShow = true;
    // Without a user interface (a batch session) the editor has nothing to do.
    if (HostBridge::isBatch())
        return StartResult::Batch;
    HostBridge::loadEmbeddedScripts();
    if (registerCommand && !registerCommand())
        return StartResult::RegistrationFailed;
    setUp();
    installCallbacks();
    return StartResult::Started;
}

void EditorSession::setUp()
{
    Host *host = HostBridge::host();
    const bool docking = host->hasFeature(Host::Feature::DockingUi);
    Settings &settings = Settings::instance();
    settings.read();
    ColorScheme::instance().read();

    if (settings.outputDisableEchoAllOnStartup) {
        HostBridge::setEchoAllCommands(false);
    } else if (HostBridge::echoAllCommands()) {
        // Echoing everything and hiding the echoes contradict each other; only memory changes.
        settings.outputMinimalTrace = false;
    }
    if (docking)
        HostBridge::createMenuItem();
    if (host->hasFeature(Host::Feature::Mel))
        HostBridge::loadMelLists();
    HostBridge::setSuppressStackWindow(settings.suppressStackWindow);
    HostBridge::queryDpiScale();
    if (docking && settings.overrideScriptEditorButton)
        HostBridge::overrideScriptEditorButton();
    if (settings.pythonImportPyMelOnLoad)
        HostBridge::importPyMel();
}

void EditorSession::installCallbacks()
{
    Host *host = HostBridge::host();
    host->removeCallbacks();
    if (!host->addCallbacks([this] { tearDownGui(); }))
        HostBridge::showError(QStringLiteral("Failed to add callbacks"));
}

EditorSession::StopResult EditorSession::shutDown(const std::function<void()> &deregisterCommand)
{
    Host *host = HostBridge::host();
    if (!host || HostBridge::isBatch())
        return StopResult::Batch;
    if (!host->removeCallbacks()) {
        HostBridge::showError(QStringLiteral("Failed to remove callbacks"));
        return StopResult::CallbacksKept;
    }
    tearDownGui();
    if (deregisterCommand)
        deregisterCommand();
    return StopResult::Stopped;
}

void EditorSession::tearDownGui()
{
    Host *host = HostBridge::host();
    HostBridge::removeMenuItem();
    HostBridge::restoreScriptEditorButton();
    if (host && host->hasFeature(Host::Feature::DockingUi))
        HostBridge::closeWorkspaceControl();
    // What the window says while it closes (a save that fails, a worker that will not stop)
    // still reaches its output: the receiver goes only once the window is gone.
    if (m_widget) {
        if (m_window.tearDown)
            m_window.tearDown();
        QWidget *widget = m_widget.data();
        m_widget.clear();
        widget->setParent(nullptr);
        delete widget;
    }
    if (host)
        host->output().setReceiver(nullptr);
    m_window = EditorWindow();
}

void EditorSession::releaseClipboard()
{
    if (QGuiApplication::instance())
        QGuiApplication::clipboard()->clear();
}

QString EditorSession::version()
{
    return HostBridge::pluginVersion();
}

bool EditorSession::clearOutput()
{
    if (hasWindow()) {
        if (m_window.clearOutput)
            m_window.clearOutput();
    } else {
        HostBridge::clearExistingHistory();
    }
    return true;
}

bool EditorSession::openFile(const QString &path)
{
    if (path.isEmpty())
        return true;
    const QFileInfo info(path);
    if (!info.exists()) {
        HostBridge::showError(QStringLiteral("File not found: %1").arg(path));
        return false;
    }
    if (!info.isFile()) {
        HostBridge::showError(QStringLiteral("Invalid file path: %1").arg(path));
        return false;
    }
    // The command never creates the window to open a file; a window that cannot open files
    // counts as none, so the command never reports success for a file it did not open.
    if (!hasWindow() || !m_window.openFile) {
        HostBridge::showError(QStringLiteral("Kestrel Editor 2 GUI has not been initialized."));
        return false;
    }
    m_window.openFile(path, false);
    return true;
}

bool EditorSession::show()
{
    const bool firstShow = m_firstShow;
    m_firstShow = false;
    Host *host = HostBridge::host();
    if (!host)
        return false;
    if (!host->hasFeature(Host::Feature::DockingUi)) {
        createWindowIfNeeded();
        if (!m_widget)
            return false;
        m_widget->show();
        m_widget->raise();
        m_widget->activateWindow();
        return true;
    }
    if (HostBridge::workspaceControlExists()) {
        // A control the host brought back collapsed from a saved layout stays collapsed.
        if (firstShow && HostBridge::workspaceControlCollapsed()) {
            createWindowIfNeeded();
            addWindowToControl(nullptr);
            return true;
        }
        HostBridge::restoreWorkspaceControl(true);
        if (!hasWindow()) {
            createWindowIfNeeded();
            addWindowToControl(nullptr);
        }
        return true;
    }
    QWidget *parent = HostBridge::createWorkspaceControl(Settings::instance().windowGeometry);
    if (!parent) {
        HostBridge::showError(QStringLiteral("Failed to create workspace control"));
        HostBridge::showError(QStringLiteral("%1 setup failed. (See script editor for details").arg(HostBridge::pluginName()));
        return false;
    }
    createWindowIfNeeded();
    addWindowToControl(parent);
    return true;
}

void EditorSession::createWindowIfNeeded()
{
    if (hasWindow())
        return;
    m_window = m_factory ? m_factory() : createEditorWindow();
    m_widget = m_window.widget;
    if (Host *host = HostBridge::host()) {
        host->output().setReceiver([this](const QString &text) {
            if (m_widget && m_window.appendOutput)
                m_window.appendOutput(text);
        });
    }
}

void EditorSession::addWindowToControl(QWidget *parent)
{
    Host *host = HostBridge::host();
    if (!host || !m_widget)
        return;
    if (!parent)
        parent = host->findControl(HostBridge::workspaceControlName());
    host->addWidgetToLayout(m_widget, parent);
}

} // namespace ke2
