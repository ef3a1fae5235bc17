#include "views/workspace_tree_widget.h"

#include "config/settings.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFileInfo>
#include <QtCore/QFileSystemWatcher>
#include <QtCore/QTimer>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QInputDialog>
#include <QtWidgets/QMessageBox>

#include <algorithm>

namespace ke2 {

namespace {

// Work per slice of folder reading: short enough that typing and painting stay smooth.
constexpr qint64 sliceMilliseconds = 12;
// Quiet time after a change on disk before the folder is read again: a burst of changes (an
// unpacked archive, a build) is merged into one read.
constexpr int changeDelayMilliseconds = 100;
// Expanded folders remembered at most (16 bytes each in the settings file).
constexpr int maximumExpandedEntries = 4000;

QString cleanPath(const QString &path)
{
    return QDir::cleanPath(QDir::fromNativeSeparators(path));
}

QString parentPath(const QString &path)
{
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return QString();
    return slash == 0 ? QStringLiteral("/") : path.left(slash);
}

QString joinPath(const QString &folder, const QString &name)
{
    return QStringLiteral("%1/%2").arg(folder.endsWith(QLatin1Char('/')) ? folder.chopped(1) : folder, name);
}

QString fileNameOf(const QString &path)
{
    const QString name = QFileInfo(path).fileName();
    return name.isEmpty() ? path : name;
}

} // namespace

struct WorkspaceTreeWidget::SyncJob {
    QTreeWidgetItem *folder = nullptr;
    QString path;
    std::unique_ptr<QDirIterator> iterator;
    bool hideCompiled = false;
    bool listed = false;
    std::vector<Entry> entries;
    size_t sorted = 0; // entries[0, sorted) are in order
    size_t next = 0;   // next listing entry to merge
    int child = 0; // merge cursor among the folder's children
};

WorkspaceTreeWidget::WorkspaceTreeWidget(QWidget *parent)
    : QTreeWidget(parent)
    , m_watcher(new QFileSystemWatcher(this))
    , m_jobTimer(new QTimer(this))
    , m_changeTimer(new QTimer(this))
    , m_folderClosed(QStringLiteral(":/ke2_icons/folder_closed.png"))
    , m_folderOpened(QStringLiteral(":/ke2_icons/folder_opened.png"))
    , m_melIcon(QStringLiteral(":/ke2_icons/mel_icon.png"))
    , m_pythonIcon(QStringLiteral(":/ke2_icons/python_icon.png"))
    , m_textIcon(QStringLiteral(":/ke2_icons/text_icon.png"))
{
    setHeaderHidden(true);
    setColumnCount(1);
    setFrameShape(QFrame::NoFrame);
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::SingleSelection);
    // A double click opens a file; renaming starts from the menu or F2.
    setEditTriggers(QAbstractItemView::EditKeyPressed);
    setExpandsOnDoubleClick(true);

    m_jobTimer->setInterval(0);
    connect(m_jobTimer, &QTimer::timeout, this, &WorkspaceTreeWidget::RunJobs);
    m_changeTimer->setSingleShot(true);
    m_changeTimer->setInterval(changeDelayMilliseconds);
    connect(m_changeTimer, &QTimer::timeout, this, [this] {
        const QSet<QString> paths = std::exchange(m_changedPaths, {});
        for (const QString &path : paths)
            SyncPath(path);
    });
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, &WorkspaceTreeWidget::OnDirectoryChanged);

    connect(this, &QTreeWidget::itemExpanded, this, &WorkspaceTreeWidget::OnItemExpanded);
    connect(this, &QTreeWidget::itemCollapsed, this, &WorkspaceTreeWidget::OnItemCollapsed);
    connect(this, &QTreeWidget::itemChanged, this, &WorkspaceTreeWidget::OnFileNameChanged);
    connect(this, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem *item) {
        if (ItemKindOf(item) == FileItem)
            emit FileOpenRequested(ItemPath(item), false);
    });

    for (const QByteArray &entry : qAsConst(Settings::instance().workspaceState)) {
        if (entry.size() == 16 && !m_expanded.contains(entry)) {
            m_expanded.insert(entry);
            m_expandedOrder.append(entry);
        }
    }

    askQuestion = [this](const QString &title, const QString &text) {
        return QMessageBox::question(this, title, text, QMessageBox::Yes | QMessageBox::No, QMessageBox::No)
            == QMessageBox::Yes;
    };
    askName = [this](const QString &title, const QString &label) {
        return QInputDialog::getText(this, title, label);
    };
    askFolder = [this] { return QFileDialog::getExistingDirectory(this, tr("Add Folder to Workspace")); };
}

WorkspaceTreeWidget::~WorkspaceTreeWidget()
{
    // The jobs point at items the base class is about to delete.
    m_jobs.clear();
}

// --- items ---

QString WorkspaceTreeWidget::ItemPath(const QTreeWidgetItem *item)
{
    return item ? item->data(0, PathRole).toString() : QString();
}

int WorkspaceTreeWidget::ItemKindOf(const QTreeWidgetItem *item)
{
    return item ? item->data(0, KindRole).toInt() : 0;
}

QTreeWidgetItem *WorkspaceTreeWidget::MakePlaceholder()
{
    auto *item = new QTreeWidgetItem(QStringList{QStringLiteral("placeholder")});
    item->setData(0, KindRole, PlaceholderItem);
    item->setFlags(Qt::ItemIsEnabled);
    return item;
}

QTreeWidgetItem *WorkspaceTreeWidget::MakeItem(const QString &path, const QString &name, bool isFolder) const
{
    auto *item = new QTreeWidgetItem(QStringList{name});
    item->setData(0, PathRole, path);
    item->setData(0, NameRole, name);
    item->setData(0, KindRole, isFolder ? FolderItem : FileItem);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable);
    if (isFolder) {
        item->setIcon(0, m_folderClosed);
        item->addChild(MakePlaceholder());
    } else {
        const QString suffix = QFileInfo(name).suffix();
        if (suffix == QLatin1String("mel"))
            item->setIcon(0, m_melIcon);
        else if (suffix == QLatin1String("py") || suffix == QLatin1String("pyw") || suffix == QLatin1String("pyi"))
            item->setIcon(0, m_pythonIcon);
        else
            item->setIcon(0, m_textIcon);
    }
    return item;
}

void WorkspaceTreeWidget::UpdateAvailability(QTreeWidgetItem *item)
{
    const QString path = ItemPath(item);
    const QFileInfo info(path); // one look at the disk per workspace folder
    const bool unavailable = !info.isDir();
    if (unavailable) {
        CancelJob(item);
        if (item->childCount() > 0) {
            for (int i = item->childCount() - 1; i >= 0; --i)
                DeleteItem(item->child(i));
        }
        const QString tip = info.exists() ? tr("Not a folder: %1").arg(path) : tr("Folder not found: %1").arg(path);
        if (!item->data(0, UnavailableRole).toBool() || item->toolTip(0) != tip) {
            item->setData(0, UnavailableRole, true);
            item->setForeground(0, palette().brush(QPalette::Disabled, QPalette::Text));
            item->setToolTip(0, tip);
        }
    } else {
        if (item->childCount() == 0 && !m_loaded.contains(path))
            item->addChild(MakePlaceholder()); // a folder that appeared since
        if (item->data(0, UnavailableRole).toBool()) {
            item->setData(0, UnavailableRole, false);
            item->setData(0, Qt::ForegroundRole, QVariant());
            item->setToolTip(0, path);
        }
    }
}

void WorkspaceTreeWidget::CheckFolders()
{
    m_checkNext = 0;
    UpdateBusy();
}

WorkspaceTreeWidget::Entry WorkspaceTreeWidget::MakeEntry(const QString &name, bool isFolder)
{
    return Entry{name, name.toCaseFolded(), isFolder};
}

bool WorkspaceTreeWidget::Less(const Entry &a, const Entry &b)
{
    if (a.isFolder != b.isFolder)
        return a.isFolder;
    // Folded once per entry: comparing folded keys is a plain comparison, many times faster
    // than a case-insensitive one, which matters when sorting tens of thousands of names.
    if (a.key != b.key)
        return a.key < b.key;
    return a.name < b.name;
}

QTreeWidgetItem *WorkspaceTreeWidget::FindItem(const QString &path) const
{
    const QString clean = cleanPath(path);
    const QList<QTreeWidgetItem *> folders = m_loaded.value(clean);
    if (!folders.isEmpty())
        return folders.first();
    // A file, or a folder not read yet: look among the children of its folder.
    for (QTreeWidgetItem *folder : m_loaded.value(parentPath(clean))) {
        for (int i = 0; i < folder->childCount(); ++i) {
            if (ItemPath(folder->child(i)) == clean)
                return folder->child(i);
        }
    }
    for (int i = 0; i < topLevelItemCount(); ++i) {
        if (ItemPath(topLevelItem(i)) == clean)
            return topLevelItem(i);
    }
    return nullptr;
}

bool WorkspaceTreeWidget::RevealPath(const QString &path)
{
    const QString clean = cleanPath(path);
    m_revealPath.clear();
    for (int i = 0; i < topLevelItemCount(); ++i) {
        const QString folder = ItemPath(topLevelItem(i));
        if (clean == folder || clean.startsWith(folder + QLatin1Char('/')))
            m_revealPath = clean;
    }
    if (m_revealPath.isEmpty())
        return false;
    ContinueReveal();
    return true;
}

void WorkspaceTreeWidget::ContinueReveal()
{
    // Expanding a small folder reads it at once, which comes back here: the outer call goes on.
    if (m_revealPath.isEmpty() || m_revealing)
        return;
    m_revealing = true;
    const auto leadsTo = [this](const QTreeWidgetItem *item) {
        const QString path = ItemPath(item);
        return m_revealPath == path || m_revealPath.startsWith(path + QLatin1Char('/'));
    };
    // The deepest workspace folder holding the path (folders may nest).
    QTreeWidgetItem *item = nullptr;
    for (int i = 0; i < topLevelItemCount(); ++i) {
        QTreeWidgetItem *folder = topLevelItem(i);
        if (leadsTo(folder) && (!item || ItemPath(folder).size() > ItemPath(item).size()))
            item = folder;
    }
    while (item) {
        if (ItemPath(item) == m_revealPath) {
            setCurrentItem(item);
            scrollToItem(item);
            m_revealPath.clear();
            break;
        }
        if (!item->isExpanded())
            item->setExpanded(true);
        const bool reading = std::any_of(m_jobs.begin(), m_jobs.end(),
                                         [item](const std::unique_ptr<SyncJob> &job) { return job->folder == item; });
        if (reading || (item->childCount() > 0 && ItemKindOf(item->child(0)) == PlaceholderItem))
            break; // FinishJob brings the reveal back here
        QTreeWidgetItem *next = nullptr;
        for (int i = 0; i < item->childCount() && !next; ++i)
            if (leadsTo(item->child(i)))
                next = item->child(i);
        if (!next)
            m_revealPath.clear(); // not there (gone, or hidden by the filters)
        item = next;
    }
    m_revealing = false;
}

// --- workspace folders ---

void WorkspaceTreeWidget::SetFolders(const QStringList &entries, const QString &baseDirectory)
{
    for (int i = 0; i < topLevelItemCount(); ++i)
        ForgetSubtree(topLevelItem(i));
    clear();
    const QDir base(baseDirectory.isEmpty() ? QDir::currentPath() : baseDirectory);
    QList<QTreeWidgetItem *> items;
    items.reserve(entries.size());
    // Nothing is read from the disk here: whether each folder exists is checked in slices
    // afterwards, so that a workspace listing many folders (or folders on a slow share) opens
    // at once.
    for (const QString &entry : entries)
        items.append(MakeWorkspaceFolder(cleanPath(base.absoluteFilePath(QDir::fromNativeSeparators(entry))), entry));
    m_restoring = true;
    addTopLevelItems(items);
    for (QTreeWidgetItem *item : qAsConst(items)) {
        if (WasExpanded(ItemPath(item)))
            item->setExpanded(true);
    }
    m_restoring = false;
    CheckFolders();
}

QTreeWidgetItem *WorkspaceTreeWidget::MakeWorkspaceFolder(const QString &path, const QString &entry) const
{
    QTreeWidgetItem *item = MakeItem(path, fileNameOf(path), true);
    item->setData(0, EntryRole, entry);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable); // renamed outside the workspace only
    item->setToolTip(0, path);
    return item;
}

QStringList WorkspaceTreeWidget::Folders() const
{
    QStringList folders;
    folders.reserve(topLevelItemCount());
    for (int i = 0; i < topLevelItemCount(); ++i)
        folders.append(topLevelItem(i)->data(0, EntryRole).toString());
    return folders;
}

void WorkspaceTreeWidget::AddWorkspaceFolder(const QString &path)
{
    if (path.isEmpty())
        return;
    const QString clean = cleanPath(QFileInfo(path).absoluteFilePath());
    QTreeWidgetItem *item = MakeWorkspaceFolder(clean, clean);
    addTopLevelItem(item);
    UpdateAvailability(item);
    emit WorkspaceModified();
}

void WorkspaceTreeWidget::RefreshAll()
{
    CheckFolders();
    const QList<QString> paths = m_loaded.keys();
    for (const QString &path : paths)
        SyncPath(path);
}

void WorkspaceTreeWidget::CollapseAllFolders()
{
    for (auto it = m_loaded.cbegin(); it != m_loaded.cend(); ++it)
        RememberExpanded(it.key(), false);
    collapseAll();
    for (const QList<QTreeWidgetItem *> &items : qAsConst(m_loaded)) {
        for (QTreeWidgetItem *item : items)
            item->setIcon(0, m_folderClosed);
    }
}

// --- reading folders ---

void WorkspaceTreeWidget::ReplacePlaceholderWithContent(QTreeWidgetItem *item)
{
    if (ItemKindOf(item) != FolderItem || item->childCount() == 0
        || ItemKindOf(item->child(0)) != PlaceholderItem)
        return;
    StartSync(item, true);
}

void WorkspaceTreeWidget::StartSync(QTreeWidgetItem *folder, bool firstSliceNow)
{
    CancelJob(folder);
    const QString path = ItemPath(folder);
    QList<QTreeWidgetItem *> &items = m_loaded[path];
    if (!items.contains(folder))
        items.append(folder);
    if (!m_watcher->directories().contains(path) && QFileInfo(path).isDir())
        m_watcher->addPath(path);

    auto job = std::make_unique<SyncJob>();
    job->folder = folder;
    job->path = path;
    job->hideCompiled = Settings::instance().pythonHideCompiledFiles;
    job->iterator = std::make_unique<QDirIterator>(path, QDir::AllEntries | QDir::NoDotAndDotDot);
    if (folder->childCount() > 0 && ItemKindOf(folder->child(0)) == PlaceholderItem)
        folder->child(0)->setText(0, tr("Loading..."));
    SyncJob *started = job.get();
    m_jobs.push_back(std::move(job));
    if (firstSliceNow) {
        QElapsedTimer clock;
        clock.start();
        if (RunJob(*started, clock))
            FinishJob(started);
    }
    UpdateBusy();
}

void WorkspaceTreeWidget::CancelJob(QTreeWidgetItem *folder)
{
    m_jobs.erase(std::remove_if(m_jobs.begin(), m_jobs.end(),
                                [folder](const std::unique_ptr<SyncJob> &job) { return job->folder == folder; }),
                 m_jobs.end());
}

void WorkspaceTreeWidget::RunJobs()
{
    QElapsedTimer clock;
    clock.start();
    while (m_checkNext >= 0 && clock.elapsed() < sliceMilliseconds) {
        for (int n = 0; n < 32 && m_checkNext < topLevelItemCount(); ++n)
            UpdateAvailability(topLevelItem(m_checkNext++));
        if (m_checkNext >= topLevelItemCount())
            m_checkNext = -1;
    }
    while (!m_jobs.empty() && clock.elapsed() < sliceMilliseconds) {
        SyncJob *job = m_jobs.front().get();
        if (!RunJob(*job, clock))
            break;
        FinishJob(job);
    }
    UpdateBusy();
}

void WorkspaceTreeWidget::UpdateBusy()
{
    const bool busy = IsBusy();
    if (!busy)
        m_jobTimer->stop();
    else if (!m_jobTimer->isActive())
        m_jobTimer->start();
    if (busy != m_busyShown) {
        m_busyShown = busy;
        emit BusyChanged(busy);
    }
}

bool WorkspaceTreeWidget::RunJob(SyncJob &job, const QElapsedTimer &clock)
{
    // Listing first: names and kinds only (the directory read gives the kind without a stat on
    // most systems).
    // Each slice sorts what it read and merges it into the sorted part: no single step sorts
    // the whole folder.
    auto sortNewEntries = [&job] {
        std::sort(job.entries.begin() + job.sorted, job.entries.end(), &WorkspaceTreeWidget::Less);
        std::inplace_merge(job.entries.begin(), job.entries.begin() + job.sorted, job.entries.end(),
                           &WorkspaceTreeWidget::Less);
        job.sorted = job.entries.size();
    };
    while (!job.listed) {
        for (int n = 0; n < 32; ++n) {
            if (!job.iterator->hasNext()) {
                job.listed = true;
                job.iterator.reset();
                break;
            }
            job.iterator->next();
            const QFileInfo info = job.iterator->fileInfo();
            const QString name = info.fileName();
            if (job.hideCompiled && name.endsWith(QLatin1String(".pyc")))
                continue;
            job.entries.push_back(MakeEntry(name, info.isDir()));
        }
        if (job.listed || clock.elapsed() >= sliceMilliseconds) {
            sortNewEntries();
            if (!job.listed)
                return false;
        }
    }

    // Then merge the sorted listing into the (sorted) children: items that stay keep their
    // expanded state and content.
    QTreeWidgetItem *folder = job.folder;
    QList<QTreeWidgetItem *> run; // new items waiting to be inserted at job.child
    auto flushRun = [&] {
        if (run.isEmpty())
            return;
        folder->insertChildren(job.child, run);
        job.child += run.size();
        for (QTreeWidgetItem *item : qAsConst(run)) {
            if (ItemKindOf(item) == FolderItem && WasExpanded(ItemPath(item))) {
                m_restoring = true;
                item->setExpanded(true);
                m_restoring = false;
            }
        }
        run.clear();
    };
    int steps = 0;
    while (job.next < job.entries.size()) {
        if (++steps % 256 == 0 && clock.elapsed() >= sliceMilliseconds) {
            flushRun();
            return false;
        }
        const Entry &entry = job.entries[job.next];
        if (run.isEmpty() && job.child < folder->childCount()) {
            QTreeWidgetItem *child = folder->child(job.child);
            const int kind = ItemKindOf(child);
            if (kind == PlaceholderItem) {
                DeleteItem(child);
                continue;
            }
            const Entry existing = MakeEntry(child->data(0, NameRole).toString(), kind == FolderItem);
            if (existing.name == entry.name && existing.isFolder == entry.isFolder) {
                ++job.child;
                ++job.next;
                continue;
            }
            if (Less(existing, entry) || existing.name == entry.name) {
                DeleteItem(child); // gone from the disk (or turned from file to folder)
                continue;
            }
        } else if (!run.isEmpty() && job.child < folder->childCount()) {
            // Keep collecting only while the new entry still sorts before the next child.
            QTreeWidgetItem *child = folder->child(job.child);
            const Entry existing = MakeEntry(child->data(0, NameRole).toString(), ItemKindOf(child) == FolderItem);
            if (ItemKindOf(child) == PlaceholderItem || !Less(entry, existing)) {
                flushRun();
                continue;
            }
        }
        run.append(MakeItem(joinPath(job.path, entry.name), entry.name, entry.isFolder));
        ++job.next;
    }
    flushRun();
    while (job.child < folder->childCount())
        DeleteItem(folder->child(job.child));
    return true;
}

void WorkspaceTreeWidget::FinishJob(SyncJob *job)
{
    // Merging may have started or cancelled other jobs: find this one again by address.
    const auto found = std::find_if(m_jobs.begin(), m_jobs.end(),
                                    [job](const std::unique_ptr<SyncJob> &each) { return each.get() == job; });
    if (found == m_jobs.end())
        return;
    const std::unique_ptr<SyncJob> done = std::move(*found);
    m_jobs.erase(found);
    if (done->folder->parent() == nullptr)
        UpdateAvailability(done->folder);
    if (!m_revealPath.isEmpty())
        QTimer::singleShot(0, this, &WorkspaceTreeWidget::ContinueReveal);
}

void WorkspaceTreeWidget::OnDirectoryChanged(const QString &path)
{
    m_changedPaths.insert(cleanPath(path));
    m_changeTimer->start();
}

void WorkspaceTreeWidget::SyncPath(const QString &path)
{
    const QList<QTreeWidgetItem *> folders = m_loaded.value(path);
    for (QTreeWidgetItem *folder : folders)
        StartSync(folder, false);
}

void WorkspaceTreeWidget::ForgetSubtree(QTreeWidgetItem *item)
{
    QVector<QTreeWidgetItem *> stack{item};
    while (!stack.isEmpty()) {
        QTreeWidgetItem *current = stack.takeLast();
        if (ItemKindOf(current) != FolderItem)
            continue;
        const QString path = ItemPath(current);
        auto found = m_loaded.find(path);
        if (found != m_loaded.end()) {
            found->removeAll(current);
            if (found->isEmpty()) {
                m_loaded.erase(found);
                m_watcher->removePath(path);
            }
            CancelJob(current);
        }
        for (int i = 0; i < current->childCount(); ++i)
            stack.append(current->child(i));
    }
}

void WorkspaceTreeWidget::DeleteItem(QTreeWidgetItem *item)
{
    ForgetSubtree(item);
    delete item;
}

// --- expanded state ---

QByteArray WorkspaceTreeWidget::Digest(const QString &path)
{
    return QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Md5);
}

bool WorkspaceTreeWidget::WasExpanded(const QString &path) const
{
    return !m_expanded.isEmpty() && m_expanded.contains(Digest(path));
}

void WorkspaceTreeWidget::RememberExpanded(const QString &path, bool expanded)
{
    const QByteArray digest = Digest(path);
    if (expanded == m_expanded.contains(digest))
        return;
    if (expanded) {
        m_expanded.insert(digest);
        m_expandedOrder.append(digest);
        while (m_expandedOrder.size() > maximumExpandedEntries)
            m_expanded.remove(m_expandedOrder.takeFirst());
    } else {
        m_expanded.remove(digest);
        m_expandedOrder.removeOne(digest);
    }
    StoreExpandedState();
}

void WorkspaceTreeWidget::StoreExpandedState() const
{
    Settings::instance().workspaceState = m_expandedOrder;
}

void WorkspaceTreeWidget::OnItemExpanded(QTreeWidgetItem *item)
{
    if (ItemKindOf(item) != FolderItem)
        return;
    item->setIcon(0, m_folderOpened);
    RememberExpanded(ItemPath(item), true);
    if (ItemKindOf(item->child(0)) != PlaceholderItem)
        return;
    // A folder the user opens fills at once when it is small; folders opened again from the
    // remembered state fill in the background, one slice at a time.
    if (m_restoring)
        StartSync(item, false);
    else
        ReplacePlaceholderWithContent(item);
}

void WorkspaceTreeWidget::OnItemCollapsed(QTreeWidgetItem *item)
{
    if (ItemKindOf(item) != FolderItem)
        return;
    item->setIcon(0, m_folderClosed);
    RememberExpanded(ItemPath(item), false);
}

void WorkspaceTreeWidget::MoveExpandedState(QTreeWidgetItem *item, const QString &oldPath, const QString &newPath)
{
    QVector<QTreeWidgetItem *> stack{item};
    while (!stack.isEmpty()) {
        QTreeWidgetItem *current = stack.takeLast();
        if (ItemKindOf(current) != FolderItem || !current->isExpanded())
            continue;
        const QString path = ItemPath(current);
        RememberExpanded(path, false);
        RememberExpanded(newPath + path.mid(oldPath.size()), true);
        for (int i = 0; i < current->childCount(); ++i)
            stack.append(current->child(i));
    }
}

} // namespace ke2
