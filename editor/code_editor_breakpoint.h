#pragma once

#include <QtCore/QString>
#include <QtCore/QVector>

namespace ke2 {

// A debugger breakpoint on a line (0-based) of a buffer. The editor keeps it on its line of code
// while lines are inserted or removed above it.
struct CodeEditorBreakpoint {
    int line = 0;
    bool enabled = true;
    QString condition; // a Python expression; empty: always
    int hitCount = 0;  // stops from this hit on; 0 or 1: every hit

    bool operator==(const CodeEditorBreakpoint &other) const
    {
        return line == other.line && enabled == other.enabled && condition == other.condition
               && hitCount == other.hitCount;
    }
};

using CodeEditorBreakpoints = QVector<CodeEditorBreakpoint>;

} // namespace ke2
