#pragma once

#include "shell/autosave_timer.h"
#include "shell/buffer_files.h"
#include "shell/file_change_tracker.h"
#include "shell/text_file.h"

#include <QtCore/QHash>
#include <QtCore/QObject>

class QWidget;

namespace ke2 {

// The window's side of reading and writing buffers: the questions asked before heavy or risky
// reads, the busy cursor, the messages, the shape (encoding, line ending) of each open buffer's
// file, the record of the window's own writes and the recovery copies.
class BufferIo : public QObject {
    Q_OBJECT
public:
    // `window` parents the questions.
    explicit BufferIo(QWidget *window);

    enum class ReadMode {
        // A file the user asked for: binary and very large files are asked about first.
        Ask,
        // A file the user already chose once (the saved session): read without questions.
        Quiet,
    };

    // Reads `path`; false (with "Failed to open file: %1" reported, or after the user declined)
    // when nothing should be opened.
    bool Read(const QString &path, QString &text, TextFileFormat &format, ReadMode mode = ReadMode::Ask);
    // The checks and questions of Read without the read; `probe` gets what was found.
    bool Confirm(const QString &path, ReadMode mode, TextFileProbe *probe = nullptr);
    // The warnings a read gives: not UTF-8, mixed line endings.
    static void ReportNotes(const QString &path, const TextFileFormat &format, const TextFileNotes &notes);
    // Writes atomically; false with "Failed to open file for save: %1" reported, the old file
    // intact. On success the write is recorded as the window's own.
    bool Write(const QString &path, const QString &text, TextFileFormat &format);

    // The shape each editor's file has; an editor without one gets a new file's.
    void SetFormat(QObject *editor, const TextFileFormat &format);
    TextFileFormat Format(QObject *editor) const;
    bool HasFormat(QObject *editor) const { return m_formats.contains(editor); }

    FileChangeTracker &Changes() { return m_changes; }
    RecoveryCopies &Recovery() { return m_recovery; }
    AutosaveTimer &Autosave() { return m_autosave; }

    static bool Utf8Preferred();

private:
    QWidget *m_window;
    QHash<QObject *, TextFileFormat> m_formats;
    FileChangeTracker m_changes;
    RecoveryCopies m_recovery;
    AutosaveTimer m_autosave;
};

} // namespace ke2
