// The workspace control: the host's dockable container that holds the editor window.
#include "plugin/host_bridge.h"

#include "plugin/host.h"

namespace ke2::HostBridge {
namespace {

bool queryControl(const QString &flag)
{
    int value = 0;
    return executeMel(QStringLiteral("workspaceControl -q %1 %2").arg(flag, workspaceControlName()), value)
           && value != 0;
}

} // namespace

bool workspaceControlExists()
{
    return queryControl(QStringLiteral("-exists"));
}

bool workspaceControlCollapsed()
{
    return queryControl(QStringLiteral("-collapse"));
}

bool workspaceControlFloating()
{
    return queryControl(QStringLiteral("-floating"));
}

bool workspaceControlVisible()
{
    return queryControl(QStringLiteral("-visible"));
}

void restoreWorkspaceControl(bool show)
{
    executeMel(QStringLiteral("workspaceControl -e") + (show ? QStringLiteral(" -restore") : QStringLiteral(" -visible 0"))
               + QStringLiteral(" %1").arg(workspaceControlName()));
}

void closeWorkspaceControl()
{
    executeMel(QStringLiteral("workspaceControl -e -close %1").arg(workspaceControlName()));
}

void setWorkspaceControlLabel(const QString &title)
{
    // A docked control sits among the host's tabs, where only the product name makes sense.
    const QString label = workspaceControlFloating() ? title : displayName();
    executeMel(QStringLiteral("workspaceControl -e -label \"%1\" %2").arg(label, workspaceControlName()));
}

QWidget *createWorkspaceControl(const QRect &savedGeometry)
{
    if (!host() || workspaceControlExists())
        return nullptr;
    // Hidden and floating first, so it can be placed before the user sees it; retained so that
    // closing it only hides the window inside.
    QString command = QStringLiteral("workspaceControl");
    command += QStringLiteral(" -label \"%1\"").arg(displayName());
    command += QStringLiteral(" -retain 1");
    command += QStringLiteral(" -floating 1");
    command += QStringLiteral(" -visible 0");
    command += QStringLiteral(" -requiredPlugin %1").arg(pluginName());
    command += QStringLiteral(" -checksPlugins 1");
    command += QStringLiteral(" %1").arg(workspaceControlName());
    executeMel(command);
    if (!workspaceControlExists())
        return nullptr;
    QWidget *parent = host()->currentParent();
    if (!parent)
        return nullptr;
    if (savedGeometry.left() <= savedGeometry.right() && savedGeometry.top() <= savedGeometry.bottom()) {
        executeMel(QStringLiteral("workspaceControlState -e -tlc %1 %2 -width %3 -height %4 %5")
                       .arg(savedGeometry.top())
                       .arg(savedGeometry.left())
                       .arg(savedGeometry.right() - savedGeometry.left() + 1)
                       .arg(savedGeometry.bottom() - savedGeometry.top() + 1)
                       .arg(workspaceControlName()));
    }
    // The host calls the command again to fill the control when it rebuilds a saved layout.
    executeMel(QStringLiteral("workspaceControl -e -uiScript %1 %2").arg(commandName(), workspaceControlName()));
    restoreWorkspaceControl(true);
    return parent;
}

} // namespace ke2::HostBridge
