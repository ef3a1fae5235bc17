#pragma once

#include "groups/custom_tab_bar.h"

namespace ke2 {

// The tab bar of one code editor group: a tab dragged off it carries the move-editor type with
// its group and index; tabs and files dropped on it are requested at the tab under the mouse; its
// context menu asks for tab operations, and the empty zone for the mini toolbar menu.
class CodeEditorGroupTabBar : public CustomTabBar {
    Q_OBJECT
public:
    static const char *const moveCodeEditorMimeType; // "halvard-ke2/move-code-editor"

    CodeEditorGroupTabBar(int groupId, QWidget *clip);

    int GroupId() const { return m_groupId; }
    // The data a dragged tab carries, and its reading: false when `mime` is not a moved tab.
    static QMimeData *MoveCodeEditorMimeData(int groupId, int index);
    static bool ReadMoveCodeEditorMimeData(const QMimeData *mime, int *groupId, int *index);

    // The tab the last context menu was opened on.
    int ContextMenuIndex() const { return m_contextMenuIndex; }
    static QString RevealInFolderText();

signals:
    void NewTabRequested();
    void CloseTabRequested(int index);
    void CloseOtherTabsRequested(int index);
    void CloseTabsToRightRequested(int index);
    void CurrentChanged(int index);
    // Source group and index, target group and index.
    void MoveTabRequested(int fromGroup, int fromIndex, int toGroup, int toIndex);
    void OpenFileRequested(int index, const QString &path);
    void RenameRequested(int index);
    void CopyPathRequested(int index);
    void ShowInFolderRequested(int index);
    void ShowInSideBarRequested(int index);
    void EmptyZoneContextMenuSelected(const QPoint &globalPos);
    void Activated();

public slots:
    void RequestCloseTab();
    void RequestCloseOtherTabs();
    void RequestCloseTabsToRight();
    void RequestRename();
    void RequestCopyPath();
    void RequestShowInFolder();
    void RequestShowInSideBar();

protected:
    QMimeData *CreateDragMimeData(int index) const override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    // Where a drop at `pos` goes: the tab under it, or after the last tab.
    int DropIndex(const QPoint &pos) const;

    int m_groupId;
    int m_contextMenuIndex = -1;
};

} // namespace ke2
