// What the Esc watch costs a script that finishes normally: the same tight loop run through the
// standalone host with no watch and with the watch thread polling the keyboard (a keyboard on
// which Esc is never pressed, so both runs do the same work).
#include "app/python_host.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTemporaryDir>
#include <QtWidgets/QApplication>

#include <algorithm>
#include <cstdio>

using namespace ke2;

namespace {

class IdleKeyboard : public KeyStateSource {
public:
    bool escapeDown() override { return false; }
    bool focusIn(const QVector<quintptr> &) override { return true; }
};

double timeOneRun(PythonHost &host)
{
    QElapsedTimer clock;
    clock.start();
    host.executePythonOnIdle(QStringLiteral("x = 0\nfor i in range(20000000):\n    x += i"), false);
    host.drainIdleQueue();
    return clock.nsecsElapsed() / 1e6;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir prefs;
    PythonHost host(prefs.path());
    host.addCallbacks(nullptr);
    host.output().setReceiver([](const QString &) {});

    // Rounds alternate, so a busy machine slows both sides alike; the best of each is kept.
    double without = 1e30, with = 1e30;
    for (int round = 0; round < 5; ++round) {
        host.interruptWatch().setSourceFactory([] { return std::unique_ptr<KeyStateSource>(); });
        without = std::min(without, timeOneRun(host));
        host.interruptWatch().setSourceFactory([] { return std::make_unique<IdleKeyboard>(); });
        with = std::min(with, timeOneRun(host));
    }
    std::printf("tight loop, 20 million iterations (best of 5 alternating rounds)\n");
    std::printf("  without the Esc watch  %8.1f ms\n", without);
    std::printf("  with the Esc watch     %8.1f ms  (%+.1f %%)\n", with, (with - without) / without * 100.0);
    return 0;
}
