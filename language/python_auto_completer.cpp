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

PythonAutoCompleter::~PythonAutoCompleter() = default;

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
    Query query = BuildEscapedQuery(cursor.document(), cursor.position());
    const QStringList &forced = ForcedImports::Accepted();
    if (!forced.isEmpty())
        query.source.prepend(Escaped(forced.join(QLatin1Char('\n')) + QLatin1Char('\n')));
    const Settings &settings = Settings::instance();
    const QStringList names = HostBridge::parsePython(query.source, expression,
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

namespace {

// Where the locator goes and what of the document the script sees around it.
struct QueryPlan {
    QTextBlock first;       // the statement's first line
    QTextBlock cursorBlock; // its last line, the cursor's
    QString locatorLine;    // rewritten, unescaped
    int spanned = 1;
    bool cut = false;       // the text after the statement is left out
    bool extras = true;
};

bool planQuery(const QTextDocument *document, int position, QueryPlan &plan)
{
    if (!document)
        return false;
    const QTextBlock cursorBlock = document->findBlock(position);
    if (!cursorBlock.isValid())
        return false;
    // The statement: the cursor's line and the lines it continues after a trailing comma.
    QTextBlock first = cursorBlock;
    while (first.previous().isValid() && withoutTrailingBlanks(first.previous().text()).endsWith(QLatin1Char(',')))
        first = first.previous();
    plan.first = first;
    plan.cursorBlock = cursorBlock;
    plan.spanned = cursorBlock.blockNumber() - first.blockNumber() + 1;
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
    plan.cut = nothingFollows;
    if (defHeader.match(statement).hasMatch()) {
        locator = QStringLiteral("def __kedefloc__(%1): pass").arg(locatorName);
        plan.cut = true;
        plan.extras = false;
    } else if (classHeader.match(statement).hasMatch()) {
        locator = QStringLiteral("class __keclsloc__(%1): pass").arg(locatorName);
        plan.cut = true;
        plan.extras = false;
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
    plan.locatorLine = indentation + locator;
    rewriteExceptionBlocks(plan.locatorLine);
    if (plan.locatorLine.endsWith(QLatin1Char(':')) && (plan.cut || !BodyFollows(cursorBlock, indentation)))
        plan.locatorLine += QStringLiteral(" pass"); // its body went with the text after it, or never was
    return true;
}

// A line as the script sees it: no trailing blanks, exception blocks made plain branches.
QString rewrittenLine(const QString &text)
{
    QString line = withoutTrailingBlanks(text);
    rewriteExceptionBlocks(line);
    return line;
}

} // namespace

// The document's lines, rewritten and escaped, following every change of the document; made on
// the first request, so buffers that never ask for completion pay nothing.
class PythonAutoCompleter::LineCache : public QObject {
public:
    explicit LineCache(const QTextDocument *document) : m_document(document)
    {
        document->documentLayout(); // a document reports its changes only once it has a layout
        Reload();
        connect(document, &QTextDocument::contentsChange, this, &LineCache::OnContentsChange);
    }

    const QTextDocument *Document() const { return m_document; }
    const QString &Line(int number) const { return m_lines.at(number); }
    // The length of lines [from, to), each with its escaped newline.
    qsizetype Length(int from, int to) const
    {
        qsizetype length = 0;
        for (int i = from; i < to; ++i)
            length += m_lines.at(i).size() + 2;
        return length;
    }
    void Append(QString &out, int from, int to) const
    {
        for (int i = from; i < to; ++i) {
            out += m_lines.at(i);
            out += QLatin1String("\\n");
        }
    }
    bool Valid() const { return m_lines.size() == m_document->blockCount(); }

    void Reload()
    {
        m_lines.clear();
        m_lines.reserve(m_document->blockCount());
        for (QTextBlock block = m_document->begin(); block.isValid(); block = block.next())
            m_lines.append(Escaped(rewrittenLine(block.text())));
    }

private:
    void OnContentsChange(int position, int, int charsAdded)
    {
        // Lines first..last now stand where first..last - (blocks gained) stood.
        const QTextBlock firstBlock = m_document->findBlock(position);
        QTextBlock lastBlock = m_document->findBlock(position + charsAdded);
        if (!lastBlock.isValid())
            lastBlock = m_document->lastBlock();
        if (!firstBlock.isValid()) {
            Reload();
            return;
        }
        const int first = firstBlock.blockNumber();
        const int last = lastBlock.blockNumber();
        const int gained = m_document->blockCount() - int(m_lines.size());
        const int oldLast = last - gained;
        if (oldLast < first - 1 || oldLast >= m_lines.size()) {
            Reload();
            return;
        }
        QVector<QString> fresh;
        fresh.reserve(last - first + 1);
        for (QTextBlock block = firstBlock; block.isValid(); block = block.next()) {
            fresh.append(Escaped(rewrittenLine(block.text())));
            if (block == lastBlock)
                break;
        }
        const int oldCount = oldLast - first + 1;
        const int common = std::min(oldCount, int(fresh.size()));
        for (int i = 0; i < common; ++i)
            m_lines[first + i] = fresh.at(i);
        if (fresh.size() > oldCount)
            m_lines.insert(first + oldCount, int(fresh.size()) - oldCount, QString());
        else if (fresh.size() < oldCount)
            m_lines.remove(first + common, oldCount - common);
        for (int i = common; i < fresh.size(); ++i)
            m_lines[first + i] = fresh.at(i);
    }

    const QTextDocument *m_document;
    QVector<QString> m_lines;
};

PythonAutoCompleter::Query PythonAutoCompleter::BuildQuery(const QTextDocument *document, int position)
{
    Query query;
    QueryPlan plan;
    if (!planQuery(document, position, plan))
        return query;
    query.extras = plan.extras;
    QString &out = query.source;
    out.reserve(document->characterCount() + 64);
    for (QTextBlock block = document->begin(); block.isValid() && block != plan.first; block = block.next()) {
        out += rewrittenLine(block.text());
        out += QLatin1Char('\n');
    }
    out += plan.locatorLine;
    out += QString(plan.spanned, QLatin1Char('\n'));
    if (!plan.cut) {
        for (QTextBlock block = plan.cursorBlock.next(); block.isValid(); block = block.next()) {
            out += rewrittenLine(block.text());
            out += QLatin1Char('\n');
        }
    }
    return query;
}

PythonAutoCompleter::Query PythonAutoCompleter::BuildEscapedQuery(const QTextDocument *document, int position)
{
    Query query;
    QueryPlan plan;
    if (!planQuery(document, position, plan))
        return query;
    query.extras = plan.extras;
    if (!m_lineCache || m_lineCache->Document() != document)
        m_lineCache = std::make_unique<LineCache>(document);
    if (!m_lineCache->Valid())
        m_lineCache->Reload();
    const int first = plan.first.blockNumber();
    const int after = plan.cursorBlock.blockNumber() + 1;
    const int end = plan.cut ? after : document->blockCount();
    const QString locator = Escaped(plan.locatorLine);
    QString &out = query.source;
    out.reserve(m_lineCache->Length(0, first) + locator.size() + 2 * plan.spanned + m_lineCache->Length(after, end));
    m_lineCache->Append(out, 0, first);
    out += locator;
    for (int i = 0; i < plan.spanned; ++i)
        out += QLatin1String("\\n");
    m_lineCache->Append(out, after, end);
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
