#pragma once

#include "editor/code_editor_language.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ke2 {

// The filters of the open, save and source dialogs and what the chosen filter does to a name.
namespace FileDialogRules {

// "Script Files(...)", "MEL (*.mel)", "Python (...)", "All Files(*.*)".
QStringList OpenFilters();
// "MEL (*.mel)", "Python (...)", "All Files(*.*)".
QStringList SaveFilters();
// The MEL filter for MEL, the Python one for Python, else "All Files(*.*)".
QString SaveFilterFor(CodeEditorLanguage language);
// "MEL (*.mel)" and "All Files(*.*)".
QStringList SourceScriptFilters();
// Joins filters the way the file dialogs take them.
QString Join(const QStringList &filters);

// A MEL filter appends ".mel" to a name without it, a Python filter ".py" to a name with none of
// ".py", ".pyw", ".pyi"; case is ignored and any other filter keeps the name.
QString ApplySuffixRule(const QString &path, const QString &selectedFilter);

} // namespace FileDialogRules

// What an open or source dialog remembers until the process ends.
struct FileDialogMemory {
    QString directory;
    QString filter;
};

} // namespace ke2
