#include "app/termination_signals.h"

#include <QtCore/QSocketNotifier>

#ifdef Q_OS_UNIX
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace ke2 {

#ifdef Q_OS_UNIX
namespace {

int s_pipe[2] = {-1, -1};
std::atomic<bool> s_pending{false};

extern "C" void onTerminationSignal(int number)
{
    if (s_pending.exchange(true)) {
        // Asked twice: the event loop is not getting to it, so the default action decides.
        std::signal(number, SIG_DFL);
        ::raise(number);
        return;
    }
    const char byte = char(number);
    [[maybe_unused]] const ssize_t written = ::write(s_pipe[1], &byte, 1);
}

} // namespace
#endif

TerminationSignals::TerminationSignals(QObject *parent) : QObject(parent)
{
#ifdef Q_OS_UNIX
    if (s_pipe[0] >= 0 || ::pipe(s_pipe) != 0)
        return;
    for (int end : s_pipe) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, ::fcntl(end, F_GETFL) | O_NONBLOCK);
    }
    m_notifier = new QSocketNotifier(s_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::OnReadable);
    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
#endif
}

TerminationSignals::~TerminationSignals()
{
#ifdef Q_OS_UNIX
    if (!m_notifier)
        return;
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGHUP, SIG_DFL);
    delete m_notifier;
    m_notifier = nullptr;
    ::close(s_pipe[0]);
    ::close(s_pipe[1]);
    s_pipe[0] = s_pipe[1] = -1;
    s_pending = false;
#endif
}

void TerminationSignals::OnReadable()
{
#ifdef Q_OS_UNIX
    char bytes[16];
    while (::read(s_pipe[0], bytes, sizeof bytes) > 0) {
    }
    emit Received();
#endif
}

} // namespace ke2
