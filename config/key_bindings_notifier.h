#pragma once

#include <QtCore/QObject>

namespace ke2 {

// Announces changes of the live binding table's shortcuts, so that everything showing a key (the
// window's actions and menus, tool tips, the find bar) can follow without knowing who changed it.
class KeyBindingsNotifier : public QObject {
    Q_OBJECT

public:
    static KeyBindingsNotifier &instance();

signals:
    void ShortcutsChanged();
};

} // namespace ke2
