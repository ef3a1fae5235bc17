// Files of any bytes, opened and saved unchanged as the editor does (decoded, shown in a
// document, taken back out of it, encoded with the format the file was read with): the same
// bytes come back, NULs, stray carriage returns and byte-order marks included.

#include "fuzz/fuzz_support.h"
#include "shell/text_file.h"

#include <QtGui/QTextDocument>
#include <QtWidgets/QPlainTextDocumentLayout>

using namespace ke2;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ke2fuzz::ensureGuiApplication();
    if (size == 0)
        return 0;
    const bool utf8Preferred = data[0] & 1;
    const QByteArray bytes(reinterpret_cast<const char *>(data + 1), int(size - 1));

    TextFileFormat format;
    TextFileNotes notes;
    const QString text = TextFile::Decode(bytes, utf8Preferred, format, &notes);
    QTextDocument document;
    document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
    document.setPlainText(text);
    const QString shown = TextFile::DocumentText(document);
    KE2_FUZZ_CHECK(shown == text, "the document changed the text (%d characters, then %d)", int(text.size()),
                   int(shown.size()));

    TextFileFormat saveFormat = format;
    TextFileNotes saveNotes;
    const QByteArray saved = TextFile::Encode(shown, saveFormat, &saveNotes);
    // A file that mixes line endings is saved with its dominant one, and says so when opened.
    if (notes.mixedLineEndings)
        return 0;
    KE2_FUZZ_CHECK(!saveNotes.encodingChanged, "an unchanged text no longer fits the encoding it was read with");
    KE2_FUZZ_CHECK(saved == bytes, "%d bytes saved unchanged came back as %d (%s, %s)", int(bytes.size()),
                   int(saved.size()), qPrintable(format.EncodingName()), qPrintable(format.LineEndingName()));
    return 0;
}
