#pragma once

#include <QtCore/QString>

#include <functional>

namespace ke2 {

// Where the debugger's trace function reaches the editor from the host's Python: the embedded
// module of the standalone program and the plug-in's command both hand the stop's description
// here and return the answer (the action the user chose) to the paused script.
namespace DebugPause {

using Handler = std::function<QString(const QString &info)>;

// One handler per process: the window's debug session while it exists.
void setHandler(Handler handler);
bool hasHandler();
// Without a handler the run goes on as if the user had chosen Continue.
QString call(const QString &info);

// What ends a waiting stop with Stop (the window's debug session sets it).
void setCanceller(std::function<void()> cancel);
// True while a stop waits for the user.
bool isWaiting();
// Stops the run that waits, so that it ends once control returns to it; false when none waits.
bool cancelWaiting();
// Esc while a stop waits: Python's own interrupt would surface in whatever the editor asks the
// paused run, so the request is noted instead and the waiting stop takes it (takeInterrupt) and
// ends the run as interrupted. Async-signal-safe: the Esc watch may call it from a signal handler.
void requestInterrupt();
bool takeInterrupt();
// What the plug-in says when it is unloaded while a stop waits: the run is stopped, the plug-in
// stays loaded for now.
inline QString unloadWhilePausedMessage()
{
    return QStringLiteral("A debug run was paused: it has been stopped. Unload the plug-in again once it has ended.");
}

} // namespace DebugPause

} // namespace ke2
