#pragma once

#include "config/settings.h"
#include "editor/code_editor.h"

#include <QtCore/QString>

#include <memory>

namespace ke2::test {

// Text with a cursor marker "|" and, optionally, an anchor marker "^" where the selection starts.
void setEditorState(CodeEditor &editor, const QString &marked);
QString editorState(const CodeEditor &editor);

// An editor holding `marked` (see above), with highlighting already applied.
std::unique_ptr<CodeEditor> makeEditor(CodeEditorLanguage language, const QString &marked);

// Types `keys` into the editor. Plain characters are typed as themselves; these stand for keys:
// "\n" Return, "\t" Tab, "\b" Backspace, "\x01" Home, "\x02" Shift+Tab, "\x03" keypad Enter,
// "\x04" Shift+Return, "\x05" Delete.
void typeKeys(CodeEditor &editor, const QString &keys);

// Puts the settings record back as it was when the guard was made.
class SettingsGuard {
public:
    SettingsGuard() : m_saved(Settings::instance()) {}
    ~SettingsGuard() { Settings::instance() = m_saved; }

private:
    Settings m_saved;
};

} // namespace ke2::test
