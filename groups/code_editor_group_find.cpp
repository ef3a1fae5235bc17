// The group's side of the find and replace bar: counting the matches in the current editor,
// moving its selection between them, and replacing.
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "overlays/find_replace_widget.h"

#include "plugin/host_bridge.h"

#include <QtCore/QScopedValueRollback>
#include <QtCore/QTimer>
#include <QtGui/QAbstractUndoItem>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QStackedWidget>

#include <algorithm>

namespace ke2 {

void CodeEditorGroup::CreateFindReplace()
{
    m_findReplace = new FindReplaceWidget(m_stack);
    m_stack->installEventFilter(this);
    FindReplaceWidget *bar = m_findReplace;
    connect(bar, &FindReplaceWidget::SearchChanged, this, &CodeEditorGroup::OnSearchChanged);
    connect(bar, &FindReplaceWidget::ReplaceRequested, this, &CodeEditorGroup::Replace);
    connect(bar, &FindReplaceWidget::ReplaceAllRequested, this, &CodeEditorGroup::ReplaceAll);
    connect(bar, &FindReplaceWidget::FindNextRequested, this, &CodeEditorGroup::FindNext);
    connect(bar, &FindReplaceWidget::FindPreviousRequested, this, &CodeEditorGroup::FindPrevious);
    connect(bar, &FindReplaceWidget::ShowRequested, this, &CodeEditorGroup::ShowFindReplace);
    connect(bar, &FindReplaceWidget::Closed, this, &CodeEditorGroup::OnFindReplaceClosed);
}

void CodeEditorGroup::PlaceFindReplace()
{
    CodeEditor *editor = CurrentCodeEditor();
    int right = m_stack->width();
    if (editor && editor->verticalScrollBar()->isVisible())
        right -= editor->verticalScrollBar()->width();
    const int available = right - 4;
    m_findReplace->FitWidth(available);
    m_findReplace->move(qMax(0, right - m_findReplace->width() - 2), 0);
    m_findReplace->raise();
}

const QVector<TextMatch> &CodeEditorGroup::Matches()
{
    CodeEditor *editor = CurrentCodeEditor();
    if (!editor || m_search.FindsNothing()) {
        m_matches.clear();
        m_matchesComplete = true;
        m_matchEditor = editor;
        m_matchesStale = true;
        return m_matches;
    }
    const int revision = editor->document()->revision();
    const bool scoped = m_findInSelection && editor->HasFindScope();
    const int from = scoped ? editor->FindScopeStart() : 0;
    const int to = scoped ? editor->FindScopeEnd() : -1;
    if (!m_matchesStale && m_matchEditor == editor && m_matchRevision == revision && m_matchFrom == from
        && m_matchTo == to)
        return m_matches;
    if (m_matchEditor != editor || m_matchRevision != revision) {
        // The old copy goes first: its memory is then free for the new one, which would
        // otherwise be fresh pages from the system, a cost that grows faster than the text.
        m_matchText = QString();
        // The text the pause brought is the document's as it is now: no second copy of it.
        m_matchText = m_pauseText.isNull() ? editor->document()->toPlainText() : m_pauseText;
    }
    m_matchEditor = editor;
    m_matchRevision = revision;
    m_matchFrom = from;
    m_matchTo = to;
    m_matchesStale = false;
    m_matches.clear();
    m_message.clear();
    m_matchesComplete = m_search.FindAll(m_matchText, from, to < 0 ? m_matchText.size() : to, m_matches,
                                         QDeadlineTimer(countBudgetMs));
    return m_matches;
}

int CodeEditorGroup::MatchIndexAtCursor()
{
    const QVector<TextMatch> &matches = Matches();
    const QTextCursor cursor = CurrentCodeEditor() ? CurrentCodeEditor()->textCursor() : QTextCursor();
    const int start = cursor.selectionStart();
    auto it = std::lower_bound(matches.begin(), matches.end(), start,
                               [](const TextMatch &match, int position) { return match.start < position; });
    return it == matches.end() ? (matches.isEmpty() ? -1 : 0) : int(it - matches.begin());
}

void CodeEditorGroup::UpdateCounter()
{
    if (!m_findReplace->isVisible())
        return;
    CodeEditor *editor = CurrentCodeEditor();
    // A note (as "12 replaced") stays until the text or the search changes.
    if (!m_message.isEmpty() && editor && editor == m_messageEditor
        && editor->document()->revision() == m_messageRevision) {
        m_findReplace->ShowMessage(m_message);
        return;
    }
    m_message.clear();
    const int index = MatchIndexAtCursor();
    m_findReplace->UpdateCounter(index + 1, m_matches.size(), m_matchesComplete);
}

void CodeEditorGroup::ShowFindMessage(const QString &message)
{
    m_message = message;
    m_messageEditor = CurrentCodeEditor();
    m_messageRevision = m_messageEditor ? m_messageEditor->document()->revision() : -1;
    m_findReplace->ShowMessage(message);
}

void CodeEditorGroup::SelectMatch(int index)
{
    CodeEditor *editor = CurrentCodeEditor();
    if (!editor || index < 0 || index >= m_matches.size())
        return;
    QTextCursor cursor = editor->textCursor();
    cursor.setPosition(m_matches.at(index).start);
    cursor.setPosition(m_matches.at(index).start + m_matches.at(index).length, QTextCursor::KeepAnchor);
    {
        const QScopedValueRollback<bool> moving(m_movingSelection, true);
        editor->setTextCursor(cursor);
    }
    editor->ensureCursorVisible();
    m_message.clear();
    m_findReplace->UpdateCounter(index + 1, m_matches.size(), m_matchesComplete);
}

void CodeEditorGroup::ApplySearchToCurrentEditor()
{
    CodeEditor *editor = CurrentCodeEditor();
    if (m_searchEditor && m_searchEditor != editor) {
        m_searchEditor->SetFindRegex(QRegularExpression());
        m_searchEditor->ClearFindScope();
    }
    m_searchEditor = editor;
    if (!editor || !m_findReplace->isVisible())
        return;
    editor->SetFindRegex(m_search.FindsNothing() ? QRegularExpression() : m_search.Regex());
    PlaceFindReplace();
    UpdateCounter();
}

void CodeEditorGroup::OnSearchChanged(const QRegularExpression &regex, bool findInSelection, bool findNext,
                                      bool updateSelection)
{
    m_search = TextSearch(regex, m_findReplace->UseRegularExpression());
    m_findInSelection = findInSelection;
    m_matchesStale = true;
    m_message.clear();
    CodeEditor *editor = CurrentCodeEditor();
    if (!editor) {
        m_findReplace->UpdateCounter(0, 0);
        return;
    }
    if (!findInSelection) {
        editor->ClearFindScope();
    } else if (!editor->HasFindScope()) {
        // The scope is the selection the user made, not a match the bar has selected since.
        const QTextCursor cursor = m_userSelection.document() == editor->document() && m_userSelection.hasSelection()
                                       ? m_userSelection
                                       : editor->textCursor();
        if (cursor.hasSelection())
            editor->SetFindScope(cursor.selectionStart(), cursor.selectionEnd());
    }
    ApplySearchToCurrentEditor();
    const QVector<TextMatch> &matches = Matches();
    if (matches.isEmpty()) {
        m_findReplace->UpdateCounter(0, 0, m_matchesComplete);
        return;
    }
    if (findNext)
        FindNext();
    else if (updateSelection)
        SelectMatch(MatchIndexAtCursor());
    else
        UpdateCounter();
}

void CodeEditorGroup::FindNext()
{
    CodeEditor *editor = CurrentCodeEditor();
    const QVector<TextMatch> &matches = Matches();
    if (!editor || matches.isEmpty()) {
        m_findReplace->UpdateCounter(0, 0, m_matchesComplete);
        return;
    }
    const int end = editor->textCursor().selectionEnd();
    const int start = editor->textCursor().selectionStart();
    auto it = std::find_if(matches.begin(), matches.end(), [start, end](const TextMatch &match) {
        return match.start >= end && !(match.start == start && match.start + match.length == end);
    });
    SelectMatch(it == matches.end() ? 0 : int(it - matches.begin())); // wraps at the end
}

void CodeEditorGroup::FindPrevious()
{
    CodeEditor *editor = CurrentCodeEditor();
    const QVector<TextMatch> &matches = Matches();
    if (!editor || matches.isEmpty()) {
        m_findReplace->UpdateCounter(0, 0, m_matchesComplete);
        return;
    }
    const int start = editor->textCursor().selectionStart();
    auto it = std::lower_bound(matches.begin(), matches.end(), start,
                               [](const TextMatch &match, int position) { return match.start < position; });
    SelectMatch(it == matches.begin() ? matches.size() - 1 : int(it - matches.begin()) - 1);
}

void CodeEditorGroup::Replace(const QString &replaceText)
{
    CodeEditor *editor = CurrentCodeEditor();
    const QVector<TextMatch> &matches = Matches();
    if (!editor || matches.isEmpty())
        return;
    QTextCursor cursor = editor->textCursor();
    const TextMatch selected{cursor.selectionStart(), cursor.selectionEnd() - cursor.selectionStart()};
    if (!matches.contains(selected)) {
        FindNext();
        return;
    }
    const QString replacement = m_search.Replacement(m_matchText, selected, replaceText);
    {
        const QScopedValueRollback<bool> moving(m_movingSelection, true);
        cursor.insertText(replacement);
        editor->setTextCursor(cursor);
    }
    FindNext();
}

namespace {

// Undoing a Replace All puts the cursor and the view back where they were before it, not at
// the first or last change: the first item of the edit block, undone last, marks the editor.
class RestoreCursorOnUndo : public QAbstractUndoItem {
public:
    RestoreCursorOnUndo(CodeEditor *editor, int anchor, int position, int scroll)
        : m_editor(editor), m_anchor(anchor), m_position(position), m_scroll(scroll)
    {
    }
    void undo() override
    {
        if (!m_editor)
            return;
        // The cursor is put back at each move until the undo is over (the document and then the
        // editor move it), and once more after, in case the last move left it in place.
        m_editor->setProperty(CodeEditorGroup::restoreCursorProperty, QVariantList{m_anchor, m_position, m_scroll});
        QTimer::singleShot(0, m_editor.data(), [editor = m_editor] {
            if (editor) {
                CodeEditorGroup::RestoreCursorAfterUndo(editor);
                editor->setProperty(CodeEditorGroup::restoreCursorProperty, QVariant());
            }
        });
    }
    void redo() override {}

private:
    QPointer<CodeEditor> m_editor;
    int m_anchor;
    int m_position;
    int m_scroll;
};

} // namespace

void CodeEditorGroup::RestoreCursorAfterUndo(CodeEditor *editor)
{
    const QVariant restore = editor->property(restoreCursorProperty);
    if (!restore.isValid())
        return;
    const QVariantList values = restore.toList();
    const int last = editor->document()->characterCount() - 1;
    QTextCursor cursor(editor->document());
    cursor.setPosition(qBound(0, values.value(0).toInt(), last));
    cursor.setPosition(qBound(0, values.value(1).toInt(), last), QTextCursor::KeepAnchor);
    if (editor->textCursor() != cursor)
        editor->setTextCursor(cursor);
    editor->verticalScrollBar()->setValue(values.value(2).toInt());
}

void CodeEditorGroup::ReplaceAll(const QString &replaceText)
{
    CodeEditor *editor = CurrentCodeEditor();
    const QVector<TextMatch> matches = Matches();
    if (!editor)
        return;
    if (!m_matchesComplete) {
        // Replacing what was found would leave the rest unchanged without a word.
        ShowFindMessage(QStringLiteral("Not replaced"));
        HostBridge::showWarning(QStringLiteral("Replace All did not replace anything: the search stopped early "
                                               "because the pattern takes too long on this text."));
        return;
    }
    if (matches.isEmpty())
        return;
    const QString text = m_matchText;
    const QTextCursor before = editor->textCursor();
    QTextCursor cursor(editor->document());
    {
        const QScopedValueRollback<bool> moving(m_movingSelection, true);
        cursor.beginEditBlock(); // one undo step
        editor->document()->appendUndoItem(new RestoreCursorOnUndo(editor, before.anchor(), before.position(),
                                                                   editor->verticalScrollBar()->value()));
        for (int i = matches.size() - 1; i >= 0; --i) {
            cursor.setPosition(matches.at(i).start);
            cursor.setPosition(matches.at(i).start + matches.at(i).length, QTextCursor::KeepAnchor);
            cursor.insertText(m_search.Replacement(text, matches.at(i), replaceText));
        }
        cursor.endEditBlock();
    }
    ShowFindMessage(matches.size() == 1 ? QStringLiteral("1 replaced") : QStringLiteral("%1 replaced").arg(matches.size()));
}

void CodeEditorGroup::ShowFindReplace(bool replace)
{
    CodeEditor *editor = CurrentCodeEditor();
    QString seed;
    if (editor) {
        const QTextCursor cursor = editor->textCursor();
        const QString selected = cursor.selectedText();
        // A one-line selection becomes the search; a longer one is a scope for find in selection.
        if (!selected.isEmpty() && !selected.contains(QChar::ParagraphSeparator))
            seed = selected;
        else if (selected.contains(QChar::ParagraphSeparator) && m_findReplace->FindInSelection())
            editor->SetFindScope(cursor.selectionStart(), cursor.selectionEnd());
        m_userSelection = cursor;
    }
    m_findReplace->Show(replace, seed);
    PlaceFindReplace();
}

void CodeEditorGroup::OnFindReplaceClosed()
{
    if (CodeEditor *editor = CurrentCodeEditor()) {
        editor->SetFindRegex(QRegularExpression());
        editor->ClearFindScope();
        editor->setFocus();
    }
    m_searchEditor = nullptr;
}

void CodeEditorGroup::CloseFindReplace()
{
    if (m_findReplace->isVisible())
        m_findReplace->Close();
}

void CodeEditorGroup::SelectAndFind(bool next)
{
    CodeEditor *editor = CurrentCodeEditor();
    if (!editor)
        return;
    QTextCursor cursor = editor->textCursor();
    if (!cursor.hasSelection()) {
        cursor.select(QTextCursor::WordUnderCursor);
        editor->setTextCursor(cursor);
    }
    const QString selected = cursor.selectedText();
    if (selected.isEmpty() || selected.contains(QChar::ParagraphSeparator))
        return;
    m_findReplace->Show(m_findReplace->IsReplaceShown(), selected);
    PlaceFindReplace();
    editor->setFocus();
    if (next)
        FindNext();
    else
        FindPrevious();
}

} // namespace ke2
