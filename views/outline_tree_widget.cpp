#include "views/outline_tree_widget.h"

#include <QtWidgets/QHeaderView>

namespace ke2 {

OutlineTreeWidget::OutlineTreeWidget(QWidget *parent)
    : QTreeWidget(parent)
{
    setHeaderHidden(true);
    setFrameShape(QFrame::NoFrame);
    setColumnCount(1);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setUniformRowHeights(true);
    setExpandsOnDoubleClick(true);
}

void OutlineTreeWidget::focusOutEvent(QFocusEvent *event)
{
    QTreeWidget::focusOutEvent(event);
    emit FocusOutClearSelection();
}

} // namespace ke2
