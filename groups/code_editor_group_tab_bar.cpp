#include "groups/code_editor_group_tab_bar.h"

#include "config/settings.h"

#include <QtCore/QMimeData>
#include <QtCore/QUrl>
#include <QtGui/QContextMenuEvent>
#include <QtGui/QDragEnterEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QMenu>

#include <algorithm>

namespace ke2 {

const char *const CodeEditorGroupTabBar::moveCodeEditorMimeType = "halvard-ke2/move-code-editor";

CodeEditorGroupTabBar::CodeEditorGroupTabBar(int groupId, QWidget *clip)
    : CustomTabBar(clip), m_groupId(groupId)
{
    setAcceptDrops(true);
    connect(this, &QTabBar::currentChanged, this, &CodeEditorGroupTabBar::CurrentChanged);
    // The close buttons the preferences may show close like the context menu's entry.
    connect(this, &QTabBar::tabCloseRequested, this, &CodeEditorGroupTabBar::CloseTabRequested);
}

QMimeData *CodeEditorGroupTabBar::MoveCodeEditorMimeData(int groupId, int index)
{
    auto *mime = new QMimeData;
    mime->setData(QString::fromLatin1(moveCodeEditorMimeType),
                  QStringLiteral("%1;%2").arg(groupId).arg(index).toLatin1());
    return mime;
}

bool CodeEditorGroupTabBar::ReadMoveCodeEditorMimeData(const QMimeData *mime, int *groupId, int *index)
{
    const QString type = QString::fromLatin1(moveCodeEditorMimeType);
    if (!mime || !mime->hasFormat(type))
        return false;
    const QList<QByteArray> fields = mime->data(type).split(';');
    if (fields.size() != 2)
        return false;
    bool groupOk = false, indexOk = false;
    *groupId = fields[0].toInt(&groupOk);
    *index = fields[1].toInt(&indexOk);
    return groupOk && indexOk;
}

QMimeData *CodeEditorGroupTabBar::CreateDragMimeData(int index) const
{
    // Locked tabs stay where they are: no drag starts.
    if (Settings::instance().lockTabPositions)
        return nullptr;
    return MoveCodeEditorMimeData(m_groupId, index);
}

void CodeEditorGroupTabBar::wheelEvent(QWheelEvent *event)
{
    if (!Settings::instance().mouseWheelChangesActiveTab) {
        CustomTabBar::wheelEvent(event);
        return;
    }
    const QPoint delta = event->angleDelta();
    const int step = delta.y() != 0 ? delta.y() : delta.x();
    if (step == 0 || count() == 0) {
        event->ignore();
        return;
    }
    // Wheel down (or right) goes to the next tab, as the tabs read from left to right.
    const int next = std::clamp(currentIndex() + (step < 0 ? 1 : -1), 0, count() - 1);
    setCurrentIndex(next);
    event->accept();
}

QString CodeEditorGroupTabBar::RevealInFolderText()
{
#ifdef Q_OS_WIN
    return QStringLiteral("Reveal in Explorer");
#else
    return QStringLiteral("Reveal in Folder");
#endif
}

void CodeEditorGroupTabBar::contextMenuEvent(QContextMenuEvent *event)
{
    const int index = tabAt(event->pos());
    if (index < 0) {
        emit EmptyZoneContextMenuSelected(event->globalPos());
        return;
    }
    m_contextMenuIndex = index;
    QMenu menu(this);
    menu.addAction(QStringLiteral("Close"), this, &CodeEditorGroupTabBar::RequestCloseTab);
    menu.addAction(QStringLiteral("Close Other Tabs"), this, &CodeEditorGroupTabBar::RequestCloseOtherTabs);
    menu.addAction(QStringLiteral("Close Tabs to the Right"), this, &CodeEditorGroupTabBar::RequestCloseTabsToRight);
    menu.addAction(QStringLiteral("Rename"), this, &CodeEditorGroupTabBar::RequestRename);
    menu.addAction(QStringLiteral("Copy Path"), this, &CodeEditorGroupTabBar::RequestCopyPath);
    menu.addAction(RevealInFolderText(), this, &CodeEditorGroupTabBar::RequestShowInFolder);
    menu.addAction(QStringLiteral("Reveal in Side Bar"), this, &CodeEditorGroupTabBar::RequestShowInSideBar);
    menu.exec(event->globalPos());
}

void CodeEditorGroupTabBar::RequestCloseTab() { emit CloseTabRequested(m_contextMenuIndex); }
void CodeEditorGroupTabBar::RequestCloseOtherTabs() { emit CloseOtherTabsRequested(m_contextMenuIndex); }
void CodeEditorGroupTabBar::RequestCloseTabsToRight() { emit CloseTabsToRightRequested(m_contextMenuIndex); }
void CodeEditorGroupTabBar::RequestRename() { emit RenameRequested(m_contextMenuIndex); }
void CodeEditorGroupTabBar::RequestCopyPath() { emit CopyPathRequested(m_contextMenuIndex); }
void CodeEditorGroupTabBar::RequestShowInFolder() { emit ShowInFolderRequested(m_contextMenuIndex); }
void CodeEditorGroupTabBar::RequestShowInSideBar() { emit ShowInSideBarRequested(m_contextMenuIndex); }

void CodeEditorGroupTabBar::mousePressEvent(QMouseEvent *event)
{
    CustomTabBar::mousePressEvent(event);
    emit Activated();
}

void CodeEditorGroupTabBar::mouseReleaseEvent(QMouseEvent *event)
{
    // A middle click closes the tab under the mouse.
    const int index = event->button() == Qt::MiddleButton ? tabAt(event->pos()) : -1;
    CustomTabBar::mouseReleaseEvent(event);
    if (index >= 0)
        emit CloseTabRequested(index);
}

void CodeEditorGroupTabBar::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && tabAt(event->pos()) < 0) {
        emit NewTabRequested();
        return;
    }
    CustomTabBar::mouseDoubleClickEvent(event);
}

int CodeEditorGroupTabBar::DropIndex(const QPoint &pos) const
{
    const int index = tabAt(pos);
    return index < 0 ? count() : index;
}

void CodeEditorGroupTabBar::dragEnterEvent(QDragEnterEvent *event)
{
    const QMimeData *mime = event->mimeData();
    if (mime->hasFormat(QString::fromLatin1(moveCodeEditorMimeType)) || mime->hasUrls())
        event->acceptProposedAction();
    else
        event->ignore();
}

void CodeEditorGroupTabBar::dragMoveEvent(QDragMoveEvent *event)
{
    const QMimeData *mime = event->mimeData();
    if (mime->hasFormat(QString::fromLatin1(moveCodeEditorMimeType)) || mime->hasUrls())
        event->acceptProposedAction();
    else
        event->ignore();
}

void CodeEditorGroupTabBar::dropEvent(QDropEvent *event)
{
    const QMimeData *mime = event->mimeData();
    const int index = DropIndex(event->pos());
    int fromGroup = 0, fromIndex = 0;
    if (ReadMoveCodeEditorMimeData(mime, &fromGroup, &fromIndex)) {
        event->acceptProposedAction();
        emit MoveTabRequested(fromGroup, fromIndex, m_groupId, index);
        return;
    }
    if (mime->hasUrls()) {
        event->acceptProposedAction();
        // Consecutive places keep the files in the order they were dragged.
        int at = index;
        for (const QUrl &url : mime->urls()) {
            if (url.isLocalFile())
                emit OpenFileRequested(at++, url.toLocalFile());
        }
        return;
    }
    event->ignore();
}

} // namespace ke2
