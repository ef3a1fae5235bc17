#pragma once

#include "editor/code_editor_language.h"

#include <QtCore/QString>

namespace ke2 {

// What a buffer is: a scratch script kept in the internal buffer folder, or a file of the user's.
enum CodeEditorKind {
    CODE_EDITOR_INTERNAL_BUFFER = 0,
    CODE_EDITOR_FILE = 1,
};

// What a group reports about an editor and what is passed when one is created.
struct CodeEditorRecord {
    CodeEditorKind kind = CODE_EDITOR_INTERNAL_BUFFER;
    CodeEditorLanguage language = LANGUAGE_TEXT;
    QString path;
    QString name; // the tab's title
};

} // namespace ke2
