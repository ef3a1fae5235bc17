#include "app/command_line.h"

#include "app/python_host.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

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
            if (line.mode != Mode::Window)
                return refuse(QStringLiteral("--run and --screenshot cannot be combined"));
            if (i + 1 >= arguments.size() || arguments.at(i + 1).isEmpty())
                return refuse(QStringLiteral("%1 needs a file name").arg(argument));
            line.mode = run ? Mode::Run : Mode::Screenshot;
            line.path = arguments.at(++i);
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
        "                      exit status 0, 1 when an error was reported, 2 for bad input\n"
        "  --screenshot PNG    save the window as it first appears to PNG\n"
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

int runScriptFile(PythonHost &host, const QString &path,
                  const std::function<void(const QString &)> &write,
                  const std::function<void(const QString &)> &fail)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        fail(QStringLiteral("kestrel-editor: %1: no such file").arg(path));
        return RunBadInput;
    }
    if (info.isDir()) {
        fail(QStringLiteral("kestrel-editor: %1: is a directory").arg(path));
        return RunBadInput;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("kestrel-editor: %1: cannot be read (%2)").arg(path, file.errorString()));
        return RunBadInput;
    }
    const QString text = QString::fromUtf8(file.readAll());
    file.close();

    host.output().setReceiver(write);
    const int errorsBefore = host.errorCount();
    if (info.suffix().compare(QLatin1String("mel"), Qt::CaseInsensitive) == 0)
        host.executeMelOnIdle(text, true);
    else
        host.executePythonOnIdle(text, true);
    host.drainIdleQueue();
    host.output().setReceiver(nullptr);
    return host.errorCount() > errorsBefore ? RunReportedError : RunSucceeded;
}

} // namespace ke2
