#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtGui/QIcon>
#include <QtWidgets/QTreeWidget>

#include <functional>
#include <memory>
#include <vector>

class QFileSystemWatcher;
class QMenu;
class QTimer;

namespace ke2 {

// The workspace folders as a file tree. A folder's content is read only when it is first
// expanded (until then it holds one "placeholder" child); from then on the folder is watched and
// follows the disk. Reading and merging a folder runs in slices of a few milliseconds, so a
// folder of tens of thousands of files never freezes the window; `BusyChanged` tells the view to
// show that work is under way.
//
// Folders the user never expanded are never read or watched. The expanded folders are kept in
// the settings' "workspaceState" as 16-byte digests of their paths, and are expanded again
// wherever the same path appears.
class WorkspaceTreeWidget : public QTreeWidget {
    Q_OBJECT
public:
    enum ItemKind { FileItem = 1, FolderItem = 2, PlaceholderItem = 3 };
    static constexpr int PathRole = Qt::UserRole;     // absolute path, "/" separators
    static constexpr int KindRole = Qt::UserRole + 1; // ItemKind
    static constexpr int EntryRole = Qt::UserRole + 2; // a workspace folder as its file lists it
    static constexpr int NameRole = Qt::UserRole + 3;  // the file name on disk (the text may be under edit)
    static constexpr int UnavailableRole = Qt::UserRole + 4; // a workspace folder that is not there

    explicit WorkspaceTreeWidget(QWidget *parent = nullptr);
    ~WorkspaceTreeWidget() override;

    // The workspace folders, as written in the workspace file. Relative entries are resolved
    // against `baseDirectory` (the workspace file's folder). Setting them never emits
    // `WorkspaceModified`.
    void SetFolders(const QStringList &entries, const QString &baseDirectory = QString());
    QStringList Folders() const;
    // Adds one folder at the end and emits `WorkspaceModified`; an empty path does nothing.
    void AddWorkspaceFolder(const QString &path);

    static QString ItemPath(const QTreeWidgetItem *item);
    static int ItemKindOf(const QTreeWidgetItem *item);
    // The item showing `path` among the items read so far (the first one when a folder appears
    // twice), or null.
    QTreeWidgetItem *FindItem(const QString &path) const;
    bool IsBusy() const { return !m_jobs.empty() || m_checkNext >= 0; }
    // Expands the folders down to `path`, selects its item and scrolls to it. Folders not read
    // yet are read first; the reveal goes on as their content arrives. False when no workspace
    // folder holds `path`.
    bool RevealPath(const QString &path);
    // Re-reads every folder that was read before, and tells which workspace folders exist.
    void RefreshAll();
    // Collapses everything and forgets those folders' expanded state.
    void CollapseAllFolders();

    // The context menu for `item` (null: the empty space below the items). The entries act on
    // that item until one of them has run.
    void FillContextMenu(QMenu *menu, QTreeWidgetItem *item);
    QString CopiedPath() const { return m_copiedPath; }
    // "Reveal in Explorer" where the file manager is Explorer, "Reveal in Folder" elsewhere.
    static QString RevealText();

    // The dialogs the slots ask through; replaceable so that callers can script them.
    std::function<bool(const QString &title, const QString &text)> askQuestion;
    std::function<QString(const QString &title, const QString &label)> askName;
    std::function<QString()> askFolder;

public slots:
    void Open();
    void RevealInFolder();
    void Copy();
    void CopyPath();
    void Rename();
    void Remove();
    void NewFile();
    void NewFolder();
    void AddFolderToWorkspace();
    void RemoveFolderFromWorkspace();
    void SearchInFolder();
    void Paste();
    void FindInWorkspace();
    void OnItemCollapsed(QTreeWidgetItem *item);
    void ReplacePlaceholderWithContent(QTreeWidgetItem *item);
    void OnFileNameChanged(QTreeWidgetItem *item);
    void OnDirectoryChanged(const QString &path);

signals:
    void FileOpenRequested(const QString &path, bool temp);
    void FilePathChanged(const QString &oldPath, const QString &newPath);
    // The folders to search (separated by the platform's path list separator) and a title for
    // them: one folder, or every workspace folder.
    void FindInSelected(const QString &paths, const QString &title);
    void FileAdded();
    // `isFolder` tells a folder (whose open files all went with it) from a single file.
    void ItemDeleted(const QString &path, bool isFolder);
    void WorkspaceModified();
    void BusyChanged(bool busy);

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    struct Entry {
        QString name;
        QString key; // the name case-folded: the sort key
        bool isFolder = false;
    };
    static Entry MakeEntry(const QString &name, bool isFolder);
    struct SyncJob;
    struct Target {
        QString path;
        int kind = 0;
        bool topLevel = false;
    };

    QTreeWidgetItem *MakeItem(const QString &path, const QString &name, bool isFolder) const;
    static QTreeWidgetItem *MakePlaceholder();
    QTreeWidgetItem *MakeWorkspaceFolder(const QString &path, const QString &entry) const;
    // Greys a workspace folder that is missing or not a folder (and empties it), or gives a
    // folder that came back its placeholder.
    void UpdateAvailability(QTreeWidgetItem *item);
    // Starts checking every workspace folder, a slice at a time.
    void CheckFolders();
    static bool Less(const Entry &a, const Entry &b);

    // Folder reading: a job lists the folder, then merges the listing into the item's children.
    void StartSync(QTreeWidgetItem *folder, bool firstSliceNow);
    void CancelJob(QTreeWidgetItem *folder);
    void RunJobs();
    bool RunJob(SyncJob &job, const QElapsedTimer &clock); // true when finished
    void FinishJob(SyncJob *job);
    void UpdateBusy();
    void SyncPath(const QString &path);
    // Forgets everything about the subtree before its items are deleted.
    void ForgetSubtree(QTreeWidgetItem *item);
    void DeleteItem(QTreeWidgetItem *item);

    // Expanded state.
    static QByteArray Digest(const QString &path);
    bool WasExpanded(const QString &path) const;
    void RememberExpanded(const QString &path, bool expanded);
    void StoreExpandedState() const;
    void OnItemExpanded(QTreeWidgetItem *item);

    Target TakeTarget();
    void SetTarget(QTreeWidgetItem *item);
    void CreateEntry(bool folder);
    void MoveExpandedState(QTreeWidgetItem *item, const QString &oldPath, const QString &newPath);
    void SelectPath(const QString &path);
    void ContinueReveal();

    QFileSystemWatcher *m_watcher = nullptr;
    QTimer *m_jobTimer = nullptr;
    QTimer *m_changeTimer = nullptr;
    QSet<QString> m_changedPaths;
    std::vector<std::unique_ptr<SyncJob>> m_jobs;
    bool m_busyShown = false;
    int m_checkNext = -1; // next workspace folder to check, -1 when none
    // Folders whose content has been read (or is being read), by path.
    QHash<QString, QList<QTreeWidgetItem *>> m_loaded;

    QList<QByteArray> m_expandedOrder;
    QSet<QByteArray> m_expanded;
    bool m_restoring = false;

    QString m_revealPath; // what RevealPath still has to reach
    bool m_revealing = false;

    bool m_hasTarget = false;
    Target m_target;
    QString m_copiedPath;
    bool m_renaming = false;

    QIcon m_folderClosed, m_folderOpened, m_melIcon, m_pythonIcon, m_textIcon;
};

} // namespace ke2
