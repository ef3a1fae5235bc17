#include "output/output_buffer.h"

#include <algorithm>
#include <utility>

namespace ke2 {

namespace {

// The most characters moved at once to drop what was handed out.
constexpr qsizetype compactionLimit = 1 << 20;

// Characters that end a block when inserted into a text document.
bool isBreak(char16_t c)
{
    return c == u'\n' || c == u'\r' || c == 0x2029 || c == 0xFDD0 || c == 0xFDD1;
}

} // namespace

void OutputBuffer::setLineLimit(int lines)
{
    m_lineLimit = std::max(1, lines);
}

void OutputBuffer::append(QStringView text)
{
    const char16_t *data = reinterpret_cast<const char16_t *>(text.data());
    const qsizetype size = text.size();
    qsizetype runStart = 0;
    auto flushRun = [&](qsizetype end) {
        if (end > runStart)
            m_text.append(reinterpret_cast<const QChar *>(data + runStart), int(end - runStart));
    };
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t c = data[i];
        if (isBreak(c)) {
            flushRun(i);
            if (c == u'\r' && i + 1 < size && data[i + 1] == u'\n')
                ++i;
            m_text.append(QLatin1Char('\n'));
            addBreak(true);
            runStart = i + 1;
            continue;
        }
        // Never split a surrogate pair: the low half stays with its high half.
        const int pieceLimit = m_pieceLength == m_lineLength ? wholeLineLength : maximumLineLength;
        if (m_pieceLength >= pieceLimit && !QChar::isLowSurrogate(c)) {
            flushRun(i);
            m_text.append(QChar(pieceBreak));
            addBreak(false);
            runStart = i;
        }
        ++m_lineLength;
        ++m_pieceLength;
    }
    flushRun(size);
}

void OutputBuffer::addBreak(bool endsLine)
{
    if (endsLine) {
        ++m_lineBreaks;
        m_lineLength = 0;
    }
    m_pieceLength = 0;
    // Trimming at twice the limit keeps the work per appended line constant. One line end more
    // than the line limit is kept: the document decides whether the last, unfinished line counts.
    if (endsLine && m_lineBreaks >= 2 * (m_lineLimit + 1))
        trimTo(m_lineLimit + 1);
}

void OutputBuffer::trimTo(int lineBreaks)
{
    const char16_t *data = reinterpret_cast<const char16_t *>(m_text.constData());
    int seenLines = 0;
    for (qsizetype i = m_text.size() - 1; i >= m_head; --i) {
        if (data[i] != u'\n' || ++seenLines < lineBreaks)
            continue;
        // The kept text starts with the line end of the last line pushed out.
        m_text.remove(0, i);
        m_head = 0;
        m_lineBreaks = seenLines;
        m_replaces = true;
        return;
    }
}

OutputBuffer::Chunk OutputBuffer::take(int maxCharacters)
{
    if (m_lineBreaks >= m_lineLimit + 1)
        trimTo(m_lineLimit + 1);
    Chunk chunk;
    chunk.replacesDocument = m_replaces;
    if (m_replaces)
        ++m_head; // the break that ended the last line pushed out
    m_replaces = false;
    if (m_text.size() - m_head <= maxCharacters) {
        chunk.text = m_head == 0 ? std::move(m_text) : m_text.mid(m_head);
        m_text = QString();
        m_head = 0;
        m_lineBreaks = 0;
        return chunk;
    }
    // Never between the halves of a surrogate pair.
    qsizetype cut = m_head + std::max(1, maxCharacters);
    if (m_text.at(cut).isLowSurrogate())
        ++cut;
    chunk.text = m_text.mid(m_head, cut - m_head);
    m_head = cut;
    m_lineBreaks -= int(chunk.text.count(QLatin1Char('\n')));
    // Dropping the handed-out part only once it outweighs the rest keeps the copying linear, and
    // only while the rest is small a single slice never waits for a huge line to be moved.
    if (m_head > m_text.size() / 2 && m_text.size() - m_head <= compactionLimit) {
        m_text.remove(0, m_head);
        m_head = 0;
    }
    return chunk;
}

void OutputBuffer::clear()
{
    m_text.clear();
    m_head = 0;
    m_lineBreaks = 0;
    m_replaces = false;
    m_lineLength = 0;
    m_pieceLength = 0;
}

} // namespace ke2
