#include "debugger/debug_view.h"

#include <QtCore/QFileInfo>
#include <QtCore/QHash>
#include <QAction>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QTreeWidget>
#include <QtWidgets/QVBoxLayout>

namespace ke2 {
namespace {

enum Role { RefRole = Qt::UserRole, PathRole, LineRole, FilledRole };

// A titled part of the view, as the explorer's sections are titled.
QWidget *section(const QString &title, QWidget *content, QWidget *parent)
{
    auto *box = new QWidget(parent);
    auto *layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    auto *label = new QLabel(title, box);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    layout->addWidget(label);
    layout->addWidget(content);
    return box;
}

QTreeWidget *tree(const QStringList &headers, QWidget *parent)
{
    auto *widget = new QTreeWidget(parent);
    widget->setHeaderLabels(headers);
    widget->setRootIsDecorated(headers.size() > 2);
    widget->setUniformRowHeights(true);
    widget->header()->setStretchLastSection(true);
    return widget;
}

} // namespace

DebugView::DebugView(DebugSession *session, QWidget *parent) : QWidget(parent), m_session(session)
{
    setObjectName(QStringLiteral("DebugView"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_buttons = new QHBoxLayout;
    m_buttons->setContentsMargins(4, 2, 4, 2);
    m_buttons->setSpacing(2);
    m_buttons->addStretch(1);
    layout->addLayout(m_buttons);

    auto *splitter = new QSplitter(Qt::Vertical, this);
    m_variables = tree({QStringLiteral("Name"), QStringLiteral("Value"), QStringLiteral("Type")}, splitter);
    m_variables->setRootIsDecorated(true);
    connect(m_variables, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem *item) {
        if (!item->data(0, FilledRole).toBool())
            FillChildren(item, item->data(0, RefRole).toString());
    });
    splitter->addWidget(section(QStringLiteral("VARIABLES"), m_variables, splitter));

    auto *watchBox = new QWidget(splitter);
    auto *watchLayout = new QVBoxLayout(watchBox);
    watchLayout->setContentsMargins(0, 0, 0, 0);
    m_watch = tree({QStringLiteral("Expression"), QStringLiteral("Value")}, watchBox);
    m_watch->installEventFilter(this);
    connect(m_watch, &QTreeWidget::itemChanged, this, &DebugView::OnWatchChanged);
    auto *addWatch = new QLineEdit(watchBox);
    addWatch->setObjectName(QStringLiteral("AddWatch"));
    addWatch->setPlaceholderText(QStringLiteral("Add an expression to watch"));
    connect(addWatch, &QLineEdit::returnPressed, this, [this, addWatch] {
        AddWatch(addWatch->text());
        addWatch->clear();
    });
    watchLayout->addWidget(m_watch);
    watchLayout->addWidget(addWatch);
    splitter->addWidget(section(QStringLiteral("WATCH"), watchBox, splitter));

    m_stack = new QListWidget(splitter);
    connect(m_stack, &QListWidget::currentRowChanged, this, [this](int row) {
        if (m_filling || !m_session || row < 0)
            return;
        m_session->SelectFrame(row);
        FillVariables();
        UpdateWatches();
        if (QListWidgetItem *item = m_stack->item(row))
            emit FrameActivated(item->data(PathRole).toString(), item->data(LineRole).toInt());
    });
    splitter->addWidget(section(QStringLiteral("CALL STACK"), m_stack, splitter));

    m_breakpoints = tree({QStringLiteral("Breakpoint"), QStringLiteral("Condition"), QStringLiteral("Hit Count")},
                         splitter);
    m_breakpoints->setRootIsDecorated(false);
    m_breakpoints->installEventFilter(this);
    connect(m_breakpoints, &QTreeWidget::itemChanged, this, &DebugView::OnBreakpointChanged);
    connect(m_breakpoints, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem *item) {
        emit BreakpointActivated(item->data(0, PathRole).toString(), item->data(0, LineRole).toInt());
    });
    splitter->addWidget(section(QStringLiteral("BREAKPOINTS"), m_breakpoints, splitter));
    layout->addWidget(splitter, 1);

    if (m_session) {
        connect(m_session, &DebugSession::Paused, this, &DebugView::Refresh);
        connect(m_session, &DebugSession::Resumed, this, &DebugView::Refresh);
        connect(m_session, &DebugSession::Ended, this, &DebugView::Refresh);
    }
    Refresh();
}

void DebugView::SetActions(const QList<QAction *> &actions)
{
    // Text labels would not fit a narrow side bar whatever their length; the text stays as the
    // button's accessible name. The Debug action reads Continue while paused.
    const QHash<QString, QString> icons = {{QStringLiteral("Debug"), QStringLiteral("debug_continue")},
                                           {QStringLiteral("Stop Debugging"), QStringLiteral("debug_stop")},
                                           {QStringLiteral("Step Over"), QStringLiteral("step_over")},
                                           {QStringLiteral("Step Into"), QStringLiteral("step_into")},
                                           {QStringLiteral("Step Out"), QStringLiteral("step_out")},
                                           {QStringLiteral("Run to Cursor"), QStringLiteral("run_to_cursor")}};
    for (QAction *action : actions) {
        auto *button = new QToolButton(this);
        button->setToolButtonStyle(Qt::ToolButtonIconOnly);
        button->setAutoRaise(true);
        button->setIcon(QIcon(QStringLiteral(":/ke2_icons/%1.png").arg(icons.value(action->text()))));
        const auto sync = [button, action] {
            button->setText(action->text());
            button->setEnabled(action->isEnabled());
            const QString keys = action->shortcut().toString(QKeySequence::NativeText);
            button->setToolTip(keys.isEmpty() ? action->text() : QStringLiteral("%1 (%2)").arg(action->text(), keys));
        };
        sync();
        connect(action, &QAction::changed, button, sync);
        connect(button, &QToolButton::clicked, action, &QAction::trigger);
        m_buttons->insertWidget(m_buttons->count() - 1, button);
    }
}

void DebugView::Refresh()
{
    const bool paused = m_session && m_session->IsPaused();
    m_filling = true;
    m_stack->clear();
    if (paused) {
        for (const DebugSession::Frame &frame : m_session->Frames()) {
            auto *item = new QListWidgetItem(
                QStringLiteral("%1    %2:%3").arg(frame.name, QFileInfo(frame.file).fileName(), QString::number(frame.line)), m_stack);
            item->setData(PathRole, frame.file);
            item->setData(LineRole, frame.line);
            item->setToolTip(frame.file);
        }
        m_stack->setCurrentRow(m_session->SelectedFrame());
    }
    m_filling = false;
    FillVariables();
    UpdateWatches();
}

void DebugView::FillVariables()
{
    m_variables->clear();
    if (!m_session || !m_session->IsPaused())
        return;
    const QStringList scopes = {QStringLiteral("locals"), QStringLiteral("globals")};
    for (const QString &scope : scopes) {
        // At module level the locals are the globals: shown once.
        if (scope == QLatin1String("globals") && m_session->SelectedFrame() == m_session->Frames().size() - 1)
            break;
        auto *item = new QTreeWidgetItem(m_variables, {scope == QLatin1String("locals") ? QStringLiteral("Locals")
                                                                                         : QStringLiteral("Globals")});
        item->setData(0, RefRole, scope);
        item->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
    }
    if (QTreeWidgetItem *locals = m_variables->topLevelItem(0))
        locals->setExpanded(true);
}

void DebugView::FillChildren(QTreeWidgetItem *parent, const QString &ref)
{
    parent->setData(0, FilledRole, true);
    if (!m_session)
        return;
    for (const DebugSession::Variable &variable : m_session->Variables(ref)) {
        auto *item = new QTreeWidgetItem(parent, {variable.name, variable.value, variable.type});
        item->setToolTip(1, variable.value);
        if (variable.childRef > 0) {
            item->setData(0, RefRole, QString::number(variable.childRef));
            item->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
        }
    }
    if (parent->childCount() == 0)
        parent->setChildIndicatorPolicy(QTreeWidgetItem::DontShowIndicatorWhenChildless);
}

QStringList DebugView::WatchExpressions() const
{
    QStringList expressions;
    for (int i = 0; i < m_watch->topLevelItemCount(); ++i)
        expressions.append(m_watch->topLevelItem(i)->text(0));
    return expressions;
}

void DebugView::AddWatch(const QString &expression)
{
    if (expression.trimmed().isEmpty())
        return;
    auto *item = new QTreeWidgetItem(m_watch, {expression.trimmed()});
    item->setFlags(item->flags() | Qt::ItemIsEditable);
    UpdateWatches();
}

void DebugView::UpdateWatches()
{
    const bool paused = m_session && m_session->IsPaused();
    m_filling = true;
    for (int i = 0; i < m_watch->topLevelItemCount(); ++i) {
        QTreeWidgetItem *item = m_watch->topLevelItem(i);
        QString text;
        if (paused)
            m_session->Evaluate(item->text(0), text);
        item->setText(1, text);
        item->setToolTip(1, text);
    }
    m_filling = false;
}

void DebugView::OnWatchChanged(QTreeWidgetItem *item, int column)
{
    if (m_filling || column != 0)
        return;
    // An expression edited to nothing is taken out.
    if (item->text(0).trimmed().isEmpty())
        delete item;
    else
        UpdateWatches();
}

void DebugView::SetBreakpoints(const QVector<BreakpointRow> &rows)
{
    m_filling = true;
    m_breakpoints->clear();
    for (const BreakpointRow &row : rows) {
        auto *item = new QTreeWidgetItem(m_breakpoints, {QStringLiteral("%1:%2").arg(row.name, QString::number(row.line + 1)),
                                                         row.condition,
                                                         row.hitCount > 0 ? QString::number(row.hitCount) : QString()});
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable | Qt::ItemIsEditable);
        item->setCheckState(0, row.enabled ? Qt::Checked : Qt::Unchecked);
        item->setData(0, PathRole, row.path);
        item->setData(0, LineRole, row.line);
        item->setToolTip(0, row.path);
    }
    m_filling = false;
}

void DebugView::OnBreakpointChanged(QTreeWidgetItem *item, int column)
{
    if (m_filling)
        return;
    if (column == 0) {
        // The location is not edited here; only the check box changes.
        m_filling = true;
        item->setText(0, QStringLiteral("%1:%2")
                             .arg(item->text(0).section(QLatin1Char(':'), 0, -2),
                                  QString::number(item->data(0, LineRole).toInt() + 1)));
        m_filling = false;
    }
    bool ok = false;
    const int hits = item->text(2).trimmed().toInt(&ok);
    const QString path = item->data(0, PathRole).toString();
    const int line = item->data(0, LineRole).toInt();
    // Emitted last: the list is rebuilt by whoever applies it.
    emit BreakpointEdited(path, line, item->checkState(0) == Qt::Checked, item->text(1).trimmed(),
                          ok && hits > 0 ? hits : 0);
}

bool DebugView::eventFilter(QObject *watched, QEvent *event)
{
    // Delete takes the selected watch or breakpoint out.
    if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Delete) {
        if (watched == m_watch) {
            delete m_watch->currentItem();
            return true;
        }
        if (watched == m_breakpoints) {
            if (QTreeWidgetItem *item = m_breakpoints->currentItem())
                emit BreakpointRemoved(item->data(0, PathRole).toString(), item->data(0, LineRole).toInt());
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace ke2
