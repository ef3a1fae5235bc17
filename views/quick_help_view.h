#pragma once

#include <QtWidgets/QWidget>

class QLabel;
class QLineEdit;
class QTreeWidget;
class QTreeWidgetItem;

namespace ke2 {

// The flags of one MEL command, as the host's help lists them: short name, long name and the
// type of the first argument. A double click on a flag asks the window to insert it.
class QuickHelpView : public QWidget {
    Q_OBJECT
public:
    explicit QuickHelpView(QWidget *parent = nullptr);

    QString SearchText() const;
    QTreeWidget *Flags() const { return m_flags; }
    QLabel *Message() const { return m_message; }
    QLineEdit *SearchField() const { return m_search; }

public slots:
    // Looks the command up and shows its flags; the field shows `text` either way.
    void SetSearchText(const QString &text);
    void Refresh();
    void ShowOnlineHelp();

signals:
    void QuickHelpFlagSelected(const QString &flag);

private:
    void OnItemActivated(QTreeWidgetItem *item);

    QLineEdit *m_search;
    QLabel *m_message;
    QTreeWidget *m_flags;
};

} // namespace ke2
