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
    void SaveExpanded();
    void OnFocusOutClearSelection();

signals:
    void OutlineSelectionChanged(int start, int end);

private:
    struct Entry {
        QString name;
        int kind = 0;
        int position = 0;
        int depth = 0;
    };

    class EntryItem;

    void Rebuild();
    // Whether `entries` make the same tree as the ones shown (names, kinds, depths).
    bool SameStructure(const QVector<Entry> &entries) const;
    bool IsHidden(int kind) const;
    QTreeWidgetItem *MakeItem(int index) const;
    void RestoreExpanded();
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

    bool m_sorted = false;
    bool m_rebuilding = false;
    bool m_clearingSelection = false;
};

} // namespace ke2
