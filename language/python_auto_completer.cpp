#include "language/python_auto_completer.h"

#include "config/settings.h"
#include "plugin/forced_imports.h"
#include "plugin/host_bridge.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QSortFilterProxyModel>
#include <QtGui/QStandardItemModel>
#include <QtGui/QTextBlock>
#include <QtGui/QTextDocument>
#include <QtWidgets/QPlainTextEdit>

#include <algorithm>

namespace ke2 {

namespace {

const QString locatorName = QStringLiteral("__kestrel_lctr_hlvd__");

QString withoutTrailingBlanks(const QString &line)
{
    int end = line.size();
    while (end > 0 && line.at(end - 1).isSpace())
        --end;
    return end == line.size() ? line : line.left(end);
}

QString leadingIndentation(const QString &line)
{
    int end = 0;
    while (end < line.size() && (line.at(end) == QLatin1Char(' ') || line.at(end) == QLatin1Char('\t')))
        ++end;
    return line.left(end);
}

// try, except and finally whose partners were cut off with the text after the cursor would not
// compile: they become plain branches, which keep the names bound inside them.
void rewriteExceptionBlocks(QString &line)
{
    if (!line.contains(QLatin1String("try")) && !line.contains(QLatin1String("except"))
        && !line.contains(QLatin1String("finally")))
        return;
    static const QRegularExpression tryLine(QStringLiteral("\\btry\\b[ \\t]*:"));
    static const QRegularExpression exceptLine(QStringLiteral("\\bexcept\\b[a-zA-Z0-9_()., \\t]*:"));
    static const QRegularExpression finallyLine(QStringLiteral("\\bfinally\\b[ \\t]*:"));
    line.replace(tryLine, QStringLiteral("if True:"));
    line.replace(exceptLine, QStringLiteral("if False:"));
    line.replace(finallyLine, QStringLiteral("if True:"));
}

bool isIdentifier(const QString &text)
{
    static const QRegularExpression identifier(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
    return identifier.match(text).hasMatch();
}

bool isDottedPath(const QString &text)
{
    if (text.isEmpty())
        return false;
    for (const QString &part : text.split(QLatin1Char('.'))) {
        if (!isIdentifier(part))
            return false;
    }
    return true;
}

// Whether the first non-blank line after `block` is indented deeper than `indentation`.
bool BodyFollows(const QTextBlock &block, const QString &indentation)
{
    for (QTextBlock next = block.next(); next.isValid(); next = next.next()) {
        const QString text = next.text();
        if (text.trimmed().isEmpty())
            continue;
        return leadingIndentation(text).size() > indentation.size();
    }
    return false;
}

} // namespace

PythonAutoCompleter::PythonAutoCompleter(QWidget *editor) : AutoCompleter(editor)
{
    setObjectName(QStringLiteral("pythonAutoCompleter"));
    InitModel();
    m_pendingTimer.setSingleShot(true);
    m_pendingTimer.setInterval(0);
    connect(&m_pendingTimer, &QTimer::timeout, this, &PythonAutoCompleter::RunPending);
}

void PythonAutoCompleter::InitModel()
{
    if (sourceModel)
        return;
    sourceModel = new QStandardItemModel(this);
    auto *proxy = new QSortFilterProxyModel(this);
    proxy->setSourceModel(sourceModel); // the script's order is kept: no sorting here
    SetModel(proxy);
}

bool PythonAutoCompleter::PreparePrefix(const QTextCursor &cursor)
{
    prefix.clear();
    expression.clear();
    memberMode = false;
    const QString before = cursor.block().text().left(cursor.positionInBlock());
    const QString statement = before.mid(leadingIndentation(before).size());

    QString word;
    static const QRegularExpression fromLine(
        QStringLiteral("^from[ \\t]+([A-Za-z0-9_.]*)(?:[ \\t]+import[ \\t]+(.*))?$"));
    static const QRegularExpression fromStart(QStringLiteral("^from[ \\t]"));
    static const QRegularExpression importStart(QStringLiteral("^import[ \\t]"));
    if (fromStart.match(statement).hasMatch()) {
        const QRegularExpressionMatch match = fromLine.match(statement);
        if (!match.hasMatch())
            return false;
        memberMode = true;
        if (match.capturedStart(2) < 0) {
            word = match.captured(1); // the module path itself
        } else {
            // A name imported from the module: the one after the last separator.
            QString names = match.captured(2);
            const int separator = std::max(names.lastIndexOf(QLatin1Char(',')), names.lastIndexOf(QLatin1Char('(')));
            names = names.mid(separator + 1).trimmed();
            if (!names.isEmpty() && !isIdentifier(names)) {
                memberMode = false; // "name as alias": nothing to complete
                return false;
            }
            expression = QStringLiteral("import ") + match.captured(1);
            prefix = names;
            return !prefix.isEmpty();
        }
    } else if (importStart.match(statement).hasMatch()) {
        memberMode = true;
        const QString modules = statement.mid(int(sizeof("import")) - 1);
        word = modules.mid(modules.lastIndexOf(QLatin1Char(',')) + 1).trimmed();
        if (word.contains(QLatin1Char(' ')) || word.contains(QLatin1Char('\t'))) {
            memberMode = false;
            return false;
        }
    } else {
        int start = before.size();
        while (start > 0) {
            const QChar c = before.at(start - 1);
            if (!(c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('.')))
                break;
            --start;
        }
        word = before.mid(start);
    }

    const int dot = word.lastIndexOf(QLatin1Char('.'));
    const QString head = dot < 0 ? QString() : word.left(dot);
    prefix = word.mid(dot + 1);
    if (memberMode) {
        // Import lines: the package path so far, with "import" in front.
        if (dot >= 0 && !isDottedPath(head)) {
            memberMode = false;
            prefix.clear();
            return false;
        }
        expression = dot < 0 ? QStringLiteral("import") : QStringLiteral("import ") + head;
    } else if (dot >= 0) {
        if (!isDottedPath(head)) { // "1.5", "x..y", "'text'.": nothing the script can follow
            prefix.clear();
            return false;
        }
        expression = head;
        memberMode = true;
    }
    if (!prefix.isEmpty() && !isIdentifier(prefix)) {
        prefix.clear();
        memberMode = false;
        expression.clear();
        return false;
    }
    return !prefix.isEmpty();
}

void PythonAutoCompleter::Update(const QTextCursor &cursor, const QRect &cursorRect, bool applyIfSingle)
{
    // Only the latest request counts; one that needs the host waits until the keys already
    // typed have been handled.
    const bool proceed = PreparePrefix(cursor);
    if (!proceed && !memberMode) {
        m_pendingTimer.stop();
        hide();
        return;
    }
    const bool needsHost = !isVisible() || prefix.isEmpty();
    if (!needsHost && !m_pendingTimer.isActive()) {
        UpdateNow(cursorRect, applyIfSingle);
        return;
    }
    m_pendingCursor = cursor;
    m_pendingRect = cursorRect;
    m_pendingApplyIfSingle = applyIfSingle;
    m_pendingTimer.start();
}

void PythonAutoCompleter::RunPending()
{
    QTextCursor cursor = m_pendingCursor;
    QRect rect = m_pendingRect;
    // The editor's own cursor is the truth by now: keys may have moved it since the request.
    if (auto *editor = qobject_cast<QPlainTextEdit *>(parentWidget())) {
        if (!editor->isVisible()) {
            m_pendingCursor = QTextCursor(); // the tab was left before the host was asked
            return;
        }
        if (editor->document() == cursor.document()) {
            cursor = editor->textCursor();
            rect = editor->cursorRect();
        }
    }
    m_pendingCursor = QTextCursor();
    if (cursor.isNull())
        return;
    const bool wasVisible = isVisible();
    if (!PreparePrefix(cursor) && !memberMode) {
        hide();
        return;
    }
    if (wasVisible && memberMode && prefix.isEmpty()) {
        const int position = cursor.position();
        const QChar previous = cursor.document()->characterAt(position - 1);
        if (position != wordStart && previous != QLatin1Char('.')) {
            hide();
            return;
        }
    }
    wordStart = cursor.position() - prefix.size();
    QueryHost(cursor);
    if (Filter() == 0) {
        hide();
        return;
    }
    if (wasVisible) {
        Place(nullptr);
        SelectBestRow();
        return;
    }
    ShowOrApply(rect, m_pendingApplyIfSingle);
}

void PythonAutoCompleter::UpdateNow(const QRect &cursorRect, bool applyIfSingle)
{
    if (Filter() == 0) {
        hide();
        return;
    }
    if (isVisible()) {
        Place(nullptr);
        SelectBestRow();
    } else {
        ShowOrApply(cursorRect, applyIfSingle);
    }
}

void PythonAutoCompleter::QueryHost(const QTextCursor &cursor)
{
    sourceModel->clear();
    const Query query = BuildQuery(cursor.document(), cursor.position());
    QString source = query.source;
    const QStringList &forced = ForcedImports::Accepted();
    if (!forced.isEmpty())
        source.prepend(forced.join(QLatin1Char('\n')) + QLatin1Char('\n'));
    const Settings &settings = Settings::instance();
    const QStringList names = HostBridge::parsePython(Escaped(source), expression,
                                                      query.extras && settings.pythonIncludeKeywords,
                                                      query.extras && settings.pythonIncludeBuiltins);
    // One insertion for all rows: row by row, the filter would run once per name.
    QList<QStandardItem *> items;
    items.reserve(names.size());
    for (const QString &name : names) {
        auto *item = new QStandardItem(name);
        item->setEditable(false);
        items.append(item);
    }
    if (!items.isEmpty())
        sourceModel->appendColumn(items);
}

PythonAutoCompleter::Query PythonAutoCompleter::BuildQuery(const QTextDocument *document, int position)
{
    Query query;
    if (!document)
        return query;
    const QTextBlock cursorBlock = document->findBlock(position);
    if (!cursorBlock.isValid())
        return query;
    // The statement: the cursor's line and the lines it continues after a trailing comma.
    QTextBlock first = cursorBlock;
    while (first.previous().isValid() && withoutTrailingBlanks(first.previous().text()).endsWith(QLatin1Char(',')))
        first = first.previous();
    const int spanned = cursorBlock.blockNumber() - first.blockNumber() + 1;
    QStringList statementLines;
    for (QTextBlock block = first; block.isValid(); block = block.next()) {
        statementLines.append(withoutTrailingBlanks(block.text()));
        if (block == cursorBlock)
            break;
    }
    const QString joined = statementLines.join(QLatin1Char('\n'));
    const QString indentation = leadingIndentation(first.text()); // a blank line keeps its own
    const QString statement = joined.mid(std::min(indentation.size(), joined.size()));
    const bool nothingFollows = cursorBlock.text().mid(position - cursorBlock.position()).trimmed().isEmpty();

    static const QRegularExpression defHeader(QStringLiteral("^def\\b"));
    static const QRegularExpression classHeader(QStringLiteral("^class\\b"));
    static const QRegularExpression loopHeader(QStringLiteral("^(for|while)[ \\t]"));
    static const QRegularExpression ifHeader(QStringLiteral("^(if)[ \\t]"));
    static const QRegularExpression elifHeader(QStringLiteral("^(elif)[ \\t]"));
    QString locator;
    bool cut = nothingFollows;
    if (defHeader.match(statement).hasMatch()) {
        locator = QStringLiteral("def __kedefloc__(%1): pass").arg(locatorName);
        cut = true;
        query.extras = false;
    } else if (classHeader.match(statement).hasMatch()) {
        locator = QStringLiteral("class __keclsloc__(%1): pass").arg(locatorName);
        cut = true;
        query.extras = false;
    } else if (statement.endsWith(QLatin1Char(':'))) {
        if (loopHeader.match(statement).hasMatch())
            locator = QStringLiteral("while %1:").arg(locatorName);
        else if (ifHeader.match(statement).hasMatch())
            locator = QStringLiteral("if %1:").arg(locatorName);
        else if (elifHeader.match(statement).hasMatch())
            locator = QStringLiteral("elif %1:").arg(locatorName);
        else
            locator = statement;
    } else if (statement.contains(QLatin1Char(';'))) {
        locator = statement.left(statement.lastIndexOf(QLatin1Char(';')) + 1) + locatorName + QStringLiteral(" = None;");
    } else {
        locator = locatorName + QStringLiteral(" = None");
    }

    QString &out = query.source;
    out.reserve(document->characterCount() + 64);
    for (QTextBlock block = document->begin(); block.isValid() && block != first; block = block.next()) {
        QString line = withoutTrailingBlanks(block.text());
        rewriteExceptionBlocks(line);
        out += line;
        out += QLatin1Char('\n');
    }
    QString locatorLine = indentation + locator;
    rewriteExceptionBlocks(locatorLine);
    if (locatorLine.endsWith(QLatin1Char(':')) && (cut || !BodyFollows(cursorBlock, indentation)))
        locatorLine += QStringLiteral(" pass"); // its body went with the text after it, or never was
    out += locatorLine;
    out += QString(spanned, QLatin1Char('\n'));
    if (!cut) {
        for (QTextBlock block = cursorBlock.next(); block.isValid(); block = block.next()) {
            QString line = withoutTrailingBlanks(block.text());
            rewriteExceptionBlocks(line);
            out += line;
            out += QLatin1Char('\n');
        }
    }
    return query;
}

QString PythonAutoCompleter::Escaped(const QString &text)
{
    QString escaped;
    escaped.reserve(text.size() + text.size() / 16 + 16);
    for (const QChar c : text) {
        if (c == QLatin1Char('\\'))
            escaped += QLatin1String("\\\\");
        else if (c == QLatin1Char('\n'))
            escaped += QLatin1String("\\n");
        else if (c == QLatin1Char('"'))
            escaped += QLatin1String("\\\"");
        else
            escaped += c;
    }
    return escaped;
}

} // namespace ke2
