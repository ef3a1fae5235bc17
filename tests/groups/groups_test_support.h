#pragma once

#include <QtCore/QMimeData>
#include <QtCore/QTimer>
#include <QtGui/QDragMoveEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMenu>
#include <QtTest/QTest>

#include <functional>

namespace ke2::test {

// Delivers a drag step at `pos` (in `root`'s coordinates) the way the window system does: to the
// deepest widget there that accepts drops, an enter before the move. Returns whether the move
// was accepted.
inline bool dragMoveAt(QWidget *root, const QPoint &pos, const QMimeData *mime)
{
    QWidget *target = root->childAt(pos);
    if (!target)
        target = root;
    while (target != root && !target->acceptDrops())
        target = target->parentWidget();
    const QPoint local = target->mapFrom(root, pos);
    QDragEnterEvent enter(local, Qt::MoveAction | Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    QDragMoveEvent move(local, Qt::MoveAction | Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &move);
    return move.isAccepted();
}

inline void dropAt(QWidget *root, const QPoint &pos, const QMimeData *mime)
{
    dragMoveAt(root, pos, mime);
    QWidget *target = root->childAt(pos);
    if (!target)
        target = root;
    while (target != root && !target->acceptDrops())
        target = target->parentWidget();
    QDropEvent drop(target->mapFrom(root, pos), Qt::MoveAction | Qt::CopyAction, mime, Qt::LeftButton,
                    Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
}

// Runs `open` (which shows a context menu and waits in it), reads the menu's entries and clicks
// the one reading `choice` (none when empty). Returns the entries' texts, separators as "-".
inline QStringList chooseFromMenu(const std::function<void()> &open, const QString &choice)
{
    QStringList texts;
    QTimer::singleShot(0, [&] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu)
            return;
        QAction *chosen = nullptr;
        for (QAction *action : menu->actions()) {
            texts.append(action->isSeparator() ? QStringLiteral("-") : action->text());
            if (!action->isSeparator() && action->text() == choice)
                chosen = action;
        }
        if (chosen)
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(chosen).center());
        else
            menu->close();
    });
    open();
    return texts;
}

} // namespace ke2::test
