// The debugger's cost where it does not stop: a 10-million-iteration loop run plainly, then under
// the debugger with one breakpoint in a small function elsewhere in the run (the target: at most
// 1.5 times the plain run), then with a breakpoint inside the loop's own function (reported only).
#include "app/python_host.h"
#include "plugin/debug_pause.h"
#include "plugin/host_bridge.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int kRuns = 5;

// Lines: small() holds line 2, the loop's function hot() lines 4 to 8.
const char kProgram[] = "def small(n):\n"
                        "    return n + 1\n"
                        "\n"
                        "def hot():\n"
                        "    total = 0\n"
                        "    for i in range(10000000):\n"
                        "        total += i\n"
                        "    return total\n"
                        "\n"
                        "hot()\n"
                        "small(1)\n";

double median(std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir prefs;
    ke2::PythonHost host(prefs.path());
    ke2::HostBridge::setHost(&host);
    int stops = 0;
    ke2::DebugPause::setHandler([&stops](const QString &info) {
        if (info.contains(QLatin1String("\"paused\"")))
            ++stops;
        return QStringLiteral("continue");
    });
    if (!ke2::HostBridge::prepareDebugger()) {
        std::fprintf(stderr, "bench_debugger: the debugger script could not be loaded\n");
        return 1;
    }
    const QString file = prefs.filePath(QStringLiteral("bench_tool.py"));
    const QString source = ke2::HostBridge::pythonStringLiteral(QString::fromLatin1(kProgram));
    const QString plain = QStringLiteral("exec(compile(%1, %2, 'exec'), {'__name__': '__main__'})")
                              .arg(source, ke2::HostBridge::pythonStringLiteral(file));
    const QString debugged = QStringLiteral("KestrelEditorDebugger.run(%1, %2, 1, True)")
                                 .arg(source, ke2::HostBridge::pythonStringLiteral(file));
    const auto breakpointAt = [&file](int line) {
        return QStringLiteral("[[\"%1\", %2, true, \"\", 0]]").arg(file).arg(line);
    };
    const auto measure = [&host](const QString &command, const QString &points) {
        std::vector<double> times;
        for (int run = 0; run < kRuns; ++run) {
            if (!points.isEmpty())
                ke2::HostBridge::setDebuggerBreakpoints(points);
            QElapsedTimer timer;
            timer.start();
            host.executePython(command);
            times.push_back(timer.nsecsElapsed() / 1e6);
        }
        return median(times);
    };

    int version = 0;
    host.executePythonInt(QStringLiteral("sys.version_info[0] * 100 + sys.version_info[1]"), version);
    int monitoring = 0;
    host.executePythonInt(QStringLiteral("int(hasattr(sys, 'monitoring'))"), monitoring);
    const double base = measure(plain, QString());
    const double elsewhere = measure(debugged, breakpointAt(2));
    const int stopsElsewhere = stops;
    stops = 0;
    const double inside = measure(debugged, breakpointAt(8));
    std::printf("debugger overhead, 10M-iteration loop, Python %d.%d (%s), median of %d runs (ms)\n", version / 100,
                version % 100, monitoring ? "sys.monitoring" : "sys.settrace", kRuns);
    std::printf("%-52s %9s %7s %6s\n", "case", "ms", "ratio", "stops");
    std::printf("%-52s %9.1f %7.2f %6s\n", "no debugger", base, 1.0, "-");
    std::printf("%-52s %9.1f %7.2f %6d\n", "debugger, breakpoint in a small function elsewhere", elsewhere,
                elsewhere / base, stopsElsewhere);
    std::printf("%-52s %9.1f %7.2f %6d\n", "debugger, breakpoint in the loop's function", inside, inside / base, stops);
    std::printf("target: the second row at most 1.50 x the first: %s\n", elsewhere <= 1.5 * base ? "met" : "NOT MET");
    ke2::DebugPause::setHandler(nullptr);
    ke2::HostBridge::setHost(nullptr);
    return 0;
}
