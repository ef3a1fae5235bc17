#include "language/mel_auto_completer.h"

#include "config/settings.h"
#include "language/mel_command_catalog.h"
#include "language/mel_command_context.h"
#include "plugin/host_bridge.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QSortFilterProxyModel>
#include <QtGui/QStandardItemModel>
#include <QtGui/QTextDocument>

#include <algorithm>

namespace ke2 {

namespace {
QSortFilterProxyModel *g_sharedModel = nullptr;

// Flag rows pass the filter on their long or their short name.
class FlagFilter : public QSortFilterProxyModel {
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

protected:
    bool filterAcceptsRow(int row, const QModelIndex &parent) const override
    {
        const QModelIndex index = sourceModel()->index(row, 0, parent);
        const QRegularExpression pattern = filterRegularExpression();
        return pattern.match(index.data(MelAutoCompleter::LongNameRole).toString()).hasMatch()
               || pattern.match(index.data(MelAutoCompleter::ShortNameRole).toString()).hasMatch();
    }
};

// The candidates in ascending case-sensitive order, as the proxy would sort them. Sorted once
// here, the proxy does not sort the matching rows again at every key: with the tens of thousands
// of names a host has, that sort was most of the time of a key.
void fill(QStandardItemModel *items)
{
    items->clear();
    QStringList names;
    for (const QStringList &list : {HostBridge::melKeywords(), HostBridge::melCommands(),
                                    HostBridge::melRunTimeCommands(), HostBridge::melProcedures()}) {
        for (const QString &name : list) {
            // The host's lists keep empty entries for names it skipped; they are no candidates.
            if (!name.isEmpty())
                names.append(name);
        }
    }
    std::stable_sort(names.begin(), names.end());
    QList<QStandardItem *> column;
    column.reserve(names.size());
    for (const QString &name : qAsConst(names)) {
        auto *item = new QStandardItem(name);
        item->setEditable(false);
        column.append(item);
    }
    if (!column.isEmpty())
        items->appendColumn(column);
}
} // namespace

MelAutoCompleter::MelAutoCompleter(QWidget *editor) : AutoCompleter(editor)
{
    setObjectName(QStringLiteral("melAutoCompleter"));
    m_flagItems = new QStandardItemModel(this);
    m_flagModel = new FlagFilter(this);
    m_flagModel->setSourceModel(m_flagItems);
    InitModel();
}

QString MelAutoCompleter::InsertionText(const QModelIndex &index) const
{
    if (!m_flagMode)
        return AutoCompleter::InsertionText(index);
    // The form the user started to type: the short name when only it fits what was typed.
    const QString longName = index.data(LongNameRole).toString();
    const QString shortName = index.data(ShortNameRole).toString();
    if (!longName.isEmpty() && longName.startsWith(prefix))
        return longName;
    return shortName.startsWith(prefix) || longName.isEmpty() ? shortName : longName;
}

bool MelAutoCompleter::PrepareFlags(const QTextCursor &cursor, int dash)
{
    const QTextDocument *document = cursor.document();
    if (!Settings::instance().melCompleteFlags || !document->characterAt(dash - 1).isSpace())
        return false;
    MelCommandCatalog &catalog = MelCommandCatalog::instance();
    if (!catalog.KnowsCommands())
        return false;
    const MelCommandContext context = MelCommandContextAt(document, dash + 1);
    if (!context.onFlag || context.functionSyntax || !catalog.IsCommand(context.name))
        return false;
    const MelCommandSyntax *syntax = catalog.CommandSyntax(context.name);
    if (!syntax || syntax->flags.isEmpty())
        return false;
    m_flagItems->clear();
    QList<QStandardItem *> fresh;
    QList<QStandardItem *> present;
    QVector<MelCommandSyntax::Flag> flags = syntax->flags;
    std::stable_sort(flags.begin(), flags.end(), [](const MelCommandSyntax::Flag &a, const MelCommandSyntax::Flag &b) {
        return (a.longName.isEmpty() ? a.shortName : a.longName) < (b.longName.isEmpty() ? b.shortName : b.longName);
    });
    for (const MelCommandSyntax::Flag &flag : qAsConst(flags)) {
        const QString text = flag.longName.isEmpty() ? QStringLiteral("-%1").arg(flag.shortName)
                                                     : QStringLiteral("-%1  -%2").arg(flag.longName, flag.shortName);
        auto *item = new QStandardItem(text);
        item->setEditable(false);
        item->setData(flag.longName, LongNameRole);
        item->setData(flag.shortName, ShortNameRole);
        item->setToolTip(flag.arguments);
        const bool used = context.presentFlags.contains(flag.shortName)
                          || (!flag.longName.isEmpty() && context.presentFlags.contains(flag.longName));
        (used ? present : fresh).append(item);
    }
    for (QStandardItem *item : qAsConst(present))
        fresh.append(item);
    m_flagItems->appendColumn(fresh);
    return true;
}

QSortFilterProxyModel *MelAutoCompleter::SharedModel()
{
    if (!g_sharedModel) {
        // Lives as long as the program: every MEL popup of every window shows it.
        g_sharedModel = new QSortFilterProxyModel;
        auto *items = new QStandardItemModel(g_sharedModel);
        fill(items);
        g_sharedModel->setSourceModel(items);
        g_sharedModel->setSortCaseSensitivity(Qt::CaseSensitive);
        g_sharedModel->setFilterCaseSensitivity(Qt::CaseSensitive);
    }
    return g_sharedModel;
}

void MelAutoCompleter::ReloadSharedModel()
{
    if (auto *items = g_sharedModel ? qobject_cast<QStandardItemModel *>(g_sharedModel->sourceModel()) : nullptr)
        fill(items);
}

void MelAutoCompleter::InitModel()
{
    SetModel(SharedModel());
}

bool MelAutoCompleter::PreparePrefix(const QTextCursor &cursor)
{
    static const QRegularExpression wordOrDot(QStringLiteral("[a-zA-Z0-9_\\.]"));
    static const QRegularExpression notWord(QStringLiteral("[^a-zA-Z0-9_\\s]"));
    static const QRegularExpression word(QStringLiteral("^[a-zA-Z0-9_]+$"));
    const QTextDocument *document = cursor.document();
    prefix.clear();
    if (!document)
        return false;
    const int position = cursor.position();
    const QString before(document->characterAt(position - 1));
    const QString at(document->characterAt(position));
    QTextCursor selection(cursor);
    selection.clearSelection();
    if (wordOrDot.match(before).hasMatch() && notWord.match(at).hasMatch())
        selection.movePosition(QTextCursor::PreviousWord, QTextCursor::KeepAnchor);
    else
        selection.movePosition(QTextCursor::StartOfWord, QTextCursor::KeepAnchor);
    prefix = selection.selectedText();
    const bool wasFlagMode = m_flagMode;
    m_flagMode = false;
    // Right after a "-", or in a word that follows one: a flag, completed for a known command.
    int dash = -1;
    if (before == QLatin1String("-"))
        dash = position - 1;
    else if (!prefix.isEmpty() && word.match(prefix).hasMatch()
             && document->characterAt(selection.selectionStart() - 1) == QLatin1Char('-'))
        dash = selection.selectionStart() - 1;
    if (dash >= 0) {
        if (dash == position - 1)
            prefix.clear();
        m_flagMode = PrepareFlags(cursor, dash);
        if (m_flagMode != wasFlagMode || m_flagMode)
            SetModel(m_flagMode ? m_flagModel : SharedModel());
        if (!m_flagMode)
            prefix.clear();
        return m_flagMode;
    }
    if (wasFlagMode)
        SetModel(SharedModel());
    if (prefix.isEmpty() || !word.match(prefix).hasMatch()) {
        prefix.clear();
        return false;
    }
    const QChar previous = document->characterAt(selection.selectionStart() - 1);
    return previous != QLatin1Char('$');
}

} // namespace ke2
