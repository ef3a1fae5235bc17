#include "plugin/host_bridge.h"

#include "plugin/host.h"
#include "plugin/host_bridge_internal.h"
#include "plugin/python_analysis_thread.h"

namespace ke2::HostBridge {
namespace {
Host *g_host = nullptr;

QString queryString(const QString &command)
{
    QString result;
    if (!executeMel(command, result))
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
    if (g_host != host) {
        PythonAnalysisThread::Drain(); // nothing may still be asking the host that goes
        resetCaches();
    }
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

// ---- Primitives ---------------------------------------------------------------------------------

bool executeMel(const QString &command)
{
    return g_host && g_host->executeMel(command);
}

bool executeMel(const QString &command, QString &result)
{
    return g_host && g_host->executeMelString(command, result);
}

bool executeMel(const QString &command, int &result)
{
    return g_host && g_host->executeMelInt(command, result);
}

bool executeMel(const QString &command, double &result)
{
    return g_host && g_host->executeMelDouble(command, result);
}

bool executeMel(const QString &command, QStringList &result)
{
    return g_host && g_host->executeMelStringArray(command, result);
}

void executeMelOnIdle(const QString &command, bool displayEnabled)
{
    if (g_host)
        g_host->executeMelOnIdle(command, displayEnabled);
}

bool executePython(const QString &command)
{
    return g_host && g_host->executePython(command);
}

bool executePythonQuietly(const QString &command)
{
    return g_host && g_host->executePythonQuietly(command);
}

void executePythonOnIdle(const QString &command, bool displayEnabled)
{
    if (g_host)
        g_host->executePythonOnIdle(command, displayEnabled);
}

bool executePython(const QString &command, QStringList &result)
{
    result.clear();
    return g_host && g_host->executePythonStringList(command, result);
}

bool isQuiet()
{
    return g_host && g_host->output().isQuiet();
}

// ---- Paths and simple queries -------------------------------------------------------------------

QString userPrefDir()
{
    return queryString(QStringLiteral("internalVar -userPrefDir"));
}

QString userScriptDir()
{
    return queryString(QStringLiteral("internalVar -userScriptDir"));
}

void resetCaches()
{
    refreshCaches();
    internal::resetMelLists();
}

void refreshCaches()
{
    internal::resetMenuState();
    internal::resetPythonCaches();
    internal::resetDpiScale();
}

bool isBatch()
{
    int batch = 0;
    return executeMel(QStringLiteral("about -batch"), batch) && batch != 0;
}

} // namespace ke2::HostBridge
