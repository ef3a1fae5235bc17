#pragma once

#include "language/mel_linter.h"

#include <QtCore/QHash>
#include <QtCore/QPointer>

class QTextDocument;

namespace ke2 {

// The procedures that the open MEL buffers define, for the linter (a call of a procedure that
// another buffer defines is no unknown name) and for signature help. Each document is read again
// only when its text changed since it was last read.
class MelProcedureIndex {
public:
    static MelProcedureIndex &instance();
    // A document longer than this is never read here, on the window's thread, where a look-up at
    // each cursor move would read it again after every key: its procedures are the ones the last
    // scan off that thread stored.
    static int readLength;

    void Add(QTextDocument *document);
    void Remove(QTextDocument *document);
    // Hands over what a scan of `document` at its current revision found, so that it is not
    // read twice.
    void Store(QTextDocument *document, const QVector<MelProcedure> &procedures);

    bool Defines(const QString &name);
    // The first open buffer's procedure of that name, or an empty record (empty name).
    MelProcedure Find(const QString &name);

private:
    struct Entry {
        QPointer<QTextDocument> document;
        int revision = -1;
        QHash<QString, MelProcedure> procedures;
    };
    void Refresh();
    QVector<Entry> m_entries;
};

} // namespace ke2
