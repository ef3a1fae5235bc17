#include "editor/text_mirror.h"

#include <QtCore/QStringView>
#include <QtGui/QAbstractTextDocumentLayout>
#include <QtGui/QTextBlock>
#include <QtGui/QTextDocument>

#include <algorithm>

namespace ke2 {

namespace {

// The line of `chunk` holding offset `offset`.
int lineAt(const TextChunk &chunk, int offset)
{
    return int(std::upper_bound(chunk.starts.cbegin(), chunk.starts.cend(), offset) - chunk.starts.cbegin()) - 1;
}

int lineEnd(const TextChunk &chunk, int line)
{
    return line + 1 < chunk.starts.size() ? chunk.starts.at(line + 1) : chunk.Size();
}

} // namespace

TextChunk::TextChunk(const QString &lines)
{
    const bool fitsBytes = std::all_of(lines.cbegin(), lines.cend(), [](QChar c) { return c.unicode() < 0x100; });
    if (fitsBytes)
        narrow = lines.toLatin1();
    else
        wide = lines;
}

void TextChunk::AppendTo(QString &out) const
{
    if (narrow.isEmpty())
        out += wide;
    else
        out += QLatin1String(narrow.constData(), narrow.size());
}

QString TextSnapshot::Text() const
{
    QString text;
    text.reserve(m_length + 1);
    for (const auto &chunk : m_chunks)
        chunk->AppendTo(text);
    text.chop(1); // the last line has no break of its own
    return text;
}

QString TextSnapshot::PlainText() const
{
    QString text = Text();
    for (QChar &c : text) {
        switch (c.unicode()) {
        case 0xfdd0: // frame markers
        case 0xfdd1:
        case QChar::ParagraphSeparator:
        case QChar::LineSeparator:
            c = QLatin1Char('\n');
            break;
        case QChar::Nbsp:
            c = QLatin1Char(' ');
            break;
        default:
            break;
        }
    }
    return text;
}

TextMirror::TextMirror(QTextDocument *document, int chunkLines, QObject *parent)
    : QObject(parent), m_document(document), m_chunkLines(std::max(1, chunkLines))
{
    // A document reports its changes only once it has a layout (an editor's always has).
    document->documentLayout();
    connect(document, &QTextDocument::contentsChange, this, &TextMirror::OnContentsChange);
    Rebuild();
}

TextSnapshot TextMirror::Snapshot() const
{
    TextSnapshot snapshot;
    snapshot.m_chunks = m_chunks;
    snapshot.m_length = m_length - 1;
    snapshot.m_lines = m_lines;
    snapshot.m_version = m_version;
    return snapshot;
}

void TextMirror::Rebuild()
{
    QString text = m_document->toRawText();
    text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
    text += QLatin1Char('\n');
    m_chunks.clear();
    AppendChunks(m_chunks, text);
    m_length = int(text.size());
    m_lines = 0;
    for (const auto &chunk : qAsConst(m_chunks))
        m_lines += chunk->starts.size();
    ++m_version;
}

void TextMirror::AppendChunks(QVector<std::shared_ptr<const TextChunk>> &out, const QString &text) const
{
    int from = 0;
    while (from < text.size()) {
        QVector<int> starts;
        int at = from;
        while (at < text.size() && starts.size() < m_chunkLines && (starts.isEmpty() || at - from < chunkCharacters)) {
            starts.append(at - from);
            at = int(text.indexOf(QLatin1Char('\n'), at)) + 1; // every line ends in one
        }
        auto chunk = std::make_shared<TextChunk>(from == 0 && at == text.size() ? text : text.mid(from, at - from));
        chunk->starts = std::move(starts);
        out.append(std::move(chunk));
        from = at;
    }
}

int TextMirror::ChunkAt(int position, int *chunkStart) const
{
    int start = 0;
    for (int i = 0; i < m_chunks.size(); ++i) {
        const int size = m_chunks.at(i)->Size();
        if (position < start + size || i + 1 == m_chunks.size()) {
            *chunkStart = start;
            return i;
        }
        start += size;
    }
    *chunkStart = 0;
    return 0;
}

void TextMirror::OnContentsChange(int position, int charsRemoved, int charsAdded)
{
    const int newLength = m_document->characterCount();
    // A new text (a reload, setPlainText) is read whole, faster than line by line.
    const bool wholeNewText = charsAdded > chunkCharacters && charsAdded > newLength / 2;
    if (wholeNewText || m_chunks.isEmpty() || position < 0 || charsRemoved < 0) {
        Rebuild();
        return;
    }
    position = std::min(position, m_length - 1);
    // The lines the change touched, from the start of the first to the end of the last (with
    // its break), as they were.
    int firstStart = 0;
    const int first = ChunkAt(position, &firstStart);
    const TextChunk &head = *m_chunks.at(first);
    const int headLine = lineAt(head, position - firstStart);
    const int regionStart = firstStart + head.starts.at(headLine);
    const int removedEnd = std::min(position + charsRemoved, m_length - 1);
    int lastStart = 0;
    const int last = ChunkAt(removedEnd, &lastStart);
    const TextChunk &tail = *m_chunks.at(last);
    const int tailLine = lineAt(tail, removedEnd - lastStart);
    const int tailEnd = lineEnd(tail, tailLine);
    // What follows the touched lines is as it was. (At the end of the document the counts the
    // document reports take in its last, implicit line break or not: they are not relied on.)
    const int newRegionEnd = newLength - (m_length - (lastStart + tailEnd));
    if (newRegionEnd < regionStart) {
        Rebuild();
        return;
    }

    // The same lines as they are now.
    QTextBlock block = m_document->findBlock(regionStart);
    if (!block.isValid() || block.position() != regionStart) {
        Rebuild();
        return;
    }
    QString lines;
    lines.reserve(newRegionEnd - regionStart);
    int newLines = 0;
    for (; block.isValid() && block.position() < newRegionEnd; block = block.next()) {
        lines += block.text();
        lines += QLatin1Char('\n');
        ++newLines;
    }
    if (regionStart + lines.size() != newRegionEnd) {
        Rebuild();
        return;
    }

    // A highlighting pass reports the lines it coloured as changed: nothing to do when the
    // characters are the same.
    if (newRegionEnd == lastStart + tailEnd) {
        bool same = true;
        int at = 0;
        for (int i = first; same && i <= last; ++i) {
            const TextChunk &chunk = *m_chunks.at(i);
            const int from = i == first ? head.starts.at(headLine) : 0;
            const int to = i == last ? tailEnd : chunk.Size();
            const QStringView now = QStringView(lines).mid(at, to - from);
            same = chunk.narrow.isEmpty()
                       ? QStringView(chunk.wide).mid(from, to - from).compare(now) == 0
                       : now.compare(QLatin1String(chunk.narrow.constData() + from, to - from)) == 0;
            at += to - from;
        }
        if (same)
            return;
    }

    int end = last;
    QString combined = head.Text().left(head.starts.at(headLine)) + lines + tail.Text().mid(tailEnd);
    // Deletions leave chunks small; a small one takes in the next, so their count stays in check.
    const int combinedLines = headLine + newLines + int(tail.starts.size()) - tailLine - 1;
    if (combinedLines < m_chunkLines / 2 && combined.size() < chunkCharacters / 2 && end + 1 < m_chunks.size())
        m_chunks.at(++end)->AppendTo(combined);

    QVector<std::shared_ptr<const TextChunk>> made;
    AppendChunks(made, combined);
    for (int i = first; i <= end; ++i)
        m_lines -= m_chunks.at(i)->starts.size();
    for (const auto &chunk : qAsConst(made))
        m_lines += chunk->starts.size();
    if (made.size() == end - first + 1) {
        std::copy(made.cbegin(), made.cend(), m_chunks.begin() + first);
    } else {
        QVector<std::shared_ptr<const TextChunk>> chunks;
        chunks.reserve(m_chunks.size() - (end - first + 1) + made.size());
        chunks.append(m_chunks.mid(0, first));
        chunks.append(made);
        chunks.append(m_chunks.mid(end + 1));
        m_chunks.swap(chunks);
    }
    m_length = newLength;
    ++m_version;
}

} // namespace ke2
