#include "views/find_in_files_search.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSet>
#include <QtCore/QThread>
#include <QtCore/QtAlgorithms>

#include <algorithm>
#include <utility>
#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif
#if (defined(__GNUC__) || defined(__clang__)) && defined(__x86_64__)
#define KE2_FIND_AVX2
#include <immintrin.h>
#endif
#include <cstring>
#include <iterator>
#if defined(Q_OS_UNIX)
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace ke2 {

namespace {

// Results are handed over in batches: the first at once, then at most this often.
constexpr int batchMilliseconds = 40;

QVector<QRegularExpression> Wildcards(const QStringList &patterns)
{
    QVector<QRegularExpression> list;
    for (const QString &pattern : patterns)
        list.append(QRegularExpression(QRegularExpression::wildcardToRegularExpression(pattern),
                                       QRegularExpression::CaseInsensitiveOption));
    return list;
}

bool AnyMatches(const QVector<QRegularExpression> &patterns, const QString &name, const QString &relative)
{
    for (const QRegularExpression &pattern : patterns)
        if (pattern.match(name).hasMatch() || pattern.match(relative).hasMatch())
            return true;
    return false;
}

bool IsAscii(const QString &text)
{
    for (const QChar c : text)
        if (c.unicode() >= 0x80 || c.unicode() == 0)
            return false;
    return true;
}

} // namespace

struct FindInFilesSearch::Job {
    FindInFilesQuery query;
    TextSearch search;
    std::atomic_bool cancelled{false};
    QVector<FindInFilesResult> pending;
    int lines = 0;
    bool posted = false;
    QElapsedTimer sincePost;
};

FindInFilesSearch::FindInFilesSearch(QObject *parent) : QObject(parent)
{
    qRegisterMetaType<QVector<ke2::FindInFilesResult>>();
}

FindInFilesSearch::~FindInFilesSearch()
{
    if (m_job)
        m_job->cancelled = true;
    for (QThread *thread : qAsConst(m_threads)) {
        thread->wait();
        delete thread;
    }
}

void FindInFilesSearch::Cancel()
{
    if (m_job)
        m_job->cancelled = true;
    const bool wasRunning = m_running;
    m_job.reset();
    m_running = false;
    if (wasRunning)
        emit Finished(true, false);
}

void FindInFilesSearch::Start(const FindInFilesQuery &query)
{
    // The search before is dropped quietly: the new one reports for both.
    if (m_job)
        m_job->cancelled = true;
    auto job = std::make_shared<Job>();
    job->query = query;
    job->search = TextSearch(query.regex);
    m_job = job;
    m_running = false;
    if (job->search.FindsNothing() || query.roots.isEmpty()) {
        emit Finished(false, false);
        return;
    }
    m_running = true;
    QThread *thread = QThread::create([this, job] { Run(this, job); });
    m_threads.append(thread);
    // A finished thread is collected here, on the thread that owns the list.
    connect(thread, &QThread::finished, this, [this, thread] {
        m_threads.removeOne(thread);
        thread->deleteLater();
    });
    thread->start(QThread::LowPriority);
}

void FindInFilesSearch::Post(const std::shared_ptr<Job> &job, QVector<FindInFilesResult> results)
{
    QMetaObject::invokeMethod(this, [this, job, results] {
        if (job == m_job)
            emit ResultsFound(results);
    }, Qt::QueuedConnection);
}

void FindInFilesSearch::PostFinished(const std::shared_ptr<Job> &job, bool limited)
{
    QMetaObject::invokeMethod(this, [this, job, limited] {
        if (job != m_job)
            return;
        m_running = false;
        emit Finished(false, limited);
    }, Qt::QueuedConnection);
}

QString FindInFilesSearch::Decode(const QByteArray &bytes)
{
    const char *data = bytes.constData();
    int size = bytes.size();
    if (size >= 3 && std::memcmp(data, "\xEF\xBB\xBF", 3) == 0) {
        data += 3;
        size -= 3;
    }
    const QString text = QString::fromUtf8(data, size);
    // A replacement character that the bytes did not spell out means the bytes are not UTF-8.
    if (text.contains(QChar::ReplacementCharacter)
        && !QByteArray::fromRawData(data, size).contains("\xEF\xBF\xBD"))
        return QString::fromLatin1(data, size);
    return text;
}

QStringList FindInFilesSearch::SplitPatterns(const QString &patterns)
{
    QStringList list;
    for (const QString &part : patterns.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString trimmed = part.trimmed();
        if (!trimmed.isEmpty())
            list << trimmed;
    }
    return list;
}

bool FindInFilesSearch::InScope(const FindInFilesQuery &query, const QString &path)
{
    const QFileInfo file(path);
    for (const QString &root : query.roots) {
        const QFileInfo rootInfo(root);
        if (rootInfo.isFile()) {
            if (rootInfo.absoluteFilePath() == file.absoluteFilePath())
                return true;
            continue;
        }
        const QString relative = QDir(rootInfo.absoluteFilePath()).relativeFilePath(file.absoluteFilePath());
        if (relative.startsWith(QLatin1String("..")) || QDir::isAbsolutePath(relative))
            continue;
        const QStringList parts = relative.split(QLatin1Char('/'));
        bool hidden = false;
        for (const QString &part : parts)
            hidden = hidden || part.startsWith(QLatin1Char('.'));
        if (hidden || (query.hideCompiled && path.endsWith(QLatin1String(".pyc"))))
            continue;
        const QVector<QRegularExpression> exclude = Wildcards(query.exclude);
        bool excluded = false;
        QString folder;
        for (const QString &part : parts) {
            folder = folder.isEmpty() ? part : folder + QLatin1Char('/') + part;
            excluded = excluded || (!exclude.isEmpty() && AnyMatches(exclude, part, folder));
        }
        const QVector<QRegularExpression> include = Wildcards(query.include);
        if (!excluded && (include.isEmpty() || AnyMatches(include, file.fileName(), relative)))
            return true;
    }
    return false;
}

QString FindInFilesSearch::TooLargeNote(qint64 limit)
{
    return QStringLiteral("larger than %1: searched its first %1 only")
        .arg(limit >= 1024 * 1024 ? QStringLiteral("%1 MB").arg(limit / (1024 * 1024))
                                  : QStringLiteral("%1 bytes").arg(limit));
}

QString FindInFilesSearch::TooManyLinesNote(int lines)
{
    return QStringLiteral("stopped at %1 matching lines").arg(lines);
}

bool FindInFilesSearch::SearchText(const TextSearch &search, const QString &path, const QString &text,
                                   FindInFilesResult &result, const std::atomic_bool *cancelled, int lineLimit)
{
    result.path = path;
    result.lines.clear();
    result.cutShort.clear();
    QVector<TextMatch> matches;
    // A file whose pattern runs away is given up after a while; the rest of the search goes on.
    const bool complete = search.FindAll(text, 0, text.size(), matches, QDeadlineTimer(2000), cancelled);
    if (!complete)
        result.cutShort = QStringLiteral("the pattern took too long: searched in part");
    int line = 0;
    int lineStart = 0;
    int nextNewline = text.indexOf(QLatin1Char('\n'));
    int lastLine = -1;
    for (const TextMatch &match : qAsConst(matches)) {
        while (nextNewline >= 0 && nextNewline < match.start) {
            ++line;
            lineStart = nextNewline + 1;
            nextNewline = text.indexOf(QLatin1Char('\n'), lineStart);
        }
        if (line != lastLine) {
            if (result.lines.size() >= lineLimit) {
                result.cutShort = TooManyLinesNote(lineLimit);
                return false;
            }
            int content = nextNewline < 0 ? text.size() : nextNewline;
            if (content > lineStart && text.at(content - 1) == QLatin1Char('\r'))
                --content;
            result.lines.append({line, text.mid(lineStart, content - lineStart), {}});
            lastLine = line;
        }
        result.lines.last().matches.append({match.start - lineStart, match.length});
    }
    return complete;
}

namespace {

unsigned char FoldByte(unsigned char c) { return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c; }

// A byte of a needle as the block scans compare it: a letter of a search that ignores case is
// set in lower case and so is each byte looked at (OR 0x20, which maps no other byte to a
// letter); any other byte is compared as it is.
struct BlockByte {
    BlockByte(unsigned char c, bool ignoreCase)
        : value(ignoreCase ? FoldByte(c) : c),
          fold(ignoreCase && FoldByte(c) >= 'a' && FoldByte(c) <= 'z' ? 0x20 : 0)
    {
    }
    unsigned char value;
    unsigned char fold;
};

#if defined(KE2_FIND_AVX2)
// Most processors compare 32 bytes at once: the scans use that where the processor has it.
bool HasAvx2()
{
    static const bool has = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return has;
}

// The places from `p` to `last` whose first and last bytes are the needle's, 32 at a time; each
// is handed to `equal` for the rest. The first it takes, else null with `p` where blocks end.
template <typename Equal>
__attribute__((target("avx2"))) const unsigned char *ScanBlocksAvx2(const unsigned char *&p, const unsigned char *last,
                                                                   int length, BlockByte first, BlockByte tail,
                                                                   const Equal &equal)
{
    const __m256i heads = _mm256_set1_epi8(char(first.value));
    const __m256i headFold = _mm256_set1_epi8(char(first.fold));
    const __m256i tails = _mm256_set1_epi8(char(tail.value));
    const __m256i tailFold = _mm256_set1_epi8(char(tail.fold));
    for (; p + 32 <= last + 1; p += 32) {
        const __m256i head = _mm256_or_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)), headFold);
        const __m256i end =
            _mm256_or_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + length - 1)), tailFold);
        unsigned mask = unsigned(
            _mm256_movemask_epi8(_mm256_and_si256(_mm256_cmpeq_epi8(head, heads), _mm256_cmpeq_epi8(end, tails))));
        while (mask) {
            const int i = int(qCountTrailingZeroBits(mask));
            if (equal(p + i))
                return p + i;
            mask &= mask - 1;
        }
    }
    return nullptr;
}

__attribute__((target("avx2"))) int CountNewlinesAvx2(const char *&from, const char *to)
{
    int count = 0;
    const __m256i newline = _mm256_set1_epi8('\n');
    while (from + 32 <= to) {
        __m256i lanes = _mm256_setzero_si256();
        for (int blocks = 0; blocks < 255 && from + 32 <= to; ++blocks, from += 32) {
            const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(from));
            lanes = _mm256_sub_epi8(lanes, _mm256_cmpeq_epi8(bytes, newline));
        }
        const __m256i sums = _mm256_sad_epu8(lanes, _mm256_setzero_si256());
        count += int(_mm256_extract_epi64(sums, 0) + _mm256_extract_epi64(sums, 1) + _mm256_extract_epi64(sums, 2)
                     + _mm256_extract_epi64(sums, 3));
    }
    return count;
}
#endif

// The places from `p` to `last` whose first and last bytes are the needle's, sixteen (or 32) at
// a time: only those are handed to `equal`. Far fewer than a byte in a thousand pass in scripts,
// so the scan runs at memory speed. The first it takes, else null with `p` where blocks end.
template <typename Equal>
const unsigned char *ScanBlocks(const unsigned char *&p, const unsigned char *last, int length, BlockByte first,
                                BlockByte tail, const Equal &equal)
{
#if defined(KE2_FIND_AVX2)
    if (HasAvx2())
        if (const unsigned char *found = ScanBlocksAvx2(p, last, length, first, tail, equal))
            return found;
#endif
#if defined(__SSE2__) || defined(_M_X64)
    const __m128i heads = _mm_set1_epi8(char(first.value));
    const __m128i headFold = _mm_set1_epi8(char(first.fold));
    const __m128i tails = _mm_set1_epi8(char(tail.value));
    const __m128i tailFold = _mm_set1_epi8(char(tail.fold));
    for (; p + 16 <= last + 1; p += 16) {
        const __m128i head = _mm_or_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)), headFold);
        const __m128i end = _mm_or_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p + length - 1)), tailFold);
        unsigned mask = unsigned(_mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(head, heads), _mm_cmpeq_epi8(end, tails))));
        while (mask) {
            const int i = int(qCountTrailingZeroBits(mask));
            if (equal(p + i))
                return p + i;
            mask &= mask - 1;
        }
    }
#else
    Q_UNUSED(last);
    Q_UNUSED(length);
    Q_UNUSED(first);
    Q_UNUSED(tail);
    Q_UNUSED(equal);
#endif
    return nullptr;
}

const char *FindBytes(const char *at, const char *end, const QByteArray &needle)
{
    const int length = needle.size();
    const auto *n = reinterpret_cast<const unsigned char *>(needle.constData());
    if (length >= 2) {
        const auto *p = reinterpret_cast<const unsigned char *>(at);
        const auto *last = reinterpret_cast<const unsigned char *>(end) - length;
        // The second byte first: a call to compare costs more than most candidates.
        const unsigned char *found =
            ScanBlocks(p, last, length, BlockByte(n[0], false), BlockByte(n[length - 1], false),
                       [&](const unsigned char *start) {
                           return start[1] == n[1] && std::memcmp(start + 1, n + 1, size_t(length - 2)) == 0;
                       });
        if (found)
            return reinterpret_cast<const char *>(found);
        at = reinterpret_cast<const char *>(p);
    }
#if defined(__GLIBC__)
    return static_cast<const char *>(memmem(at, size_t(end - at), n, size_t(length)));
#else
    const char *found = std::search(at, end, std::boyer_moore_horspool_searcher<const char *>(
                                                 needle.constData(), needle.constData() + length));
    return found == end ? nullptr : found;
#endif
}

// The line breaks in [from, to): sixteen (or 32) bytes at a time, as results sit far apart in a
// file.
int CountNewlines(const char *from, const char *to)
{
    int count = 0;
#if defined(KE2_FIND_AVX2)
    if (HasAvx2())
        count += CountNewlinesAvx2(from, to);
#endif
#if defined(__SSE2__) || defined(_M_X64)
    // Each byte lane counts its own line breaks (a match is -1) for up to 255 blocks; the lanes
    // are then summed.
    const __m128i newline = _mm_set1_epi8('\n');
    while (from + 16 <= to) {
        __m128i lanes = _mm_setzero_si128();
        for (int blocks = 0; blocks < 255 && from + 16 <= to; ++blocks, from += 16) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
            lanes = _mm_sub_epi8(lanes, _mm_cmpeq_epi8(bytes, newline));
        }
        const __m128i sums = _mm_sad_epu8(lanes, _mm_setzero_si128());
        count += _mm_cvtsi128_si32(sums) + _mm_cvtsi128_si32(_mm_srli_si128(sums, 8));
    }
#endif
    for (; from < to; ++from)
        count += *from == '\n';
    return count;
}

// A needle for a search that ignores ASCII case: folded, with the shift of each byte for a
// Horspool scan, which looks at about one byte in the needle's length instead of each.
struct FoldedNeedle {
    explicit FoldedNeedle(const QByteArray &needle) : folded(needle.size(), '\0')
    {
        const int length = needle.size();
        for (int i = 0; i < length; ++i)
            folded[i] = char(FoldByte(static_cast<unsigned char>(needle.at(i))));
        std::fill(std::begin(shift), std::end(shift), length);
        for (int i = 0; i + 1 < length; ++i)
            shift[static_cast<unsigned char>(folded.at(i))] = length - 1 - i;
    }
    QByteArray folded;
    int shift[256];
};

const char *FindFolded(const char *at, const char *end, const FoldedNeedle &needle)
{
    const int length = needle.folded.size();
    const auto *p = reinterpret_cast<const unsigned char *>(at);
    const auto *last = reinterpret_cast<const unsigned char *>(end) - length;
    const auto *folded = reinterpret_cast<const unsigned char *>(needle.folded.constData());
    const unsigned char lastByte = folded[length - 1];
    if (length >= 2) {
        const unsigned char *found = ScanBlocks(p, last, length, BlockByte(folded[0], true),
                                                BlockByte(lastByte, true), [&](const unsigned char *start) {
                                                    int k = 1;
                                                    while (k < length - 1 && FoldByte(start[k]) == folded[k])
                                                        ++k;
                                                    return k >= length - 1;
                                                });
        if (found)
            return reinterpret_cast<const char *>(found);
    }
    while (p <= last) {
        const unsigned char c = FoldByte(p[length - 1]);
        if (c == lastByte) {
            int k = 0;
            while (k < length - 1 && FoldByte(p[k]) == folded[k])
                ++k;
            if (k == length - 1)
                return reinterpret_cast<const char *>(p);
        }
        p += needle.shift[c];
    }
    return nullptr;
}

// A plain ASCII text as bytes, made once for a whole search.
struct ByteNeedle {
    explicit ByteNeedle(const TextSearch &search)
        : bytes(search.Literal().toLatin1()), folded(bytes), matchCase(search.MatchCase())
    {
    }
    QByteArray bytes;
    FoldedNeedle folded;
    bool matchCase;
};

// The fast way for plain ASCII text: the bytes are searched as they are (ASCII is the same in
// UTF-8 and Latin-1, and no byte of another character folds to it) and only lines with a hit
// are decoded.
void SearchBytes(const TextSearch &search, const ByteNeedle &byteNeedle, const QByteArray &bytes,
                 FindInFilesResult &result, int lineLimit)
{
    const QByteArray &needle = byteNeedle.bytes;
    const bool matchCase = byteNeedle.matchCase;
    const FoldedNeedle &folded = byteNeedle.folded;
    const char *data = bytes.constData();
    const char *end = data + bytes.size();
    const char *counted = data;
    int line = 0;
    const char *at = data;
    QVector<TextMatch> matches;
    while (at < end) {
        const char *found = matchCase ? FindBytes(at, end, needle) : FindFolded(at, end, folded);
        if (!found)
            break;
        const char *lineStart = found;
        while (lineStart > data && lineStart[-1] != '\n')
            --lineStart;
        const char *lineEnd = static_cast<const char *>(std::memchr(found, '\n', size_t(end - found)));
        if (!lineEnd)
            lineEnd = end;
        line += CountNewlines(counted, lineStart);
        counted = lineStart;
        const char *contentEnd = lineEnd > lineStart && lineEnd[-1] == '\r' ? lineEnd - 1 : lineEnd;
        QString text = FindInFilesSearch::Decode(QByteArray::fromRawData(lineStart, int(contentEnd - lineStart)));
        matches.clear();
        search.FindAll(text, matches);
        if (!matches.isEmpty()) {
            if (result.lines.size() >= lineLimit) {
                result.cutShort = FindInFilesSearch::TooManyLinesNote(lineLimit);
                return;
            }
            result.lines.append({line, std::move(text), matches});
        }
        at = lineEnd;
    }
}

} // namespace

// On POSIX systems a file costs the four calls it needs (open, size, read, close): the file
// objects of the library make more, which over thousands of small files costs as much as reading
// them.
bool FindInFilesSearch::ReadFile(const QString &path, QByteArray &bytes, qint64 limit, bool *whole)
{
    limit = std::min(limit, maximumFileSize);
    // One byte more than is wanted: reading it tells whether the file goes on (it grew since its
    // size was taken, or it is over the limit), and a file that does not is read in one call.
#if defined(Q_OS_UNIX)
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat info;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return false;
    }
    qint64 room = std::min<qint64>(info.st_size, limit) + 1;
    bytes.resize(int(room));
    qint64 filled = 0;
    while (true) {
        const ssize_t got = ::read(fd, bytes.data() + filled, size_t(room - filled));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        filled += got;
        // Exactly the size the file had when opened: its end, without a call more to hear 0
        // (over thousands of small files that call costs as much as matching them). A file that
        // grows fills the byte asked for beyond it.
        if (filled == info.st_size && filled < room)
            break;
        if (filled < room)
            continue; // a read may hand over less than asked; the next one says 0 at the end
        if (room > limit)
            break; // one byte past the limit: the file goes on
        room = std::min(room * 2, limit + 1);
        bytes.resize(int(room));
    }
    ::close(fd);
#else
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    bytes.resize(int(std::min(file.size(), limit) + 1));
    qint64 filled = qMax<qint64>(file.read(bytes.data(), bytes.size()), 0);
    if (filled == bytes.size() && filled <= limit) { // grew since its size was taken
        const QByteArray more = file.read(limit + 1 - filled);
        bytes.resize(int(filled));
        bytes += more;
        filled = bytes.size();
    }
#endif
    const bool all = filled <= limit;
    bytes.resize(int(std::clamp<qint64>(filled, 0, limit)));
    if (whole)
        *whole = all;
    return true;
}

namespace {

// One file as a searching thread takes it: with the search's whole line budget, which the walk's
// order then trims. False when it is not listed (unreadable, binary, nothing found).
bool SearchFile(const FindInFilesQuery &query, const TextSearch &search, const ByteNeedle *needle,
                const QString &path, QByteArray &bytes, FindInFilesResult &result, const std::atomic_bool *cancelled)
{
    result.path = path;
    const int lineBudget = std::max(1, query.lineLimit);
    const auto open = query.openTexts.constFind(path);
    if (open != query.openTexts.constEnd()) {
        FindInFilesSearch::SearchText(search, path, open.value(), result, cancelled, lineBudget);
    } else {
        bool whole = true;
        if (!FindInFilesSearch::ReadFile(path, bytes, query.fileSizeLimit, &whole))
            return false;
        if (std::memchr(bytes.constData(), 0, size_t(qMin<qint64>(bytes.size(), FindInFilesSearch::binaryProbeSize))))
            return false; // binary
        if (needle)
            SearchBytes(search, *needle, bytes, result, lineBudget);
        else
            FindInFilesSearch::SearchText(search, path, FindInFilesSearch::Decode(bytes), result, cancelled, lineBudget);
        if (!whole && result.cutShort.isEmpty())
            result.cutShort =
                FindInFilesSearch::TooLargeNote(std::min(query.fileSizeLimit, FindInFilesSearch::maximumFileSize));
    }
    // A file cut short is listed with its note even without a match: the part not searched
    // may hold some.
    return !result.lines.isEmpty() || !result.cutShort.isEmpty();
}

// An entry of the walk, in the order the results are listed: a file to search, or an entry
// that is only stepped over (a folder, a file left out), which still counts where the line
// limit stops the walk.
struct WalkEntry {
    QString path;
    bool search = false;
    bool root = false; // a file given as a root: searched even after the line limit stopped the walk
    bool done = false;
    bool listed = false;
    FindInFilesResult result;
};

// The folders in the order the results are listed: a folder's files by name, then its
// subfolders, each whole, by name. Folders reached twice (through links) are walked once.
class Walk {
public:
    Walk(const FindInFilesQuery &query, const QVector<QRegularExpression> &include,
         const QVector<QRegularExpression> &exclude)
        : m_query(query), m_include(include), m_exclude(exclude)
    {
    }

    // The entries of the next folder (or the next root file); false at the end.
    bool Next(std::vector<WalkEntry> &entries)
    {
        while (true) {
            if (!m_folders.isEmpty()) {
                ListFolder(m_folders.takeLast(), entries);
                return true;
            }
            if (m_root >= m_query.roots.size())
                return false;
            const QFileInfo rootInfo(m_query.roots.at(m_root++));
            if (rootInfo.isFile()) {
                WalkEntry entry;
                entry.path = rootInfo.absoluteFilePath();
                entry.search = entry.root = true;
                entries.push_back(std::move(entry));
                return true;
            }
            if (m_stopped)
                continue;
            m_base = QDir(rootInfo.absoluteFilePath());
            m_folders = QStringList{rootInfo.absoluteFilePath()};
        }
    }
    // Past the line limit only the roots that are files are searched.
    void StopFolders()
    {
        m_stopped = true;
        m_folders.clear();
    }

private:
    void ListFolder(const QString &folder, std::vector<WalkEntry> &out)
    {
        const QString canonical = QFileInfo(folder).canonicalFilePath();
        if (canonical.isEmpty() || m_visited.contains(canonical))
            return; // a link loop, or a folder reached twice
        m_visited.insert(canonical);
        const QFileInfoList entries =
            QDir(folder).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name | QDir::IgnoreCase);
        QStringList subfolders;
        for (const QFileInfo &info : entries) {
            WalkEntry entry;
            // The relative path is worked out only for patterns: it costs more than reading a
            // small file.
            const QString path = info.absoluteFilePath();
            const QString relative =
                m_exclude.isEmpty() && m_include.isEmpty() ? QString() : m_base.relativeFilePath(path);
            if (!m_exclude.isEmpty() && AnyMatches(m_exclude, info.fileName(), relative)) {
                // left out
            } else if (info.isDir()) {
                subfolders.prepend(path); // taken from the end: in name order
            } else if (!(m_query.hideCompiled && info.fileName().endsWith(QLatin1String(".pyc")))
                       && (m_include.isEmpty() || AnyMatches(m_include, info.fileName(), relative))) {
                entry.path = path;
                entry.search = true;
            }
            out.push_back(std::move(entry));
        }
        m_folders << subfolders;
    }

    const FindInFilesQuery &m_query;
    const QVector<QRegularExpression> &m_include;
    const QVector<QRegularExpression> &m_exclude;
    int m_root = 0;
    QDir m_base;
    QStringList m_folders;
    QSet<QString> m_visited; // canonical folders already listed
    bool m_stopped = false;
};

} // namespace

// The walk runs on this thread, which with a few helper threads searches its files, each taking
// the next one not yet taken; the results are taken back in the walk's order, so they are listed
// as a search on one thread lists them, and the line limit cuts at the same place.
void FindInFilesSearch::Run(FindInFilesSearch *self, const std::shared_ptr<Job> &job)
{
    const FindInFilesQuery &query = job->query;
    const TextSearch &search = job->search;
    const QVector<QRegularExpression> include = Wildcards(query.include);
    const QVector<QRegularExpression> exclude = Wildcards(query.exclude);
    std::optional<ByteNeedle> needle;
    if (search.IsLiteral() && IsAscii(search.Literal()))
        needle.emplace(search);
    job->sincePost.start();

    auto flush = [&](bool force) {
        if (job->pending.isEmpty())
            return;
        if (force || !job->posted || job->sincePost.elapsed() >= batchMilliseconds) {
            self->Post(job, job->pending);
            job->pending.clear();
            job->posted = true;
            job->sincePost.restart();
        }
    };

    // The entries walked and not yet taken back; `taken` counts those before the first.
    std::mutex mutex;
    std::condition_variable work;
    std::condition_variable done;
    std::deque<WalkEntry> entries;
    qint64 taken = 0;
    qint64 claimed = 0; // the entries before it are searched, being searched, or need no search
    bool closing = false;
    bool walked = false;
    bool limited = false;
    // Enough entries ahead that the helpers rarely wait for the walk or for a slow file.
    constexpr qint64 ahead = 512;
    auto unclaimed = [&] { return taken + qint64(entries.size()) - std::max(claimed, taken); };

    // Searches the next entry no thread has taken, if there is one; called and returning with
    // the lock held. (Entries that need no search may be taken back before a thread passes them.)
    auto searchNext = [&](std::unique_lock<std::mutex> &lock, QByteArray &bytes) -> WalkEntry * {
        claimed = std::max(claimed, taken);
        while (claimed < taken + qint64(entries.size())) {
            WalkEntry &entry = entries[size_t(claimed++ - taken)];
            if (!entry.search)
                continue;
            if (limited && !entry.root) { // past the line limit only roots are searched
                entry.done = true;
                continue;
            }
            lock.unlock();
            FindInFilesResult result;
            const bool listed = SearchFile(query, search, needle ? &*needle : nullptr, entry.path, bytes, result,
                                           &job->cancelled);
            lock.lock();
            entry.result = std::move(result);
            entry.listed = listed;
            entry.done = true;
            return &entry;
        }
        return nullptr;
    };
    auto helper = [&] {
        QByteArray bytes; // its room is reused from file to file
        std::unique_lock<std::mutex> lock(mutex);
        while (true) {
            work.wait(lock, [&] { return closing || unclaimed() > 0; });
            if (closing)
                return;
            const WalkEntry *entry = searchNext(lock, bytes);
            // The walking thread, when it waits, is woken only when it has something to do: post
            // the first result, walk on before the helpers run out of entries, or end. A wake for
            // each file would cost as much as searching it.
            if (entry
                && ((entry == &entries.front() && !job->posted) || unclaimed() == 0
                    || (!walked && unclaimed() <= ahead / 4)))
                done.notify_one();
        }
    };
    // This thread searches too, between walking and posting: the helpers are one fewer than the
    // processor's cores.
    const int helperCount = std::clamp(QThread::idealThreadCount(), 1, 8) - 1;
    std::vector<std::thread> helpers;
    for (int i = 0; i < helperCount; ++i)
        helpers.emplace_back(helper);

    // The helpers end before anything they use goes.
    struct Joiner {
        std::function<void()> stop;
        ~Joiner() { stop(); }
    } joiner{[&] {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            closing = true;
        }
        work.notify_all();
        for (std::thread &thread : helpers)
            thread.join();
    }};

    // A searched file taken back in order: its matching lines cut to what is left of the
    // search's line budget.
    auto takeBack = [&](WalkEntry &entry) {
        if (!entry.listed)
            return;
        FindInFilesResult &result = entry.result;
        const int lineBudget = std::max(1, query.lineLimit - job->lines);
        if (result.lines.size() > lineBudget) {
            result.lines.resize(lineBudget);
            result.cutShort = TooManyLinesNote(lineBudget);
        }
        job->lines += result.lines.size();
        job->pending.append(std::move(result));
        flush(false);
    };

    Walk walk(query, include, exclude);
    std::vector<WalkEntry> listed;
    QByteArray bytes;
    std::unique_lock<std::mutex> lock(mutex);
    while (!job->cancelled) {
        // Walk on while few entries are ahead.
        if (!walked && unclaimed() < ahead) {
            lock.unlock();
            listed.clear();
            const bool more = walk.Next(listed);
            lock.lock();
            walked = !more;
            const bool searched = std::any_of(listed.begin(), listed.end(), [](const WalkEntry &e) { return e.search; });
            for (WalkEntry &entry : listed) {
                entry.done = !entry.search;
                entries.push_back(std::move(entry));
            }
            if (searched && helperCount > 0)
                work.notify_all();
        }
        // Take back what is done, in order.
        while (!entries.empty() && entries.front().done) {
            WalkEntry entry = std::move(entries.front());
            entries.pop_front();
            ++taken;
            if (entry.root) {
                takeBack(entry);
            } else if (!limited) {
                if (job->lines >= query.lineLimit) {
                    limited = true;
                    walk.StopFolders();
                } else if (entry.search) {
                    takeBack(entry);
                }
            }
        }
        if (walked && entries.empty())
            break;
        // A file between two folders, so that the first result is not held up by the walk.
        if (!searchNext(lock, bytes) && walked) {
            // Every entry is taken: it waits for the helpers, and now and then looks whether the
            // search was cancelled.
            done.wait_for(lock, std::chrono::milliseconds(10));
        }
        flush(false);
    }
    lock.unlock();
    if (job->cancelled)
        return;
    flush(true);
    self->PostFinished(job, limited);
}

} // namespace ke2
