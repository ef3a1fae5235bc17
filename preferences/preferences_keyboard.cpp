// The keyboard page: the working copy of the binding table, edited entry by entry.
#include "preferences/preferences_dialog.h"

#include "preferences/shortcut_edit.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>

namespace ke2 {

QWidget *PreferencesDialog::CreateKeyboardPage()
{
    auto *page = new QWidget;
    m_commandList = new QListWidget;
    m_commandList->setObjectName(QStringLiteral("keyboardCommandListWdg"));
    m_assigned = new QListWidget;
    m_assigned->setObjectName(QStringLiteral("assignedShortcuts"));
    m_assigned->setMaximumHeight(90);
    m_remove = new QPushButton(QStringLiteral("Remove"));
    m_remove->setObjectName(QStringLiteral("removeShortcut"));
    m_shortcutEdit = new ShortcutEdit;
    m_shortcutEdit->setObjectName(QStringLiteral("shortcutEdit"));
    m_assign = new QPushButton(QStringLiteral("Assign"));
    m_assign->setObjectName(QStringLiteral("assignShortcut"));
    m_usedBy = new QLabel;
    m_usedBy->setObjectName(QStringLiteral("shortcutUsedBy"));
    m_usedBy->setStyleSheet(QStringLiteral("color: #e0a040;"));
    m_restoreBindings = new QPushButton(QStringLiteral("Restore Defaults"));
    m_restoreBindings->setObjectName(QStringLiteral("restoreDefaultKeyBindings"));

    auto *side = new QVBoxLayout;
    side->addWidget(new QLabel(QStringLiteral("Assigned Shortcut:")));
    auto *assignedRow = new QHBoxLayout;
    assignedRow->addWidget(m_assigned, 1);
    assignedRow->addWidget(m_remove, 0, Qt::AlignTop);
    side->addLayout(assignedRow);
    side->addSpacing(8);
    side->addWidget(new QLabel(QStringLiteral("Press Shortcut Keys:")));
    auto *pressRow = new QHBoxLayout;
    pressRow->addWidget(m_shortcutEdit, 1);
    pressRow->addWidget(m_assign);
    side->addLayout(pressRow);
    side->addSpacing(8);
    side->addWidget(new QLabel(QStringLiteral("Shortcut currently used by:")));
    side->addWidget(m_usedBy);
    side->addStretch(1);
    side->addWidget(m_restoreBindings, 0, Qt::AlignRight);

    auto *layout = new QHBoxLayout(page);
    layout->setContentsMargins(8, 4, 8, 4);
    layout->addWidget(m_commandList, 1);
    layout->addLayout(side, 1);

    FillKeyBindingList();
    connect(m_commandList, &QListWidget::currentRowChanged, this, &PreferencesDialog::OnSelectedKeyBindingItemChanged);
    connect(m_shortcutEdit, &QLineEdit::textChanged, this, &PreferencesDialog::UpdateExistingKeyBindingDisplay);
    connect(m_assign, &QPushButton::clicked, this, &PreferencesDialog::AssignKeyBinding);
    connect(m_remove, &QPushButton::clicked, this, &PreferencesDialog::RemoveKeyBinding);
    connect(m_restoreBindings, &QPushButton::clicked, this, &PreferencesDialog::RestoreDefaultKeyBindings);
    m_commandList->setCurrentRow(0);
    OnSelectedKeyBindingItemChanged();
    return page;
}

void PreferencesDialog::FillKeyBindingList()
{
    const QSignalBlocker blocker(m_commandList);
    m_commandList->clear();
    for (const ActionBinding &binding : m_bindings.entries()) {
        if (binding.fixed)
            continue;
        auto *item = new QListWidgetItem(binding.displayName, m_commandList);
        item->setData(Qt::UserRole, binding.number);
    }
    if (m_search && !m_search->text().isEmpty())
        FilterSettings(m_search->text());
    ShowAssignedShortcuts();
}

ActionBinding *PreferencesDialog::SelectedBinding()
{
    QListWidgetItem *item = m_commandList->currentItem();
    return item ? m_bindings.entry(item->data(Qt::UserRole).toInt()) : nullptr;
}

void PreferencesDialog::ShowAssignedShortcuts()
{
    m_assigned->clear();
    if (const ActionBinding *binding = SelectedBinding()) {
        for (const QKeySequence &sequence : binding->shortcuts)
            m_assigned->addItem(sequence.toString(QKeySequence::NativeText));
    }
    if (m_assigned->count() > 0)
        m_assigned->setCurrentRow(0);
    m_remove->setEnabled(m_assigned->count() > 0);
}

void PreferencesDialog::OnSelectedKeyBindingItemChanged()
{
    ShowAssignedShortcuts();
    UpdateExistingKeyBindingDisplay(m_shortcutEdit->text());
}

void PreferencesDialog::UpdateExistingKeyBindingDisplay(const QString &text)
{
    const QKeySequence sequence = QKeySequence::fromString(text, QKeySequence::NativeText);
    QString user;
    if (!sequence.isEmpty()) {
        for (const ActionBinding &binding : m_bindings.entries()) {
            // The reserved entry's keys are its defaults, whatever its working list says.
            const QList<QKeySequence> &keys = binding.fixed ? binding.defaultShortcuts : binding.shortcuts;
            if (keys.contains(sequence)) {
                user = binding.fixed ? binding.displayName + QStringLiteral(" (Permanent)") : binding.displayName;
                break;
            }
        }
    }
    m_usedBy->setText(user);
}

void PreferencesDialog::AssignKeyBinding()
{
    ActionBinding *binding = SelectedBinding();
    const QKeySequence sequence = m_shortcutEdit->Sequence();
    if (!binding || sequence.isEmpty() || binding->shortcuts.contains(sequence))
        return;
    // A key another entry holds is assigned all the same: "Shortcut currently used by:" has said
    // so, and Apply resolves the pair as a read of the file would, with its warning.
    binding->shortcuts.append(sequence);
    ShowAssignedShortcuts();
    UpdateExistingKeyBindingDisplay(m_shortcutEdit->text());
}

void PreferencesDialog::RemoveKeyBinding()
{
    ActionBinding *binding = SelectedBinding();
    const int row = m_assigned->currentRow();
    if (!binding || row < 0 || row >= binding->shortcuts.size())
        return;
    binding->shortcuts.removeAt(row);
    ShowAssignedShortcuts();
    UpdateExistingKeyBindingDisplay(m_shortcutEdit->text());
}

void PreferencesDialog::RestoreDefaultKeyBindings()
{
    const QMessageBox::StandardButton answer = QMessageBox::warning(
        this, QStringLiteral("Restore Defaults"),
        QStringLiteral("Keyboard mappings will reset to their default values. Continue?"),
        QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes);
    if (answer != QMessageBox::Yes)
        return;
    const QVector<ActionBinding> entries = m_bindings.entries(); // setShortcuts changes the table
    for (const ActionBinding &binding : entries)
        m_bindings.setShortcuts(binding.number, binding.defaultShortcuts);
    const int row = m_commandList->currentRow();
    FillKeyBindingList();
    m_commandList->setCurrentRow(row < 0 ? 0 : row);
    OnSelectedKeyBindingItemChanged();
}

} // namespace ke2
