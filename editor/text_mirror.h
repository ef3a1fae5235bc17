#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <memory>

class QTextDocument;

namespace ke2 {

// A run of whole lines of a document, each followed by '\n'. Never changed once made, so any
// thread may read it while the window's thread makes new ones.
struct TextChunk {
    // The lines are kept one byte a character when every character fits in one (most scripts
    // and scenes): half the memory. Exactly one of the two is empty.
    QByteArray narrow;
    QString wide;
    QVector<int> starts; // where each line begins

    explicit TextChunk(const QString &lines);
    int Size() const { return int(narrow.isEmpty() ? wide.size() : narrow.size()); }
    // With its length: from a whole QByteArray Qt 5 would stop at a NUL.
    QString Text() const { return narrow.isEmpty() ? wide : QString::fromLatin1(narrow.constData(), narrow.size()); }
    void AppendTo(QString &out) const;
};

// A document's text as it stood at one moment. Taking one copies a list of shared chunks, not
// the text, and a worker thread may read it while the document goes on changing.
class TextSnapshot {
public:
    bool IsNull() const { return m_chunks.isEmpty(); }
    // Characters, line breaks included: the size of Text().
    int Length() const { return m_length; }
    int LineCount() const { return m_lines; }
    // Changes whenever the text does; equal versions of one mirror mean equal texts.
    quint64 Version() const { return m_version; }
    // The text as typed, every character kept (non-breaking spaces, line separators).
    QString Text() const;
    // The text as QTextDocument::toPlainText gives it: what the scanners have always read.
    QString PlainText() const;

private:
    friend class TextMirror;
    QVector<std::shared_ptr<const TextChunk>> m_chunks;
    int m_length = 0;
    int m_lines = 0;
    quint64 m_version = 0;
};

// Keeps a copy of a document's text in chunks of lines, brought up to date at each change by
// reading only the lines the change touched, so that a snapshot for another thread costs no copy
// of the whole text on the window's thread.
class TextMirror : public QObject {
    Q_OBJECT
public:
    static constexpr int defaultChunkLines = 1000;
    // A chunk stops growing past this many characters, so that a key costs a copy of this much
    // at most (a longer line is a chunk of its own).
    static constexpr int chunkCharacters = 64 * 1024;

    // Reads the whole text once; `chunkLines` is the most lines a chunk holds.
    explicit TextMirror(QTextDocument *document, int chunkLines = defaultChunkLines, QObject *parent = nullptr);

    TextSnapshot Snapshot() const;
    quint64 Version() const { return m_version; }
    int ChunkCount() const { return m_chunks.size(); }

private:
    void OnContentsChange(int position, int charsRemoved, int charsAdded);
    // Reads the whole text again: for a change too large to be worth patching, or one that does
    // not add up (which would otherwise leave the copy wrong).
    void Rebuild();
    // Cuts `text` (whole lines, each ending in '\n') into chunks appended to `out`.
    void AppendChunks(QVector<std::shared_ptr<const TextChunk>> &out, const QString &text) const;
    // The chunk holding `position` of the mirrored text, and where it starts.
    int ChunkAt(int position, int *chunkStart) const;

    QTextDocument *m_document;
    int m_chunkLines;
    QVector<std::shared_ptr<const TextChunk>> m_chunks;
    int m_length = 0; // the text's length plus the final line's '\n': the document's characterCount
    int m_lines = 0;
    quint64 m_version = 0;
};

} // namespace ke2
