#include "views/outline_expanded_state.h"

#include "config/settings.h"

#include <QtCore/QDataStream>
#include <QtCore/QIODevice>

namespace ke2 {

namespace {
const quint32 stateMagic = 0x4b32'4f45; // tells our bytes from anything else stored there
const quint32 stateVersion = 1;
} // namespace

OutlineExpandedState &OutlineExpandedState::instance()
{
    static OutlineExpandedState state;
    return state;
}

void OutlineExpandedState::LoadOnce()
{
    if (m_loaded)
        return;
    m_loaded = true;
    Restore(Settings::instance().outlineState);
}

QSet<QString> OutlineExpandedState::Expanded(const QString &filePath)
{
    LoadOnce();
    return m_expanded.value(filePath);
}

void OutlineExpandedState::SetExpanded(const QString &filePath, const QSet<QString> &entries)
{
    LoadOnce();
    const auto found = m_expanded.constFind(filePath);
    if (found == m_expanded.constEnd() ? entries.isEmpty() : *found == entries)
        return;
    m_order.removeOne(filePath);
    if (entries.isEmpty()) {
        m_expanded.remove(filePath);
    } else {
        m_expanded.insert(filePath, entries);
        m_order.append(filePath);
        while (m_order.size() > maximumFiles)
            m_expanded.remove(m_order.takeFirst());
    }
    Settings::instance().outlineState = Serialize();
}

QString OutlineExpandedState::Key(const QStringList &textPath)
{
    // A newline cannot occur in an outline name, so the joined path is unambiguous.
    return textPath.join(QLatin1Char('\n'));
}

QByteArray OutlineExpandedState::Serialize() const
{
    if (m_order.isEmpty())
        return QByteArray();
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_5_15);
    out << stateMagic << stateVersion << quint32(m_order.size());
    for (const QString &file : m_order) {
        const QSet<QString> &entries = m_expanded[file];
        out << file << quint32(entries.size());
        for (const QString &entry : entries)
            out << entry;
    }
    return bytes;
}

void OutlineExpandedState::Restore(const QByteArray &bytes)
{
    m_loaded = true;
    m_expanded.clear();
    m_order.clear();
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_5_15);
    quint32 magic = 0, version = 0, files = 0;
    in >> magic >> version >> files;
    if (in.status() != QDataStream::Ok || magic != stateMagic || version != stateVersion)
        return;
    QHash<QString, QSet<QString>> expanded;
    QStringList order;
    // Counts come from a file: trust them only as far as the data really goes.
    for (quint32 f = 0; f < files && in.status() == QDataStream::Ok && !in.atEnd(); ++f) {
        QString file;
        quint32 count = 0;
        in >> file >> count;
        QSet<QString> entries;
        for (quint32 e = 0; e < count && in.status() == QDataStream::Ok && !in.atEnd(); ++e) {
            QString entry;
            in >> entry;
            entries.insert(entry);
        }
        if (in.status() != QDataStream::Ok)
            return;
        if (!entries.isEmpty() && !expanded.contains(file))
            order.append(file);
        if (!entries.isEmpty())
            expanded.insert(file, entries);
    }
    while (order.size() > maximumFiles)
        expanded.remove(order.takeFirst());
    m_expanded = expanded;
    m_order = order;
}

void OutlineExpandedState::Clear()
{
    m_expanded.clear();
    m_order.clear();
    m_loaded = true;
}

} // namespace ke2
