// Printed text of any characters, in chunks of any size, through the host's framing and the output
// panel's line assembly with a small buffer: the panel keeps exactly the last lines printed, in
// order, copying them gives what was printed, and the log file receives every text once, in order.

#include "config/settings.h"
#include "fuzz/fuzz_support.h"
#include "output/output_text_edit.h"
#include "plugin/command_output.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>

using namespace ke2;

namespace {

// The lines a text makes: every line end the document knows ("\r\n" within one text, a lone "\r",
// "\n", the paragraph and frame separators) ends a line.
QString withLineEnds(const QString &text)
{
    QString out;
    out.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const char16_t c = text.at(i).unicode();
        if (c == u'\r' && i + 1 < text.size() && text.at(i + 1) == QLatin1Char('\n'))
            continue;
        const bool lineEnd = c == u'\n' || c == u'\r' || c == 0x2029 || c == 0xFDD0 || c == 0xFDD1;
        out += lineEnd ? QChar(QLatin1Char('\n')) : text.at(i);
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ke2fuzz::ensureGuiApplication();
    static QTemporaryDir directory;
    FuzzedDataProvider input(data, size);
    Settings::instance() = Settings();
    Settings::instance().outputBufferSize = input.ConsumeIntegralInRange(1, 6);
    Settings::instance().outputWordWrapEnabled = input.ConsumeBool();
    const int limit = Settings::instance().outputBufferSize;

    OutputTextEdit edit;
    edit.resize(400, 200);
    edit.show();
    const QString logPath = directory.filePath(QStringLiteral("output.log"));
    KE2_FUZZ_CHECK(edit.StartWritingToFile(logPath), "the log file did not open");

    QString printed, lines;
    CommandOutput output;
    output.setReceiver([&](const QString &text) {
        printed += text;
        lines += withLineEnds(text);
        edit.AppendText(text);
    });
    while (input.remaining_bytes() > 0) {
        switch (input.ConsumeIntegralInRange(0, 9)) {
        case 6: {
            // A long line (or many short ones) made of one repeated text.
            const QString unit = ke2fuzz::text(input.ConsumeRandomLengthString(12));
            const int times = input.ConsumeIntegralInRange(1, 4000);
            output.deliver(unit.repeated(std::min(times, unit.isEmpty() ? 0 : 40000 / int(unit.size()) + 1)),
                           input.ConsumeIntegralInRange(0, 1));
            break;
        }
        case 7:
            edit.FlushPendingOutput();
            break;
        case 8:
            QCoreApplication::processEvents();
            break;
        case 9:
            Settings::instance().outputWordWrapEnabled = !Settings::instance().outputWordWrapEnabled;
            edit.ApplySettings();
            break;
        default:
            output.deliver(ke2fuzz::text(input.ConsumeRandomLengthString(64)), input.ConsumeIntegralInRange(-1, 7));
            break;
        }
    }
    edit.FlushPendingOutput();
    edit.StopWritingToFile();

    QStringList expected = lines.split(QLatin1Char('\n'));
    const int kept = expected.constLast().isEmpty() ? limit + 1 : limit;
    if (expected.size() > kept)
        expected = expected.mid(expected.size() - kept);
    const int expectedLines = int(expected.size()) - (expected.constLast().isEmpty() ? 1 : 0);
    KE2_FUZZ_CHECK(edit.LineCount() == expectedLines, "%d lines kept, %d expected", edit.LineCount(), expectedLines);
    QGuiApplication::clipboard()->clear();
    edit.selectAll();
    edit.copy();
    const QString copied = QGuiApplication::clipboard()->text();
    const QString want = expected.join(QLatin1Char('\n'));
    int differs = 0;
    while (differs < std::min(copied.size(), want.size()) && copied.at(differs) == want.at(differs))
        ++differs;
    KE2_FUZZ_CHECK(copied == want, "copied %d characters, %d printed; they differ from %d on", int(copied.size()),
                   int(want.size()), differs);

    QFile log(logPath);
    KE2_FUZZ_CHECK(log.open(QIODevice::ReadOnly), "the log file cannot be read back");
    const QByteArray logged = log.readAll();
    KE2_FUZZ_CHECK(logged == printed.toUtf8(), "the log file has %d bytes, %d printed", int(logged.size()),
                   int(printed.toUtf8().size()));
    return 0;
}
