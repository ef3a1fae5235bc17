#pragma once

#include <QtWidgets/QTreeWidget>

namespace ke2 {

// The outline's tree. It drops its selection when it loses focus (through the view), so that a
// click on the entry that was selected before moves the cursor again.
class OutlineTreeWidget : public QTreeWidget {
    Q_OBJECT
public:
    explicit OutlineTreeWidget(QWidget *parent = nullptr);

signals:
    void FocusOutClearSelection();

protected:
    void focusOutEvent(QFocusEvent *event) override;
};

} // namespace ke2
