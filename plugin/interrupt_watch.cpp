#include "plugin/interrupt_watch.h"

#include <QtCore/QElapsedTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include <chrono>
#include <csignal>

#ifdef Q_OS_UNIX
#include <pthread.h>
#include <signal.h>
#endif

namespace ke2 {

namespace {
constexpr int kHeartbeatMilliseconds = 50;
// The user-interface thread is running a script when its heartbeat is this late.
constexpr int kBusyAfterMilliseconds = 150;
#ifdef Q_OS_UNIX
std::atomic<InterruptWatch::Interrupt> g_signalled{nullptr};

void onWakeSignal(int)
{
    if (InterruptWatch::Interrupt interrupt = g_signalled.load())
        interrupt();
}

// SIGURG is ignored unless someone asks for it; installed without SA_RESTART, so a call waiting
// in the system returns to Python at once.
void installWakeHandler()
{
    static const bool installed = [] {
        struct sigaction action = {};
        action.sa_handler = onWakeSignal;
        sigemptyset(&action.sa_mask);
        return sigaction(SIGURG, &action, nullptr) == 0;
    }();
    Q_UNUSED(installed);
}
#endif

} // namespace

InterruptWatch::InterruptWatch(SourceFactory factory, QObject *parent)
    : QObject(parent), m_factory(std::move(factory))
{
    m_heartbeat.setInterval(kHeartbeatMilliseconds);
    connect(&m_heartbeat, &QTimer::timeout, this, &InterruptWatch::beat);
}

InterruptWatch::~InterruptWatch()
{
    stop();
}

void InterruptWatch::setSourceFactory(SourceFactory factory)
{
    stop();
    m_factory = std::move(factory);
    m_source.reset();
}

qint64 InterruptWatch::now()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void InterruptWatch::start(const QVector<quintptr> &windows)
{
    stop();
    if (!m_source && m_factory)
        m_source = m_factory();
    if (!m_source || !m_interrupt)
        return; // nothing to read the keyboard with, or nothing to stop: no thread at all
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = false;
    }
#ifdef Q_OS_UNIX
    installWakeHandler();
    m_target = static_cast<quintptr>(pthread_self());
#endif
    m_thread = std::thread([this, windows] { watch(windows); });
}

void InterruptWatch::startUntilIdle(const QVector<quintptr> &windows, int quietMilliseconds)
{
    start(windows);
    if (!isRunning())
        return;
    m_busyOnly = true;
    m_quietMilliseconds = quietMilliseconds;
    m_lastBeat = now();
    m_onTimeSince = m_lastBeat;
    m_heartbeat.start();
}

void InterruptWatch::stop()
{
    m_heartbeat.stop();
    m_busyOnly = false;
    if (!m_thread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void InterruptWatch::beat()
{
    const qint64 time = now();
    if (time - m_lastBeat > kBusyAfterMilliseconds)
        m_onTimeSince = time; // was busy: the quiet stretch starts again
    m_lastBeat = time;
    if (time - m_onTimeSince >= m_quietMilliseconds)
        stop();
}

void InterruptWatch::watch(QVector<quintptr> windows)
{
    bool wasDown = true; // a key already held when the run starts is not a new press
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop) {
        lock.unlock();
        const bool down = m_source->escapeDown();
        if (down && !wasDown && m_source->focusIn(windows)
            && (!m_busyOnly || now() - m_lastBeat > kBusyAfterMilliseconds)) {
            m_interrupts.fetch_add(1);
            fire();
        }
        wasDown = down;
        lock.lock();
        m_wake.wait_for(lock, std::chrono::milliseconds(pollMilliseconds), [this] { return m_stop; });
    }
}

void InterruptWatch::fire()
{
#ifdef Q_OS_UNIX
    g_signalled = m_interrupt;
    pthread_kill(static_cast<pthread_t>(m_target), SIGURG);
#else
    m_interrupt();
#endif
}

QVector<quintptr> InterruptWatch::ourWindows(QWidget *extra)
{
    QVector<quintptr> windows;
    if (qobject_cast<QApplication *>(QCoreApplication::instance())) {
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            // internalWinId() never creates a native window as a side effect.
            if (widget->isVisible() && widget->internalWinId())
                windows.append(static_cast<quintptr>(widget->internalWinId()));
        }
    }
    if (extra && extra->window()->internalWinId())
        windows.append(static_cast<quintptr>(extra->window()->internalWinId()));
    return windows;
}

} // namespace ke2
