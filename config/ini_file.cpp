#include "config/ini_file.h"

#include "plugin/host_bridge.h"
#include "plugin/qt_compat.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QHash>
#include <QtCore/QLockFile>
#include <QtCore/QMap>
#include <QtCore/QSaveFile>
#include <QtCore/QSet>
#include <QtCore/QSettings>
#include <QtCore/QTemporaryFile>

#include <algorithm>
#include <new>

namespace ke2 {
namespace {

struct Section {
    QByteArray header; // empty for lines before the first header
    QByteArray name;
    QVector<QByteArray> lines;
};

QByteArray keyOfLine(const QByteArray &line)
{
    const int equals = line.indexOf('=');
    return (equals < 0 ? line : line.left(equals)).trimmed();
}

// Qt 6 reads and writes INI files as UTF-8; Qt 5 does the same once told, so files move freely
// between hosts built on either and hand-typed non-ASCII paths read back as typed.
using qtcompat::useUtf8;

using Values = QMap<QString, QVariant>;

// One logical line of an INI file: a section header, a key, or anything else (blank lines,
// comments, lines QSettings ignores), with its bytes as they stand.
struct Line {
    enum Kind { Other, Header, Key };
    Kind kind = Other;
    QByteArray bytes;  // without the line end; continuation lines included
    QByteArray end;    // the line end as it stands: "\r\n", "\n", or nothing after the last line
    QString section;   // the group it belongs to ("" at the top level)
    QString key;       // Key: the full key as QSettings names it
};

// The text cut at its line ends as QSettings cuts it: "\r\n", "\n" or a lone "\r".
QVector<QPair<QByteArray, QByteArray>> physicalLines(const QByteArray &text)
{
    QVector<QPair<QByteArray, QByteArray>> lines;
    int start = 0;
    for (int i = 0; i < text.size(); ++i) {
        const char c = text.at(i);
        if (c != '\n' && c != '\r')
            continue;
        const int endLength = c == '\r' && i + 1 < text.size() && text.at(i + 1) == '\n' ? 2 : 1;
        lines.append({text.mid(start, i - start), text.mid(i, endLength)});
        i += endLength - 1;
        start = i + 1;
    }
    if (start < text.size())
        lines.append({text.mid(start), QByteArray()});
    return lines;
}

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
// Qt 5's writer, given a text codec, converts each UTF-16 unit on its own, so a character outside
// the Basic Multilingual Plane (an emoji in a recent file's path) is written as "??" and lost.
// Written without a codec, every non-ASCII character is a "\xHHHH" escape instead, which loses
// nothing; this turns those escapes in the values back into UTF-8 so that the file stays readable.
// Keys are left alone: "\" there is a group separator, not an escape.
QByteArray valuesAsUtf8(const QByteArray &written)
{
    const auto hexDigit = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    };
    // As the reader takes an escape: every hex digit after "\x".
    const auto escapeAt = [&](const QByteArray &text, int at, int *end) {
        uint value = 0;
        int i = at + 2;
        while (i < text.size() && hexDigit(text.at(i)) && value <= 0xFFFF)
            value = value * 16 + uint(QByteArray(1, text.at(i++)).toUInt(nullptr, 16));
        *end = i;
        return i > at + 2 && (i >= text.size() || !hexDigit(text.at(i))) ? value : 0u;
    };
    QByteArray result;
    result.reserve(written.size());
    for (const auto &line : physicalLines(written)) {
        const QByteArray &bytes = line.first;
        const int equals = bytes.startsWith('[') ? -1 : bytes.indexOf('=');
        // Values Qt writes byte for byte, never through a codec, stay as written.
        const QByteArray value = equals < 0 ? QByteArray() : bytes.mid(equals + 1).trimmed();
        if (equals < 0 || value.startsWith("@ByteArray(") || value.startsWith("@Variant(")) {
            result += bytes + line.second;
            continue;
        }
        result += bytes.left(equals + 1);
        for (int i = equals + 1; i < bytes.size(); ++i) {
            const char c = bytes.at(i);
            if (c != '\\' || i + 1 >= bytes.size()) {
                result += c;
                continue;
            }
            int end = 0;
            const uint value = bytes.at(i + 1) == 'x' ? escapeAt(bytes, i, &end) : 0u;
            if (QChar::isHighSurrogate(value) && end + 1 < bytes.size() && bytes.at(end) == '\\'
                && bytes.at(end + 1) == 'x') {
                int lowEnd = 0;
                const uint low = escapeAt(bytes, end, &lowEnd);
                if (QChar::isLowSurrogate(low)) {
                    const char32_t pair = QChar::surrogateToUcs4(char16_t(value), char16_t(low));
                    result += QString::fromUcs4(&pair, 1).toUtf8();
                    i = lowEnd - 1;
                    continue;
                }
            }
            if (value >= 0x80 && !QChar::isSurrogate(value)) {
                result += QString(QChar(char16_t(value))).toUtf8();
                i = end - 1;
                continue;
            }
            // Anything else (an escaped backslash or quote, a control character) stays as written.
            result += c;
            result += bytes.at(++i);
        }
        result += line.second;
    }
    return result;
}
#endif

QVector<Line> splitLines(const QByteArray &text)
{
    QVector<Line> lines;
    QString section;
    const QVector<QPair<QByteArray, QByteArray>> physical = physicalLines(text);
    for (int i = 0; i < physical.size(); ++i) {
        QByteArray bytes = physical.at(i).first;
        QByteArray end = physical.at(i).second;
        // A value ending in a backslash goes on on the next line.
        while (bytes.endsWith('\\') && i + 1 < physical.size()) {
            bytes += end + physical.at(++i).first;
            end = physical.at(i).second;
        }
        Line line;
        line.end = end;
        line.bytes = bytes;
        const QByteArray trimmed = bytes.trimmed();
        if (trimmed.startsWith('[')) {
            const int close = trimmed.indexOf(']');
            if (close > 0) {
                section = IniFile::unescapedKey(trimmed.mid(1, close - 1).trimmed());
                if (section.compare(QLatin1String("general"), Qt::CaseInsensitive) == 0)
                    section.clear();
                line.kind = Line::Header;
            }
        } else if (!trimmed.startsWith(';') && trimmed.contains('=')) {
            const QString key = IniFile::unescapedKey(keyOfLine(trimmed));
            if (!key.isEmpty()) {
                line.kind = Line::Key;
                line.key = section.isEmpty() ? key : section + QLatin1Char('/') + key;
            }
        }
        line.section = section;
        lines.append(line);
    }
    return lines;
}

// Every value of an INI file as QSettings reads it. False when QSettings cannot make sense of the
// file (or a forged value asks for absurd memory). `clean`: whether every line was a setting, a
// group or a comment; a stray line is noticed only while the values are read.
bool readValues(const QString &path, Values &values, bool *clean = nullptr)
{
    values.clear();
    try {
        QSettings settings(path, QSettings::IniFormat);
        useUtf8(settings);
        if (settings.status() != QSettings::NoError)
            return false;
        for (const QString &key : settings.allKeys())
            values.insert(key, settings.value(key));
        if (clean)
            *clean = settings.status() == QSettings::NoError;
    } catch (const std::bad_alloc &) {
        values.clear();
        return false;
    }
    return true;
}

// `original` with the lines of changed keys replaced by their lines in `generated`, removed keys
// dropped and new keys added to their groups; every other line is kept as it stands.
QByteArray merge(const QByteArray &original, const Values &before, const Values &after, const QByteArray &generated)
{
    const QByteArray eol = original.contains("\r\n") ? QByteArray("\r\n") : QByteArray("\n");
    QHash<QString, QByteArray> newLines;
    QHash<QString, QString> newSections;
    QVector<QString> newOrder;
    QHash<QString, QByteArray> newHeaders;
    for (const Line &line : splitLines(generated)) {
        if (line.kind == Line::Key) {
            newLines.insert(line.key, line.bytes);
            newSections.insert(line.key, line.section);
            newOrder.append(line.key);
        } else if (line.kind == Line::Header) {
            newHeaders.insert(line.section, line.bytes);
        }
    }

    // Kept lines keep their own line ends (a file may mix them, or lack the last one); new lines
    // take the file's.
    struct OutLine {
        QByteArray bytes;
        QByteArray end;
    };
    QVector<OutLine> out;
    QSet<QString> written;
    QHash<QString, int> insertAt; // per group: the index after its last line in `out`
    for (const Line &line : splitLines(original)) {
        if (line.kind == Line::Key) {
            // A line whose key QSettings did not see the same way is not ours to judge: it stays.
            if (!before.contains(line.key)) {
                out.append({line.bytes, line.end});
            } else if (!after.contains(line.key)) {
                continue; // removed
            } else if (qtcompat::sameIniValue(before.value(line.key), after.value(line.key))) {
                out.append({line.bytes, line.end});
                written.insert(line.key);
            } else if (!written.contains(line.key)) {
                out.append({newLines.value(line.key), line.end});
                written.insert(line.key);
            } else {
                continue; // a repeated key that changed: its first line carries the value
            }
            insertAt.insert(line.section, out.size());
        } else {
            out.append({line.bytes, line.end});
            if (line.kind == Line::Header)
                insertAt.insert(line.section, out.size());
        }
    }

    QMap<int, QVector<QByteArray>> inserted;
    QVector<QByteArray> appended;
    QString appendedSection = QStringLiteral("\n"); // no group has this name
    for (const QString &key : qAsConst(newOrder)) {
        if (written.contains(key) || !after.contains(key))
            continue;
        // An unchanged key whose line was spelled in a way not recognised here is still in the
        // file: only new and changed keys are added.
        if (before.contains(key) && qtcompat::sameIniValue(before.value(key), after.value(key)))
            continue;
        const QString section = newSections.value(key);
        if (insertAt.contains(section)) {
            inserted[insertAt.value(section)].append(newLines.value(key));
            continue;
        }
        if (section != appendedSection) {
            if (!appended.isEmpty() || !out.isEmpty())
                appended.append(QByteArray());
            if (newHeaders.contains(section))
                appended.append(newHeaders.value(section));
            appendedSection = section;
        }
        appended.append(newLines.value(key));
    }

    QByteArray result;
    // A line without an end (the file's last) gets one only when something follows it.
    auto add = [&](const QByteArray &bytes, const QByteArray &end) {
        if (!result.isEmpty() && !result.endsWith('\n') && !result.endsWith('\r'))
            result += eol;
        result += bytes + end;
    };
    for (int i = 0; i <= out.size(); ++i) {
        for (const QByteArray &line : inserted.value(i))
            add(line, eol);
        if (i < out.size())
            add(out.at(i).bytes, out.at(i).end);
    }
    while (!appended.isEmpty() && result.endsWith(eol + eol) && appended.first().isEmpty())
        appended.removeFirst();
    for (const QByteArray &line : qAsConst(appended))
        add(line, eol);
    return result;
}

// Whether `bytes`, read as a settings file, still hold every key of `after`, the new values of
// those that changed since `baseline` and the old readings (`before`) of the others, and, when the
// file was `clean` before, no stray line either. An unclosed quote can swallow the lines after
// it: a changed line may then be part of another key's value, or uncover a line.
bool readsBackAs(const QByteArray &bytes, const Values &before, const Values &baseline, const Values &after,
                 const QString &tempTemplate, bool clean)
{
    QTemporaryFile check(tempTemplate);
    if (!check.open() || check.write(bytes) != bytes.size() || !check.flush())
        return false;
    Values read;
    bool readClean = false;
    if (!readValues(check.fileName(), read, &readClean) || (clean && !readClean))
        return false;
    for (auto it = after.cbegin(); it != after.cend(); ++it) {
        if (!read.contains(it.key()))
            return false;
        const bool changed = !baseline.contains(it.key()) || !qtcompat::sameIniValue(baseline.value(it.key()), it.value());
        // An empty list reads back as no value at all; both are empty.
        const auto empty = [](const QVariant &v) { return v.toString().isEmpty() && v.toStringList().join(QString()).isEmpty(); };
        if (changed && !qtcompat::sameIniValue(read.value(it.key()), it.value()) &&
            !(empty(read.value(it.key())) && empty(it.value())))
            return false;
        if (!changed && before.contains(it.key()) && !qtcompat::sameIniValue(read.value(it.key()), before.value(it.key())))
            return false;
    }
    return true;
}

// Moves an unreadable file out of the way, keeping it for the user; false when even that fails.
bool setAside(const QString &path)
{
    const QString aside = QStringLiteral("%1.unreadable-%2").arg(path, QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss")));
    if (!QFile::rename(path, aside))
        return false;
    HostBridge::showWarning(QStringLiteral("Could not read %1; it was kept as %2 and a new file was written")
                                .arg(QDir::toNativeSeparators(path), QDir::toNativeSeparators(aside)));
    return true;
}

} // namespace

std::unique_ptr<QSettings> IniFile::openForReading(const QString &path)
{
    if (path.isEmpty())
        return nullptr;
    // A pipe or a device would block or never end; only a regular file is read.
    const QFileInfo info(path);
    if (!info.isFile() || !info.isReadable())
        return nullptr;
    auto settings = std::make_unique<QSettings>(path, QSettings::IniFormat);
    useUtf8(*settings);
    return settings;
}

namespace {
// A writer killed between creating the lock file and writing its owner into it leaves an empty
// file that names no process; the lock's own stale check would then wait out its 30 seconds.
// Such a file that has not changed for a while belongs to nobody and is removed.
bool acquire(QLockFile &lock, const QString &lockPath)
{
    QElapsedTimer waited;
    waited.start();
    for (;;) {
        if (lock.tryLock(250))
            return true;
        if (lock.error() != QLockFile::LockFailedError)
            return false;
        qint64 pid = 0;
        QString host, app;
        if (!lock.getLockInfo(&pid, &host, &app)) {
            const QFileInfo info(lockPath);
            if (info.exists() && info.lastModified().msecsTo(QDateTime::currentDateTime()) > 2000)
                lock.removeStaleLockFile();
        }
        if (waited.elapsed() >= IniFile::lockWaitMilliseconds)
            return false;
    }
}
} // namespace

bool IniFile::write(const QString &path, const std::function<void(QSettings &)> &fill, const Layout &layout)
{
    if (path.isEmpty())
        return false;
    const QFileInfo target(path);
    if (target.exists() && !target.isFile())
        return false;
    if (!QDir().mkpath(target.absolutePath()))
        return false;

    // Another session may be writing the same file: read, change and replace it under one lock
    // (the one QSettings itself takes, so its own writers respect it too).
    QLockFile lock(path + QStringLiteral(".lock"));
    if (!acquire(lock, path + QStringLiteral(".lock"))) {
        if (lock.error() != QLockFile::LockFailedError)
            return false; // the folder is not writable: nothing could be written anyway
        HostBridge::showWarning(QStringLiteral("Could not write %1: another program has held its lock file %2 for %3 "
                                               "seconds; the file was left as it was")
                                    .arg(QDir::toNativeSeparators(path),
                                         QDir::toNativeSeparators(path + QStringLiteral(".lock")))
                                    .arg(lockWaitMilliseconds / 1000));
        return false;
    }

    // Both readings go through files of fresh names: QSettings caches what it read per path and
    // could take another process's same-sized replacement for the file it already knows.
    const QString tempTemplate = target.absolutePath() + QLatin1Char('/') + target.fileName() + QStringLiteral(".XXXXXX.tmp");
    QTemporaryFile current(tempTemplate), temp(tempTemplate);
    if (!current.open() || !temp.open())
        return false;
    QByteArray original;
    Values before;
    bool originalClean = true;
    if (target.exists()) {
        QFile in(path);
        bool read = in.open(QIODevice::ReadOnly);
        if (read) {
            original = in.readAll();
            read = in.error() == QFileDevice::NoError && current.write(original) == original.size() && current.flush();
        }
        if (!read || !readValues(current.fileName(), before, &originalClean)) {
            if (!setAside(path))
                return false; // never replace what we could not read
            original.clear();
            before.clear();
        }
    }

    const QString tempPath = temp.fileName();
    temp.close();
    // The old values as QSettings itself writes and reads them back (it normalises some keys,
    // "a/" to "a" for one): what the caller changed is measured against this, so that such a key
    // is neither dropped nor added by a write that did not touch it.
    QTemporaryFile baselineFile(tempTemplate);
    if (!baselineFile.open())
        return false;
    const QString baselinePath = baselineFile.fileName();
    baselineFile.close();
    Values baseline, after;
    try {
        for (const QString &scratch : {baselinePath, tempPath}) {
            {
                QSettings settings(scratch, QSettings::IniFormat);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
                useUtf8(settings);
#endif
                for (auto it = before.cbegin(); it != before.cend(); ++it)
                    settings.setValue(it.key(), it.value());
                if (scratch == tempPath)
                    fill(settings);
                settings.sync();
                if (settings.status() != QSettings::NoError)
                    return false;
            }
            if (!readValues(scratch, scratch == tempPath ? after : baseline))
                return false;
        }
    } catch (const std::bad_alloc &) {
        return false;
    }
    QFile written(tempPath);
    if (!written.open(QIODevice::ReadOnly))
        return false;
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    const QByteArray generated = reorder(valuesAsUtf8(written.readAll()), layout);
#else
    const QByteArray generated = reorder(written.readAll(), layout);
#endif
    QByteArray result = original.isEmpty() ? generated : merge(original, baseline, after, generated);
    if (result == original && target.exists())
        return true;
    // A hand-broken line (an unclosed quote, say) can swallow a line added after it: a merge that
    // does not read back as intended gives way to the plain rewrite, with the old bytes kept
    // beside the file.
    if (result != generated && !readsBackAs(result, before, baseline, after, tempTemplate, originalClean)) {
        const QString backup = path + QStringLiteral(".bak");
        QFile::remove(backup);
        if (!QFile::copy(path, backup))
            return false;
        result = generated;
    }

    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    if (out.write(result) != result.size())
        return false; // QSaveFile discards everything when not committed
    return out.commit();
}

QByteArray IniFile::escapedKey(const QString &key)
{
    static const char hex[] = "0123456789ABCDEF";
    QByteArray result;
    for (const QChar c : key) {
        const ushort ch = c.unicode();
        if (ch == '/') {
            result += '\\';
        } else if ((ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') || ch == '_'
                   || ch == '-' || ch == '.') {
            result += char(ch);
        } else if (ch <= 0xFF) {
            result += '%';
            result += hex[ch / 16];
            result += hex[ch % 16];
        } else {
            result += "%U";
            for (int shift = 12; shift >= 0; shift -= 4)
                result += hex[(ch >> shift) & 0xF];
        }
    }
    return result;
}

QString IniFile::unescapedKey(const QByteArray &spelling)
{
    // As QSettings reads keys: "\\" is "/", "%XX" and "%UXXXX" are character codes, anything
    // else is taken byte by byte.
    QString result;
    const int size = spelling.size();
    for (int i = 0; i < size;) {
        const char ch = spelling.at(i);
        if (ch == '\\') {
            result += QLatin1Char('/');
            ++i;
            continue;
        }
        if (ch != '%' || i == size - 1) {
            result += QChar(uchar(ch));
            ++i;
            continue;
        }
        const bool wide = spelling.at(i + 1) == 'U';
        const int digits = wide ? 4 : 2;
        const int first = i + 1 + (wide ? 1 : 0);
        bool ok = false;
        const ushort code = first + digits <= size ? spelling.mid(first, digits).toUShort(&ok, 16) : 0;
        if (!ok) {
            result += QLatin1Char('%');
            ++i;
            continue;
        }
        result += QChar(code);
        i = first + digits;
    }
    return result;
}

QByteArray IniFile::reorder(const QByteArray &text, const Layout &layout)
{
    const QByteArray eol = text.contains("\r\n") ? QByteArray("\r\n") : QByteArray("\n");
    QVector<Section> sections(1);
    for (QByteArray line : text.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.trimmed().isEmpty())
            continue;
        if (line.startsWith('[')) {
            Section section;
            section.header = line;
            const int close = line.lastIndexOf(']');
            section.name = line.mid(1, close > 0 ? close - 1 : -1);
            sections.append(section);
        } else {
            sections.last().lines.append(line);
        }
    }

    auto rank = [](const QVector<QByteArray> &order, const QByteArray &name) {
        const int index = order.indexOf(name);
        return index < 0 ? order.size() : index;
    };
    QVector<QByteArray> groupOrder;
    for (const auto &group : layout)
        groupOrder.append(escapedKey(group.first));
    // Lines before any header (QSettings writes none, but a copied file might have them) stay first.
    std::stable_sort(sections.begin() + 1, sections.end(), [&](const Section &a, const Section &b) {
        return rank(groupOrder, a.name) < rank(groupOrder, b.name);
    });

    QByteArray result;
    for (Section &section : sections) {
        if (section.header.isEmpty() && section.lines.isEmpty())
            continue;
        const int g = groupOrder.indexOf(section.name);
        if (g >= 0 && !section.header.isEmpty()) {
            QVector<QByteArray> keyOrder;
            for (const QString &key : layout.at(g).second)
                keyOrder.append(escapedKey(key));
            std::stable_sort(section.lines.begin(), section.lines.end(), [&](const QByteArray &a, const QByteArray &b) {
                return rank(keyOrder, keyOfLine(a)) < rank(keyOrder, keyOfLine(b));
            });
        }
        if (!result.isEmpty())
            result += eol;
        if (!section.header.isEmpty())
            result += section.header + eol;
        for (const QByteArray &line : section.lines)
            result += line + eol;
    }
    return result;
}

} // namespace ke2
