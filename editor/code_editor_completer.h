#pragma once

#include <QtCore/QRect>
#include <QtGui/QTextCursor>

class QObject;

namespace ke2 {

// What the code editor needs of a completion popup. The editor only decides when to ask; the
// popup works out the prefix, its candidates and where it shows itself. An accepted candidate
// comes back through the popup's `Accepted(QString text, int prefixLength)` signal.
class CodeEditorCompleter {
public:
    virtual ~CodeEditorCompleter() = default;

    virtual bool IsPopupVisible() const = 0;
    virtual void HidePopup() = 0;
    // `applyIfSingle` is set for a request the user made on purpose (Ctrl+Space): a single
    // candidate may then be applied without showing the list.
    virtual void Update(const QTextCursor &cursor, const QRect &cursorRect, bool applyIfSingle) = 0;
    // The object that emits `Accepted(QString, int)`, or null.
    virtual QObject *AcceptedSource() { return nullptr; }
};

} // namespace ke2
