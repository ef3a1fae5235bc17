#pragma once

#include "views/side_bar_view.h"

#include <QtCore/QMap>
#include <QtWidgets/QWidget>

class QLabel;
class QStackedWidget;

namespace ke2 {

class ExplorerView;
class OpenEditorsView;
class OutlineView;
class WorkspaceView;
class QuickHelpView;

// The side bar: one view at a time (explorer, search, quick help) under its title. It relays
// what its views ask of the window through its own signals, so the window connects to the side
// bar once whatever views it holds. A view added later (find in files) comes in with SetView.
class SideBar : public QWidget {
    Q_OBJECT
public:
    explicit SideBar(QWidget *parent = nullptr);

    // Puts `widget` (taken over) in place of the view `view`, with the title shown above it.
    void SetView(SideBarView view, QWidget *widget, const QString &title);
    bool HasView(SideBarView view) const { return m_views.contains(view); }
    QWidget *View(SideBarView view) const { return m_views.value(view); }
    SideBarView CurrentView() const { return m_current; }
    void SetCurrentView(SideBarView view);
    QString Title() const;
    // The width at which every section header of every view shows its title and buttons whole.
    int HeaderWidth() const;

    ExplorerView *Explorer() const { return m_explorer; }
    OpenEditorsView *OpenEditors() const;
    QuickHelpView *QuickHelp() const { return m_quickHelp; }
    WorkspaceView *Workspace() const { return m_workspace; }
    OutlineView *Outline() const { return m_outline; }

    void SaveState() const;
    void RestoreState();

signals:
    void CodeEditorSelected(int group, int index);
    void CodeEditorCloseRequested(int group, int index);
    void FileOpenRequested(const QString &path, bool temp);
    void FilePathChanged(const QString &oldPath, const QString &newPath);
    void WorkspaceItemDeleted(const QString &path, bool isFolder);
    void WorkspaceModified();
    void SideBarVisibilityChangeRequested(bool visible);
    void OutlineSelectionChanged(int start, int end);
    void OutlinePreviewRequested(int start, int end);
    void SaveAllRequested();
    void CloseAllRequested();
    void ViewChangeRequested(ke2::SideBarView view);
    void SearchRequested(const QString &text, const QStringList &include, const QStringList &exclude, bool matchCase,
                         bool wholeWord, bool regularExpression);
    void SearchCleared();
    void SearchFocusChanged(const QString &path, int position);
    void FindAndReplace(const QString &path, int position);
    void QuickHelpFlagSelected(const QString &flag);

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    QLabel *m_title;
    QStackedWidget *m_stack;
    QMap<SideBarView, QWidget *> m_views;
    QMap<SideBarView, QString> m_titles;
    SideBarView m_current = SIDE_BAR_VIEW_EXPLORER;
    ExplorerView *m_explorer;
    QuickHelpView *m_quickHelp;
    WorkspaceView *m_workspace;
    OutlineView *m_outline;
};

} // namespace ke2
