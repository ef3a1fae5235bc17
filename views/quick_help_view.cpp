#include "views/quick_help_view.h"

#include "plugin/host.h"
#include "plugin/host_bridge.h"

#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QTreeWidget>
#include <QtWidgets/QVBoxLayout>

namespace ke2 {

QuickHelpView::QuickHelpView(QWidget *parent)
    : QWidget(parent), m_search(new QLineEdit(this)), m_message(new QLabel(this)), m_flags(new QTreeWidget(this))
{
    m_search->setPlaceholderText(QStringLiteral("MEL command"));
    m_search->setClearButtonEnabled(true);
    auto *help = new QToolButton(this);
    help->setIcon(QIcon(QStringLiteral(":/ke2_icons/quick_help.png")));
    help->setToolTip(QStringLiteral("Command Reference"));
    help->setAutoRaise(true);
    m_message->setWordWrap(true);
    m_message->setContentsMargins(6, 4, 6, 4);
    m_flags->setHeaderLabels({QStringLiteral("Short"), QStringLiteral("Long"), QStringLiteral("Argument")});
    m_flags->setRootIsDecorated(false);
    m_flags->setFrameStyle(QFrame::NoFrame);
    m_flags->setAlternatingRowColors(true);
    m_flags->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_flags->setToolTip(QStringLiteral("Double-click a flag to insert it"));

    auto *row = new QHBoxLayout;
    row->setContentsMargins(4, 4, 4, 4);
    row->setSpacing(2);
    row->addWidget(m_search, 1);
    row->addWidget(help);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(row);
    layout->addWidget(m_message);
    layout->addWidget(m_flags, 1);

    connect(m_search, &QLineEdit::returnPressed, this, &QuickHelpView::Refresh);
    connect(m_search, &QLineEdit::textChanged, this, [this](const QString &text) {
        if (text.isEmpty())
            Refresh();
    });
    connect(help, &QToolButton::clicked, this, &QuickHelpView::ShowOnlineHelp);
    connect(m_flags, &QTreeWidget::itemActivated, this, &QuickHelpView::OnItemActivated);
    Refresh();
}

QString QuickHelpView::SearchText() const
{
    return m_search->text().trimmed();
}

void QuickHelpView::SetSearchText(const QString &text)
{
    m_search->setText(text.trimmed());
    Refresh();
}

void QuickHelpView::Refresh()
{
    m_flags->clear();
    const QString name = SearchText();
    Host *host = HostBridge::host();
    if (!host || !host->hasFeature(Host::Feature::Mel)) {
        // Said once, here: without a MEL host nothing below can be asked.
        m_message->setText(QStringLiteral("No MEL host: command help, flag completion and the checks of MEL "
                                          "commands and flags need a Maya session. The other MEL checks work here."));
        return;
    }
    if (name.isEmpty()) {
        m_message->setText(QStringLiteral("Type a MEL command and press Enter, or ask for quick help in the editor."));
        return;
    }
    const QStringList triples = HostBridge::melCommandFlags(name);
    for (int i = 0; i + 2 < triples.size(); i += 3) {
        auto *item = new QTreeWidgetItem(m_flags, {triples.at(i), triples.at(i + 1), triples.at(i + 2)});
        item->setToolTip(1, triples.at(i + 1));
    }
    m_message->setText(triples.isEmpty() ? QStringLiteral("No flags found for \"%1\".").arg(name)
                                         : QStringLiteral("%1").arg(name));
}

void QuickHelpView::ShowOnlineHelp()
{
    HostBridge::showOnlineHelp(SearchText(), false);
}

void QuickHelpView::OnItemActivated(QTreeWidgetItem *item)
{
    if (!item)
        return;
    // The long name reads better in a script; a flag without one falls back to its short name.
    const QString flag = item->text(1).isEmpty() ? item->text(0) : item->text(1);
    if (!flag.isEmpty())
        emit QuickHelpFlagSelected(flag);
}

} // namespace ke2
