#include "preferences/shortcut_edit.h"

#include <QtGui/QKeyEvent>

namespace ke2 {

ShortcutEdit::ShortcutEdit(QWidget *parent) : QLineEdit(parent)
{
    setPlaceholderText(QStringLiteral("Press a key combination"));
    setContextMenuPolicy(Qt::NoContextMenu);
}

void ShortcutEdit::SetSequence(const QKeySequence &sequence)
{
    m_sequence = sequence;
    setText(sequence.toString(QKeySequence::NativeText));
}

QKeySequence ShortcutEdit::SequenceOf(int key, Qt::KeyboardModifiers modifiers)
{
    switch (key) {
    case Qt::Key_Control:
    case Qt::Key_Shift:
    case Qt::Key_Alt:
    case Qt::Key_Meta:
    case Qt::Key_AltGr:
    case Qt::Key_unknown:
    case 0:
        return QKeySequence();
    default:
        break;
    }
    // Shift+Tab arrives as Backtab; the binding is written as the keys pressed.
    if (key == Qt::Key_Backtab) {
        key = Qt::Key_Tab;
        modifiers |= Qt::ShiftModifier;
    }
    // The keypad flag would make a separate binding of every keypad key; Enter is a key of its own.
    const Qt::KeyboardModifiers kept =
        modifiers & (Qt::ControlModifier | Qt::ShiftModifier | Qt::AltModifier | Qt::MetaModifier);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return QKeySequence(QKeyCombination(kept, static_cast<Qt::Key>(key)));
#else
    return QKeySequence(static_cast<int>(kept) | key);
#endif
}

bool ShortcutEdit::event(QEvent *event)
{
    // Tab and Shift+Tab would move the focus before keyPressEvent sees them.
    if (event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            keyPressEvent(key);
            return true;
        }
    }
    // Shortcuts of the window must not fire while a combination is being recorded.
    if (event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    return QLineEdit::event(event);
}

void ShortcutEdit::keyPressEvent(QKeyEvent *event)
{
    const QKeySequence sequence = SequenceOf(event->key(), event->modifiers());
    event->accept();
    if (sequence.isEmpty())
        return;
    SetSequence(sequence);
}

} // namespace ke2
