// The window's side of problems: the list of every open buffer's diagnostics and walking the
// current buffer's problems with F8 and Shift+F8.
#include "shell/kestrel_editor.h"

#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "views/problems_view.h"

#include <QtCore/QTimer>
#include <QtGui/QTextBlock>

#include <algorithm>

namespace ke2 {

namespace {

struct Place {
    int start;
    int end;
};

// The current buffer's problems in text order: its diagnostics of every class and the error of
// its last run.
QVector<Place> problemPlaces(const CodeEditor *editor)
{
    QVector<Place> places;
    for (int markClass = 0; markClass < MARK_CLASS_COUNT; ++markClass)
        for (const CodeEditorMark &mark : editor->Marks(CodeEditorMarkClass(markClass)))
            places.append({mark.start, std::max(mark.start, mark.end)});
    if (editor->RunErrorLine() >= 0) {
        const QTextBlock block = editor->document()->findBlockByNumber(editor->RunErrorLine());
        places.append({block.position(), block.position()});
    }
    std::sort(places.begin(), places.end(), [](const Place &a, const Place &b) {
        return a.start != b.start ? a.start < b.start : a.end < b.end;
    });
    return places;
}

} // namespace

void KestrelEditor::ShowProblems()
{
    if (!m_problems) {
        m_problems = new ProblemsView(this);
        m_problems->setWindowFlags(Qt::Tool);
        m_problems->resize(520, 320);
        connect(m_problems, &ProblemsView::ProblemActivated, this, &KestrelEditor::GoToProblem);
    }
    RefreshProblems();
    m_problems->show();
    m_problems->raise();
    m_problems->activateWindow();
}

void KestrelEditor::QueueProblemsRefresh()
{
    // Edits move marks many times a second; the list is rebuilt once the burst has passed.
    if (m_problems && m_problems->isVisible() && !m_problemsRefreshQueued) {
        m_problemsRefreshQueued = true;
        QTimer::singleShot(0, this, &KestrelEditor::RefreshProblems);
    }
}

void KestrelEditor::RefreshProblems()
{
    m_problemsRefreshQueued = false;
    if (!m_problems)
        return;
    QVector<ProblemsView::Buffer> buffers;
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            const CodeEditor *editor = group->CodeEditorAt(i);
            ProblemsView::Buffer buffer{group->Record(i).path, editor->DisplayName(), {}};
            const int last = std::max(0, editor->document()->characterCount() - 1);
            for (int markClass = 0; markClass < MARK_CLASS_COUNT; ++markClass) {
                for (const CodeEditorMark &mark : editor->Marks(CodeEditorMarkClass(markClass))) {
                    const int line = editor->document()->findBlock(std::clamp(mark.start, 0, last)).blockNumber();
                    buffer.problems.append({line + 1, markClass, mark.message});
                }
            }
            if (editor->RunErrorLine() >= 0)
                buffer.problems.append({editor->RunErrorLine() + 1, ProblemsView::Error, editor->RunErrorMessage()});
            std::stable_sort(buffer.problems.begin(), buffer.problems.end(),
                             [](const ProblemsView::Problem &a, const ProblemsView::Problem &b) {
                                 return a.line != b.line ? a.line < b.line : a.severity < b.severity;
                             });
            buffers.append(buffer);
        }
    }
    m_problems->SetProblems(buffers);
}

void KestrelEditor::GoToProblem(const QString &path, int line)
{
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        const int index = group->IndexOfPath(path);
        if (index < 0)
            continue;
        SetActiveCodeEditor(group->Id(), index);
        CodeEditor *editor = group->CodeEditorAt(index);
        const QTextBlock block = editor->document()->findBlockByNumber(line - 1);
        if (block.isValid()) {
            editor->setTextCursor(QTextCursor(block));
            editor->centerCursor();
        }
        activateWindow();
        editor->setFocus();
        return;
    }
}

void KestrelEditor::NextProblem() { StepToProblem(true); }
void KestrelEditor::PreviousProblem() { StepToProblem(false); }

void KestrelEditor::StepToProblem(bool forward)
{
    CodeEditor *editor = ActiveCodeEditor();
    if (!editor)
        return;
    const QVector<Place> places = problemPlaces(editor);
    if (places.isEmpty())
        return;
    const int from = editor->textCursor().selectionStart();
    const Place *target = nullptr;
    if (forward) {
        auto it = std::find_if(places.begin(), places.end(), [from](const Place &p) { return p.start > from; });
        target = it != places.end() ? &*it : &places.first(); // around to the first
    } else {
        auto it = std::find_if(places.rbegin(), places.rend(), [from](const Place &p) { return p.start < from; });
        target = it != places.rend() ? &*it : &places.last();
    }
    const int last = editor->document()->characterCount() - 1;
    QTextCursor cursor = editor->textCursor();
    cursor.setPosition(std::clamp(target->start, 0, last));
    cursor.setPosition(std::clamp(target->end, 0, last), QTextCursor::KeepAnchor);
    editor->setTextCursor(cursor);
    editor->centerCursor();
    editor->setFocus();
}

} // namespace ke2
