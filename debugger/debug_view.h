#pragma once

#include "debugger/debug_session.h"

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

class QAction;
class QHBoxLayout;
class QListWidget;
class QTreeWidget;
class QTreeWidgetItem;

namespace ke2 {

// The Debug view of the side bar: the run's controls, Variables (lazily expanded), Watch
// expressions, the Call Stack and the list of Breakpoints of every open buffer.
class DebugView : public QWidget {
    Q_OBJECT
public:
    struct BreakpointRow {
        QString path;
        QString name; // the tab's name
        int line = 0; // 0-based
        bool enabled = true;
        QString condition;
        int hitCount = 0;
    };

    DebugView(DebugSession *session, QWidget *parent = nullptr);

    // Buttons for the window's own actions (Debug, Stop, the steps): icons in one row that fits
    // the narrowest side bar, each with the action and its key as tool tip.
    void SetActions(const QList<QAction *> &actions);
    void SetBreakpoints(const QVector<BreakpointRow> &rows);
    QStringList WatchExpressions() const;
    void AddWatch(const QString &expression);

    QTreeWidget *VariablesTree() const { return m_variables; }
    QTreeWidget *WatchTree() const { return m_watch; }
    QListWidget *CallStack() const { return m_stack; }
    QTreeWidget *BreakpointsTree() const { return m_breakpoints; }

signals:
    // A frame was picked in the call stack: show its line.
    void FrameActivated(const QString &file, int line);
    void BreakpointEdited(const QString &path, int line, bool enabled, const QString &condition, int hitCount);
    void BreakpointRemoved(const QString &path, int line);
    void BreakpointActivated(const QString &path, int line);

public slots:
    void Refresh();

private:
    void FillVariables();
    void FillChildren(QTreeWidgetItem *parent, const QString &ref);
    void UpdateWatches();
    void OnWatchChanged(QTreeWidgetItem *item, int column);
    void OnBreakpointChanged(QTreeWidgetItem *item, int column);
    bool eventFilter(QObject *watched, QEvent *event) override;

    QPointer<DebugSession> m_session;
    QHBoxLayout *m_buttons = nullptr;
    QTreeWidget *m_variables = nullptr;
    QTreeWidget *m_watch = nullptr;
    QListWidget *m_stack = nullptr;
    QTreeWidget *m_breakpoints = nullptr;
    bool m_filling = false;
};

} // namespace ke2
