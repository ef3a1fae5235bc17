#include "plugin/debug_pause.h"

#include <atomic>

namespace ke2::DebugPause {
namespace {

Handler &handler()
{
    static Handler instance;
    return instance;
}

std::function<void()> &canceller()
{
    static std::function<void()> instance;
    return instance;
}

// Read by the Esc watch's thread.
std::atomic<int> g_waiting{0};
std::atomic<bool> g_interrupt{false};

} // namespace

void setHandler(Handler function)
{
    handler() = std::move(function);
}

bool hasHandler()
{
    return static_cast<bool>(handler());
}

QString call(const QString &info)
{
    // A copy: the handler may be replaced while the pause it runs waits.
    const Handler current = handler();
    if (!current)
        return QStringLiteral("continue");
    ++g_waiting;
    const QString action = current(info);
    --g_waiting;
    return action;
}

void setCanceller(std::function<void()> cancel)
{
    canceller() = std::move(cancel);
}

bool isWaiting()
{
    return g_waiting > 0;
}

void requestInterrupt()
{
    g_interrupt.store(true);
}

bool takeInterrupt()
{
    return g_interrupt.exchange(false);
}

bool cancelWaiting()
{
    if (g_waiting == 0)
        return false;
    if (canceller())
        canceller()();
    return true;
}

} // namespace ke2::DebugPause
