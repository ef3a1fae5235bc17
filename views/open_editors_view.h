#pragma once

#include "editor/code_editor_language.h"
#include "views/sub_view.h"

#include <QtCore/QVector>

class QTreeWidget;
class QTreeWidgetItem;

namespace ke2 {

// What the open-editors list shows of one editor.
struct OpenEditorEntry {
    int group = 0;
    int index = 0;
    QString name;
    QString path;
    CodeEditorLanguage language = LANGUAGE_TEXT;
    bool modified = false;
    bool active = false; // the current editor of the active group
};

// The explorer's list of every open editor, grouped by editor group when more than one group
// holds editors. A click activates an editor; a middle click, or the button at the end of its
// row, closes it. A modified editor shows a dot where the close button is.
class OpenEditorsView : public SubView {
    Q_OBJECT
public:
    static constexpr int GroupRole = Qt::UserRole;
    static constexpr int IndexRole = Qt::UserRole + 1;
    static constexpr int CloseColumn = 1;

    explicit OpenEditorsView(QWidget *parent = nullptr);

    // Replaces the list; the window calls it whenever tabs open, close, move or change.
    void SetEntries(const QVector<OpenEditorEntry> &entries);
    QVector<OpenEditorEntry> Entries() const { return m_entries; }
    QTreeWidget *Tree() const { return m_tree; }
    // The row of an editor, null when it is not listed.
    QTreeWidgetItem *ItemFor(int group, int index) const;

signals:
    void CodeEditorSelected(int group, int index);
    void CloseRequested(int group, int index);
    void SaveAllRequested();
    void CloseAllRequested();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void OnItemClicked(QTreeWidgetItem *item, int column);

    QTreeWidget *m_tree;
    QVector<OpenEditorEntry> m_entries;
};

} // namespace ke2
