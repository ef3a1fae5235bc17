#include "output/output_highlighting_widget.h"

#include "output/output_highlighting_dialog.h"

#include <QtCore/QFile>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QStyle>
#include <QtWidgets/QToolButton>

namespace ke2 {

namespace {

// Three of the icons come from the host application; where it has none (the standalone program)
// the style's own stands in.
QIcon hostIcon(const QString &resource, QStyle::StandardPixmap fallback, const QStyle *style)
{
    return QFile::exists(resource) ? QIcon(resource) : style->standardIcon(fallback);
}

} // namespace

OutputHighlightingWidget::OutputHighlightingWidget(QWidget *parent) : QWidget(parent)
{
    auto button = [this](const QIcon &icon, const QString &toolTip) {
        auto *result = new QToolButton(this);
        result->setIcon(icon);
        result->setToolTip(toolTip);
        result->setAutoRaise(true);
        return result;
    };
    m_moveUp = button(hostIcon(QStringLiteral(":/moveLayerUp.png"), QStyle::SP_ArrowUp, style()),
                      QStringLiteral("Move Up"));
    m_moveDown = button(hostIcon(QStringLiteral(":/moveLayerDown.png"), QStyle::SP_ArrowDown, style()),
                        QStringLiteral("Move Down"));
    m_new = button(hostIcon(QStringLiteral(":/newLayerEmpty.png"), QStyle::SP_FileIcon, style()),
                   QStringLiteral("New Highlight"));
    m_delete = button(QIcon(QStringLiteral(":/ke2_icons/delete_highlight.png")), QStringLiteral("Delete Highlight"));
    m_list = new QListWidget(this);

    auto *buttons = new QHBoxLayout;
    buttons->setContentsMargins(0, 0, 0, 0);
    for (QToolButton *each : {m_moveUp, m_moveDown, m_new, m_delete})
        buttons->addWidget(each);
    buttons->addStretch(1);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(buttons);
    layout->addWidget(m_list);

    connect(m_moveUp, &QToolButton::clicked, this, &OutputHighlightingWidget::MoveItemUp);
    connect(m_moveDown, &QToolButton::clicked, this, &OutputHighlightingWidget::MoveItemDown);
    connect(m_new, &QToolButton::clicked, this, &OutputHighlightingWidget::NewItem);
    connect(m_delete, &QToolButton::clicked, this, &OutputHighlightingWidget::DeleteItem);
    connect(m_list, &QListWidget::itemDoubleClicked, this, &OutputHighlightingWidget::EditItem);
    connect(m_list, &QListWidget::itemChanged, this, &OutputHighlightingWidget::OnItemChanged);
}

QListWidgetItem *OutputHighlightingWidget::CreateItem(const OutputHighlightRule &rule) const
{
    auto *item = new QListWidgetItem(rule.name);
    item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
    item->setCheckState(rule.enabled ? Qt::Checked : Qt::Unchecked);
    return item;
}

void OutputHighlightingWidget::LoadRules(const QVector<OutputHighlightRule> &rules)
{
    const QSignalBlocker blocker(m_list);
    m_rules = rules;
    m_list->clear();
    for (const OutputHighlightRule &rule : rules)
        m_list->addItem(CreateItem(rule));
    if (!rules.isEmpty())
        m_list->setCurrentRow(0);
}

void OutputHighlightingWidget::NewItem()
{
    OutputHighlightingDialog dialog(this);
    dialog.NewRule();
    if (dialog.exec() != QDialog::Accepted)
        return;
    const OutputHighlightRule rule = dialog.Rule();
    m_rules.append(rule);
    {
        const QSignalBlocker blocker(m_list);
        m_list->addItem(CreateItem(rule));
    }
    m_list->setCurrentRow(m_list->count() - 1);
}

void OutputHighlightingWidget::DeleteItem()
{
    const int row = m_list->currentRow();
    if (row < 0 || row >= m_rules.size())
        return;
    delete m_list->takeItem(row);
    m_rules.removeAt(row);
}

void OutputHighlightingWidget::MoveItem(int from, int to)
{
    if (from < 0 || to < 0 || from >= m_list->count() || to >= m_list->count())
        return;
    {
        const QSignalBlocker blocker(m_list);
        QListWidgetItem *item = m_list->takeItem(from);
        m_list->insertItem(to, item);
    }
    m_list->setCurrentRow(to);
    m_rules.move(from, to);
}

void OutputHighlightingWidget::MoveItemUp()
{
    const int row = m_list->currentRow();
    if (row >= 1)
        MoveItem(row, row - 1);
}

void OutputHighlightingWidget::MoveItemDown()
{
    const int row = m_list->currentRow();
    if (row >= 0 && row + 1 < m_list->count())
        MoveItem(row, row + 1);
}

void OutputHighlightingWidget::EditItem(QListWidgetItem *item)
{
    const int row = m_list->row(item);
    if (row < 0 || row >= m_rules.size())
        return;
    OutputHighlightingDialog dialog(this);
    dialog.LoadRule(m_rules.at(row));
    if (dialog.exec() != QDialog::Accepted)
        return;
    m_rules[row] = dialog.Rule();
    {
        const QSignalBlocker blocker(m_list);
        item->setText(m_rules.at(row).name);
        item->setCheckState(m_rules.at(row).enabled ? Qt::Checked : Qt::Unchecked);
    }
    m_list->setCurrentRow(row);
}

void OutputHighlightingWidget::OnItemChanged(QListWidgetItem *item)
{
    const int row = m_list->row(item);
    if (row >= 0 && row < m_rules.size())
        m_rules[row].enabled = item->checkState() == Qt::Checked;
}

} // namespace ke2
