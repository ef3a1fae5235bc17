#pragma once

#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtGui/QIcon>
#include <QtWidgets/QWidget>

class QMenu;
class QToolButton;
class QTreeWidgetItem;

namespace ke2 {

class BaseParser;
class OutlineTreeWidget;

// The procedures and global variables of a MEL buffer, or the imports, classes, functions and
// main guard of a Python buffer, as a tree. It is rebuilt from each parse an editor group
// announces; a click asks the window to select the entry's name in the editor.
//
// The parser is read only inside `OnParserUpdated`: its records are copied there, because the
// group re-fills (and may delete) it at any time, while filters and sorting rebuild later.
class OutlineView : public QWidget {
    Q_OBJECT
public:
    // Item data roles: the name's start and end offsets in the parsed text, and the item's kind.
    static constexpr int StartRole = Qt::UserRole;
    static constexpr int EndRole = Qt::UserRole + 1;
    static constexpr int KindRole = Qt::UserRole + 2;

    explicit OutlineView(QWidget *parent = nullptr);
    ~OutlineView() override;

    OutlineTreeWidget *Tree() const { return m_tree; }
    // The header row with the three tool buttons; a side-bar section may take it into its own
    // header.
    QWidget *HeaderWidget() const { return m_header; }
    bool IsSorted() const { return m_sorted; }
    // The file path of the outline shown, empty when none.
    QString FilePath() const { return m_filePath; }
    static QString IconPath(int kind);
    // The filters menu's entries, built anew each time; the Filters button executes it.
    void FillFiltersMenu(QMenu *menu);

public slots:
    void OnParserUpdated(ke2::BaseParser *parser);
    void ToggleSort();
    void CollapseAll();
    void ShowFiltersMenu();
    void ToggleImportVisibility();
    void ToggleMainVisibility();
    void ToggleGlobalVariableVisibility();
    void ToggleGlobalProcVisibility();
    void ToggleProcVisibility();
    void ShowAllTypes();
    void OnSelectionChanged();
    // The current entry changed: previewed, not gone to.
    void OnCurrentChanged();
    void SaveExpanded();
    void OnFocusOutClearSelection();

signals:
    // Go to the entry: a click or Return; the editor takes the focus.
    void OutlineSelectionChanged(int start, int end);
    // Show the entry while the user steps through the tree with the arrow keys; the tree keeps
    // the focus.
    void OutlinePreviewRequested(int start, int end);

private:
    struct Entry {
        QString name;
        int kind = 0;
        int position = 0;
        int depth = 0;
    };

    // An entry shown in the tree: its index in the entries and the position of its parent among
    // the shown ones (-1 at the top level), in source order, parents before their children.
    struct Shown {
        int entry = 0;
        int parent = -1;
    };

    class EntryItem;

    // The tree made anew from the entries.
    void Rebuild();
    // The tree brought from the shown entries to `shown`: items of entries that stayed before
    // and after the change are kept, only the ones between are made anew.
    void Update(const QVector<Entry> &oldEntries, const QVector<Shown> &shown);
    QVector<Shown> ShownEntries() const;
    bool IsHidden(int kind) const;
    EntryItem *MakeItem(int position) const;
    // Whether `a` comes before `b` among siblings when sorted (by name as people read names).
    bool SortsBefore(const QTreeWidgetItem *a, const QTreeWidgetItem *b) const;
    void SortChildren(QList<QTreeWidgetItem *> &children) const;
    // Places the items made for shown positions [first, end) below their parents and in the tree.
    void Attach(int first, int end, int keptBefore);
public:
    // The part of an entry's name that stands in the source: an import listed as
    // "system = sys" or "layout (ui)" is written "system" or "layout" where it points.
    static int SourceNameLength(const QString &name);
private:
    // Expands those of `items` the user left expanded in this file.
    void RestoreExpanded(const QList<QTreeWidgetItem *> &items);
    void ToggleSetting(bool &setting);

    QWidget *m_header = nullptr;
    QToolButton *m_sortButton = nullptr;
    QToolButton *m_collapseButton = nullptr;
    QToolButton *m_filtersButton = nullptr;
    OutlineTreeWidget *m_tree = nullptr;
    QVector<QIcon> m_icons; // by kind, index 0 unused

    bool m_hasParser = false;
    bool m_isMel = false;
    QString m_filePath;
    QVector<Entry> m_entries;
    QVector<Shown> m_shown;
    QVector<EntryItem *> m_items; // by shown position

    bool m_sorted = false;
    bool m_rebuilding = false;
    bool m_clearingSelection = false;
};

} // namespace ke2
