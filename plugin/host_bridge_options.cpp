// Echo, trace and stack-window options, and the host's interface scale.
#include "plugin/host_bridge.h"
#include "plugin/host_bridge_internal.h"

#include "plugin/host.h"


namespace ke2::HostBridge {
namespace {
double g_dpiScale = 1.0;

// The host's own Script Editor reads the same option variable, so both show the same state.
void setMirrored(const QString &command, const QString &optionVar, bool on)
{
    executeMelOnIdle(command + QString::number(on ? 1 : 0), false);
    if (host())
        host()->setOptionVarInt(optionVar, on ? 1 : 0);
}

bool optionVarOn(const QString &optionVar)
{
    return host() && host()->optionVarInt(optionVar) != 0;
}
} // namespace

void setEchoAllCommands(bool on)
{
    setMirrored(QStringLiteral("commandEcho -state "), QStringLiteral("echoAllLines"), on);
}

bool echoAllCommands()
{
    return optionVarOn(QStringLiteral("echoAllLines"));
}

void setShowLineNumbers(bool on)
{
    setMirrored(QStringLiteral("commandEcho -lineNumbers "), QStringLiteral("showLineNumbersIsOn"), on);
}

bool showLineNumbers()
{
    return optionVarOn(QStringLiteral("showLineNumbersIsOn"));
}

void setStackTrace(bool on)
{
    setMirrored(QStringLiteral("stackTrace -state "), QStringLiteral("stackTraceIsOn"), on);
}

bool stackTrace()
{
    return optionVarOn(QStringLiteral("stackTraceIsOn"));
}

void setSuppressStackWindow(bool on)
{
    executeMelOnIdle(QStringLiteral("scriptEditorInfo -ssw ") + QString::number(on ? 1 : 0), false);
}

double queryDpiScale()
{
    g_dpiScale = 1.0;
    int mode = 0;
    double scale = 1.0;
    if (executeMel(QStringLiteral("mayaDpiSetting -q -m;"), mode) && mode == 1
        && executeMel(QStringLiteral("mayaDpiSetting -q -rsv;"), scale))
        g_dpiScale = scale;
    return g_dpiScale;
}

double dpiScale()
{
    return g_dpiScale;
}

void internal::resetDpiScale()
{
    g_dpiScale = 1.0;
}

} // namespace ke2::HostBridge
