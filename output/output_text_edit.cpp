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
#include <QtGui/QTextBlock>
#include <QtGui/QCursor>
#include <QtGui/QKeyEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QMenu>
#include <QtWidgets/QScrollBar>

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

} // namespace

OutputTextEdit::OutputTextEdit(QWidget *parent) : QPlainTextEdit(parent)
{
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
    connect(this, &QPlainTextEdit::selectionChanged, this, &OutputTextEdit::UpdateExtraSelections);
    // Links show under the mouse without a button held.
    viewport()->setMouseTracking(true);

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
    // The scroll bar's signals would refresh the highlighting once per change; it is refreshed
    // once afterwards instead.
    m_inserting = true;
    if (chunk.replacesDocument)
        document()->clear();
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(chunk.text);
    // The view follows the newest output.
    setTextCursor(cursor);
    m_inserting = false;
}

void OutputTextEdit::ClearAll()
{
    m_idleFlush.stop();
    m_queue.clear();
    document()->clear();
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
    m_queue.setLineLimit(lines);
    document()->setMaximumBlockCount(lines);
    setLineWrapMode(settings.outputWordWrapEnabled ? QPlainTextEdit::WidgetWidth : QPlainTextEdit::NoWrap);

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
    const int start = std::max(0, cursorForPosition(area.topLeft()).position() - selectionMarginBefore);
    const int end = cursorForPosition(area.bottomRight() + QPoint(0, selectionMarginBelow)).position();

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
    for (QTextBlock block = document()->findBlock(start); block.isValid() && block.position() <= end;
         block = block.next()) {
        const QString text = block.text();
        const int base = block.position();
        // Matching from an offset keeps "^" at the true start of the line.
        QRegularExpressionMatchIterator matches = expression.globalMatch(text, std::max(0, start - base));
        while (matches.hasNext()) {
            const QRegularExpressionMatch match = matches.next();
            if (base + match.capturedStart() > end)
                break;
            if (match.capturedLength() == 0)
                continue;
            QTextEdit::ExtraSelection selection;
            selection.format = format;
            selection.cursor = QTextCursor(block);
            if (wholeLine) {
                selection.cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
                selections.append(selection);
                break;
            }
            selection.cursor.setPosition(base + match.capturedStart());
            selection.cursor.setPosition(base + match.capturedEnd(), QTextCursor::KeepAnchor);
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
    QPlainTextEdit::mouseDoubleClickEvent(event);
    if (Settings::instance().outputDoubleClickIncludesDollarSign)
        setTextCursor(IncludeDollarSign(textCursor()));
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
    const QTextBlock block = cursorForPosition(viewportPosition).block();
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
    QPlainTextEdit::mousePressEvent(event);
}

void OutputTextEdit::mouseMoveEvent(QMouseEvent *event)
{
    UpdateHoveredLink(event->pos(), event->modifiers());
    QPlainTextEdit::mouseMoveEvent(event);
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
        // A block of exactly the piece length continues on the next one (a line that long and
        // ending there is rare; the log file keeps the original either way).
        if (block.position() + block.length() <= end && block.length() - 1 != OutputBuffer::maximumLineLength)
            text += QLatin1Char('\n');
    }
    auto *data = new QMimeData;
    data->setText(text);
    return data;
}

} // namespace ke2
