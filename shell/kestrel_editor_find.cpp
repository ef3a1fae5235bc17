// The window's side of finding: the find and replace bar of the active group, the go-to box and
// find in files.
#include "shell/kestrel_editor.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "groups/code_editor_group_tab_bar.h"
#include "language/mel_parser.h"
#include "language/python_parser.h"
#include "overlays/find_replace_widget.h"
#include "overlays/go_to_widget.h"
#include "plugin/host_bridge.h"
#include "shell/buffer_io.h"
#include "views/find_in_files_view.h"
#include "views/side_bar.h"
#include "views/workspace_tree_widget.h"
#include "views/workspace_view.h"

#include <QtCore/QDirIterator>
#include <QtCore/QElapsedTimer>
#include <QtGui/QTextBlock>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QToolButton>

namespace ke2 {

namespace {

// The workspace's files for the go-to box, as far as a quick walk gets: hidden entries and
// compiled Python files are left out as the workspace view leaves them out, and links to
// folders are not followed (no loops).
constexpr int goToFileLimit = 20000;
constexpr int goToWalkBudgetMs = 300;

} // namespace

void KestrelEditor::Find()
{
    if (CodeEditorGroup *group = ActiveGroup())
        group->ShowFindReplace(false);
}

void KestrelEditor::Replace()
{
    if (CodeEditorGroup *group = ActiveGroup())
        group->ShowFindReplace(true);
}

void KestrelEditor::FindNext()
{
    if (CodeEditorGroup *group = ActiveGroup())
        group->FindNext();
}

void KestrelEditor::FindPrevious()
{
    if (CodeEditorGroup *group = ActiveGroup())
        group->FindPrevious();
}

void KestrelEditor::SelectAndFindNext()
{
    if (CodeEditorGroup *group = ActiveGroup())
        group->SelectAndFind(true);
}

void KestrelEditor::SelectAndFindPrevious()
{
    if (CodeEditorGroup *group = ActiveGroup())
        group->SelectAndFind(false);
}

void KestrelEditor::ReplaceNext()
{
    if (CodeEditorGroup *group = ActiveGroup())
        group->Replace(group->FindReplace()->ReplaceText());
}

void KestrelEditor::ReplaceAll()
{
    if (CodeEditorGroup *group = ActiveGroup())
        group->ReplaceAll(group->FindReplace()->ReplaceText());
}

// --- Go to ---------------------------------------------------------------------------------------

void KestrelEditor::GoToFile() { OpenGoTo(QString()); }
void KestrelEditor::GoToSymbolInFile() { OpenGoTo(QStringLiteral("@")); }
void KestrelEditor::GoToLine() { OpenGoTo(QStringLiteral(":")); }

QStringList KestrelEditor::GoToFiles() const
{
    QStringList files;
    for (CodeEditorGroup *group : m_groups)
        for (int i = 0; i < group->Count(); ++i)
            if (group->Record(i).kind == CODE_EDITOR_FILE)
                files << group->Record(i).path;
    files << Settings::instance().recentFiles;
    WorkspaceTreeWidget *tree = m_sideBar->Workspace()->Tree();
    const bool hideCompiled = Settings::instance().pythonHideCompiledFiles;
    QElapsedTimer clock;
    clock.start();
    int listed = 0;
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        QDirIterator it(WorkspaceTreeWidget::ItemPath(tree->topLevelItem(i)), QDir::Files | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        while (it.hasNext() && ++listed < goToFileLimit && clock.elapsed() < goToWalkBudgetMs) {
            const QString path = it.next();
            if (!(hideCompiled && path.endsWith(QLatin1String(".pyc"))))
                files << path;
        }
    }
    files.removeDuplicates();
    return files;
}

void KestrelEditor::OpenGoTo(const QString &prefix)
{
    if (!m_goTo) {
        m_goTo = new GoToWidget(this);
        connect(m_goTo, &GoToWidget::FileSelected, this, [this](const QString &path) { OpenFile(path); });
        connect(m_goTo, &GoToWidget::PositionSelected, this,
                [this](int position) { OnOutlineSelectionChanged(position, position); });
        connect(m_goTo, &GoToWidget::LineSelected, this, [this](int line) {
            if (CodeEditor *editor = ActiveCodeEditor()) {
                editor->setTextCursor(QTextCursor(editor->document()->findBlockByNumber(line - 1)));
                editor->centerCursor();
                editor->setFocus();
            }
        });
        connect(m_goTo, &GoToWidget::Closed, this, [this] {
            if (CodeEditor *editor = ActiveCodeEditor())
                if (!m_goTo->isAncestorOf(focusWidget()))
                    editor->setFocus();
        });
    }
    CodeEditor *editor = ActiveCodeEditor();
    QVector<OutlineItem> symbols;
    if (editor && editor->Language() != LANGUAGE_TEXT) {
        // A fresh scan: the group's last one may be a keystroke behind.
        std::unique_ptr<BaseParser> parser;
        if (editor->Language() == LANGUAGE_MEL)
            parser = std::make_unique<MelParser>();
        else
            parser = std::make_unique<PythonParser>();
        parser->Parse(editor->toPlainText(), editor->Path());
        for (const OutlineItem *item : parser->OutlineItems())
            symbols.append(*item);
    }
    m_goTo->SetSymbols(symbols);
    m_goTo->SetLineCount(editor ? editor->blockCount() : 1);
    m_goTo->SetFiles(prefix.isEmpty() ? GoToFiles() : QStringList());

    // Over the top of the active group, below its tabs.
    QWidget *over = ActiveGroup() ? static_cast<QWidget *>(ActiveGroup()) : static_cast<QWidget *>(this);
    const QRect area(over->mapTo(this, QPoint(0, 0)), over->size());
    const int width = qBound(qMin(240, area.width()), area.width() - 40, 560);
    const int top = ActiveGroup() ? ActiveGroup()->TabBar()->height() : 0;
    m_goTo->setGeometry(area.x() + (area.width() - width) / 2, area.y() + top, width, m_goTo->height());
    m_goTo->Open(prefix);
}

} // namespace ke2

namespace ke2 {

// --- Find in files -------------------------------------------------------------------------------

void KestrelEditor::CreateFindInFiles()
{
    m_findInFiles = new FindInFilesView;
    m_sideBar->SetView(SIDE_BAR_VIEW_SEARCH, m_findInFiles, QStringLiteral("Search"));
    m_findInFiles->SetQueryProvider([this](FindInFilesQuery &query) {
        WorkspaceTreeWidget *tree = m_sideBar->Workspace()->Tree();
        for (int i = 0; i < tree->topLevelItemCount(); ++i)
            query.roots << WorkspaceTreeWidget::ItemPath(tree->topLevelItem(i));
        // Open buffers are searched as they are in their tabs, saved or not.
        for (CodeEditorGroup *group : qAsConst(m_groups)) {
            for (int i = 0; i < group->Count(); ++i) {
                CodeEditor *editor = group->CodeEditorAt(i);
                if (editor->Kind() != CODE_EDITOR_FILE)
                    continue;
                query.openTexts.insert(editor->Path(), editor->toPlainText());
                // Without a workspace, the open files' folders are searched.
                if (tree->topLevelItemCount() == 0)
                    query.roots << QFileInfo(editor->Path()).absolutePath();
            }
        }
        query.roots.removeDuplicates();
        query.hideCompiled = Settings::instance().pythonHideCompiledFiles;
    });
    connect(m_findInFiles, &FindInFilesView::OpenMatchRequested, this,
            [this](const QString &path, int line, int column, int length) {
                OpenFile(path);
                CodeEditor *editor = ActiveCodeEditor();
                if (!editor || QFileInfo(editor->Path()) != QFileInfo(path))
                    return;
                const QTextBlock block = editor->document()->findBlockByNumber(line);
                if (!block.isValid())
                    return;
                const int start = block.position() + qMin(column, block.length() - 1);
                QTextCursor cursor(editor->document());
                cursor.setPosition(start);
                cursor.setPosition(qMin(start + length, block.position() + block.length() - 1), QTextCursor::KeepAnchor);
                editor->SetFindInFilesRegex(m_findInFiles->Regex());
                editor->setTextCursor(cursor);
                editor->centerCursor();
            });
    connect(m_findInFiles, &FindInFilesView::ReplaceRequested, this, &KestrelEditor::ApplyReplaceInFiles);
    connect(m_sideBar->Workspace(), &WorkspaceView::FindInSelected, this, [this](const QString &paths, const QString &title) {
        m_findInFiles->SetScope(paths.split(QDir::listSeparator(), Qt::SkipEmptyParts), title);
        ShowSearch();
        m_findInFiles->Focus();
        m_findInFiles->StartSearch();
    });
}

void KestrelEditor::FindInFiles()
{
    ShowSearch();
    QString seed;
    if (CodeEditor *editor = ActiveCodeEditor()) {
        const QString selected = editor->textCursor().selectedText();
        if (!selected.contains(QChar::ParagraphSeparator))
            seed = selected;
    }
    m_findInFiles->Focus(seed);
}

void KestrelEditor::ReplaceInFiles()
{
    FindInFiles();
    if (!m_findInFiles->ReplaceEdit()->isVisible())
        m_findInFiles->findChild<QToolButton *>(QStringLiteral("Toggle Replace"))->click();
}

void KestrelEditor::FindInFilesNext() { m_findInFiles->OpenAdjacentResult(1); }
void KestrelEditor::FindInFilesPrevious() { m_findInFiles->OpenAdjacentResult(-1); }

void KestrelEditor::ApplyReplaceInFiles(const QRegularExpression &regex, const QString &replaceText, const QStringList &paths,
                                       bool templateReplace)
{
    const TextSearch search(regex, templateReplace);
    if (search.FindsNothing())
        return;
    // A file whose search is cut short is left whole rather than changed in part.
    auto complete = [&search](const QString &path, const QString &text, QVector<TextMatch> &matches) {
        if (search.FindAll(text, matches, QDeadlineTimer(5000)))
            return true;
        HostBridge::showWarning(QStringLiteral("Replace in Files left %1 unchanged: the search stopped early because "
                                               "the pattern takes too long on its text.")
                                    .arg(QDir::toNativeSeparators(path)));
        return false;
    };
    for (const QString &path : paths) {
        CodeEditor *editor = nullptr;
        for (CodeEditorGroup *group : qAsConst(m_groups))
            if (group->IndexOfPath(path) >= 0)
                editor = group->CodeEditorAt(group->IndexOfPath(path));
        QVector<TextMatch> matches;
        if (editor) {
            const QString text = editor->toPlainText();
            if (!complete(path, text, matches))
                continue;
            QTextCursor cursor(editor->document());
            cursor.beginEditBlock(); // undone in one step in its tab
            for (int i = matches.size() - 1; i >= 0; --i) {
                cursor.setPosition(matches.at(i).start);
                cursor.setPosition(matches.at(i).start + matches.at(i).length, QTextCursor::KeepAnchor);
                cursor.insertText(search.Replacement(text, matches.at(i), replaceText));
            }
            cursor.endEditBlock();
            continue;
        }
        QString text;
        TextFileFormat format;
        if (!ReadFile(path, text, format, true))
            continue;
        if (complete(path, text, matches) && !matches.isEmpty())
            m_bufferIo->Write(path, search.ReplacedText(text, matches, replaceText), format); // atomic; failures are reported
    }
}

} // namespace ke2
