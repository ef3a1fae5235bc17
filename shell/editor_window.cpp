#include "shell/editor_window.h"

#include "plugin/host_bridge.h"

#include <QtGui/QTextCursor>
#include <QtWidgets/QPlainTextEdit>

namespace ke2 {

EditorWindow createEditorWindow()
{
    // Until the full main window takes this place, the window is the host's output, read-only.
    auto *output = new QPlainTextEdit;
    output->setObjectName(QStringLiteral("KestrelEditor"));
    output->setWindowTitle(HostBridge::displayName());
    output->setReadOnly(true);
    EditorWindow window;
    window.widget = output;
    window.clearOutput = [output] { output->clear(); };
    window.appendOutput = [output](const QString &text) {
        QTextCursor cursor(output->document());
        cursor.movePosition(QTextCursor::End);
        cursor.insertText(text);
    };
    return window;
}

} // namespace ke2
