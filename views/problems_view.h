#pragma once

#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtWidgets/QWidget>

class QTreeWidget;
class QTreeWidgetItem;

namespace ke2 {

// Every diagnostic of the open buffers in one list, grouped by buffer: each entry shows its
// line and message; a click (or Return) asks to go there. The window fills it and keeps it
// current while it is shown.
class ProblemsView : public QWidget {
    Q_OBJECT
public:
    enum Severity { Error = 0, Warning = 1, Information = 2 };
    struct Problem {
        int line = 0; // 1-based
        int severity = Error;
        QString message;
    };
    struct Buffer {
        QString key;  // what the window finds the buffer by (its path)
        QString name; // as its tab shows it
        QVector<Problem> problems;
    };

    explicit ProblemsView(QWidget *parent = nullptr);

    void SetProblems(const QVector<Buffer> &buffers);
    QTreeWidget *Tree() const { return m_tree; }
    // The entries as shown: a buffer line, then its problems indented.
    QStringList Texts() const;

signals:
    void ProblemActivated(const QString &key, int line);

private:
    void Activate(QTreeWidgetItem *item);

    QTreeWidget *m_tree;
};

} // namespace ke2
