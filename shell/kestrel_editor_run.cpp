// Running code in the host, and the host's output options.
#include "shell/kestrel_editor.h"

#include "config/settings.h"
#include "debugger/debug_session.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "language/mel_command_catalog.h"
#include "plugin/host.h"
#include "plugin/host_bridge.h"
#include "shell/text_file.h"
#include "views/status_bar.h"

#include <QtCore/QTimer>
#include <QtGui/QTextBlock>
#include <QAction>
#include <QtWidgets/QInputDialog>

namespace ke2 {

void KestrelEditor::Execute()
{
    Execute(EXECUTE_SELECTION);
}

void KestrelEditor::ExecuteLine()
{
    Execute(EXECUTE_LINE);
}

void KestrelEditor::ExecuteAll()
{
    Execute(EXECUTE_ALL);
}

void KestrelEditor::Execute(ExecuteType type)
{
    // Only the editor the user is typing in runs: a shortcut pressed elsewhere runs nothing.
    // The paused run holds the host's interpreter: nothing else may run inside it.
    if (m_debugSession && m_debugSession->IsPaused()) {
        m_statusBar->UpdateLineMessage(debugPausedExecuteMessage());
        return;
    }
    CodeEditor *editor = FocusedCodeEditor();
    if (!editor)
        return;
    QString text;
    const QTextCursor cursor = editor->textCursor();
    // The tab's line the text starts on: errors the host reports by line count from there.
    int firstLine = 1;
    if (type == EXECUTE_LINE) {
        text = cursor.block().text().trimmed();
        firstLine = cursor.blockNumber() + 1;
    } else if (type == EXECUTE_SELECTION) {
        text = cursor.selectedText();
        text.replace(QChar(0x2029), QLatin1Char('\n'));
        if (text.isEmpty())
            text = TextFile::WithoutPieceBreaks(editor->toPlainText(), editor->PieceBreak());
        else
            firstLine = editor->document()->findBlock(cursor.selectionStart()).blockNumber() + 1;
    } else {
        text = TextFile::WithoutPieceBreaks(editor->toPlainText(), editor->PieceBreak());
    }
    if (text.isEmpty())
        return;
    if (Settings::instance().saveAllOnExecute)
        SaveAll(true, true);
    // The mark of the tab's last run error belongs to the code as it ran then.
    editor->ClearRunError();
    if (editor->Language() == LANGUAGE_MEL) {
        // A bare variable is printed without an echo.
        m_scriptRuns.Started(editor, firstLine, text, !HostBridge::isBareMelVariable(text));
        ShowMelRunHint();
        HostBridge::executeMelText(text);
        // The run may define procedures the checks did not know.
        MelCommandCatalog::instance().ForgetUnknownNames();
    } else if (editor->Language() == LANGUAGE_PYTHON) {
        m_scriptRuns.Started(editor, firstLine, text, true);
        HostBridge::executePythonText(text);
    }
}

// Esc interrupts Python only. The host runs the MEL as soon as the window is idle and nothing
// repaints until it ends, so the hint is painted now, before the run starts, and taken down once
// the window answers again.
void KestrelEditor::ShowMelRunHint()
{
    Host *host = HostBridge::host();
    if (!host || !host->hasFeature(Host::Feature::Mel) || !m_statusBar->isVisible())
        return;
    m_statusBar->UpdateLineMessage(melRunHint());
    m_statusBar->repaint();
    QTimer::singleShot(melRunHintMilliseconds, this, [this] {
        if (m_statusBar->LineMessage() == melRunHint())
            UpdateCursorPosition();
    });
}

QString KestrelEditor::melRunHint()
{
    return QStringLiteral("MEL is running: Esc stops Python scripts only, not MEL");
}

void KestrelEditor::SaveScriptToShelf()
{
    CodeEditor *editor = ActiveCodeEditor();
    if (!editor)
        return;
    QString text = editor->textCursor().selectedText();
    if (text.isEmpty())
        text = TextFile::WithoutPieceBreaks(editor->toPlainText(), editor->PieceBreak());
    if (text.isEmpty())
        return;
    bool accepted = false;
    const QString name = QInputDialog::getText(this, QStringLiteral("New Shelf Item"),
                                               QStringLiteral("Enter name of new shelf item:"), QLineEdit::Normal,
                                               QString(), &accepted, Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    if (accepted && !name.isEmpty())
        HostBridge::addToShelf(name, text, editor->Language() == LANGUAGE_MEL ? 1 : 0);
}

void KestrelEditor::ToggleEchoAllCommands()
{
    HostBridge::setEchoAllCommands(!HostBridge::echoAllCommands());
    m_echoAllCommandsAction->setChecked(HostBridge::echoAllCommands());
}

void KestrelEditor::ToggleLineNumbersInErrors()
{
    HostBridge::setShowLineNumbers(m_lineNumbersInErrorsAction->isChecked());
}

void KestrelEditor::ToggleShowStackTrace()
{
    HostBridge::setStackTrace(m_showStackTraceAction->isChecked());
}

void KestrelEditor::ToggleSuppressStackWindow()
{
    Settings::instance().suppressStackWindow = m_suppressStackWindowAction->isChecked();
    HostBridge::setSuppressStackWindow(Settings::instance().suppressStackWindow);
}

void KestrelEditor::PrintPythonPath()
{
    HostBridge::printPythonPath();
}

void KestrelEditor::PrintMayaEnvVarPaths()
{
    if (auto *action = qobject_cast<QAction *>(sender()))
        HostBridge::printEnvironmentVariablePaths(action->text());
}

void KestrelEditor::MelCommandReference()
{
    HostBridge::showOnlineHelp(QString(), false);
}

void KestrelEditor::PythonCommandReference()
{
    HostBridge::showOnlineHelp(QString(), true);
}

void KestrelEditor::NodeAndAttributeReference()
{
    HostBridge::showHelpTopic(QStringLiteral("-docs \"Nodes/index.html\""));
}

} // namespace ke2
