#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ke2 {

// A workspace file: a JSON object whose one key, "folders", lists the workspace folders' paths.
// Reading takes what it can from a damaged or hostile file and describes the rest in one
// message; writing replaces the file atomically, so an interrupted save leaves the old list.
class WorkspaceFile {
public:
    static QString Suffix() { return QStringLiteral(".ke2-workspace"); }
    // "KE2 Workspace (*.ke2-workspace);;All Files(*.*)"
    static QString DialogFilter();
    // The workspace's name for titles: the file's base name.
    static QString Name(const QString &path);

    enum class ReadStatus {
        Ok,         // every element was a folder path
        Partial,    // the file was read, but some of it is not understood (see `problem`)
        Unreadable, // the file cannot be opened
    };
    struct ReadResult {
        ReadStatus status = ReadStatus::Ok;
        QStringList folders; // in file order
        QString problem;     // for Partial: what was not understood
    };
    static ReadResult Read(const QString &path);

    // Writes "folders" in the JSON library's indented form. Before replacing a file that was
    // read only in part (`keepBackup`), its bytes are kept beside it as "<file>.bak", so that a
    // hand-edited file with a typo is never lost to the first automatic save.
    static bool Write(const QString &path, const QStringList &folders, bool keepBackup = false);

    // Larger files are not read: a workspace lists folders, and a file this size is not one.
    static constexpr qint64 maximumFileSize = 64 * 1024 * 1024;
};

} // namespace ke2
