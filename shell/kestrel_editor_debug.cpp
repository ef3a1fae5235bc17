// The Python debugger in the window: breakpoints of the open buffers, debugged runs, the paused
// line and the Debug view of the side bar.
#include "shell/kestrel_editor.h"

#include "config/key_bindings.h"
#include "config/settings.h"
#include "debugger/debug_session.h"
#include "debugger/debug_view.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "output/output_view.h"
#include "plugin/host_bridge.h"
#include "views/side_bar.h"
#include "views/status_bar.h"

#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QUrl>
#include <QtGui/QHelpEvent>
#include <QtGui/QTextBlock>
#include <QAction>
#include <QtWidgets/QToolTip>

namespace ke2 {
namespace {

QString canonical(const QString &path)
{
    const QString resolved = QFileInfo(path).canonicalFilePath();
    return resolved.isEmpty() ? QFileInfo(path).absoluteFilePath() : resolved;
}

} // namespace

QString KestrelEditor::debugPausedExecuteMessage()
{
    return QStringLiteral("Execute is not available while a debug run is paused: continue or stop it first (F5, Shift+F5)");
}

void KestrelEditor::CreateDebugger()
{
    m_debugSession = new DebugSession(this);
    m_debugView = new DebugView(m_debugSession);
    m_sideBar->SetView(SIDE_BAR_VIEW_DEBUG, m_debugView, QStringLiteral("DEBUG"));
    connect(m_debugSession, &DebugSession::Paused, this, &KestrelEditor::OnDebugPaused);
    connect(m_debugSession, &DebugSession::Resumed, this, &KestrelEditor::OnDebugResumed);
    connect(m_debugSession, &DebugSession::Ended, this, &KestrelEditor::OnDebugEnded);
    connect(m_debugSession, &DebugSession::Started, this, &KestrelEditor::UpdateDebugActions);
    // A caller's line is shown; the arrow stays where the run is paused.
    connect(m_debugView, &DebugView::FrameActivated, this, [this](const QString &file, int line) {
        ShowDebugLine(file, line, false);
    });
    connect(m_debugView, &DebugView::BreakpointActivated, this, [this](const QString &path, int line) {
        ShowDebugLine(path, line + 1, false);
    });
    connect(m_debugView, &DebugView::BreakpointEdited, this,
            [this](const QString &path, int line, bool enabled, const QString &condition, int hitCount) {
                if (CodeEditor *editor = EditorForPath(path, false))
                    editor->UpdateBreakpoint({line, enabled, condition, hitCount});
            });
    connect(m_debugView, &DebugView::BreakpointRemoved, this, [this](const QString &path, int line) {
        if (CodeEditor *editor = EditorForPath(path, false))
            editor->RemoveBreakpoint(line);
    });
    // The output panel's evaluate line: echoed, then framed as a Python result or error is.
    connect(m_outputView, &OutputView::EvaluateRequested, this, [this](const QString &expression) {
        if (!m_debugSession->IsPaused())
            return;
        QString text;
        const bool ok = m_debugSession->Evaluate(expression, text);
        AppendOutput(expression + QLatin1Char('\n'));
        AppendOutput(QStringLiteral("# %1: %2 #\n").arg(ok ? QStringLiteral("Result") : QStringLiteral("Error"), text));
    });
    m_debugView->SetActions({m_debugAction, m_stopDebuggingAction, m_runToCursorAction, m_stepOverAction,
                             m_stepIntoAction, m_stepOutAction});
    UpdateDebugActions();
}

void KestrelEditor::CreateDebugActions()
{
    const auto number = [this](const char *identifier) {
        const ActionBinding *binding = m_bindings.find(QString::fromLatin1(identifier));
        return binding ? binding->number : 0;
    };
    AddAction(QStringLiteral("Toggle Breakpoint"), QStringLiteral("Toggle Breakpoint"), number("toggleBreakpoint"),
              &KestrelEditor::ToggleBreakpoint);
    m_debugAction = AddAction(QStringLiteral("Debug"), QStringLiteral("Debug the Python buffer (or its selection)"),
                              number("debug"), &KestrelEditor::Debug);
    m_stepOverAction = AddAction(QStringLiteral("Step Over"), QStringLiteral("Step Over"), number("stepOver"),
                                 &KestrelEditor::StepOver);
    m_stepIntoAction = AddAction(QStringLiteral("Step Into"), QStringLiteral("Step Into"), number("stepInto"),
                                 &KestrelEditor::StepInto);
    m_stepOutAction = AddAction(QStringLiteral("Step Out"), QStringLiteral("Step Out"), number("stepOut"),
                                &KestrelEditor::StepOut);
    m_stopDebuggingAction = AddAction(QStringLiteral("Stop Debugging"), QStringLiteral("Stop Debugging"),
                                      number("stopDebugging"), &KestrelEditor::StopDebugging);
    m_runToCursorAction = AddAction(QStringLiteral("Run to Cursor"), QStringLiteral("Run to Cursor"),
                                    number("runToCursor"), &KestrelEditor::RunToCursor);
    AddAction(QStringLiteral("Show Debug View"), QStringLiteral("Show Debug View"), number("showDebugView"),
              &KestrelEditor::ShowDebug);
}

void KestrelEditor::UpdateDebugActions()
{
    if (!m_debugSession)
        return;
    const bool paused = m_debugSession->IsPaused();
    m_debugAction->setText(paused ? QStringLiteral("Continue") : QStringLiteral("Debug"));
    m_debugAction->setEnabled(paused || !m_debugSession->IsActive());
    for (QAction *action : {m_stepOverAction, m_stepIntoAction, m_stepOutAction, m_stopDebuggingAction, m_runToCursorAction})
        action->setEnabled(paused);
    m_outputView->SetEvaluateVisible(paused);
}

void KestrelEditor::ToggleBreakpoint()
{
    CodeEditor *editor = ActiveCodeEditor();
    if (editor && editor->Language() == LANGUAGE_PYTHON)
        editor->ToggleBreakpoint(editor->textCursor().blockNumber());
}

void KestrelEditor::ShowDebug()
{
    SetSideBarView(SIDE_BAR_VIEW_DEBUG);
    ShowSideBar();
}

void KestrelEditor::Debug()
{
    if (m_debugSession->IsPaused()) {
        m_debugSession->Continue();
        return;
    }
    if (m_debugSession->IsActive())
        return;
    CodeEditor *editor = FocusedCodeEditor();
    if (!editor)
        editor = ActiveCodeEditor();
    if (!editor || editor->Language() != LANGUAGE_PYTHON) {
        m_statusBar->UpdateLineMessage(QStringLiteral("Debug runs a Python buffer"));
        return;
    }
    const QTextCursor cursor = editor->textCursor();
    QString text = cursor.selectedText();
    int firstLine = 1;
    text.replace(QChar(0x2029), QLatin1Char('\n'));
    if (text.isEmpty())
        text = editor->toPlainText();
    else
        firstLine = editor->document()->findBlock(cursor.selectionStart()).blockNumber() + 1;
    if (text.isEmpty())
        return;
    if (Settings::instance().saveAllOnExecute)
        SaveAll(true, true);
    m_scriptRuns.Started(editor, firstLine, text, true);
    if (!m_debugSession->Start(text, editor->Path(), firstLine, BreakpointsJson(),
                               Settings::instance().debugPauseOnExceptions))
        return;
    m_statusBar->UpdateLineMessage(QStringLiteral("Debugging %1").arg(editor->DisplayName()));
}

void KestrelEditor::StepOver()
{
    m_debugSession->StepOver();
}

void KestrelEditor::StepInto()
{
    m_debugSession->StepInto();
}

void KestrelEditor::StepOut()
{
    m_debugSession->StepOut();
}

void KestrelEditor::StopDebugging()
{
    m_debugSession->Stop();
}

void KestrelEditor::RunToCursor()
{
    CodeEditor *editor = ActiveCodeEditor();
    if (editor && m_debugSession->IsPaused())
        m_debugSession->RunToCursor(editor->Path(), editor->textCursor().blockNumber() + 1);
}

QString KestrelEditor::BreakpointsJson() const
{
    QJsonArray table;
    for (CodeEditorGroup *group : m_groups) {
        for (int i = 0; i < group->Count(); ++i) {
            CodeEditor *editor = group->CodeEditorAt(i);
            if (editor->Language() != LANGUAGE_PYTHON || editor->Path().isEmpty())
                continue;
            for (const CodeEditorBreakpoint &point : editor->Breakpoints())
                table.append(QJsonArray{editor->Path(), point.line + 1, point.enabled, point.condition, point.hitCount});
        }
    }
    return QString::fromUtf8(QJsonDocument(table).toJson(QJsonDocument::Compact));
}

void KestrelEditor::OnBreakpointsChanged()
{
    QVector<DebugView::BreakpointRow> rows;
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            CodeEditor *editor = group->CodeEditorAt(i);
            for (const CodeEditorBreakpoint &point : editor->Breakpoints())
                rows.append({editor->Path(), editor->DisplayName(), point.line, point.enabled, point.condition,
                             point.hitCount});
        }
    }
    m_debugView->SetBreakpoints(rows);
    m_debugSession->SetBreakpoints(BreakpointsJson());
}

CodeEditor *KestrelEditor::EditorForPath(const QString &path, bool open)
{
    if (path.isEmpty() || path.startsWith(QLatin1Char('<')))
        return nullptr;
    const QString wanted = canonical(path);
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            CodeEditor *editor = group->CodeEditorAt(i);
            if (!editor->Path().isEmpty() && canonical(editor->Path()) == wanted)
                return editor;
        }
    }
    if (!open || !QFileInfo(path).isFile())
        return nullptr;
    OpenFile(path);
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        const int index = group->IndexOfPath(QFileInfo(path).absoluteFilePath());
        if (index >= 0)
            return group->CodeEditorAt(index);
    }
    return EditorForPath(path, false);
}

void KestrelEditor::ShowDebugLine(const QString &file, int line, bool paused)
{
    CodeEditor *editor = EditorForPath(file, true);
    if (!editor)
        return;
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            if (group->CodeEditorAt(i) == editor) {
                group->SetCurrentIndex(i);
                SetActiveGroupIndex(group->Id());
            } else if (paused) {
                group->CodeEditorAt(i)->SetPausedLine(-1);
            }
        }
    }
    if (paused) {
        editor->SetPausedLine(line - 1);
        m_pausedEditor = editor;
    }
    QTextCursor cursor(editor->document()->findBlockByNumber(std::max(0, line - 1)));
    editor->setTextCursor(cursor);
    editor->centerCursor();
}

void KestrelEditor::OnDebugPaused()
{
    UpdateDebugActions();
    const QVector<DebugSession::Frame> &frames = m_debugSession->Frames();
    if (!frames.isEmpty())
        ShowDebugLine(frames.first().file, frames.first().line);
    if (!m_sideBarVisible || m_sideBar->CurrentView() != SIDE_BAR_VIEW_DEBUG)
        ShowDebug();
    QString message = frames.isEmpty() ? QStringLiteral("Paused")
                                       : QStringLiteral("Paused at line %1 of %2")
                                             .arg(frames.first().line)
                                             .arg(QFileInfo(frames.first().file).fileName());
    if (m_debugSession->Reason() == QLatin1String("exception"))
        message += QStringLiteral(" on %1").arg(m_debugSession->Exception());
    m_statusBar->UpdateLineMessage(message);
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i)
            group->CodeEditorAt(i)->viewport()->installEventFilter(this);
    }
}

void KestrelEditor::OnDebugResumed()
{
    if (m_pausedEditor)
        m_pausedEditor->SetPausedLine(-1);
    UpdateDebugActions();
    m_statusBar->UpdateLineMessage(QStringLiteral("Running under the debugger"));
}

void KestrelEditor::OnDebugEnded()
{
    if (m_pausedEditor)
        m_pausedEditor->SetPausedLine(-1);
    UpdateDebugActions();
    m_statusBar->UpdateLineMessage(QStringLiteral("Debug run ended"));
}

bool KestrelEditor::ShowDebugValueToolTip(QWidget *viewport, QEvent *event)
{
    // A hover over a name in a paused buffer shows its value in the selected frame.
    if (event->type() != QEvent::ToolTip || !m_debugSession || !m_debugSession->IsPaused())
        return false;
    auto *editor = qobject_cast<CodeEditor *>(viewport->parentWidget());
    if (!editor || editor->Language() != LANGUAGE_PYTHON)
        return false;
    auto *help = static_cast<QHelpEvent *>(event);
    QTextCursor cursor = editor->cursorForPosition(help->pos());
    const QString line = cursor.block().text();
    int start = cursor.positionInBlock();
    int end = start;
    const auto isName = [](QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('.'); };
    while (start > 0 && isName(line.at(start - 1)))
        --start;
    while (end < line.size() && isName(line.at(end)))
        ++end;
    const QString name = line.mid(start, end - start);
    if (name.isEmpty() || name.at(0).isDigit() || name.endsWith(QLatin1Char('.')))
        return false;
    QString value;
    if (!m_debugSession->Evaluate(name, value))
        return false;
    QToolTip::showText(help->globalPos(), QStringLiteral("%1 = %2").arg(name, value), viewport);
    return true;
}

void KestrelEditor::RestoreBreakpoints()
{
    QHash<QString, CodeEditorBreakpoints> byPath;
    for (const QString &entry : Settings::instance().breakpoints) {
        const QStringList fields = entry.split(QLatin1Char(';'));
        if (fields.size() < 5)
            continue;
        bool ok = false;
        CodeEditorBreakpoint point;
        point.line = fields.at(0).toInt(&ok) - 1;
        if (!ok || point.line < 0)
            continue;
        point.enabled = fields.at(1) != QLatin1String("0");
        point.hitCount = std::max(0, fields.at(2).toInt());
        point.condition = QUrl::fromPercentEncoding(fields.at(3).toUtf8());
        byPath[canonical(fields.mid(4).join(QLatin1Char(';')))].append(point);
    }
    for (auto it = byPath.cbegin(); it != byPath.cend(); ++it) {
        if (CodeEditor *editor = EditorForPath(it.key(), false))
            editor->SetBreakpoints(it.value());
    }
}

QStringList KestrelEditor::SavedBreakpoints() const
{
    QStringList entries;
    for (CodeEditorGroup *group : m_groups) {
        for (int i = 0; i < group->Count(); ++i) {
            CodeEditor *editor = group->CodeEditorAt(i);
            if (editor->Path().isEmpty())
                continue;
            for (const CodeEditorBreakpoint &point : editor->Breakpoints())
                entries.append(QStringLiteral("%1;%2;%3;%4;%5")
                                   .arg(point.line + 1)
                                   .arg(point.enabled ? 1 : 0)
                                   .arg(point.hitCount)
                                   .arg(QString::fromLatin1(QUrl::toPercentEncoding(point.condition)),
                                        editor->Path()));
        }
    }
    return entries;
}

} // namespace ke2
