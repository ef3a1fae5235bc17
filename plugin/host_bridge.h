#pragma once

#include <QtCore/QString>

namespace ke2 {

class Host;

// Every conversation between the editor and its host goes through these functions: they build
// the command texts, run them through the active host and turn the answers into Qt values. Other
// folders never compose host commands themselves.
namespace HostBridge {

// The process-wide host: set by the start-up routine (and by tests); null when there is none,
// in which case every query answers false, empty or its neutral value.
Host *host();
void setHost(Host *host);

// The prefix of every message the editor shows in the host's output.
inline QString messagePrefix() { return QStringLiteral("[KestrelEditor2] "); }
void showError(const QString &message);
void showWarning(const QString &message);
void showInfo(const QString &message);

// "internalVar -userPrefDir" and "internalVar -userScriptDir"; empty on failure.
QString userPrefDir();
QString userScriptDir();

} // namespace HostBridge
} // namespace ke2
