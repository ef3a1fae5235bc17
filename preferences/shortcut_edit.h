#pragma once

#include <QtGui/QKeySequence>
#include <QtWidgets/QLineEdit>

namespace ke2 {

// A line edit that records the key combination pressed in it instead of typing: its text is the
// combination in the platform's notation. Tab, Backspace and the like are recorded too, so the
// keyboard never leaves it by a key press.
class ShortcutEdit : public QLineEdit {
    Q_OBJECT

public:
    explicit ShortcutEdit(QWidget *parent = nullptr);

    QKeySequence Sequence() const { return m_sequence; }
    void SetSequence(const QKeySequence &sequence);
    // The combination a key press stands for; empty for a modifier pressed alone.
    static QKeySequence SequenceOf(int key, Qt::KeyboardModifiers modifiers);

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    QKeySequence m_sequence;
};

} // namespace ke2
