#pragma once

#include <QtCore/QString>
#include <QtCore/QVector>

namespace ke2 {

// A message attached to a range of the editor's text (a diagnostic or a highlighted position).
// The editor moves its marks along with later edits until the next set of marks replaces them.
struct CodeEditorMark {
    int start = 0;
    int end = 0; // may equal start
    QString message;
};

using CodeEditorMarks = QVector<CodeEditorMark>;

// The three mark classes: red, yellow and blue markers in the gutter and on the error bar.
enum CodeEditorMarkClass {
    MARK_ERROR = 0,
    MARK_WARNING = 1,
    MARK_INFORMATION = 2,
    MARK_CLASS_COUNT = 3,
};

} // namespace ke2
