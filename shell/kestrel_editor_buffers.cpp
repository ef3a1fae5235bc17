// Opening, closing, moving and saving editors, the saved tab state, and keeping unsaved work
// on disk: internal buffers in their own files, modified file buffers as recovery copies.
#include "shell/kestrel_editor.h"

#include "debugger/debug_session.h"

#include "config/color_scheme.h"
#include "config/key_bindings.h"
#include "config/settings.h"
#include "config/user_directories.h"
#include "debugger/debug_session.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "language/mel_command_catalog.h"
#include "plugin/host.h"
#include "plugin/host_bridge.h"
#include "shell/buffer_files.h"
#include "shell/buffer_io.h"
#include "shell/buffer_loader.h"
#include "shell/file_dialog_rules.h"
#include "shell/session_lock.h"
#include "shell/session_state.h"
#include "views/open_editors_view.h"
#include "views/status_bar.h"
#include "views/side_bar.h"
#include "views/sub_view.h"
#include "views/workspace_tree_widget.h"
#include "views/workspace_view.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtGui/QGuiApplication>
#include <QAction>
#include <QtWidgets/QApplication>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QInputDialog>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QTreeWidget>

#include <algorithm>

namespace ke2 {
// --- Where the editors are --------------------------------------------------------------------

CodeEditorGroup *KestrelEditor::ActiveGroup() const
{
    return m_groups.value(m_activeGroupIndex);
}

CodeEditor *KestrelEditor::ActiveCodeEditor() const
{
    CodeEditorGroup *group = ActiveGroup();
    return group ? group->CurrentCodeEditor() : nullptr;
}

CodeEditor *KestrelEditor::FocusedCodeEditor() const
{
    for (QWidget *widget = QApplication::focusWidget(); widget; widget = widget->parentWidget()) {
        if (auto *editor = qobject_cast<CodeEditor *>(widget))
            return isAncestorOf(editor) ? editor : nullptr;
    }
    return nullptr;
}

int KestrelEditor::CodeEditorCount() const
{
    int count = 0;
    for (CodeEditorGroup *group : m_groups)
        count += group->Count();
    return count;
}

bool KestrelEditor::IsPathOpen(const QString &path) const
{
    CodeEditorGroup *group = nullptr;
    return FindOpenFile(path, group) >= 0;
}

QString KestrelEditor::FileIdentity(const QString &path)
{
    // Through links and "..": two names of one file are one file. A file not on disk yet is
    // known by its absolute name.
    const QFileInfo info(path);
    const QString canonical = info.canonicalFilePath();
    return canonical.isEmpty() ? info.absoluteFilePath() : canonical;
}

bool KestrelEditor::SameFile(const QString &a, const QString &b)
{
    return a == b || FileIdentity(a) == FileIdentity(b);
}

int KestrelEditor::FindOpenFile(const QString &path, CodeEditorGroup *&group) const
{
    group = nullptr;
    if (path.isEmpty())
        return -1;
    for (CodeEditorGroup *candidate : m_groups) {
        const int index = candidate->IndexOfPath(path);
        if (index >= 0) {
            group = candidate;
            return index;
        }
    }
    const QString identity = FileIdentity(path);
    for (CodeEditorGroup *candidate : m_groups) {
        for (int i = 0; i < candidate->Count(); ++i) {
            if (FileIdentity(candidate->Record(i).path) == identity) {
                group = candidate;
                return i;
            }
        }
    }
    return -1;
}

void KestrelEditor::SetActiveGroupIndex(int index)
{
    if (index < 0 || index >= m_groups.size())
        return;
    m_activeGroupIndex = index;
    Settings::instance().activeTabViewIndex = index;
    for (CodeEditorGroup *group : qAsConst(m_groups))
        group->SetActive(group->Id() == index);
}

void KestrelEditor::UpdateGroupVisibility()
{
    // Empty groups give their room to the others; with no editor at all the first group stays.
    const bool any = CodeEditorCount() > 0;
    bool appeared = false, free = false;
    int shown = 0;
    const QList<int> before = m_editorSplitter->sizes();
    QVector<bool> gone(m_groups.size(), false);
    for (int i = 0; i < m_groups.size(); ++i) {
        CodeEditorGroup *group = m_groups.at(i);
        const bool visible = group->Count() > 0 || (!any && group->Id() == 0);
        appeared = appeared || (visible && group->isHidden());
        gone[i] = !visible && !group->isHidden();
        free = free || group->Count() == 0;
        shown += visible ? 1 : 0;
        group->setVisible(visible);
    }
    // A group that goes gives its room to its neighbour (the one on its left, else on its
    // right); the widths the user gave the others stay.
    if (!appeared && gone.contains(true) && shown > 0 && before.size() == m_groups.size()) {
        QList<int> sizes = before;
        for (int i = 0; i < sizes.size(); ++i) {
            if (!gone[i])
                continue;
            int neighbour = -1;
            for (int j = i - 1; j >= 0 && neighbour < 0; --j)
                neighbour = m_groups.at(j)->isHidden() ? -1 : j;
            for (int j = i + 1; j < sizes.size() && neighbour < 0; ++j)
                neighbour = m_groups.at(j)->isHidden() ? -1 : j;
            if (neighbour >= 0)
                sizes[neighbour] += sizes[i];
            sizes[i] = 0;
        }
        m_editorSplitter->setSizes(sizes);
    }
    // The splitter would give a group that appears what it likes (the old one squeezed to its
    // minimum): every group shown gets an equal share, the half or the third that the drop
    // highlight promised.
    if (appeared && shown > 0) {
        QList<int> sizes = m_editorSplitter->sizes();
        int total = 0;
        for (int size : qAsConst(sizes))
            total += size;
        const int share = std::max(total / shown, 1);
        for (int i = 0; i < sizes.size(); ++i)
            sizes[i] = m_groups.at(i)->isHidden() ? 0 : share;
        m_editorSplitter->setSizes(sizes);
    }
    // An edge drop needs a free group to become; without one the edges would promise a new
    // group and deliver a drop into this one.
    for (CodeEditorGroup *group : qAsConst(m_groups))
        group->SetEdgeDropZonesAllowed(free);
    if (ActiveGroup() && ActiveGroup()->Count() == 0) {
        for (CodeEditorGroup *group : qAsConst(m_groups)) {
            if (group->Count() > 0) {
                SetActiveGroupIndex(group->Id());
                break;
            }
        }
    }
}

void KestrelEditor::AttachCodeEditor(CodeEditor *codeEditor)
{
    ApplyCodeEditorFont(codeEditor);
    connect(codeEditor, &CodeEditor::ModificationChanged, this, &KestrelEditor::RefreshOpenEditors, Qt::UniqueConnection);
    connect(codeEditor, &CodeEditor::DiagnosticsChanged, this, &KestrelEditor::QueueProblemsRefresh,
            Qt::UniqueConnection);
    connect(codeEditor, &QObject::destroyed, this, &KestrelEditor::QueueProblemsRefresh, Qt::UniqueConnection);
    connect(codeEditor, &CodeEditor::BreakpointsChanged, this, &KestrelEditor::OnBreakpointsChanged, Qt::UniqueConnection);
    // Every edit brings the next silent save closer.
    connect(codeEditor->document(), &QTextDocument::contentsChanged, &m_bufferIo->Autosave(), &AutosaveTimer::Touch,
            Qt::UniqueConnection);
    connect(codeEditor->document(), &QTextDocument::contentsChanged, this, &KestrelEditor::CountEdit,
            Qt::UniqueConnection);
}

namespace {
const char *const editsProperty = "ke2Edits";
const char *const recoveredEditsProperty = "ke2RecoveredEdits";
} // namespace

void KestrelEditor::CountEdit()
{
    if (QObject *document = sender())
        document->setProperty(editsProperty, document->property(editsProperty).toULongLong() + 1);
}

int KestrelEditor::CreateCodeEditor(CodeEditorGroup *group, const CodeEditorRecord &record, const QString &text, int index)
{
    CodeEditorGroup *other = nullptr;
    const int existing = FindOpenFile(record.path, other);
    if (existing >= 0) {
        SetActiveCodeEditor(other->Id(), existing);
        return -1;
    }
    if (!group) {
        HostBridge::showError(QStringLiteral("Failed to create code editor. Could not get active widget."));
        return -1;
    }
    const int added = group->AddCodeEditor(record, text, index);
    if (added < 0)
        return -1;
    AttachCodeEditor(group->CodeEditorAt(added));
    UpdateGroupVisibility();
    RefreshOpenEditors();
    return added;
}

void KestrelEditor::SetActiveCodeEditor(int groupIndex, int codeEditorIndex)
{
    CodeEditorGroup *group = Group(groupIndex);
    if (!group || codeEditorIndex < 0 || codeEditorIndex >= group->Count())
        return;
    group->SetCurrentIndex(codeEditorIndex);
    SetActiveGroupIndex(groupIndex);
    if (CodeEditor *editor = group->CodeEditorAt(codeEditorIndex))
        editor->setFocus();
    UpdateViews();
}

void KestrelEditor::OnActiveCodeEditorChanged()
{
    auto *group = qobject_cast<CodeEditorGroup *>(sender());
    if (group && group->CurrentCodeEditor())
        m_lastUsed.insert(group->CurrentCodeEditor(), ++m_useCounter);
    ScheduleFileCheck();
    if (!group || group == ActiveGroup()) {
        UpdateTitleBar();
        UpdateInterpreter();
        UpdateCursorPosition();
        UpdateOverwriteMode();
        UpdateStatusBarInfo();
    }
    RefreshOpenEditors();
}

void KestrelEditor::OnCodeEditorGroupFocusReceived(CodeEditorGroup *group)
{
    if (!group || group->Id() == m_activeGroupIndex)
        return;
    SetActiveGroupIndex(group->Id());
    UpdateViews();
}

void KestrelEditor::RefreshOpenEditors()
{
    QVector<OpenEditorEntry> entries;
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            const CodeEditorRecord record = group->Record(i);
            OpenEditorEntry entry;
            entry.group = group->Id();
            entry.index = i;
            entry.name = group->CodeEditorAt(i)->DisplayName();
            entry.path = record.path;
            entry.language = record.language;
            entry.modified = group->IsModified(i);
            entry.active = group->Id() == m_activeGroupIndex && i == group->CurrentIndex();
            entries.append(entry);
        }
    }
    m_sideBar->OpenEditors()->SetEntries(entries);
}

// --- New and open ------------------------------------------------------------------------------

void KestrelEditor::NewBuffer()
{
    QMessageBox box(QMessageBox::Question, QStringLiteral("Source Type"), QStringLiteral("Specify executor source language."),
                    QMessageBox::NoButton, this);
    QPushButton *mel = box.addButton(QStringLiteral("MEL"), QMessageBox::ActionRole);
    QPushButton *python = box.addButton(QStringLiteral("Python"), QMessageBox::ActionRole);
    QPushButton *none = box.addButton(QStringLiteral("None"), QMessageBox::ActionRole);
    box.addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box.exec();
    if (box.clickedButton() == mel)
        NewBuffer(LANGUAGE_MEL);
    else if (box.clickedButton() == python)
        NewBuffer(LANGUAGE_PYTHON);
    else if (box.clickedButton() == none)
        NewBuffer(LANGUAGE_TEXT);
}

void KestrelEditor::NewBuffer(CodeEditorLanguage language)
{
    CodeEditorRecord record;
    record.kind = CODE_EDITOR_INTERNAL_BUFFER;
    record.language = language;
    QString error;
    record.path = BufferFiles::CreateInternalBufferFile(language, m_sessionLock->Directory(), &error);
    if (record.path.isEmpty())
        // The buffer still works, but only until the window closes.
        HostBridge::showError(QStringLiteral("Failed to create internal buffer file: %1").arg(error));
    // Buffers without a file tell themselves apart by a number after the language's name.
    const QString base = languageName(language);
    QString name = base;
    for (int n = 2;; ++n) {
        bool taken = false;
        for (CodeEditorGroup *group : qAsConst(m_groups))
            for (int i = 0; i < group->Count() && !taken; ++i)
                taken = group->Record(i).name == name;
        if (!taken)
            break;
        name = QStringLiteral("%1 %2").arg(base, QString::number(n));
    }
    record.name = name;
    CodeEditorGroup *group = ActiveGroup();
    const int index = CreateCodeEditor(group, record, QString());
    if (index < 0)
        return;
    group->SetCurrentIndex(index);
    SaveState();
}

void KestrelEditor::NewMelBuffer()
{
    NewBuffer(LANGUAGE_MEL);
}

void KestrelEditor::NewPythonBuffer()
{
    NewBuffer(LANGUAGE_PYTHON);
}

bool KestrelEditor::ReadFile(const QString &path, QString &text, TextFileFormat &format, bool quiet)
{
    return m_bufferIo->Read(path, text, format, quiet ? BufferIo::ReadMode::Quiet : BufferIo::ReadMode::Ask);
}

void KestrelEditor::LoadInPieces(CodeEditor *editor, bool whenShown, int cursorPosition, int scrollPosition)
{
    const QString path = editor->Path();
    auto *loader = new BufferLoader(editor, path, BufferIo::Utf8Preferred(), editor);
    loader->SetPositionsToRestore(cursorPosition, scrollPosition);
    connect(loader, &BufferLoader::Progress, this, [this, editor](int percent) {
        if (editor == ActiveCodeEditor())
            m_statusBar->UpdateLoadProgress(percent);
    });
    connect(loader, &BufferLoader::Loaded, this,
            [this, editor, loader, path, cursorPosition, scrollPosition](const TextFileFormat &format,
                                                                         const TextFileNotes &notes) {
                m_bufferIo->SetFormat(editor, format);
                m_bufferIo->Changes().AddOwnWrite(path);
                BufferIo::ReportNotes(path, format, notes);
                loader->deleteLater();
                for (CodeEditorGroup *group : qAsConst(m_groups)) {
                    const int index = group->IndexOf(editor);
                    if (index >= 0 && cursorPosition >= 0)
                        group->SetCursorAndScrollPosition(index, cursorPosition, scrollPosition);
                }
                if (editor == ActiveCodeEditor())
                    UpdateStatusBarInfo();
            });
    connect(loader, &BufferLoader::Failed, this, [this, editor, path] {
        HostBridge::showError(QStringLiteral("Failed to open file: %1").arg(path));
        // An empty tab in the file's name would write nothing over it at the next save. Closed
        // once the loader, which the editor owns, is out of its signal.
        QTimer::singleShot(0, this, [this, gone = QPointer<CodeEditor>(editor)] {
            for (CodeEditorGroup *group : qAsConst(m_groups)) {
                const int index = gone ? group->IndexOf(gone) : -1;
                if (index >= 0)
                    CloseCodeEditor(group, index);
            }
        });
    });
    if (whenShown)
        loader->StartWhenShown();
    else
        loader->Start();
}

bool KestrelEditor::IsLoading(const CodeEditor *editor)
{
    const auto *loader = editor ? editor->findChild<BufferLoader *>(QString(), Qt::FindDirectChildrenOnly) : nullptr;
    return loader && loader->IsLoading();
}

bool KestrelEditor::WriteFile(CodeEditor *codeEditor, const QString &path, bool cleanUp, bool ask)
{
    // Only part of the file is in the editor yet: writing it would cut the file short.
    if (IsLoading(codeEditor)) {
        HostBridge::showWarning(QStringLiteral("'%1' is still loading; it can be saved once it is loaded.").arg(path));
        return false;
    }
    // Never over work the window has not seen: what another program wrote since the last read
    // or save is asked about first (or, with nobody to ask, left alone and reported).
    if (codeEditor->Kind() == CODE_EDITOR_FILE && !ConfirmOverwrite(codeEditor, path, ask))
        return false;
    const CodeEditorLanguage language = codeEditor->Language();
    if (cleanUp && (language == LANGUAGE_MEL || language == LANGUAGE_PYTHON)) {
        const Settings &settings = Settings::instance();
        const bool mel = language == LANGUAGE_MEL;
        const bool trim = mel ? settings.melTrimTrailingWhiteSpacesOnSave : settings.pythonTrimTrailingWhiteSpacesOnSave;
        const bool newLine = mel ? settings.melEnsureNewLineAtEofOnSave : settings.pythonEnsureNewLineAtEofOnSave;
        if (trim)
            codeEditor->TrimTrailingWhiteSpaces(newLine);
        else if (newLine)
            codeEditor->EnsureNewLineAtEof();
    }
    TextFileFormat format = m_bufferIo->Format(codeEditor);
    if (!m_bufferIo->Write(path, TextFile::DocumentText(*codeEditor->document()), format))
        return false;
    m_bufferIo->SetFormat(codeEditor, format);
    m_bufferIo->Recovery().Remove(codeEditor->Path());
    if (codeEditor == ActiveCodeEditor())
        UpdateStatusBarInfo();
    return true;
}

QString KestrelEditor::OpenDialogDirectory(const QString &remembered) const
{
    // Next to the file being edited; else where the dialog was last left, while that exists;
    // else beside the newest recent file, or at home.
    const CodeEditor *editor = ActiveCodeEditor();
    if (editor && editor->Kind() == CODE_EDITOR_FILE)
        return QFileInfo(editor->Path()).absolutePath();
    if (!remembered.isEmpty() && QFileInfo(remembered).isDir())
        return remembered;
    for (const QString &recent : qAsConst(Settings::instance().recentFiles)) {
        const QString folder = QFileInfo(recent).absolutePath();
        if (QFileInfo(folder).isDir())
            return folder;
    }
    return QDir::homePath();
}

void KestrelEditor::RememberRecentFile(const QString &path)
{
    Settings::instance().addRecentFile(path);
    RebuildRecentFilesMenu();
}

void KestrelEditor::OpenFile()
{
    static FileDialogMemory memory{QString(), FileDialogRules::OpenFilters().constFirst()};
    const QString path = QFileDialog::getOpenFileName(this, QStringLiteral("Open File"),
                                                      OpenDialogDirectory(memory.directory),
                                                      FileDialogRules::Join(FileDialogRules::OpenFilters()),
                                                      &memory.filter);
    if (path.isEmpty())
        return;
    memory.directory = QFileInfo(path).absolutePath();
    OpenFile(path);
}

void KestrelEditor::OpenFile(const QString &filePath, bool temp)
{
    Q_UNUSED(temp);
    if (filePath.isEmpty())
        return;
    OnOpenFileRequested(m_activeGroupIndex, -1, filePath);
}

void KestrelEditor::OnOpenFileRequested(int groupId, int index, const QString &path)
{
    const QString absolute = QFileInfo(path).absoluteFilePath();
    if (IsPathOpen(absolute)) {
        CreateCodeEditor(Group(groupId), {CODE_EDITOR_FILE, BufferFiles::LanguageForPath(absolute), absolute, QString()}, QString());
        RememberRecentFile(absolute);
        return;
    }
    TextFileProbe probe;
    if (!m_bufferIo->Confirm(absolute, BufferIo::ReadMode::Ask, &probe))
        return;
    const bool inPieces = probe.size >= BufferLoader::InPiecesSize;
    QString text;
    TextFileFormat format;
    if (!inPieces && !ReadFile(absolute, text, format, true))
        return;
    CodeEditorGroup *group = Group(groupId);
    CodeEditorRecord record{CODE_EDITOR_FILE, BufferFiles::LanguageForPath(absolute), absolute, QFileInfo(absolute).fileName()};
    const int added = CreateCodeEditor(group, record, text, index);
    if (added < 0)
        return;
    if (inPieces) {
        LoadInPieces(group->CodeEditorAt(added));
    } else {
        m_bufferIo->SetFormat(group->CodeEditorAt(added), format);
        m_bufferIo->Changes().AddOwnWrite(absolute);
    }
    group->SetCurrentIndex(added);
    SetActiveGroupIndex(groupId);
    RememberRecentFile(absolute);
    SaveState();
}

void KestrelEditor::OnOpenFilesRequested(int groupId, TabDropZone zone, const QStringList &paths)
{
    int target = groupId;
    if (zone != TAB_DROP_ZONE_CENTER) {
        const int room = MakeRoomForZone(groupId, zone);
        if (room >= 0)
            target = room;
    }
    for (const QString &path : paths)
        OnOpenFileRequested(target, -1, path);
}

void KestrelEditor::SourceScript()
{
    static FileDialogMemory memory{QString(), FileDialogRules::SourceScriptFilters().constFirst()};
    const QString path = QFileDialog::getOpenFileName(this, QStringLiteral("Source Script"), memory.directory,
                                                      FileDialogRules::Join(FileDialogRules::SourceScriptFilters()),
                                                      &memory.filter);
    if (path.isEmpty())
        return;
    memory.directory = QFileInfo(path).absolutePath();
    HostBridge::sourceScript(path);
    MelCommandCatalog::instance().ForgetUnknownNames();
}

void KestrelEditor::OnShowInSideBarRequested(const QString &path)
{
    ShowExplorer();
    // A file under a workspace folder is shown in the workspace tree; anything else (a file
    // elsewhere, an internal buffer) as its row in Open Editors.
    QWidget *shown = nullptr;
    WorkspaceTreeWidget *tree = m_sideBar->Workspace()->Tree();
    CodeEditorGroup *group = nullptr;
    const int index = path.isEmpty() ? -1 : FindOpenFile(path, group);
    if (!path.isEmpty() && tree->RevealPath(path)) {
        shown = tree;
    } else if (index >= 0) {
        OpenEditorsView *list = m_sideBar->OpenEditors();
        if (QTreeWidgetItem *row = list->ItemFor(group->Id(), index)) {
            list->Tree()->setCurrentItem(row);
            list->Tree()->scrollToItem(row);
            shown = list->Tree();
        }
    }
    // Its explorer section opens if it was folded.
    for (QWidget *w = shown; w; w = w->parentWidget()) {
        if (auto *section = qobject_cast<SubView *>(w)) {
            section->SetExpanded(true);
            break;
        }
    }
}

// --- Save ----------------------------------------------------------------------------------------

void KestrelEditor::Save()
{
    CodeEditorGroup *group = ActiveGroup();
    if (!group || group->CurrentIndex() < 0)
        return;
    const int index = group->CurrentIndex();
    const CodeEditorRecord record = group->Record(index);
    if (record.kind != CODE_EDITOR_FILE) {
        SaveAs();
        return;
    }
    CodeEditor *editor = group->CodeEditorAt(index);
    if (WriteFile(editor, record.path))
        editor->document()->setModified(false);
}

void KestrelEditor::SaveAs()
{
    CodeEditorGroup *group = ActiveGroup();
    if (!group || group->CurrentIndex() < 0)
        return;
    const int index = group->CurrentIndex();
    CodeEditorRecord record = group->Record(index);
    CodeEditor *editor = group->CodeEditorAt(index);
    QString filter = FileDialogRules::SaveFilterFor(record.language);
    const QString start = record.kind == CODE_EDITOR_FILE && QFileInfo::exists(record.path) ? record.path : QString();
    // The dialog would check the name before the filter adds its suffix: the final name is
    // checked below instead.
    QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Save File"), start,
                                                FileDialogRules::Join(FileDialogRules::SaveFilters()), &filter,
                                                QFileDialog::DontConfirmOverwrite);
    if (path.isEmpty())
        return;
    path = QFileInfo(FileDialogRules::ApplySuffixRule(path, filter)).absoluteFilePath();
    CodeEditorGroup *other = nullptr;
    const int existing = FindOpenFile(path, other);
    if (existing >= 0 && !(other == group && existing == index)) {
        HostBridge::showError(QStringLiteral("An open editor already exists with that path: %1").arg(path));
        return;
    }
    const bool ownFile = record.kind == CODE_EDITOR_FILE && SameFile(path, record.path);
    if (!ownFile && QFileInfo::exists(path)
        && QMessageBox::question(this, QStringLiteral("Save File"),
                                 QStringLiteral("'%1' already exists.\n\nDo you want to replace it?").arg(path),
                                 QMessageBox::Yes | QMessageBox::No, QMessageBox::No)
               != QMessageBox::Yes)
        return;
    if (!WriteFile(editor, path))
        return;
    if (record.kind == CODE_EDITOR_INTERNAL_BUFFER && !record.path.isEmpty() && !QFile::remove(record.path))
        HostBridge::showError(QStringLiteral("Failed to delete file: %1").arg(record.path));
    if (record.kind == CODE_EDITOR_FILE && record.path != path)
        ForgetFile(record.path);
    record.kind = CODE_EDITOR_FILE;
    record.path = path;
    record.name = QFileInfo(path).fileName();
    record.language = BufferFiles::LanguageForPath(path);
    group->SetRecord(index, record);
    editor->document()->setModified(false);
    RememberRecentFile(path);
    UpdateTitleBar();
    UpdateInterpreter();
    RefreshOpenEditors();
    SaveState();
}

void KestrelEditor::SaveAll(bool internalBuffers, bool fileBuffers)
{
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            const CodeEditorRecord record = group->Record(i);
            const bool wanted = record.kind == CODE_EDITOR_FILE ? fileBuffers : internalBuffers;
            if (!wanted || !group->IsModified(i) || record.path.isEmpty())
                continue;
            CodeEditor *editor = group->CodeEditorAt(i);
            if (WriteFile(editor, record.path))
                editor->document()->setModified(false);
        }
    }
}

void KestrelEditor::AutosaveBuffers()
{
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            const CodeEditorRecord record = group->Record(i);
            CodeEditor *editor = group->CodeEditorAt(i);
            if (record.path.isEmpty())
                continue;
            if (record.kind == CODE_EDITOR_INTERNAL_BUFFER) {
                if (group->IsModified(i) && WriteFile(editor, record.path, false))
                    editor->document()->setModified(false);
            } else if (group->IsModified(i)) {
                // Never the user's file itself: only saving decides what goes there. A copy of
                // the same text is not written twice.
                QTextDocument *document = editor->document();
                const QVariant edits = document->property(editsProperty);
                if (edits.isValid() && document->property(recoveredEditsProperty) == edits
                    && m_bufferIo->Recovery().Exists(record.path))
                    continue;
                if (document->characterCount() > CodeEditor::snapshotLength) {
                    // A large text is joined, encoded and written by a worker from a snapshot.
                    const QPointer<QTextDocument> written(document);
                    m_bufferIo->Recovery().WriteInBackground(record.path, editor->Snapshot(), this,
                                                             [written, edits](bool landed) {
                                                                 if (landed && written)
                                                                     written->setProperty(recoveredEditsProperty, edits);
                                                             });
                } else if (m_bufferIo->Recovery().Write(record.path, TextFile::DocumentText(*document))) {
                    document->setProperty(recoveredEditsProperty, edits);
                }
            } else {
                m_bufferIo->Recovery().Remove(record.path);
            }
        }
    }
}

void KestrelEditor::Rename()
{
    if (CodeEditorGroup *group = ActiveGroup())
        Rename(group, group->CurrentIndex());
}

void KestrelEditor::Rename(CodeEditorGroup *codeEditorGroup, int codeEditorIndex)
{
    if (!codeEditorGroup || codeEditorIndex < 0 || codeEditorIndex >= codeEditorGroup->Count())
        return;
    CodeEditorRecord record = codeEditorGroup->Record(codeEditorIndex);
    bool accepted = false;
    QString name = QInputDialog::getText(this, QStringLiteral("Rename"), QStringLiteral("New Name:"), QLineEdit::Normal,
                                         codeEditorGroup->CodeEditorAt(codeEditorIndex)->DisplayName(), &accepted,
                                         Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    if (record.kind == CODE_EDITOR_INTERNAL_BUFFER) {
        bool removed = false;
        name = BufferFiles::CleanInternalBufferName(name, &removed);
        if (removed)
            HostBridge::showError(QStringLiteral("Rename: ';' is an invalid character."));
    }
    if (!accepted || name.isEmpty())
        return;
    if (record.kind == CODE_EDITOR_FILE) {
        const QString oldPath = record.path;
        const QString newPath = QStringLiteral("%1/%2").arg(QFileInfo(oldPath).absolutePath(), name);
        if (QFileInfo::exists(newPath)) {
            HostBridge::showError(QStringLiteral("Rename failed. File already exists: %1").arg(newPath));
            return;
        }
        if (!QFile::rename(oldPath, newPath)) {
            HostBridge::showError(
                QStringLiteral("Rename file failed. Please verify file path and permissions: %1 -> %2").arg(oldPath, newPath));
            return;
        }
        OnFilePathChanged(oldPath, newPath);
        return;
    }
    record.name = name;
    codeEditorGroup->SetRecord(codeEditorIndex, record);
    UpdateTitleBar();
    RefreshOpenEditors();
    SaveState();
}

void KestrelEditor::OnFilePathChanged(const QString &oldFilePath, const QString &newFilePath)
{
    bool found = false;
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            CodeEditorRecord record = group->Record(i);
            // A renamed folder (in the workspace view) takes the files below it along.
            const QString oldPath = record.path;
            QString newPath;
            if (oldPath == oldFilePath)
                newPath = newFilePath;
            else if (record.kind == CODE_EDITOR_FILE && oldPath.startsWith(oldFilePath + QLatin1Char('/')))
                newPath = newFilePath + oldPath.mid(oldFilePath.size());
            else
                continue;
            found = true;
            // Unsaved typing is kept under the new name at the next autosave.
            const bool hadCopy = m_bufferIo->Recovery().Exists(oldPath);
            ForgetFile(oldPath);
            record.path = newPath;
            record.name = QFileInfo(newPath).fileName();
            record.language = BufferFiles::LanguageForPath(newPath);
            group->SetRecord(i, record);
            m_bufferIo->Changes().AddOwnWrite(newPath);
            if (hadCopy)
                m_bufferIo->Recovery().Write(newPath, TextFile::DocumentText(*group->CodeEditorAt(i)->document()));
        }
    }
    if (!found)
        return;
    UpdateTitleBar();
    UpdateInterpreter();
    RefreshOpenEditors();
    SaveState();
}

void KestrelEditor::ForgetFile(const QString &path)
{
    m_bufferIo->Recovery().Remove(path);
    m_bufferIo->Changes().Forget(path);
}

void KestrelEditor::RevertFile()
{
    CodeEditorGroup *group = ActiveGroup();
    if (!group || group->CurrentIndex() < 0)
        return;
    const int index = group->CurrentIndex();
    const CodeEditorRecord record = group->Record(index);
    // A file still loading is being read fresh already; a second text would mix with it.
    if (record.kind != CODE_EDITOR_FILE || IsLoading(group->CodeEditorAt(index)))
        return;
    if (group->IsModified(index)
        && QMessageBox::question(this, QStringLiteral("Reload"),
                                 QStringLiteral("Reloading this file will result in unsaved changes being lost.\n\nContinue?"),
                                 QMessageBox::Yes | QMessageBox::No)
               != QMessageBox::Yes)
        return;
    QString text;
    TextFileFormat format;
    if (!ReadFile(record.path, text, format, true))
        return;
    group->SetText(index, text);
    m_bufferIo->SetFormat(group->CodeEditorAt(index), format);
    m_bufferIo->Changes().AddOwnWrite(record.path);
    m_bufferIo->Recovery().Remove(record.path);
    UpdateStatusBarInfo();
}

// --- Close -----------------------------------------------------------------------------------------

bool KestrelEditor::CloseCodeEditor(CodeEditorGroup *group, int index)
{
    if (!group || index < 0 || index >= group->Count())
        return false;
    const CodeEditorRecord record = group->Record(index);
    CodeEditor *editor = group->CodeEditorAt(index);
    if (record.kind == CODE_EDITOR_INTERNAL_BUFFER && record.path.isEmpty()) {
        if (!OfferToSaveFilelessBuffer(group, index))
            return false;
        if (group->Record(index).kind == CODE_EDITOR_FILE)
            return CloseCodeEditor(group, index); // saved as a file: closed as one
    } else if (record.kind == CODE_EDITOR_INTERNAL_BUFFER) {
        // Nothing else holds a buffer's text: closing it loses it, so ask unless it is empty or
        // the user has said not to.
        if (!editor->document()->isEmpty() && Settings::instance().showConfirmDialogOnInternalBufferClose
            && QMessageBox::question(this, QStringLiteral("Delete"),
                                     QStringLiteral("Delete buffer '%1'?\n\nUnsaved contents will be lost.")
                                         .arg(editor->DisplayName()),
                                     QMessageBox::Yes | QMessageBox::No)
                   != QMessageBox::Yes)
            return false;
        if (!record.path.isEmpty() && QFileInfo::exists(record.path) && !QFile::remove(record.path))
            HostBridge::showError(QStringLiteral("Failed to delete file: %1").arg(record.path));
    } else {
        if (group->IsModified(index)) {
            const auto answer = QMessageBox::question(
                this, QStringLiteral("Save"), QStringLiteral("'%1' has been modified. Save changes?").arg(editor->DisplayName()),
                QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
            if (answer == QMessageBox::Cancel)
                return false;
            if (answer == QMessageBox::Yes && !WriteFile(editor, record.path))
                return false;
        }
        ForgetFile(record.path);
        Settings::instance().addRecentFile(record.path);
        Settings::instance().write();
        RebuildRecentFilesMenu();
    }
    m_lastUsed.remove(editor);
    group->DeleteCodeEditor(index);
    UpdateGroupVisibility();
    RefreshOpenEditors();
    UpdateViews();
    SaveState();
    // The keys go on working without a click: the group's next tab, or the active group's, takes
    // the focus the closed editor took with it.
    if (CodeEditor *next = group->Count() > 0 ? group->CurrentCodeEditor() : ActiveCodeEditor())
        next->setFocus();
    return true;
}

void KestrelEditor::CloseFile()
{
    if (CodeEditorGroup *group = ActiveGroup())
        CloseCodeEditor(group, group->CurrentIndex());
}

void KestrelEditor::CloseAllFiles()
{
    for (CodeEditorGroup *group : qAsConst(m_groups))
        for (int i = group->Count() - 1; i >= 0; --i)
            CloseCodeEditor(group, i);
}

void KestrelEditor::OnCloseTabRequested(CodeEditorGroup *group, int index)
{
    CloseCodeEditor(group, index);
}

void KestrelEditor::OnCloseOtherTabsRequested(CodeEditorGroup *group, int index)
{
    if (!group)
        return;
    CodeEditor *kept = group->CodeEditorAt(index);
    for (int i = group->Count() - 1; i >= 0; --i)
        if (group->CodeEditorAt(i) != kept)
            CloseCodeEditor(group, i);
}

void KestrelEditor::OnCloseTabsToRightRequested(CodeEditorGroup *group, int index)
{
    if (!group)
        return;
    for (int i = group->Count() - 1; i > index; --i)
        CloseCodeEditor(group, i);
}

// --- Recent files ----------------------------------------------------------------------------------

void KestrelEditor::RebuildRecentFilesMenu()
{
    m_recentFilesMenu->clear();
    m_recentFilesMenu->addAction(m_reopenClosedFileAction);
    m_recentFilesMenu->addSeparator();
    const Settings &settings = Settings::instance();
    const QStringList paths = settings.recentFiles.mid(0, settings.recentFileLimit());
    for (const QString &path : paths) {
        QAction *entry = m_recentFilesMenu->addAction(path);
        entry->setData(path);
        connect(entry, &QAction::triggered, this, &KestrelEditor::OpenRecentFile);
    }
    if (!paths.isEmpty())
        m_recentFilesMenu->addSeparator();
    m_recentFilesMenu->addAction(m_clearRecentFilesAction);
}

void KestrelEditor::OpenRecentFile()
{
    auto *entry = qobject_cast<QAction *>(sender());
    const QString path = entry ? entry->data().toString() : QString();
    if (!path.isEmpty())
        OpenFile(path);
}

void KestrelEditor::ReopenClosedFile()
{
    for (const QString &path : Settings::instance().recentFiles) {
        if (!IsPathOpen(path)) {
            OpenFile(path);
            return;
        }
    }
}

void KestrelEditor::ClearRecentFiles()
{
    Settings::instance().clearRecentFiles();
    RebuildRecentFilesMenu();
}

// --- Moving editors between groups ---------------------------------------------------------------

void KestrelEditor::MoveCodeEditor(int fromGroup, int fromIndex, int toGroup, int toIndex)
{
    CodeEditorGroup *source = Group(fromGroup);
    CodeEditorGroup *target = Group(toGroup);
    if (!source || !target || fromIndex < 0 || fromIndex >= source->Count())
        return;
    if (source == target && (toIndex == fromIndex || (toIndex < 0 && fromIndex == source->Count() - 1)))
        return;
    // The editor moves alive: its text, cursor and undo history go with it.
    CodeEditor *editor = source->RemoveCodeEditor(fromIndex);
    if (!editor)
        return;
    const int index = target->InsertCodeEditor(toIndex, editor);
    if (index < 0)
        return;
    target->SetCurrentIndex(index);
    SetActiveGroupIndex(toGroup);
    UpdateGroupVisibility();
    editor->setFocus();
    UpdateViews();
    SaveState();
}

void KestrelEditor::MoveAllCodeEditors(int fromGroup, int toGroup)
{
    CodeEditorGroup *source = Group(fromGroup);
    CodeEditorGroup *target = Group(toGroup);
    if (!source || !target)
        return;
    const int current = source->CurrentIndex();
    const int offset = target->Count();
    while (source->Count() > 0) {
        if (CodeEditor *editor = source->RemoveCodeEditor(0))
            target->InsertCodeEditor(-1, editor);
        else
            break;
    }
    if (current >= 0)
        target->SetCurrentIndex(offset + current);
}

int KestrelEditor::MakeRoomForZone(int groupId, TabDropZone zone)
{
    const int last = m_groups.size() - 1;
    if (zone == TAB_DROP_ZONE_CENTER || groupId < 0 || groupId > last)
        return groupId;
    // The new place is the neighbouring group when it is free; otherwise the groups between the
    // place and the nearest free group shift by one towards it; with no free group the drop
    // lands in the group.
    const int wanted = zone == TAB_DROP_ZONE_BEFORE ? groupId : groupId + 1;
    if (zone == TAB_DROP_ZONE_BEFORE && groupId > 0 && Group(groupId - 1)->Count() == 0)
        return groupId - 1;
    if (wanted <= last && Group(wanted)->Count() == 0)
        return wanted;
    for (int free = wanted + 1; free <= last; ++free) {
        if (Group(free)->Count() > 0)
            continue;
        for (int id = free; id > wanted; --id)
            MoveAllCodeEditors(id - 1, id);
        if (m_activeGroupIndex >= wanted && m_activeGroupIndex < free)
            SetActiveGroupIndex(m_activeGroupIndex + 1);
        UpdateGroupVisibility();
        return wanted;
    }
    // The free group is before the place: the groups from it up to the place shift back.
    for (int free = wanted - 2; free >= 0; --free) {
        if (Group(free)->Count() > 0)
            continue;
        for (int id = free; id < wanted - 1; ++id)
            MoveAllCodeEditors(id + 1, id);
        if (m_activeGroupIndex > free && m_activeGroupIndex < wanted)
            SetActiveGroupIndex(m_activeGroupIndex - 1);
        UpdateGroupVisibility();
        return wanted - 1;
    }
    return groupId;
}

void KestrelEditor::OnMoveTabRequested(int fromGroup, int fromIndex, int toGroup, int toIndex)
{
    MoveCodeEditor(fromGroup, fromIndex, toGroup, toIndex);
}

void KestrelEditor::OnMoveTabToZoneRequested(int fromGroup, int fromIndex, int toGroup, TabDropZone zone)
{
    CodeEditorGroup *source = Group(fromGroup);
    if (!source || fromIndex < 0 || fromIndex >= source->Count())
        return;
    CodeEditor *editor = source->CodeEditorAt(fromIndex);
    // A group's only tab dropped beside that same group has nowhere new to go.
    if (zone != TAB_DROP_ZONE_CENTER && fromGroup == toGroup && source->Count() == 1)
        return;
    const int target = MakeRoomForZone(toGroup, zone);
    // Making room may have moved the dragged editor to another group.
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        const int index = group->IndexOf(editor);
        if (index >= 0) {
            MoveCodeEditor(group->Id(), index, target, -1);
            return;
        }
    }
}

// --- Outside changes -------------------------------------------------------------------------------

void KestrelEditor::OnFileChanged(const QString &path)
{
    if (QFileInfo::exists(path)) {
        m_bufferIo->Changes().AddChangedPath(path);
        ScheduleFileCheck();
        return;
    }
    // The file is gone: the editor is now the only copy, so offer to save it again.
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        const int index = group->IndexOfPath(path);
        if (index < 0)
            continue;
        CodeEditor *editor = group->CodeEditorAt(index);
        editor->document()->setModified(true);
        // A modified buffer always has a copy on disk; this one may be its text's last.
        if (group->Record(index).kind == CODE_EDITOR_FILE)
            m_bufferIo->Recovery().Write(path, TextFile::DocumentText(*editor->document()));
    }
}

void KestrelEditor::ScheduleFileCheck()
{
    if (!m_fileCheckTimer) {
        // Several reasons to look often arrive together (a save by another program is a few
        // notifications; focus and a tab change come with a click): one look for all of them.
        m_fileCheckTimer = new QTimer(this);
        m_fileCheckTimer->setSingleShot(true);
        m_fileCheckTimer->setInterval(300);
        connect(m_fileCheckTimer, &QTimer::timeout, this, &KestrelEditor::CheckForFileChanges);
    }
    m_fileCheckTimer->start();
}

bool KestrelEditor::ReloadFile(CodeEditorGroup *group, int index)
{
    const QString path = group->Record(index).path;
    CodeEditor *editor = group->CodeEditorAt(index);
    if (IsLoading(editor))
        return false; // read fresh already
    QString text;
    TextFileFormat format;
    if (!ReadFile(path, text, format, true))
        return false;
    const int position = editor->textCursor().position();
    const int scroll = editor->verticalScrollBar()->value();
    // One undoable edit: Ctrl+Z gives back the text the editor had.
    QTextCursor cursor(editor->document());
    cursor.beginEditBlock();
    cursor.select(QTextCursor::Document);
    cursor.insertText(text);
    cursor.endEditBlock();
    editor->document()->setModified(false);
    group->SetCursorAndScrollPosition(index, std::min(position, editor->document()->characterCount() - 1), scroll);
    m_bufferIo->SetFormat(editor, format);
    m_bufferIo->Changes().AddOwnWrite(path);
    m_bufferIo->Recovery().Remove(path);
    UpdateStatusBarInfo();
    return true;
}

bool KestrelEditor::ConfirmOverwrite(CodeEditor *codeEditor, const QString &path, bool ask)
{
    if (!m_bufferIo->Changes().ChangedOutside(path))
        return true;
    if (!ask) {
        HostBridge::showError(QStringLiteral("'%1' was changed by another program; it was not overwritten.").arg(path));
        return false;
    }
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Save"),
                    QStringLiteral("%1\n\nThis file has been modified by another program since it was last read or "
                                   "saved here.\nOverwrite it with the text in the editor, reload it, or cancel the save?")
                        .arg(path),
                    QMessageBox::NoButton, this);
    QPushButton *overwrite = box.addButton(QStringLiteral("&Overwrite"), QMessageBox::DestructiveRole);
    QPushButton *reload = box.addButton(QStringLiteral("&Reload"), QMessageBox::ActionRole);
    QPushButton *cancel = box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    // One question about the file at a time: the reload question waits while this one is open.
    const bool wasChecking = m_checkingFileChanges;
    m_checkingFileChanges = true;
    box.exec();
    m_checkingFileChanges = wasChecking;
    if (box.clickedButton() == overwrite)
        return true;
    if (box.clickedButton() == reload) {
        for (CodeEditorGroup *group : qAsConst(m_groups)) {
            const int index = group->IndexOf(codeEditor);
            if (index >= 0)
                ReloadFile(group, index);
        }
    } else {
        // Seen: the reload question need not come up for it as well; the next save asks again.
        m_bufferIo->Changes().Dismiss(path);
    }
    return false;
}

void KestrelEditor::CheckForFileChanges()
{
    if (m_checkingFileChanges || m_tornDown)
        return;
    m_checkingFileChanges = true;
    FileChangeTracker &changes = m_bufferIo->Changes();
    if (!Settings::instance().checkForModifiedFiles) {
        changes.Clear();
        m_checkingFileChanges = false;
        return;
    }
    // Every open file is looked at, not only those the watcher named: a watch can be lost
    // (the file replaced, the folder moved) and the window may have been away for long.
    QStringList candidates = changes.TakeOutsideChanges();
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            const CodeEditorRecord record = group->Record(i);
            if (record.kind == CODE_EDITOR_FILE && !candidates.contains(record.path) && changes.ChangedOutside(record.path))
                candidates.append(record.path);
        }
    }
    for (const QString &path : qAsConst(candidates)) {
        CodeEditorGroup *group = nullptr;
        for (CodeEditorGroup *candidate : qAsConst(m_groups))
            if (candidate->IndexOfPath(path) >= 0)
                group = candidate;
        if (!group || !QFileInfo::exists(path) || changes.Dismissed(path))
            continue;
        const int index = group->IndexOfPath(path);
        const bool modified = group->IsModified(index);
        const QString question =
            modified ? QStringLiteral("%1\n\nThis file has been modified by another program.\nIt also has unsaved "
                                      "changes here, which reloading replaces (Undo brings them back).\nDo you want to "
                                      "reload it?")
                     : QStringLiteral("%1\n\nThis file has been modified by another program.\nDo you want to reload it?");
        const auto answer = QMessageBox::question(parentWidget() ? parentWidget() : this, QStringLiteral("Reload"),
                                                  question.arg(path), QMessageBox::Yes | QMessageBox::No,
                                                  modified ? QMessageBox::No : QMessageBox::Yes);
        // The group may have changed while the question was open.
        const int now = group->IndexOfPath(path);
        if (now < 0)
            continue;
        if (answer == QMessageBox::Yes)
            ReloadFile(group, now);
        else
            changes.Dismiss(path);
    }
    m_checkingFileChanges = false;
}

// --- Session state ---------------------------------------------------------------------------------

void KestrelEditor::SaveState()
{
    if (m_constructing)
        return;
    Settings &settings = Settings::instance();
    QStringList details;
    QVector<int> scrolling;
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            const CodeEditorRecord record = group->Record(i);
            // A buffer whose file could not be made has nothing to come back from.
            if (record.path.isEmpty())
                continue;
            CodeEditor *editor = group->CodeEditorAt(i);
            TabDetails entry;
            entry.group = group->Id();
            entry.kind = record.kind;
            entry.path = record.path;
            entry.current = i == group->CurrentIndex();
            entry.cursorPosition = editor->textCursor().position();
            entry.scrollPosition = editor->verticalScrollBar()->value();
            const auto *loader = editor->findChild<BufferLoader *>(QString(), Qt::FindDirectChildrenOnly);
            if (loader && loader->IsLoading() && loader->CursorToRestore() >= 0) {
                entry.cursorPosition = loader->CursorToRestore();
                entry.scrollPosition = std::max(0, loader->ScrollToRestore());
            }
            if (record.kind == CODE_EDITOR_INTERNAL_BUFFER)
                entry.name = editor->DisplayName();
            details.append(entry.ToString());
        }
        scrolling.append(group->TabBarScrollOffset());
    }
    // The saved tabs are the first session's: another session's would name buffers it alone
    // writes, and drop the first one's from the list.
    if (m_sessionLock->IsPrimary()) {
        settings.tabDetails = details;
        settings.tabBarScrolling = SessionState::FormatTabBarScrolling(scrolling);
        settings.activeTabViewIndex = m_activeGroupIndex;
        settings.breakpoints = SavedBreakpoints();
    }
    m_sideBar->SaveState();
    if (isVisible()) {
        settings.windowGeometry = QRect(mapToGlobal(QPoint(0, 0)), size());
        settings.sideBarState = m_sideBarSplitter->saveState();
        settings.outputState = m_outputSplitter->saveState();
        settings.codeEditorVisible = m_codeEditorVisible;
        settings.outputVisible = m_outputVisible;
        settings.sideBarVisible = m_sideBarVisible;
    }
    settings.write();
    ColorScheme::instance().write();
    m_bindings.write();
}

void KestrelEditor::RestoreSession()
{
    const Settings &settings = Settings::instance();
    for (CodeEditorGroup *group : qAsConst(m_groups))
        group->SuspendTabUpdates(true);
    const QString bufferDirectory = UserDirectories::internalBufferDirectory();
    const bool primary = m_sessionLock->IsPrimary();
    if (primary)
        m_sessionLock->AdoptEndedSessions();
    else
        HostBridge::showWarning(QStringLiteral("Another Kestrel Editor 2 session is using the internal buffers; this "
                                               "window keeps its own in %1.")
                                    .arg(QDir::toNativeSeparators(m_sessionLock->Directory())));
    for (const QString &entry : settings.tabDetails) {
        TabDetails details;
        if (!details.Parse(entry, bufferDirectory))
            continue;
        // The other session's buffers are its own to write.
        if (!primary && details.kind == CODE_EDITOR_INTERNAL_BUFFER)
            continue;
        CodeEditorGroup *group = Group(details.group);
        if (!group || IsPathOpen(details.path))
            continue;
        const bool file = details.kind == CODE_EDITOR_FILE;
        // A big file waits until its tab is first shown, then comes in pieces: the window never
        // waits for it. One with a recovery copy is read now, as that copy is compared with it.
        const QFileInfo info(details.path);
        const bool later = file && info.isFile() && info.size() >= BufferLoader::DeferredSize
                           && !m_bufferIo->Recovery().Exists(details.path);
        QString text;
        TextFileFormat format;
        if (!later && !ReadFile(details.path, text, format, true))
            continue;
        const CodeEditorRecord record{details.kind, BufferFiles::LanguageForPath(details.path), details.path,
                                      file ? QFileInfo(details.path).fileName() : details.name};
        const int index = CreateCodeEditor(group, record, text);
        if (index < 0)
            continue;
        if (later) {
            LoadInPieces(group->CodeEditorAt(index), true, details.cursorPosition, details.scrollPosition);
        } else {
            m_bufferIo->SetFormat(group->CodeEditorAt(index), format);
            if (file)
                m_bufferIo->Changes().AddOwnWrite(details.path);
            group->SetCursorAndScrollPosition(index, details.cursorPosition, details.scrollPosition);
        }
        if (details.current)
            group->SetCurrentIndex(index);
    }
    const QVector<int> scrolling = SessionState::ParseTabBarScrolling(settings.tabBarScrolling);
    for (int i = 0; i < m_groups.size() && i < scrolling.size(); ++i)
        m_groups.at(i)->SetTabBarScrollOffset(scrolling.at(i));
    if (primary)
        ReopenUnlistedBuffers();
    for (CodeEditorGroup *group : qAsConst(m_groups))
        group->SuspendTabUpdates(false);
    UpdateGroupVisibility();
}

void KestrelEditor::ReopenUnlistedBuffers()
{
    QStringList open;
    for (CodeEditorGroup *group : qAsConst(m_groups))
        for (int i = 0; i < group->Count(); ++i)
            open << group->Record(i).path;
    QStringList reopened;
    for (const QString &path : m_sessionLock->UnlistedBuffers(open)) {
        if (QFileInfo(path).size() == 0) {
            QFile::remove(path); // nothing in it to lose
            continue;
        }
        QString text;
        TextFileFormat format;
        if (!ReadFile(path, text, format, true))
            continue;
        const CodeEditorRecord record{CODE_EDITOR_INTERNAL_BUFFER, BufferFiles::LanguageForPath(path), path,
                                      QFileInfo(path).completeBaseName()};
        CodeEditorGroup *group = Group(0);
        const int index = CreateCodeEditor(group, record, text);
        if (index < 0)
            continue;
        m_bufferIo->SetFormat(group->CodeEditorAt(index), format);
        reopened << QFileInfo(path).fileName();
    }
    if (!reopened.isEmpty())
        HostBridge::showWarning(QStringLiteral("Buffers that no saved session listed were opened again: %1")
                                    .arg(reopened.join(QStringLiteral(", "))));
}

void KestrelEditor::OfferRecoveredFiles()
{
    RecoveryCopies &recovery = m_bufferIo->Recovery();
    const auto find = [this](const QString &path, CodeEditorGroup *&group) {
        for (CodeEditorGroup *candidate : qAsConst(m_groups)) {
            const int index = candidate->IndexOfPath(path);
            if (index >= 0) {
                group = candidate;
                return index;
            }
        }
        return -1;
    };
    for (const RecoveryCopies::Copy &copy : recovery.ReadAll()) {
        CodeEditorGroup *group = nullptr;
        int index = find(copy.filePath, group);
        if (index < 0 && QFileInfo(copy.filePath).isFile()) {
            OpenFile(copy.filePath);
            index = find(copy.filePath, group);
        }
        if (index < 0 && !QFileInfo::exists(copy.filePath)) {
            // The file is gone; its text comes back as a file buffer that can be saved again.
            group = ActiveGroup();
            index = CreateCodeEditor(group, {CODE_EDITOR_FILE, BufferFiles::LanguageForPath(copy.filePath),
                                             copy.filePath, QFileInfo(copy.filePath).fileName()},
                                     QString());
        }
        if (index < 0 || !group)
            continue; // left for a later start rather than lost
        CodeEditor *editor = group->CodeEditorAt(index);
        if (TextFile::DocumentText(*editor->document()) == copy.text) {
            recovery.Remove(copy.filePath);
            continue;
        }
        SetActiveCodeEditor(group->Id(), index);
        QMessageBox box(QMessageBox::Question, QStringLiteral("Recover"),
                        QStringLiteral("'%1' has unsaved changes from an earlier session that were never saved.\n\n"
                                       "Keep the recovered text, or discard it and keep the file as it is on disk?")
                            .arg(copy.filePath),
                        QMessageBox::NoButton, this);
        QPushButton *keep = box.addButton(QStringLiteral("Keep"), QMessageBox::AcceptRole);
        QPushButton *discard = box.addButton(QStringLiteral("Discard"), QMessageBox::DestructiveRole);
        box.setDefaultButton(keep);
        box.setEscapeButton(keep);
        box.exec();
        if (box.clickedButton() == discard) {
            recovery.Remove(copy.filePath);
            continue;
        }
        // One undoable edit: undo gives back the file as it is on disk.
        const int position = editor->textCursor().position();
        QTextCursor cursor(editor->document());
        cursor.beginEditBlock();
        cursor.select(QTextCursor::Document);
        cursor.insertText(copy.text);
        cursor.endEditBlock();
        cursor.setPosition(std::min(position, editor->document()->characterCount() - 1));
        editor->setTextCursor(cursor);
    }
}

QVector<CodeEditor *> KestrelEditor::SaveForClose(bool fileBuffers, bool ask)
{
    QVector<CodeEditor *> failed;
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            const CodeEditorRecord record = group->Record(i);
            const bool file = record.kind == CODE_EDITOR_FILE;
            if ((file && !fileBuffers) || !group->IsModified(i) || record.path.isEmpty())
                continue;
            CodeEditor *editor = group->CodeEditorAt(i);
            if (WriteFile(editor, record.path, file, ask))
                editor->document()->setModified(false);
            else
                failed.append(editor);
        }
    }
    return failed;
}

void KestrelEditor::KeepUnsavedText(CodeEditor *codeEditor)
{
    if (m_bufferIo->Recovery().Write(codeEditor->Path(), TextFile::DocumentText(*codeEditor->document())))
        HostBridge::showWarning(
            QStringLiteral("'%1' was not saved; its text is kept and offered again at the next start.").arg(codeEditor->Path()));
    else
        HostBridge::showError(QStringLiteral("'%1' was not saved and its text could not be kept: %2")
                                  .arg(codeEditor->Path(), m_bufferIo->Recovery().Directory()));
}

bool KestrelEditor::OfferToSaveFilelessBuffer(CodeEditorGroup *group, int index)
{
    CodeEditor *editor = group->CodeEditorAt(index);
    if (editor->document()->isEmpty())
        return true;
    const auto answer = QMessageBox::warning(
        this, QStringLiteral("Save"),
        QStringLiteral("'%1' has no file in the buffer folder (it could not be created), so its text is lost when "
                       "it closes.\n\nSave it to a file first?")
            .arg(editor->DisplayName()),
        QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel, QMessageBox::Yes);
    if (answer == QMessageBox::No)
        return true;
    if (answer != QMessageBox::Yes)
        return false;
    SetActiveCodeEditor(group->Id(), index);
    SaveAs();
    const int now = group->IndexOf(editor);
    return now >= 0 && group->Record(now).kind == CODE_EDITOR_FILE;
}

bool KestrelEditor::ConfirmClose()
{
    const Settings &settings = Settings::instance();
    bool saveFiles = settings.saveAllOnExit;
    bool modifiedFile = false;
    for (CodeEditorGroup *group : qAsConst(m_groups))
        for (int i = 0; i < group->Count() && !modifiedFile; ++i)
            modifiedFile = group->Record(i).kind == CODE_EDITOR_FILE && group->IsModified(i);
    if (!saveFiles && modifiedFile && settings.showUnsavedFileDialogOnMayaExit) {
        Host *host = HostBridge::host();
        if (host && host->hasFeature(Host::Feature::DockingUi) && HostBridge::workspaceControlExists()
            && !HostBridge::workspaceControlVisible())
            HostBridge::restoreWorkspaceControl(true);
        const auto answer = QMessageBox::question(
            this, HostBridge::displayName(), QStringLiteral("Kestrel Editor 2 files have been modified. Save all changes?"),
            QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
        if (answer != QMessageBox::Yes && answer != QMessageBox::No)
            return false;
        saveFiles = answer == QMessageBox::Yes;
    }
    for (CodeEditorGroup *group : qAsConst(m_groups))
        for (int i = 0; i < group->Count(); ++i)
            if (group->Record(i).kind == CODE_EDITOR_INTERNAL_BUFFER && group->Record(i).path.isEmpty()
                && !OfferToSaveFilelessBuffer(group, i))
                return false;
    // Saved now, while the close can still be called off: a save that fails at teardown can
    // only be reported.
    const QVector<CodeEditor *> failed = SaveForClose(saveFiles, true);
    if (!failed.isEmpty()) {
        QStringList paths;
        for (CodeEditor *editor : failed)
            paths << editor->Path();
        QMessageBox box(QMessageBox::Warning, HostBridge::displayName(),
                        QStringLiteral("These could not be saved:\n\n%1\n\nClose anyway? Their unsaved text is kept and "
                                       "offered again at the next start.")
                            .arg(paths.join(QLatin1Char('\n'))),
                        QMessageBox::NoButton, this);
        QPushButton *close = box.addButton(QStringLiteral("Close &Anyway"), QMessageBox::DestructiveRole);
        QPushButton *cancel = box.addButton(QMessageBox::Cancel);
        box.setDefaultButton(cancel);
        box.setEscapeButton(cancel);
        box.exec();
        if (box.clickedButton() != close)
            return false;
        for (CodeEditor *editor : failed)
            m_keptAtClose.append(editor);
    }
    m_unsavedFilesDecided = true;
    return true;
}

void KestrelEditor::TearDown()
{
    if (m_tornDown)
        return;
    m_tornDown = true;
    // A paused debug run is stopped first: its `finally` blocks run once this returns.
    if (m_debugSession && m_debugSession->IsPaused())
        m_debugSession->Stop();
    disconnect(qApp, &QApplication::focusChanged, this, &KestrelEditor::OnApplicationFocusChanged);
    if (m_hostMainWindow)
        m_hostMainWindow->removeEventFilter(this);
    m_bufferIo->Autosave().Cancel();
    const Settings &settings = Settings::instance();
    const QVector<CodeEditor *> failed = SaveForClose(settings.saveAllOnExit, false);
    // Unsaved files the user let go of (or never wants to be asked about) lose their recovery
    // copies; a failed save, or a close nobody was asked about (an unload, a terminated
    // program), keeps the text for the next start.
    const bool dropUnsaved =
        m_unsavedFilesDecided || (!settings.saveAllOnExit && !settings.showUnsavedFileDialogOnMayaExit);
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            const CodeEditorRecord record = group->Record(i);
            CodeEditor *editor = group->CodeEditorAt(i);
            if (record.path.isEmpty())
                continue;
            const bool keep = group->IsModified(i)
                              && (failed.contains(editor) || m_keptAtClose.contains(editor)
                                  || (record.kind == CODE_EDITOR_FILE && !dropUnsaved));
            if (keep)
                KeepUnsavedText(editor);
            else if (record.kind == CODE_EDITOR_FILE)
                m_bufferIo->Recovery().Remove(record.path);
        }
    }
    SaveState();
}

} // namespace ke2
