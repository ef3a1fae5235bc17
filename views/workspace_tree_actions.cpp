// The workspace tree's context menu and the file operations behind it.
#include "views/workspace_tree_widget.h"

#include "plugin/host_bridge.h"
#include "views/trash.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTimer>
#include <QtGui/QClipboard>
#include <QtGui/QContextMenuEvent>
#include <QtGui/QGuiApplication>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QMenu>

namespace ke2 {

namespace {

QString joinPath(const QString &folder, const QString &name)
{
    return QStringLiteral("%1/%2").arg(folder.endsWith(QLatin1Char('/')) ? folder.chopped(1) : folder, name);
}

QString parentPath(const QString &path)
{
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return QString();
    return slash == 0 ? QStringLiteral("/") : path.left(slash);
}

// A name typed for a new or renamed entry must stay inside its folder.
bool isPlainName(const QString &name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..")
        && !name.contains(QLatin1Char('/')) && !name.contains(QLatin1Char('\\'));
}

// Removes a file, a link, or a folder with its content; a link to a folder goes alone, never
// what it points to.
bool removePermanently(const QString &path)
{
    const QFileInfo info(path);
    if (info.isSymLink() || !info.isDir())
        return QFile::remove(path);
    return QDir(path).removeRecursively();
}

} // namespace

QString WorkspaceTreeWidget::RevealText()
{
#ifdef Q_OS_WIN
    return tr("Reveal in Explorer");
#else
    return tr("Reveal in Folder");
#endif
}

// --- the item the actions apply to ---

void WorkspaceTreeWidget::SetTarget(QTreeWidgetItem *item)
{
    m_hasTarget = true;
    m_target = Target();
    if (item && ItemKindOf(item) != PlaceholderItem) {
        m_target.path = ItemPath(item);
        m_target.kind = ItemKindOf(item);
        m_target.topLevel = item->parent() == nullptr;
    }
}

WorkspaceTreeWidget::Target WorkspaceTreeWidget::TakeTarget()
{
    // The menu's item when an entry of it runs; otherwise (a button, a key) the current item.
    if (m_hasTarget) {
        m_hasTarget = false;
        return std::exchange(m_target, Target());
    }
    Target target;
    QTreeWidgetItem *item = currentItem();
    if (item && ItemKindOf(item) != PlaceholderItem) {
        target.path = ItemPath(item);
        target.kind = ItemKindOf(item);
        target.topLevel = item->parent() == nullptr;
    }
    return target;
}

void WorkspaceTreeWidget::FillContextMenu(QMenu *menu, QTreeWidgetItem *item)
{
    SetTarget(item);
    const int kind = ItemKindOf(item);
    if (kind == FileItem) {
        menu->addAction(tr("Open"), this, &WorkspaceTreeWidget::Open);
        menu->addAction(RevealText(), this, &WorkspaceTreeWidget::RevealInFolder);
        menu->addSeparator();
        menu->addAction(tr("Copy"), this, &WorkspaceTreeWidget::Copy);
        menu->addAction(tr("Copy Path"), this, &WorkspaceTreeWidget::CopyPath);
        menu->addSeparator();
        menu->addAction(tr("Rename"), this, &WorkspaceTreeWidget::Rename);
        menu->addAction(tr("Delete"), this, &WorkspaceTreeWidget::Remove);
    } else if (kind == FolderItem) {
        menu->addAction(tr("New File"), this, &WorkspaceTreeWidget::NewFile);
        menu->addAction(tr("New Folder"), this, &WorkspaceTreeWidget::NewFolder);
        menu->addAction(RevealText(), this, &WorkspaceTreeWidget::RevealInFolder);
        if (item->parent() == nullptr) {
            menu->addSeparator();
            menu->addAction(tr("Add Folder to Workspace..."), this, &WorkspaceTreeWidget::AddFolderToWorkspace);
            menu->addAction(tr("Remove Folder from Workspace"), this,
                            &WorkspaceTreeWidget::RemoveFolderFromWorkspace);
        }
        menu->addSeparator();
        menu->addAction(tr("Find in Folder..."), this, &WorkspaceTreeWidget::SearchInFolder);
        menu->addSeparator();
        QAction *paste = menu->addAction(tr("Paste"), this, &WorkspaceTreeWidget::Paste);
        paste->setEnabled(!m_copiedPath.isEmpty() && QFileInfo::exists(m_copiedPath));
        menu->addAction(tr("Copy Path"), this, &WorkspaceTreeWidget::CopyPath);
        menu->addSeparator();
        menu->addAction(tr("Delete"), this, &WorkspaceTreeWidget::Remove);
    } else {
        menu->addAction(tr("Add Folder to Workspace..."), this, &WorkspaceTreeWidget::AddFolderToWorkspace);
        menu->addSeparator();
        menu->addAction(tr("Find in Workspace..."), this, &WorkspaceTreeWidget::FindInWorkspace);
    }
}

void WorkspaceTreeWidget::contextMenuEvent(QContextMenuEvent *event)
{
    QTreeWidgetItem *item = itemAt(viewport()->mapFrom(this, event->pos()));
    if (ItemKindOf(item) == PlaceholderItem)
        item = item->parent();
    QMenu menu(this);
    FillContextMenu(&menu, item);
    menu.exec(event->globalPos());
    m_hasTarget = false; // the menu closed without running an entry
}

void WorkspaceTreeWidget::keyPressEvent(QKeyEvent *event)
{
    QTreeWidgetItem *item = currentItem();
    const int kind = ItemKindOf(item);
    if (state() != QAbstractItemView::EditingState && (kind == FileItem || kind == FolderItem)) {
        if (event->key() == Qt::Key_Delete) {
            Remove();
            return;
        }
        if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && kind == FileItem) {
            Open();
            return;
        }
    }
    QTreeWidget::keyPressEvent(event);
}

// --- the actions ---

void WorkspaceTreeWidget::Open()
{
    const Target target = TakeTarget();
    if (target.kind == FileItem)
        emit FileOpenRequested(target.path, false);
}

void WorkspaceTreeWidget::RevealInFolder()
{
    const Target target = TakeTarget();
    if (!target.path.isEmpty())
        HostBridge::showInFileBrowser(target.path);
}

void WorkspaceTreeWidget::Copy()
{
    const Target target = TakeTarget();
    if (target.kind == FileItem)
        m_copiedPath = target.path;
}

void WorkspaceTreeWidget::CopyPath()
{
    const Target target = TakeTarget();
    if (!target.path.isEmpty())
        QGuiApplication::clipboard()->setText(QDir::toNativeSeparators(target.path));
}

void WorkspaceTreeWidget::Rename()
{
    const Target target = TakeTarget();
    QTreeWidgetItem *item = FindItem(target.path);
    if (item && (item->flags() & Qt::ItemIsEditable)) {
        setCurrentItem(item);
        editItem(item, 0);
    }
}

void WorkspaceTreeWidget::OnFileNameChanged(QTreeWidgetItem *item)
{
    const int kind = ItemKindOf(item);
    if (m_renaming || (kind != FileItem && kind != FolderItem) || !item->parent())
        return;
    const QString oldPath = ItemPath(item);
    const QString oldName = QFileInfo(oldPath).fileName();
    const QString newName = item->text(0);
    // Icons and other data changes land here too: only a new text is a rename.
    if (newName == oldName)
        return;
    auto restore = [&] {
        m_renaming = true;
        item->setText(0, oldName);
        m_renaming = false;
    };
    const QString newPath = joinPath(parentPath(oldPath), newName);
    if (!isPlainName(newName)) {
        restore();
        return;
    }
    const bool caseOnly = newName.compare(oldName, Qt::CaseInsensitive) == 0;
    if (QFileInfo::exists(newPath) && !caseOnly) {
        restore();
        HostBridge::showWarning(tr("Rename failed. File already exists: %1").arg(newPath));
        return;
    }
    if (!QDir().rename(oldPath, newPath)) {
        restore();
        HostBridge::showError(
            tr("Rename file failed. Please verify file path and permissions: %1 -> %2").arg(oldPath, newPath));
        return;
    }
    const bool wasCurrent = currentItem() == item;
    MoveExpandedState(item, oldPath, newPath);
    emit FilePathChanged(oldPath, newPath);
    // The item is made again in its sorted place by reading its folder, once the editor that
    // changed its text has let go of it.
    QTimer::singleShot(0, this, [this, oldPath, newPath, wasCurrent] {
        QTreeWidgetItem *renamed = FindItem(oldPath);
        if (!renamed || !renamed->parent())
            return;
        QTreeWidgetItem *folder = renamed->parent();
        DeleteItem(renamed);
        StartSync(folder, true);
        if (wasCurrent)
            SelectPath(newPath);
    });
}

void WorkspaceTreeWidget::Remove()
{
    const Target target = TakeTarget();
    if (target.kind != FileItem && target.kind != FolderItem)
        return;
    const bool isFolder = target.kind == FolderItem;
    const QString title = isFolder ? tr("Delete Folder") : tr("Delete File");
    if (!askQuestion(title, tr("Delete '%1'").arg(QDir::toNativeSeparators(target.path))))
        return;
    // The trash first, so that a slip can be undone; where there is none, only on a second yes.
    if (!Trash::Move(target.path)) {
        if (QFileInfo::exists(target.path) || QFileInfo(target.path).isSymLink()) {
            if (!askQuestion(title, tr("'%1' cannot be moved to the trash. Delete it permanently?")
                                        .arg(QDir::toNativeSeparators(target.path))))
                return;
            if (!removePermanently(target.path)) {
                HostBridge::showError((isFolder ? tr("Failed to delete folder: %1") : tr("Failed to delete file: %1"))
                                          .arg(target.path));
                SyncPath(parentPath(target.path));
                return;
            }
        }
    }
    if (target.topLevel) {
        if (QTreeWidgetItem *item = FindItem(target.path)) {
            if (item->parent() == nullptr) {
                DeleteItem(item);
                emit WorkspaceModified();
            }
        }
    } else if (QTreeWidgetItem *item = FindItem(target.path)) {
        DeleteItem(item);
    }
    emit ItemDeleted(target.path, isFolder);
}

void WorkspaceTreeWidget::NewFile()
{
    CreateEntry(false);
}

void WorkspaceTreeWidget::NewFolder()
{
    CreateEntry(true);
}

void WorkspaceTreeWidget::CreateEntry(bool folder)
{
    const Target target = TakeTarget();
    if (target.kind != FolderItem) {
        HostBridge::showWarning(tr("A folder needs to be selected first."));
        return;
    }
    const QString name = folder ? askName(tr("New Folder"), tr("Folder Name")) : askName(tr("New File"), tr("File Name"));
    if (name.isEmpty())
        return;
    const QString path = joinPath(target.path, name);
    if (!isPlainName(name)) {
        HostBridge::showError((folder ? tr("Failed to create directory: %1") : tr("Failed to create file: %1")).arg(path));
        return;
    }
    if (folder) {
        if (QFileInfo::exists(path)) {
            HostBridge::showWarning(tr("Directory already exists: %1").arg(path));
            return;
        }
        if (!QDir().mkdir(path)) {
            HostBridge::showError(tr("Failed to create directory: %1").arg(path));
            return;
        }
    } else {
        if (QFileInfo::exists(path)) {
            HostBridge::showWarning(tr("File already exists: %1").arg(path));
            return;
        }
        QFile file(path);
        if (!file.open(QIODevice::NewOnly | QIODevice::WriteOnly)) {
            HostBridge::showError(tr("Failed to create file: %1").arg(path));
            return;
        }
    }
    if (QTreeWidgetItem *item = FindItem(target.path)) {
        item->setExpanded(true);
        StartSync(item, true);
    }
    SelectPath(path);
    emit FileAdded();
    if (!folder)
        emit FileOpenRequested(path, false);
}

void WorkspaceTreeWidget::Paste()
{
    const Target target = TakeTarget();
    if (target.kind != FolderItem || m_copiedPath.isEmpty() || !QFileInfo::exists(m_copiedPath))
        return;
    const QString destination = joinPath(target.path, QFileInfo(m_copiedPath).fileName());
    if (QFileInfo::exists(destination)) {
        HostBridge::showWarning(tr("File already exists: %1").arg(destination));
        return;
    }
    if (!QFile::copy(m_copiedPath, destination)) {
        HostBridge::showError(tr("Copy file failed: %1 -> %2").arg(m_copiedPath, destination));
        return;
    }
    if (QTreeWidgetItem *item = FindItem(target.path)) {
        item->setExpanded(true);
        StartSync(item, true);
    }
    SelectPath(destination);
    emit FileAdded();
}

void WorkspaceTreeWidget::AddFolderToWorkspace()
{
    TakeTarget();
    AddWorkspaceFolder(askFolder());
}

void WorkspaceTreeWidget::RemoveFolderFromWorkspace()
{
    const Target target = TakeTarget();
    if (!target.topLevel)
        return;
    for (int i = 0; i < topLevelItemCount(); ++i) {
        if (ItemPath(topLevelItem(i)) == target.path) {
            DeleteItem(topLevelItem(i));
            emit WorkspaceModified();
            return;
        }
    }
}

void WorkspaceTreeWidget::SearchInFolder()
{
    const Target target = TakeTarget();
    if (target.kind == FolderItem)
        emit FindInSelected(target.path, QFileInfo(target.path).fileName());
}

void WorkspaceTreeWidget::FindInWorkspace()
{
    TakeTarget();
    QStringList paths;
    for (int i = 0; i < topLevelItemCount(); ++i)
        paths.append(ItemPath(topLevelItem(i)));
    paths.removeDuplicates();
    emit FindInSelected(paths.join(QDir::listSeparator()), tr("Workspace"));
}

void WorkspaceTreeWidget::SelectPath(const QString &path)
{
    if (QTreeWidgetItem *item = FindItem(path)) {
        setCurrentItem(item);
        scrollToItem(item);
    }
}

} // namespace ke2
