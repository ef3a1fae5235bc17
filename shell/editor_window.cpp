#include "shell/editor_window.h"

#include "config/settings.h"
#include "plugin/host.h"
#include "plugin/host_bridge.h"
#include "shell/kestrel_editor.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QScreen>

namespace ke2 {
namespace {

// Without a docking host the window is a top-level window of its own: it comes back where the
// user left it, or opens at a size that shows the editors, the side bar and the output.
void placeTopLevel(QWidget *window)
{
    QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect available = screen->availableGeometry();
    const QRect saved = Settings::clampWindowGeometry(Settings::instance().windowGeometry, available);
    if (saved.isValid()) {
        window->setGeometry(saved);
        return;
    }
    const QSize size(qMin(available.width(), qMax(1000, available.width() * 7 / 10)),
                     qMin(available.height(), qMax(650, available.height() * 3 / 4)));
    window->resize(size);
    window->move(available.center() - QPoint(size.width() / 2, size.height() / 2));
}

} // namespace

EditorWindow createEditorWindow()
{
    auto *editor = new KestrelEditor;
    Host *host = HostBridge::host();
    if (!host || !host->hasFeature(Host::Feature::DockingUi))
        placeTopLevel(editor);
    EditorWindow window;
    window.widget = editor;
    window.openFile = [editor](const QString &path, bool temp) { editor->OpenFile(path, temp); };
    window.clearOutput = [editor] { editor->ClearHistory(); };
    window.appendOutput = [editor](const QString &text) { editor->AppendOutput(text); };
    window.tearDown = [editor] { editor->TearDown(); };
    return window;
}

} // namespace ke2
