// Opening, closing, moving and saving editors, and the saved tab state. New buffers live in
// memory only for now: they are not written anywhere until the user saves them as a file.
#include "shell/kestrel_editor.h"

#include "config/color_scheme.h"
#include "config/key_bindings.h"
#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "plugin/host_bridge.h"
#include "views/open_editors_view.h"
#include "views/side_bar.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QAction>
#include <QtWidgets/QApplication>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QInputDialog>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QSplitter>

namespace ke2 {
namespace {

// ".py" and ".pyw" are Python and ".mel" MEL; everything else, ".pyi" included, opens as text.
CodeEditorLanguage languageOfPath(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("py") || suffix == QLatin1String("pyw"))
        return LANGUAGE_PYTHON;
    if (suffix == QLatin1String("mel"))
        return LANGUAGE_MEL;
    return LANGUAGE_TEXT;
}

QString defaultBufferName(CodeEditorLanguage language)
{
    switch (language) {
    case LANGUAGE_MEL:
        return QStringLiteral("MEL");
    case LANGUAGE_PYTHON:
        return QStringLiteral("Python");
    default:
        return QStringLiteral("Text");
    }
}

} // namespace

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
    for (CodeEditorGroup *group : m_groups)
        if (group->IndexOfPath(path) >= 0)
            return true;
    return false;
}

void KestrelEditor::SetActiveGroupIndex(int index)
{
    if (index < 0 || index >= m_groups.size())
        return;
    m_activeGroupIndex = index;
    Settings::instance().activeTabViewIndex = index;
}

void KestrelEditor::UpdateGroupVisibility()
{
    // Empty groups give their room to the others; with no editor at all the first group stays.
    const bool any = CodeEditorCount() > 0;
    for (CodeEditorGroup *group : qAsConst(m_groups))
        group->setVisible(group->Count() > 0 || (!any && group->Id() == 0));
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
}

int KestrelEditor::CreateCodeEditor(CodeEditorGroup *group, const CodeEditorRecord &record, const QString &text, int index)
{
    if (!record.path.isEmpty()) {
        for (CodeEditorGroup *other : qAsConst(m_groups)) {
            const int existing = other->IndexOfPath(record.path);
            if (existing >= 0) {
                SetActiveCodeEditor(other->Id(), existing);
                return -1;
            }
        }
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
    // Buffers without a file tell themselves apart by a number after the language's name.
    const QString base = defaultBufferName(language);
    QString name = base;
    for (int n = 2;; ++n) {
        bool taken = false;
        for (CodeEditorGroup *group : qAsConst(m_groups))
            for (int i = 0; i < group->Count() && !taken; ++i)
                taken = group->Record(i).name == name;
        if (!taken)
            break;
        name = QStringLiteral("%1 %2").arg(base).arg(n);
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

bool KestrelEditor::ReadFile(const QString &path, QString &text) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        HostBridge::showError(QStringLiteral("Failed to open file: %1").arg(path));
        return false;
    }
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    const QByteArray bytes = file.readAll();
    text = Settings::instance().utf8FileEncodingForReadWrite ? QString::fromUtf8(bytes) : QString::fromLocal8Bit(bytes);
    QGuiApplication::restoreOverrideCursor();
    return true;
}

bool KestrelEditor::WriteFile(const QString &path, const QString &text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        HostBridge::showError(QStringLiteral("Failed to open file for save: %1").arg(path));
        return false;
    }
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    const QByteArray bytes = Settings::instance().utf8FileEncodingForReadWrite ? text.toUtf8() : text.toLocal8Bit();
    const bool written = file.write(bytes) == bytes.size() && file.flush();
    QGuiApplication::restoreOverrideCursor();
    if (!written) {
        HostBridge::showError(QStringLiteral("Failed to open file for save: %1").arg(path));
        return false;
    }
    if (!m_writtenPaths.contains(path))
        m_writtenPaths.append(path);
    return true;
}

void KestrelEditor::OpenFile()
{
    static QString directory;
    static QString filter = QStringLiteral("Script Files(*.mel *.py *.pyw *.pyi)");
    const QString path = QFileDialog::getOpenFileName(
        this, QStringLiteral("Open File"), directory,
        QStringLiteral("Script Files(*.mel *.py *.pyw *.pyi);;MEL (*.mel);;Python (*.py *.pyw *.pyi);;All Files(*.*)"),
        &filter);
    if (path.isEmpty())
        return;
    directory = QFileInfo(path).absolutePath();
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
        CreateCodeEditor(Group(groupId), {CODE_EDITOR_FILE, languageOfPath(absolute), absolute, QString()}, QString());
        return;
    }
    QString text;
    if (!ReadFile(absolute, text))
        return;
    CodeEditorGroup *group = Group(groupId);
    CodeEditorRecord record{CODE_EDITOR_FILE, languageOfPath(absolute), absolute, QFileInfo(absolute).fileName()};
    const int added = CreateCodeEditor(group, record, text, index);
    if (added < 0)
        return;
    group->SetCurrentIndex(added);
    SetActiveGroupIndex(groupId);
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

void KestrelEditor::OnShowInSideBarRequested(const QString &path)
{
    Q_UNUSED(path);
    ShowExplorer();
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
    if (WriteFile(record.path, editor->toPlainText()))
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
    const QString mel = QStringLiteral("MEL (*.mel)");
    const QString python = QStringLiteral("Python (*.py *.pyw *.pyi)");
    const QString all = QStringLiteral("All Files(*.*)");
    QString filter = record.language == LANGUAGE_MEL ? mel : record.language == LANGUAGE_PYTHON ? python : all;
    const QString start = record.kind == CODE_EDITOR_FILE && QFileInfo::exists(record.path) ? record.path : QString();
    QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Save File"), start,
                                                QStringList{mel, python, all}.join(QStringLiteral(";;")), &filter);
    if (path.isEmpty())
        return;
    const QString lower = path.toLower();
    if (filter.startsWith(QLatin1String("MEL")) && !lower.endsWith(QLatin1String(".mel")))
        path += QStringLiteral(".mel");
    else if (filter.startsWith(QLatin1String("Python")) && !lower.endsWith(QLatin1String(".py"))
             && !lower.endsWith(QLatin1String(".pyw")) && !lower.endsWith(QLatin1String(".pyi")))
        path += QStringLiteral(".py");
    path = QFileInfo(path).absoluteFilePath();
    for (CodeEditorGroup *other : qAsConst(m_groups)) {
        const int existing = other->IndexOfPath(path);
        if (existing >= 0 && !(other == group && existing == index)) {
            HostBridge::showError(QStringLiteral("An open editor already exists with that path: %1").arg(path));
            return;
        }
    }
    if (!WriteFile(path, editor->toPlainText()))
        return;
    record.kind = CODE_EDITOR_FILE;
    record.path = path;
    record.name = QFileInfo(path).fileName();
    group->SetRecord(index, record);
    editor->document()->setModified(false);
    UpdateTitleBar();
    RefreshOpenEditors();
    SaveState();
}

void KestrelEditor::SaveAll(bool internalBuffers, bool fileBuffers)
{
    Q_UNUSED(internalBuffers); // buffers without a file have nowhere to go yet
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            const CodeEditorRecord record = group->Record(i);
            if (!group->IsModified(i) || record.kind != CODE_EDITOR_FILE || !fileBuffers)
                continue;
            CodeEditor *editor = group->CodeEditorAt(i);
            if (WriteFile(record.path, editor->toPlainText()))
                editor->document()->setModified(false);
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
    if (record.kind == CODE_EDITOR_INTERNAL_BUFFER && name.contains(QLatin1Char(';'))) {
        name.remove(QLatin1Char(';'));
        HostBridge::showError(QStringLiteral("Rename: ';' is an invalid character."));
    }
    if (!accepted || name.isEmpty())
        return;
    if (record.kind == CODE_EDITOR_FILE) {
        const QString newPath = QStringLiteral("%1/%2").arg(QFileInfo(record.path).absolutePath(), name);
        if (QFileInfo::exists(newPath)) {
            HostBridge::showError(QStringLiteral("Raname failed. File already exists: %1").arg(newPath));
            return;
        }
        if (!QFile::rename(record.path, newPath)) {
            HostBridge::showError(
                QStringLiteral("Rename file failed. Please verify file path and permissions: %1 -> %2").arg(record.path, newPath));
            return;
        }
        record.path = newPath;
    }
    record.name = name;
    codeEditorGroup->SetRecord(codeEditorIndex, record);
    UpdateTitleBar();
    RefreshOpenEditors();
    SaveState();
}

void KestrelEditor::RevertFile()
{
    CodeEditorGroup *group = ActiveGroup();
    if (!group || group->CurrentIndex() < 0)
        return;
    const int index = group->CurrentIndex();
    const CodeEditorRecord record = group->Record(index);
    if (record.kind != CODE_EDITOR_FILE)
        return;
    if (group->IsModified(index)
        && QMessageBox::question(this, QStringLiteral("Reload"),
                                 QStringLiteral("Reloading this file will result in unsaved changes being lost.\n\nContinue?"),
                                 QMessageBox::Yes | QMessageBox::No)
               != QMessageBox::Yes)
        return;
    QString text;
    if (ReadFile(record.path, text))
        group->SetText(index, text);
}

// --- Close -----------------------------------------------------------------------------------------

bool KestrelEditor::CloseCodeEditor(CodeEditorGroup *group, int index)
{
    if (!group || index < 0 || index >= group->Count())
        return false;
    const CodeEditorRecord record = group->Record(index);
    CodeEditor *editor = group->CodeEditorAt(index);
    if (record.kind == CODE_EDITOR_INTERNAL_BUFFER) {
        // Nothing else holds a buffer's text: closing it loses it, so ask unless it is empty.
        if (!editor->document()->isEmpty()
            && QMessageBox::question(this, QStringLiteral("Delete"),
                                     QStringLiteral("Delete buffer '%1'?\n\nUnsaved contents will be lost.")
                                         .arg(editor->DisplayName()),
                                     QMessageBox::Yes | QMessageBox::No)
                   != QMessageBox::Yes)
            return false;
    } else {
        if (group->IsModified(index)) {
            const auto answer = QMessageBox::question(
                this, QStringLiteral("Save"), QStringLiteral("'%1' has been modified. Save changes?").arg(editor->DisplayName()),
                QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
            if (answer == QMessageBox::Cancel)
                return false;
            if (answer == QMessageBox::Yes && !WriteFile(record.path, editor->toPlainText()))
                return false;
        }
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
        connect(entry, &QAction::triggered, this, [this, path] { OpenFile(path); });
    }
    if (!paths.isEmpty())
        m_recentFilesMenu->addSeparator();
    m_recentFilesMenu->addAction(m_clearRecentFilesAction);
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
    // The new place is the neighbouring group when it is free; otherwise the groups after it
    // shift by one when the last one is free; with no free group the drop lands in the group.
    const int wanted = zone == TAB_DROP_ZONE_BEFORE ? groupId : groupId + 1;
    if (zone == TAB_DROP_ZONE_BEFORE && groupId > 0 && Group(groupId - 1)->Count() == 0)
        return groupId - 1;
    if (wanted <= last && Group(wanted)->Count() == 0)
        return wanted;
    if (wanted > last || Group(last)->Count() > 0)
        return groupId;
    for (int id = last; id > wanted; --id)
        MoveAllCodeEditors(id - 1, id);
    if (m_activeGroupIndex >= wanted && m_activeGroupIndex < last)
        SetActiveGroupIndex(m_activeGroupIndex + 1);
    UpdateGroupVisibility();
    return wanted;
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
        if (!m_changedPaths.contains(path))
            m_changedPaths.append(path);
        return;
    }
    // The file is gone: the editor is now the only copy, so offer to save it again.
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        const int index = group->IndexOfPath(path);
        if (index >= 0)
            group->CodeEditorAt(index)->document()->setModified(true);
    }
}

void KestrelEditor::CheckForFileChanges()
{
    if (m_checkingFileChanges)
        return;
    m_checkingFileChanges = true;
    if (Settings::instance().checkForModifiedFiles) {
        const QStringList changed = m_changedPaths;
        for (const QString &path : changed) {
            if (m_writtenPaths.contains(path))
                continue;
            for (CodeEditorGroup *group : qAsConst(m_groups)) {
                const int index = group->IndexOfPath(path);
                if (index < 0 || !QFileInfo::exists(path))
                    continue;
                const auto answer = QMessageBox::question(
                    parentWidget() ? parentWidget() : this, QStringLiteral("Reload"),
                    QStringLiteral("%1\n\nThis file has been modified by another program.\nDo you want to reload it?").arg(path),
                    QMessageBox::Yes | QMessageBox::No);
                if (answer != QMessageBox::Yes)
                    continue;
                CodeEditor *editor = group->CodeEditorAt(index);
                const int cursor = editor->textCursor().position();
                const int scroll = editor->verticalScrollBar()->value();
                QString text;
                if (ReadFile(path, text)) {
                    group->SetText(index, text);
                    group->SetCursorAndScrollPosition(index, cursor, scroll);
                }
            }
        }
    }
    m_changedPaths.clear();
    m_writtenPaths.clear();
    m_checkingFileChanges = false;
}

// --- Session state ---------------------------------------------------------------------------------

void KestrelEditor::SaveState()
{
    if (m_constructing)
        return;
    Settings &settings = Settings::instance();
    QStringList details;
    QStringList scrolling;
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            const CodeEditorRecord record = group->Record(i);
            // Buffers kept in memory have no file to come back from.
            if (record.kind != CODE_EDITOR_FILE)
                continue;
            CodeEditor *editor = group->CodeEditorAt(i);
            details.append(QStringLiteral("%1;%2;%3;%4;%5;%6")
                               .arg(group->Id())
                               .arg(int(record.kind))
                               .arg(record.path)
                               .arg(i == group->CurrentIndex() ? 1 : 0)
                               .arg(editor->textCursor().position())
                               .arg(editor->verticalScrollBar()->value()));
        }
        scrolling.append(QString::number(group->TabBarScrollOffset()));
    }
    settings.tabDetails = details;
    settings.tabBarScrolling = scrolling;
    settings.activeTabViewIndex = m_activeGroupIndex;
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
    for (const QString &entry : settings.tabDetails) {
        const QStringList fields = entry.split(QLatin1Char(';'));
        if (fields.size() < 6 || fields.at(1).toInt() != CODE_EDITOR_FILE)
            continue;
        bool ok = false;
        const int groupId = fields.at(0).toInt(&ok);
        CodeEditorGroup *group = ok ? Group(groupId) : nullptr;
        const QString path = fields.at(2);
        if (!group || !QFileInfo(path).isFile() || IsPathOpen(path))
            continue;
        QString text;
        if (!ReadFile(path, text))
            continue;
        const int index = CreateCodeEditor(
            group, {CODE_EDITOR_FILE, languageOfPath(path), path, QFileInfo(path).fileName()}, text);
        if (index < 0)
            continue;
        group->SetCursorAndScrollPosition(index, fields.at(4).toInt(), fields.at(5).toInt());
        if (fields.at(3) == QLatin1String("1"))
            group->SetCurrentIndex(index);
    }
    for (int i = 0; i < m_groups.size() && i < settings.tabBarScrolling.size(); ++i)
        m_groups.at(i)->SetTabBarScrollOffset(settings.tabBarScrolling.at(i).toInt());
    for (CodeEditorGroup *group : qAsConst(m_groups))
        group->SuspendTabUpdates(false);
    UpdateGroupVisibility();
}

void KestrelEditor::TearDown()
{
    if (m_tornDown)
        return;
    m_tornDown = true;
    disconnect(qApp, &QApplication::focusChanged, this, &KestrelEditor::OnApplicationFocusChanged);
    if (m_hostMainWindow)
        m_hostMainWindow->removeEventFilter(this);
    SaveAll(true, Settings::instance().saveAllOnExit);
    SaveState();
}

} // namespace ke2
