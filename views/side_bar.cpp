#include "views/side_bar.h"

#include "views/explorer_view.h"
#include "config/settings.h"
#include "views/open_editors_view.h"
#include "views/outline_view.h"
#include "views/sub_view.h"
#include "views/workspace_view.h"
#include "views/quick_help_view.h"

#include <QtGui/QContextMenuEvent>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMenu>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QVBoxLayout>

#include <algorithm>

namespace ke2 {

SideBar::SideBar(QWidget *parent)
    : QWidget(parent), m_title(new QLabel(this)), m_stack(new QStackedWidget(this)), m_explorer(new ExplorerView),
      m_quickHelp(new QuickHelpView), m_workspace(new WorkspaceView), m_outline(new OutlineView)
{
    setObjectName(QStringLiteral("SideBar"));
    setMinimumWidth(120);
    m_title->setContentsMargins(10, 6, 10, 6);
    QFont font = m_title->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    m_title->setFont(font);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_title);
    layout->addWidget(m_stack, 1);

    SetView(SIDE_BAR_VIEW_EXPLORER, m_explorer, QStringLiteral("EXPLORER"));
    SetView(SIDE_BAR_VIEW_QUICK_HELP, m_quickHelp, QStringLiteral("QUICK HELP"));
    SetCurrentView(SIDE_BAR_VIEW_EXPLORER);

    OpenEditorsView *openEditors = m_explorer->OpenEditors();
    connect(openEditors, &OpenEditorsView::CodeEditorSelected, this, &SideBar::CodeEditorSelected);
    connect(openEditors, &OpenEditorsView::CloseRequested, this, &SideBar::CodeEditorCloseRequested);
    connect(openEditors, &OpenEditorsView::SaveAllRequested, this, &SideBar::SaveAllRequested);
    connect(openEditors, &OpenEditorsView::CloseAllRequested, this, &SideBar::CloseAllRequested);
    connect(m_quickHelp, &QuickHelpView::QuickHelpFlagSelected, this, &SideBar::QuickHelpFlagSelected);

    // The workspace and the outline are explorer sections below the open editors; their tool
    // buttons sit in the sections' headers, the workspace's name is its section's title.
    Settings &settings = Settings::instance();
    auto *workspaceSection = new SubView(m_workspace->Title(), m_workspace, &settings.workspaceExpanded);
    workspaceSection->AddHeaderWidget(m_workspace->HeaderWidget());
    m_workspace->SetTitleVisible(false);
    connect(m_workspace, &WorkspaceView::TitleChanged, workspaceSection, &SubView::SetTitle);
    m_explorer->AddSection(workspaceSection);
    auto *outlineSection = new SubView(QStringLiteral("OUTLINE"), m_outline, &settings.outlineExpanded);
    outlineSection->AddHeaderWidget(m_outline->HeaderWidget());
    m_explorer->AddSection(outlineSection, -1, &settings.outlineVisible);

    connect(m_workspace, &WorkspaceView::FileOpenRequested, this, &SideBar::FileOpenRequested);
    connect(m_workspace, &WorkspaceView::FilePathChanged, this, &SideBar::FilePathChanged);
    connect(m_workspace, &WorkspaceView::WorkspaceItemDeleted, this, &SideBar::WorkspaceItemDeleted);
    connect(m_workspace, &WorkspaceView::WorkspaceModified, this, &SideBar::WorkspaceModified);
    connect(m_outline, &OutlineView::OutlineSelectionChanged, this, &SideBar::OutlineSelectionChanged);
    connect(m_outline, &OutlineView::OutlinePreviewRequested, this, &SideBar::OutlinePreviewRequested);
}

void SideBar::SetView(SideBarView view, QWidget *widget, const QString &title)
{
    if (QWidget *old = m_views.value(view)) {
        m_stack->removeWidget(old);
        if (old != widget)
            old->deleteLater();
    }
    m_views.insert(view, widget);
    m_titles.insert(view, title);
    m_stack->addWidget(widget);
    if (view == m_current)
        SetCurrentView(view);
}

void SideBar::SetCurrentView(SideBarView view)
{
    QWidget *widget = m_views.value(view);
    if (!widget)
        return;
    m_current = view;
    m_stack->setCurrentWidget(widget);
    m_title->setText(m_titles.value(view));
}

QString SideBar::Title() const
{
    return m_title->text();
}

int SideBar::HeaderWidth() const
{
    int width = 0;
    for (const SubView *section : findChildren<SubView *>())
        width = std::max(width, section->HeaderWidth());
    return width;
}

OpenEditorsView *SideBar::OpenEditors() const
{
    return m_explorer->OpenEditors();
}

void SideBar::SaveState() const
{
    m_explorer->SaveState();
}

void SideBar::RestoreState()
{
    m_explorer->RestoreState();
}

void SideBar::contextMenuEvent(QContextMenuEvent *event)
{
    QMenu menu(this);
    connect(menu.addAction(QStringLiteral("Hide Side Bar")), &QAction::triggered, this,
            [this] { emit SideBarVisibilityChangeRequested(false); });
    menu.exec(event->globalPos());
}

} // namespace ke2
