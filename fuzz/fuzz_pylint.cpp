// pylint's output on any bytes: the worker counts as messages exactly the parts the group then
// reads as messages (the count decides between marks and "no result"), every message read is
// well formed, and a message written back with the template reads back the same.

#include "fuzz/fuzz_support.h"
#include "language/pylint_worker.h"

#include <QtCore/QRegularExpression>

using namespace ke2;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString output = ke2fuzz::text(data, size);
    const QStringList parts = output.split(QStringLiteral("::"), Qt::SkipEmptyParts);
    int counted = 0;
    for (const QString &part : parts)
        counted += PylintWorker::IsMessage(part) ? 1 : 0;
    const QVector<PylintWorker::Message> messages = PylintWorker::Messages(parts);
    KE2_FUZZ_CHECK(messages.size() == counted, "%d parts counted as messages, %d read", counted, int(messages.size()));

    static const QRegularExpression id(QStringLiteral("^[A-Z]\\d+$"));
    for (const PylintWorker::Message &message : messages) {
        KE2_FUZZ_CHECK(message.category >= QLatin1Char('A') && message.category <= QLatin1Char('Z'), "category U+%04x",
                       message.category.unicode());
        KE2_FUZZ_CHECK(message.line >= 0 && message.column >= 0, "line %d, column %d", message.line, message.column);
        KE2_FUZZ_CHECK(id.match(message.id).hasMatch(), "id '%s'", qPrintable(message.id));
        KE2_FUZZ_CHECK(message.text == message.text.trimmed(), "text '%s' not trimmed", qPrintable(message.text));

        const QString written = QStringLiteral("%1:%2:%3:[%4]:%5")
                                    .arg(message.category)
                                    .arg(message.line)
                                    .arg(message.column)
                                    .arg(message.id, message.text);
        const QVector<PylintWorker::Message> again = PylintWorker::Messages({written});
        KE2_FUZZ_CHECK(again.size() == 1, "'%s' is not read back as one message", qPrintable(written));
        const PylintWorker::Message &back = again.first();
        KE2_FUZZ_CHECK(back.category == message.category && back.line == message.line && back.column == message.column
                           && back.id == message.id && back.text == message.text,
                       "'%s' reads back differently", qPrintable(written));
    }
    return 0;
}
