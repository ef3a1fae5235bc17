#pragma once

#include <QtWidgets/QWidget>

class QLabel;
class QProgressBar;
class QToolButton;

namespace ke2 {

class WorkspaceTreeWidget;

// The workspace in the side bar's explorer: a title, the New File, New Folder, Refresh and
// Collapse All buttons, and the tree of the workspace folders. It loads and saves the workspace
// file, and hands what the tree asks of the window (open a file, a path that changed, an item
// deleted, a search) on through its own signals.
class WorkspaceView : public QWidget {
    Q_OBJECT
public:
    explicit WorkspaceView(QWidget *parent = nullptr);

    WorkspaceTreeWidget *Tree() const { return m_tree; }
    // The header row's buttons; a side-bar section may take them into its own header (and
    // show the title itself: see `SetTitleVisible` and `TitleChanged`).
    QWidget *HeaderWidget() const { return m_buttons; }
    void SetTitleVisible(bool visible);
    QProgressBar *BusyIndicator() const { return m_busy; }

    // "EXPLORER: " before the workspace name when the view stands for the whole explorer (its
    // sections folded away), the name alone when it is one section among others.
    void SetExplorerTitle(bool on);
    QString Title() const;
    static QString DefaultTitle() { return tr("WORKSPACE"); }
    QString WorkspacePath() const { return m_workspacePath; }

    // Loads `path`; a missing default workspace file is a first start, and says nothing. Loading
    // never writes the file.
    bool LoadWorkspace(const QString &path);
    // The workspace of the settings, or the default one.
    void LoadStartupWorkspace();
    bool SaveWorkspaceTo(const QString &path);

public slots:
    void SaveWorkspace();
    void SaveWorkspaceAs();
    void OpenWorkspace();
    void AddFolderToWorkspace();
    void NewFile();
    void NewFolder();
    void Refresh();
    void collapseAll();

    void OnFileOpenRequested(const QString &path, bool temp);
    void OnFilePathChanged(const QString &oldPath, const QString &newPath);
    void OnFindInSelected(const QString &paths, const QString &title);
    void OnFileAdded();
    void OnItemDeleted(const QString &path, bool isFolder);
    void OnWorkspaceModified();

signals:
    void FileOpenRequested(const QString &path, bool temp);
    void FilePathChanged(const QString &oldPath, const QString &newPath);
    void FindInSelected(const QString &paths, const QString &title);
    void FileAdded();
    void WorkspaceItemDeleted(const QString &path, bool isFolder);
    void WorkspaceModified();
    void TitleChanged(const QString &title);

private:
    void UpdateTitle();
    void ConnectSaving(bool on);

    QWidget *m_header = nullptr;
    QWidget *m_buttons = nullptr;
    QLabel *m_title = nullptr;
    QProgressBar *m_busy = nullptr;
    WorkspaceTreeWidget *m_tree = nullptr;
    QString m_workspacePath;
    bool m_explorerTitle = false;
    // The file on disk says more than this view understood: keep a copy before replacing it.
    bool m_keepBackup = false;
};

} // namespace ke2
