#include "shell/file_change_tracker.h"

#include <QtCore/QFileInfo>

#include <utility>

namespace ke2 {

FileChangeTracker::Stamp FileChangeTracker::StampOf(const QString &path)
{
    const QFileInfo info(path);
    Stamp stamp;
    if (info.exists()) {
        stamp.size = info.size();
        stamp.modified = info.lastModified();
    }
    return stamp;
}

void FileChangeTracker::AddOwnWrite(const QString &path)
{
    if (!m_ownWrites.contains(path))
        m_ownWrites.append(path);
    m_known.insert(path, StampOf(path));
}

void FileChangeTracker::Forget(const QString &path)
{
    m_known.remove(path);
    m_changed.removeAll(path);
    m_ownWrites.removeAll(path);
}

void FileChangeTracker::AddChangedPath(const QString &path)
{
    if (!m_changed.contains(path))
        m_changed.append(path);
}

QStringList FileChangeTracker::TakeOutsideChanges()
{
    QStringList outside;
    for (const QString &path : std::as_const(m_changed)) {
        const auto known = m_known.constFind(path);
        const bool ours = known != m_known.constEnd() ? *known == StampOf(path) : m_ownWrites.contains(path);
        if (!ours)
            outside.append(path);
    }
    Clear();
    return outside;
}

void FileChangeTracker::Clear()
{
    m_changed.clear();
    m_ownWrites.clear();
}

} // namespace ke2
