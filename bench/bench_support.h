#pragma once
// What the benchmark programs share: the platform they run on, the files they work on, the
// event-loop passes they time and the way their runs are summed up.
#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEvent>
#include <QtCore/QFile>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace ke2bench {

// No display is needed unless the caller names a platform; call before the application exists.
inline void offscreenUnlessSet()
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

// Writes a file to work on; says so on standard error when it cannot.
inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size())
        return true;
    std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
    return false;
}

inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

// "  label: 1.0 2.0 ..." without the line end, so that a caller can add to the line.
inline void printSamples(const char *label, const std::vector<double> &samples)
{
    std::printf("  %s:", label);
    for (double sample : samples)
        std::printf(" %.1f", sample);
}

// Notes when a key press first reaches the watched object, in milliseconds on `clock`.
class KeyWatcher : public QObject {
public:
    explicit KeyWatcher(const QElapsedTimer &clock) : m_clock(clock) {}
    double answeredMs = -1;
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress && answeredMs < 0)
            answeredMs = m_clock.nsecsElapsed() / 1e6;
        return false;
    }

private:
    const QElapsedTimer &m_clock;
};

// Runs the event loop one pass at a time and keeps the longest pass: what a user waits for at most.
struct EventLoopPasses {
    double longestMs = 0;
    void operator()()
    {
        QElapsedTimer one;
        one.start();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        longestMs = std::max(longestMs, one.nsecsElapsed() / 1e6);
    }
};

} // namespace ke2bench
