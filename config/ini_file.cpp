#include "config/ini_file.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>
#include <QtCore/QSettings>
#include <QtCore/QTemporaryFile>

#include <algorithm>
#include <new>

namespace ke2 {
namespace {

qint64 g_interruptAfter = -1;

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

// Copies the current file into the temporary one, byte for byte.
bool copyInto(const QString &source, const QString &target)
{
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly))
        return false;
    const QByteArray data = in.readAll();
    QFile out(target);
    return out.open(QIODevice::WriteOnly | QIODevice::Truncate) && out.write(data) == data.size();
}

// Qt 6 reads and writes INI files as UTF-8; Qt 5 does the same once told, so files move freely
// between hosts built on either and hand-typed non-ASCII paths read back as typed.
void useUtf8(QSettings &settings)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    settings.setIniCodec("UTF-8");
#else
    Q_UNUSED(settings);
#endif
}

} // namespace

std::unique_ptr<QSettings> IniFile::openForReading(const QString &path)
{
    if (path.isEmpty())
        return nullptr;
    const QFileInfo info(path);
    if (!info.isFile() || !info.isReadable() || info.size() > maximumSize)
        return nullptr;
    auto settings = std::make_unique<QSettings>(path, QSettings::IniFormat);
    useUtf8(*settings);
    return settings;
}

bool IniFile::write(const QString &path, const std::function<void(QSettings &)> &fill, const Layout &layout)
{
    if (path.isEmpty())
        return false;
    const QFileInfo target(path);
    if (target.exists() && !target.isFile())
        return false;

    QTemporaryFile temp(target.absolutePath() + QLatin1Char('/') + target.fileName() + QStringLiteral(".XXXXXX.tmp"));
    if (!temp.open())
        return false;
    const QString tempPath = temp.fileName();
    temp.close();

    QByteArray result;
    // Twice at most: a current file that QSettings cannot parse is replaced rather than kept.
    for (bool keepCurrent : {true, false}) {
        if (keepCurrent) {
            if (!target.isFile() || target.size() > maximumSize || !copyInto(path, tempPath))
                continue;
        } else {
            QFile blank(tempPath);
            if (!blank.open(QIODevice::WriteOnly | QIODevice::Truncate))
                return false;
        }
        bool ok = false;
        try {
            QSettings settings(tempPath, QSettings::IniFormat);
            useUtf8(settings);
            if (settings.status() != QSettings::NoError)
                continue;
            fill(settings);
            settings.sync();
            ok = settings.status() == QSettings::NoError;
        } catch (const std::bad_alloc &) {
            ok = false; // a corrupt value in the current file asked for absurd memory
        }
        if (!ok)
            continue;
        QFile written(tempPath);
        if (!written.open(QIODevice::ReadOnly))
            return false;
        result = written.readAll();
        break;
    }
    if (result.isNull())
        return false;

    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    const QByteArray ordered = reorder(result, layout);
    if (g_interruptAfter >= 0) {
        out.write(ordered.left(g_interruptAfter));
        out.flush();
        return false; // never committed: QSaveFile drops the partial copy
    }
    if (out.write(ordered) != ordered.size())
        return false; // QSaveFile discards everything when not committed
    return out.commit();
}

void IniFile::simulateInterruptionAfter(qint64 bytes)
{
    g_interruptAfter = bytes;
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
