#include "language/mel_auto_completer.h"

#include "plugin/host_bridge.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QSortFilterProxyModel>
#include <QtGui/QStandardItemModel>
#include <QtGui/QTextDocument>

#include <algorithm>

namespace ke2 {

namespace {
QSortFilterProxyModel *g_sharedModel = nullptr;

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
    InitModel();
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
    if (prefix.isEmpty() || !word.match(prefix).hasMatch()) {
        prefix.clear();
        return false;
    }
    const QChar previous = document->characterAt(selection.selectionStart() - 1);
    return previous != QLatin1Char('-') && previous != QLatin1Char('$');
}

} // namespace ke2
