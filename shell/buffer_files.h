#pragma once

#include "editor/code_editor_language.h"

#include <QtCore/QString>
#include <QtCore/QVector>

#include <functional>
#include <memory>

class QObject;

namespace ke2 {

class TextSnapshot;

// The files behind internal buffers, and the rules for naming buffers and files.
namespace BufferFiles {

// Creates a new empty buffer file in `directory` ("melBuffer_XXXXXX.mel", "pythonBuffer_...py" or
// "textBuffer_...txt", the X replaced by the system) and returns its absolute path; empty, with
// `errorString` set, when it cannot be created.
QString CreateInternalBufferFile(CodeEditorLanguage language, const QString &directory, QString *errorString = nullptr);

// ";" separates the fields of the saved session, so an internal buffer's name cannot hold one:
// every ";" is removed and `removed` says whether there was any.
QString CleanInternalBufferName(const QString &name, bool *removed = nullptr);

// The language a buffer of this file opens in: ".py" and ".pyw" Python, ".mel" MEL (case
// ignored), anything else text. A ".pyi" stub opens as text although the dialogs list it with the
// Python files.
CodeEditorLanguage LanguageForPath(const QString &path);

} // namespace BufferFiles

// Copies of the unsaved text of modified file buffers, kept in the internal buffer folder so a
// crash loses no typing. A copy names the file it belongs to and is never written over that file
// by itself: the window offers it back after a crash.
class RecoveryCopies {
public:
    explicit RecoveryCopies(const QString &directory = QString());

    void SetDirectory(const QString &directory) { m_directory = directory; }
    const QString &Directory() const { return m_directory; }

    // Where the copy for `filePath` lives; one per file.
    QString CopyPath(const QString &filePath) const;
    // Written atomically, as a save is.
    bool Write(const QString &filePath, const QString &text) const;
    // Writes the copy on a worker thread, one write after the other in the order asked, so that
    // the window's thread neither joins nor encodes nor writes a large text. A later Write or
    // Remove of the same file drops it if it has not landed yet. `done` is called in `context`'s
    // thread with whether the copy landed.
    void WriteInBackground(const QString &filePath, const TextSnapshot &snapshot, QObject *context,
                           std::function<void(bool)> done) const;
    // Waits until the writes asked for have landed or been dropped.
    void WaitForWrites() const;
    // Removes the copy, if any (after a save, a close, or when the user discards it).
    void Remove(const QString &filePath) const;
    bool Exists(const QString &filePath) const;

    struct Copy {
        QString filePath;
        QString text;
    };
    // Every readable copy in the folder.
    QVector<Copy> ReadAll() const;
    // The copy for `filePath`; false when there is none or it is unreadable.
    bool Read(const QString &filePath, QString &text) const;

    static QString Suffix() { return QStringLiteral(".ke2recovery"); }

private:
    static bool ReadCopy(const QString &copyPath, Copy &copy);
    // A new ticket for the copy at `copyPath`: only the write holding its newest lands.
    quint64 NextTicket(const QString &copyPath) const;

    QString m_directory;
    struct Writes;
    std::shared_ptr<Writes> m_writes;
};

} // namespace ke2
