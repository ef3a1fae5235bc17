#pragma once

#include <QtCore/QVector>
#include <QtCore/QtGlobal>

#include <memory>

namespace ke2 {

// The keyboard as the operating system sees it, readable from any thread while the
// user-interface thread is busy running a script: whether Esc is held and which window has the
// keyboard focus. One small implementation per platform (X11, Win32, Quartz); tests use a fake.
class KeyStateSource {
public:
    virtual ~KeyStateSource();
    virtual bool escapeDown() = 0;
    // True when the focused window is one of `windows` or inside one of them (native ids as
    // QWidget::winId() gives them).
    virtual bool focusIn(const QVector<quintptr> &windows) = 0;
};

// The platform's source, or null where none can be had (no X server, for example).
std::unique_ptr<KeyStateSource> createPlatformKeyStateSource();

} // namespace ke2
