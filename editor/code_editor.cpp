#include "editor/code_editor.h"

#include "config/settings.h"
#include "language/code_editor_block_data.h"
#include "editor/code_editor_completer.h"
#include "editor/code_editor_error_bar_overlay.h"
#include "editor/code_editor_line_numbers.h"
#include "editor/word_selection.h"
#include "language/mel_auto_completer.h"
#include "language/mel_procedure_index.h"
#include "language/mel_highlighter.h"
#include "language/python_auto_completer.h"
#include "language/python_highlighter.h"

#include <QtCore/QFileInfo>
#include <QtCore/QFileSystemWatcher>
#include <QtCore/QHash>
#include <QtCore/QMetaMethod>
#include <QtCore/QThread>
#include <QtGui/QTextDocument>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QToolTip>

#include <algorithm>

namespace ke2 {

const char *const CodeEditor::lineMimeType = "text/kestrelEditorLine";

namespace {
bool s_overwriteMode = false;
QSet<QString> &quickHelpNames()
{
    static QSet<QString> names;
    return names;
}
// The language's completion popup behind the editor's completer interface. The popup (a child of
// the editor) is made on the first request: most tabs never complete anything.
class LanguageCompleter : public CodeEditorCompleter {
public:
    explicit LanguageCompleter(CodeEditor *editor) : m_editor(editor) {}

    bool IsPopupVisible() const override { return m_popup && m_popup->isVisible(); }
    void HidePopup() override
    {
        if (m_popup)
            m_popup->Cancel();
    }
    void Update(const QTextCursor &cursor, const QRect &cursorRect, bool applyIfSingle) override
    {
        if (AutoCompleter *popup = Popup())
            popup->Update(cursor, cursorRect, applyIfSingle);
    }
    AutoCompleter *Popup()
    {
        if (!m_popup) {
            if (m_editor->Language() == LANGUAGE_MEL)
                m_popup = new MelAutoCompleter(m_editor);
            else if (m_editor->Language() == LANGUAGE_PYTHON)
                m_popup = new PythonAutoCompleter(m_editor);
            if (m_popup)
                QObject::connect(m_popup, &AutoCompleter::Accepted, m_editor, &CodeEditor::CompleteCode);
        }
        return m_popup;
    }

private:
    CodeEditor *m_editor;
    AutoCompleter *m_popup = nullptr; // owned by the editor
};

} // namespace

CodeEditorLanguage languageForPath(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("mel"))
        return LANGUAGE_MEL;
    if (suffix == QLatin1String("py") || suffix == QLatin1String("pyw") || suffix == QLatin1String("pyi"))
        return LANGUAGE_PYTHON;
    return LANGUAGE_TEXT;
}

QString languageName(CodeEditorLanguage language)
{
    switch (language) {
    case LANGUAGE_MEL:
        return QStringLiteral("MEL");
    case LANGUAGE_PYTHON:
        return QStringLiteral("Python");
    case LANGUAGE_TEXT:
        break;
    }
    return QStringLiteral("Text");
}

CodeEditor::CodeEditor(CodeEditorLanguage language, const QString &path, QWidget *parent)
    : QPlainTextEdit(parent), m_language(language), m_path(path)
{
    setFrameStyle(QFrame::NoFrame);
    setContextMenuPolicy(Qt::CustomContextMenu);
    setFont(Settings::instance().codeEditorFont);

    m_lineNumbers = new CodeEditorLineNumbers(this);
    m_errorBar = new CodeEditorErrorBarOverlay(this);
    m_fileWatcher = new QFileSystemWatcher(this);
    m_textChangedTimer.setSingleShot(true);
    m_highlighter = CreateHighlighter();
    if (language != LANGUAGE_TEXT) {
        m_languageCompleter = std::make_unique<LanguageCompleter>(this);
        SetCompleter(m_languageCompleter.get());
    }

    connect(&m_textChangedTimer, &QTimer::timeout, this, &CodeEditor::OnTextChangedDelay);
    connect(this, &QWidget::customContextMenuRequested, this, &CodeEditor::ShowContextMenu);
    connect(this, &QPlainTextEdit::blockCountChanged, this, &CodeEditor::UpdateLineNumberWidth);
    connect(this, &QPlainTextEdit::updateRequest, this, &CodeEditor::UpdateLineNumbers);
    connect(this, &QPlainTextEdit::cursorPositionChanged, this, &CodeEditor::UpdateExtraSelections);
    connect(this, &QPlainTextEdit::selectionChanged, this, &CodeEditor::UpdateExtraSelections);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &CodeEditor::UpdateExtraSelections);
    connect(this, &QPlainTextEdit::textChanged, this, &CodeEditor::OnTextChanged);
    connect(document(), &QTextDocument::modificationChanged, this, &CodeEditor::OnModificationChanged);
    connect(document(), &QTextDocument::contentsChange, this, &CodeEditor::OnDocumentContentsChanged);
    connect(document(), &QTextDocument::contentsChange, this, &CodeEditor::OnRunErrorEdited);
    connect(document(), &QTextDocument::contentsChange, this, &CodeEditor::OnBreakpointLinesEdited);
    connect(m_fileWatcher, &QFileSystemWatcher::fileChanged, this, &CodeEditor::OnFileChanged);
    // The overlay follows line layout changes (wrapping, added or removed lines).
    connect(document()->documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged, m_errorBar,
            &CodeEditorErrorBarOverlay::Refresh);

    SetPath(path);
    UpdateSettings();
    ApplyColors();
    ApplySharedOverwriteMode();
    // Other buffers' checks and signature help see the procedures this one defines.
    if (language == LANGUAGE_MEL)
        MelProcedureIndex::instance().Add(document());
}

CodeEditor::~CodeEditor()
{
    MelProcedureIndex::instance().Remove(document());
    // A pending notification dies with the editor.
    m_textChangedTimer.stop();
}

void CodeEditor::SetPath(const QString &path)
{
    if (!m_fileWatcher->files().isEmpty())
        m_fileWatcher->removePaths(m_fileWatcher->files());
    m_path = path;
    if (!path.isEmpty() && QFileInfo::exists(path))
        m_fileWatcher->addPath(path);
}

QString CodeEditor::DisplayName() const
{
    return m_name.isEmpty() ? QFileInfo(m_path).fileName() : m_name;
}

void CodeEditor::SetRecord(const CodeEditorRecord &record)
{
    m_kind = record.kind;
    m_name = record.name;
    if (record.path != m_path)
        SetPath(record.path);
}

bool CodeEditor::SharedOverwriteMode()
{
    return s_overwriteMode;
}

void CodeEditor::SetSharedOverwriteMode(bool on)
{
    s_overwriteMode = on;
}

void CodeEditor::SetQuickHelpNames(const QSet<QString> &names)
{
    quickHelpNames() = names;
}

void CodeEditor::SetCompleter(CodeEditorCompleter *completer)
{
    if (m_completer && m_completer->AcceptedSource())
        disconnect(m_completer->AcceptedSource(), nullptr, this, nullptr);
    m_completer = completer;
    if (m_completer && m_completer->AcceptedSource())
        connect(m_completer->AcceptedSource(), SIGNAL(Accepted(QString, int)), this,
                SLOT(CompleteCode(QString, int)));
}

void CodeEditor::UpdateSettings()
{
    const Settings &settings = Settings::instance();
    int tabSize = settings.tabsSizeDefault;
    bool insertSpaces = settings.tabsInsertSpacesDefault;
    bool autoIndent = settings.tabsAutoIndentDefault;
    if (m_language == LANGUAGE_MEL && !settings.tabsUseDefaultsMel) {
        tabSize = settings.tabsSizeMel;
        insertSpaces = settings.tabsInsertSpacesMel;
        autoIndent = settings.tabsAutoIndentMel;
    } else if (m_language == LANGUAGE_PYTHON && !settings.tabsUseDefaultsPython) {
        tabSize = settings.tabsSizePython;
        insertSpaces = settings.tabsInsertSpacesPython;
        autoIndent = settings.tabsAutoIndentPython;
    }
    // No modulo or division by zero anywhere below.
    m_tabSize = tabSize <= 0 ? 4 : Settings::clampTabSize(tabSize);
    m_insertSpaces = insertSpaces;
    m_autoIndent = autoIndent;

    QTextOption option = document()->defaultTextOption();
    option.setWrapMode(settings.wordWrapEnabled ? QTextOption::WordWrap : QTextOption::NoWrap);
    QTextOption::Flags flags = option.flags();
    flags.setFlag(QTextOption::ShowTabsAndSpaces, settings.renderWhitespace);
    flags.setFlag(QTextOption::ShowLineAndParagraphSeparators, settings.renderEndOfLine);
    option.setFlags(flags);
    option.setTabStopDistance(TabStopWidth());
    // The widget re-applies its own word-wrap mode whenever wrapping is switched, so it is told
    // the mode too and the document's option is set last.
    setWordWrapMode(QTextOption::WordWrap);
    setLineWrapMode(settings.wordWrapEnabled ? QPlainTextEdit::WidgetWidth : QPlainTextEdit::NoWrap);
    document()->setDefaultTextOption(option);
    UpdateLineNumberWidth();
    viewport()->update();
}

int CodeEditor::TabStopWidth() const
{
    return fontMetrics().horizontalAdvance(QLatin1Char(' ')) * m_tabSize;
}

void CodeEditor::changeEvent(QEvent *event)
{
    QPlainTextEdit::changeEvent(event);
    // Tab stops and the line-number area are measured in the font.
    if (event->type() == QEvent::FontChange && m_lineNumbers) {
        QTextOption option = document()->defaultTextOption();
        option.setTabStopDistance(TabStopWidth());
        document()->setDefaultTextOption(option);
        UpdateLineNumberWidth();
    }
}

QSyntaxHighlighter *CodeEditor::CreateHighlighter()
{
    if (m_language == LANGUAGE_MEL)
        return new MelHighlighter(document());
    if (m_language == LANGUAGE_PYTHON)
        return new PythonHighlighter(document());
    return nullptr;
}

// --- block data -------------------------------------------------------------------------------

CodeEditorBlockData *CodeEditor::BlockData(const QTextBlock &block)
{
    return CodeEditorBlockData::of(block);
}

QTextBlock CodeEditor::OpeningPartnerBlock(const QTextBlock &block, int column, QChar kind) const
{
    // The bracket is not in the text yet (it is being typed), so walk back over the recorded
    // entries of its kind until one opening is left unmatched.
    int count = 1;
    for (QTextBlock b = block; b.isValid(); b = b.previous()) {
        CodeEditorBlockData *data = BlockData(b);
        if (!data)
            continue;
        const auto &entries = data->brackets(kind);
        for (int i = entries.size() - 1; i >= 0; --i) {
            if (b == block && entries.at(i).column >= column)
                continue;
            count -= entries.at(i).step;
            if (count == 0)
                return b;
        }
    }
    return QTextBlock();
}

int CodeEditor::MatchingBracket(int position) const
{
    const QTextBlock block = document()->findBlock(position);
    const CodeEditorBlockData::BracketPosition partner =
        CodeEditorBlockData::matchingBracket(block, position - block.position());
    return partner.isValid() ? partner.block.position() + partner.column : -1;
}

// --- notifications -----------------------------------------------------------------------------

void CodeEditor::OnTextChanged()
{
    m_textChangedTimer.start(textChangedDelay);
}

int CodeEditor::snapshotLength = 1024 * 1024;

void CodeEditor::OnTextChangedDelay()
{
    // The text of a large buffer is costly to copy: only for someone who takes it.
    if (!isSignalConnected(QMetaMethod::fromSignal(&CodeEditor::TextChanged)))
        return;
    if (document()->characterCount() > snapshotLength)
        JoinInBackground();
    else
        emit TextChanged(m_path, toPlainText());
}

TextSnapshot CodeEditor::Snapshot()
{
    if (!m_mirror)
        m_mirror = new TextMirror(document(), TextMirror::defaultChunkLines, this);
    return m_mirror->Snapshot();
}

void CodeEditor::JoinInBackground()
{
    if (m_joining) {
        m_joinAgain = true;
        return;
    }
    const TextSnapshot snapshot = Snapshot();
    auto text = std::make_shared<QString>();
    m_joining = QThread::create([snapshot, text] { *text = snapshot.PlainText(); });
    connect(m_joining, &QThread::finished, m_joining, &QObject::deleteLater);
    connect(m_joining, &QThread::finished, this, [this, snapshot, text] {
        m_joining = nullptr;
        if (m_joinAgain) {
            m_joinAgain = false;
            JoinInBackground();
        } else if (IsCurrent(snapshot)) {
            // Otherwise typing went on, and its own pause brings the newer text.
            emit TextChanged(m_path, *text);
        }
    });
    m_joining->start();
}

void CodeEditor::OnModificationChanged(bool modified)
{
    emit ModificationChanged(modified, this);
}

void CodeEditor::OnFileChanged(const QString &path)
{
    // Files saved by replacement drop out of the watch; keep following the path.
    if (QFileInfo::exists(path) && !m_fileWatcher->files().contains(path))
        m_fileWatcher->addPath(path);
    emit FileChanged(path);
}

void CodeEditor::OnDocumentContentsChanged(int position, int charsRemoved, int charsAdded)
{
    if (m_bulkReplace)
        return;
    const int delta = charsAdded - charsRemoved;
    const int edge = position + charsRemoved;
    if (m_findScopeSet) {
        if (m_findScopeStart >= edge)
            m_findScopeStart += delta;
        if (m_findScopeEnd > edge)
            m_findScopeEnd += delta;
    }
    ShiftMarks(position, charsRemoved, charsAdded);
}

void CodeEditor::ShiftMarks(int position, int charsRemoved, int charsAdded)
{
    const int delta = charsAdded - charsRemoved;
    const int edge = position + charsRemoved;
    bool any = false;
    for (CodeEditorMarks &marks : m_marks) {
        for (CodeEditorMark &mark : marks) {
            if (mark.start >= edge)
                mark.start += delta;
            if (mark.end > edge)
                mark.end += delta;
            any = true;
        }
    }
    if (!any)
        return;
    // A single typed or deleted character moves marks to other lines only by changing the line
    // count; anything larger may, so the line maps are rebuilt then.
    const int blockCount = document()->blockCount();
    if (blockCount != m_markedBlockCount || charsAdded > 1 || charsRemoved > 1) {
        RefreshDecorations();
        emit DiagnosticsChanged();
    }
}

namespace {
bool byStart(const CodeEditorMark &a, const CodeEditorMark &b)
{
    return a.start < b.start;
}
} // namespace

void CodeEditor::SetDiagnostics(const CodeEditorMarks &errors, const CodeEditorMarks &warnings,
                                const CodeEditorMarks &information)
{
    m_marks[MARK_ERROR] = errors;
    m_marks[MARK_WARNING] = warnings;
    m_marks[MARK_INFORMATION] = information;
    for (CodeEditorMarks &marks : m_marks)
        std::stable_sort(marks.begin(), marks.end(), byStart);
    RefreshDecorations();
    UpdateExtraSelections();
    emit ErrorAndWarningTextChanged();
    emit DiagnosticsChanged();
}

void CodeEditor::RebuildLineMessages()
{
    for (int markClass = 0; markClass < MARK_CLASS_COUNT; ++markClass) {
        // Marks are kept in text order (an edit over marks can disturb it): each line is then
        // looked up once, however many marks it holds.
        CodeEditorMarks &marks = m_marks[markClass];
        if (!std::is_sorted(marks.cbegin(), marks.cend(), byStart))
            std::stable_sort(marks.begin(), marks.end(), byStart);
        QMap<int, QString> &lines = m_lineMessages[markClass];
        lines.clear();
        QTextBlock block = document()->begin();
        int number = 0;
        QString text;
        int count = 0; // messages on line `number`
        for (const CodeEditorMark &mark : qAsConst(marks)) {
            if (mark.start >= block.position() + block.length() && block.next().isValid()) {
                if (count > 0)
                    lines.insert(number, text);
                text.clear();
                count = 0;
                const QTextBlock found = document()->findBlock(mark.start);
                block = found.isValid() ? found : document()->lastBlock();
                number = block.blockNumber();
            }
            // Several messages on one line are shown together; appended in place, so that
            // thousands of messages on one line cost their length once.
            if (count++ > 0)
                text += QLatin1Char('\n');
            text += mark.message;
        }
        if (count > 0)
            lines.insert(number, text);
    }
}

void CodeEditor::RefreshDecorations()
{
    m_markedBlockCount = document()->blockCount();
    RebuildLineMessages();
    QVector<int> lines[MARK_CLASS_COUNT];
    for (int markClass = 0; markClass < MARK_CLASS_COUNT; ++markClass)
        lines[markClass] = m_lineMessages[markClass].keys().toVector();
    m_errorBar->SetMarks(lines[MARK_ERROR], lines[MARK_WARNING], lines[MARK_INFORMATION]);
    m_lineNumbers->update();
}

QString CodeEditor::LineMessage(int line) const
{
    for (int markClass = 0; markClass < MARK_CLASS_COUNT; ++markClass) {
        auto found = m_lineMessages[markClass].constFind(line);
        if (found != m_lineMessages[markClass].constEnd())
            return found.value();
    }
    return line == RunErrorLine() ? m_runErrorMessage : QString();
}

void CodeEditor::SetFindScope(int start, int end)
{
    m_findScopeSet = true;
    m_findScopeStart = start;
    m_findScopeEnd = end;
    UpdateExtraSelections();
}

void CodeEditor::ClearFindScope()
{
    m_findScopeSet = false;
    UpdateExtraSelections();
}

void CodeEditor::SetFindRegex(const QRegularExpression &regex)
{
    m_findRegex = regex;
    UpdateExtraSelections();
}

void CodeEditor::SetFindInFilesRegex(const QRegularExpression &regex)
{
    m_findInFilesRegex = regex;
    UpdateExtraSelections();
}

// --- events ------------------------------------------------------------------------------------

void CodeEditor::focusInEvent(QFocusEvent *event)
{
    QPlainTextEdit::focusInEvent(event);
    emit ReceivedFocus();
}

void CodeEditor::wheelEvent(QWheelEvent *event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers();
    if ((modifiers & Qt::ControlModifier) && !(modifiers & (Qt::ShiftModifier | Qt::AltModifier | Qt::MetaModifier))
        && Settings::instance().codeEditorMouseWheelChangesFontSize) {
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

void CodeEditor::resizeEvent(QResizeEvent *event)
{
    QPlainTextEdit::resizeEvent(event);
    const QRect contents = contentsRect();
    m_lineNumbers->setGeometry(QRect(contents.left(), contents.top(), LineNumberAreaWidth(), contents.height()));
    m_errorBar->UpdateGeometry();
}

void CodeEditor::SetPlainTextDeferred(const QString &text)
{
    if (m_highlighter && !isVisible()) {
        m_highlighter->setDocument(nullptr);
        m_highlightingDeferred = true;
    }
    setPlainText(text);
}

void CodeEditor::EnsureHighlighted()
{
    if (!m_highlightingDeferred)
        return;
    m_highlightingDeferred = false;
    m_highlighter->setDocument(document());
    // At once, not on the highlighter's own next turn of the event loop, so the first paint is
    // already coloured; running its pending pass also keeps it from highlighting twice.
    QMetaObject::invokeMethod(m_highlighter, "_q_delayedRehighlight", Qt::DirectConnection);
}

bool CodeEditor::event(QEvent *event)
{
    if (event->type() == QEvent::Show)
        EnsureHighlighted();
    if (event->type() == QEvent::ToolTip) {
        auto *help = static_cast<QHelpEvent *>(event);
        ShowLineToolTip(help->globalPos(), help->pos().y() - viewport()->y());
        return true;
    }
    return QPlainTextEdit::event(event);
}

bool CodeEditor::viewportEvent(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        auto *help = static_cast<QHelpEvent *>(event);
        ShowLineToolTip(help->globalPos(), help->pos().y());
        return true;
    }
    return QPlainTextEdit::viewportEvent(event);
}

void CodeEditor::ShowLineToolTip(const QPoint &globalPos, int viewportY)
{
    const QTextBlock block = cursorForPosition(QPoint(0, viewportY)).block();
    const QString message = block.isValid() ? LineMessage(block.blockNumber()) : QString();
    if (message.isEmpty())
        QToolTip::hideText();
    else
        QToolTip::showText(globalPos, message, this);
}

void CodeEditor::mouseDoubleClickEvent(QMouseEvent *event)
{
    QPlainTextEdit::mouseDoubleClickEvent(event);
    if (m_language != LANGUAGE_MEL || !Settings::instance().melDoubleClickIncludesDollarSign)
        return;
    setTextCursor(IncludeDollarSign(textCursor()));
}

void CodeEditor::CompleteCode(const QString &text, int prefixLength)
{
    QTextCursor cursor = textCursor();
    if (cursor.position() < prefixLength)
        return;
    cursor.beginEditBlock();
    cursor.clearSelection();
    cursor.movePosition(QTextCursor::Left, QTextCursor::KeepAnchor, prefixLength);
    cursor.removeSelectedText();
    cursor.insertText(text);
    cursor.endEditBlock();
    setTextCursor(cursor);
    const Settings &settings = Settings::instance();
    const bool toQuickHelp = (m_language == LANGUAGE_MEL && settings.melAutoCompleteToQuickHelp)
                             || (m_language == LANGUAGE_PYTHON && settings.pythonAutoCompleteToQuickHelp);
    if (toQuickHelp && quickHelpNames().contains(text))
        emit QuickHelpChanged(text, false);
}

} // namespace ke2
