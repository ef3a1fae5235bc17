#include "groups/code_editor_group.h"

#include "config/color_scheme.h"
#include "config/key_bindings.h"
#include "config/key_bindings_notifier.h"
#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group_tab_bar.h"
#include "language/mel_command_catalog.h"
#include "language/mel_procedure_index.h"
#include "plugin/host_bridge.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QMimeData>
#include <QtCore/QPointer>
#include <QtCore/QRegularExpression>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtGui/QClipboard>
#include <QtGui/QDesktopServices>
#include <QtGui/QDragEnterEvent>
#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>
#include <QAction>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QMenu>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QToolButton>


namespace ke2 {

namespace {

// A restored tab is laid out, and scrolled to show its cursor, only when it is first shown; its
// scroll position waits until then, and until its range reaches that far.
class PendingScroll : public QObject {
public:
    static QString name() { return QStringLiteral("pendingScroll"); }

    PendingScroll(CodeEditor *editor, int position) : QObject(editor), m_editor(editor), m_position(position)
    {
        setObjectName(name());
        m_shown = editor->isVisible();
        editor->installEventFilter(this);
        connect(editor->verticalScrollBar(), &QScrollBar::rangeChanged, this, &PendingScroll::Apply);
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Show)
            QTimer::singleShot(0, this, [this] {
                m_shown = true;
                Apply();
            });
        return false;
    }

private:
    void Apply()
    {
        if (!m_shown)
            return;
        // Showing the tab scrolled its cursor into a view not laid out yet: only the saved
        // (vertical) position counts, the lines start at their first column.
        m_editor->horizontalScrollBar()->setValue(0);
        QScrollBar *bar = m_editor->verticalScrollBar();
        if (bar->maximum() < m_position)
            return;
        bar->setValue(m_position);
        deleteLater();
    }

    CodeEditor *m_editor;
    int m_position;
    bool m_shown = false;
};


const char *const insertMismatch = "Failed to insert code editor. Tab and code editor count mismatch.";
const char *const removeMismatch = "Failed to remove code editor. Tab and code editor count mismatch.";
const char *const deleteMismatch = "Failed to delete code editor. Tab and code editor count mismatch.";

QToolButton *makeButton(QWidget *parent, const char *name, const QString &text, const char *iconPath)
{
    auto *button = new QToolButton(parent);
    button->setObjectName(QString::fromLatin1(name));
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::NoFocus);
    button->setText(text);
    button->setToolTip(text);
    button->setIcon(QIcon(QString::fromLatin1(iconPath)));
    return button;
}

CodeEditorMarks toMarks(const QList<Diagnostic *> &diagnostics, int textLength)
{
    CodeEditorMarks marks;
    marks.reserve(diagnostics.size());
    for (const Diagnostic *diagnostic : diagnostics)
        marks.append({diagnostic->start, diagnostic->end < 0 ? textLength : diagnostic->end, diagnostic->message});
    return marks;
}

bool isSupportedDrag(const QMimeData *mime)
{
    return mime
           && (mime->hasFormat(QString::fromLatin1(CodeEditorGroupTabBar::moveCodeEditorMimeType))
               || mime->hasUrls());
}

} // namespace

CodeEditorGroup::CodeEditorGroup(int id, QWidget *parent)
    : QWidget(parent), m_id(id)
{
    qRegisterMetaType<TabDropZone>("TabDropZone");
    qRegisterMetaType<BaseParser *>("BaseParser*");
    setAcceptDrops(true);

    m_tabClip = new QWidget(this);
    m_tabClip->setObjectName(QStringLiteral("tabClip"));
    m_tabBar = new CodeEditorGroupTabBar(id, m_tabClip);

    m_miniToolbar = new QWidget(this);
    m_miniToolbar->setObjectName(QStringLiteral("miniToolbar"));
    m_miniToolbar->setContextMenuPolicy(Qt::CustomContextMenu);
    auto *toolbarLayout = new QHBoxLayout(m_miniToolbar);
    toolbarLayout->setContentsMargins(2, 0, 2, 0);
    toolbarLayout->setSpacing(0);
    m_scrollLeftButton = makeButton(m_miniToolbar, "scrollLeftButton", QStringLiteral("Scroll Left"), ":/ke2_icons/scroll_left.png");
    m_scrollRightButton = makeButton(m_miniToolbar, "scrollRightButton", QStringLiteral("Scroll Right"), ":/ke2_icons/scroll_right.png");
    m_executeAllButton = makeButton(m_miniToolbar, "executeAllButton", QStringLiteral("Execute All"), ":/ke2_icons/execute_all.png");
    m_executeButton = makeButton(m_miniToolbar, "executeButton", QStringLiteral("Execute"), ":/ke2_icons/execute.png");
    m_executeLineButton = makeButton(m_miniToolbar, "executeLineButton", QStringLiteral("Execute Line"), ":/ke2_icons/execute_line.png");
    m_listButton = makeButton(m_miniToolbar, "listButton", QStringLiteral("Open Editors"), ":/ke2_icons/list_code_editors.png");
    for (QToolButton *button : {m_scrollLeftButton, m_scrollRightButton, m_executeAllButton, m_executeButton,
                                m_executeLineButton, m_listButton})
        toolbarLayout->addWidget(button);

    m_stack = new QStackedWidget(this);
    m_stack->setObjectName(QStringLiteral("codeEditorStack"));

    auto *top = new QHBoxLayout;
    top->setContentsMargins(0, 0, 0, 0);
    top->setSpacing(0);
    top->addWidget(m_tabClip, 1);
    top->addWidget(m_miniToolbar);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(top);
    layout->addWidget(m_stack, 1);

    CodeEditorGroupTabBar *bar = m_tabBar;
    connect(bar, &CodeEditorGroupTabBar::NewTabRequested, this, &CodeEditorGroup::OnNewTabRequested);
    connect(bar, &CodeEditorGroupTabBar::CloseTabRequested, this, &CodeEditorGroup::OnCloseTabRequested);
    connect(bar, &CodeEditorGroupTabBar::CloseOtherTabsRequested, this, &CodeEditorGroup::OnCloseOtherTabsRequested);
    connect(bar, &CodeEditorGroupTabBar::CloseTabsToRightRequested, this, &CodeEditorGroup::OnCloseTabsToRightRequested);
    connect(bar, &CodeEditorGroupTabBar::CurrentChanged, this, &CodeEditorGroup::OnCurrentTabChanged);
    connect(bar, &CodeEditorGroupTabBar::MoveTabRequested, this, &CodeEditorGroup::OnMoveTabRequested);
    connect(bar, &CodeEditorGroupTabBar::OpenFileRequested, this, &CodeEditorGroup::OnOpenFileRequested);
    connect(bar, &CodeEditorGroupTabBar::RenameRequested, this, &CodeEditorGroup::OnRenameRequested);
    connect(bar, &CodeEditorGroupTabBar::CopyPathRequested, this, &CodeEditorGroup::CopyPath);
    connect(bar, &CodeEditorGroupTabBar::ShowInFolderRequested, this, &CodeEditorGroup::OnShowInFolder);
    connect(bar, &CodeEditorGroupTabBar::ShowInSideBarRequested, this, &CodeEditorGroup::OnShowInSideBar);
    connect(bar, &CodeEditorGroupTabBar::EmptyZoneContextMenuSelected, this, &CodeEditorGroup::ShowMiniToolbarContextMenu);
    connect(bar, &CodeEditorGroupTabBar::Activated, this, &CodeEditorGroup::FocusCurrentCodeEditor);

    connect(m_scrollLeftButton, &QToolButton::pressed, this, &CodeEditorGroup::BeginScrollingLeft);
    connect(m_scrollLeftButton, &QToolButton::released, this, &CodeEditorGroup::EndScrolling);
    connect(m_scrollRightButton, &QToolButton::pressed, this, &CodeEditorGroup::BeginScrollingRight);
    connect(m_scrollRightButton, &QToolButton::released, this, &CodeEditorGroup::EndScrolling);
    connect(m_listButton, &QToolButton::clicked, this, &CodeEditorGroup::ShowOpenCodeEditorContextMenu);
    connect(m_executeButton, &QToolButton::clicked, this, &CodeEditorGroup::OnExecute);
    connect(m_executeAllButton, &QToolButton::clicked, this, &CodeEditorGroup::OnExecuteAll);
    connect(m_executeLineButton, &QToolButton::clicked, this, &CodeEditorGroup::OnExecuteLine);
    connect(m_miniToolbar, &QWidget::customContextMenuRequested, this,
            [this](const QPoint &pos) { ShowMiniToolbarContextMenu(m_miniToolbar->mapToGlobal(pos)); });

    // The pylint worker and its thread are made when a Python buffer is first checked.
    CreateFindReplace();

    connect(&KeyBindingsNotifier::instance(), &KeyBindingsNotifier::ShortcutsChanged, this,
            &CodeEditorGroup::UpdateToolTips);
    UpdateToolTips();
    RefreshMiniToolbar();
}

CodeEditorGroup::~CodeEditorGroup()
{
    StopPylintWorker();
    // The scan runs this library's code: it ends before the library can be unloaded.
    if (m_backgroundScan) {
        disconnect(m_backgroundScan, nullptr, this, nullptr);
        m_backgroundScan->wait();
    }
}

void CodeEditorGroup::EnsurePylintWorker()
{
    if (m_pylintWorker)
        return;
    m_pylintThread = new QThread(this);
    m_pylintThread->setObjectName(QStringLiteral("pylint%1").arg(m_id));
    m_pylintWorker = new PylintWorker;
    connect(this, &CodeEditorGroup::ShutdownWorkers, m_pylintWorker, &PylintWorker::Shutdown);
    connect(this, &CodeEditorGroup::PylintSourceCode, m_pylintWorker, &PylintWorker::Pylint);
    connect(m_pylintWorker, &PylintWorker::PylintOutput, this, &CodeEditorGroup::OnPylintOutput);
    connect(this, &CodeEditorGroup::PylintOptionsChanged, m_pylintWorker, &PylintWorker::SetOptions);
    connect(m_pylintWorker, &PylintWorker::Report, this, [](const QString &message) { HostBridge::showError(message); });
    m_pylintWorker->moveToThread(m_pylintThread);
    m_pylintThread->start(QThread::InheritPriority);
}

void CodeEditorGroup::StopPylintWorker()
{
    if (!m_pylintThread)
        return;
    emit ShutdownWorkers();
    m_pylintThread->quit();
    // The worker kills its pylint within half a second; a thread that still will not end is left
    // to the process's exit rather than freezing the window.
    if (m_pylintThread->wait(3000)) {
        delete m_pylintWorker;
    } else {
        m_pylintThread->setParent(nullptr);
        connect(m_pylintThread, &QThread::finished, m_pylintWorker, &QObject::deleteLater);
        connect(m_pylintThread, &QThread::finished, m_pylintThread, &QObject::deleteLater);
    }
    m_pylintWorker = nullptr;
    m_pylintThread = nullptr;
}

void CodeEditorGroup::ApplyPylintSettings()
{
    if (m_pylintWorker)
        emit PylintOptionsChanged(PylintWorker::Options::FromSettings());
    Analyse();
}

void CodeEditorGroup::OnPylintOutput(const QString &filePath, const QStringList &parts, int n)
{
    CodeEditor *editor = CurrentCodeEditor();
    if (!editor || editor->Path() != filePath) {
        const int index = IndexOfPath(filePath);
        editor = index >= 0 ? CodeEditorAt(index) : nullptr;
    }
    if (!editor || editor->Language() != LANGUAGE_PYTHON || !Settings::instance().pylintActive())
        return;
    CodeEditorMarks marks[MARK_CLASS_COUNT];
    for (const PylintWorker::Message &message : n > 0 ? PylintWorker::Messages(parts) : QVector<PylintWorker::Message>()) {
        // pylint's categories: F (fatal) and E (error) are errors, W (warning) warnings, and
        // C (convention), R (refactor) and I (information) the third, informational class.
        const QChar category = message.category;
        const CodeEditorMarkClass markClass = category == QLatin1Char('F') || category == QLatin1Char('E') ? MARK_ERROR
                                              : category == QLatin1Char('W')                              ? MARK_WARNING
                                                                                                            : MARK_INFORMATION;
        const QTextBlock block = editor->document()->findBlockByNumber(message.line - 1);
        if (!block.isValid())
            continue;
        const int lineEnd = block.position() + block.length() - 1;
        const int start = block.position() + std::min(message.column, block.length() - 1);
        marks[markClass].append({start, lineEnd, QStringLiteral("%1: %2").arg(message.id, message.text)});
    }
    editor->SetDiagnostics(marks[MARK_ERROR], marks[MARK_WARNING], marks[MARK_INFORMATION]);
}

QString CodeEditorGroup::LanguageIconPath(CodeEditorLanguage language)
{
    switch (language) {
    case LANGUAGE_MEL:
        return QStringLiteral(":/ke2_icons/mel.png");
    case LANGUAGE_PYTHON:
        return QStringLiteral(":/ke2_icons/python.png");
    case LANGUAGE_TEXT:
        break;
    }
    return QStringLiteral(":/ke2_icons/text.png");
}

// --- editors ---

int CodeEditorGroup::Count() const
{
    return m_stack->count();
}

int CodeEditorGroup::CurrentIndex() const
{
    return m_tabBar->currentIndex();
}

void CodeEditorGroup::SetCurrentIndex(int index)
{
    if (index >= 0 && index < m_tabBar->count())
        m_tabBar->setCurrentIndex(index);
}

CodeEditor *CodeEditorGroup::CodeEditorAt(int index) const
{
    return qobject_cast<CodeEditor *>(m_stack->widget(index));
}

CodeEditor *CodeEditorGroup::CurrentCodeEditor() const
{
    return CodeEditorAt(m_stack->currentIndex());
}

int CodeEditorGroup::IndexOf(const CodeEditor *codeEditor) const
{
    for (int i = 0; i < m_stack->count(); ++i) {
        if (m_stack->widget(i) == codeEditor)
            return i;
    }
    return -1;
}

int CodeEditorGroup::IndexOfPath(const QString &path) const
{
    if (path.isEmpty())
        return -1;
    for (int i = 0; i < m_stack->count(); ++i) {
        const CodeEditor *editor = CodeEditorAt(i);
        if (editor && editor->Path() == path)
            return i;
    }
    return -1;
}

bool CodeEditorGroup::CountsMatch(const char *message) const
{
    if (m_stack->count() == m_tabBar->count())
        return true;
    HostBridge::showError(QString::fromLatin1(message));
    return false;
}

int CodeEditorGroup::InsertCodeEditor(int index, CodeEditor *codeEditor)
{
    if (!codeEditor || !CountsMatch(insertMismatch))
        return -1;
    if (index < 0 || index > m_stack->count())
        index = m_stack->count();
    const int at = m_stack->insertWidget(index, codeEditor);
    m_tabBar->insertTab(at, QIcon(LanguageIconPath(codeEditor->Language())), codeEditor->DisplayName());
    UpdateTab(at);
    ConnectCodeEditor(codeEditor);
    // The stack keeps its current widget on insertion; the tab bar decides what is current.
    m_stack->setCurrentIndex(m_tabBar->currentIndex());
    return at;
}

int CodeEditorGroup::AddCodeEditor(const CodeEditorRecord &record, const QString &text, int index)
{
    auto *editor = new CodeEditor(record.language, record.path, this);
    editor->SetKind(record.kind);
    editor->SetName(record.name);
    editor->SetPlainTextDeferred(text);
    editor->document()->setModified(false);
    const int at = InsertCodeEditor(index, editor);
    if (at < 0)
        delete editor;
    return at;
}

CodeEditor *CodeEditorGroup::RemoveCodeEditor(int index)
{
    if (!CountsMatch(removeMismatch))
        return nullptr;
    CodeEditor *editor = CodeEditorAt(index);
    if (!editor)
        return nullptr;
    DisconnectCodeEditor(editor);
    editor->SetDropHighlight(QRect());
    m_stack->removeWidget(editor);
    editor->hide();
    m_tabBar->removeTab(index);
    m_stack->setCurrentIndex(m_tabBar->currentIndex());
    if (m_stack->count() == 0 && !m_tabUpdatesSuspended) {
        m_lastParser = nullptr;
        emit ParserUpdated(nullptr);
    }
    return editor;
}

bool CodeEditorGroup::DeleteCodeEditor(int index)
{
    if (!CountsMatch(deleteMismatch))
        return false;
    CodeEditor *editor = RemoveCodeEditor(index);
    delete editor;
    return editor != nullptr;
}

void CodeEditorGroup::ConnectCodeEditor(CodeEditor *e)
{
    connect(e, &CodeEditor::ReceivedFocus, this, &CodeEditorGroup::OnCodeEditorReceivedFocus);
    connect(e, &CodeEditor::TextChanged, this, &CodeEditorGroup::OnTextChanged);
    connect(e, &CodeEditor::ModificationChanged, this, &CodeEditorGroup::OnModificationChanged);
    connect(e, &CodeEditor::FileChanged, this, &CodeEditorGroup::OnFileChanged);
    connect(e, &CodeEditor::cursorPositionChanged, this, &CodeEditorGroup::OnCursorPositionChanged);
    connect(e, &CodeEditor::OverwriteModeChanged, this, &CodeEditorGroup::OnOverwriteModeChanged);
    connect(e, &CodeEditor::ErrorAndWarningTextChanged, this, &CodeEditorGroup::OnErrorAndWarningTextChanged);
    connect(e, &CodeEditor::QuickHelpChanged, this, &CodeEditorGroup::OnQuickHelpChanged);
    connect(e, &CodeEditor::EscapeKeyPressed, this, &CodeEditorGroup::CloseFindReplace);
    connect(e, &CodeEditor::IncreaseFontSizeRequested, this, &CodeEditorGroup::OnIncreaseFontSizeRequested);
    connect(e, &CodeEditor::DecreaseFontSizeRequested, this, &CodeEditorGroup::OnDecreaseFontSizeRequested);
    connect(e, &CodeEditor::ExecuteRequested, this, &CodeEditorGroup::OnExecute);
    connect(e, &CodeEditor::ExecuteAllRequested, this, &CodeEditorGroup::OnExecuteAll);
    connect(e, &CodeEditor::ExecuteLineRequested, this, &CodeEditorGroup::OnExecuteLine);
    connect(e, &CodeEditor::SaveScriptToShelfRequested, this, &CodeEditorGroup::OnSaveScriptToShelf);
    // Tabs and files dragged over the text (or over the line numbers, which pass drags on to
    // the editor) land in the group, not in the text.
    e->installEventFilter(this);
    e->viewport()->installEventFilter(this);
}

void CodeEditorGroup::DisconnectCodeEditor(CodeEditor *codeEditor)
{
    disconnect(codeEditor, nullptr, this, nullptr);
    codeEditor->removeEventFilter(this);
    codeEditor->viewport()->removeEventFilter(this);
}

void CodeEditorGroup::UpdateTab(int index)
{
    const CodeEditor *editor = CodeEditorAt(index);
    if (!editor)
        return;
    m_tabBar->setTabText(index, editor->DisplayName());
    // An internal buffer's file is the editor's own business: the tip names the buffer instead.
    m_tabBar->setTabToolTip(index, editor->Kind() == CODE_EDITOR_FILE ? editor->Path()
                                                                     : QStringLiteral("%1 (%2 buffer)").arg(
                                                                           editor->DisplayName(),
                                                                           languageName(editor->Language())));
    m_tabBar->setTabIcon(index, QIcon(LanguageIconPath(editor->Language())));
    m_tabBar->SetTabModified(index, editor->document()->isModified());
}

CodeEditorRecord CodeEditorGroup::Record(int index) const
{
    const CodeEditor *editor = CodeEditorAt(index);
    return editor ? editor->Record() : CodeEditorRecord();
}

void CodeEditorGroup::SetRecord(int index, const CodeEditorRecord &record)
{
    if (CodeEditor *editor = CodeEditorAt(index)) {
        editor->SetRecord(record);
        UpdateTab(index);
    }
}

void CodeEditorGroup::SetText(int index, const QString &text)
{
    if (CodeEditor *editor = CodeEditorAt(index)) {
        editor->setPlainText(text);
        editor->document()->setModified(false);
    }
}

bool CodeEditorGroup::IsModified(int index) const
{
    const CodeEditor *editor = CodeEditorAt(index);
    return editor && editor->document()->isModified();
}

void CodeEditorGroup::SetCursorAndScrollPosition(int index, int cursorPosition, int scrollPosition)
{
    CodeEditor *editor = CodeEditorAt(index);
    if (!editor)
        return;
    QTextCursor cursor = editor->textCursor();
    cursor.setPosition(std::clamp(cursorPosition, 0, editor->document()->characterCount() - 1));
    editor->setTextCursor(cursor);
    for (QObject *pending : editor->findChildren<QObject *>(PendingScroll::name(), Qt::FindDirectChildrenOnly))
        delete pending;
    if (editor->isVisible()) {
        editor->horizontalScrollBar()->setValue(0);
        editor->verticalScrollBar()->setValue(scrollPosition);
        if (editor->verticalScrollBar()->value() == scrollPosition)
            return;
    }
    new PendingScroll(editor, scrollPosition);
}

int CodeEditorGroup::TabBarScrollOffset() const
{
    return m_tabBar->ScrollOffset();
}

void CodeEditorGroup::SetTabBarScrollOffset(int offset)
{
    m_tabBar->SetScrollOffset(offset);
}

void CodeEditorGroup::SuspendTabUpdates(bool suspend)
{
    if (m_tabUpdatesSuspended == suspend)
        return;
    m_tabUpdatesSuspended = suspend;
    if (!suspend) {
        Analyse();
        emit CurrentTabChanged();
    }
}

// --- analysis ---

void CodeEditorGroup::UpdateParser()
{
    Analyse();
}

void CodeEditorGroup::Analyse(const QString *known)
{
    if (m_tabUpdatesSuspended || !isVisible())
        return;
    CodeEditor *editor = CurrentCodeEditor();
    BaseParser *parser = nullptr;
    const bool scripted = editor && (editor->Language() == LANGUAGE_MEL || editor->Language() == LANGUAGE_PYTHON);
    // The MEL linter reads the host's lists, which only this thread may: a linted buffer is
    // scanned here up to a larger size.
    const int bound = scripted && editor->Language() == LANGUAGE_MEL && Settings::instance().melLintEnabled
                          ? std::max(backgroundScanLength, backgroundLintLength)
                          : backgroundScanLength;
    if (scripted && editor->document()->characterCount() > bound) {
        AnalyseInBackground(editor, known ? *known : QString());
        return;
    }
    ++m_backgroundGeneration; // a scan still running is for another buffer or text
    if (scripted && editor->Language() == LANGUAGE_MEL)
        parser = &m_melParser;
    else if (scripted)
        parser = &m_pythonParser;
    if (!parser) {
        if (editor)
            editor->SetDiagnostics({}, {}, {});
        m_lastParser = nullptr;
        emit ParserUpdated(nullptr);
        return;
    }
    const QString text = known ? *known : editor->toPlainText();
    if (parser == &m_melParser)
        m_melParser.SetLinting(Settings::instance().melLintEnabled, &MelCommandCatalog::instance());
    parser->Parse(text, editor->Path());
    if (parser == &m_melParser) {
        if (Settings::instance().melLintEnabled)
            MelProcedureIndex::instance().Store(editor->document(), m_melParser.Procedures());
        MelCommandCatalog::instance().Flush();
    }
    const CodeEditorMarks todos = toMarks(parser->Todos(), text.size());
    const CodeEditorMarks warnings = toMarks(parser->Warnings(), text.size());
    const CodeEditorMarks errors = toMarks(parser->Errors(), text.size());
    // With pylint on, a Python buffer's diagnostics come from the worker instead: the text goes
    // to it here and the parser's lists are not handed on.
    if (parser == &m_pythonParser && Settings::instance().pylintActive())
        RequestPylint(text, editor->Path());
    else
        editor->SetDiagnostics(errors, warnings, todos);
    m_lastParser = parser;
    emit ParserUpdated(parser);
}

int CodeEditorGroup::backgroundScanLength = 1024 * 1024;
int CodeEditorGroup::backgroundLintLength = 8 * 1024 * 1024;

void CodeEditorGroup::RequestPylint(const QString &text, const QString &path)
{
    EnsurePylintWorker();
    QStringList folders = m_importFolders ? m_importFolders() : QStringList();
    for (QString &folder : folders)
        folder = QDir::toNativeSeparators(folder);
    if (!HostBridge::pythonPathString().isEmpty())
        folders.append(HostBridge::pythonPathString());
    emit PylintSourceCode(text, path, folders.join(QDir::listSeparator()));
}

void CodeEditorGroup::AnalyseInBackground(CodeEditor *editor, const QString &known)
{
    const quint64 generation = ++m_backgroundGeneration;
    if (m_backgroundScan) {
        // One scan at a time: the one running is of older text; this buffer's newest text is
        // scanned when it ends.
        m_backgroundAgain = true;
        return;
    }
    std::shared_ptr<BaseParser> parser;
    if (editor->Language() == LANGUAGE_MEL)
        parser = std::make_shared<MelParser>(); // without the linter: it reads the host's lists
    else
        parser = std::make_shared<PythonParser>();
    const QString path = editor->Path();
    // Without the text at hand it is joined from the buffer's mirror on the scan's thread: no
    // copy of it is made here.
    const TextSnapshot snapshot = known.isNull() ? editor->Snapshot() : TextSnapshot();
    auto text = std::make_shared<QString>(known);
    // The procedures a MEL buffer defines are found there too: the index that other buffers'
    // checks and signature help read does not read a large buffer itself.
    auto procedures = std::make_shared<QVector<MelProcedure>>();
    const bool mel = editor->Language() == LANGUAGE_MEL;
    m_backgroundScan = QThread::create([parser, snapshot, text, path, procedures, mel] {
        if (text->isNull())
            *text = snapshot.PlainText();
        parser->Parse(*text, path);
        if (mel)
            *procedures = MelLinter(*text).Procedures();
    });
    connect(m_backgroundScan, &QThread::finished, m_backgroundScan, &QObject::deleteLater);
    const QPointer<CodeEditor> target(editor);
    connect(m_backgroundScan, &QThread::finished, this, [this, parser, target, generation, text, procedures, mel] {
        m_backgroundScan = nullptr;
        if (m_backgroundAgain) {
            m_backgroundAgain = false;
            Analyse();
            return;
        }
        // Edited, closed or switched away from meanwhile: the result is of text no longer shown.
        if (generation != m_backgroundGeneration || !target || target != CurrentCodeEditor())
            return;
        const int length = int(text->size());
        if (mel)
            MelProcedureIndex::instance().Store(target->document(), *procedures);
        if (target->Language() == LANGUAGE_PYTHON && Settings::instance().pylintActive())
            RequestPylint(*text, target->Path());
        else
            target->SetDiagnostics(toMarks(parser->Errors(), length), toMarks(parser->Warnings(), length),
                                   toMarks(parser->Todos(), length));
        m_backgroundParser = parser;
        m_lastParser = parser.get();
        emit ParserUpdated(parser.get());
    });
    m_backgroundScan->start(QThread::LowPriority);
}

void CodeEditorGroup::SetActive(bool active)
{
    m_active = active;
    const QBrush accent = ColorScheme::instance().codeEditorRoles.format(ColorRoleName::selectedText).background();
    m_tabBar->SetAccentColor(active && accent.style() != Qt::NoBrush ? accent.color() : QColor());
}

void CodeEditorGroup::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    Analyse();
}

// --- mini toolbar ---

void CodeEditorGroup::RefreshMiniToolbar()
{
    const Settings &settings = Settings::instance();
    m_executeAllButton->setVisible(settings.showCodeEditorExecuteAllBtn);
    m_executeButton->setVisible(settings.showCodeEditorExecuteBtn);
    m_executeLineButton->setVisible(settings.showCodeEditorExecuteLineBtn);
    m_miniToolbar->setVisible(settings.showTabBarMiniToolbar);
    m_tabClip->setVisible(settings.showTabBar);
    m_tabBar->setTabsClosable(settings.showCloseButtonOnTabs);
    if (m_scrollLeftButton->icon().isNull())
        m_scrollLeftButton->setArrowType(Qt::LeftArrow);
    if (m_scrollRightButton->icon().isNull())
        m_scrollRightButton->setArrowType(Qt::RightArrow);
}

void CodeEditorGroup::UpdateToolTips()
{
    const KeyBindings &bindings = KeyBindings::instance();
    m_executeAllButton->setToolTip(bindings.toolTip(QStringLiteral("executeAll"), m_executeAllButton->text()));
    m_executeButton->setToolTip(bindings.toolTip(QStringLiteral("execute"), m_executeButton->text()));
    m_executeLineButton->setToolTip(bindings.toolTip(QStringLiteral("executeLine"), m_executeLineButton->text()));
}

void CodeEditorGroup::ToggleMiniToolbarDisplay()
{
    Settings::instance().showTabBarMiniToolbar = !Settings::instance().showTabBarMiniToolbar;
    RefreshMiniToolbar();
    emit MiniToolbarDisplayModified();
}

void CodeEditorGroup::ShowMiniToolbarContextMenu(const QPoint &globalPos)
{
    QMenu menu(this);
    menu.addAction(Settings::instance().showTabBarMiniToolbar ? QStringLiteral("Hide Mini Toolbar")
                                                                : QStringLiteral("Show Mini Toolbar"),
                   this, &CodeEditorGroup::ToggleMiniToolbarDisplay);
    menu.exec(globalPos);
}

void CodeEditorGroup::ShowOpenCodeEditorContextMenu()
{
    QMenu menu(this);
    for (int i = 0; i < Count(); ++i) {
        const CodeEditor *editor = CodeEditorAt(i);
        QAction *action = menu.addAction(QIcon(LanguageIconPath(editor->Language())), editor->DisplayName(),
                                         this, &CodeEditorGroup::SetCurrentTabFromAction);
        action->setData(i);
        action->setCheckable(true);
        action->setChecked(i == CurrentIndex());
    }
    menu.exec(m_listButton->mapToGlobal(QPoint(0, m_listButton->height())));
}

void CodeEditorGroup::SetCurrentTabFromAction()
{
    if (auto *action = qobject_cast<QAction *>(sender())) {
        SetCurrentIndex(action->data().toInt());
        FocusCurrentCodeEditor();
    }
}

void CodeEditorGroup::BeginScrollingLeft() { m_tabBar->BeginScrollingLeft(); }
void CodeEditorGroup::BeginScrollingRight() { m_tabBar->BeginScrollingRight(); }
void CodeEditorGroup::EndScrolling() { m_tabBar->EndScrolling(); }

void CodeEditorGroup::FocusCurrentCodeEditor()
{
    if (CodeEditor *editor = CurrentCodeEditor())
        editor->setFocus(Qt::OtherFocusReason);
}

// --- tab bar requests ---

void CodeEditorGroup::OnNewTabRequested() { emit NewTabRequested(); }
void CodeEditorGroup::OnCloseTabRequested(int index) { emit CloseTabRequested(this, index); }
void CodeEditorGroup::OnCloseOtherTabsRequested(int index) { emit CloseOtherTabsRequested(this, index); }
void CodeEditorGroup::OnCloseTabsToRightRequested(int index) { emit CloseTabsToRightRequested(this, index); }
void CodeEditorGroup::OnRenameRequested(int index) { emit RenameRequested(this, index); }

void CodeEditorGroup::OnCurrentTabChanged(int index)
{
    m_stack->setCurrentIndex(index);
    if (m_tabUpdatesSuspended)
        return;
    ApplySearchToCurrentEditor();
    Analyse();
    emit CurrentTabChanged();
}

void CodeEditorGroup::OnMoveTabRequested(int fromGroup, int fromIndex, int toGroup, int toIndex)
{
    emit MoveTabRequested(fromGroup, fromIndex, toGroup, toIndex);
}

void CodeEditorGroup::OnOpenFileRequested(int index, const QString &path)
{
    emit OpenFileRequested(m_id, index, path);
}

void CodeEditorGroup::CopyPath(int index)
{
    if (const CodeEditor *editor = CodeEditorAt(index))
        QGuiApplication::clipboard()->setText(QDir::toNativeSeparators(editor->Path()));
}

void CodeEditorGroup::OnShowInFolder(int index)
{
    const CodeEditor *editor = CodeEditorAt(index);
    if (editor && !editor->Path().isEmpty())
        QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(editor->Path()).absolutePath()));
}

void CodeEditorGroup::OnShowInSideBar(int index)
{
    if (const CodeEditor *editor = CodeEditorAt(index))
        emit ShowInSideBarRequested(editor->Path());
}

// --- editor events ---

bool CodeEditorGroup::IsCurrentSender() const
{
    return sender() && sender() == CurrentCodeEditor();
}

void CodeEditorGroup::OnCodeEditorReceivedFocus() { emit ReceivedFocus(this); }

void CodeEditorGroup::OnTextChanged(const QString &path, const QString &text)
{
    if (IsCurrentSender()) {
        Analyse(&text);
        m_pauseText = text;
        UpdateCounter();
        m_pauseText = QString();
    }
    emit TextChanged(path, text);
}

void CodeEditorGroup::OnModificationChanged(bool modified, CodeEditor *codeEditor)
{
    m_tabBar->SetTabModified(IndexOf(codeEditor), modified);
}

void CodeEditorGroup::OnFileChanged(const QString &path) { emit FileChanged(path); }
void CodeEditorGroup::OnCursorPositionChanged()
{
    if (auto *editor = qobject_cast<CodeEditor *>(sender())) {
        RestoreCursorAfterUndo(editor);
        // A selection the user makes is the scope Find in Selection takes later.
        if (!m_movingSelection && editor == CurrentCodeEditor())
            m_userSelection = editor->textCursor();
    }
    // After an edit the matches are counted again once the typing pauses (OnTextChanged).
    if (CurrentCodeEditor() && CurrentCodeEditor()->document()->revision() == m_matchRevision)
        UpdateCounter();
    emit CursorPositionChanged();
}
void CodeEditorGroup::OnOverwriteModeChanged() { emit OverwriteModeChanged(); }
void CodeEditorGroup::OnErrorAndWarningTextChanged() { emit ErrorAndWarningTextChanged(); }

void CodeEditorGroup::OnQuickHelpChanged(const QString &text, bool showWhenHidden)
{
    emit QuickHelpChanged(text, showWhenHidden);
}

void CodeEditorGroup::OnIncreaseFontSizeRequested() { emit IncreaseFontSizeRequested(); }
void CodeEditorGroup::OnDecreaseFontSizeRequested() { emit DecreaseFontSizeRequested(); }
void CodeEditorGroup::OnExecute() { emit ExecutePressed(); }
void CodeEditorGroup::OnExecuteAll() { emit ExecuteAllPressed(); }
void CodeEditorGroup::OnExecuteLine() { emit ExecuteLinePressed(); }
void CodeEditorGroup::OnSaveScriptToShelf() { emit SaveScriptToShelfPressed(); }

// --- drops ---

bool CodeEditorGroup::UpdateDrag(const QPoint &pos, const QMimeData *mime)
{
    const QRect area = m_stack->geometry();
    if (!area.contains(pos) || !isSupportedDrag(mime)) {
        ClearDropHighlight();
        return false;
    }
    const bool vertical = Settings::instance().codeEditorOrientVertical;
    const QPoint local = pos - area.topLeft();
    m_dropZone = tabDropZoneAt(vertical ? local.y() : local.x(), vertical ? area.height() : area.width(),
                               m_edgeDropZonesAllowed);
    const QRect highlight = tabDropZoneRect(m_dropZone, area, vertical);
    if (highlight != m_dropHighlight) {
        m_dropHighlight = highlight;
        if (CodeEditor *editor = CurrentCodeEditor())
            editor->SetDropHighlight(highlight.translated(-area.topLeft()));
        update();
    }
    return true;
}

void CodeEditorGroup::ClearDropHighlight()
{
    m_dropZone = TAB_DROP_ZONE_CENTER;
    if (m_dropHighlight.isNull())
        return;
    m_dropHighlight = QRect();
    for (int i = 0; i < Count(); ++i)
        CodeEditorAt(i)->SetDropHighlight(QRect());
    update();
}

void CodeEditorGroup::Drop(const QPoint &pos, const QMimeData *mime)
{
    if (!UpdateDrag(pos, mime))
        return;
    const TabDropZone zone = m_dropZone;
    ClearDropHighlight();
    int fromGroup = 0, fromIndex = 0;
    if (CodeEditorGroupTabBar::ReadMoveCodeEditorMimeData(mime, &fromGroup, &fromIndex)) {
        emit MoveTabToZoneRequested(fromGroup, fromIndex, m_id, zone);
        return;
    }
    QStringList paths;
    for (const QUrl &url : mime->urls()) {
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    }
    if (!paths.isEmpty())
        emit OpenFilesRequested(m_id, zone, paths);
}

void CodeEditorGroup::dragEnterEvent(QDragEnterEvent *event)
{
    // A supported drag is let in wherever it enters, so that it keeps reporting its moves; only
    // positions over the editors count.
    if (!isSupportedDrag(event->mimeData())) {
        ClearDropHighlight();
        event->ignore();
        return;
    }
    UpdateDrag(event->pos(), event->mimeData());
    event->acceptProposedAction();
}

void CodeEditorGroup::dragMoveEvent(QDragMoveEvent *event)
{
    if (UpdateDrag(event->pos(), event->mimeData()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void CodeEditorGroup::dragLeaveEvent(QDragLeaveEvent *event)
{
    ClearDropHighlight();
    event->accept();
}

void CodeEditorGroup::dropEvent(QDropEvent *event)
{
    if (!UpdateDrag(event->pos(), event->mimeData())) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
    Drop(event->pos(), event->mimeData());
}

bool CodeEditorGroup::eventFilter(QObject *watched, QEvent *event)
{
    const QEvent::Type type = event->type();
    if (watched == m_stack && type == QEvent::Resize)
        PlaceFindReplace();
    if (type != QEvent::DragEnter && type != QEvent::DragMove && type != QEvent::DragLeave && type != QEvent::Drop)
        return QWidget::eventFilter(watched, event);
    auto *widget = qobject_cast<QWidget *>(watched);
    if (!widget)
        return false;
    if (type == QEvent::DragLeave) {
        ClearDropHighlight();
        return false;
    }
    auto *drop = static_cast<QDropEvent *>(event);
    const QPoint pos = widget->mapTo(this, drop->pos());
    if (!UpdateDrag(pos, drop->mimeData()))
        return false; // text for the editor itself
    drop->acceptProposedAction();
    if (type == QEvent::Drop)
        Drop(pos, drop->mimeData());
    return true;
}

void CodeEditorGroup::paintEvent(QPaintEvent *event)
{
    QWidget::paintEvent(event);
    // With an editor showing, the editor draws the highlight over its text.
    if (m_dropHighlight.isNull() || CurrentCodeEditor())
        return;
    QPainter painter(this);
    QColor fill = palette().color(QPalette::Highlight);
    fill.setAlpha(70);
    painter.fillRect(m_dropHighlight, fill);
}

} // namespace ke2
