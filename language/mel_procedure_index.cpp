#include "language/mel_procedure_index.h"

#include <QtGui/QTextDocument>

namespace ke2 {

namespace {
QHash<QString, MelProcedure> byName(const QVector<MelProcedure> &procedures)
{
    QHash<QString, MelProcedure> table;
    for (const MelProcedure &procedure : procedures) {
        if (!table.contains(procedure.name))
            table.insert(procedure.name, procedure);
    }
    return table;
}
} // namespace

int MelProcedureIndex::readLength = 1024 * 1024;

MelProcedureIndex &MelProcedureIndex::instance()
{
    static MelProcedureIndex index;
    return index;
}

void MelProcedureIndex::Add(QTextDocument *document)
{
    for (const Entry &entry : qAsConst(m_entries)) {
        if (entry.document == document)
            return;
    }
    Entry entry;
    entry.document = document;
    m_entries.append(entry);
}

void MelProcedureIndex::Remove(QTextDocument *document)
{
    for (int i = m_entries.size() - 1; i >= 0; --i) {
        if (!m_entries.at(i).document || m_entries.at(i).document == document)
            m_entries.remove(i);
    }
}

void MelProcedureIndex::Store(QTextDocument *document, const QVector<MelProcedure> &procedures)
{
    for (Entry &entry : m_entries) {
        if (entry.document == document) {
            entry.revision = document->revision();
            entry.procedures = byName(procedures);
            return;
        }
    }
}

void MelProcedureIndex::Refresh()
{
    for (int i = m_entries.size() - 1; i >= 0; --i) {
        Entry &entry = m_entries[i];
        if (!entry.document) {
            m_entries.remove(i);
            continue;
        }
        if (entry.revision == entry.document->revision() || entry.document->characterCount() > readLength)
            continue;
        entry.revision = entry.document->revision();
        entry.procedures = byName(MelLinter(entry.document->toPlainText()).Procedures());
    }
}

bool MelProcedureIndex::Defines(const QString &name)
{
    Refresh();
    for (const Entry &entry : qAsConst(m_entries)) {
        if (entry.procedures.contains(name))
            return true;
    }
    return false;
}

MelProcedure MelProcedureIndex::Find(const QString &name)
{
    Refresh();
    for (const Entry &entry : qAsConst(m_entries)) {
        auto found = entry.procedures.constFind(name);
        if (found != entry.procedures.constEnd())
            return *found;
    }
    return {};
}

} // namespace ke2
