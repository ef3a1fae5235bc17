#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

namespace ke2 {

class PythonHost;

// What `kestrel-editor` was asked to do.
struct CommandLine {
    enum class Mode { Window, Run, Screenshot, Check, Help, Version, Invalid };

    Mode mode = Mode::Window;
    QString path;  // the script of --run, the image of --screenshot
    int pathArgument = -1; // index of `path` in the arguments: the file name's own bytes are there
    QStringList files; // opened as tabs in the window (and in the screenshot); checked by --check
    QString error; // why the arguments were refused (Mode::Invalid)

    // `arguments` without the program name.
    static CommandLine parse(const QStringList &arguments);
    static QString usage();
    static QString versionText();
};

// Exit codes of `--run`.
enum RunExit { RunSucceeded = 0, RunReportedError = 1, RunBadInput = 2 };

// Runs a script file the way the editor's Execute runs a buffer (Python, or MEL for ".mel", queued
// on idle with echo, then drained) and then ends the interpreter as python3 would: the script's
// threads are waited for, at-exit handlers run, files left open are closed. Every framed line
// goes to `write`; a file that cannot be read is described through `fail`. `nativePath` is the
// file name as the system spells it, which need not be valid text.
int runScriptFile(PythonHost &host, const QByteArray &nativePath,
                  const std::function<void(const QString &)> &write,
                  const std::function<void(const QString &)> &fail);

} // namespace ke2
