#include "plugin/key_state_source.h"

#include <QtCore/QVector>

#if defined(Q_OS_WIN)
#include <windows.h>
#elif defined(Q_OS_MACOS)
#include <ApplicationServices/ApplicationServices.h>
#elif defined(Q_OS_UNIX)
#include <dlfcn.h>
#endif

namespace ke2 {

KeyStateSource::~KeyStateSource() = default;

namespace {

#if defined(Q_OS_WIN)

class Win32KeyState : public KeyStateSource {
public:
    bool escapeDown() override { return (GetAsyncKeyState(VK_ESCAPE) & 0x8000) != 0; }
    bool focusIn(const QVector<quintptr> &windows) override
    {
        HWND focused = GetForegroundWindow();
        for (HWND window = focused; window; window = GetParent(window)) {
            if (windows.contains(reinterpret_cast<quintptr>(window)))
                return true;
        }
        return false;
    }
};

#elif defined(Q_OS_MACOS)

class QuartzKeyState : public KeyStateSource {
public:
    bool escapeDown() override { return CGEventSourceKeyState(kCGEventSourceStateCombinedSessionState, 0x35); }
    // The Quartz event source reads the keyboard of the whole session; the watch is only started
    // while one of our windows is active, which is the check that can be made here.
    bool focusIn(const QVector<quintptr> &windows) override { return !windows.isEmpty(); }
};

#elif defined(Q_OS_UNIX)

// Xlib is loaded when first needed, so neither the program nor the plug-in links against it, and
// a session without an X server simply has no Esc watch. The watch thread uses a connection of
// its own, never the one the user-interface thread works with.
class X11KeyState : public KeyStateSource {
public:
    using Display = void;
    using Window = unsigned long;

    static std::unique_ptr<X11KeyState> open()
    {
        void *library = dlopen("libX11.so.6", RTLD_NOW | RTLD_LOCAL);
        if (!library)
            return nullptr;
        auto source = std::make_unique<X11KeyState>(library);
        if (!source->m_display)
            return nullptr;
        return source;
    }

    explicit X11KeyState(void *library) : m_library(library)
    {
        resolve(m_openDisplay, "XOpenDisplay");
        resolve(m_closeDisplay, "XCloseDisplay");
        resolve(m_queryKeymap, "XQueryKeymap");
        resolve(m_keysymToKeycode, "XKeysymToKeycode");
        resolve(m_getInputFocus, "XGetInputFocus");
        resolve(m_queryTree, "XQueryTree");
        resolve(m_free, "XFree");
        if (m_openDisplay && m_closeDisplay && m_queryKeymap && m_keysymToKeycode && m_getInputFocus
            && m_queryTree && m_free)
            m_display = m_openDisplay(nullptr);
        if (m_display)
            m_escape = m_keysymToKeycode(m_display, 0xff1b); // XK_Escape
    }
    ~X11KeyState() override
    {
        if (m_display)
            m_closeDisplay(m_display);
        dlclose(m_library);
    }

    bool escapeDown() override
    {
        char keys[32] = {};
        m_queryKeymap(m_display, keys);
        return m_escape != 0 && (keys[m_escape / 8] & (1 << (m_escape % 8))) != 0;
    }

    bool focusIn(const QVector<quintptr> &windows) override
    {
        Window window = 0;
        int revert = 0;
        m_getInputFocus(m_display, &window, &revert);
        // The focus may sit on a child of our window; walk up to the root.
        for (int depth = 0; window > 1 && depth < 32; ++depth) {
            if (windows.contains(static_cast<quintptr>(window)))
                return true;
            Window root = 0, parent = 0, *children = nullptr;
            unsigned int count = 0;
            if (!m_queryTree(m_display, window, &root, &parent, &children, &count))
                return false;
            if (children)
                m_free(children);
            if (parent == root)
                return false;
            window = parent;
        }
        return false;
    }

private:
    template <typename F>
    void resolve(F &function, const char *name)
    {
        function = reinterpret_cast<F>(dlsym(m_library, name));
    }

    void *m_library;
    Display *m_display = nullptr;
    unsigned char m_escape = 0;
    Display *(*m_openDisplay)(const char *) = nullptr;
    int (*m_closeDisplay)(Display *) = nullptr;
    int (*m_queryKeymap)(Display *, char *) = nullptr;
    unsigned char (*m_keysymToKeycode)(Display *, unsigned long) = nullptr;
    int (*m_getInputFocus)(Display *, Window *, int *) = nullptr;
    int (*m_queryTree)(Display *, Window, Window *, Window *, Window **, unsigned int *) = nullptr;
    int (*m_free)(void *) = nullptr;
};

#endif

} // namespace

std::unique_ptr<KeyStateSource> createPlatformKeyStateSource()
{
#if defined(Q_OS_WIN)
    return std::make_unique<Win32KeyState>();
#elif defined(Q_OS_MACOS)
    return std::make_unique<QuartzKeyState>();
#elif defined(Q_OS_UNIX)
    return X11KeyState::open();
#else
    return nullptr;
#endif
}

} // namespace ke2
