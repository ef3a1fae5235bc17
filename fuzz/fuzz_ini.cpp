// The settings files' reader and writer on any file: writing nothing leaves the file's bytes as
// they were; changing one value gives back every other value as it was read, and every line that
// does not carry the changed key survives, in order.

#include "config/ini_file.h"
#include "fuzz/fuzz_support.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSettings>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTextCodec>

using namespace ke2;

namespace {

QTemporaryDir &folder()
{
    static QTemporaryDir dir;
    return dir;
}

void put(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    KE2_FUZZ_CHECK(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size(),
                   "cannot write the scratch file");
}

QByteArray get(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Every value of `bytes` read as the editor reads its settings, through a file of a fresh name
// (QSettings caches what it read per path).
bool values(const QByteArray &bytes, QMap<QString, QVariant> &out)
{
    static int serial = 0;
    const QString path = folder().filePath(QStringLiteral("read%1.ini").arg(++serial));
    put(path, bytes);
    bool ok = false;
    {
        auto settings = IniFile::openForReading(path);
        if (settings && settings->status() == QSettings::NoError) {
            out.clear();
            for (const QString &key : settings->allKeys())
                out.insert(key, settings->value(key));
            ok = settings->status() == QSettings::NoError;
        }
    }
    QFile::remove(path);
    return ok;
}

// The lines as the reader cuts them: at "\r\n", "\n" or a lone "\r". The last line gains a line
// end when something is added after it; that is no change of it.
QList<QByteArray> lines(const QByteArray &bytes)
{
    QList<QByteArray> result;
    int start = 0;
    for (int i = 0; i < bytes.size(); ++i) {
        if (bytes.at(i) != '\n' && bytes.at(i) != '\r')
            continue;
        result.append(bytes.mid(start, i - start));
        if (bytes.at(i) == '\r' && i + 1 < bytes.size() && bytes.at(i + 1) == '\n')
            ++i;
        start = i + 1;
    }
    if (start < bytes.size())
        result.append(bytes.mid(start));
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const std::string keyBytes = input.ConsumeRandomLengthString(24);
    const std::string valueBytes = input.ConsumeRandomLengthString(64);
    const std::string fileBytes = input.ConsumeRemainingBytesAsString();
    const QByteArray original(fileBytes.data(), int(fileBytes.size()));
    QString key = ke2fuzz::text(keyBytes).simplified();
    const QString value = ke2fuzz::text(valueBytes);
    // QSettings keys: no empty segments, no backslash (it reads as a group separator).
    if (key.isEmpty() || key.contains(QLatin1Char('\\')) || key.contains(QLatin1String("//")) ||
        key.startsWith(QLatin1Char('/')) || key.endsWith(QLatin1Char('/')))
        return 0;

    // Settings files are UTF-8 text. Invalid bytes and NULs do reach the reader (it must not
    // crash on them, and the lines holding them are kept), but the reader's own decoding of them
    // is not stable enough to compare values across a write.
    const QString decoded = ke2fuzz::text(fileBytes);
    if (decoded.toUtf8() != original || original.contains('\0'))
        return 0;

    QMap<QString, QVariant> before;
    if (!values(original, before))
        return 0; // an unreadable file is set aside, never rewritten: nothing to compare
    // Keys QSettings itself cannot write ("", "a/") are kept as lines, not compared as values.
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        if (it.key().isEmpty() || it.key().endsWith(QLatin1Char('/')) || it.key().startsWith(QLatin1Char('/')) ||
            it.key().contains(QLatin1String("//")))
            return 0;
    }
    const QString path = folder().filePath(QStringLiteral("settings.ini"));
    put(path, original);

    KE2_FUZZ_CHECK(IniFile::write(path, [](QSettings &) {}), "a write that changes nothing failed");
    const QByteArray unchanged = get(path);
    KE2_FUZZ_CHECK(unchanged == original, "a write that changes nothing changed the file's bytes:\n  before: %s\n  after:  %s",
                   original.toPercentEncoding(" =[]").constData(), unchanged.toPercentEncoding(" =[]").constData());

    const QString backup = path + QStringLiteral(".bak");
    QFile::remove(backup);
    if (!IniFile::write(path, [&](QSettings &settings) { settings.setValue(key, value); }))
        return 0;
    const QByteArray written = get(path);
    QMap<QString, QVariant> after;
    KE2_FUZZ_CHECK(values(written, after), "the writer's own file cannot be read back");
    QMap<QString, QVariant> expected = before;
    expected.insert(key, value);
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        KE2_FUZZ_CHECK(after.contains(it.key()), "key '%s' was lost", qPrintable(it.key()));
        if (it.key() == key)
            KE2_FUZZ_CHECK(after.value(key).toString() == value, "the new value of '%s' reads back as '%s'",
                           qPrintable(key), qPrintable(after.value(key).toString()));
        else
            KE2_FUZZ_CHECK(after.value(it.key()) == it.value(), "the untouched value of '%s' changed",
                           qPrintable(it.key()));
    }

    // A file whose lines cannot all be kept in place (a hand-broken line would swallow the new
    // one) is rewritten whole, with its old bytes kept beside it.
    if (QFile::exists(backup)) {
        KE2_FUZZ_CHECK(get(backup) == original, "the backup does not hold the old bytes");
        return 0;
    }
    // Lines of the original missing from the result, in order, may only be lines of the key.
    const QString leaf = key.section(QLatin1Char('/'), -1);
    const QList<QByteArray> newLines = lines(written);
    int at = 0;
    for (const QByteArray &line : lines(original)) {
        // A line of the changed key may go (a repeated key keeps only its first line); blank
        // lines around a new group are the writer's to arrange.
        if (line.trimmed().isEmpty())
            continue;
        const int equals = line.indexOf('=');
        if (equals >= 0 && IniFile::unescapedKey(line.left(equals).trimmed()) == leaf)
            continue;
        int found = at;
        while (found < newLines.size() && newLines.at(found) != line)
            ++found;
        KE2_FUZZ_CHECK(found < newLines.size(), "the line '%s', which does not carry '%s', was not kept in place",
                       line.constData(), qPrintable(key));
        at = found + 1;
    }
    return 0;
}
