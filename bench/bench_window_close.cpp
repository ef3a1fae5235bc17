// Closing the standalone window: twenty tabs of 2,000 lines, two of them internal buffers with
// typing, and the user's settings files in place. Timed from the close request to the window
// deleted: what the program runs before its interpreter ends (the close checks, saving the
// buffers and the session, deleting the editors). Median of 5 runs, each a fresh session.
#include "app/python_host.h"
#include "bench_support.h"
#include "bench_target.h"
#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "shell/editor_session.h"
#include "shell/kestrel_editor.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTemporaryDir>
#include <QtWidgets/QApplication>

#include <cstdio>
#include <vector>

using namespace ke2;

namespace {

constexpr int files = 18;
constexpr int linesPerFile = 2000;
constexpr int runs = 5;
constexpr double targetMs = 500.0;

QByteArray pythonFile(int lines)
{
    QByteArray out;
    for (int i = 0; i < lines; ++i)
        out += "def f" + QByteArray::number(i) + "(x):  # line " + QByteArray::number(i) + "\n";
    return out;
}

} // namespace

int main(int argc, char **argv)
{
    ke2bench::offscreenUnlessSet();
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QTemporaryDir dir;
    QStringList paths;
    for (int i = 0; i < files; ++i) {
        const QString path = dir.filePath(QStringLiteral("module%1.py").arg(i));
        if (!ke2bench::writeFile(path, pythonFile(linesPerFile)))
            return 1;
        paths << path;
    }

    std::vector<double> samples;
    for (int run = 0; run < runs; ++run) {
        QTemporaryDir prefs;
        Settings::instance() = Settings();
        PythonHost host(prefs.path());
        EditorSession session;
        if (session.startUp(host) != EditorSession::StartResult::Started || !session.show()) {
            std::fprintf(stderr, "the window could not be created\n");
            return 1;
        }
        auto *window = qobject_cast<KestrelEditor *>(session.window());
        for (const QString &path : paths)
            window->OpenFile(path);
        for (int i = 0; i < 2; ++i)
            window->Group(0)->CodeEditorAt(i)->insertPlainText(QStringLiteral("typed before closing\n"));
        if (window->CodeEditorCount() != files + 2) {
            std::fprintf(stderr, "%d tabs open, not %d\n", window->CodeEditorCount(), files + 2);
            return 1;
        }
        QElapsedTimer settle;
        settle.start();
        while (settle.elapsed() < 1500)
            app.processEvents(QEventLoop::AllEvents, 20);

        QElapsedTimer clock;
        clock.start();
        window->close(); // the close checks; the program then tears the window down as it quits
        session.shutDown();
        samples.push_back(double(clock.nsecsElapsed()) / 1e6);
        app.processEvents();
    }
    const double median = ke2bench::median(samples);
    std::printf("Closing the standalone window, %d tabs (%d files of %d lines, 2 typed-in buffers)\n", files + 2, files,
                linesPerFile);
    ke2bench::printSamples("runs (ms)", samples);
    std::printf("\n  median: %.1f ms (target < %.0f ms): %s\n", median, targetMs, median < targetMs ? "met" : "NOT met");
    ke2bench::BelowRow("closing the window, 20 tabs: close to window deleted", median, "ms", targetMs);
    return 0;
}
