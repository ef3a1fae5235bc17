// Completion as the user feels it, in a 5,000-line Python module with the embedded interpreter:
// the time from the key that asks to the popup shown, for a module that parses and for one with a
// syntax error above the cursor. Then the editor's key handling while pylint checks the same
// module at every pause in the typing.
#include "app/python_host.h"
#include "bench_target.h"
#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "language/highlighter.h"
#include "language/auto_completer.h"
#include "plugin/host_bridge.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

constexpr int kModuleLines = 5000;
constexpr int kRequests = 200;

QString generatedModule(const QString &broken)
{
    QStringList lines{"import os", "import sys as system", "from collections import OrderedDict as OD", "import json", ""};
    for (int i = 0; lines.size() < kModuleLines - 20; ++i) {
        const QString n = QString::number(i);
        if (!broken.isEmpty() && i == 100)
            lines << broken;
        lines << "class Widget" + n + "(object):"
              << "    counter = " + n
              << "    def __init__(self, name, value=None):"
              << "        self.name = name"
              << "        self.values = [value, 'x', " + n + "]"
              << "    def compute(self, factor):"
              << "        total = 0"
              << "        for item in range(factor):"
              << "            total += item * self.counter"
              << "        try:"
              << "            label = os.path.join(self.name, str(total))"
              << "        except (TypeError, ValueError):"
              << "            label = None"
              << "        return label"
              << ""
              << "def helper" + n + "(a, b, *args, **kwargs):"
              << "    text = 'abc" + n + "'"
              << "    return [a, b, text.upper(), len(args), kwargs.get('k')]"
              << ""
              << "value" + n + " = helper" + n + "(1, 2)"
              << "";
    }
    lines << "class Editor(object):"
          << "    def __init__(self):"
          << "        self.path = ''"
          << "    def run(self, count):"
          << "        self.count = count"
          << "        ";
    return lines.join(QLatin1Char('\n'));
}

struct Figures {
    double median = 0;
    double p99 = 0;
    double maximum = 0;
};

Figures figures(std::vector<double> times)
{
    Figures result;
    if (times.empty())
        return result;
    std::sort(times.begin(), times.end());
    result.median = times[times.size() / 2];
    result.p99 = times[std::min(times.size() - 1, static_cast<size_t>(times.size() * 0.99))];
    result.maximum = times.back();
    return result;
}

// Types `keys` at the end of the buffer and waits for the popup; returns the milliseconds from
// the last key to the popup on screen, or -1 when it never showed.
double roundTrip(ke2::CodeEditor &editor, const QString &keys)
{
    for (int i = 0; i + 1 < keys.size(); ++i)
        QTest::keyClick(&editor, keys.at(i).toLatin1());
    QElapsedTimer clock;
    clock.start();
    QTest::keyClick(&editor, keys.back().toLatin1());
    auto *popup = editor.findChild<ke2::AutoCompleter *>();
    // The loop sleeps between events as the program's own does: an answer worked out on another
    // thread must not compete with a loop spinning for it. The timer bounds each wait.
    QTimer tick;
    tick.start(20);
    while (!(popup && popup->isVisible()) && clock.elapsed() < 2000) {
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        popup = editor.findChild<ke2::AutoCompleter *>();
    }
    const double elapsed = clock.nsecsElapsed() / 1e6;
    const bool shown = popup && popup->isVisible();
    if (popup)
        popup->hide();
    for (int i = 0; i < keys.size(); ++i)
        QTest::keyClick(&editor, Qt::Key_Backspace);
    QApplication::processEvents();
    return shown ? elapsed : -1;
}

Figures completionCase(const QString &module, const QString &keys, int *misses)
{
    ke2::CodeEditor editor(ke2::LANGUAGE_PYTHON);
    editor.resize(800, 600);
    editor.setPlainText(module);
    editor.moveCursor(QTextCursor::End);
    editor.show();
    QApplication::processEvents();
    std::vector<double> times;
    *misses = 0;
    roundTrip(editor, keys); // warms the script's caches, as the first request of a session does
    for (int i = 0; i < kRequests; ++i) {
        const double elapsed = roundTrip(editor, keys);
        if (elapsed < 0)
            ++*misses;
        else
            times.push_back(elapsed);
    }
    return figures(times);
}

// The offscreen platform says at every popup that it cannot grab the keyboard; the table stays
// readable without that.
void quietPlatform(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type != QtWarningMsg || !message.startsWith(QLatin1String("This plugin does not support")))
        std::fprintf(stderr, "%s\n", qPrintable(message));
}


// The processor time of the calling thread: on a loaded machine the wall time also holds the
// time other programs had the processor.
double threadMs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

// Typing statements into a module of about 5 MB with completion on and the embedded host
// answering, in an editor group as in the window: keys come every 30 ms with the event loop
// turning in between (the host's answers and popups land there), and after each statement the
// typing pauses long enough for the per-pause work (parser, outline, diagnostics). Each key is
// timed with the event-loop work it causes; a turn of the loop while paused is as long as a key
// typed then would wait.
void typingInALargeModule(const QString &folder)
{
    QStringList lines{"import os", "import sys", ""};
    int size = 0;
    for (int i = 0; size < 5 * 1024 * 1024; ++i) {
        const QString n = QString::number(i);
        const QStringList chunk{"class Widget" + n + "(object):",
                                "    counter = " + n,
                                "    def __init__(self, name, value=None):",
                                "        self.name = name",
                                "        self.values = [value, 'x', " + n + "]",
                                "    def compute(self, factor):",
                                "        total = 0",
                                "        for item in range(factor):",
                                "            total += item * self.counter",
                                "        return os.path.join(self.name, str(total))",
                                ""};
        for (const QString &line : chunk)
            size += line.size() + 1;
        lines << chunk;
    }
    lines << "def main():" << "    widget = Widget0('a')" << "    ";
    ke2::CodeEditorGroup group(0);
    group.resize(900, 700);
    group.AddCodeEditor({ke2::CODE_EDITOR_FILE, ke2::LANGUAGE_PYTHON, folder + QStringLiteral("/large.py"), QString()},
                        lines.join(QLatin1Char('\n')));
    group.show();
    ke2::CodeEditor *editor = group.CurrentCodeEditor();
    editor->moveCursor(QTextCursor::End);
    QApplication::processEvents();
    // The module is opened and settled first: its first highlighting (sliced) and first analysis
    // are opening costs, measured elsewhere.
    if (auto *highlighter = qobject_cast<ke2::Highlighter *>(editor->Highlighter()))
        highlighter->FinishPending();
    const auto turns = [](int milliseconds, std::vector<double> &longest) {
        QElapsedTimer wait;
        wait.start();
        while (wait.elapsed() < milliseconds) {
            QElapsedTimer turn;
            turn.start();
            QApplication::processEvents(QEventLoop::AllEvents, 5);
            longest.push_back(turn.nsecsElapsed() / 1e6);
            QThread::msleep(1);
        }
    };
    std::vector<double> opening;
    turns(ke2::CodeEditor::textChangedDelay + 600, opening);
    std::vector<double> keys;
    std::vector<double> keysCpu;
    std::vector<double> typingTurns;
    std::vector<double> pauseTurns;
    int popups = 0;
    const QString statement = QStringLiteral("result = widget.compute(len(sys.argv))\n    ");
    for (int round = 0; round < 3; ++round) {
        for (const QChar c : statement) {
            QElapsedTimer clock;
            clock.start();
            const double cpu = threadMs();
            if (c == QLatin1Char('\n'))
                QTest::keyClick(editor, Qt::Key_Return);
            else
                QTest::keyClick(editor, c.toLatin1());
            QApplication::processEvents();
            keys.push_back(clock.nsecsElapsed() / 1e6);
            keysCpu.push_back(threadMs() - cpu);
            turns(30, typingTurns);
            if (auto *popup = editor->findChild<ke2::AutoCompleter *>(); popup && popup->isVisible()) {
                ++popups;
                if (c == QLatin1Char('('))
                    popup->hide();
            }
        }
        turns(ke2::CodeEditor::textChangedDelay + 600, pauseTurns);
    }
    const Figures k = figures(keys);
    const Figures t = figures(typingTurns);
    const Figures p = figures(pauseTurns);
    std::printf("\ntyping in a %d KB module with the embedded host, %d keys 30 ms apart, a pause after each line (ms)\n",
                size / 1024, static_cast<int>(keys.size()));
    std::printf("%-44s %8s %8s %8s\n", "", "median", "p99", "max");
    const Figures kc = figures(keysCpu);
    std::printf("%-44s %8.2f %8.2f %8.2f\n", "per key", k.median, k.p99, k.maximum);
    std::printf("%-44s %8.2f %8.2f %8.2f\n", "per key, thread time", kc.median, kc.p99, kc.maximum);
    std::printf("%-44s %8.2f %8.2f %8.2f\n", "event-loop turn between keys", t.median, t.p99, t.maximum);
    std::printf("%-44s %8.2f %8.2f %8.2f\n", "event-loop turn in the pauses", p.median, p.p99, p.maximum);
    std::printf("keys that found the popup shown: %d\n", popups);
    ke2bench::BelowRow("typing in a 5 MB module, completion by the embedded host: p99", k.p99, "ms", 16);
    ke2bench::TargetRow("typing in a 5 MB module, completion by the embedded host: median", k.median, "ms", "(measured)", true);
    ke2bench::TargetRow("typing in a 5 MB module, completion by the embedded host: p99 thread time", kc.p99, "ms", "(measured)", true);
    ke2bench::BelowRow("typing in a 5 MB module: longest turn between keys", t.maximum, "ms", 16);
    ke2bench::BelowRow("typing in a 5 MB module: longest turn in a pause (per-pause work)", p.maximum, "ms", 16);
}

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler(quietPlatform);
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? QByteArray("offscreen") : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    QTemporaryDir prefs;
    ke2::PythonHost host(prefs.path());
    host.addCallbacks(nullptr);
    ke2::HostBridge::setHost(&host);
    ke2::HostBridge::loadEmbeddedScripts();
    ke2::Settings &settings = ke2::Settings::instance();

    std::printf("completion round trip, key to popup shown, %d requests each, %d-line module (ms)\n", kRequests, kModuleLines);
    std::printf("%-44s %8s %8s %8s %7s\n", "case", "median", "p99", "max", "missed");
    struct Case {
        const char *name;
        QString broken;
        QString keys;
    };
    const Case cases[] = {
        {"after \"self.\"", QString(), "self."},
        {"after \"self.\", syntax error above", "broken = (", "self."},
        {"after \"os.path.\"", QString(), "os.path."},
        {"bare name \"sel\" + keywords/builtins", QString(), "sel"},
        {"bare name, syntax error above", "def broken(:", "sel"},
    };
    bool met = true;
    for (const Case &c : cases) {
        int misses = 0;
        const Figures f = completionCase(generatedModule(c.broken), c.keys, &misses);
        std::printf("%-44s %8.1f %8.1f %8.1f %7d\n", c.name, f.median, f.p99, f.maximum, misses);
        met = met && f.median < 30 && f.p99 < 50 && misses == 0;
    }
    std::printf("completion targets (median < 30 ms, p99 < 50 ms): %s\n", met ? "met" : "NOT met");
    typingInALargeModule(prefs.path());

    // Key handling while pylint runs: bursts of typing with a pause after each, long enough for
    // the editor's text notification, so every pause sends the module to pylint again. The keys
    // do not ask for completion: this measures the editor's own handling with pylint busy.
    const QString pylint = QStandardPaths::findExecutable(QStringLiteral("pylint"));
    if (pylint.isEmpty()) {
        std::printf("pylint not found: key handling under pylint not measured\n");
        return met ? 0 : 1;
    }
    settings.pylintEnabled = true;
    settings.pylintPath = pylint;
    ke2::CodeEditorGroup group(0);
    group.resize(900, 700);
    group.AddCodeEditor({ke2::CODE_EDITOR_FILE, ke2::LANGUAGE_PYTHON, prefs.filePath(QStringLiteral("module.py")), QString()},
                        generatedModule(QString()));
    group.show();
    ke2::CodeEditor *editor = group.CurrentCodeEditor();
    editor->moveCursor(QTextCursor::End);
    QApplication::processEvents();
    std::vector<double> keys;
    std::vector<double> gaps; // longest stretch the event loop was busy between two keys
    const QString burst = QStringLiteral("1 + 2 * 3 - 4\n        ");
    const int bursts = 20;
    for (int b = 0; b < bursts; ++b) {
        for (const QChar c : burst) {
            QElapsedTimer clock;
            clock.start();
            if (c == QLatin1Char('\n'))
                QTest::keyClick(editor, Qt::Key_Return);
            else
                QTest::keyClick(editor, c.toLatin1());
            keys.push_back(clock.nsecsElapsed() / 1e6);
            QElapsedTimer wait;
            wait.start();
            while (wait.elapsed() < 30) {
                QElapsedTimer turn;
                turn.start();
                QApplication::processEvents(QEventLoop::AllEvents, 5);
                gaps.push_back(turn.nsecsElapsed() / 1e6);
                QThread::msleep(1);
            }
        }
        QElapsedTimer pause;
        pause.start();
        while (pause.elapsed() < ke2::CodeEditor::textChangedDelay + 150) {
            QApplication::processEvents(QEventLoop::AllEvents, 5);
            QThread::msleep(1);
        }
    }
    const Figures k = figures(keys);
    const Figures g = figures(gaps);
    std::printf("\nkey handling with pylint (%s) checking the module at each of %d pauses, %d keys (ms)\n",
                qPrintable(pylint), bursts, static_cast<int>(keys.size()));
    std::printf("%-44s %8.2f %8.2f %8.2f\n", "per key", k.median, k.p99, k.maximum);
    std::printf("%-44s %8.2f %8.2f %8.2f\n", "event-loop turn while typing", g.median, g.p99, g.maximum);
    const bool keysMet = k.p99 < 5;
    std::printf("key handling target (p99 < 5 ms): %s\n", keysMet ? "met" : "NOT met");
    settings.pylintEnabled = false;
    return met && keysMet ? 0 : 1;
}
