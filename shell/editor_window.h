#pragma once

#include <QtCore/QString>

#include <functional>

class QWidget;

namespace ke2 {

// The editor's main window as the plug-in's entry and command see it: the widget to place in the
// host's layout and the few operations they call on it. An operation left empty does nothing.
struct EditorWindow {
    QWidget *widget = nullptr;
    std::function<void(const QString &path, bool)> openFile;
    std::function<void()> clearOutput;
    std::function<void(const QString &text)> appendOutput;
    // Called before the window is deleted (disconnects what reaches outside the window).
    std::function<void()> tearDown;
};

using EditorWindowFactory = std::function<EditorWindow()>;

// The one place where the main window is constructed, with no parent.
EditorWindow createEditorWindow();

} // namespace ke2
