// Completion analysis of a large module in the embedded interpreter: the time from sending the
// editor's parse_source call to having the names back, as felt on each completion request.
#include "app/python_host.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

constexpr int kModuleLines = 5000;
constexpr int kRuns = 21;

// A module shaped like pipeline code: imports, classes with methods and attributes, decorated
// functions, loops, branches and try blocks.
QStringList generatedModule()
{
    QStringList lines{"import os", "import sys as system", "from collections import OrderedDict as OD",
                      "import json", ""};
    for (int i = 0; lines.size() < kModuleLines - 20; ++i) {
        const QString n = QString::number(i);
        lines << "class Widget" + n + "(object):"
              << "    '''A generated widget.'''"
              << "    counter = " + n
              << "    def __init__(self, name, value=None):"
              << "        self.name = name"
              << "        self.values = [value, 'x', " + n + "]"
              << "        self.table = {'a': 1}"
              << "    def compute(self, factor):"
              << "        total = 0"
              << "        for item in range(factor):"
              << "            total += item * self.counter"
              << "            if total > 100:"
              << "                break"
              << "        try:"
              << "            label = os.path.join(self.name, str(total))"
              << "        except (TypeError, ValueError):"
              << "            label = None"
              << "        return label"
              << ""
              << "@staticmethod"
              << "def helper" + n + "(a, b, *args, **kwargs):"
              << "    # combine the arguments"
              << "    text = 'abc" + n + "'"
              << "    return [a, b, text.upper(), len(args), kwargs.get('k')]"
              << ""
              << "value" + n + " = helper" + n + "(1, 2)"
              << "";
    }
    return lines;
}

// The buffer as the editor sends it while the user types in the last method of the module: the
// statement under the cursor replaced by the locator, the text after it cut off. `edit` changes
// the line above the cursor, as typing does.
QString typedBuffer(const QStringList &module, int edit, const QString &broken = QString())
{
    QStringList lines = module;
    if (!broken.isEmpty())
        lines.insert(lines.size() / 2, broken);
    lines << "class Editor(object):"
          << "    def __init__(self):"
          << "        self.path = ''"
          << "    def run(self, count):"
          << "        self.count" + QString::number(edit) + " = count"
          << "        __kestrel_lctr_hlvd__ = None"
          << "";
    return lines.join(QLatin1Char('\n'));
}

QString escaped(QString text)
{
    text.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    text.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    text.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return text;
}

struct Figures {
    double median;
    double minimum;
    double maximum;
    int names;
};

Figures measure(ke2::PythonHost &host, const std::function<QString(int)> &callFor,
                const QString &before = QString())
{
    std::vector<double> times;
    QStringList names;
    for (int run = -1; run < kRuns; ++run) { // run -1 warms up
        const QString call = callFor(run + 1);
        if (!before.isEmpty())
            host.executePython(before);
        QElapsedTimer timer;
        timer.start();
        host.executePythonStringList(call, names);
        host.executePython(QStringLiteral("pass"));
        const double elapsed = timer.nsecsElapsed() / 1e6;
        if (run >= 0)
            times.push_back(elapsed);
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times.front(), times.back(), static_cast<int>(names.size())};
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir prefs;
    ke2::PythonHost host(prefs.path());

    QFile script(QStringLiteral(":/ke2_python/kestrel_editor_parser.py"));
    if (!script.open(QIODevice::ReadOnly)
        || !host.executePython(QString::fromLatin1(script.readAll()))
        || !host.executePython(QStringLiteral("KestrelEditorParser.initialize()"))) {
        std::fprintf(stderr, "bench_python_analysis: the analysis script could not be loaded\n");
        return 1;
    }

    const QStringList module = generatedModule();
    const int lines = typedBuffer(module, 0).count(QLatin1Char('\n'));
    const auto memberCall = [&](const QString &buffer) {
        return QStringLiteral("KestrelEditorParser().parse_source(\"%1\", \"self\", 0, 0)")
            .arg(escaped(buffer));
    };
    const auto bareCall = [&](const QString &buffer) {
        return QStringLiteral("KestrelEditorParser().parse_source(\"%1\", None, 1, 1)")
            .arg(escaped(buffer));
    };
    const QString forget = QStringLiteral("KestrelEditorParser._chunk_cache = {}");

    struct Row {
        const char *name;
        Figures figures;
    };
    const Row rows[] = {
        {"typing, after \"self.\"",
         measure(host, [&](int n) { return memberCall(typedBuffer(module, n)); })},
        {"typing, bare name + keywords/builtins",
         measure(host, [&](int n) { return bareCall(typedBuffer(module, n)); })},
        {"first request (nothing reused)",
         measure(host, [&](int n) { return memberCall(typedBuffer(module, n)); }, forget)},
        {"typing, buffer with a syntax error",
         measure(host, [&](int n) { return memberCall(typedBuffer(module, n, "broken = (")); })},
    };

    std::printf("parse_source on a %d-line module, %d runs each (ms)\n", lines, kRuns);
    std::printf("%-40s %8s %8s %8s %6s\n", "case", "median", "min", "max", "names");
    for (const Row &row : rows)
        std::printf("%-40s %8.1f %8.1f %8.1f %6d\n", row.name, row.figures.median,
                    row.figures.minimum, row.figures.maximum, row.figures.names);
    return 0;
}
