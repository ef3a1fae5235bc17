#include "app/command_line.h"

#include "app/python_host.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace ke2 {

CommandLine CommandLine::parse(const QStringList &arguments)
{
    CommandLine line;
    auto refuse = [&line](const QString &why) {
        line.mode = Mode::Invalid;
        line.error = why;
        return line;
    };
    for (int i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == QLatin1String("-h") || argument == QLatin1String("--help")) {
            line.mode = Mode::Help;
            return line;
        }
        if (argument == QLatin1String("-v") || argument == QLatin1String("--version")) {
            line.mode = Mode::Version;
            return line;
        }
        const bool run = argument == QLatin1String("--run");
        const bool shot = argument == QLatin1String("--screenshot");
        if (run || shot) {
            if (line.mode == Mode::Check)
                return refuse(QStringLiteral("--check cannot be combined with --run or --screenshot"));
            if (line.mode != Mode::Window)
                return refuse(QStringLiteral("--run and --screenshot cannot be combined"));
            if (i + 1 >= arguments.size() || arguments.at(i + 1).isEmpty())
                return refuse(QStringLiteral("%1 needs a file name").arg(argument));
            line.mode = run ? Mode::Run : Mode::Screenshot;
            line.pathArgument = ++i;
            line.path = arguments.at(i);
            continue;
        }
        if (argument == QLatin1String("--check")) {
            if (line.mode != Mode::Window)
                return refuse(QStringLiteral("--check cannot be combined with --run or --screenshot"));
            line.mode = Mode::Check;
            continue;
        }
        if (argument == QLatin1String("--")) {
            line.files += arguments.mid(i + 1);
            break;
        }
        if (argument.startsWith(QLatin1Char('-')))
            return refuse(QStringLiteral("unknown argument '%1'").arg(argument));
        line.files.append(argument);
    }
    if (line.mode == Mode::Check && line.files.isEmpty())
        return refuse(QStringLiteral("--check needs at least one file"));
    if (line.mode == Mode::Run && !line.files.isEmpty())
        return refuse(QStringLiteral("--run takes one file; '%1' is one too many").arg(line.files.first()));
    return line;
}

QString CommandLine::usage()
{
    return QStringLiteral(
        "Usage: kestrel-editor [options] [FILE...]\n"
        "\n"
        "Kestrel Editor 2: edit, run and read the output of Python (and, inside Maya, MEL) scripts.\n"
        "Each FILE opens in a tab of the window.\n"
        "\n"
        "Options:\n"
        "  --run FILE          run FILE as Python (MEL for .mel) and print the framed output;\n"
        "                      exit status as python3's: 0, 1 when an error was reported, the\n"
        "                      status sys.exit() gives, 130 after Ctrl+C; 2 for bad input\n"
        "  --screenshot PNG    save the window as it first appears to PNG\n"
        "  --check FILE...     print the editor's errors and warnings for each MEL and Python FILE as\n"
        "                      path:line:column: error|warning: message; no display needed;\n"
        "                      exit status 0, 1 when a file has an error, 2 when one cannot be read\n"
        "  -h, --help          show this help\n"
        "  -v, --version       show the version\n"
        "\n"
        "Environment:\n"
        "  KE2_PREFS_DIR       folder for preferences instead of the user's configuration folder\n");
}

QString CommandLine::versionText()
{
    return QStringLiteral("kestrel-editor 2.3.4");
}

namespace {

// The whole file, or a reason for `--run`'s "bad input" status.
bool readWholeFile(const QByteArray &nativePath, QByteArray &data, QString &why)
{
    const QString shown = QFile::decodeName(nativePath);
#ifdef Q_OS_UNIX
    struct stat status = {};
    if (::stat(nativePath.constData(), &status) != 0) {
        why = errno == ENOENT ? QStringLiteral("kestrel-editor: %1: no such file").arg(shown)
                              : QStringLiteral("kestrel-editor: %1: cannot be read (%2)").arg(shown, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    if (S_ISDIR(status.st_mode)) {
        why = QStringLiteral("kestrel-editor: %1: is a directory").arg(shown);
        return false;
    }
    FILE *file = std::fopen(nativePath.constData(), "rb");
    if (!file) {
        why = QStringLiteral("kestrel-editor: %1: cannot be read (%2)").arg(shown, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    char buffer[65536];
    size_t count = 0;
    while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        data.append(buffer, static_cast<int>(count));
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) {
        why = QStringLiteral("kestrel-editor: %1: cannot be read").arg(shown);
        return false;
    }
    return true;
#else
    const QFileInfo info(shown);
    if (!info.exists()) {
        why = QStringLiteral("kestrel-editor: %1: no such file").arg(shown);
        return false;
    }
    if (info.isDir()) {
        why = QStringLiteral("kestrel-editor: %1: is a directory").arg(shown);
        return false;
    }
    QFile file(shown);
    if (!file.open(QIODevice::ReadOnly)) {
        why = QStringLiteral("kestrel-editor: %1: cannot be read (%2)").arg(shown, file.errorString());
        return false;
    }
    data = file.readAll();
    return true;
#endif
}

} // namespace

int runScriptFile(PythonHost &host, const QByteArray &nativePath,
                  const std::function<void(const QString &)> &write,
                  const std::function<void(const QString &)> &fail)
{
    QByteArray source;
    QString why;
    if (!readWholeFile(nativePath, source, why)) {
        fail(why);
        return RunBadInput;
    }
    host.output().setReceiver(write);
    if (QFileInfo(QFile::decodeName(nativePath)).suffix().compare(QLatin1String("mel"), Qt::CaseInsensitive) == 0)
        host.executeMelOnIdle(QString::fromUtf8(source.constData(), source.size()), true);
    else
        host.executePythonFileOnIdle(source, nativePath, true);
    host.drainIdleQueue();
    // As python3 ends: sys.exit's status, or its text on standard error and 1.
    const int status = host.exitStatus();
    if (!host.exitMessage().isNull())
        fail(host.exitMessage());
    host.finalize();
    return status;
}

} // namespace ke2
