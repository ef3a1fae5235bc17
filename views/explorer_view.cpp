#include "views/explorer_view.h"

#include "config/settings.h"
#include "views/open_editors_view.h"
#include "views/sub_view.h"

#include <QtGui/QContextMenuEvent>
#include <QtWidgets/QMenu>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QVBoxLayout>

namespace ke2 {

ExplorerView::ExplorerView(QWidget *parent)
    : QWidget(parent), m_splitter(new QSplitter(Qt::Vertical, this)), m_openEditors(new OpenEditorsView)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_splitter->setChildrenCollapsible(false);
    m_splitter->setHandleWidth(1);
    layout->addWidget(m_splitter);
    AddSection(m_openEditors, -1, &Settings::instance().openEditorsVisible);
}

void ExplorerView::AddSection(SubView *section, int position, bool *visibleSetting)
{
    m_splitter->insertWidget(position, section);
    // The open editors list is short; the sections that follow take the room.
    m_splitter->setStretchFactor(m_splitter->indexOf(section), section == m_openEditors ? 0 : 1);
    connect(section, &SubView::ExpandedChanged, this, [this, section] { FitSection(section); });
    FitSection(section);
    if (visibleSetting) {
        m_visibility.append({section, visibleSetting});
        section->setVisible(*visibleSetting);
    }
}

QList<SubView *> ExplorerView::Sections() const
{
    QList<SubView *> sections;
    for (int i = 0; i < m_splitter->count(); ++i)
        if (auto *section = qobject_cast<SubView *>(m_splitter->widget(i)))
            sections.append(section);
    return sections;
}

void ExplorerView::FitSection(SubView *section)
{
    section->setMaximumHeight(section->IsExpanded() ? QWIDGETSIZE_MAX : section->HeaderHeight());
}

void ExplorerView::SaveState() const
{
    Settings::instance().explorerState = m_splitter->saveState();
}

void ExplorerView::RestoreState()
{
    if (!Settings::instance().explorerState.isEmpty())
        m_splitter->restoreState(Settings::instance().explorerState);
}

void ExplorerView::contextMenuEvent(QContextMenuEvent *event)
{
    if (m_visibility.isEmpty())
        return;
    QMenu menu(this);
    for (const auto &entry : qAsConst(m_visibility)) {
        SubView *section = entry.first;
        bool *visible = entry.second;
        QAction *action = menu.addAction(section->Title());
        action->setCheckable(true);
        action->setChecked(*visible);
        connect(action, &QAction::toggled, this, [section, visible](bool on) {
            *visible = on;
            section->setVisible(on);
        });
    }
    menu.exec(event->globalPos());
}

} // namespace ke2
