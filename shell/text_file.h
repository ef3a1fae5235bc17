#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QPair>
#include <QtCore/QVector>
#include <QtCore/QString>

class QFileDevice;
class QTextDocument;

namespace ke2 {

enum class TextEncoding {
    Utf8,
    // Every byte is a character: what a file that is not valid UTF-8 is read as, so that
    // saving it unchanged gives back the same bytes.
    Latin1,
    // The system's 8-bit encoding, when it is not UTF-8 and the UTF-8 preference is off.
    Locale,
    // Read only from files that start with a UTF-16 byte-order mark, and written back with it.
    Utf16Le,
    Utf16Be,
};

enum class LineEnding { Lf, CrLf, Cr };

// How a buffer's text maps to the bytes of its file; kept per buffer so that a save writes the
// file back the way it was read.
struct TextFileFormat {
    TextEncoding encoding = TextEncoding::Utf8;
    bool byteOrderMark = false;
    LineEnding lineEnding = LineEnding::Lf;
    // The document turns a few characters into line breaks (a CR that is not the file's line
    // ending, U+2029 and two noncharacters). Each one the file holds is shown as a character
    // the file does not contain, and written back as itself: (character in the file, stand-in).
    QVector<QPair<QChar, QChar>> standIns;
    // A line too long to lay out at each key is shown in rows of `TextFile::pieceLength`; each
    // row but the last ends in this character and a line break that the file does not hold.
    // Null when no line was broken. A lone one (its break removed or typed over) stands for
    // nothing either, and a line break without it is one the file gets.
    QChar pieceBreak;

    // What a new file gets: UTF-8 (or the system encoding with the preference off) and the
    // platform's line ending.
    static TextFileFormat ForNewFile(bool utf8Preferred);
    // For the status bar: "UTF-8", "UTF-8 with BOM", "UTF-16 LE", "UTF-16 BE", "Latin-1", "System".
    QString EncodingName() const;
    // "LF", "CRLF", "CR".
    QString LineEndingName() const;

    bool operator==(const TextFileFormat &other) const
    {
        return encoding == other.encoding && byteOrderMark == other.byteOrderMark && lineEnding == other.lineEnding
               && standIns == other.standIns && pieceBreak == other.pieceBreak;
    }
    bool operator!=(const TextFileFormat &other) const { return !(*this == other); }
};

// What can be told about a file cheaply, before reading it whole.
struct TextFileProbe {
    bool exists = false;
    qint64 size = 0;
    bool looksBinary = false; // a NUL anywhere (a NUL character in a UTF-16 file)
    // In bytes (code units for UTF-16), line ends not counted; only of files looked at whole.
    qint64 longestLine = 0;
    bool isLarge() const;
    bool hasLongLine() const;
};

// What decoding found besides the text.
struct TextFileNotes {
    bool fellBackToLatin1 = false;   // not valid in the preferred encoding
    bool mixedLineEndings = false;   // saved with the dominant one
    bool encodingChanged = false;    // on encoding: Latin-1 or system could not hold the text
};

// Reading and writing a buffer's file. Reads keep enough of the file's shape (encoding,
// byte-order mark, line ending) to write the same bytes back; writes go to a new file beside
// the target that is flushed to disk and renamed over it, so a failure at any point leaves the
// old file whole.
namespace TextFile {

// Files above this size are asked about before they are read.
constexpr qint64 largeFileSize = 32 * 1024 * 1024;
// How much of a large file the binary check looks at; smaller files are looked at whole.
constexpr qint64 probeSize = 64 * 1024;
// A line longer than this is asked about too, as it is shown broken.
constexpr qint64 longLineSize = 1024 * 1024;
// The editor lays out a whole line at each change to it: lines longer than `wholeLineLength`
// are shown in rows of `pieceLength` (see TextFileFormat::pieceBreak) so a key costs the same
// in a line of 5 MB as in one of 5 KB. Only the lines the open question told of are broken:
// shorter ones cost more per key but stay whole for everything that reads lines (the scanners'
// marks, line numbers in errors, go to line, find).
constexpr int wholeLineLength = int(longLineSize);
constexpr int pieceLength = 200;

TextFileProbe Probe(const QString &path);

// `utf8Preferred`: the UTF-8 preference; with it off the system encoding is tried first. Text
// that is not valid in the tried encodings is read as Latin-1; a file with a UTF-16 byte-order
// mark is UTF-16. Line breaks become "\n". Every byte counts, NULs included.
QString Decode(const QByteArray &bytes, bool utf8Preferred, TextFileFormat &format, TextFileNotes *notes = nullptr);
// The inverse of Decode. When the format's encoding cannot hold a character of `text`, the
// format switches to UTF-8 (and `notes` says so) rather than lose it.
QByteArray Encode(const QString &text, TextFileFormat &format, TextFileNotes *notes = nullptr);

// False with `errorString` set when the file cannot be opened or read. An empty file gives an
// empty, non-null text.
bool Read(const QString &path, bool utf8Preferred, QString &text, TextFileFormat &format,
          TextFileNotes *notes = nullptr, QString *errorString = nullptr);
// Writes atomically; a symbolic link is followed (the link stays a link), the permissions of an
// existing file are kept, and a file that is not writable is refused rather than replaced.
// Where replacing would change what the file is (a folder we cannot write to, hard links,
// another owner or group) it is written in place, its old bytes kept in `backupDirectory` (and
// in memory) until the new ones are on disk, and put back when the write fails.
// `errorString` says why a write failed ("Permission denied", "No space left on device").
bool Write(const QString &path, const QString &text, TextFileFormat &format, TextFileNotes *notes = nullptr,
           QString *errorString = nullptr, const QString &backupDirectory = QString());
// Writes `bytes` as they are, with the same guarantees.
bool WriteBytes(const QString &path, const QByteArray &bytes, QString *errorString = nullptr,
                const QString &backupDirectory = QString());
// Flushes `file` and has the system put it on the disk, so that a rename after it cannot leave
// an empty or partial file behind on a crash.
bool SyncToDisk(QFileDevice &file);
// The file a write to `path` really replaces: the end of a chain of symbolic links.
QString WriteTarget(const QString &path);

// `text` without the piece breaks Decode put in: the text of the file.
QString WithoutPieceBreaks(const QString &text, QChar pieceBreak);

// A document's text exactly as typed. QTextDocument::toPlainText turns non-breaking spaces into
// plain ones, which would change the bytes of a file that has them.
QString DocumentText(const QTextDocument &document);

} // namespace TextFile

} // namespace ke2
