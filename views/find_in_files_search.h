#pragma once

#include "editor/text_search.h"

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <atomic>
#include <limits>
#include <memory>

class QThread;

namespace ke2 {

// One line of a file with its matches; columns count characters of `text`.
struct FindInFilesLine {
    int line = 0; // 0-based
    QString text;
    QVector<TextMatch> matches;
};

struct FindInFilesResult {
    QString path;
    QVector<FindInFilesLine> lines;
    // Why the file was not searched to its end (too large, too many matching lines, a pattern
    // that ran too long); empty when it was searched whole.
    QString cutShort;
};

constexpr qint64 findInFilesFileSizeLimit = 64 * 1024 * 1024;
constexpr int findInFilesLineLimit = 20000;

struct FindInFilesQuery {
    QRegularExpression regex;
    QStringList roots;   // folders (or single files) to search
    QStringList include; // wildcard patterns; a file must match one when any are given
    QStringList exclude; // a file or folder matching one is left out
    bool hideCompiled = false; // leave out .pyc files, as the workspace view does
    // Of a larger file only this many first bytes are searched (at most the search's
    // `maximumFileSize`); the search stops at this many matching lines.
    qint64 fileSizeLimit = findInFilesFileSizeLimit;
    int lineLimit = findInFilesLineLimit;
    // Texts of open buffers by path: searched instead of the files on disk.
    QHash<QString, QString> openTexts;
};

// Searches files off the user-interface thread and streams what it finds. Folders the workspace
// view hides (hidden entries) are skipped, as are binary files (a NUL byte near the start) and
// files over `maximumFileSize`; links are followed but a folder already searched is never
// entered again, so link loops end. Files are searched on as many threads as the processor has
// cores (up to eight), and reported in the order of the walk: a folder's files by name, then
// its subfolders. A new search or Cancel() abandons the running one at its next check: its
// threads end on their own and nothing more of it is reported.
class FindInFilesSearch : public QObject {
    Q_OBJECT
public:
    static constexpr qint64 maximumFileSize = findInFilesFileSizeLimit;
    static constexpr qint64 binaryProbeSize = 64 * 1024;
    // The search stops after this many matching lines.
    static constexpr int maximumLines = findInFilesLineLimit;

    explicit FindInFilesSearch(QObject *parent = nullptr);
    // Cancels and waits for running searches (each stops within one line's match).
    ~FindInFilesSearch() override;

    void Start(const FindInFilesQuery &query);
    void Cancel();
    bool IsRunning() const { return m_running; }

    // The file at `path` into `bytes` (kept between calls, so its room is reused), at most its
    // first `limit` bytes; `whole` says whether that was all of it. False when it cannot be read.
    static bool ReadFile(const QString &path, QByteArray &bytes, qint64 limit = maximumFileSize,
                         bool *whole = nullptr);
    // Bytes as text: UTF-8 (without its byte-order mark) when valid, else Latin-1, as buffers read.
    static QString Decode(const QByteArray &bytes);
    // The wildcards of an include or exclude field: comma-separated, trimmed. Each is matched
    // against a file's or folder's name and its path relative to the searched folder.
    static QStringList SplitPatterns(const QString &patterns);
    // The lines of `text` (the file at `path`) that hold matches, at most `lineLimit` of them;
    // false when the search of it was cut short (`result.cutShort` then says why).
    static bool SearchText(const TextSearch &search, const QString &path, const QString &text,
                           FindInFilesResult &result, const std::atomic_bool *cancelled = nullptr,
                           int lineLimit = std::numeric_limits<int>::max());
    // The note of a file searched only up to `limit` bytes or `lines` lines.
    static QString TooLargeNote(qint64 limit);
    static QString TooManyLinesNote(int lines);
    // Whether the query's search takes in the file at `path`: under one of its roots, outside
    // hidden folders, through the include and exclude patterns.
    static bool InScope(const FindInFilesQuery &query, const QString &path);

signals:
    void ResultsFound(const QVector<ke2::FindInFilesResult> &results);
    // `limited`: stopped at the query's line limit.
    void Finished(bool cancelled, bool limited);

private:
    struct Job;
    void Post(const std::shared_ptr<Job> &job, QVector<FindInFilesResult> results);
    void PostFinished(const std::shared_ptr<Job> &job, bool limited);
    static void Run(FindInFilesSearch *self, const std::shared_ptr<Job> &job);

    std::shared_ptr<Job> m_job;
    QVector<QThread *> m_threads;
    bool m_running = false;
};

} // namespace ke2

Q_DECLARE_METATYPE(QVector<ke2::FindInFilesResult>)
