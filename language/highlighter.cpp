#include "language/highlighter.h"

#include "config/color_scheme.h"
#include "language/code_editor_block_data.h"
#include "plugin/qt_compat.h"

#include <QtCore/QHash>
#include <QtCore/QVarLengthArray>
#include <QtGui/QTextBlock>
#include <QtGui/QTextDocument>
#include <QtGui/QTextLayout>

#include <algorithm>
#include <utility>

namespace ke2 {

namespace {
bool g_highlightingEnabled = true;

// Lines are freed of lone surrogates before any match, so the expressions need not re-check the
// whole line on every call (which made a line with many regions quadratic).
constexpr QRegularExpression::MatchOptions kValidSubject = QRegularExpression::DontCheckSubjectStringMatchOption;

struct FormatCache {
    int generation = 0;
    QHash<QString, QTextCharFormat> formats;
};

FormatCache &formatCache()
{
    static FormatCache cache;
    return cache;
}

bool isAsciiIdentifierChar(QChar c)
{
    const ushort u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_';
}

bool isIndentChar(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

// Regular expressions refuse subjects that are not valid UTF-16; a lone surrogate becomes U+FFFD
// (same length, so every offset stays valid).
bool hasLoneSurrogate(const QString &text)
{
    const int length = text.size();
    for (int i = 0; i < length; ++i) {
        const QChar c = text.at(i);
        if (!c.isSurrogate())
            continue;
        if (c.isHighSurrogate() && i + 1 < length && text.at(i + 1).isLowSurrogate()) {
            ++i;
            continue;
        }
        return true;
    }
    return false;
}

QString withoutLoneSurrogates(const QString &text)
{
    QString result = text;
    const int length = result.size();
    for (int i = 0; i < length; ++i) {
        const QChar c = result.at(i);
        if (!c.isSurrogate())
            continue;
        if (c.isHighSurrogate() && i + 1 < length && result.at(i + 1).isLowSurrogate()) {
            ++i;
            continue;
        }
        result[i] = QChar::ReplacementCharacter;
    }
    return result;
}

bool oddBackslashesBefore(const QString &text, int position)
{
    int count = 0;
    while (position - count - 1 >= 0 && text.at(position - count - 1) == QLatin1Char('\\'))
        ++count;
    return count % 2 == 1;
}
} // namespace

Highlighter::Highlighter(QTextDocument *document)
    : QSyntaxHighlighter(document)
{
    m_sliceTimer.setSingleShot(true);
    m_sliceTimer.setInterval(0);
    connect(&m_sliceTimer, &QTimer::timeout, this, [this] { continuePending(false); });
    m_sweepTimer.setSingleShot(true);
    m_sweepTimer.setInterval(0);
    connect(&m_sweepTimer, &QTimer::timeout, this, &Highlighter::sweepStates);
    // The base leaves an empty document alone at first; its one line is highlighted like the
    // line a deletion of everything leaves, so that both carry the same line data.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (this->document() && this->document()->isEmpty() && !this->document()->firstBlock().userData())
                rehighlightBlock(this->document()->firstBlock());
        },
        Qt::QueuedConnection);
    // Connected after the base's own reformatting slot: the pass of an edit ends here. The base
    // walks on from an edit only while the lines it highlights change their state; the line after
    // an edit that splits or joins lines may have a new previous line whose state differs from
    // the one it was highlighted from, with nothing changed in the lines the base did.
    if (document)
        connect(document, &QTextDocument::contentsChange, this, [this](int from, int, int added) {
            if (m_onDemand) {
                onDemandChange(from, added);
                return;
            }
            closePass();
            if (this->document())
                walkOnFrom(this->document()->findBlock(from + added).next());
            closePass();
        });
}

Highlighter::~Highlighter()
{
    // Detached while this object is whole: detaching announces a change to the document, and the
    // handlers connected above must not run on a half-destroyed highlighter.
    setDocument(nullptr);
}

void Highlighter::openPass()
{
    if (m_passOpen)
        return;
    m_passOpen = true;
    m_passLines = 0;
    m_passMinLines = MinLinesPerSlice;
    m_passTimer.start();
    // A pass the document did not start (rehighlight()) ends with this turn of the event loop.
    QMetaObject::invokeMethod(this, [this] { closePass(); }, Qt::QueuedConnection);
}

void Highlighter::deferCurrentBlock()
{
    const QTextBlock block = currentBlock();
    if (m_onDemand) {
        // Its old colours stay until it is shown again (without data it is coloured then), and
        // the state pass takes the lines on from here.
        if (const QTextLayout *layout = block.layout()) {
            for (const QTextLayout::FormatRange &range : layout->formats())
                setFormat(range.start, range.length, range.format);
        }
        setCurrentBlockState(block.userState());
        setCurrentBlockUserData(nullptr);
        sweepFrom(block.position());
        return;
    }
    // Unchanged colours: the base then sees no format change and nothing is laid out again.
    if (const QTextLayout *layout = block.layout()) {
        for (const QTextLayout::FormatRange &range : layout->formats())
            setFormat(range.start, range.length, range.format);
    }
    // The old state stops the base from walking on; the slices take it from here.
    setCurrentBlockState(block.userState());
    if (!currentBlockUserData())
        setCurrentBlockUserData(new CodeEditorBlockData);
    if (m_pendingStart.isNull() || block.position() < m_pendingStart.position()) {
        m_pendingStart = QTextCursor(block);
        m_pendingStart.setKeepPositionOnInsert(true);
    }
    if (m_pendingEnd.isNull() || block.position() > m_pendingEnd.position())
        m_pendingEnd = QTextCursor(block);
    if (!m_sliceTimer.isActive())
        m_sliceTimer.start();
}

void Highlighter::FinishPending()
{
    if (m_onDemand) {
        m_sweepTimer.stop();
        m_sweepFrom = QTextCursor();
        m_pendingStart = QTextCursor();
        m_pendingEnd = QTextCursor();
        m_unbounded = true;
        m_colouring = true;
        rehighlight();
        m_colouring = false;
        m_unbounded = false;
        closePass();
        if (document()) {
            m_sweptEnd = QTextCursor(document());
            m_sweptEnd.movePosition(QTextCursor::End);
            m_sweptEnd.setKeepPositionOnInsert(true);
        }
        emit PendingFinished();
        return;
    }
    m_sliceTimer.stop();
    if (!HighlightPending())
        return;
    // One pass of the base over the whole document: far cheaper than the waiting lines one by one.
    m_pendingStart = QTextCursor();
    m_pendingEnd = QTextCursor();
    m_unbounded = true;
    rehighlight();
    m_unbounded = false;
    closePass();
    emit PendingFinished();
}

void Highlighter::HighlightOnDemand()
{
    if (m_onDemand || !document())
        return;
    m_onDemand = true;
    // The base colours every line a change touches, and each line it colours keeps a layout with
    // its colours: for a file of millions of lines that is most of the memory and time of a load.
    disconnect(document(), SIGNAL(contentsChange(int,int,int)), this, SLOT(_q_reformatBlocks(int,int,int)));
    m_sliceTimer.stop();
    m_pendingStart = QTextCursor();
    m_pendingEnd = QTextCursor();
    m_sweptEnd = QTextCursor(document());
    m_sweptEnd.setKeepPositionOnInsert(true);
    m_sweepTimer.start();
}

void Highlighter::ColourShown(const QTextBlock &block)
{
    if (!m_onDemand || !block.isValid() || CodeEditorBlockData::of(block))
        return;
    // A pass of its own: a line about to be painted is never left for later (only the lines its
    // new state walks on to are).
    closePass();
    colour(block);
    closePass();
}

void Highlighter::colour(const QTextBlock &block)
{
    const bool was = m_colouring;
    m_colouring = true;
    m_lastBlockNumber = -1;
    rehighlightBlock(block);
    m_colouring = was;
}

void Highlighter::onDemandChange(int from, int added)
{
    // Colouring announces itself as a change of the lines it coloured.
    if (m_colouring || !document())
        return;
    closePass();
    QTextBlock block = document()->findBlock(from);
    const QTextBlock last = document()->findBlock(from + added);
    if (!block.isValid())
        return;
    if (!m_changesUncoloured && last.isValid() && last.blockNumber() - block.blockNumber() < MinLinesPerSlice) {
        // An edit: its lines are coloured at once, as the base would.
        while (block.isValid() && block.blockNumber() <= last.blockNumber()) {
            colour(block);
            const int reached = std::max(m_lastBlockNumber, block.blockNumber());
            block = document()->findBlockByNumber(reached).next();
        }
    } else {
        // Many lines (a slice of a load, a large paste): none is coloured until shown. The lines
        // at both ends kept their data from before and must be coloured again.
        block.setUserData(nullptr);
        if (last.isValid())
            QTextBlock(last).setUserData(nullptr);
    }
    closePass();
    const int changeEnd = from + added;
    if (m_changedEnd.isNull() || changeEnd > m_changedEnd.position()) {
        m_changedEnd = QTextCursor(document());
        m_changedEnd.setPosition(std::min(changeEnd, document()->characterCount() - 1));
    }
    sweepFrom(from);
}

void Highlighter::sweepFrom(int position)
{
    if (!document())
        return;
    if (m_sweptEnd.isNull() || position < m_sweptEnd.position()) {
        if (m_sweepFrom.isNull() || position < m_sweepFrom.position()) {
            m_sweepFrom = QTextCursor(document());
            m_sweepFrom.setPosition(position);
            m_sweepFrom.setKeepPositionOnInsert(true);
        }
    }
    if (!m_sweepTimer.isActive() && !m_statePassHeld)
        m_sweepTimer.start();
}

void Highlighter::HoldStatePass(bool held)
{
    m_statePassHeld = held;
    if (held)
        m_sweepTimer.stop();
    else if (m_onDemand && document())
        m_sweepTimer.start();
}

void Highlighter::sweepStates()
{
    if (!document() || !m_onDemand || m_statePassHeld)
        return;
    closePass();
    QElapsedTimer timer;
    timer.start();
    const bool redo = !m_sweepFrom.isNull();
    QTextBlock block = document()->findBlock(redo ? m_sweepFrom.position() : m_sweptEnd.position());
    const int knownEnd = m_sweptEnd.position();
    const int changedEnd = m_changedEnd.isNull() ? -1 : m_changedEnd.position();
    m_sweepFrom = QTextCursor();
    int state = block.previous().isValid() ? block.previous().userState() : -1;
    int count = 0;
    while (block.isValid()) {
        if (++count % 64 == 0 && timer.elapsed() >= SliceBudgetMs / 2)
            break;
        const CodeEditorBlockData *data = CodeEditorBlockData::of(block);
        if (data && data->startState() == state) {
            state = block.userState();
        } else if (data) {
            // Coloured from a state that was not known yet (shown before the pass got there).
            colour(block);
            state = block.userState();
            if (m_lastBlockNumber > block.blockNumber()) {
                block = document()->findBlockByNumber(m_lastBlockNumber);
                state = block.userState();
            }
        } else {
            const int end = endState(block.text(), state);
            const int before = block.userState();
            block.setUserState(end);
            state = end;
            // Past every edit, a line that ends as it did before leaves the known lines after
            // it as they were.
            if (redo && end == before && block.position() > changedEnd && block.position() < knownEnd) {
                block = document()->findBlock(knownEnd);
                state = block.previous().isValid() ? block.previous().userState() : -1;
                m_changedEnd = QTextCursor();
                continue;
            }
        }
        block = block.next();
    }
    if (!m_sweepFrom.isNull()) {
        // A line coloured on the way ran out of budget: go on from the earliest such line.
        m_sweepTimer.start();
        return;
    }
    if (block.isValid()) {
        if (block.position() < knownEnd) {
            m_sweepFrom = QTextCursor(document());
            m_sweepFrom.setPosition(block.position());
            m_sweepFrom.setKeepPositionOnInsert(true);
        } else {
            m_sweptEnd.setPosition(block.position());
            m_changedEnd = QTextCursor();
        }
        m_sweepTimer.start();
        return;
    }
    m_sweptEnd.movePosition(QTextCursor::End);
    m_changedEnd = QTextCursor();
    emit PendingFinished();
}

void Highlighter::continuePending(bool unbounded)
{
    if (m_pendingStart.isNull() || !document())
        return;
    QTextBlock block = document()->findBlock(m_pendingStart.position());
    const int end = std::max(m_pendingEnd.position(), m_pendingStart.position());
    m_pendingStart = QTextCursor();
    m_pendingEnd = QTextCursor();
    m_passOpen = false;
    openPass();
    m_passMinLines = MinLinesPerLaterSlice;
    m_unbounded = unbounded;
    // Each waiting line is highlighted as the base does after an edit (walking on while states
    // change); a line it reached that way is not done twice.
    while (block.isValid() && block.position() <= end) {
        m_lastBlockNumber = -1;
        rehighlightBlock(block);
        if (HighlightPending()) {
            // The budget ran out in there: the rest of this range waits as well.
            if (end > m_pendingEnd.position())
                m_pendingEnd = QTextCursor(document()->findBlock(end));
            break;
        }
        const QTextBlock last = m_lastBlockNumber >= 0 ? document()->findBlockByNumber(m_lastBlockNumber) : block;
        block = (last.isValid() && last.blockNumber() >= block.blockNumber() ? last : block).next();
        // Past the waiting range, a line still highlighted from an old state is done too.
        if (block.isValid() && block.position() > end)
            walkOnFrom(block);
    }
    m_unbounded = false;
    closePass();
    if (!HighlightPending())
        emit PendingFinished();
}

void Highlighter::walkOnFrom(QTextBlock block)
{
    while (block.isValid()) {
        const CodeEditorBlockData *data = CodeEditorBlockData::of(block);
        const QTextBlock previous = block.previous();
        if (!data || data->startState() == (previous.isValid() ? previous.userState() : -1))
            return;
        m_lastBlockNumber = -1;
        rehighlightBlock(block);
        if (m_lastBlockNumber < block.blockNumber())
            return; // it waits for a slice, which walks on from there
        block = document()->findBlockByNumber(m_lastBlockNumber).next();
    }
}

void Highlighter::setHighlightingEnabled(bool enabled)
{
    g_highlightingEnabled = enabled;
}

bool Highlighter::highlightingEnabled()
{
    return g_highlightingEnabled;
}

QRegularExpression Highlighter::pattern(const char *text)
{
    QRegularExpression result(QString::fromLatin1(text));
    result.optimize();
    return result;
}

QSet<QString> Highlighter::wordSet(const QStringList &list)
{
    QSet<QString> set;
    set.reserve(list.size());
    for (const QString &name : list)
        if (!name.isEmpty())
            set.insert(name);
    return set;
}

QTextCharFormat Highlighter::roleFormat(const QString &role)
{
    FormatCache &cache = formatCache();
    auto it = cache.formats.constFind(role);
    if (it == cache.formats.constEnd())
        it = cache.formats.insert(role, ColorScheme::instance().codeEditorRoles.format(role));
    return *it;
}

void Highlighter::reloadFormats()
{
    FormatCache &cache = formatCache();
    cache.formats.clear();
    ++cache.generation;
}

void Highlighter::highlightBlock(const QString &rawText)
{
    openPass();
    if (!m_unbounded && m_passLines >= m_passMinLines && m_passTimer.elapsed() >= SliceBudgetMs) {
        deferCurrentBlock();
        return;
    }
    ++m_passLines;
    m_lastBlockNumber = currentBlock().blockNumber();
    setCurrentBlockState(-1);
    auto *data = static_cast<CodeEditorBlockData *>(currentBlockUserData());
    if (data) {
        data->clear();
    } else {
        data = new CodeEditorBlockData;
        setCurrentBlockUserData(data);
    }
    data->setStartState(previousBlockState());
    if (!g_highlightingEnabled)
        return;

    ensureRules();

    const QString text = hasLoneSurrogate(rawText) ? withoutLoneSurrogates(rawText) : rawText;
    // Builtins after keywords: a name on both lists takes the builtin colour.
    ApplyCallRules(text);
    HighlightWords(text);
    HighlightQualifiedWords(text);
    ApplyRules(text);
    highlightRegions(text, data);

    int indent = 0;
    while (indent < text.size() && isIndentChar(text.at(indent)))
        ++indent;
    data->setLeadingWhitespace(text.left(indent));
    data->setBlank(text.trimmed().isEmpty());

    highlightWhitespace(text);
}

void Highlighter::ensureRules()
{
    if (m_formatGeneration != formatCache().generation) {
        m_formatGeneration = formatCache().generation;
        buildRules();
        prepareRegionSearches();
    }
}

void Highlighter::ApplyCallRules(const QString &text)
{
    applyRuleVector(callRules, text);
}

void Highlighter::HighlightWords(const QString &)
{
}

void Highlighter::HighlightQualifiedWords(const QString &)
{
}

void Highlighter::ApplyRules(const QString &text)
{
    applyRuleVector(rules, text);
}

void Highlighter::UpdateIndentHint(CodeEditorBlockData *, const QString &)
{
}

void Highlighter::applyRuleVector(const QVector<HighlightRule> &ruleVector, const QString &text)
{
    for (const HighlightRule &rule : ruleVector) {
        if (rule.mayMatch && !rule.mayMatch(text))
            continue;
        if (rule.canStartAt) {
            const QChar *chars = text.constData();
            const int length = text.size();
            int lastEnd = 0;
            for (int position = 0; position < length; ++position) {
                if (position < lastEnd || !rule.canStartAt(chars[position]))
                    continue;
                const QRegularExpressionMatch match =
                    rule.expression.match(text, position, QRegularExpression::NormalMatch, kValidSubject | qtcompat::kAnchorAtOffset);
                if (match.hasMatch() && match.capturedLength() > 0) {
                    setFormat(match.capturedStart(), match.capturedLength(), rule.format);
                    lastEnd = match.capturedEnd();
                }
            }
            continue;
        }
        QRegularExpressionMatchIterator it = rule.expression.globalMatch(text, 0, QRegularExpression::NormalMatch, kValidSubject);
        while (it.hasNext()) {
            const QRegularExpressionMatch match = it.next();
            if (match.capturedLength() > 0)
                setFormat(match.capturedStart(), match.capturedLength(), rule.format);
        }
    }
}

void Highlighter::highlightRegions(const QString &text, CodeEditorBlockData *data)
{
    QString code;
    const int state = walkRegions(
        text, previousBlockState(),
        [&](int regionStart, int regionEnd, const RegionRule &rule, bool closed) {
            const int length = text.size();
            setFormat(regionStart, regionEnd - regionStart, rule.format);
            const bool comment = rule.isLineComment || rule.endsWithLine();
            // A region that is still open at the line end, or a comment to the end, also covers
            // the cursor position after the last character.
            const bool coversLineEnd = regionEnd >= length && (!closed || comment);
            const int lastColumn = coversLineEnd ? length : regionEnd - 1;
            data->addStringRange(regionStart, lastColumn);
            if (comment)
                data->addLineCommentRange(regionStart, lastColumn);
            if (rule.isBlockComment)
                data->addBlockCommentRange(regionStart, lastColumn);
        },
        [&](int start, int end, bool computeHint) { recordCode(text, start, end, data, computeHint, code); });
    setCurrentBlockState(state);
    data->setCodeText(code);
}

int Highlighter::endState(const QString &rawText, int startState)
{
    if (!g_highlightingEnabled)
        return -1;
    ensureRules();
    const QString text = hasLoneSurrogate(rawText) ? withoutLoneSurrogates(rawText) : rawText;
    return walkRegions(text, startState, [](int, int, const RegionRule &, bool) {}, [](int, int, bool) {});
}

template <typename Region, typename Code>
int Highlighter::walkRegions(const QString &text, int startState, Region region, Code code)
{
    const int length = text.size();
    const int ruleCount = regionRules.size();

    // The earliest opening of each rule found so far: an opening found from an earlier offset is
    // still the earliest from any later offset up to it, so each rule scans the line about once
    // however many regions the line holds.
    struct Opening {
        int start = -2; // -2 not searched yet, -1 none further on
    };
    QVarLengthArray<Opening, 8> openings(ruleCount);
    auto findOpening = [&](int from, int *ruleIndex) -> int {
        int best = -1;
        for (int i = 0; i < ruleCount; ++i) {
            Opening &opening = openings[i];
            if (opening.start == -2 || (opening.start >= 0 && opening.start < from)) {
                int end = 0;
                opening.start = m_regionStarts.at(i).find(text, from, &end);
            }
            if (opening.start >= 0 && (best < 0 || opening.start < best)) {
                best = opening.start;
                *ruleIndex = i;
            }
        }
        return best;
    };

    int ruleIndex = startState;
    if (ruleIndex >= ruleCount)
        ruleIndex = -1;
    int regionStart = 0;
    int searchFrom = 0;
    if (ruleIndex < 0) {
        regionStart = findOpening(0, &ruleIndex);
        if (regionStart < 0) {
            code(0, length, true);
            return -1;
        }
        code(0, regionStart, regionRules.at(ruleIndex).isLineComment);
        searchFrom = qMin(length, regionStart + regionRules.at(ruleIndex).startLength);
    }

    int state = -1;
    for (;;) {
        const RegionRule &rule = regionRules.at(ruleIndex);
        int regionEnd = -1;
        int from = searchFrom;
        const DelimiterSearch &endSearch = m_regionEnds.at(ruleIndex);
        while (from <= length) {
            int matchEnd = 0;
            const int matchStart = endSearch.find(text, from, &matchEnd);
            if (matchStart < 0)
                break;
            if (rule.endEscapable && oddBackslashesBefore(text, matchStart)) {
                from = matchStart + 1;
                continue;
            }
            regionEnd = matchEnd;
            break;
        }

        const bool closed = regionEnd >= 0;
        if (closed) {
            state = -1;
        } else {
            regionEnd = length;
            const bool endsWithBackslash = length > 0 && text.at(length - 1) == QLatin1Char('\\');
            state = rule.continuesOnlyWithBackslash && !endsWithBackslash ? -1 : ruleIndex;
        }
        regionEnd = qMax(regionEnd, regionStart + 1 > length ? length : regionStart + 1);
        region(regionStart, regionEnd, rule, closed);
        const bool comment = rule.isLineComment || rule.endsWithLine();

        if (regionEnd >= length) {
            // A region closed right at the line end leaves an empty rest of code; it still
            // decides the hint (MEL derives it from the line's braces).
            if (closed && !comment)
                code(length, length, true);
            break;
        }
        regionStart = findOpening(regionEnd, &ruleIndex);
        if (regionStart < 0) {
            code(regionEnd, length, true);
            break;
        }
        code(regionEnd, regionStart, regionRules.at(ruleIndex).isLineComment);
        searchFrom = qMin(length, regionStart + regionRules.at(ruleIndex).startLength);
    }
    return state;
}

void Highlighter::prepareRegionSearches()
{
    m_regionStarts.clear();
    m_regionEnds.clear();
    for (const RegionRule &rule : std::as_const(regionRules)) {
        m_regionStarts.append(delimiterSearch(rule.start));
        m_regionEnds.append(delimiterSearch(rule.end));
    }
}

Highlighter::DelimiterSearch Highlighter::delimiterSearch(const QRegularExpression &expression)
{
    DelimiterSearch search;
    search.expression = expression;
    if (expression.patternOptions() != QRegularExpression::NoPatternOption)
        return search;
    const QString pattern = expression.pattern();
    // Block texts hold no line breaks, so "$" can only match at the very end.
    if (pattern == QLatin1String("$")) {
        search.kind = DelimiterSearch::LineEnd;
        return search;
    }
    static const QString meta = QStringLiteral("\\^$.|?*+()[]{}");
    QString literal;
    for (int i = 0; i < pattern.size(); ++i) {
        const QChar c = pattern.at(i);
        if (c == QLatin1Char('\\')) {
            if (i + 1 >= pattern.size() || pattern.at(i + 1).isLetterOrNumber())
                return search;
            literal.append(pattern.at(++i));
        } else if (meta.contains(c)) {
            return search;
        } else {
            literal.append(c);
        }
    }
    if (!literal.isEmpty()) {
        search.kind = DelimiterSearch::Literal;
        search.literal = literal;
    }
    return search;
}

int Highlighter::DelimiterSearch::find(const QString &text, int from, int *end) const
{
    switch (kind) {
    case LineEnd:
        *end = text.size();
        return from <= text.size() ? text.size() : -1;
    case Literal: {
        const int start = text.indexOf(literal, from);
        *end = start + literal.size();
        return start;
    }
    case Expression:
        break;
    }
    const QRegularExpressionMatch match = expression.match(text, from, QRegularExpression::NormalMatch, kValidSubject);
    if (!match.hasMatch())
        return -1;
    *end = match.capturedEnd();
    return match.capturedStart();
}

void Highlighter::recordCode(const QString &text, int start, int end, CodeEditorBlockData *data, bool computeHint, QString &code)
{
    const QChar *chars = text.constData();
    for (int i = start; i < end; ++i) {
        switch (chars[i].unicode()) {
        case '(':
        case ')':
        case '{':
        case '}':
        case '[':
        case ']':
            data->addBracket(chars[i], i);
            break;
        default:
            break;
        }
    }
    const QString segment = text.mid(start, end - start);
    code += segment;
    if (computeHint)
        UpdateIndentHint(data, segment);
}

void Highlighter::highlightWhitespace(const QString &text)
{
    const QTextCharFormat format = roleFormat(QLatin1String(ColorRoleName::whitespaces));
    const int length = text.size();
    int i = 0;
    while (i < length) {
        if (!isIndentChar(text.at(i))) {
            ++i;
            continue;
        }
        const int start = i;
        while (i < length && isIndentChar(text.at(i)))
            ++i;
        setFormat(start, i - start, format);
    }
}

void Highlighter::forEachRun(const QString &text, bool (*isPart)(QChar), const std::function<void(int, int)> &visit)
{
    const QChar *chars = text.constData();
    const int length = text.size();
    int i = 0;
    while (i < length) {
        if (!isPart(chars[i])) {
            ++i;
            continue;
        }
        const int start = i;
        while (i < length && isPart(chars[i]))
            ++i;
        visit(start, i - start);
    }
}

bool Highlighter::isMelWordChar(QChar c)
{
    return isAsciiIdentifierChar(c) || c == QLatin1Char('-') || c == QLatin1Char('$');
}

bool Highlighter::isQualifiedWordChar(QChar c)
{
    return isAsciiIdentifierChar(c) || c == QLatin1Char('.');
}

bool Highlighter::isNumberChar(QChar c)
{
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || c == QLatin1Char('.');
}

bool Highlighter::isBoundaryWordChar(QChar c)
{
    if (c.unicode() < 128)
        return isAsciiIdentifierChar(c);
    return c.isLetterOrNumber() || c.isMark();
}

void Highlighter::forEachOccurrence(const QString &text, const QHash<QString, int> &words,
                                    const std::function<void(int, int, int)> &visit)
{
    if (words.isEmpty())
        return;
    // A word of boundary characters only matches exactly the runs of such characters that equal
    // it, so one pass over the runs finds every occurrence of all of them.
    bool anyOther = false;
    for (auto it = words.constBegin(); it != words.constEnd(); ++it) {
        const QString &word = it.key();
        if (!std::all_of(word.begin(), word.end(), isBoundaryWordChar))
            anyOther = true;
    }
    forEachRun(text, isBoundaryWordChar, [&](int start, int length) {
        const auto it = words.constFind(QString::fromRawData(text.constData() + start, length));
        if (it != words.constEnd())
            visit(start, length, it.value());
    });
    if (!anyOther)
        return;
    // Words with other characters ("-", "$") keep the literal "\b" + word + "\b" meaning.
    const int textLength = text.size();
    auto boundary = [&](int position) {
        const bool before = position > 0 && isBoundaryWordChar(text.at(position - 1));
        const bool after = position < textLength && isBoundaryWordChar(text.at(position));
        return before != after;
    };
    for (auto it = words.constBegin(); it != words.constEnd(); ++it) {
        const QString &word = it.key();
        if (word.isEmpty() || std::all_of(word.begin(), word.end(), isBoundaryWordChar))
            continue;
        int from = 0;
        while ((from = text.indexOf(word, from)) >= 0) {
            if (boundary(from) && boundary(from + word.size())) {
                visit(from, word.size(), it.value());
                from += word.size();
            } else {
                ++from;
            }
        }
    }
}

} // namespace ke2
