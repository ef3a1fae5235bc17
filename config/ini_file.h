#pragma once

#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <functional>
#include <memory>

class QSettings;

namespace ke2 {

// Reading and writing of the configuration INI files (QSettings notation), with guarantees
// QSettings alone does not give:
// - a write replaces the file atomically: only a complete, flushed result is renamed over the old
//   one, so a process killed mid-write leaves the earlier file whole;
// - a write changes only the lines of the values that changed: every other line (values the
//   program did not change, bytes QSettings would re-encode, comments, the user's order) is kept
//   byte for byte;
// - the read-modify-write runs under a lock file shared by every process, so two sessions writing
//   the same file at once keep each other's keys;
// - a file that cannot be read is never overwritten: it is renamed aside, with a warning, first;
// - groups and keys of a new file appear in the order the caller lists (QSettings sorts them by
//   name), so a file reads in the same order as its description; new keys of an existing file
//   join their group in that order.
class IniFile {
public:
    // Group name and its keys, in file order. Groups and keys not listed follow, in QSettings's
    // order.
    using Layout = QVector<QPair<QString, QStringList>>;

    // How long a write waits for another process's lock before giving up with a warning.
    static constexpr int lockWaitMilliseconds = 10000;

    // QSettings on `path` for reading, or null when the path is empty or is not a regular readable
    // file (a folder, a pipe, a device). Callers then keep their defaults.
    static std::unique_ptr<QSettings> openForReading(const QString &path);

    // Runs `fill` on a QSettings holding the current values of `path`, then writes the lines that
    // changed. False, with the file untouched, when the path is empty, the lock cannot be had or
    // anything fails.
    static bool write(const QString &path, const std::function<void(QSettings &)> &fill,
                      const Layout &layout = Layout());

    // `text`, an INI file as QSettings writes it, with its groups and keys put in `layout` order.
    static QByteArray reorder(const QByteArray &text, const Layout &layout);
    // A key as QSettings spells it in an INI file ("Find/Replace" -> "Find\\Replace").
    static QByteArray escapedKey(const QString &key);
    // The key an INI file's spelling stands for, as QSettings reads it (the reverse of the above).
    static QString unescapedKey(const QByteArray &spelling);
};

} // namespace ke2
