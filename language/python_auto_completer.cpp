#include "language/python_auto_completer.h"

#include "config/settings.h"
#include "plugin/forced_imports.h"
#include "plugin/host.h"
#include "plugin/host_bridge.h"
#include "plugin/python_analysis_thread.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtCore/QRegularExpression>
#include <QtCore/QSortFilterProxyModel>
#include <QtGui/QStandardItemModel>
#include <QtGui/QTextBlock>
#include <QtGui/QTextDocument>
#include <QtWidgets/QPlainTextEdit>

#include <algorithm>
#include <limits>

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
    m_retryTimer.setSingleShot(true);
    connect(&m_retryTimer, &QTimer::timeout, this, [this] {
        const int quiet = int(m_sinceRequest.elapsed());
        if (quiet < retryPauseMs) {
            m_retryTimer.start(retryPauseMs - quiet);
            return;
        }
        auto *editor = qobject_cast<QPlainTextEdit *>(parentWidget());
        if (!m_askAgain || !editor)
            return;
        m_pendingCursor = editor->textCursor();
        m_pendingRect = editor->cursorRect();
        m_pendingTimer.start();
    });
    m_sinceRequest.start();
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
    m_sinceRequest.restart();
    const bool proceed = PreparePrefix(cursor);
    if (!proceed && !memberMode) {
        m_pendingTimer.stop();
        hide();
        return;
    }
    const bool needsHost = !isVisible() || prefix.isEmpty();
    if (!needsHost && !m_pendingTimer.isActive() && !m_awaited) {
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
    if (Host *active = HostBridge::host(); active && active->pythonCallableFromAnyThread()) {
        Ask(*active, cursor);
        return;
    }
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
    Query query = BuildEscapedQuery(cursor.document(), cursor.position());
    const QStringList &forced = ForcedImports::Accepted();
    if (!forced.isEmpty())
        query.source.prepend(Escaped(forced.join(QLatin1Char('\n')) + QLatin1Char('\n')));
    const Settings &settings = Settings::instance();
    SetCandidates(HostBridge::parsePython(query.source, expression, query.extras && settings.pythonIncludeKeywords,
                                          query.extras && settings.pythonIncludeBuiltins));
}

void PythonAutoCompleter::SetCandidates(const QStringList &names)
{
    sourceModel->clear();
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

// The document's lines, rewritten and escaped, each with its escaped newline, following every
// change of the document; made on the first request, so buffers that never ask for completion pay
// nothing. One string per line: a key rewrites its line only, and a request takes the list as it
// is (shared, not copied) to the analysis thread.
class PythonAutoCompleter::LineCache : public QObject {
public:
    explicit LineCache(const QTextDocument *document) : m_document(document)
    {
        document->documentLayout(); // a document reports its changes only once it has a layout
        Reload();
        connect(document, &QTextDocument::contentsChange, this, &LineCache::OnContentsChange);
    }

    const QTextDocument *Document() const { return m_document; }
    const QVector<QString> &Lines() const { return m_lines; }
    bool Valid() const { return m_lines.size() == m_document->blockCount(); }

    void Reload()
    {
        m_lines.clear();
        m_lines.reserve(m_document->blockCount());
        for (QTextBlock block = m_document->begin(); block.isValid(); block = block.next())
            m_lines.append(Line(block));
        m_shifted = true;
    }

    // Starts watching which lines change; ChangedOutside then tells whether an edit since touched
    // a line outside [from, to] or moved lines.
    void Mark()
    {
        m_dirtyFrom = std::numeric_limits<int>::max();
        m_dirtyTo = -1;
        m_shifted = false;
    }
    bool ChangedOutside(int from, int to) const
    {
        return m_shifted || (m_dirtyTo >= 0 && (m_dirtyFrom < from || m_dirtyTo > to));
    }

private:
    static QString Line(const QTextBlock &block)
    {
        return Escaped(rewrittenLine(block.text())) + QLatin1String("\\n");
    }

    void OnContentsChange(int position, int, int charsAdded)
    {
        // Lines first..last now stand where first..oldLast stood.
        const QTextBlock firstBlock = m_document->findBlock(position);
        QTextBlock lastBlock = m_document->findBlock(position + charsAdded);
        if (!lastBlock.isValid())
            lastBlock = m_document->lastBlock();
        const int lines = int(m_lines.size());
        if (!firstBlock.isValid()) {
            Reload();
            return;
        }
        const int first = firstBlock.blockNumber();
        const int last = lastBlock.blockNumber();
        const int oldLast = last - (m_document->blockCount() - lines);
        if (oldLast < first - 1 || oldLast >= lines) {
            Reload();
            return;
        }
        const int oldCount = oldLast - first + 1;
        const int newCount = last - first + 1;
        const int common = std::min(oldCount, newCount);
        if (newCount > oldCount)
            m_lines.insert(first + oldCount, newCount - oldCount, QString());
        else if (newCount < oldCount)
            m_lines.remove(first + common, oldCount - common);
        int line = first;
        for (QTextBlock block = firstBlock; block.isValid(); block = block.next()) {
            m_lines[line++] = Line(block);
            if (block == lastBlock)
                break;
        }
        m_shifted = m_shifted || newCount != oldCount;
        m_dirtyFrom = std::min(m_dirtyFrom, first);
        m_dirtyTo = std::max(m_dirtyTo, last);
    }

    const QTextDocument *m_document;
    QVector<QString> m_lines;
    int m_dirtyFrom = std::numeric_limits<int>::max();
    int m_dirtyTo = -1;
    bool m_shifted = true;
};

namespace {

// Lines [from, to) of `lines` appended to `out`.
void appendLines(QString &out, const QVector<QString> &lines, int from, int to)
{
    for (int i = from; i < to; ++i)
        out += lines.at(i);
}

int linesSize(const QVector<QString> &lines, int from, int to)
{
    int size = 0;
    for (int i = from; i < to; ++i)
        size += int(lines.at(i).size());
    return size;
}

// The escaped source of a query from the cached lines: the lines before the statement, the
// locator with one newline per line it stands for, and what follows unless it is cut off.
QString joinedQuery(const QVector<QString> &lines, int first, int after, int end, const QString &locator, int spanned)
{
    QString out;
    out.reserve(linesSize(lines, 0, first) + locator.size() + 2 * spanned + linesSize(lines, after, end));
    appendLines(out, lines, 0, first);
    out += locator;
    for (int i = 0; i < spanned; ++i)
        out += QLatin1String("\\n");
    appendLines(out, lines, after, end);
    return out;
}

} // namespace

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
    const LineCache &cache = Cache(document);
    const int after = plan.cursorBlock.blockNumber() + 1;
    query.source = joinedQuery(cache.Lines(), plan.first.blockNumber(), after,
                               plan.cut ? after : document->blockCount(), Escaped(plan.locatorLine), plan.spanned);
    return query;
}

PythonAutoCompleter::LineCache &PythonAutoCompleter::Cache(const QTextDocument *document)
{
    if (!m_lineCache || m_lineCache->Document() != document)
        m_lineCache = std::make_unique<LineCache>(document);
    if (!m_lineCache->Valid())
        m_lineCache->Reload();
    return *m_lineCache;
}

PythonAutoCompleter::Asked PythonAutoCompleter::Describe(const QTextCursor &cursor) const
{
    Asked asked;
    QueryPlan plan;
    if (!planQuery(cursor.document(), cursor.position(), plan))
        return asked;
    asked.document = cursor.document();
    asked.first = plan.first.blockNumber();
    asked.last = plan.cursorBlock.blockNumber();
    asked.cut = plan.cut;
    asked.extras = plan.extras;
    asked.locatorLine = plan.locatorLine;
    asked.expression = expression;
    asked.memberMode = memberMode;
    asked.wordStart = wordStart;
    return asked;
}

void PythonAutoCompleter::Ask(Host &host, const QTextCursor &cursor)
{
    if (m_awaited || m_retryTimer.isActive()) {
        m_askAgain = true; // the answer on its way decides: shown if it still fits, else asked again
        return;
    }
    const Asked asked = Describe(cursor);
    if (!asked.document) {
        hide();
        return;
    }
    // A list shown for another expression must not be filtered by the new word meanwhile.
    hide();
    LineCache &cache = Cache(asked.document);
    cache.Mark();
    m_asked = asked;
    m_awaited = true;
    m_askAgain = false;
    const QVector<QString> lines = cache.Lines();
    const int after = asked.last + 1;
    const int end = asked.cut ? after : asked.document->blockCount();
    const int spanned = asked.last - asked.first + 1;
    const QString locator = Escaped(asked.locatorLine);
    const QStringList &forced = ForcedImports::Accepted();
    const QString imports = forced.isEmpty() ? QString() : Escaped(forced.join(QLatin1Char('\n')) + QLatin1Char('\n'));
    const Settings &settings = Settings::instance();
    const bool keywords = asked.extras && settings.pythonIncludeKeywords;
    const bool builtins = asked.extras && settings.pythonIncludeBuiltins;
    const QString objectExpression = expression;
    const QPointer<PythonAutoCompleter> self(this);
    const unsigned ticket = ++m_ticket;
    const auto deliver = [self, ticket](const QStringList &names, bool answered) {
        if (QCoreApplication *application = QCoreApplication::instance())
            QMetaObject::invokeMethod(application, [self, ticket, names, answered] {
                if (self)
                    self->Answered(ticket, names, answered);
            }, Qt::QueuedConnection);
    };
    Host *target = &host;
    PythonAnalysisThread::Submit(
        [=] {
            const QString source = imports + joinedQuery(lines, asked.first, after, end, locator, spanned);
            deliver(HostBridge::parsePythonOffThread(
                        *target, HostBridge::parsePythonCommand(source, objectExpression, keywords, builtins)),
                    true);
        },
        [=] { deliver(QStringList(), false); });
}

void PythonAutoCompleter::Answered(unsigned ticket, const QStringList &names, bool answered)
{
    if (ticket != m_ticket)
        return;
    m_awaited = false;
    const bool again = m_askAgain;
    m_askAgain = false;
    auto *editor = qobject_cast<QPlainTextEdit *>(parentWidget());
    if (!answered || !editor || !editor->isVisible())
        return;
    // Shown only for the place it was asked for: the same word of the same statement, with no
    // edit elsewhere since. Letters typed into the word meanwhile only filter it further.
    const QTextCursor cursor = editor->textCursor();
    const bool proceed = PreparePrefix(cursor);
    const Asked now = Describe(cursor);
    const bool fits = m_asked.document && (proceed || memberMode) && cursor.position() - prefix.size() == m_asked.wordStart
                      && now.document == m_asked.document && now.first == m_asked.first && now.last == m_asked.last
                      && now.cut == m_asked.cut && now.extras == m_asked.extras && now.locatorLine == m_asked.locatorLine
                      && now.expression == m_asked.expression && now.memberMode == m_asked.memberMode
                      && m_lineCache && !m_lineCache->ChangedOutside(m_asked.first, m_asked.last);
    if (!fits) {
        m_askAgain = again;
        if (again)
            m_retryTimer.start(std::max(0, retryPauseMs - int(m_sinceRequest.elapsed())));
        return;
    }
    wordStart = m_asked.wordStart;
    SetCandidates(names);
    if (Filter() == 0) {
        hide();
        return;
    }
    ShowOrApply(editor->cursorRect(), m_pendingApplyIfSingle);
}

QString PythonAutoCompleter::Escaped(const QString &text)
{
    // Most lines hold nothing to escape: they are shared, not copied character by character.
    const auto special = [](QChar c) { return c == QLatin1Char('\\') || c == QLatin1Char('\n') || c == QLatin1Char('"'); };
    if (std::none_of(text.cbegin(), text.cend(), special))
        return text;
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
