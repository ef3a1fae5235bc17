#pragma once

#include <QtCore/QString>

namespace ke2 {

// One named thing a scanner found in a buffer: a procedure, a global variable, an import, a
// class or a function. The outline view builds its tree from these.
struct OutlineItem {
    // MEL kinds 1 to 3, Python kinds 4 to 11; 12 and 13 are left to other producers.
    enum Kind : int {
        MelGlobalProc = 1,
        MelProc = 2,
        MelGlobalVariable = 3,
        PythonImport = 4,
        PythonImportAlias = 5,
        PythonFromImport = 6,
        PythonMain = 7,
        PythonFunction = 8,
        PythonStaticMethod = 9,
        PythonClassMethod = 10,
        PythonClass = 11,
        PythonVariable = 12,
        PythonClassVariable = 13,
    };

    OutlineItem() = default;
    OutlineItem(const QString &itemName, int itemKind, int itemPosition, int itemDepth)
        : name(itemName), kind(itemKind), position(itemPosition), depth(itemDepth)
    {
    }

    QString name;     // as written in the source; MEL variables keep their "$"
    int kind = 0;
    int position = 0; // offset of the name's first character in the parsed text
    int depth = 0;    // nesting level: braces for MEL, open blocks for Python
};

} // namespace ke2
