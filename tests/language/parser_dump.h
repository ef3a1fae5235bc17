#pragma once

#include "language/mel_parser.h"
#include "language/python_parser.h"

#include <QtCore/QString>
#include <QtCore/QVector>

namespace ke2::test {

// A MEL parser that also keeps the errors the real one drops, so that tests can see the state
// the scan went through (where it resumed, which bracket message came first).
class RecordingMelParser : public MelParser {
public:
    void Reset() override
    {
        MelParser::Reset();
        dropped.clear();
    }
    void AddError(const QString &message, int start, int end) override
    {
        MelParser::AddError(message, start, end);
        dropped.append(Diagnostic(message, start, end));
    }
    QVector<Diagnostic> dropped;
};

// One line per record: outline items in source order, then errors, dropped errors, warnings and
// TODO markers, each with 1-based line:column of its start and its raw offsets.
QString dumpParser(const BaseParser &parser, const QVector<Diagnostic> &dropped = {});

// Shorter forms for table-driven tests.
QStringList outlineOf(const BaseParser &parser);  // "kind depth position name"
QStringList messagesOf(const QList<Diagnostic *> &list); // "start end message"
QStringList messagesOf(const QVector<Diagnostic> &list);

} // namespace ke2::test
