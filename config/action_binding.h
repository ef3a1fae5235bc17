#pragma once

#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtGui/QKeySequence>
#include <QAction> // QtWidgets in Qt 5, QtGui in Qt 6

namespace ke2 {

// One keyboard-reachable command: its place in the binding table, its names and its shortcuts.
struct ActionBinding {
    int number = 0;            // position in the table, from 1
    QString identifier;        // key in the bindings file, e.g. "newBuffer"
    QString displayName;       // shown in menus and in the keyboard preferences
    QList<QKeySequence> defaultShortcuts;
    QList<QKeySequence> shortcuts; // current; starts as the defaults
    QPointer<QAction> action;      // attached by the main window; without one, no duplicate check
    bool fixed = false;            // reserved: never in the file, its keys always taken first

    bool hasShortcut() const { return !shortcuts.isEmpty(); }
};

} // namespace ke2
