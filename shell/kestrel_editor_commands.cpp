// Editing commands on the focused editor, navigation between editors and groups, quick help,
// and the commands whose views arrive with their own parts.
#include "shell/kestrel_editor.h"
#include "views/outline_view.h"
#include "views/workspace_view.h"
#include "editor/code_editor_language.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "output/output_text_edit.h"
#include "output/output_view.h"
#include "plugin/host_bridge.h"
#include "views/quick_help_view.h"
#include "views/side_bar.h"

#include <QtCore/QFileInfo>
#include <QtCore/QUrl>
#include <QtGui/QDesktopServices>
#include <QtGui/QTextBlock>
#include <QAction>
#include <QtWidgets/QInputDialog>
#include <QtWidgets/QMessageBox>

#include <algorithm>

namespace ke2 {
namespace {

// The binding numbers of the editor and group switching actions.
constexpr int nextEditorBinding = 72;
constexpr int previousEditorBinding = 73;
constexpr int nextUsedEditorBinding = 74;
constexpr int previousUsedEditorBinding = 75;
constexpr int nextEditorGroupBinding = 76;
constexpr int previousEditorGroupBinding = 77;

} // namespace

// --- Editing -------------------------------------------------------------------------------------

#define KE2_ON_FOCUSED_EDITOR(call)                                                                                    \
    if (CodeEditor *editor = FocusedCodeEditor())                                                                      \
    editor->call

void KestrelEditor::Undo() { KE2_ON_FOCUSED_EDITOR(undo()); }
void KestrelEditor::Redo() { KE2_ON_FOCUSED_EDITOR(redo()); }
void KestrelEditor::Cut() { KE2_ON_FOCUSED_EDITOR(CustomCut()); }
void KestrelEditor::Copy()
{
    if (OutputTextEdit *output = FocusedOutput())
        output->copy();
    else
        KE2_ON_FOCUSED_EDITOR(CustomCopy());
}
void KestrelEditor::Paste() { KE2_ON_FOCUSED_EDITOR(CustomPaste()); }
void KestrelEditor::SelectAll()
{
    if (OutputTextEdit *output = FocusedOutput())
        output->selectAll();
    else
        KE2_ON_FOCUSED_EDITOR(selectAll());
}
void KestrelEditor::IncreaseIndent() { KE2_ON_FOCUSED_EDITOR(IncreaseIndent(true)); }
void KestrelEditor::DecreaseIndent() { KE2_ON_FOCUSED_EDITOR(DecreaseIndent()); }
void KestrelEditor::CopyLineUp() { KE2_ON_FOCUSED_EDITOR(CopyLine(true)); }
void KestrelEditor::CopyLineDown() { KE2_ON_FOCUSED_EDITOR(CopyLine(false)); }
void KestrelEditor::MoveLineUp() { KE2_ON_FOCUSED_EDITOR(MoveLine(true)); }
void KestrelEditor::MoveLineDown() { KE2_ON_FOCUSED_EDITOR(MoveLine(false)); }
void KestrelEditor::DeleteLine() { KE2_ON_FOCUSED_EDITOR(DeleteLines()); }
void KestrelEditor::ToggleComment() { KE2_ON_FOCUSED_EDITOR(ToggleComment()); }
void KestrelEditor::ToggleBlockComment() { KE2_ON_FOCUSED_EDITOR(ToggleBlockComment()); }

#undef KE2_ON_FOCUSED_EDITOR

OutputTextEdit *KestrelEditor::FocusedOutput() const
{
    // The output's own find field keeps its own copy and select all.
    if (m_outputView && m_outputView->TextEdit()->hasFocus())
        return m_outputView->TextEdit();
    return nullptr;
}

void KestrelEditor::ConvertTabsToSpaces()
{
    CodeEditor *editor = FocusedCodeEditor();
    if (!editor || !editor->toPlainText().contains(QLatin1Char('\t')))
        return;
    // Each tab becomes the spaces up to the next tab stop, so the text looks as it did; one undo step.
    const int tabSize = std::max(1, editor->TabSize());
    QTextCursor cursor(editor->document());
    cursor.beginEditBlock();
    for (QTextBlock block = editor->document()->begin(); block.isValid(); block = block.next()) {
        const QString text = block.text();
        if (!text.contains(QLatin1Char('\t')))
            continue;
        QString converted;
        for (const QChar c : text) {
            if (c == QLatin1Char('\t'))
                converted += QString(tabSize - converted.size() % tabSize, QLatin1Char(' '));
            else
                converted += c;
        }
        cursor.setPosition(block.position());
        cursor.setPosition(block.position() + text.size(), QTextCursor::KeepAnchor);
        cursor.insertText(converted);
    }
    cursor.endEditBlock();
}

// --- Navigation ----------------------------------------------------------------------------------

void KestrelEditor::GoToEditor()
{
    auto *action = qobject_cast<QAction *>(sender());
    CodeEditorGroup *group = ActiveGroup();
    if (!action || !group || group->Count() == 0)
        return;
    // By the action's binding number, never its text: a label may change.
    const int binding = m_bindingActions.key(action);
    const bool next = binding == nextEditorBinding || binding == nextUsedEditorBinding;
    if (binding == nextEditorBinding || binding == previousEditorBinding) {
        // Across groups, in group order then tab order, wrapping round.
        QVector<QPair<int, int>> all;
        int current = -1;
        for (CodeEditorGroup *g : qAsConst(m_groups)) {
            for (int i = 0; i < g->Count(); ++i) {
                if (g == group && i == group->CurrentIndex())
                    current = all.size();
                all.append({g->Id(), i});
            }
        }
        if (all.isEmpty() || current < 0)
            return;
        const auto target = all.at((current + (next ? 1 : -1) + all.size()) % all.size());
        SetActiveCodeEditor(target.first, target.second);
        return;
    }
    if (binding != nextUsedEditorBinding && binding != previousUsedEditorBinding)
        return;
    // Within the group, by when each editor was last current.
    QVector<CodeEditor *> used;
    for (int i = 0; i < group->Count(); ++i)
        used.append(group->CodeEditorAt(i));
    std::stable_sort(used.begin(), used.end(), [this](CodeEditor *a, CodeEditor *b) {
        return m_lastUsed.value(a) > m_lastUsed.value(b);
    });
    const int position = int(used.indexOf(group->CurrentCodeEditor()));
    CodeEditor *target = used.at((std::max(0, position) + (next ? 1 : -1) + used.size()) % used.size());
    SetActiveCodeEditor(group->Id(), group->IndexOf(target));
}

void KestrelEditor::GoToEditorGroup()
{
    auto *action = qobject_cast<QAction *>(sender());
    if (!action)
        return;
    const int binding = m_bindingActions.key(action);
    if (binding != nextEditorGroupBinding && binding != previousEditorGroupBinding)
        return;
    const int step = binding == nextEditorGroupBinding ? 1 : -1;
    for (int n = 1; n < m_groups.size(); ++n) {
        const int id = (m_activeGroupIndex + step * n + m_groups.size()) % m_groups.size();
        if (m_groups.at(id)->Count() > 0) {
            SetActiveCodeEditor(id, m_groups.at(id)->CurrentIndex());
            return;
        }
    }
}

// --- Quick help ----------------------------------------------------------------------------------

void KestrelEditor::SetQuickHelpSearchText(const QString &text, bool showWhenHidden)
{
    m_sideBar->QuickHelp()->SetSearchText(text);
    if (showWhenHidden && (!m_sideBarVisible || m_sideBar->CurrentView() != SIDE_BAR_VIEW_QUICK_HELP))
        ShowQuickHelp();
}

void KestrelEditor::InsertQuickHelpFlag(const QString &flag)
{
    CodeEditor *editor = ActiveCodeEditor();
    if (!editor || flag.isEmpty())
        return;
    QTextCursor cursor = editor->textCursor();
    const QString before = cursor.block().text().left(cursor.positionInBlock());
    // A flag is a word of its own.
    const bool needsSpace = !before.isEmpty() && !before.at(before.size() - 1).isSpace();
    cursor.insertText((needsSpace ? QStringLiteral(" ") : QString()) + flag + QLatin1Char(' '));
    editor->setTextCursor(cursor);
    editor->setFocus();
}

void KestrelEditor::OnParserUpdated(BaseParser *parser)
{
    // Each group parses its own current editor; the outline shows the active one's.
    auto *group = qobject_cast<CodeEditorGroup *>(sender());
    if (!group || group == ActiveGroup())
        m_sideBar->Outline()->OnParserUpdated(parser);
    UpdateStatusBarInfo();
}

void KestrelEditor::OnOutlineSelectionChanged(int start, int end)
{
    OnOutlinePreviewRequested(start, end);
    if (CodeEditor *editor = ActiveCodeEditor())
        editor->setFocus();
}

void KestrelEditor::OnOutlinePreviewRequested(int start, int end)
{
    CodeEditor *editor = ActiveCodeEditor();
    if (!editor)
        return;
    const int last = editor->document()->characterCount() - 1;
    QTextCursor cursor = editor->textCursor();
    cursor.setPosition(qBound(0, start, last));
    cursor.setPosition(qBound(0, end, last), QTextCursor::KeepAnchor);
    editor->setTextCursor(cursor);
    editor->centerCursor();
}

void KestrelEditor::OnWorkspaceItemDeleted(const QString &path, bool isFolder)
{
    Q_UNUSED(path);
    Q_UNUSED(isFolder); // open editors of the path are left to the file watcher
    m_sideBar->Workspace()->Refresh();
}

void KestrelEditor::OnWorkspaceModified()
{
    m_sideBar->Workspace()->Refresh();
}

// --- Dialogs -------------------------------------------------------------------------------------

void KestrelEditor::ShowAboutDialog()
{
    QMessageBox::about(this, QStringLiteral("About %1").arg(HostBridge::displayName()),
                       QStringLiteral("<b>%1</b><br>Version %2<br><br>A script editor for MEL and Python.")
                           .arg(HostBridge::displayName(), HostBridge::pluginVersion()));
}

void KestrelEditor::OpenPylintrc()
{
    const QString path = Settings::instance().pylintConfigPath;
    if (path.isEmpty() || !QFileInfo::exists(path)) {
        HostBridge::showWarning(QStringLiteral("Pylint configuration file not found: %1").arg(path));
        return;
    }
    OpenFile(path);
}

// The commands below belong to views that come with their own parts (the find and replace bar,
// find in files, the go-to overlay, the workspace view). Their actions
// and shortcuts exist so the bindings and menus are complete; each body is where its view
// connects.
void KestrelEditor::OpenWorkspace() { m_sideBar->Workspace()->OpenWorkspace(); }
void KestrelEditor::SaveWorkspaceAs() { m_sideBar->Workspace()->SaveWorkspaceAs(); }
void KestrelEditor::AddFolderToWorkspace() { m_sideBar->Workspace()->AddFolderToWorkspace(); }

} // namespace ke2
