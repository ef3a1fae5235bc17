#include "plugin/python_interrupt.h"

#include <QtCore/QtGlobal>

#include <atomic>
#include <csignal>

#if defined(Q_OS_WIN)
#include <windows.h>
#include <psapi.h>
#else
#include <dlfcn.h>
#endif

namespace ke2 {
namespace {

void *findInProcess(const char *name)
{
#if defined(Q_OS_WIN)
    HMODULE modules[1024];
    DWORD needed = 0;
    if (!EnumProcessModules(GetCurrentProcess(), modules, sizeof modules, &needed))
        return nullptr;
    const DWORD count = qMin<DWORD>(needed / sizeof(HMODULE), 1024);
    for (DWORD i = 0; i < count; ++i) {
        if (FARPROC function = GetProcAddress(modules[i], name))
            return reinterpret_cast<void *>(function);
    }
    return nullptr;
#else
    return dlsym(RTLD_DEFAULT, name);
#endif
}

} // namespace

namespace {
std::atomic<int (*)(int)> g_setInterruptEx{nullptr};
std::atomic<void (*)()> g_setInterrupt{nullptr};

void requestWithSignal()
{
    g_setInterruptEx.load()(SIGINT);
}

void requestPlain()
{
    g_setInterrupt.load()();
}
} // namespace

PythonInterrupt findPythonInterrupt(const SymbolLookup &lookup)
{
    const auto find = [&lookup](const char *name) { return lookup ? lookup(name) : findInProcess(name); };
    // The newer form names the signal; the older one exists in every Python 3.
    if (void *function = find("PyErr_SetInterruptEx")) {
        g_setInterruptEx = reinterpret_cast<int (*)(int)>(function);
        return requestWithSignal;
    }
    if (void *function = find("PyErr_SetInterrupt")) {
        g_setInterrupt = reinterpret_cast<void (*)()>(function);
        return requestPlain;
    }
    return nullptr;
}

QString pythonInterruptMissingMessage()
{
    return QStringLiteral("Esc cannot stop Python scripts here: this Python has no interrupt request "
                          "(PyErr_SetInterrupt).");
}

} // namespace ke2
