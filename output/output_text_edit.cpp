#include "output/output_text_edit.h"

#include "config/color_scheme.h"
#include "config/settings.h"
#include "editor/word_selection.h"
#include "plugin/host.h"
#include "plugin/host_bridge.h"
#include "plugin/qt_compat.h"

#include <QtCore/QFile>
#include <QtCore/QMimeData>
#include <QtCore/QTextStream>
#include <QtGui/QPainter>
#include <QtGui/QTextBlock>
#include <QtGui/QTextLayout>
#include <QtGui/QClipboard>
#include <QtGui/QCursor>
#include <QtGui/QGuiApplication>
#include <QtGui/QKeyEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMenu>
#include <QtWidgets/QPlainTextDocumentLayout>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QToolButton>

#include <algorithm>
#include <limits>

namespace ke2 {

namespace {

// Forced repaints happen at most this often; between them the event loop paints.
constexpr qint64 repaintInterval = 250;
// Highlighting starts this many characters above the first visible one.
constexpr int selectionMarginBefore = 600;
// ... and ends at the position this many pixels below the viewport.
constexpr int selectionMarginBelow = 51;
// Characters inserted per idle pass: a few milliseconds of layout work.
constexpr int idleSliceCharacters = 250000;
constexpr int minimumFontSize = 6;
constexpr int maximumFontSize = 24;

QTextCharFormat outputRole(const char *name)
{
    return ColorScheme::instance().outputRoles.format(QString::fromLatin1(name));
}

// The advance of one column: the drawn pieces of a long line are placed by their column, so no
// piece before them has to be laid out to know where they go.
qreal columnWidth(const QTextDocument *document)
{
    return std::max<qreal>(1, QFontMetricsF(document->defaultFont()).horizontalAdvance(QLatin1Char('x')));
}

// A hidden piece's own layout, one row, made when it is first drawn.
QTextLayout *pieceLayout(const QTextBlock &piece)
{
    QTextLayout *layout = piece.layout();
    if (layout->lineCount() == 0) {
        layout->setTextOption(piece.document()->defaultTextOption());
        layout->beginLayout();
        QTextLine line = layout->createLine();
        if (line.isValid()) {
            line.setLeadingIncluded(true);
            line.setLineWidth(std::numeric_limits<int>::max() / 4);
            line.setPosition(QPointF(0, 0));
        }
        layout->endLayout();
    }
    return layout;
}

// The plain-text layout, except that hidden blocks are never laid out (a line of a million
// characters has a thousand of them) and that the document is as wide as its longest line in
// pieces, which the view draws on one row.
class OutputDocumentLayout : public QPlainTextDocumentLayout {
public:
    using QPlainTextDocumentLayout::QPlainTextDocumentLayout;

    QRectF blockBoundingRect(const QTextBlock &block) const override
    {
        return block.isVisible() ? QPlainTextDocumentLayout::blockBoundingRect(block) : QRectF();
    }

    QSizeF documentSize() const override
    {
        QSizeF size = QPlainTextDocumentLayout::documentSize();
        if (m_longestLine > 0) {
            const qreal wide = (m_longestLine + 1) * columnWidth(document()) + 2 * document()->documentMargin();
            // The scroll bar's range is an int.
            size.setWidth(std::max(size.width(), std::min(wide, qreal(std::numeric_limits<int>::max() / 2))));
        }
        return size;
    }

    void setLongestLine(int characters)
    {
        if (characters == m_longestLine)
            return;
        m_longestLine = characters;
        emit documentSizeChanged(documentSize());
    }

private:
    int m_longestLine = 0;
};

} // namespace

OutputTextEdit::OutputTextEdit(QWidget *parent) : QPlainTextEdit(parent)
{
    auto *text = new QTextDocument(this);
    text->setDocumentLayout(new OutputDocumentLayout(text));
    setDocument(text);
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setFrameStyle(QFrame::NoFrame);
    setContextMenuPolicy(Qt::CustomContextMenu);
    // Keeps the selection visible while the user reads.
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);

    m_idleFlush.setSingleShot(true);
    m_idleFlush.setInterval(0);
    m_selectionsTimer.setSingleShot(true);
    m_selectionsTimer.setInterval(0);
    connect(&m_idleFlush, &QTimer::timeout, this, &OutputTextEdit::OnIdle);
    connect(&m_selectionsTimer, &QTimer::timeout, this, &OutputTextEdit::UpdateExtraSelections);
    connect(this, &QWidget::customContextMenuRequested, this, &OutputTextEdit::ShowContextMenu);
    connect(verticalScrollBar(), &QScrollBar::actionTriggered, this, &OutputTextEdit::QueueUpdateExtraSelections);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &OutputTextEdit::UpdateExtraSelections);
    connect(verticalScrollBar(), &QScrollBar::rangeChanged, this, &OutputTextEdit::UpdateExtraSelections);
    // The pieces of a long line that scroll into view are coloured before they are drawn.
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, &OutputTextEdit::UpdateExtraSelections);
    connect(this, &QPlainTextEdit::selectionChanged, this, &OutputTextEdit::UpdateExtraSelections);
    // Links show under the mouse without a button held.
    viewport()->setMouseTracking(true);

    m_jumpToEnd = new QToolButton(this);
    m_jumpToEnd->setObjectName(QStringLiteral("jumpToEnd"));
    m_jumpToEnd->setText(QStringLiteral("New output \u2193"));
    m_jumpToEnd->setToolTip(QStringLiteral("Jump to End"));
    m_jumpToEnd->setCursor(Qt::ArrowCursor);
    m_jumpToEnd->hide();
    connect(m_jumpToEnd, &QToolButton::clicked, this, &OutputTextEdit::JumpToEnd);
    // Whether the view follows the end is the user's choice, made by scrolling: scrolling up
    // stops it, scrolling down to the end resumes it. A layout change (a horizontal scroll bar
    // that appears for a long line, a resize) moves the end and keeps a following view there.
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this](int value) {
        if (m_inserting)
            return;
        m_following = value >= verticalScrollBar()->maximum();
        if (m_following)
            m_jumpToEnd->hide();
    });
    connect(verticalScrollBar(), &QScrollBar::rangeChanged, this, [this](int, int maximum) {
        if (m_following && !m_inserting)
            verticalScrollBar()->setValue(maximum);
    });

    ApplySettings();
}

OutputTextEdit::~OutputTextEdit()
{
    StopWritingToFile();
}

// --- appending ---------------------------------------------------------------------------------

void OutputTextEdit::AppendText(const QString &text)
{
    // A discarded line arrives empty; it changes nothing.
    if (text.isEmpty())
        return;
    if (m_logStream) {
        // Flushed at once: the file stays complete if the host ends abruptly.
        *m_logStream << text;
        m_logStream->flush();
    }
    m_queue.append(text);
    if (!isVisible())
        return;
    if (!m_repaintClock.isValid() || m_repaintClock.elapsed() > repaintInterval) {
        FlushPendingOutput();
        viewport()->repaint();
        m_repaintClock.restart();
    } else if (!m_idleFlush.isActive()) {
        m_idleFlush.start();
    }
}

void OutputTextEdit::FlushPendingOutput()
{
    if (!isVisible() || m_queue.isEmpty())
        return;
    m_idleFlush.stop();
    InsertQueued(std::numeric_limits<int>::max());
    AfterInsertion();
}

void OutputTextEdit::OnIdle()
{
    if (!isVisible() || m_queue.isEmpty())
        return;
    // A slice at a time, so that a key press never waits for a whole backlog of huge lines.
    InsertQueued(idleSliceCharacters);
    if (!m_queue.isEmpty())
        m_idleFlush.start();
    AfterInsertion();
}

void OutputTextEdit::AfterInsertion()
{
    if (m_findBarVisible && !m_findExpression.pattern().isEmpty())
        emit FindMatchesChanged();
    UpdateExtraSelections();
}

void OutputTextEdit::InsertQueued(int maxCharacters)
{
    const OutputBuffer::Chunk chunk = m_queue.take(maxCharacters);
    QScrollBar *bar = verticalScrollBar();
    // The view follows new output only while it shows the end; otherwise the user is reading
    // (or selecting) and keeps the place and the selection.
    const bool following = m_following;
    // Plain positions: a cursor would move along with text inserted where it stands.
    const int userAnchor = textCursor().anchor(), userPosition = textCursor().position();
    const bool keepSelection = textCursor().hasSelection() && !chunk.replacesDocument;
    const int before = document()->characterCount();
    const QTextBlock top = firstVisibleBlock();
    QTextCursor topTracker(top);
    const int topOffset = bar->value() - (top.isValid() ? top.firstLineNumber() : 0);

    // The scroll bar's signals would refresh the highlighting once per change; it is refreshed
    // once afterwards instead.
    m_inserting = true;
    if (chunk.replacesDocument) {
        document()->clear();
        m_continuedBlocks = 0;
        m_longLines.clear();
        m_droppedBlocks = 0;
        m_openLineLength = 0;
        m_openLineBroken = false;
        m_longestBrokenLine = 0;
    }
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    const int insertedAt = cursor.position();
    cursor.insertText(chunk.text);
    MarkPieces(insertedAt, chunk.text);
    MeasureLongLines(chunk.text);
    const int grown = before + chunk.text.size();
    TrimToLimits();
    // Characters that left the top, for positions taken before the insertion.
    const int removed = chunk.replacesDocument ? before : grown - document()->characterCount();

    if (keepSelection) {
        const int anchor = userAnchor - removed, position = userPosition - removed;
        QTextCursor kept(document());
        if (std::max(anchor, position) > 0) {
            kept.setPosition(std::max(anchor, 0));
            kept.setPosition(std::max(position, 0), QTextCursor::KeepAnchor);
        }
        SetTextCursorInPlace(kept);
    } else if (following) {
        cursor.movePosition(QTextCursor::End);
        SetTextCursorInPlace(cursor);
    }
    if (following) {
        bar->setValue(bar->maximum());
    } else {
        const QTextBlock kept = topTracker.block();
        const bool stillThere = !chunk.replacesDocument && kept.isValid() && topTracker.position() > 0;
        bar->setValue(stillThere ? kept.firstLineNumber() + topOffset : 0);
        if (!chunk.text.isEmpty()) {
            PlaceJumpToEnd();
            m_jumpToEnd->show();
        }
    }
    m_inserting = false;
}

void OutputTextEdit::MarkPieces(int position, const QString &text)
{
    if (!text.contains(QChar(OutputBuffer::pieceBreak)))
        return;
    // One pass over the text: every break, of either kind, ends the next block.
    QTextBlock block = document()->findBlock(position);
    int number = block.blockNumber() + m_droppedBlocks;
    const QChar *data = text.constData();
    for (int i = 0; i < text.size() && block.isValid(); ++i) {
        const char16_t c = data[i].unicode();
        if (c == u'\n') {
            block = block.next();
            ++number;
        } else if (c == OutputBuffer::pieceBreak) {
            block.setUserState(1);
            ++m_continuedBlocks;
            if (!m_longLines.empty() && m_longLines.back().head + m_longLines.back().pieces == number)
                ++m_longLines.back().pieces;
            else
                m_longLines.push_back({number, 1});
            block = block.next();
            ++number;
            block.setVisible(m_piecesAsRows);
        }
    }
    // The layout counted the hidden pieces as rows when they went in.
    if (!m_piecesAsRows)
        document()->markContentsDirty(position, text.size());
}

void OutputTextEdit::MeasureLongLines(const QString &inserted)
{
    const QChar pieceBreak(OutputBuffer::pieceBreak);
    const int longest = m_longestBrokenLine;
    if (!m_openLineBroken && !inserted.contains(pieceBreak)) {
        const int lastEnd = int(inserted.lastIndexOf(QLatin1Char('\n')));
        m_openLineLength = lastEnd < 0 ? m_openLineLength + int(inserted.size()) : int(inserted.size()) - lastEnd - 1;
        return;
    }
    for (const QChar c : inserted) {
        if (c == QLatin1Char('\n')) {
            m_openLineLength = 0;
            m_openLineBroken = false;
        } else if (c == pieceBreak) {
            m_openLineBroken = true;
        } else {
            ++m_openLineLength;
        }
        if (m_openLineBroken)
            m_longestBrokenLine = std::max(m_longestBrokenLine, m_openLineLength);
    }
    if (m_longestBrokenLine != longest)
        static_cast<OutputDocumentLayout *>(document()->documentLayout())->setLongestLine(m_longestBrokenLine);
}

void OutputTextEdit::MeasureAllLongLines()
{
    int longest = 0;
    for (const LongLine &line : m_longLines) {
        const QTextBlock head = HeadOf(line), tail = TailOf(line);
        longest = std::max(longest, ColumnOf(head, tail) + tail.length() - 1);
    }
    m_longestBrokenLine = longest;
    static_cast<OutputDocumentLayout *>(document()->documentLayout())->setLongestLine(longest);
}

void OutputTextEdit::ShowPiecesAsRows(bool rows)
{
    if (rows == m_piecesAsRows)
        return;
    m_piecesAsRows = rows;
    if (m_continuedBlocks == 0)
        return;
    for (QTextBlock block = document()->firstBlock(); block.isValid(); block = block.next()) {
        if (ContinuesOnNextBlock(block))
            block.next().setVisible(rows);
    }
    document()->markContentsDirty(0, document()->characterCount());
}

bool OutputTextEdit::ContinuesOnNextBlock(const QTextBlock &block)
{
    return block.userState() == 1;
}

int OutputTextEdit::LineCount() const
{
    const QTextBlock last = document()->lastBlock();
    return document()->blockCount() - m_continuedBlocks - (last.length() <= 1 ? 1 : 0);
}

void OutputTextEdit::TrimToLimits()
{
    int excessLines = LineCount() - m_lineLimit;
    if (excessLines <= 0)
        return;
    // Whole printed lines from the top, with all their pieces.
    QTextBlock block = document()->firstBlock();
    int continued = 0, dropped = 0;
    while (block.isValid() && excessLines > 0) {
        if (const LongLine *line = ContinuesOnNextBlock(block) ? LongLineAt(block.blockNumber()) : nullptr) {
            // A long line leaves whole: its pieces are skipped in one step.
            continued += line->pieces;
            dropped += line->pieces;
            block = TailOf(*line);
        }
        --excessLines;
        ++dropped;
        block = block.next();
    }
    if (!block.isValid())
        return;
    QTextCursor cursor(document());
    cursor.setPosition(block.position(), QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    m_droppedBlocks += dropped;
    while (!m_longLines.empty() && m_longLines.front().head < m_droppedBlocks)
        m_longLines.pop_front();
    // Counted from the first block again now and then, so that a session's count never overflows.
    if (m_droppedBlocks > (1 << 30)) {
        for (LongLine &line : m_longLines)
            line.head -= m_droppedBlocks;
        m_droppedBlocks = 0;
    }
    if (continued > 0) {
        m_continuedBlocks -= continued;
        MeasureAllLongLines();
    }
}

void OutputTextEdit::JumpToEnd()
{
    m_following = true;
    m_jumpToEnd->hide();
    QTextCursor cursor = textCursor();
    if (!cursor.hasSelection()) {
        cursor.movePosition(QTextCursor::End);
        setTextCursor(cursor);
    }
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void OutputTextEdit::PlaceJumpToEnd()
{
    m_jumpToEnd->adjustSize();
    const QRect area = viewport()->geometry();
    m_jumpToEnd->move(area.right() - m_jumpToEnd->width() - 8, area.bottom() - m_jumpToEnd->height() - 8);
    m_jumpToEnd->raise();
}

void OutputTextEdit::resizeEvent(QResizeEvent *event)
{
    QPlainTextEdit::resizeEvent(event);
    PlaceJumpToEnd();
}

void OutputTextEdit::ClearAll()
{
    m_idleFlush.stop();
    m_queue.clear();
    document()->clear();
    m_continuedBlocks = 0;
    m_longLines.clear();
    m_droppedBlocks = 0;
    m_openLineLength = 0;
    m_openLineBroken = false;
    MeasureAllLongLines();
    m_following = true;
    m_jumpToEnd->hide();
    setExtraSelections({});
}

void OutputTextEdit::showEvent(QShowEvent *event)
{
    // What arrived while hidden goes in as one piece before the first paint.
    FlushPendingOutput();
    QPlainTextEdit::showEvent(event);
}

// --- settings ----------------------------------------------------------------------------------

void OutputTextEdit::ApplySettings()
{
    const Settings &settings = Settings::instance();
    const int lines = Settings::clampOutputBufferSize(settings.outputBufferSize);
    m_lineLimit = lines;
    m_queue.setLineLimit(lines);
    setLineWrapMode(settings.outputWordWrapEnabled ? QPlainTextEdit::WidgetWidth : QPlainTextEdit::NoWrap);
    ShowPiecesAsRows(settings.outputWordWrapEnabled);

    const QTextCharFormat plain = outputRole(ColorRoleName::plainText);
    const QTextCharFormat selected = outputRole(ColorRoleName::selectedText);
    QPalette colors = palette();
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        if (plain.hasProperty(QTextFormat::BackgroundBrush))
            colors.setColor(group, QPalette::Base, plain.background().color());
        if (plain.hasProperty(QTextFormat::ForegroundBrush))
            colors.setColor(group, QPalette::Text, plain.foreground().color());
        if (selected.hasProperty(QTextFormat::BackgroundBrush))
            colors.setColor(group, QPalette::Highlight, selected.background().color());
        if (selected.hasProperty(QTextFormat::ForegroundBrush))
            colors.setColor(group, QPalette::HighlightedText, selected.foreground().color());
    }
    setPalette(colors);

    ApplyHighlightRules();
    ApplyFont();
}

QRegularExpression OutputTextEdit::RulePattern(const QString &pattern, bool regExp)
{
    // The engine's own match limit, set in the pattern: past it a line's match fails as invalid
    // instead of searching on (Qt offers no other way to bound a match).
    return QRegularExpression(QStringLiteral("(*LIMIT_MATCH=%1)").arg(ruleStepBudget)
                              + (regExp ? pattern : QRegularExpression::escape(pattern)));
}

void OutputTextEdit::ApplyHighlightRules()
{
    m_rules.clear();
    m_reportedSlowRules.clear();
    for (const OutputHighlightRule &rule : ColorScheme::instance().outputHighlightRules) {
        if (!rule.enabled || rule.pattern.isEmpty())
            continue;
        Rule compiled;
        compiled.name = rule.name;
        compiled.expression = RulePattern(rule.pattern, rule.regExp);
        if (!compiled.expression.isValid())
            continue; // the rule dialog refuses these; a hand-edited colour file can still hold one
        compiled.format = rule.format;
        compiled.wholeLine = rule.highlightLine;
        if (compiled.wholeLine)
            compiled.format.setProperty(QTextFormat::FullWidthSelection, true);
        m_rules.append(compiled);
    }
    UpdateExtraSelections();
}

int OutputTextEdit::ClampedFontSize(int baseSize, int &zoom)
{
    const int size = baseSize + zoom;
    if (size < minimumFontSize)
        zoom = minimumFontSize - baseSize;
    else if (size > maximumFontSize)
        zoom = maximumFontSize - baseSize;
    return baseSize + zoom;
}

void OutputTextEdit::ApplyFont()
{
    Settings &settings = Settings::instance();
    QFont font = settings.outputFont;
    const int size = ClampedFontSize(font.pointSize(), settings.outputZoom);
    const double scale = HostBridge::dpiScale();
    if (scale > 0.0 && scale != 1.0)
        font.setPointSizeF(size * scale);
    else
        font.setPointSize(size);
    setFont(font);
}

// --- log file ----------------------------------------------------------------------------------

bool OutputTextEdit::StartWritingToFile(const QString &path)
{
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::Truncate))
        return false;
    StopWritingToFile();
    m_logFile = std::move(file);
    m_logStream = std::make_unique<QTextStream>(m_logFile.get());
    qtcompat::useUtf8(*m_logStream);
    return true;
}

void OutputTextEdit::StopWritingToFile()
{
    if (m_logStream)
        m_logStream->flush();
    m_logStream.reset();
    if (m_logFile)
        m_logFile->close();
    m_logFile.reset();
}

QString OutputTextEdit::LogFilePath() const
{
    return m_logFile ? m_logFile->fileName() : QString();
}

void OutputTextEdit::SetDiscardOutput(bool on)
{
    if (Host *host = HostBridge::host())
        host->output().setDiscard(on);
}

bool OutputTextEdit::DiscardOutput() const
{
    const Host *host = HostBridge::host();
    return host && host->output().discard();
}

// --- highlighting ------------------------------------------------------------------------------

void OutputTextEdit::SetFindExpression(const QRegularExpression &expression, bool findBarVisible)
{
    m_findExpression = expression;
    m_findBarVisible = findBarVisible;
    UpdateExtraSelections();
}

void OutputTextEdit::QueueUpdateExtraSelections(int)
{
    m_selectionsTimer.start();
}

void OutputTextEdit::UpdateExtraSelections()
{
    if (m_inserting || document()->isEmpty())
        return;
    const QRect area = viewport()->rect();
    const int start = std::max(0, PositionAt(area.topLeft()) - selectionMarginBefore);
    const int end = PositionAt(area.bottomRight() + QPoint(0, selectionMarginBelow));

    QList<QTextEdit::ExtraSelection> selections;
    if (Settings::instance().outputSyntaxHighlightingEnabled) {
        for (const Rule &rule : qAsConst(m_rules)) {
            if (!AddMatches(selections, rule.expression, rule.format, start, end, rule.wholeLine)
                && !m_reportedSlowRules.contains(rule.name)) {
                m_reportedSlowRules.insert(rule.name);
                HostBridge::showWarning(
                    QStringLiteral("Output highlighting rule \"%1\" is too slow and was skipped").arg(rule.name));
            }
        }
    }

    const QString selected = textCursor().selectedText();
    if (!selected.trimmed().isEmpty() && !selected.contains(QChar(QChar::ParagraphSeparator))
        && !selected.contains(QLatin1Char('\n'))) {
        QString pattern = QRegularExpression::escape(selected);
        if (Settings::instance().outputMatchedSelectionWordsOnly) {
            // "-" belongs to words, as in MEL flags and names.
            pattern = QStringLiteral("(?<![a-zA-Z0-9_-])%1(?![a-zA-Z0-9_-])").arg(pattern);
        }
        AddMatches(selections, QRegularExpression(pattern), outputRole(ColorRoleName::matchingSelection), start,
                   end);
    }

    if (m_findBarVisible && !m_findExpression.pattern().isEmpty() && m_findExpression.isValid()) {
        const int firstFind = selections.size();
        AddMatches(selections, m_findExpression, outputRole(ColorRoleName::findMatching), start, end);
        const QTextCursor current = textCursor();
        for (int i = firstFind; i < selections.size(); ++i) {
            QTextCursor &match = selections[i].cursor;
            if (match.selectionStart() == current.selectionStart() && match.selectionEnd() == current.selectionEnd())
                selections[i].format = outputRole(ColorRoleName::findSelected);
        }
    }
    if (m_hoveredLink >= 0) {
        const QTextBlock block = document()->findBlockByNumber(m_hoveredLink);
        if (block.isValid()) {
            QTextEdit::ExtraSelection link;
            link.format.setFontUnderline(true);
            link.cursor = QTextCursor(block);
            link.cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
            selections.append(link);
        }
    }
    setExtraSelections(selections);
}

bool OutputTextEdit::AddMatches(QList<QTextEdit::ExtraSelection> &selections, const QRegularExpression &expression,
                                const QTextCharFormat &format, int start, int end, bool wholeLine) const
{
    bool withinBudget = true;
    // One printed line at a time, its pieces joined: its first piece (where a line's prefix
    // is) and the pieces inside the range.
    struct Piece {
        int offset;   // in the joined text
        int position; // in the document
        int length;
    };
    QTextBlock block = document()->findBlock(start);
    if (const LongLine *line = LongLineAt(block.blockNumber()))
        block = HeadOf(*line);
    int firstColumn = 0, lastColumn = 0;
    VisibleColumns(firstColumn, lastColumn);
    QVector<Piece> pieces;
    QString text;
    while (block.isValid() && block.position() <= end) {
        pieces.clear();
        text.clear();
        const QTextBlock head = block;
        pieces.append({0, head.position(), head.length() - 1});
        text += head.text();
        block = head.next();
        if (const LongLine *line = ContinuesOnNextBlock(head) ? LongLineAt(head.blockNumber()) : nullptr) {
            // The pieces inside the range and, on one row, inside the visible columns: found by
            // search, so a line of any length costs what is in view.
            const QTextBlock tail = TailOf(*line);
            const QTextBlock from = start > head.next().position() ? document()->findBlock(start) : head.next();
            const QTextBlock to = end < tail.position() ? document()->findBlock(end) : tail;
            int number = std::max({from.blockNumber(), PieceAtColumn(*line, head, firstColumn).blockNumber()});
            const int last = std::min({to.blockNumber(), PieceAtColumn(*line, head, lastColumn).blockNumber()});
            // Where pieces are left out a line end stands in for them, so that no match spans
            // the gap; the last piece always comes along, so that "$" means the line's end.
            int previous = head.blockNumber();
            auto append = [&](const QTextBlock &piece, int pieceNumber) {
                if (pieceNumber != previous + 1)
                    text += QLatin1Char('\n');
                previous = pieceNumber;
                pieces.append({int(text.size()), piece.position(), piece.length() - 1});
                text += piece.text();
            };
            for (QTextBlock piece = document()->findBlockByNumber(number); piece.isValid() && number <= last;
                 piece = piece.next(), ++number)
                append(piece, number);
            if (previous < tail.blockNumber())
                append(tail, tail.blockNumber());
            block = tail.next();
        }
        auto documentPosition = [&](int offset) {
            for (int i = pieces.size() - 1; i >= 0; --i)
                if (pieces.at(i).offset <= offset)
                    return pieces.at(i).position + std::min(offset - pieces.at(i).offset, pieces.at(i).length);
            return pieces.first().position;
        };
        QRegularExpressionMatchIterator matches = expression.globalMatch(text);
        while (matches.hasNext()) {
            const QRegularExpressionMatch match = matches.next();
            if (match.capturedLength() == 0)
                continue;
            if (wholeLine) {
                for (const Piece &piece : qAsConst(pieces)) {
                    QTextEdit::ExtraSelection selection;
                    selection.format = format;
                    selection.cursor = QTextCursor(document());
                    selection.cursor.setPosition(piece.position);
                    selection.cursor.setPosition(piece.position + piece.length, QTextCursor::KeepAnchor);
                    selections.append(selection);
                }
                break;
            }
            const int from = documentPosition(match.capturedStart());
            if (from > end)
                break;
            const int to = documentPosition(match.capturedEnd());
            if (to < start)
                continue;
            QTextEdit::ExtraSelection selection;
            selection.format = format;
            selection.cursor = QTextCursor(document());
            selection.cursor.setPosition(from);
            selection.cursor.setPosition(to, QTextCursor::KeepAnchor);
            selections.append(selection);
        }
        // An iterator whose next match failed as invalid ran out of its budget on this line.
        withinBudget = withinBudget && matches.isValid();
    }
    return withinBudget;
}

// --- user actions ------------------------------------------------------------------------------

void OutputTextEdit::focusInEvent(QFocusEvent *event)
{
    QPlainTextEdit::focusInEvent(event);
    emit ReceivedFocus();
}

void OutputTextEdit::wheelEvent(QWheelEvent *event)
{
    if ((event->modifiers() & Qt::ControlModifier) && Settings::instance().outputMouseWheelChangesFontSize) {
        const int delta = event->angleDelta().y();
        if (delta > 0)
            emit IncreaseFontSizeRequested();
        else if (delta < 0)
            emit DecreaseFontSizeRequested();
        event->accept();
        return;
    }
    QPlainTextEdit::wheelEvent(event);
}

void OutputTextEdit::mouseDoubleClickEvent(QMouseEvent *event)
{
    const int onPieces = event->button() == Qt::LeftButton ? PiecePositionAt(event->pos()) : -1;
    if (onPieces >= 0) {
        QTextCursor cursor(document());
        cursor.setPosition(onPieces);
        cursor.select(QTextCursor::WordUnderCursor);
        SetTextCursorInPlace(Settings::instance().outputDoubleClickIncludesDollarSign ? IncludeDollarSign(cursor)
                                                                                        : cursor);
        event->accept();
        return;
    }
    QPlainTextEdit::mouseDoubleClickEvent(event);
    if (Settings::instance().outputDoubleClickIncludesDollarSign)
        setTextCursor(IncludeDollarSign(textCursor()));
}

const OutputTextEdit::LongLine *OutputTextEdit::LongLineAt(int blockNumber) const
{
    const int number = blockNumber + m_droppedBlocks;
    auto after = std::upper_bound(m_longLines.cbegin(), m_longLines.cend(), number,
                                  [](int value, const LongLine &line) { return value < line.head; });
    if (after == m_longLines.cbegin())
        return nullptr;
    const LongLine &line = *std::prev(after);
    return number <= line.head + line.pieces ? &line : nullptr;
}

QTextBlock OutputTextEdit::HeadOf(const LongLine &line) const
{
    return document()->findBlockByNumber(line.head - m_droppedBlocks);
}

QTextBlock OutputTextEdit::TailOf(const LongLine &line) const
{
    return document()->findBlockByNumber(line.head - m_droppedBlocks + line.pieces);
}

int OutputTextEdit::ColumnOf(const QTextBlock &head, const QTextBlock &piece)
{
    // Every block before `piece` in the line adds one position, its break, and no column.
    return piece.position() - head.position() - (piece.blockNumber() - head.blockNumber());
}

QTextBlock OutputTextEdit::PieceAtColumn(const LongLine &line, const QTextBlock &head, qreal column) const
{
    int low = head.blockNumber() + 1, high = low + line.pieces - 1;
    while (low < high) {
        const int middle = low + (high - low + 1) / 2;
        if (ColumnOf(head, document()->findBlockByNumber(middle)) <= column)
            low = middle;
        else
            high = middle - 1;
    }
    return document()->findBlockByNumber(low);
}

void OutputTextEdit::VisibleColumns(int &first, int &last) const
{
    if (m_piecesAsRows) {
        first = 0;
        last = std::numeric_limits<int>::max();
        return;
    }
    // The first piece may be a little narrower or wider than its columns; the margin covers it.
    const qreal width = columnWidth(document());
    const qreal left = horizontalScrollBar()->value();
    first = int(left / width) - selectionMarginBefore;
    last = int(std::min((left + viewport()->width()) / width + selectionMarginBefore, qreal(std::numeric_limits<int>::max())));
}

qreal OutputTextEdit::PiecesLeft(const QTextBlock &head) const
{
    const QTextLine line = head.layout()->lineCount() > 0 ? head.layout()->lineAt(0) : QTextLine();
    const qreal headWidth =
        line.isValid() ? line.x() + line.naturalTextWidth()
                       : document()->documentMargin() + (head.length() - 1) * columnWidth(document());
    return contentOffset().x() + headWidth;
}

int OutputTextEdit::PiecePositionAt(const QPoint &viewportPosition) const
{
    if (m_piecesAsRows || m_longLines.empty())
        return -1;
    const QTextBlock head = cursorForPosition(viewportPosition).block();
    const LongLine *line = ContinuesOnNextBlock(head) && head.isVisible() ? LongLineAt(head.blockNumber()) : nullptr;
    const qreal piecesLeft = line ? PiecesLeft(head) : 0;
    if (!line || viewportPosition.x() < piecesLeft)
        return -1;
    const qreal width = columnWidth(document());
    const int headLength = head.length() - 1;
    const QTextBlock piece = PieceAtColumn(*line, head, headLength + (viewportPosition.x() - piecesLeft) / width);
    const qreal left = piecesLeft + (ColumnOf(head, piece) - headLength) * width;
    const QTextLine row = pieceLayout(piece)->lineAt(0);
    const int column = row.isValid() ? row.xToCursor(viewportPosition.x() - left) : 0;
    return piece.position() + std::clamp(column, 0, piece.length() - 1);
}

int OutputTextEdit::PositionAt(const QPoint &viewportPosition) const
{
    const int onPieces = PiecePositionAt(viewportPosition);
    return onPieces >= 0 ? onPieces : cursorForPosition(viewportPosition).position();
}

void OutputTextEdit::SetTextCursorInPlace(const QTextCursor &cursor)
{
    const int horizontal = horizontalScrollBar()->value(), vertical = verticalScrollBar()->value();
    setTextCursor(cursor);
    horizontalScrollBar()->setValue(horizontal);
    verticalScrollBar()->setValue(vertical);
}

void OutputTextEdit::paintEvent(QPaintEvent *event)
{
    QPlainTextEdit::paintEvent(event);
    if (m_piecesAsRows || m_longLines.empty())
        return;
    QPainter painter(viewport());
    const QRect area = event->rect();
    QTextBlock block = firstVisibleBlock();
    qreal top = blockBoundingGeometry(block).translated(contentOffset()).top();
    while (block.isValid() && top <= area.bottom()) {
        const LongLine *line = ContinuesOnNextBlock(block) ? LongLineAt(block.blockNumber()) : nullptr;
        const qreal height = blockBoundingRect(block).height();
        if (line && block.isVisible() && top + height >= area.top())
            PaintPieces(painter, *line, block, top, area);
        top += height;
        block = line ? TailOf(*line).next() : block.next();
    }
}

void OutputTextEdit::PaintPieces(QPainter &painter, const LongLine &line, const QTextBlock &head, qreal top,
                                 const QRect &area) const
{
    const QTextLine headLine = head.layout()->lineCount() > 0 ? head.layout()->lineAt(0) : QTextLine();
    const qreal y = top + (headLine.isValid() ? headLine.y() : 0);
    const qreal width = columnWidth(document());
    const int headLength = head.length() - 1;
    const qreal piecesLeft = PiecesLeft(head);
    // The selection and the extra selections as ranges of the pieces drawn; the user's
    // selection last, on top, as Qt draws it.
    QList<QTextEdit::ExtraSelection> selections = extraSelections();
    if (textCursor().hasSelection()) {
        QTextEdit::ExtraSelection selection;
        selection.cursor = textCursor();
        selection.format.setBackground(palette().brush(QPalette::Highlight));
        selection.format.setForeground(palette().brush(QPalette::HighlightedText));
        selections.append(selection);
    }
    painter.setPen(palette().text().color());
    QTextBlock piece = PieceAtColumn(line, head, headLength + (area.left() - piecesLeft) / width);
    int number = piece.blockNumber();
    const int last = head.blockNumber() + line.pieces;
    qreal left = piecesLeft + (ColumnOf(head, piece) - headLength) * width;
    for (; piece.isValid() && number <= last && left <= area.right(); piece = piece.next(), ++number) {
        const int length = piece.length() - 1;
        QVector<QTextLayout::FormatRange> ranges;
        for (const QTextEdit::ExtraSelection &selection : qAsConst(selections)) {
            const int from = std::max(selection.cursor.selectionStart() - piece.position(), 0);
            const int to = std::min(selection.cursor.selectionEnd() - piece.position(), length);
            if (to > from)
                ranges.append({from, to - from, selection.format});
        }
        pieceLayout(piece)->draw(&painter, QPointF(left, y), ranges, area);
        left += length * width;
    }
}

bool OutputTextEdit::IsErrorLink(const QTextBlock &block) const
{
    return m_linkTest && block.isValid() && m_linkTest(block.text());
}

void OutputTextEdit::ActivateErrorLine(const QTextBlock &block)
{
    if (!IsErrorLink(block))
        return;
    const QString text = block.text();
    int identical = 0;
    for (QTextBlock after = block.next(); after.isValid(); after = after.next()) {
        if (after.text() == text)
            ++identical;
    }
    emit ErrorLineActivated(text, identical);
}

void OutputTextEdit::SetHoveredLink(int block)
{
    if (block == m_hoveredLink)
        return;
    m_hoveredLink = block;
    viewport()->setCursor(block >= 0 ? Qt::PointingHandCursor : Qt::IBeamCursor);
    UpdateExtraSelections();
}

void OutputTextEdit::UpdateHoveredLink(const QPoint &viewportPosition, Qt::KeyboardModifiers modifiers)
{
    const QTextBlock block = document()->findBlock(PositionAt(viewportPosition));
    SetHoveredLink((modifiers & Qt::ControlModifier) && IsErrorLink(block) ? block.blockNumber() : -1);
}

void OutputTextEdit::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && (event->modifiers() & Qt::ControlModifier)) {
        const QTextBlock block = cursorForPosition(event->pos()).block();
        if (IsErrorLink(block)) {
            event->accept();
            ActivateErrorLine(block);
            return;
        }
    }
    // Qt knows nothing of the drawn pieces: a selection that starts on them is made here.
    const int onPieces = event->button() == Qt::LeftButton ? PiecePositionAt(event->pos()) : -1;
    if (onPieces >= 0) {
        QTextCursor cursor = textCursor();
        cursor.setPosition(onPieces, (event->modifiers() & Qt::ShiftModifier) ? QTextCursor::KeepAnchor
                                                                               : QTextCursor::MoveAnchor);
        SetTextCursorInPlace(cursor);
        setFocus(Qt::MouseFocusReason);
        m_pieceDrag = true;
        event->accept();
        return;
    }
    QPlainTextEdit::mousePressEvent(event);
}

void OutputTextEdit::mouseMoveEvent(QMouseEvent *event)
{
    UpdateHoveredLink(event->pos(), event->modifiers());
    if (event->buttons() & Qt::LeftButton) {
        int position = PiecePositionAt(event->pos());
        if (position < 0 && m_pieceDrag)
            position = PositionAt(event->pos());
        if (position >= 0) {
            QTextCursor cursor = textCursor();
            cursor.setPosition(position, QTextCursor::KeepAnchor);
            SetTextCursorInPlace(cursor);
            // Dragging past a side scrolls the long line along.
            QScrollBar *bar = horizontalScrollBar();
            if (event->pos().x() > viewport()->width())
                bar->setValue(bar->value() + event->pos().x() - viewport()->width());
            else if (event->pos().x() < 0)
                bar->setValue(bar->value() + event->pos().x());
            event->accept();
            return;
        }
    }
    QPlainTextEdit::mouseMoveEvent(event);
}

void OutputTextEdit::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_pieceDrag && event->button() == Qt::LeftButton) {
        m_pieceDrag = false;
        QClipboard *clipboard = QGuiApplication::clipboard();
        if (clipboard->supportsSelection() && textCursor().hasSelection())
            clipboard->setMimeData(createMimeDataFromSelection(), QClipboard::Selection);
        event->accept();
        return;
    }
    QPlainTextEdit::mouseReleaseEvent(event);
}

void OutputTextEdit::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Control)
        UpdateHoveredLink(viewport()->mapFromGlobal(QCursor::pos()), event->modifiers() | Qt::ControlModifier);
    QPlainTextEdit::keyPressEvent(event);
}

void OutputTextEdit::keyReleaseEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Control)
        SetHoveredLink(-1);
    QPlainTextEdit::keyReleaseEvent(event);
}

void OutputTextEdit::leaveEvent(QEvent *event)
{
    SetHoveredLink(-1);
    QPlainTextEdit::leaveEvent(event);
}

QMenu *OutputTextEdit::CreateContextMenu(const QPoint &position)
{
    auto *menu = new QMenu(this);
    const QTextBlock block = cursorForPosition(position).block();
    if (IsErrorLink(block)) {
        menu->addAction(tr("Go to Error"), this, [this, number = block.blockNumber()] {
            ActivateErrorLine(document()->findBlockByNumber(number));
        });
        menu->addSeparator();
    }
    menu->addAction(tr("Copy"), this, &QPlainTextEdit::copy);
    menu->addAction(tr("Select All"), this, &QPlainTextEdit::selectAll);
    menu->addAction(tr("Clear Output"), this, &OutputTextEdit::ClearAll);
    return menu;
}

void OutputTextEdit::ShowContextMenu(const QPoint &position)
{
    QMenu *menu = CreateContextMenu(position);
    menu->exec(viewport()->mapToGlobal(position));
    menu->deleteLater();
}

QMimeData *OutputTextEdit::createMimeDataFromSelection() const
{
    const QTextCursor cursor = textCursor();
    const int start = cursor.selectionStart(), end = cursor.selectionEnd();
    QString text;
    for (QTextBlock block = document()->findBlock(start); block.isValid() && block.position() <= end;
         block = block.next()) {
        const int from = std::max(start - block.position(), 0);
        const int to = std::min(end - block.position(), block.length() - 1);
        if (to > from)
            text += block.text().mid(from, to - from);
        // The pieces of a long line join again.
        if (block.position() + block.length() <= end && !ContinuesOnNextBlock(block))
            text += QLatin1Char('\n');
    }
    auto *data = new QMimeData;
    data->setText(text);
    return data;
}

} // namespace ke2
