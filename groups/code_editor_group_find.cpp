// The group's side of the find and replace bar: counting the matches in the current editor,
// moving its selection between them, and replacing.
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "overlays/find_replace_widget.h"

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
    if (m_matchEditor != editor || m_matchRevision != revision)
        m_matchText = editor->document()->toPlainText(); // same positions as the document's
    m_matchEditor = editor;
    m_matchRevision = revision;
    m_matchFrom = from;
    m_matchTo = to;
    m_matchesStale = false;
    m_matches.clear();
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
    const int index = MatchIndexAtCursor();
    m_findReplace->UpdateCounter(index + 1, m_matches.size());
}

void CodeEditorGroup::SelectMatch(int index)
{
    CodeEditor *editor = CurrentCodeEditor();
    if (!editor || index < 0 || index >= m_matches.size())
        return;
    QTextCursor cursor = editor->textCursor();
    cursor.setPosition(m_matches.at(index).start);
    cursor.setPosition(m_matches.at(index).start + m_matches.at(index).length, QTextCursor::KeepAnchor);
    editor->setTextCursor(cursor);
    editor->ensureCursorVisible();
    m_findReplace->UpdateCounter(index + 1, m_matches.size());
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
    m_search = TextSearch(regex);
    m_findInSelection = findInSelection;
    m_matchesStale = true;
    CodeEditor *editor = CurrentCodeEditor();
    if (!editor) {
        m_findReplace->UpdateCounter(0, 0);
        return;
    }
    if (!findInSelection) {
        editor->ClearFindScope();
    } else if (!editor->HasFindScope() && editor->textCursor().hasSelection()) {
        const QTextCursor cursor = editor->textCursor();
        editor->SetFindScope(cursor.selectionStart(), cursor.selectionEnd());
    }
    ApplySearchToCurrentEditor();
    const QVector<TextMatch> &matches = Matches();
    if (matches.isEmpty()) {
        m_findReplace->UpdateCounter(0, 0);
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
        m_findReplace->UpdateCounter(0, 0);
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
        m_findReplace->UpdateCounter(0, 0);
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
    cursor.insertText(replacement);
    editor->setTextCursor(cursor);
    FindNext();
}

void CodeEditorGroup::ReplaceAll(const QString &replaceText)
{
    CodeEditor *editor = CurrentCodeEditor();
    const QVector<TextMatch> matches = Matches();
    if (!editor || matches.isEmpty())
        return;
    const QString text = m_matchText;
    QTextCursor cursor(editor->document());
    cursor.beginEditBlock(); // one undo step
    for (int i = matches.size() - 1; i >= 0; --i) {
        cursor.setPosition(matches.at(i).start);
        cursor.setPosition(matches.at(i).start + matches.at(i).length, QTextCursor::KeepAnchor);
        cursor.insertText(m_search.Replacement(text, matches.at(i), replaceText));
    }
    cursor.endEditBlock();
    m_findReplace->UpdateCounter(0, Matches().size());
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
