// The debugger's calls into the host's Python.
#include "plugin/host_bridge.h"

#include "plugin/host.h"

#include <QtCore/QFile>

namespace ke2::HostBridge {

QString pythonStringLiteral(const QString &text)
{
    QString literal = QStringLiteral("'");
    const QVector<uint> codePoints = text.toUcs4();
    for (const uint c : codePoints) {
        if (c == '\\' || c == '\'')
            literal += QLatin1Char('\\') + QChar(c);
        else if (c >= 0x20 && c < 0x7f)
            literal += QChar(c);
        else if (c == '\n')
            literal += QLatin1String("\\n");
        else if (c < 0x100)
            literal += QStringLiteral("\\x%1").arg(c, 2, 16, QLatin1Char('0'));
        else if (c < 0x10000)
            literal += QStringLiteral("\\u%1").arg(c, 4, 16, QLatin1Char('0'));
        else
            literal += QStringLiteral("\\U%1").arg(c, 8, 16, QLatin1Char('0'));
    }
    return literal + QLatin1Char('\'');
}

bool prepareDebugger()
{
    Host *active = host();
    if (!active)
        return false;
    int loaded = 0;
    {
        CommandOutput::QuietScope quiet(active->output());
        active->executePythonInt(QStringLiteral("int('KestrelEditorDebugger' in globals())"), loaded);
    }
    if (!loaded) {
        QFile file(pythonDebuggerResource());
        if (!file.open(QIODevice::ReadOnly) || !active->executePythonQuietly(QString::fromLatin1(file.readAll()))) {
            showError(QStringLiteral("Failed to load Python debugger."));
            return false;
        }
    }
    return active->executePythonQuietly(
        QStringLiteral("KestrelEditorDebugger.pause_hook = %1").arg(active->debugPauseCallable()));
}

bool setDebuggerBreakpoints(const QString &pointsJson)
{
    Host *active = host();
    int ok = 0;
    if (active) {
        CommandOutput::QuietScope quiet(active->output());
        active->executePythonInt(
            QStringLiteral("KestrelEditorDebugger.set_breakpoints(%1)").arg(pythonStringLiteral(pointsJson)), ok);
    }
    return ok == 1;
}

void debugPythonText(const QString &source, const QString &fileName, int firstLine, bool pauseOnExceptions)
{
    // The host would echo this call; the user's code is echoed instead, as an executed text is,
    // so that what the run prints is framed as Python output.
    if (Host *active = host()) {
        QString echo = source;
        if (!echo.endsWith(QLatin1Char('\n')))
            echo += QLatin1Char('\n');
        active->output().deliver(echo, MessageType::History);
    }
    // One substitution for every argument: a second arg() would also replace any "%2" or "%02d"
    // inside the user's code.
    executePythonOnIdle(QStringLiteral("KestrelEditorDebugger.run(%1, %2, %3, %4)")
                            .arg(pythonStringLiteral(source), pythonStringLiteral(fileName), QString::number(firstLine),
                                 pauseOnExceptions ? QStringLiteral("True") : QStringLiteral("False")),
                        false);
}

QString debuggerQuery(const QString &call)
{
    Host *active = host();
    QString result;
    if (active) {
        CommandOutput::QuietScope quiet(active->output());
        if (!active->executePythonString(QStringLiteral("KestrelEditorDebugger.") + call, result))
            result.clear();
    }
    return result;
}

} // namespace ke2::HostBridge
