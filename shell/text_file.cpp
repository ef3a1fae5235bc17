#include "shell/text_file.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>
#include <QtGui/QTextDocument>

#include <algorithm>
#include <utility>

#include <QtCore/QCryptographicHash>

#include <cerrno>
#include <cstring>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace ke2 {

namespace {

const char utf8Bom[] = "\xEF\xBB\xBF";

bool localeIsUtf8()
{
    return QString::fromLocal8Bit("\xC3\xA9", 2) == QString(QChar(0xE9));
}

// Every conversion from bytes passes the length: Qt 5's QByteArray overloads stop at a NUL.
QString fromUtf8(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

// Strict: anything Qt would have to replace makes the bytes invalid. The text is encoded back
// a stretch at a time: a whole second copy of a large file would be the load's peak.
bool decodeUtf8(const QByteArray &bytes, QString &text)
{
    text = fromUtf8(bytes);
    constexpr int Stretch = 64 * 1024;
    qint64 offset = 0;
    for (int from = 0; from < text.size();) {
        int to = int(std::min<qint64>(qint64(from) + Stretch, text.size()));
        // A surrogate pair is encoded whole.
        if (to < text.size() && text.at(to - 1).isHighSurrogate())
            --to;
        const QByteArray encoded = QStringView(text).mid(from, to - from).toUtf8();
        if (offset + encoded.size() > bytes.size()
            || std::memcmp(encoded.constData(), bytes.constData() + offset, size_t(encoded.size())) != 0)
            return false;
        offset += encoded.size();
        from = to;
    }
    return offset == bytes.size();
}

bool decodeLocale(const QByteArray &bytes, QString &text)
{
    text = QString::fromLocal8Bit(bytes.constData(), bytes.size());
    return text.toLocal8Bit() == bytes;
}

bool hasUtf16Mark(const QByteArray &bytes, bool *littleEndian = nullptr)
{
    const bool little = bytes.startsWith("\xFF\xFE");
    if (littleEndian)
        *littleEndian = little;
    return bytes.size() % 2 == 0 && (little || bytes.startsWith("\xFE\xFF"));
}

// The code units after the byte-order mark, whatever they hold: a lone surrogate is kept so
// that it is written back as it was.
QString decodeUtf16(const QByteArray &bytes, bool littleEndian)
{
    const int units = bytes.size() / 2 - 1;
    QString text(units, Qt::Uninitialized);
    const auto *data = reinterpret_cast<const uchar *>(bytes.constData()) + 2;
    for (int i = 0; i < units; ++i) {
        const uchar a = data[2 * i], b = data[2 * i + 1];
        text[i] = QChar(littleEndian ? ushort(a | b << 8) : ushort(b | a << 8));
    }
    return text;
}

QByteArray encodeUtf16(const QString &text, bool littleEndian)
{
    QByteArray bytes(2 + 2 * text.size(), Qt::Uninitialized);
    char *data = bytes.data();
    data[0] = littleEndian ? '\xFF' : '\xFE';
    data[1] = littleEndian ? '\xFE' : '\xFF';
    for (int i = 0; i < text.size(); ++i) {
        const ushort unit = text.at(i).unicode();
        data[2 + 2 * i + (littleEndian ? 0 : 1)] = char(unit & 0xFF);
        data[2 + 2 * i + (littleEndian ? 1 : 0)] = char(unit >> 8);
    }
    return bytes;
}

bool fitsLatin1(const QString &text)
{
    for (const QChar c : text) {
        if (c.unicode() > 0xFF)
            return false;
    }
    return true;
}

// The characters the document would split a line at, besides "\n".
bool breaksLine(QChar c)
{
    return c == QChar::ParagraphSeparator || c.unicode() == 0xFDD0 || c.unicode() == 0xFDD1;
}

// A stand-in shows where such a character is: a symbol that looks the part when the file has
// none, otherwise a private-use character the file does not hold.
QChar pickStandIn(QChar original, const QString &text, const QVector<QPair<QChar, QChar>> &taken)
{
    const auto free = [&](ushort candidate) {
        const QChar c(candidate);
        if (text.contains(c))
            return false;
        for (const auto &pair : taken)
            if (pair.second == c)
                return false;
        return true;
    };
    // A null original is the piece break: a return arrow.
    const ushort preferred = original == QLatin1Char('\r')             ? 0x240D
                             : original == QChar::ParagraphSeparator ? 0x204B
                             : original.isNull()                     ? 0x21A9
                                                                     : 0;
    if (preferred && free(preferred))
        return QChar(preferred);
    for (ushort candidate = 0xE000; candidate < 0xF900; ++candidate)
        if (free(candidate))
            return QChar(candidate);
    return QChar(0xFFFD); // unreachable: a file with every private-use character has no room left for lines
}

// Finds the dominant line ending and turns every line break into "\n". A CR is a line break
// only in a file whose lines end in CR; elsewhere it is a character of its line and kept.
void normaliseLineEndings(QString &text, TextFileFormat &format, TextFileNotes &notes)
{
    int crlf = 0, lf = 0, cr = 0;
    const int n = text.size();
    for (int i = 0; i < n; ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('\r')) {
            if (i + 1 < n && text.at(i + 1) == QLatin1Char('\n')) {
                ++crlf;
                ++i;
            } else {
                ++cr;
            }
        } else if (c == QLatin1Char('\n')) {
            ++lf;
        }
    }
    if (crlf > 0 && crlf >= lf && crlf >= cr)
        format.lineEnding = LineEnding::CrLf;
    else if (cr > lf)
        format.lineEnding = LineEnding::Cr;
    else if (lf > 0)
        format.lineEnding = LineEnding::Lf;
    const bool crBreaks = format.lineEnding == LineEnding::Cr && cr > 0;
    notes.mixedLineEndings = (crlf > 0) + (lf > 0) + crBreaks > 1;
    // Most files have nothing to turn: no copy of them is made.
    if (cr == 0 && crlf == 0 && std::none_of(text.cbegin(), text.cend(), [](QChar c) { return breaksLine(c); })) {
        format.standIns.clear();
        return;
    }

    QVector<QPair<QChar, QChar>> standIns;
    const auto standInFor = [&](QChar original) {
        for (const auto &pair : std::as_const(standIns))
            if (pair.first == original)
                return pair.second;
        standIns.append({original, pickStandIn(original, text, standIns)});
        return standIns.last().second;
    };
    QString out;
    out.reserve(n);
    for (int i = 0; i < n; ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('\r')) {
            if (i + 1 < n && text.at(i + 1) == QLatin1Char('\n')) {
                out += QLatin1Char('\n');
                ++i;
            } else {
                out += crBreaks ? QLatin1Char('\n') : standInFor(c);
            }
        } else if (breaksLine(c)) {
            out += standInFor(c);
        } else {
            out += c;
        }
    }
    text = out;
    format.standIns = standIns;
}

// Lines longer than wholeLineLength become rows of pieceLength, each ending in the piece break.
void breakLongLines(QString &text, TextFileFormat &format)
{
    const int n = text.size();
    bool any = false;
    for (int start = 0; start < n && !any;) {
        int end = text.indexOf(QLatin1Char('\n'), start);
        if (end < 0)
            end = n;
        any = end - start > TextFile::wholeLineLength;
        start = end + 1;
    }
    if (!any)
        return;
    format.pieceBreak = pickStandIn(QChar(), text, format.standIns);
    QString out;
    out.reserve(n + n / TextFile::pieceLength * 2 + 2);
    for (int start = 0; start <= n;) {
        int end = text.indexOf(QLatin1Char('\n'), start);
        if (end < 0)
            end = n;
        if (end - start > TextFile::wholeLineLength) {
            int from = start;
            while (end - from > TextFile::pieceLength) {
                int to = from + TextFile::pieceLength;
                // A surrogate pair stays in one row.
                if (text.at(to - 1).isHighSurrogate())
                    --to;
                out.append(text.constData() + from, to - from);
                out += format.pieceBreak;
                out += QLatin1Char('\n');
                from = to;
            }
            out.append(text.constData() + from, end - from);
        } else {
            out.append(text.constData() + start, end - start);
        }
        if (end < n)
            out += QLatin1Char('\n');
        start = end + 1;
    }
    text = out;
}

} // namespace

namespace TextFile {

bool SyncToDisk(QFileDevice &file)
{
    if (!file.flush())
        return false;
    const int handle = file.handle();
    if (handle < 0)
        return true; // nothing below Qt to flush
#ifdef Q_OS_WIN
    return _commit(handle) == 0;
#else
    return ::fsync(handle) == 0;
#endif
}

} // namespace TextFile

namespace {

void setError(QString *errorString, const QString &message)
{
    if (errorString)
        *errorString = message;
}

} // namespace

TextFileFormat TextFileFormat::ForNewFile(bool utf8Preferred)
{
    TextFileFormat format;
    format.encoding = utf8Preferred || localeIsUtf8() ? TextEncoding::Utf8 : TextEncoding::Locale;
#ifdef Q_OS_WIN
    format.lineEnding = LineEnding::CrLf;
#endif
    return format;
}

QString TextFileFormat::EncodingName() const
{
    switch (encoding) {
    case TextEncoding::Utf8:
        return byteOrderMark ? QStringLiteral("UTF-8 with BOM") : QStringLiteral("UTF-8");
    case TextEncoding::Latin1:
        return QStringLiteral("Latin-1");
    case TextEncoding::Utf16Le:
        return QStringLiteral("UTF-16 LE");
    case TextEncoding::Utf16Be:
        return QStringLiteral("UTF-16 BE");
    case TextEncoding::Locale:
        break;
    }
    return QStringLiteral("System");
}

QString TextFileFormat::LineEndingName() const
{
    switch (lineEnding) {
    case LineEnding::CrLf:
        return QStringLiteral("CRLF");
    case LineEnding::Cr:
        return QStringLiteral("CR");
    case LineEnding::Lf:
        break;
    }
    return QStringLiteral("LF");
}

bool TextFileProbe::isLarge() const
{
    return size > TextFile::largeFileSize;
}

bool TextFileProbe::hasLongLine() const
{
    return longestLine > TextFile::longLineSize;
}

namespace TextFile {

TextFileProbe Probe(const QString &path)
{
    TextFileProbe probe;
    QFile file(path);
    probe.exists = file.exists();
    if (!probe.exists || !file.open(QIODevice::ReadOnly))
        return probe;
    probe.size = file.size();
    // A NUL anywhere makes a file binary, so a small file is read whole; a large one is asked
    // about for its size anyway.
    const qint64 limit = probe.isLarge() ? probeSize : probe.size;
    const bool utf16 = hasUtf16Mark(probe.size % 2 == 0 ? file.peek(2) : QByteArray());
    const bool littleEndian = utf16 && file.peek(1) == "\xFF";
    qint64 offset = 0, line = 0;
    const auto endOfLine = [&](ushort c) {
        if (c == '\n' || c == '\r') {
            probe.longestLine = std::max(probe.longestLine, line);
            line = 0;
        } else {
            ++line;
        }
    };
    while (offset < limit && !probe.looksBinary) {
        const QByteArray chunk = file.read(qMin<qint64>(1024 * 1024, limit - offset));
        if (chunk.isEmpty())
            break;
        if (utf16) {
            // Only a whole NUL character counts: every other byte of ASCII text is zero.
            for (int i = offset == 0 ? 2 : 0; i + 1 < chunk.size() && !probe.looksBinary; i += 2) {
                const auto a = uchar(chunk.at(i)), b = uchar(chunk.at(i + 1));
                probe.looksBinary = a == 0 && b == 0;
                endOfLine(littleEndian ? ushort(a | b << 8) : ushort(b | a << 8));
            }
        } else {
            probe.looksBinary = chunk.contains('\0');
            for (const char c : chunk)
                endOfLine(uchar(c));
        }
        offset += chunk.size();
    }
    probe.longestLine = std::max(probe.longestLine, line);
    return probe;
}

QString Decode(const QByteArray &bytes, bool utf8Preferred, TextFileFormat &format, TextFileNotes *notes)
{
    TextFileNotes found;
    format = TextFileFormat::ForNewFile(utf8Preferred);
    format.byteOrderMark = false;
    QString text;
    bool littleEndian = false;
    if (hasUtf16Mark(bytes, &littleEndian)) {
        text = decodeUtf16(bytes, littleEndian);
        format.encoding = littleEndian ? TextEncoding::Utf16Le : TextEncoding::Utf16Be;
        format.byteOrderMark = true;
    } else if (bytes.startsWith(utf8Bom) && decodeUtf8(bytes.mid(3), text)) {
        format.encoding = TextEncoding::Utf8;
        format.byteOrderMark = true;
    } else if (!utf8Preferred && !localeIsUtf8() && decodeLocale(bytes, text)) {
        format.encoding = TextEncoding::Locale;
    } else if (decodeUtf8(bytes, text)) {
        format.encoding = TextEncoding::Utf8;
    } else {
        text = QString::fromLatin1(bytes.constData(), bytes.size());
        format.encoding = TextEncoding::Latin1;
        found.fellBackToLatin1 = true;
    }
    if (text.isNull())
        text = QString::fromLatin1("");
    normaliseLineEndings(text, format, found);
    breakLongLines(text, format);
    if (notes)
        *notes = found;
    return text;
}

QByteArray Encode(const QString &text, TextFileFormat &format, TextFileNotes *notes)
{
    QString lines = WithoutPieceBreaks(text, format.pieceBreak);
    if (format.lineEnding == LineEnding::CrLf)
        lines.replace(QLatin1Char('\n'), QLatin1String("\r\n"));
    else if (format.lineEnding == LineEnding::Cr)
        lines.replace(QLatin1Char('\n'), QLatin1Char('\r'));
    for (const auto &pair : format.standIns)
        lines.replace(pair.second, pair.first);

    if (format.encoding == TextEncoding::Utf16Le || format.encoding == TextEncoding::Utf16Be)
        return encodeUtf16(lines, format.encoding == TextEncoding::Utf16Le);
    QByteArray bytes;
    bool changed = false;
    if (format.encoding == TextEncoding::Latin1) {
        if (fitsLatin1(lines))
            return lines.toLatin1();
        changed = true;
    } else if (format.encoding == TextEncoding::Locale) {
        bytes = lines.toLocal8Bit();
        if (QString::fromLocal8Bit(bytes.constData(), bytes.size()) == lines)
            return bytes;
        changed = true;
    }
    if (changed) {
        format.encoding = TextEncoding::Utf8;
        format.byteOrderMark = false;
        if (notes)
            notes->encodingChanged = true;
    }
    bytes = lines.toUtf8();
    if (format.byteOrderMark)
        bytes.prepend(utf8Bom);
    return bytes;
}

bool Read(const QString &path, bool utf8Preferred, QString &text, TextFileFormat &format, TextFileNotes *notes,
          QString *errorString)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        setError(errorString, file.errorString());
        return false;
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        setError(errorString, file.errorString());
        return false;
    }
    text = Decode(bytes, utf8Preferred, format, notes);
    return true;
}

QString WriteTarget(const QString &path)
{
    QString target = QFileInfo(path).absoluteFilePath();
    // A loop of links ends somewhere; the write then fails on the last one.
    for (int hops = 0; hops < 40; ++hops) {
        const QFileInfo info(target);
        if (!info.isSymLink())
            break;
        target = info.symLinkTarget();
    }
    return target;
}

namespace {

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// Writes `bytes` to a new file beside `target` and renames it over it.
bool replaceAtomically(const QString &target, const QFileInfo &existing, const QByteArray &bytes, QString *errorString)
{
    QSaveFile out(target);
    if (!out.open(QIODevice::WriteOnly)) {
        setError(errorString, errno ? systemError(errno) : out.errorString());
        return false;
    }
    if (existing.exists())
        out.setPermissions(existing.permissions());
    if (out.write(bytes) != bytes.size() || !SyncToDisk(out)) {
        setError(errorString, errno ? systemError(errno) : out.errorString());
        out.cancelWriting();
        out.commit(); // removes the partial copy beside the target
        return false;
    }
    if (!out.commit()) {
        setError(errorString, out.errorString());
        return false;
    }
    return true;
}

// Replacing the file would change what it is: another owner or group than ours, more than one
// name (hard links), or a folder where we may not make files. Then it is written in place.
bool mustWriteInPlace(const QString &target)
{
#ifdef Q_OS_WIN
    Q_UNUSED(target);
    return false;
#else
    struct stat info {};
    if (::stat(QFile::encodeName(target).constData(), &info) != 0)
        return false;
    const QByteArray folder = QFile::encodeName(QFileInfo(target).absolutePath());
    return info.st_nlink > 1 || info.st_uid != ::geteuid() || info.st_gid != ::getegid()
           || ::access(folder.constData(), W_OK) != 0;
#endif
}

bool overwrite(QFile &file, const QByteArray &bytes)
{
    file.unsetError();
    return file.seek(0) && file.write(bytes) == bytes.size() && file.resize(bytes.size()) && SyncToDisk(file);
}

// The old bytes are kept first (in `backupDirectory` when given, in memory always), so a write
// that fails half-way is undone; the copy goes once the new bytes are on disk.
bool writeInPlace(const QString &target, const QByteArray &bytes, const QString &backupDirectory, QString *errorString)
{
    QFile file(target);
    errno = 0;
    // Unbuffered: bytes a failed write left in a buffer must not follow the old ones back in.
    if (!file.open(QIODevice::ReadWrite | QIODevice::Unbuffered)) {
        setError(errorString, errno ? systemError(errno) : file.errorString());
        return false;
    }
    const QByteArray old = file.readAll();
    QString backup;
    if (!backupDirectory.isEmpty()) {
        const QByteArray name = QCryptographicHash::hash(target.toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
        backup = QStringLiteral("%1/backup_%2.ke2backup").arg(backupDirectory, QString::fromLatin1(name));
        QString backupError;
        if (!replaceAtomically(backup, QFileInfo(), old, &backupError)) {
            setError(errorString, QCoreApplication::translate("TextFile", "No copy of the old file could be kept (%1)")
                                      .arg(backupError));
            return false;
        }
    }
    errno = 0;
    if (overwrite(file, bytes)) {
        if (!backup.isEmpty())
            QFile::remove(backup);
        return true;
    }
    const QString why = errno ? systemError(errno) : file.errorString();
    if (overwrite(file, old)) {
        if (!backup.isEmpty())
            QFile::remove(backup);
        setError(errorString, why);
    } else {
        setError(errorString, QCoreApplication::translate("TextFile", "%1; the old file is kept in %2").arg(why, backup));
    }
    return false;
}

} // namespace

bool WriteBytes(const QString &path, const QByteArray &bytes, QString *errorString, const QString &backupDirectory)
{
    const QString target = WriteTarget(path);
    const QFileInfo existing(target);
    if (existing.exists() && !existing.isFile()) {
        setError(errorString, QCoreApplication::translate("TextFile", "Not a regular file"));
        return false;
    }
    if (existing.exists() && !existing.isWritable()) {
        // Renaming over it would succeed in a writable folder and silently drop the protection.
        setError(errorString, systemError(EACCES));
        return false;
    }
    if (existing.exists() && mustWriteInPlace(target))
        return writeInPlace(target, bytes, backupDirectory, errorString);
    errno = 0;
    return replaceAtomically(target, existing, bytes, errorString);
}

bool Write(const QString &path, const QString &text, TextFileFormat &format, TextFileNotes *notes,
           QString *errorString, const QString &backupDirectory)
{
    TextFileFormat encoded = format;
    TextFileNotes found;
    const QByteArray bytes = Encode(text, encoded, &found);
    if (!WriteBytes(path, bytes, errorString, backupDirectory))
        return false;
    format = encoded;
    if (notes)
        *notes = found;
    return true;
}

QString WithoutPieceBreaks(const QString &text, QChar pieceBreak)
{
    if (pieceBreak.isNull() || !text.contains(pieceBreak))
        return text;
    QString out = text;
    out.remove(QString(pieceBreak) + QLatin1Char('\n'));
    out.remove(pieceBreak);
    return out;
}

QString DocumentText(const QTextDocument &document)
{
    QString text = document.toRawText();
    text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
    return text;
}

} // namespace TextFile

} // namespace ke2
