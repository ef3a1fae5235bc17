#pragma once

#include <QtCore/QString>
#include <QtCore/QStringView>

#include <limits>

namespace ke2 {

// Output on its way into the output document. Lines that arrive between two insertions are
// gathered here and inserted in one step, and the queue never keeps more than the document could
// still show: inserting what it hands out gives the same document as inserting every piece on its
// own into a document bounded to the same number of lines.
//
// Line breaks are normalised to "\n" per piece ("\r\n", a lone "\r", and the paragraph and frame
// separators that a text document also treats as block ends), so that gathering never joins a
// "\r" and a "\n" of two pieces into one break. Lines longer than `maximumLineLength` are broken
// into pieces of that length: the view lays out every line it shows whole, so a screenful of
// enormous lines would freeze it each time the output moves on.
class OutputBuffer {
public:
    static constexpr int maximumLineLength = 1000;

    // The document's maximum line count (at least 1).
    void setLineLimit(int lines);
    int lineLimit() const { return m_limit; }

    void append(QStringView text);

    bool isEmpty() const { return m_text.size() == m_head && !m_replaces; }
    int size() const { return int(m_text.size() - m_head); }

    struct Chunk {
        QString text;
        // True when the chunk alone fills the document: everything shown before it would be
        // pushed out anyway, so the document is emptied first and the chunk put in its place.
        bool replacesDocument = false;
    };
    // Hands out the queued text, at most `maxCharacters` of it (the rest stays queued, in order)
    // so that catching up after a flood can be done in slices.
    Chunk take(int maxCharacters = std::numeric_limits<int>::max());

    // The document was emptied: drops the queue and starts counting a fresh first line.
    void clear();

private:
    void addBreak();
    void trimTo(int breaks);

    QString m_text;
    // Where the queued text starts in m_text: slices are handed out from the front without
    // moving the rest each time.
    qsizetype m_head = 0;
    int m_limit = 3000;
    int m_breaks = 0;     // line breaks in the queued text
    int m_lineLength = 0; // characters since the last break, across the document and the queue
    bool m_replaces = false;
};

} // namespace ke2
