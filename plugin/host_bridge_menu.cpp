// The menu item in the host's Windows menu and the takeover of its Script Editor button.
#include "plugin/host_bridge.h"
#include "plugin/host_bridge_internal.h"

namespace ke2::HostBridge {
namespace {
QString g_menuItem;
QString g_scriptEditorButton;
} // namespace

void createMenuItem()
{
    if (!g_menuItem.isEmpty())
        return;
    QString name;
    if (!executeMel(QStringLiteral("hxCreateKestrelEditorMenuItem(\"%1\", \"%2\")").arg(displayName(), commandName()), name)
        || name.isEmpty()) {
        showError(QStringLiteral("Failed to create '%1' menu item").arg(displayName()));
        g_menuItem.clear();
        return;
    }
    g_menuItem = name;
}

void removeMenuItem()
{
    if (g_menuItem.isEmpty())
        return;
    if (!executeMel(QStringLiteral("deleteUI -mi %1").arg(g_menuItem))) {
        showError(QStringLiteral("Failed to remove '%1' menu item").arg(displayName()));
        return;
    }
    g_menuItem.clear();
}

QString menuItemName()
{
    return g_menuItem;
}

void overrideScriptEditorButton()
{
    if (!g_scriptEditorButton.isEmpty())
        return;
    QString button;
    if (!executeMel(QStringLiteral("hxGetScriptEditorButtonName()"), button) || button.isEmpty()) {
        showError(QStringLiteral("Failed to identify Script Editor button"));
        return;
    }
    g_scriptEditorButton = button;
    if (!executeMel(QStringLiteral("symbolButton -e -c \"%1\" %2").arg(commandName(), button))) {
        showError(QStringLiteral("Failed to override Script Editor button command"));
        return;
    }
    if (!executeMel(QStringLiteral("symbolButton -e -ann \"%1\" %2").arg(displayName(), button)))
        showError(QStringLiteral("Failed to override Script Editor button annotation"));
}

void restoreScriptEditorButton()
{
    if (g_scriptEditorButton.isEmpty())
        return;
    if (!executeMel(QStringLiteral("symbolButton -e -c \"%1\" %2")
                        .arg(QStringLiteral("ScriptEditor"), g_scriptEditorButton))) {
        showError(QStringLiteral("Failed to restore Script Editor button command"));
        return;
    }
    if (!executeMel(QStringLiteral("symbolButton -e -ann \"%1\" %2")
                        .arg(QStringLiteral("Script Editor"), g_scriptEditorButton))) {
        showError(QStringLiteral("Failed to restore Script Editor button annotation"));
        return;
    }
    g_scriptEditorButton.clear();
}

QString scriptEditorButtonName()
{
    return g_scriptEditorButton;
}

void internal::resetMenuState()
{
    g_menuItem.clear();
    g_scriptEditorButton.clear();
}

} // namespace ke2::HostBridge
