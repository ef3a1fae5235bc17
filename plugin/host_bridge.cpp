#include "plugin/host_bridge.h"

#include "plugin/host.h"

namespace ke2::HostBridge {
namespace {
Host *g_host = nullptr;

QString queryString(const QString &command)
{
    QString result;
    if (!g_host || !g_host->executeMelString(command, result))
        return QString();
    return result;
}
} // namespace

Host *host()
{
    return g_host;
}

void setHost(Host *host)
{
    g_host = host;
}

void showError(const QString &message)
{
    if (g_host)
        g_host->displayError(messagePrefix() + message);
}

void showWarning(const QString &message)
{
    if (g_host)
        g_host->displayWarning(messagePrefix() + message);
}

void showInfo(const QString &message)
{
    if (g_host)
        g_host->displayInfo(messagePrefix() + message);
}

QString userPrefDir()
{
    return queryString(QStringLiteral("internalVar -userPrefDir"));
}

QString userScriptDir()
{
    return queryString(QStringLiteral("internalVar -userScriptDir"));
}

} // namespace ke2::HostBridge
