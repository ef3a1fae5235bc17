#pragma once

#include "config/output_highlight_rule.h"

#include <QtCore/QVector>
#include <QtWidgets/QWidget>

class QListWidget;
class QListWidgetItem;
class QToolButton;

namespace ke2 {

// The list editor for the output highlighting rules, embedded in the preferences: it works on its
// own copy of the rules, handed back when the preferences are accepted.
class OutputHighlightingWidget : public QWidget {
    Q_OBJECT

public:
    explicit OutputHighlightingWidget(QWidget *parent = nullptr);

    void LoadRules(const QVector<OutputHighlightRule> &rules);
    const QVector<OutputHighlightRule> &Rules() const { return m_rules; }

    QListWidget *List() const { return m_list; }
    QToolButton *MoveUpButton() const { return m_moveUp; }
    QToolButton *MoveDownButton() const { return m_moveDown; }
    QToolButton *NewButton() const { return m_new; }
    QToolButton *DeleteButton() const { return m_delete; }

public slots:
    void NewItem();
    void DeleteItem();
    void MoveItemUp();
    void MoveItemDown();
    void EditItem(QListWidgetItem *item);
    void OnItemChanged(QListWidgetItem *item);

private:
    void MoveItem(int from, int to);
    QListWidgetItem *CreateItem(const OutputHighlightRule &rule) const;

    QVector<OutputHighlightRule> m_rules;
    QListWidget *m_list = nullptr;
    QToolButton *m_moveUp = nullptr;
    QToolButton *m_moveDown = nullptr;
    QToolButton *m_new = nullptr;
    QToolButton *m_delete = nullptr;
};

} // namespace ke2
