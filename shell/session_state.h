#pragma once

#include "editor/code_editor_record.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace ke2 {

// One open editor as the settings keep it between sessions: an entry of `tabDetails`,
// "group;kind;path;current;cursor;scroll" plus ";name" for an internal buffer, whose path is
// only its file name in the internal buffer folder.
struct TabDetails {
    int group = 0;
    CodeEditorKind kind = CODE_EDITOR_FILE;
    QString path;
    bool current = false;
    int cursorPosition = 0;
    int scrollPosition = 0;
    QString name; // internal buffers only

    QString ToString() const;
    // False when the entry must be skipped: fewer than six fields, or a kind that is not 0 or 1.
    // A group outside 0 to 2 becomes 0; cursor and scroll that do not parse become 0. A
    // relative internal buffer path is taken from `internalBufferDirectory`.
    bool Parse(const QString &entry, const QString &internalBufferDirectory);
};

namespace SessionState {

constexpr int groupCount = 3;

// One offset per group, as many as the list holds (at most three); what does not parse is 0.
QVector<int> ParseTabBarScrolling(const QStringList &entries);
QStringList FormatTabBarScrolling(const QVector<int> &offsets);

} // namespace SessionState

} // namespace ke2
