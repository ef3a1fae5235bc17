#include "views/workspace_view.h"

#include "config/settings.h"
#include "config/user_directories.h"
#include "plugin/host_bridge.h"
#include "views/workspace_file.h"
#include "views/workspace_tree_widget.h"

#include <QtCore/QFileInfo>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

namespace ke2 {

namespace {

QToolButton *makeToolButton(QWidget *parent, const QString &text, const QString &icon)
{
    auto *button = new QToolButton(parent);
    button->setAutoRaise(true);
    button->setToolButtonStyle(Qt::ToolButtonIconOnly);
    button->setIcon(QIcon(QStringLiteral(":/ke2_icons/") + icon));
    button->setToolTip(text);
    button->setText(text);
    return button;
}

bool isDefaultWorkspaceFile(const QString &path)
{
    const QString defaultFile = UserDirectories::defaultWorkspaceFile();
    return !defaultFile.isEmpty() && QFileInfo(path).absoluteFilePath() == QFileInfo(defaultFile).absoluteFilePath();
}

} // namespace

WorkspaceView::WorkspaceView(QWidget *parent)
    : QWidget(parent)
{
    m_header = new QWidget(this);
    auto *headerLayout = new QHBoxLayout(m_header);
    headerLayout->setContentsMargins(4, 0, 0, 0);
    headerLayout->setSpacing(0);
    m_title = new QLabel(m_header);
    headerLayout->addWidget(m_title, 1);
    m_buttons = new QWidget(m_header);
    auto *buttonLayout = new QHBoxLayout(m_buttons);
    buttonLayout->setContentsMargins(0, 0, 0, 0);
    buttonLayout->setSpacing(0);
    QToolButton *newFile = makeToolButton(m_buttons, tr("New File"), QStringLiteral("new_file.png"));
    QToolButton *newFolder = makeToolButton(m_buttons, tr("New Folder"), QStringLiteral("new_folder.png"));
    QToolButton *refresh = makeToolButton(m_buttons, tr("Refresh"), QStringLiteral("refresh.png"));
    QToolButton *collapse = makeToolButton(m_buttons, tr("Collapse All"), QStringLiteral("collapse.png"));
    for (QToolButton *button : {newFile, newFolder, refresh, collapse})
        buttonLayout->addWidget(button);
    headerLayout->addWidget(m_buttons);

    m_busy = new QProgressBar(this);
    m_busy->setRange(0, 0); // no end known: a moving bar
    m_busy->setTextVisible(false);
    m_busy->setMaximumHeight(3);
    m_busy->setToolTip(tr("Reading folders..."));
    m_busy->hide();

    m_tree = new WorkspaceTreeWidget(this);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_header);
    layout->addWidget(m_busy);
    layout->addWidget(m_tree, 1);

    connect(newFile, &QToolButton::clicked, this, &WorkspaceView::NewFile);
    connect(newFolder, &QToolButton::clicked, this, &WorkspaceView::NewFolder);
    connect(refresh, &QToolButton::clicked, this, &WorkspaceView::Refresh);
    connect(collapse, &QToolButton::clicked, this, &WorkspaceView::collapseAll);

    connect(m_tree, &WorkspaceTreeWidget::FileOpenRequested, this, &WorkspaceView::OnFileOpenRequested);
    connect(m_tree, &WorkspaceTreeWidget::FilePathChanged, this, &WorkspaceView::OnFilePathChanged);
    connect(m_tree, &WorkspaceTreeWidget::FindInSelected, this, &WorkspaceView::OnFindInSelected);
    connect(m_tree, &WorkspaceTreeWidget::FileAdded, this, &WorkspaceView::OnFileAdded);
    connect(m_tree, &WorkspaceTreeWidget::ItemDeleted, this, &WorkspaceView::OnItemDeleted);
    connect(m_tree, &WorkspaceTreeWidget::WorkspaceModified, this, &WorkspaceView::OnWorkspaceModified);
    connect(m_tree, &WorkspaceTreeWidget::BusyChanged, m_busy, &QWidget::setVisible);
    ConnectSaving(true);
    UpdateTitle();
}

void WorkspaceView::ConnectSaving(bool on)
{
    if (on)
        connect(m_tree, &WorkspaceTreeWidget::WorkspaceModified, this, &WorkspaceView::SaveWorkspace,
                Qt::UniqueConnection);
    else
        disconnect(m_tree, &WorkspaceTreeWidget::WorkspaceModified, this, &WorkspaceView::SaveWorkspace);
}

void WorkspaceView::SetExplorerTitle(bool on)
{
    m_explorerTitle = on;
    UpdateTitle();
}

QString WorkspaceView::Title() const
{
    QString name = WorkspaceFile::Name(m_workspacePath);
    if (name.isEmpty() || name.compare(QLatin1String("default"), Qt::CaseInsensitive) == 0)
        name = DefaultTitle();
    return QStringLiteral("%1%2").arg(m_explorerTitle ? tr("EXPLORER: ") : QString(), name);
}

void WorkspaceView::UpdateTitle()
{
    const QString title = Title();
    m_title->setToolTip(QDir::toNativeSeparators(m_workspacePath));
    if (m_title->text() == title)
        return;
    m_title->setText(title);
    emit TitleChanged(title);
}

void WorkspaceView::SetTitleVisible(bool visible)
{
    m_title->setVisible(visible);
    // Without its title the row only held the buttons, which have moved elsewhere.
    m_header->setVisible(visible || m_buttons->parentWidget() == m_header);
}

bool WorkspaceView::LoadWorkspace(const QString &path)
{
    const WorkspaceFile::ReadResult result = WorkspaceFile::Read(path);
    if (result.status == WorkspaceFile::ReadStatus::Unreadable) {
        if (!isDefaultWorkspaceFile(path)) {
            HostBridge::showError(tr("Failed to open workspace file: %1").arg(path));
            return false;
        }
        // A first start: the default workspace is empty until a folder is added.
    }
    ConnectSaving(false);
    m_workspacePath = QFileInfo(path).absoluteFilePath();
    m_keepBackup = result.status == WorkspaceFile::ReadStatus::Partial;
    m_tree->SetFolders(result.folders, QFileInfo(path).absolutePath());
    ConnectSaving(true);
    Settings::instance().workspacePath = m_workspacePath;
    UpdateTitle();
    if (m_keepBackup)
        HostBridge::showWarning(tr("Workspace file read in part: %1 (%2)").arg(path, result.problem));
    return true;
}

void WorkspaceView::LoadStartupWorkspace()
{
    const QString saved = Settings::instance().workspacePath;
    if (!saved.isEmpty() && QFileInfo::exists(saved))
        LoadWorkspace(saved);
    else
        LoadWorkspace(UserDirectories::defaultWorkspaceFile());
}

bool WorkspaceView::SaveWorkspaceTo(const QString &path)
{
    if (path.isEmpty())
        return false;
    const bool sameFile = QFileInfo(path).absoluteFilePath() == m_workspacePath;
    if (!WorkspaceFile::Write(path, m_tree->Folders(), sameFile && m_keepBackup)) {
        HostBridge::showError(tr("Failed to open workspace file for write: %1").arg(path));
        return false;
    }
    if (sameFile)
        m_keepBackup = false;
    m_workspacePath = QFileInfo(path).absoluteFilePath();
    Settings::instance().workspacePath = m_workspacePath;
    UpdateTitle();
    return true;
}

void WorkspaceView::SaveWorkspace()
{
    SaveWorkspaceTo(m_workspacePath.isEmpty() ? UserDirectories::defaultWorkspaceFile() : m_workspacePath);
}

void WorkspaceView::SaveWorkspaceAs()
{
    const QString start = m_workspacePath.isEmpty() ? UserDirectories::workspacesDirectory() : m_workspacePath;
    QString path = QFileDialog::getSaveFileName(this, tr("Save Workspace"), start, WorkspaceFile::DialogFilter());
    if (path.isEmpty())
        return;
    if (!path.endsWith(WorkspaceFile::Suffix()) && QFileInfo(path).suffix().isEmpty())
        path += WorkspaceFile::Suffix();
    SaveWorkspaceTo(path);
}

void WorkspaceView::OpenWorkspace()
{
    const QString start = m_workspacePath.isEmpty() ? UserDirectories::workspacesDirectory() : m_workspacePath;
    const QString path = QFileDialog::getOpenFileName(this, tr("Open Workspace"), start, WorkspaceFile::DialogFilter());
    if (!path.isEmpty())
        LoadWorkspace(path);
}

void WorkspaceView::AddFolderToWorkspace()
{
    m_tree->AddFolderToWorkspace();
}

void WorkspaceView::NewFile()
{
    m_tree->NewFile();
}

void WorkspaceView::NewFolder()
{
    m_tree->NewFolder();
}

void WorkspaceView::Refresh()
{
    m_tree->RefreshAll();
}

void WorkspaceView::collapseAll()
{
    m_tree->CollapseAllFolders();
}

void WorkspaceView::OnFileOpenRequested(const QString &path, bool temp) { emit FileOpenRequested(path, temp); }
void WorkspaceView::OnFilePathChanged(const QString &oldPath, const QString &newPath) { emit FilePathChanged(oldPath, newPath); }
void WorkspaceView::OnFindInSelected(const QString &paths, const QString &title) { emit FindInSelected(paths, title); }
void WorkspaceView::OnFileAdded() { emit FileAdded(); }
void WorkspaceView::OnItemDeleted(const QString &path, bool isFolder) { emit WorkspaceItemDeleted(path, isFolder); }
void WorkspaceView::OnWorkspaceModified() { emit WorkspaceModified(); }

} // namespace ke2
