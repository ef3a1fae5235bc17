#include "shell/text_file.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>
#include <QtGui/QTextDocument>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <unistd.h>
#endif

namespace ke2 {

namespace {

const char utf8Bom[] = "\xEF\xBB\xBF";

bool localeIsUtf8()
{
    return QString::fromLocal8Bit("\xC3\xA9") == QString(QChar(0xE9));
}

// Strict: anything Qt would have to replace makes the bytes invalid.
bool decodeUtf8(const QByteArray &bytes, QString &text)
{
    text = QString::fromUtf8(bytes);
    return text.toUtf8() == bytes;
}

bool decodeLocale(const QByteArray &bytes, QString &text)
{
    text = QString::fromLocal8Bit(bytes);
    return text.toLocal8Bit() == bytes;
}

bool fitsLatin1(const QString &text)
{
    for (const QChar c : text) {
        if (c.unicode() > 0xFF)
            return false;
    }
    return true;
}

// Finds the dominant line ending and turns every line break into "\n".
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
    notes.mixedLineEndings = (crlf > 0) + (lf > 0) + (cr > 0) > 1;
    if (crlf > 0 && crlf >= lf && crlf >= cr)
        format.lineEnding = LineEnding::CrLf;
    else if (cr > lf)
        format.lineEnding = LineEnding::Cr;
    else if (lf > 0)
        format.lineEnding = LineEnding::Lf;
    if (crlf + cr == 0)
        return;
    text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
}

bool syncToDisk(QFileDevice &file)
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

namespace TextFile {

TextFileProbe Probe(const QString &path)
{
    TextFileProbe probe;
    QFile file(path);
    probe.exists = file.exists();
    if (!probe.exists || !file.open(QIODevice::ReadOnly))
        return probe;
    probe.size = file.size();
    probe.looksBinary = file.read(probeSize).contains('\0');
    return probe;
}

QString Decode(const QByteArray &bytes, bool utf8Preferred, TextFileFormat &format, TextFileNotes *notes)
{
    TextFileNotes found;
    format = TextFileFormat::ForNewFile(utf8Preferred);
    format.byteOrderMark = false;
    QString text;
    if (bytes.startsWith(utf8Bom) && decodeUtf8(bytes.mid(3), text)) {
        format.encoding = TextEncoding::Utf8;
        format.byteOrderMark = true;
    } else if (!utf8Preferred && !localeIsUtf8() && decodeLocale(bytes, text)) {
        format.encoding = TextEncoding::Locale;
    } else if (decodeUtf8(bytes, text)) {
        format.encoding = TextEncoding::Utf8;
    } else {
        text = QString::fromLatin1(bytes);
        format.encoding = TextEncoding::Latin1;
        found.fellBackToLatin1 = true;
    }
    if (text.isNull())
        text = QString::fromLatin1("");
    normaliseLineEndings(text, format, found);
    if (notes)
        *notes = found;
    return text;
}

QByteArray Encode(const QString &text, TextFileFormat &format, TextFileNotes *notes)
{
    QString lines = text;
    if (format.lineEnding == LineEnding::CrLf)
        lines.replace(QLatin1Char('\n'), QLatin1String("\r\n"));
    else if (format.lineEnding == LineEnding::Cr)
        lines.replace(QLatin1Char('\n'), QLatin1Char('\r'));

    QByteArray bytes;
    bool changed = false;
    if (format.encoding == TextEncoding::Latin1) {
        if (fitsLatin1(lines))
            return lines.toLatin1();
        changed = true;
    } else if (format.encoding == TextEncoding::Locale) {
        bytes = lines.toLocal8Bit();
        if (QString::fromLocal8Bit(bytes) == lines)
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

bool WriteBytes(const QString &path, const QByteArray &bytes, QString *errorString)
{
    const QString target = WriteTarget(path);
    const QFileInfo existing(target);
    if (existing.exists() && (!existing.isFile() || !existing.isWritable())) {
        // Renaming over it would succeed in a writable folder and silently drop the protection.
        setError(errorString, QCoreApplication::translate("TextFile", "The file is not writable"));
        return false;
    }
    QSaveFile out(target);
    if (!out.open(QIODevice::WriteOnly)) {
        setError(errorString, out.errorString());
        return false;
    }
    if (existing.exists())
        out.setPermissions(existing.permissions());
    if (out.write(bytes) != bytes.size() || !syncToDisk(out)) {
        setError(errorString, out.errorString());
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

bool Write(const QString &path, const QString &text, TextFileFormat &format, TextFileNotes *notes,
           QString *errorString)
{
    TextFileFormat encoded = format;
    TextFileNotes found;
    const QByteArray bytes = Encode(text, encoded, &found);
    if (!WriteBytes(path, bytes, errorString))
        return false;
    format = encoded;
    if (notes)
        *notes = found;
    return true;
}

QString DocumentText(const QTextDocument &document)
{
    QString text = document.toRawText();
    text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
    return text;
}

} // namespace TextFile

} // namespace ke2
