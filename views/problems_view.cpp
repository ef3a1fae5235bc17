#include "views/problems_view.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QTreeWidget>

namespace ke2 {

namespace {

constexpr int KeyRole = Qt::UserRole;
constexpr int LineRole = Qt::UserRole + 1;

QString iconPath(int severity)
{
    switch (severity) {
    case ProblemsView::Error:
        return QStringLiteral(":/ke2_icons/error.png");
    case ProblemsView::Warning:
        return QStringLiteral(":/ke2_icons/warning.png");
    default:
        return QString();
    }
}

} // namespace

ProblemsView::ProblemsView(QWidget *parent) : QWidget(parent)
{
    setWindowTitle(QStringLiteral("Problems"));
    m_tree = new QTreeWidget(this);
    m_tree->setObjectName(QStringLiteral("problemsTree"));
    m_tree->setHeaderHidden(true);
    m_tree->setRootIsDecorated(true);
    m_tree->setUniformRowHeights(true);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_tree);
    connect(m_tree, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem *item) { Activate(item); });
    connect(m_tree, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem *item) { Activate(item); });
}

void ProblemsView::SetProblems(const QVector<Buffer> &buffers)
{
    // The entry the user stands on stays current across a refresh.
    QString currentKey;
    int currentLine = -1;
    if (const QTreeWidgetItem *current = m_tree->currentItem()) {
        currentKey = current->data(0, KeyRole).toString();
        currentLine = current->data(0, LineRole).toInt();
    }
    m_tree->clear();
    QTreeWidgetItem *restore = nullptr;
    for (const Buffer &buffer : buffers) {
        if (buffer.problems.isEmpty())
            continue;
        auto *top = new QTreeWidgetItem(m_tree, {QStringLiteral("%1 (%2)").arg(buffer.name, QString::number(buffer.problems.size()))});
        top->setToolTip(0, buffer.key);
        top->setData(0, KeyRole, buffer.key);
        top->setData(0, LineRole, 0);
        for (const Problem &problem : buffer.problems) {
            // A message of several lines reads on one.
            const QString message = QString(problem.message).replace(QLatin1Char('\n'), QLatin1String("  "));
            auto *entry = new QTreeWidgetItem(top, {QStringLiteral("Ln %1  %2").arg(problem.line).arg(message)});
            entry->setIcon(0, QIcon(iconPath(problem.severity)));
            entry->setToolTip(0, problem.message);
            entry->setData(0, KeyRole, buffer.key);
            entry->setData(0, LineRole, problem.line);
            if (buffer.key == currentKey && problem.line == currentLine && !restore)
                restore = entry;
        }
        top->setExpanded(true);
    }
    if (restore) {
        const QSignalBlocker blocker(m_tree);
        m_tree->setCurrentItem(restore);
    }
}

QStringList ProblemsView::Texts() const
{
    QStringList texts;
    for (int i = 0; i < m_tree->topLevelItemCount(); ++i) {
        const QTreeWidgetItem *top = m_tree->topLevelItem(i);
        texts << top->text(0);
        for (int j = 0; j < top->childCount(); ++j)
            texts << QStringLiteral("  ") + top->child(j)->text(0);
    }
    return texts;
}

void ProblemsView::Activate(QTreeWidgetItem *item)
{
    if (!item || item->data(0, LineRole).toInt() <= 0)
        return;
    emit ProblemActivated(item->data(0, KeyRole).toString(), item->data(0, LineRole).toInt());
}

} // namespace ke2
