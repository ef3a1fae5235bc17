// What the editor draws besides its text: extra selections, indentation guides, the line-number
// area and the palette taken from the colour scheme.
#include "editor/code_editor.h"

#include "config/color_scheme.h"
#include "config/settings.h"
#include "language/code_editor_block_data.h"
#include "editor/code_editor_error_bar_overlay.h"
#include "editor/code_editor_line_numbers.h"
#include "editor/text_search.h"
#include "language/highlighter.h"

#include <QtGui/QPainter>
#include <QtGui/QSyntaxHighlighter>
#include <QtGui/QTextBlock>
#include <QtWidgets/QScrollBar>

#include <algorithm>

namespace ke2 {

namespace {
const QTextCharFormat roleFormat(const char *name)
{
    return ColorScheme::instance().codeEditorRoles.format(QString::fromLatin1(name));
}
} // namespace

bool CodeEditor::RoleDefined(const char *roleName) const
{
    const ColorRoleTable &roles = ColorScheme::instance().codeEditorRoles;
    const QString name = QString::fromLatin1(roleName);
    if (!roles.contains(name))
        return false;
    const QTextCharFormat format = roles.format(name);
    return format.hasProperty(QTextFormat::ForegroundBrush) || format.hasProperty(QTextFormat::BackgroundBrush);
}

void CodeEditor::ApplyColors()
{
    const QTextCharFormat plain = roleFormat(ColorRoleName::plainText);
    const QTextCharFormat selected = roleFormat(ColorRoleName::selectedText);
    for (QWidget *widget : {static_cast<QWidget *>(this), viewport()}) {
        QPalette palette = widget->palette();
        for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
            if (plain.hasProperty(QTextFormat::ForegroundBrush))
                palette.setColor(group, QPalette::Text, plain.foreground().color());
            if (plain.hasProperty(QTextFormat::BackgroundBrush))
                palette.setColor(group, QPalette::Base, plain.background().color());
            if (selected.hasProperty(QTextFormat::ForegroundBrush))
                palette.setColor(group, QPalette::HighlightedText, selected.foreground().color());
            if (selected.hasProperty(QTextFormat::BackgroundBrush))
                palette.setColor(group, QPalette::Highlight, selected.background().color());
        }
        widget->setPalette(palette);
    }
    if (m_highlighter) {
        // The highlighters cache their formats; drop them so the new colours are used.
        Highlighter::reloadFormats();
        m_highlighter->rehighlight();
    }
    UpdateExtraSelections();
    m_lineNumbers->update();
}

// --- extra selections --------------------------------------------------------------------------

void CodeEditor::UpdateExtraSelections()
{
    QList<QTextEdit::ExtraSelection> selections;
    if (m_findScopeSet && m_findScopeStart != m_findScopeEnd) {
        QTextEdit::ExtraSelection scope;
        scope.cursor = QTextCursor(document());
        scope.cursor.setPosition(std::clamp(m_findScopeStart, 0, document()->characterCount() - 1));
        scope.cursor.setPosition(std::clamp(m_findScopeEnd, 0, document()->characterCount() - 1),
                                 QTextCursor::KeepAnchor);
        scope.format = roleFormat(ColorRoleName::findReplaceSelection);
        selections.append(scope);
    }
    if (RoleDefined(ColorRoleName::currentLine)) {
        QTextEdit::ExtraSelection line;
        line.format = roleFormat(ColorRoleName::currentLine);
        line.format.setProperty(QTextFormat::FullWidthSelection, true);
        line.cursor = textCursor();
        line.cursor.clearSelection();
        selections.append(line);
    }
    // Find in Selection counts and replaces only inside its scope: only those matches are marked,
    // and the other places of the selected match are not either (they would look like matches).
    const bool scoped = m_findScopeSet && m_findScopeStart != m_findScopeEnd;
    if (!scoped || m_findRegex.pattern().isEmpty())
        AddMatchingSelection(selections);
    if (!m_findRegex.pattern().isEmpty() && m_findRegex.isValid())
        AddFindMatches(selections, m_findRegex, scoped ? m_findScopeStart : 0, scoped ? m_findScopeEnd : -1);
    if (!m_findInFilesRegex.pattern().isEmpty() && m_findInFilesRegex.isValid())
        AddFindMatches(selections, m_findInFilesRegex);
    AddMatchingBraces(selections);
    AddDiagnosticUnderlines(selections);
    AddRunErrorSelection(selections);
    AddPausedLineSelection(selections);
    setExtraSelections(selections);
}

void CodeEditor::AddMatchingSelection(QList<QTextEdit::ExtraSelection> &selections) const
{
    if (!RoleDefined(ColorRoleName::matchingSelection))
        return;
    const QTextCursor cursor = textCursor();
    const QString selected = cursor.selectedText();
    if (selected.trimmed().isEmpty() || selected.contains(QChar(QChar::ParagraphSeparator))
        || selected.contains(QLatin1Char('\n')))
        return;
    const bool wordsOnly = Settings::instance().codeEditorMatchedSelectionWordsOnly;
    // "-" belongs to words here, as in MEL flags and names.
    static const QRegularExpression nonWord(QStringLiteral("[^a-zA-Z0-9_-]"));
    auto isWordChar = [](QChar c) { return !c.isNull() && !nonWord.match(QString(c)).hasMatch(); };
    const QTextCharFormat format = roleFormat(ColorRoleName::matchingSelection);
    // Only the lines in view (and a screen's worth around them) are marked: a selection in a
    // long buffer costs no more than one in a short one.
    QTextBlock block;
    int blocks = 0;
    VisibleBlockRange(&block, &blocks);
    for (int n = 0; n < blocks && block.isValid(); ++n, block = block.next()) {
        const QString text = block.text();
        for (int at = text.indexOf(selected); at >= 0; at = text.indexOf(selected, at + 1)) {
            const int start = block.position() + at;
            const int end = start + selected.size();
            if (wordsOnly) {
                const QChar before = at > 0 ? text.at(at - 1) : QChar();
                const QChar after = at + selected.size() < text.size() ? text.at(at + selected.size()) : QChar();
                if (isWordChar(before) || isWordChar(after))
                    continue;
            }
            QTextEdit::ExtraSelection match;
            match.cursor = QTextCursor(document());
            match.cursor.setPosition(start);
            match.cursor.setPosition(end, QTextCursor::KeepAnchor);
            match.format = format;
            selections.append(match);
        }
    }
}

void CodeEditor::VisibleBlockRange(QTextBlock *first, int *count) const
{
    const int margin = qMax(1, viewport()->height() / qMax(1, fontMetrics().height()));
    QTextBlock block = firstVisibleBlock();
    for (int n = 0; n < margin && block.previous().isValid(); ++n)
        block = block.previous();
    *first = block;
    *count = 3 * margin + 2;
}

void CodeEditor::AddFindMatches(QList<QTextEdit::ExtraSelection> &selections, const QRegularExpression &regex,
                                int scopeStart, int scopeEnd) const
{
    // Only the lines in view (and a screen's worth around them) are searched, within a short
    // budget: a long buffer or a pattern that backtracks without end never slows the typing.
    const QTextCharFormat matching = roleFormat(ColorRoleName::findReplaceMatching);
    const QTextCharFormat selectedFormat = roleFormat(ColorRoleName::findReplaceSelected);
    const QTextCursor current = textCursor();
    const TextSearch search(regex);
    const QDeadlineTimer deadline(50);
    QTextBlock block;
    int blocks = 0;
    VisibleBlockRange(&block, &blocks);
    QVector<TextMatch> matches;
    for (int n = 0; n < blocks && block.isValid() && !deadline.hasExpired(); ++n, block = block.next()) {
        if (scopeEnd >= 0 && (block.position() + block.length() <= scopeStart || block.position() > scopeEnd))
            continue;
        matches.clear();
        // The whole line is searched, as the count does (anchors and word boundaries see it all);
        // in a scope only the matches that lie in it count.
        const QString text = block.text();
        if (scopeEnd < 0)
            search.FindAll(text, matches, deadline);
        else
            search.FindAll(text, std::clamp(scopeStart - block.position(), 0, int(text.size())),
                           std::clamp(scopeEnd - block.position(), 0, int(text.size())), matches, deadline);
        for (const TextMatch &found : qAsConst(matches)) {
            QTextEdit::ExtraSelection match;
            match.cursor = QTextCursor(document());
            match.cursor.setPosition(block.position() + found.start);
            match.cursor.setPosition(block.position() + found.start + found.length, QTextCursor::KeepAnchor);
            const bool isCurrent = match.cursor.selectionStart() == current.selectionStart()
                                   && match.cursor.selectionEnd() == current.selectionEnd();
            match.format = isCurrent ? selectedFormat : matching;
            selections.append(match);
        }
    }
}

void CodeEditor::AddMatchingBraces(QList<QTextEdit::ExtraSelection> &selections) const
{
    const int position = textCursor().position();
    // The character at the cursor decides when it is a recorded bracket, partner or not; only
    // otherwise is the one before the cursor tried.
    const auto recorded = [this](int at) {
        const QTextBlock block = document()->findBlock(at);
        const CodeEditorBlockData *data = BlockData(block);
        return at >= 0 && data && data->bracketAt(at - block.position());
    };
    int at = position;
    if (!recorded(at) && position > 0)
        at = position - 1;
    const int partner = recorded(at) ? MatchingBracket(at) : -1;
    if (partner < 0)
        return;
    const QTextCharFormat format = roleFormat(ColorRoleName::matchingBraces);
    for (int p : {at, partner}) {
        QTextEdit::ExtraSelection brace;
        brace.cursor = QTextCursor(document());
        brace.cursor.setPosition(p);
        brace.cursor.setPosition(p + 1, QTextCursor::KeepAnchor);
        brace.format = format;
        selections.append(brace);
    }
}

void CodeEditor::AddDiagnosticUnderlines(QList<QTextEdit::ExtraSelection> &selections) const
{
    const Settings &settings = Settings::instance();
    const bool display = (m_language == LANGUAGE_MEL && settings.melDisplayErrors)
                         || (m_language == LANGUAGE_PYTHON && settings.pythonDisplayErrors);
    if (!display)
        return;
    const int last = document()->characterCount() - 1;
    // Thousands of marks (a checker that reports every line) are underlined only in and around
    // the lines in view: the view looks at every selection for each line it paints.
    int from = 0;
    int to = last + 1;
    if (m_marks[MARK_ERROR].size() + m_marks[MARK_WARNING].size() > manyMarks) {
        QTextBlock block;
        int blocks = 0;
        VisibleBlockRange(&block, &blocks);
        from = block.position();
        for (int n = 1; n < blocks && block.next().isValid(); ++n)
            block = block.next();
        to = block.position() + block.length();
    }
    auto add = [&](const CodeEditorMarks &marks, const QTextCharFormat &format) {
        // Overlapping marks of a class share one underline: many messages on one place (a
        // checker's repeated report) cost one selection.
        QVector<QPair<int, int>> ranges;
        for (const CodeEditorMark &mark : marks) {
            const int start = std::clamp(mark.start, 0, last);
            // A mark that runs to the end of the text is stored with end -1.
            const int end = mark.end < 0 ? last : std::clamp(mark.end, start, last);
            if (end < from || start >= to)
                continue;
            ranges.append({start, end == start ? std::min(start + 1, last) : end});
        }
        if (!std::is_sorted(ranges.cbegin(), ranges.cend())) // marks are kept in text order
            std::sort(ranges.begin(), ranges.end());
        for (int i = 0; i < ranges.size();) {
            int start = ranges.at(i).first;
            int end = ranges.at(i).second;
            for (++i; i < ranges.size() && ranges.at(i).first < end; ++i)
                end = std::max(end, ranges.at(i).second);
            QTextEdit::ExtraSelection underline;
            underline.cursor = QTextCursor(document());
            underline.cursor.setPosition(start);
            underline.cursor.setPosition(end, QTextCursor::KeepAnchor);
            underline.format = format;
            selections.append(underline);
        }
    };
    add(m_marks[MARK_ERROR], ColorScheme::errorFormat());
    add(m_marks[MARK_WARNING], ColorScheme::warningFormat());
}

// --- indentation guides ------------------------------------------------------------------------

int CodeEditor::GuideCount(const QTextBlock &block) const
{
    QTextBlock b = block;
    // A blank line takes the guides of the next line that holds text.
    while (b.isValid()) {
        CodeEditorBlockData *data = BlockData(b);
        if (!data)
            return 0;
        if (!data->isBlank()) {
            const int width = VisualWidth(LeadingWhitespace(b.text()), m_tabSize);
            return width == 0 ? 0 : (width - 1) / m_tabSize + 1;
        }
        b = b.next();
        if (!b.isValid() || !b.isVisible())
            return 0;
    }
    return 0;
}

void CodeEditor::paintEvent(QPaintEvent *event)
{
    // A document coloured on demand gets the colours of the lines about to be painted.
    auto *highlighter = qobject_cast<ke2::Highlighter *>(m_highlighter);
    if (highlighter && highlighter->OnDemand()) {
        const QPointF offset = contentOffset();
        const int bottom = event->rect().bottom();
        for (QTextBlock block = firstVisibleBlock(); block.isValid(); block = block.next()) {
            if (blockBoundingGeometry(block).translated(offset).top() > bottom)
                break;
            if (block.isVisible())
                highlighter->ColourShown(block);
        }
    }
    QPlainTextEdit::paintEvent(event);
    if (Settings::instance().codeEditorDisplayIndentationGuides && RoleDefined(ColorRoleName::indentationGuides))
        PaintIndentationGuides(event);
    if (!m_dropHighlight.isNull()) {
        QPainter painter(viewport());
        QColor fill = palette().color(QPalette::Highlight);
        fill.setAlpha(70);
        painter.fillRect(m_dropHighlight.translated(-viewport()->pos()), fill);
    }
}

void CodeEditor::SetDropHighlight(const QRect &rect)
{
    if (rect == m_dropHighlight)
        return;
    m_dropHighlight = rect;
    viewport()->update();
}

void CodeEditor::PaintIndentationGuides(QPaintEvent *event)
{
    QPainter painter(viewport());
    const QColor color = roleFormat(ColorRoleName::indentationGuides).foreground().color();
    const QRect rect = event->rect();
    const qreal left = contentOffset().x() + document()->documentMargin();
    const int step = TabStopWidth();
    const bool wrap = Settings::instance().wordWrapEnabled;
    const int lineHeight = fontMetrics().height();
    const QTextBlock cursorBlock = textCursor().block();
    const int caretX = cursorRect().topLeft().x();
    int cachedGuides = -1; // guides of the last non-blank block looked up for a blank run
    for (QTextBlock block = firstVisibleBlock(); block.isValid(); block = block.next()) {
        const QRectF box = blockBoundingGeometry(block).translated(contentOffset());
        if (box.top() > rect.bottom())
            break;
        if (!block.isVisible())
            continue;
        CodeEditorBlockData *data = BlockData(block);
        int guides = 0;
        if (data && data->isBlank()) {
            if (cachedGuides < 0)
                cachedGuides = GuideCount(block);
            guides = cachedGuides;
        } else {
            cachedGuides = -1;
            guides = GuideCount(block);
        }
        const qreal bottom = wrap ? box.top() + lineHeight : box.bottom();
        for (int i = 0; i < guides; ++i) {
            const int x = qRound(left + i * step);
            if (block == cursorBlock && x == caretX)
                continue; // never through the caret
            // A one-pixel fill is much cheaper than a pen stroke and draws the same line.
            painter.fillRect(QRect(x, qRound(box.top()), 1, qRound(bottom - box.top())), color);
        }
    }
}

// --- line-number area --------------------------------------------------------------------------

int CodeEditor::GutterWidth() const
{
    const int w9 = fontMetrics().horizontalAdvance(QLatin1Char('9'));
    return std::clamp(2 * w9, 10, 18);
}

int CodeEditor::LineNumberAreaWidth() const
{
    int count = std::max({1, blockCount(), m_reservedLines});
    int digits = 0;
    for (; count > 0; count /= 10)
        ++digits;
    digits = std::max(2, digits);
    return GutterWidth() + fontMetrics().horizontalAdvance(QLatin1Char('9')) * digits + 7;
}

void CodeEditor::ReserveLineNumbers(int lines)
{
    m_reservedLines = lines;
    if (LineNumberAreaWidth() != viewportMargins().left())
        UpdateLineNumberWidth();
}

void CodeEditor::UpdateLineNumberWidth()
{
    const int width = LineNumberAreaWidth();
    setViewportMargins(width, 0, 0, 0);
    const QRect contents = contentsRect();
    m_lineNumbers->setGeometry(QRect(contents.left(), contents.top(), width, contents.height()));
}

void CodeEditor::UpdateLineNumbers(const QRect &rect, int dy)
{
    if (dy != 0) {
        m_lineNumbers->scroll(0, dy);
        // The find matches and the selection's other occurrences are drawn for the lines in
        // view only.
        UpdateExtraSelections();
    } else
        m_lineNumbers->update(0, rect.y(), m_lineNumbers->width(), rect.height());
}

void CodeEditor::PaintLineNumbers(QPaintEvent *event)
{
    if (!RoleDefined(ColorRoleName::lineNumbers) || !RoleDefined(ColorRoleName::gutter))
        return;
    const QTextCharFormat numbers = roleFormat(ColorRoleName::lineNumbers);
    const QTextCharFormat gutter = roleFormat(ColorRoleName::gutter);
    QPainter painter(m_lineNumbers);
    const QRect rect = event->rect();
    const int gutterWidth = GutterWidth();
    painter.fillRect(rect, numbers.background());
    painter.fillRect(QRect(0, rect.top(), gutterWidth, rect.height()), gutter.background());
    painter.setFont(font());
    const int areaWidth = m_lineNumbers->width();
    const int lineHeight = fontMetrics().height();
    painter.setRenderHint(QPainter::Antialiasing);
    for (QTextBlock block = firstVisibleBlock(); block.isValid(); block = block.next()) {
        const QRectF box = blockBoundingGeometry(block).translated(contentOffset());
        if (box.top() > rect.bottom())
            break;
        if (!block.isVisible() || box.bottom() < rect.top())
            continue;
        const int top = qRound(box.top());
        painter.setPen(numbers.foreground().color());
        painter.drawText(QRect(0, top, areaWidth - 4, lineHeight), Qt::AlignRight,
                         QString::number(block.blockNumber() + 1));
        const int line = block.blockNumber();
        QColor marker;
        if (m_lineMessages[MARK_ERROR].contains(line))
            marker = ColorScheme::errorMarkColor();
        else if (m_lineMessages[MARK_WARNING].contains(line))
            marker = ColorScheme::warningMarkColor();
        else if (m_lineMessages[MARK_INFORMATION].contains(line))
            marker = ColorScheme::informationMarkColor();
        if (marker.isValid()) {
            const qreal radius = (gutterWidth - 6) / 2.0;
            painter.setPen(Qt::NoPen);
            painter.setBrush(marker);
            painter.drawEllipse(QPointF(gutterWidth / 2.0, box.top() + box.height() / 2.0), radius, radius);
        }
        if (!m_breakpoints.isEmpty() || !m_pausedLine.isNull())
            PaintBreakpoint(painter, line, box);
    }
}

} // namespace ke2
