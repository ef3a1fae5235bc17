#pragma once

#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <functional>
#include <memory>

class QSettings;

namespace ke2 {

// Reading and writing of the configuration INI files (QSettings notation), with two guarantees
// QSettings alone does not give:
// - a write replaces the file atomically: QSettings fills a temporary copy next to the file and
//   only a complete, flushed result is renamed over the old one, so a process killed mid-write
//   leaves the earlier file whole;
// - groups and keys appear in the order the caller lists (QSettings sorts them by name), so a
//   file reads in the same order as its description.
class IniFile {
public:
    // Group name and its keys, in file order. Groups and keys not listed follow, in QSettings's
    // order.
    using Layout = QVector<QPair<QString, QStringList>>;

    // Files larger than this are treated as unreadable: no configuration file comes near it, and
    // it keeps a stray huge file from stalling start-up.
    static constexpr qint64 maximumSize = 8 * 1024 * 1024;

    // QSettings on `path` for reading, or null when the path is empty, is not a regular readable
    // file or is too large. Callers then keep their defaults.
    static std::unique_ptr<QSettings> openForReading(const QString &path);

    // Runs `fill` on a QSettings holding the current content of `path` (values the caller does
    // not touch survive), then replaces the file. False, with the old file untouched, when the
    // path is empty or anything fails.
    static bool write(const QString &path, const std::function<void(QSettings &)> &fill,
                      const Layout &layout = Layout());

    // Testing aid: the following writes stop after `bytes` bytes of the final file, as a process
    // killed at that moment would (nothing after that point runs). Negative switches it off.
    static void simulateInterruptionAfter(qint64 bytes);

    // `text`, an INI file as QSettings writes it, with its groups and keys put in `layout` order.
    static QByteArray reorder(const QByteArray &text, const Layout &layout);
    // A key as QSettings spells it in an INI file ("Find/Replace" -> "Find\\Replace").
    static QByteArray escapedKey(const QString &key);
};

} // namespace ke2
