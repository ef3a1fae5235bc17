#include "views/outline_view.h"

#include "config/settings.h"
#include "language/base_parser.h"
#include "views/outline_expanded_state.h"
#include "views/outline_tree_widget.h"

#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QMenu>
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

QStringList textPath(const QTreeWidgetItem *item)
{
    QStringList path;
    for (; item; item = item->parent())
        path.prepend(item->text(0));
    return path;
}

template <typename Visit>
void forEachItem(QTreeWidget *tree, Visit visit)
{
    QVector<QTreeWidgetItem *> stack;
    for (int i = tree->topLevelItemCount() - 1; i >= 0; --i)
        stack.append(tree->topLevelItem(i));
    while (!stack.isEmpty()) {
        QTreeWidgetItem *item = stack.takeLast();
        visit(item);
        for (int i = item->childCount() - 1; i >= 0; --i)
            stack.append(item->child(i));
    }
}

} // namespace

OutlineView::OutlineView(QWidget *parent)
    : QWidget(parent)
{
    m_header = new QWidget(this);
    auto *headerLayout = new QHBoxLayout(m_header);
    headerLayout->setContentsMargins(0, 0, 0, 0);
    headerLayout->setSpacing(0);
    headerLayout->addStretch(1);
    m_sortButton = makeToolButton(m_header, tr("Sort by Name"), QStringLiteral("sort-by-alphabet.png"));
    m_collapseButton = makeToolButton(m_header, tr("Collapse All"), QStringLiteral("collapse.png"));
    m_filtersButton = makeToolButton(m_header, tr("Filters"), QStringLiteral("list_code_editors.png"));
    headerLayout->addWidget(m_sortButton);
    headerLayout->addWidget(m_collapseButton);
    headerLayout->addWidget(m_filtersButton);

    m_tree = new OutlineTreeWidget(this);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_header);
    layout->addWidget(m_tree, 1);

    m_icons.resize(OutlineItem::PythonClassVariable + 1);
    for (int kind = OutlineItem::MelGlobalProc; kind <= OutlineItem::PythonClassVariable; ++kind)
        m_icons[kind] = QIcon(IconPath(kind));

    connect(m_sortButton, &QToolButton::clicked, this, &OutlineView::ToggleSort);
    connect(m_collapseButton, &QToolButton::clicked, this, &OutlineView::CollapseAll);
    connect(m_filtersButton, &QToolButton::clicked, this, &OutlineView::ShowFiltersMenu);
    connect(m_tree, &QTreeWidget::itemSelectionChanged, this, &OutlineView::OnSelectionChanged);
    connect(m_tree, &QTreeWidget::itemClicked, this, &OutlineView::OnSelectionChanged);
    connect(m_tree, &QTreeWidget::itemExpanded, this, &OutlineView::SaveExpanded);
    connect(m_tree, &QTreeWidget::itemCollapsed, this, &OutlineView::SaveExpanded);
    connect(m_tree, &OutlineTreeWidget::FocusOutClearSelection, this, &OutlineView::OnFocusOutClearSelection);
}

OutlineView::~OutlineView()
{
    // The tree loses the focus while the base class takes the children down; by then this
    // object is only a QWidget and must hear nothing more.
    disconnect(m_tree, nullptr, this, nullptr);
}

QString OutlineView::IconPath(int kind)
{
    static const char *const names[] = {
        nullptr,
        "mel_global_proc.png",   "mel_proc.png",          "mel_global_var.png",
        "python_import.png",     "python_import.png",     "python_import.png",
        "python_main.png",       "python_method.png",     "python_static_method.png",
        "python_class_method.png", "python_class.png",    "python_variable.png",
        "python_class_variable.png",
    };
    if (kind < 1 || kind > OutlineItem::PythonClassVariable)
        return QString();
    return QStringLiteral(":/ke2_icons/") + QLatin1String(names[kind]);
}

// An outline row reads its offsets from the view's entries, so that a parse which only moved
// the entries (typing inside a body) updates them without touching the tree.
class OutlineView::EntryItem : public QTreeWidgetItem {
public:
    EntryItem(const QVector<Entry> *entries, int index)
        : QTreeWidgetItem(QStringList{entries->at(index).name}), m_entries(entries), m_index(index)
    {
    }

    QVariant data(int column, int role) const override
    {
        if (column == 0 && (role == StartRole || role == EndRole) && m_index < m_entries->size()) {
            const Entry &entry = m_entries->at(m_index);
            return role == StartRole ? entry.position : entry.position + int(entry.name.size());
        }
        return QTreeWidgetItem::data(column, role);
    }

private:
    const QVector<Entry> *m_entries;
    int m_index;
};

void OutlineView::OnParserUpdated(BaseParser *parser)
{
    QVector<Entry> entries;
    const bool isMel = parser && parser->IsMel();
    const QString filePath = parser ? parser->FilePath() : QString();
    if (parser) {
        const QList<OutlineItem *> items = parser->OutlineItems();
        entries.reserve(items.size());
        for (const OutlineItem *item : items)
            entries.append({item->name, item->kind, item->position, item->depth});
    }
    const bool same = parser && m_hasParser && isMel == m_isMel && filePath == m_filePath && SameStructure(entries);
    m_entries.swap(entries);
    m_hasParser = parser != nullptr;
    m_isMel = isMel;
    m_filePath = filePath;
    if (same) {
        m_tree->viewport()->update(); // the rows read their new offsets
        return;
    }
    Rebuild();
}

bool OutlineView::SameStructure(const QVector<Entry> &entries) const
{
    if (entries.size() != m_entries.size())
        return false;
    for (int i = 0; i < entries.size(); ++i) {
        const Entry &a = entries.at(i);
        const Entry &b = m_entries.at(i);
        if (a.kind != b.kind || a.depth != b.depth || a.name != b.name)
            return false;
    }
    return true;
}

bool OutlineView::IsHidden(int kind) const
{
    const Settings &settings = Settings::instance();
    switch (kind) {
    case OutlineItem::MelGlobalProc:
        return settings.outlineHideGlobalProcs;
    case OutlineItem::MelProc:
        return settings.outlineHideProcs;
    case OutlineItem::MelGlobalVariable:
        return settings.outlineHideGlobalVariables;
    case OutlineItem::PythonImport:
    case OutlineItem::PythonImportAlias:
    case OutlineItem::PythonFromImport:
        return settings.outlineHideImports;
    case OutlineItem::PythonMain:
        return settings.outlineHideMain;
    default:
        return false;
    }
}

QTreeWidgetItem *OutlineView::MakeItem(int index) const
{
    const Entry &entry = m_entries.at(index);
    auto *item = new EntryItem(&m_entries, index);
    if (entry.kind > 0 && entry.kind < m_icons.size())
        item->setIcon(0, m_icons[entry.kind]);
    item->setData(0, KindRole, entry.kind);
    return item;
}

void OutlineView::Rebuild()
{
    m_rebuilding = true;
    const bool sorted = m_sorted;
    m_tree->setSortingEnabled(false);
    m_tree->clear();

    if (m_hasParser) {
        QList<QTreeWidgetItem *> topLevel;
        // The most recent item at each depth: a deeper item hangs below the nearest one above it.
        QVector<QTreeWidgetItem *> lastAtDepth;
        for (int index = 0; index < m_entries.size(); ++index) {
            const Entry &entry = m_entries.at(index);
            if (m_isMel ? (entry.kind < OutlineItem::MelGlobalProc || entry.kind > OutlineItem::MelGlobalVariable)
                        : entry.kind < OutlineItem::PythonImport)
                continue;
            const int depth = m_isMel ? 0 : std::max(0, entry.depth);
            if (IsHidden(entry.kind)) {
                // A hidden entry still closes the blocks before it: what it holds moves up to
                // the nearest shown level rather than into an earlier sibling.
                lastAtDepth.resize(std::min(depth + 1, int(lastAtDepth.size())));
                if (depth < lastAtDepth.size())
                    lastAtDepth[depth] = nullptr;
                continue;
            }
            QTreeWidgetItem *item = MakeItem(index);
            QTreeWidgetItem *parent = nullptr;
            for (int d = std::min(depth, int(lastAtDepth.size())) - 1; d >= 0 && !parent; --d)
                parent = lastAtDepth[d];
            if (parent)
                parent->addChild(item);
            else
                topLevel.append(item);
            if (lastAtDepth.size() <= depth)
                lastAtDepth.resize(depth + 1);
            lastAtDepth[depth] = item;
            // Anything deeper belonged to an earlier parent.
            lastAtDepth.resize(depth + 1);
        }
        m_tree->addTopLevelItems(topLevel);
        RestoreExpanded();
    }

    if (sorted) {
        // Enabling sorting sorts by the header's indicator: one sort, not two.
        m_tree->header()->setSortIndicator(0, Qt::AscendingOrder);
        m_tree->setSortingEnabled(true);
    }
    m_rebuilding = false;
}

void OutlineView::RestoreExpanded()
{
    const QSet<QString> expanded = OutlineExpandedState::instance().Expanded(m_filePath);
    if (expanded.isEmpty())
        return;
    forEachItem(m_tree, [&](QTreeWidgetItem *item) {
        if (item->childCount() > 0 && expanded.contains(OutlineExpandedState::Key(textPath(item))))
            item->setExpanded(true);
    });
}

void OutlineView::SaveExpanded()
{
    if (m_rebuilding || !m_hasParser)
        return;
    QSet<QString> expanded;
    forEachItem(m_tree, [&](QTreeWidgetItem *item) {
        if (item->isExpanded() && item->childCount() > 0)
            expanded.insert(OutlineExpandedState::Key(textPath(item)));
    });
    OutlineExpandedState::instance().SetExpanded(m_filePath, expanded);
}

void OutlineView::ToggleSort()
{
    SaveExpanded();
    m_sorted = !m_sorted;
    if (m_sorted) {
        m_tree->setSortingEnabled(true);
        m_tree->sortItems(0, Qt::AscendingOrder);
    } else {
        m_tree->setSortingEnabled(false);
        if (m_tree->topLevelItemCount() > 0)
            Rebuild();
    }
}

void OutlineView::CollapseAll()
{
    m_tree->collapseAll();
    SaveExpanded();
}

void OutlineView::FillFiltersMenu(QMenu *menu)
{
    const Settings &settings = Settings::instance();
    auto add = [&](const QString &text, bool checked, void (OutlineView::*slot)()) {
        QAction *action = menu->addAction(text, this, slot);
        action->setCheckable(true);
        action->setChecked(checked);
    };
    add(tr("Hide Imports"), settings.outlineHideImports, &OutlineView::ToggleImportVisibility);
    add(tr("Hide __main__"), settings.outlineHideMain, &OutlineView::ToggleMainVisibility);
    menu->addSeparator();
    add(tr("Hide Global Variables (MEL)"), settings.outlineHideGlobalVariables,
        &OutlineView::ToggleGlobalVariableVisibility);
    add(tr("Hide Global Procs (MEL)"), settings.outlineHideGlobalProcs, &OutlineView::ToggleGlobalProcVisibility);
    add(tr("Hide Procs (MEL)"), settings.outlineHideProcs, &OutlineView::ToggleProcVisibility);
    menu->addSeparator();
    menu->addAction(tr("Show All"), this, &OutlineView::ShowAllTypes);
}

void OutlineView::ShowFiltersMenu()
{
    QMenu menu(this);
    FillFiltersMenu(&menu);
    menu.exec(m_filtersButton->mapToGlobal(QPoint(0, m_filtersButton->height())));
}

void OutlineView::ToggleSetting(bool &setting)
{
    SaveExpanded();
    setting = !setting;
    Rebuild();
}

void OutlineView::ToggleImportVisibility() { ToggleSetting(Settings::instance().outlineHideImports); }
void OutlineView::ToggleMainVisibility() { ToggleSetting(Settings::instance().outlineHideMain); }
void OutlineView::ToggleGlobalVariableVisibility() { ToggleSetting(Settings::instance().outlineHideGlobalVariables); }
void OutlineView::ToggleGlobalProcVisibility() { ToggleSetting(Settings::instance().outlineHideGlobalProcs); }
void OutlineView::ToggleProcVisibility() { ToggleSetting(Settings::instance().outlineHideProcs); }

void OutlineView::ShowAllTypes()
{
    SaveExpanded();
    Settings &settings = Settings::instance();
    settings.outlineHideImports = false;
    settings.outlineHideMain = false;
    settings.outlineHideGlobalVariables = false;
    settings.outlineHideGlobalProcs = false;
    settings.outlineHideProcs = false;
    Rebuild();
}

void OutlineView::OnSelectionChanged()
{
    if (m_clearingSelection || m_rebuilding)
        return;
    const QTreeWidgetItem *item = m_tree->currentItem();
    if (!item || !item->isSelected())
        return;
    emit OutlineSelectionChanged(item->data(0, StartRole).toInt(), item->data(0, EndRole).toInt());
}

void OutlineView::OnFocusOutClearSelection()
{
    m_clearingSelection = true;
    m_tree->clearSelection();
    m_clearingSelection = false;
}

} // namespace ke2
