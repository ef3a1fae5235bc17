#include "views/outline_view.h"

#include "config/settings.h"
#include "language/base_parser.h"
#include "views/outline_expanded_state.h"
#include "views/outline_tree_widget.h"

#include <QtCore/QHash>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QMenu>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

#include <algorithm>
#include <vector>

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
    connect(m_tree, &QTreeWidget::itemSelectionChanged, this, &OutlineView::OnCurrentChanged);
    connect(m_tree, &QTreeWidget::itemClicked, this, &OutlineView::OnSelectionChanged);
    connect(m_tree, &QTreeWidget::itemActivated, this, &OutlineView::OnSelectionChanged);
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

// An outline row reads everything from the view's entries: a parse that only moved them (typing
// inside a body) updates the rows without touching the tree, and a row costs no copies.
class OutlineView::EntryItem : public QTreeWidgetItem {
public:
    EntryItem(const OutlineView *view, int position)
        : m_view(view), m_position(position)
    {
    }

    int Position() const { return m_position; }
    void SetPosition(int position) { m_position = position; }

    QVariant data(int column, int role) const override
    {
        if (column == 0 && m_position < m_view->m_shown.size()) {
            const int index = m_view->m_shown.at(m_position).entry;
            if (index < m_view->m_entries.size()) {
                const Entry &entry = m_view->m_entries.at(index);
                switch (role) {
                case Qt::DisplayRole:
                case Qt::EditRole:
                    return entry.name;
                case Qt::DecorationRole:
                    return entry.kind > 0 && entry.kind < m_view->m_icons.size() ? QVariant(m_view->m_icons.at(entry.kind))
                                                                                 : QVariant();
                case KindRole:
                    return entry.kind;
                case StartRole:
                    return entry.position;
                case EndRole:
                    return entry.position + SourceNameLength(entry.name);
                default:
                    break;
                }
            }
        }
        return QTreeWidgetItem::data(column, role);
    }

    const QString &Name() const { return m_view->m_entries.at(m_view->m_shown.at(m_position).entry).name; }

private:
    const OutlineView *m_view;
    int m_position;
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
    const bool sameSource = parser && m_hasParser && isMel == m_isMel && filePath == m_filePath;
    m_entries.swap(entries);
    m_hasParser = parser != nullptr;
    m_isMel = isMel;
    m_filePath = filePath;
    if (sameSource)
        Update(entries, ShownEntries());
    else
        Rebuild();
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

OutlineView::EntryItem *OutlineView::MakeItem(int position) const
{
    return new EntryItem(this, position);
}

QVector<OutlineView::Shown> OutlineView::ShownEntries() const
{
    QVector<Shown> shown;
    if (!m_hasParser)
        return shown;
    shown.reserve(m_entries.size());
    // The most recent shown entry at each depth: a deeper one hangs below the nearest one above.
    QVector<int> lastAtDepth;
    for (int index = 0; index < m_entries.size(); ++index) {
        const Entry &entry = m_entries.at(index);
        if (m_isMel ? (entry.kind < OutlineItem::MelGlobalProc || entry.kind > OutlineItem::MelGlobalVariable)
                    : entry.kind < OutlineItem::PythonImport)
            continue;
        const int depth = m_isMel ? 0 : std::max(0, entry.depth);
        if (IsHidden(entry.kind)) {
            // A hidden entry still closes the blocks before it: what it holds moves up to the
            // nearest shown level rather than into an earlier sibling.
            lastAtDepth.resize(std::min(depth + 1, int(lastAtDepth.size())));
            if (depth < lastAtDepth.size())
                lastAtDepth[depth] = -1;
            continue;
        }
        int parent = -1;
        for (int d = std::min(depth, int(lastAtDepth.size())) - 1; d >= 0 && parent < 0; --d)
            parent = lastAtDepth[d];
        // Anything deeper belonged to an earlier parent.
        lastAtDepth.resize(depth + 1);
        lastAtDepth[depth] = shown.size();
        shown.append({index, parent});
    }
    return shown;
}

bool OutlineView::SortsBefore(const QTreeWidgetItem *a, const QTreeWidgetItem *b) const
{
    const auto *x = static_cast<const EntryItem *>(a);
    const auto *y = static_cast<const EntryItem *>(b);
    const QString &p = x->Name(), &q = y->Name();
    const int folded = QString::compare(p.toCaseFolded(), q.toCaseFolded());
    if (folded != 0)
        return folded < 0;
    const int exact = QString::compare(p, q);
    return exact != 0 ? exact < 0 : x->Position() < y->Position();
}

void OutlineView::SortChildren(QList<QTreeWidgetItem *> &children) const
{
    if (!m_sorted || children.size() < 2)
        return;
    // As SortsBefore orders them, with each name folded once rather than at every comparison.
    struct Key {
        QString folded;
        const EntryItem *item;
    };
    std::vector<Key> keys;
    keys.reserve(children.size());
    for (const QTreeWidgetItem *child : qAsConst(children)) {
        const auto *item = static_cast<const EntryItem *>(child);
        keys.push_back({item->Name().toCaseFolded(), item});
    }
    std::sort(keys.begin(), keys.end(), [](const Key &a, const Key &b) {
        const int folded = QString::compare(a.folded, b.folded);
        if (folded != 0)
            return folded < 0;
        const int exact = QString::compare(a.item->Name(), b.item->Name());
        return exact != 0 ? exact < 0 : a.item->Position() < b.item->Position();
    });
    for (int i = 0; i < children.size(); ++i)
        children[i] = const_cast<EntryItem *>(keys[size_t(i)].item);
}

void OutlineView::Attach(int first, int end, int keptBefore)
{
    // Children of new items are put below them before they join the tree (cheap); the rest go
    // to their parent in one block per parent, in source order or by name.
    QHash<int, QList<QTreeWidgetItem *>> below;
    QVector<int> parents; // outside parents in the order met
    for (int position = first; position < end; ++position) {
        const int parent = m_shown.at(position).parent;
        auto found = below.find(parent);
        if (found == below.end()) {
            found = below.insert(parent, {});
            if (parent < first)
                parents.append(parent);
        }
        found->append(m_items.at(position));
    }
    for (int position = first; position < end; ++position) {
        auto found = below.find(position);
        if (found == below.end())
            continue;
        SortChildren(*found);
        m_items.at(position)->addChildren(*found);
    }
    QList<QTreeWidgetItem *> restore;
    for (const int parent : qAsConst(parents)) {
        QList<QTreeWidgetItem *> &items = below[parent];
        QTreeWidgetItem *root = parent < 0 ? m_tree->invisibleRootItem() : m_items.at(parent);
        const int count = root->childCount();
        if (m_sorted && count > 0) {
            // Into a sorted list: each one where its name goes.
            for (QTreeWidgetItem *item : qAsConst(items)) {
                int low = 0, high = root->childCount();
                while (low < high) {
                    const int middle = (low + high) / 2;
                    if (SortsBefore(root->child(middle), item))
                        low = middle + 1;
                    else
                        high = middle;
                }
                root->insertChildren(low, {item});
            }
        } else {
            SortChildren(items);
            // In source order the new ones follow the parent's children that came before them.
            int low = 0, high = count;
            while (low < high) {
                const int middle = (low + high) / 2;
                if (static_cast<EntryItem *>(root->child(middle))->Position() < keptBefore)
                    low = middle + 1;
                else
                    high = middle;
            }
            root->insertChildren(low, items);
        }
        if (parent >= 0)
            restore.append(root);
    }
    for (int position = first; position < end; ++position) {
        if (m_items.at(position)->childCount() > 0)
            restore.append(m_items.at(position));
    }
    RestoreExpanded(restore);
}

void OutlineView::Rebuild()
{
    m_rebuilding = true;
    m_tree->clear();
    m_shown = ShownEntries();
    m_items.resize(m_shown.size());
    for (int position = 0; position < m_shown.size(); ++position)
        m_items[position] = MakeItem(position);
    Attach(0, m_shown.size(), 0);
    m_rebuilding = false;
}

void OutlineView::Update(const QVector<Entry> &oldEntries, const QVector<Shown> &shown)
{
    const int oldCount = m_shown.size(), newCount = shown.size();
    const auto same = [&](int oldPosition, int newPosition) {
        const Entry &a = oldEntries.at(m_shown.at(oldPosition).entry);
        const Entry &b = m_entries.at(shown.at(newPosition).entry);
        return a.kind == b.kind && a.depth == b.depth && a.name == b.name;
    };
    // The entries that stayed: a run at the start, and one at the end whose parents stayed too.
    int prefix = 0;
    while (prefix < oldCount && prefix < newCount && same(prefix, prefix)
           && m_shown.at(prefix).parent == shown.at(prefix).parent)
        ++prefix;
    int suffix = 0;
    while (suffix < oldCount - prefix && suffix < newCount - prefix && same(oldCount - 1 - suffix, newCount - 1 - suffix))
        ++suffix;
    int oldStart = oldCount - suffix, newStart = newCount - suffix;
    for (int k = 0; oldStart + k < oldCount;) {
        const int oldParent = m_shown.at(oldStart + k).parent, newParent = shown.at(newStart + k).parent;
        const bool kept = (oldParent < prefix && oldParent == newParent)
            || (oldParent >= oldStart && newParent >= newStart && oldParent - oldStart == newParent - newStart);
        if (kept) {
            ++k;
        } else {
            oldStart += k + 1;
            newStart += k + 1;
            k = 0;
        }
    }
    // A change of thousands of entries (a paste, a file swapped in) is cheaper made anew.
    const int changed = (oldStart - prefix) + (newStart - prefix);
    if (changed > 2000 && changed > (oldCount + newCount) / 8) {
        Rebuild();
        return;
    }

    m_rebuilding = true;
    for (int position = prefix; position < oldStart; ++position) {
        const int parent = m_shown.at(position).parent;
        if (parent >= prefix)
            continue; // goes with its parent
        QTreeWidgetItem *root = parent < 0 ? m_tree->invisibleRootItem() : m_items.at(parent);
        EntryItem *item = m_items.at(position);
        root->removeChild(item);
        delete item;
    }
    QVector<EntryItem *> items(newCount);
    std::copy(m_items.cbegin(), m_items.cbegin() + prefix, items.begin());
    for (int k = 0; newStart + k < newCount; ++k) {
        items[newStart + k] = m_items.at(oldStart + k);
        items[newStart + k]->SetPosition(newStart + k);
    }
    m_shown = shown;
    m_items.swap(items);
    for (int position = prefix; position < newStart; ++position)
        m_items[position] = MakeItem(position);
    if (newStart > prefix)
        Attach(prefix, newStart, prefix);
    m_rebuilding = false;
    m_tree->viewport()->update(); // kept rows read their new offsets
}

void OutlineView::RestoreExpanded(const QList<QTreeWidgetItem *> &items)
{
    const QSet<QString> expanded = OutlineExpandedState::instance().Expanded(m_filePath);
    if (expanded.isEmpty())
        return;
    for (QTreeWidgetItem *item : items) {
        if (!item->isExpanded() && item->childCount() > 0 && expanded.contains(OutlineExpandedState::Key(textPath(item))))
            item->setExpanded(true);
    }
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
    Rebuild();
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

void OutlineView::OnCurrentChanged()
{
    if (m_clearingSelection || m_rebuilding)
        return;
    const QTreeWidgetItem *item = m_tree->currentItem();
    if (!item || !item->isSelected())
        return;
    emit OutlinePreviewRequested(item->data(0, StartRole).toInt(), item->data(0, EndRole).toInt());
}

int OutlineView::SourceNameLength(const QString &name)
{
    int length = 0;
    while (length < name.size() && !name.at(length).isSpace() && name.at(length) != QLatin1Char('('))
        ++length;
    return length;
}

void OutlineView::OnFocusOutClearSelection()
{
    m_clearingSelection = true;
    m_tree->clearSelection();
    m_clearingSelection = false;
}

} // namespace ke2
