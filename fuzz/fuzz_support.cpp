#include "fuzz/fuzz_support.h"

#include <QtWidgets/QApplication>

#include <algorithm>

namespace ke2fuzz {

void ensureGuiApplication()
{
    // Never destroyed: at exit it would outlive the statics it needs.
    static QApplication *application = nullptr;
    if (application)
        return;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "ke2-fuzz";
    static char *argv[] = {name, nullptr};
    application = new QApplication(argc, argv);
}

double bestMilliseconds(const std::function<void()> &work, double limitMs)
{
    double best = 0;
    for (int run = 0; run < 3; ++run) {
        QElapsedTimer timer;
        timer.start();
        work();
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        best = run == 0 ? ms : std::min(best, ms);
        if (best <= limitMs)
            break;
    }
    return best;
}

} // namespace ke2fuzz
