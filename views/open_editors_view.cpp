#include "views/open_editors_view.h"

#include "config/settings.h"

#include <QtGui/QMouseEvent>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QTreeWidget>

#include <algorithm>

namespace ke2 {
namespace {

QString languageIcon(CodeEditorLanguage language)
{
    switch (language) {
    case LANGUAGE_MEL:
        return QStringLiteral(":/ke2_icons/mel.png");
    case LANGUAGE_PYTHON:
        return QStringLiteral(":/ke2_icons/python.png");
    default:
        return QStringLiteral(":/ke2_icons/text.png");
    }
}

} // namespace

OpenEditorsView::OpenEditorsView(QWidget *parent)
    : SubView(QStringLiteral("OPEN EDITORS"), new QTreeWidget, &Settings::instance().openEditorsExpanded, parent),
      m_tree(static_cast<QTreeWidget *>(Body()))
{
    m_tree->setColumnCount(2);
    m_tree->setHeaderHidden(true);
    m_tree->setRootIsDecorated(false);
    m_tree->setFrameStyle(QFrame::NoFrame);
    m_tree->setIndentation(12);
    m_tree->setFocusPolicy(Qt::NoFocus);
    m_tree->setSelectionMode(QAbstractItemView::NoSelection);
    m_tree->header()->setStretchLastSection(false);
    m_tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_tree->header()->setSectionResizeMode(CloseColumn, QHeaderView::Fixed);
    m_tree->header()->resizeSection(CloseColumn, 22);
    m_tree->viewport()->installEventFilter(this);
    connect(m_tree, &QTreeWidget::itemClicked, this, &OpenEditorsView::OnItemClicked);

    connect(AddButton(QStringLiteral(":/ke2_icons/save_all.png"), QStringLiteral("Save All")), &QToolButton::clicked,
            this, &OpenEditorsView::SaveAllRequested);
    connect(AddButton(QStringLiteral(":/ke2_icons/close_all.png"), QStringLiteral("Close All")),
            &QToolButton::clicked, this, &OpenEditorsView::CloseAllRequested);
}

void OpenEditorsView::SetEntries(const QVector<OpenEditorEntry> &entries)
{
    m_entries = entries;
    m_tree->clear();
    QVector<int> groups;
    for (const OpenEditorEntry &entry : entries)
        if (!groups.contains(entry.group))
            groups.append(entry.group);
    std::sort(groups.begin(), groups.end());
    // A heading per group only helps when there is more than one to tell apart. Groups are
    // numbered as the user sees them, left to right (or top to bottom): the first and third of
    // the window's groups, with the second empty, are groups 1 and 2.
    const bool headings = groups.size() > 1;
    QTreeWidgetItem *heading = nullptr;
    int headingGroup = -1;
    for (const OpenEditorEntry &entry : entries) {
        if (headings && entry.group != headingGroup) {
            heading = new QTreeWidgetItem(m_tree, {QStringLiteral("GROUP %1").arg(groups.indexOf(entry.group) + 1)});
            heading->setFlags(Qt::ItemIsEnabled);
            QFont font = heading->font(0);
            font.setPointSizeF(font.pointSizeF() * 0.85);
            heading->setFont(0, font);
            heading->setExpanded(true);
            headingGroup = entry.group;
        }
        auto *item = heading ? new QTreeWidgetItem(heading) : new QTreeWidgetItem(m_tree);
        item->setText(0, entry.name);
        item->setIcon(0, QIcon(languageIcon(entry.language)));
        item->setToolTip(0, entry.path);
        item->setIcon(CloseColumn, QIcon(entry.modified ? QStringLiteral(":/ke2_icons/modified.png")
                                                          : QStringLiteral(":/ke2_icons/close.png")));
        item->setToolTip(CloseColumn, QStringLiteral("Close"));
        item->setData(0, GroupRole, entry.group);
        item->setData(0, IndexRole, entry.index);
        if (entry.active) {
            QFont font = item->font(0);
            font.setBold(true);
            item->setFont(0, font);
        }
    }
    m_tree->expandAll();
}

QTreeWidgetItem *OpenEditorsView::ItemFor(int group, int index) const
{
    for (QTreeWidgetItemIterator it(m_tree); *it; ++it) {
        const QVariant itemGroup = (*it)->data(0, GroupRole);
        if (itemGroup.isValid() && itemGroup.toInt() == group && (*it)->data(0, IndexRole).toInt() == index)
            return *it;
    }
    return nullptr;
}

void OpenEditorsView::OnItemClicked(QTreeWidgetItem *item, int column)
{
    if (!item || !item->data(0, GroupRole).isValid())
        return;
    const int group = item->data(0, GroupRole).toInt();
    const int index = item->data(0, IndexRole).toInt();
    if (column == CloseColumn)
        emit CloseRequested(group, index);
    else
        emit CodeEditorSelected(group, index);
}

bool OpenEditorsView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_tree->viewport() && event->type() == QEvent::MouseButtonRelease) {
        auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() == Qt::MiddleButton) {
            QTreeWidgetItem *item = m_tree->itemAt(mouse->pos());
            if (item && item->data(0, GroupRole).isValid())
                emit CloseRequested(item->data(0, GroupRole).toInt(), item->data(0, IndexRole).toInt());
            return true;
        }
    }
    return SubView::eventFilter(watched, event);
}

} // namespace ke2
