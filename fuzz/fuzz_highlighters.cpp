// Both highlighters, incrementally: a document with a highlighter attached takes a random
// sequence of edits; every line's formats, state and block data must then equal those of a fresh
// document of the final text highlighted from scratch.

#include "fuzz/fuzz_support.h"
#include "language/code_editor_block_data.h"
#include "language/mel_highlighter.h"
#include "language/python_highlighter.h"

#include <QtCore/QCoreApplication>
#include <QtGui/QTextBlock>
#include <QtGui/QTextCursor>
#include <QtGui/QTextDocument>
#include <QtGui/QTextLayout>
#include <QtWidgets/QPlainTextDocumentLayout>

#include <memory>

using namespace ke2;

namespace {

std::unique_ptr<Highlighter> attach(bool mel, QTextDocument *document)
{
    if (mel)
        return std::make_unique<MelHighlighter>(document);
    return std::make_unique<PythonHighlighter>(document);
}

// Highlighting goes on in slices after an edit; let it finish from the event loop.
void settle(Highlighter &highlighter)
{
    for (int pass = 0; pass < 100000 && highlighter.HighlightPending(); ++pass)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    KE2_FUZZ_CHECK(!highlighter.HighlightPending(), "highlighting never caught up");
}

QString describe(const QTextBlock &block)
{
    QString out = QStringLiteral("state %1 |").arg(block.userState());
    for (const QTextLayout::FormatRange &range : block.layout()->formats())
        out += QStringLiteral(" %1+%2:%3").arg(range.start).arg(range.length).arg(range.format.foreground().color().name());
    const CodeEditorBlockData *data = CodeEditorBlockData::of(block);
    if (!data)
        return out + QStringLiteral(" | no data");
    out += QStringLiteral(" | blank %1 hint %2 lead '%3' code '%4'")
               .arg(data->isBlank())
               .arg(data->indentHint())
               .arg(data->leadingWhitespace(), data->codeText());
    const QVector<CodeEditorBlockData::Range> *lists[] = {&data->stringRanges(), &data->lineCommentRanges(),
                                                          &data->blockCommentRanges()};
    for (const auto *list : lists) {
        out += QStringLiteral(" |");
        for (const CodeEditorBlockData::Range &range : *list)
            out += QStringLiteral(" %1-%2").arg(range.start).arg(range.end);
    }
    for (int kind = 0; kind < 3; ++kind) {
        out += QStringLiteral(" |");
        for (const CodeEditorBlockData::BracketEntry &entry : data->brackets(CodeEditorBlockData::BracketKind(kind)))
            out += QStringLiteral(" %1%2").arg(entry.column).arg(entry.step > 0 ? '+' : '-');
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ke2fuzz::ensureGuiApplication();
    static bool lists = false;
    if (!lists) {
        lists = true;
        MelHighlighter::setWordLists({QStringLiteral("proc"), QStringLiteral("global"), QStringLiteral("if"),
                                      QStringLiteral("for"), QStringLiteral("string"), QStringLiteral("int")},
                                     {QStringLiteral("polyCube"), QStringLiteral("setAttr"), QStringLiteral("ls")});
        PythonHighlighter::setWordLists({QStringLiteral("def"), QStringLiteral("class"), QStringLiteral("if"),
                                         QStringLiteral("return"), QStringLiteral("import")},
                                        {QStringLiteral("print"), QStringLiteral("len")}, {QStringLiteral("polyCube")});
    }
    FuzzedDataProvider input(data, size);
    const bool mel = input.ConsumeBool();
    // The editor's own layout: a document without one tells nobody of its changes.
    QTextDocument edited;
    edited.setDocumentLayout(new QPlainTextDocumentLayout(&edited));
    // Repeated, the text grows past what one slice highlights, so edits land between slices.
    const QString unit = ke2fuzz::text(input.ConsumeRandomLengthString(2048));
    edited.setPlainText(unit.repeated(input.ConsumeIntegralInRange(1, 64)));
    const std::unique_ptr<Highlighter> highlighter = attach(mel, &edited);
    QCoreApplication::processEvents(); // the first highlight is queued
    settle(*highlighter);

    QString history = QStringLiteral("start: '%1'").arg(edited.toPlainText());
    const int edits = input.ConsumeIntegralInRange(1, 12);
    for (int i = 0; i < edits && input.remaining_bytes() > 0; ++i) {
        const int length = edited.characterCount() - 1;
        QTextCursor cursor(&edited);
        const int at = input.ConsumeIntegralInRange(0, length);
        cursor.setPosition(at);
        cursor.setPosition(input.ConsumeIntegralInRange(at, std::min(length, at + 64)), QTextCursor::KeepAnchor);
        const QString inserted = ke2fuzz::text(input.ConsumeRandomLengthString(64));
        history += QStringLiteral("\n  replace %1..%2 by '%3'").arg(cursor.anchor()).arg(cursor.position()).arg(inserted);
        cursor.insertText(inserted);
        // The next edit lands after highlighting caught up, after one slice, or at once.
        switch (input.ConsumeIntegralInRange(0, 2)) {
        case 0:
            settle(*highlighter);
            history += QStringLiteral(", settled");
            break;
        case 1:
            QCoreApplication::processEvents();
            history += QStringLiteral(", one slice");
            break;
        default:
            break;
        }
    }
    if (input.ConsumeBool())
        highlighter->FinishPending();
    settle(*highlighter);

    QTextDocument fresh;
    fresh.setDocumentLayout(new QPlainTextDocumentLayout(&fresh));
    fresh.setPlainText(edited.toPlainText());
    const std::unique_ptr<Highlighter> reference = attach(mel, &fresh);
    QCoreApplication::processEvents(); // the first highlight is queued
    reference->FinishPending();
    settle(*reference);

    KE2_FUZZ_CHECK(fresh.blockCount() == edited.blockCount(), "%d lines against %d", edited.blockCount(), fresh.blockCount());
    for (QTextBlock a = edited.begin(), b = fresh.begin(); a.isValid(); a = a.next(), b = b.next()) {
        const QString got = describe(a), want = describe(b);
        for (QChar &c : history) {
            if (c.unicode() < 32 && c != QLatin1Char('\n'))
                c = QLatin1Char('^');
        }
        KE2_FUZZ_CHECK(got == want, "%s line %d '%s'\n  incremental: %s\n  fresh:       %s\n  edits: %s",
                       mel ? "MEL" : "Python", a.blockNumber() + 1, qPrintable(a.text()), qPrintable(got),
                       qPrintable(want), qPrintable(history));
    }
    return 0;
}
