#pragma once

#include <QtCore/QString>

namespace ke2 {

// The language of a buffer; plain text gets none of the smart editing behaviour.
enum CodeEditorLanguage {
    LANGUAGE_TEXT = 0,
    LANGUAGE_MEL = 1,
    LANGUAGE_PYTHON = 2,
};

// ".mel" is MEL; ".py", ".pyw" and ".pyi" are Python; anything else is text.
CodeEditorLanguage languageForPath(const QString &path);
// The language as the user reads it: "MEL", "Python" or "Text".
QString languageName(CodeEditorLanguage language);

} // namespace ke2
