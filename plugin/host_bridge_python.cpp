// Calls into the host's Python: the helper class and the analysis script.
#include "plugin/host_bridge.h"
#include "plugin/host_bridge_internal.h"

#include "plugin/host.h"

#include <QtCore/QDir>

namespace ke2::HostBridge {
namespace {
QStringList g_keywords;
QStringList g_builtins;
QString g_version;
QString g_pythonPath;

// The analysis calls run quietly, and a trailing "pass" replaces the interpreter's last result
// so that the host does not keep (and later print) what the call returned.
bool quietStringList(const QString &command, QStringList &result)
{
    result.clear();
    Host *active = host();
    if (!active)
        return false;
    bool ok = false;
    {
        CommandOutput::QuietScope quiet(active->output());
        ok = active->executePythonStringList(command, result);
    }
    active->executePythonQuietly(QStringLiteral("pass"));
    return ok;
}

// The user's folders as a list the platform's Python reads: either separator is accepted in what
// was typed, and the result uses the platform's own (the one os.pathsep gives).
QString platformPathList(const QString &typed)
{
    QStringList folders;
    QString folder;
    const auto flush = [&] {
        if (!folder.trimmed().isEmpty())
            folders.append(folder.trimmed());
        folder.clear();
    };
    for (const QChar ch : typed) {
        bool separator = ch == QLatin1Char(';');
#ifdef Q_OS_WIN
        // "C:" is a drive, not the end of a folder.
        const QString sofar = folder.trimmed();
        separator = separator || (ch == QLatin1Char(':') && !(sofar.size() == 1 && sofar.at(0).isLetter()));
#else
        separator = separator || ch == QLatin1Char(':');
#endif
        if (separator)
            flush();
        else
            folder += ch;
    }
    flush();
    return folders.join(QDir::listSeparator());
}
} // namespace

QStringList pythonKeywords()
{
    if (g_keywords.isEmpty())
        executePython(QStringLiteral("KestrelEditorHelpers.list_keywords()"), g_keywords);
    return g_keywords;
}

QStringList pythonBuiltins()
{
    if (g_builtins.isEmpty())
        executePython(QStringLiteral("KestrelEditorHelpers.list_builtins()"), g_builtins);
    return g_builtins;
}

QString pythonVersion()
{
    if (g_version.isEmpty() && host()) {
        QString version;
        if (host()->executePythonString(QStringLiteral("KestrelEditorHelpers.python_version()"), version))
            g_version = version;
    }
    return g_version;
}

QString parsePythonCommand(const QString &source, const QString &objectExpression, bool includeKeywords,
                           bool includeBuiltins)
{
    const QString keywords = includeKeywords ? QStringLiteral("1") : QStringLiteral("0");
    const QString builtins = includeBuiltins ? QStringLiteral("1") : QStringLiteral("0");
    // Concatenated rather than QString::arg: the buffer is megabytes and holds "%" signs.
    QString command;
    command.reserve(source.size() + objectExpression.size() + 64);
    command += QLatin1String("KestrelEditorParser().parse_source(\"");
    command += source;
    command += QLatin1String("\", ");
    if (objectExpression.isEmpty()) {
        command += QLatin1String("None");
    } else {
        command += QLatin1Char('"');
        command += objectExpression;
        command += QLatin1Char('"');
    }
    command += QLatin1String(", ") + keywords + QLatin1String(", ") + builtins + QLatin1Char(')');
    return command;
}

QStringList parsePython(const QString &source, const QString &objectExpression, bool includeKeywords,
                        bool includeBuiltins)
{
    if (!host())
        return {};
    QStringList result;
    quietStringList(parsePythonCommand(source, objectExpression, includeKeywords, includeBuiltins), result);
    return result;
}

QStringList parsePythonOffThread(Host &host, const QString &command)
{
    QStringList result;
    if (!host.executePythonStringList(command, result))
        result.clear();
    host.executePython(QStringLiteral("pass"));
    return result;
}

bool executePythonStatement(const QString &statement)
{
    Host *active = host();
    if (!active)
        return false;
    int result = 0;
    bool ok = false;
    {
        CommandOutput::QuietScope quiet(active->output());
        ok = active->executePythonInt(QStringLiteral("KestrelEditorParser.exec_statement(\"%1\")").arg(statement), result);
    }
    active->executePythonQuietly(QStringLiteral("pass"));
    return ok && result != 0;
}

QStringList pythonSyntaxCheck(const QString &source)
{
    QStringList result;
    quietStringList(QStringLiteral("KestrelEditorParser.syntax_check(\"%1\")").arg(source), result);
    return result;
}

void printPythonPath()
{
    executePythonOnIdle(QStringLiteral("KestrelEditorHelpers.print_python_path()"), false);
}

void printEnvironmentVariablePaths(const QString &variable)
{
    executePythonOnIdle(QStringLiteral("KestrelEditorHelpers.print_maya_env_var_paths('%1')").arg(variable), false);
}

QString updatePythonPathString(const QString &additionalPaths)
{
    QString path;
    const bool ok = host() && host()->executePythonString(QStringLiteral("KestrelEditorHelpers.get_python_path_str()"), path);
    const QString additional = platformPathList(additionalPaths);
    g_pythonPath = ok && !additional.isEmpty() ? additional + QDir::listSeparator() + path : path;
    return g_pythonPath;
}

QString pythonPathString()
{
    return g_pythonPath;
}

void internal::resetPythonCaches()
{
    g_keywords.clear();
    g_builtins.clear();
    g_version.clear();
    g_pythonPath.clear();
}

} // namespace ke2::HostBridge
