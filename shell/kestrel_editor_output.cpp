// The output panel in the window: what the host prints, the verbosity and log file actions, and
// the error lines that lead back to the code that ran.
#include "shell/kestrel_editor.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "output/output_text_edit.h"
#include "output/output_view.h"
#include "plugin/host_bridge.h"

#include <QtGui/QTextBlock>
#include <QAction>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>

namespace ke2 {

QWidget *KestrelEditor::CreateOutputPane()
{
    m_outputView = new OutputView;
    m_outputView->setObjectName(QStringLiteral("OutputPane"));
    m_outputText = m_outputView->TextEdit();
    m_outputText->setObjectName(QStringLiteral("OutputText"));
    m_outputText->SetErrorLinkTest([this](const QString &line) { return m_scriptRuns.IsLink(line); });
    connect(m_outputText, &OutputTextEdit::ErrorLineActivated, this, &KestrelEditor::GoToError);
    connect(m_outputView, &OutputView::EchoAllCommandsChanged, this,
            [this] { m_echoAllCommandsAction->setChecked(HostBridge::echoAllCommands()); });
    connect(m_outputView, &OutputView::WriteToFileUpdated, m_writeOutputToFileAction, &QAction::setChecked);
    connect(m_outputView, &OutputView::IncreaseOutputFontSizeRequested, this, &KestrelEditor::IncreaseOutputFontSize);
    connect(m_outputView, &OutputView::DecreaseOutputFontSizeRequested, this, &KestrelEditor::DecreaseOutputFontSize);
    connect(m_outputView, &OutputView::ReceivedFocus, this, &KestrelEditor::CheckForFileChanges);
    return m_outputView;
}

void KestrelEditor::AppendOutput(const QString &text)
{
    if (!m_outputView || text.isEmpty())
        return;
    m_scriptRuns.Observe(text);
    m_outputView->AppendText(text);
}

QString KestrelEditor::OutputText() const
{
    if (!m_outputText)
        return QString();
    // What has arrived, whether or not the panel has caught up with it yet.
    m_outputText->FlushPendingOutput();
    return m_outputText->toPlainText();
}

void KestrelEditor::ClearHistory()
{
    if (m_outputView)
        m_outputView->ClearAll();
}

bool KestrelEditor::OutputHasFocus() const
{
    for (QWidget *widget = QApplication::focusWidget(); widget; widget = widget->parentWidget())
        if (widget == m_outputText)
            return true;
    return false;
}

void KestrelEditor::UpdateOutputVerbosity()
{
    QObject *from = sender();
    const int level = from == m_echoAllAction ? OutputView::EchoAll
                      : from == m_minimalAction ? OutputView::Minimal
                                                : OutputView::Normal;
    if (m_outputView)
        m_outputView->VerbosityBox()->setCurrentIndex(level);
}

void KestrelEditor::ToggleWriteOutputToFile()
{
    if (m_outputView)
        m_outputView->ToggleWriteToFile();
    m_writeOutputToFileAction->setChecked(m_outputText && m_outputText->IsWritingToFile());
}

void KestrelEditor::GoToError(const QString &line, int identicalLinesAfter)
{
    const ScriptRuns::Location place = m_scriptRuns.Resolve(line, identicalLinesAfter);
    if (!place.isValid())
        return;
    CodeEditor *editor = place.editor.data();
    if (!editor) {
        OpenFile(place.path);
        for (CodeEditorGroup *group : qAsConst(m_groups)) {
            const int index = group->IndexOfPath(place.path);
            if (index >= 0) {
                editor = group->CodeEditorAt(index);
                break;
            }
        }
    }
    if (!editor)
        return;
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        const int index = group->IndexOf(editor);
        if (index >= 0) {
            group->SetCurrentIndex(index);
            break;
        }
    }
    const QTextBlock block = editor->document()->findBlockByNumber(place.line - 1);
    if (!block.isValid())
        return;
    editor->setTextCursor(QTextCursor(block));
    editor->centerCursor();
    editor->SetRunError(block.blockNumber(), place.message);
    editor->setFocus();
}

} // namespace ke2
