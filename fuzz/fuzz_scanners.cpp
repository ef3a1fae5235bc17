// The MEL and Python scanners on any text: every record lies inside the scanned text, names are
// not empty, a second scan (by the same scanner, as the editor re-scans, and by a fresh one)
// gives the same records, and the time grows with the text, not faster.

#include "fuzz/fuzz_support.h"
#include "language/mel_parser.h"
#include "language/python_parser.h"

#include <QtCore/QVector>

#include <memory>

using namespace ke2;

namespace {

struct Record {
    int list; // 0 outline, 1 error, 2 warning, 3 todo
    QString name;
    int kind, start, end;
    bool operator==(const Record &o) const
    {
        return list == o.list && name == o.name && kind == o.kind && start == o.start && end == o.end;
    }
};

QVector<Record> records(const BaseParser &parser)
{
    QVector<Record> out;
    for (const OutlineItem *item : parser.OutlineItems())
        out.append({0, item->name, item->kind, item->position, item->depth});
    const QList<Diagnostic *> lists[] = {parser.Errors(), parser.Warnings(), parser.Todos()};
    for (int list = 0; list < 3; ++list) {
        for (const Diagnostic *d : lists[list])
            out.append({list + 1, d->message, 0, d->start, d->end});
    }
    return out;
}

void checkInside(const BaseParser &parser)
{
    const int size = int(parser.Text().size());
    for (const OutlineItem *item : parser.OutlineItems()) {
        KE2_FUZZ_CHECK(!item->name.isEmpty(), "outline item with an empty name at %d", item->position);
        // Alias imports are named "alias = module", so only the first character is sure to be there.
        KE2_FUZZ_CHECK(item->position >= 0 && item->position < size,
                       "outline item '%s' at %d outside a text of %d", qPrintable(item->name), item->position, size);
        KE2_FUZZ_CHECK(item->depth >= 0, "negative depth %d", item->depth);
    }
    const QList<Diagnostic *> lists[] = {parser.Errors(), parser.Warnings(), parser.Todos()};
    for (const QList<Diagnostic *> &list : lists) {
        for (const Diagnostic *d : list) {
            KE2_FUZZ_CHECK(!d->message.isEmpty(), "diagnostic without a message at %d", d->start);
            KE2_FUZZ_CHECK(d->start >= 0 && d->start <= size, "diagnostic '%s' starts at %d of %d",
                           qPrintable(d->message), d->start, size);
            KE2_FUZZ_CHECK(d->end == -1 || (d->end >= d->start && d->end <= size),
                           "diagnostic '%s' is %d..%d of %d", qPrintable(d->message), d->start, d->end, size);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const bool mel = data[0] & 1;
    const QString source = ke2fuzz::text(data + 1, size - 1);

    // One long-lived scanner of each kind, as a group keeps one and re-scans with it.
    static MelParser melScanner;
    static PythonParser pythonScanner;
    BaseParser &scanner = mel ? static_cast<BaseParser &>(melScanner) : pythonScanner;

    // The bench holds the release build to 20 ms per MB in the worst case; instrumented code is
    // up to a few dozen times slower, and short inputs are dominated by fixed costs.
    const double limitMs = 25.0 + 2e-3 * double(source.size());
    const double ms = ke2fuzz::bestMilliseconds([&] { scanner.Parse(source, QString()); }, limitMs);
    KE2_FUZZ_CHECK(ms <= limitMs, "%s scan of %d characters took %.1f ms (limit %.1f)", mel ? "MEL" : "Python",
                   int(source.size()), ms, limitMs);
    checkInside(scanner);
    const QVector<Record> first = records(scanner);

    scanner.Parse(source, QString());
    KE2_FUZZ_CHECK(records(scanner) == first, "a second scan of the same text gave other records");

    std::unique_ptr<BaseParser> fresh;
    if (mel)
        fresh = std::make_unique<MelParser>();
    else
        fresh = std::make_unique<PythonParser>();
    fresh->Parse(source, QString());
    KE2_FUZZ_CHECK(records(*fresh) == first, "a fresh scanner gave other records than a reused one");
    return 0;
}
