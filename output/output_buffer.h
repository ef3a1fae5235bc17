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
// "\r" and a "\n" of two pieces into one break. A line stays whole up to `wholeLineLength`
// characters; beyond that the rest is broken into pieces of `maximumLineLength`: a text document
// lays out and paints a block whole, so an enormous block would freeze the view each time the
// output moves on. Without word wrap a screenful of long lines shows only their first pieces'
// text, so a short first piece keeps each repaint small. A piece ends in
// `pieceBreak` instead of "\n": the document makes a block of it like any other, and the panel
// marks such blocks as continued so that the line stays one line for rules, copying and counting
// (and, without word wrap, draws them on the first piece's row).
class OutputBuffer {
public:
    static constexpr int wholeLineLength = 1000;
    static constexpr int maximumLineLength = 4000;
    static constexpr char16_t pieceBreak = 0x2029;

    // The document's bound: at most `lines` printed lines (a line ends with "\n"; the empty line
    // after the last break does not count), at least 1. Only whole lines are pushed out: the
    // pieces of a long line never count against it.
    void setLineLimit(int lines);
    int lineLimit() const { return m_lineLimit; }

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
    void addBreak(bool endsLine);
    // Keeps the shortest tail holding `lineBreaks` line ends.
    void trimTo(int lineBreaks);

    QString m_text;
    // Where the queued text starts in m_text: slices are handed out from the front without
    // moving the rest each time.
    qsizetype m_head = 0;
    int m_lineLimit = 3000;
    int m_lineBreaks = 0; // line ends in the queued text
    int m_lineLength = 0;  // characters since the last line end, across the document and the queue
    int m_pieceLength = 0; // characters since the last break of either kind
    bool m_replaces = false;
};

} // namespace ke2
