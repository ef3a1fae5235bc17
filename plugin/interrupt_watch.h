#pragma once

#include "plugin/key_state_source.h"

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtCore/QVector>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

class QWidget;

namespace ke2 {

// Esc stops a runaway script. The user-interface thread is busy running the script, so a small
// thread of its own watches the key, only while a run is going on; each press of Esc while one of
// our windows (or the host's main window) has the focus calls the interrupt, which asks Python
// to raise KeyboardInterrupt in the script. Where Python notices a request only when it is made
// on its main thread (and a waiting call such as time.sleep returns only for a signal), the
// interrupt runs in a signal handler on the watched thread, so it must be async-signal-safe.
class InterruptWatch : public QObject {
    Q_OBJECT
public:
    using Interrupt = void (*)();
    using SourceFactory = std::function<std::unique_ptr<KeyStateSource>()>;

    static constexpr int pollMilliseconds = 10;

    explicit InterruptWatch(SourceFactory factory = createPlatformKeyStateSource, QObject *parent = nullptr);
    ~InterruptWatch() override;

    void setInterrupt(Interrupt interrupt) { m_interrupt = interrupt; }
    // For tests: where the key state comes from (the platform's by default).
    void setSourceFactory(SourceFactory factory);

    // Watches while a run goes on in this thread, between start() and stop().
    void start(const QVector<quintptr> &windows);
    void stop();
    // For a run the host starts later on its own (Maya's idle queue): watches until this thread
    // has answered events on time for `quietMilliseconds`, and only a press while it is busy
    // (that is, running the script) interrupts.
    void startUntilIdle(const QVector<quintptr> &windows, int quietMilliseconds = 3000);

    bool isRunning() const { return m_thread.joinable(); }
    int interrupts() const { return m_interrupts.load(); }

    // Native ids of the application's visible top-level windows, and of `extra` when given.
    static QVector<quintptr> ourWindows(QWidget *extra = nullptr);

private:
    void watch(QVector<quintptr> windows);
    void beat();
    static qint64 now();
    void fire();

    SourceFactory m_factory;
    std::unique_ptr<KeyStateSource> m_source;
    Interrupt m_interrupt = nullptr;
    quintptr m_target = 0; // the watched thread
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stop = false;
    std::atomic<int> m_interrupts{0};
    // Busy-only mode: the user-interface thread's last heartbeat.
    QTimer m_heartbeat;
    std::atomic<bool> m_busyOnly{false};
    std::atomic<qint64> m_lastBeat{0};
    qint64 m_onTimeSince = 0;
    int m_quietMilliseconds = 0;
};

} // namespace ke2
