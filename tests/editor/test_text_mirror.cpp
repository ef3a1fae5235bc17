#include "editor/text_mirror.h"
#include "language/python_highlighter.h"
#include "tests/support/test_registry.h"

#include <QtCore/QRandomGenerator>
#include <QtGui/QTextCursor>
#include <QtGui/QTextDocument>
#include <QtWidgets/QPlainTextDocumentLayout>
#include <QtTest/QTest>

using namespace ke2;

namespace {

enum Edit { Type = 1, RemoveRange = 2, UndoRedo = 4, SelectAllDelete = 8, PasteLines = 16, Special = 32, Reload = 64,
            Append = 128 };

// What a user's keys, the clipboard and the loader put in: words, line breaks, and the characters
// that a copy of the text most easily gets wrong.
QString piece(QRandomGenerator &random, bool special)
{
    static const char16_t *const plain[] = {u"a", u"def f():", u"\n", u"    ", u"x = 1\n", u"\n\n", u"'s'"};
    static const char16_t *const odd[] = {u"\r", u"\r\n", u"\t", u"\u00a0", u"\u2028", u"\U0001F600", u"\u00e9\n"};
    if (special && random.bounded(2))
        return QString::fromUtf16(odd[random.bounded(int(std::size(odd)))]) + (random.bounded(4) ? QString() : QString(QChar(0)));
    return QString::fromUtf16(plain[random.bounded(int(std::size(plain)))]);
}

QString manyLines(QRandomGenerator &random, int count)
{
    QString text;
    for (int i = 0; i < count; ++i)
        text += QStringLiteral("line %1 of the paste\n").arg(random.bounded(1000));
    return text;
}

} // namespace

class TextMirrorTest : public QObject {
    Q_OBJECT
private slots:
    // After every edit of a random sequence the mirror reads as the document does, with chunks
    // of a few lines so that edits cross chunk boundaries all the time; a snapshot taken on the
    // way is untouched by what follows.
    void followsEveryEdit_data()
    {
        QTest::addColumn<int>("edits");
        QTest::addColumn<int>("chunkLines");
        QTest::newRow("typing and backspace") << int(Type) << 4;
        QTest::newRow("removals across chunks") << (Type | RemoveRange) << 3;
        QTest::newRow("undo and redo") << (Type | RemoveRange | PasteLines | UndoRedo) << 4;
        QTest::newRow("select all and delete, then paste") << (Type | SelectAllDelete | PasteLines | UndoRedo) << 5;
        QTest::newRow("line ends, NULs, surrogates, separators") << (Type | Special | RemoveRange | UndoRedo) << 2;
        QTest::newRow("a reload from disk") << (Type | Reload | RemoveRange | UndoRedo) << 4;
        QTest::newRow("appends in pieces, as a load") << (Append | Type | RemoveRange) << 1000;
        QTest::newRow("everything, one line a chunk") << 0xff << 1;
    }
    void followsEveryEdit()
    {
        QFETCH(int, edits);
        QFETCH(int, chunkLines);
        QTextDocument document;
        document.setDocumentLayout(new QPlainTextDocumentLayout(&document)); // as in the editor
        document.setPlainText(QStringLiteral("import os\n\nclass A:\n    pass\n"));
        PythonHighlighter highlighter(&document); // its passes report coloured lines as changed
        TextMirror mirror(&document, chunkLines);
        QRandomGenerator random(quint32(edits * 31 + chunkLines));
        TextSnapshot early;
        QString earlyText;
        QVector<int> kinds;
        for (int bit = 1; bit <= Append; bit <<= 1)
            if (edits & bit)
                kinds.append(bit);
        for (int step = 0; step < 400; ++step) {
            QTextCursor cursor(&document);
            const int length = document.characterCount() - 1;
            cursor.setPosition(random.bounded(length + 1));
            const int kind = kinds.at(random.bounded(kinds.size()));
            switch (kind) {
            case Type:
            case Special:
                if (random.bounded(4) == 0 && length > 0)
                    cursor.deletePreviousChar();
                else
                    cursor.insertText(piece(random, kind == Special));
                break;
            case RemoveRange:
                cursor.setPosition(random.bounded(length + 1), QTextCursor::KeepAnchor);
                cursor.removeSelectedText();
                break;
            case UndoRedo:
                random.bounded(3) ? document.undo() : document.redo();
                break;
            case SelectAllDelete:
                cursor.select(QTextCursor::Document);
                cursor.removeSelectedText();
                break;
            case PasteLines:
                cursor.insertText(manyLines(random, 1 + random.bounded(40)));
                break;
            case Reload:
                document.setPlainText(manyLines(random, random.bounded(200)));
                break;
            case Append:
                cursor.movePosition(QTextCursor::End);
                cursor.insertText(manyLines(random, 1 + random.bounded(300)));
                break;
            }
            highlighter.FinishPending();
            const TextSnapshot snapshot = mirror.Snapshot();
            QString raw = document.toRawText();
            raw.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
            if (snapshot.Text() != raw || snapshot.PlainText() != document.toPlainText()
                || snapshot.LineCount() != document.blockCount() || snapshot.Length() != raw.size())
                QFAIL(qPrintable(QStringLiteral("step %1 (edit kind %2): the mirror differs").arg(step).arg(kind)));
            if (step == 40) {
                early = snapshot;
                earlyText = raw;
            }
        }
        QCOMPARE(early.Text(), earlyText);
        QVERIFY(mirror.Version() != early.Version());
    }

    // A highlighting pass changes no character: the version, which tells a worker whether its
    // text is still the buffer's, stays.
    void keepsVersionWhenOnlyColoured()
    {
        QTextDocument document;
        document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
        document.setPlainText(QStringLiteral("def f():\n    return 1\n").repeated(50));
        PythonHighlighter highlighter(&document);
        highlighter.FinishPending();
        TextMirror mirror(&document, 8);
        const quint64 version = mirror.Version();
        highlighter.rehighlight();
        highlighter.FinishPending();
        QCOMPARE(mirror.Version(), version);
        QTextCursor(&document).insertText(QStringLiteral("\"\"\"")); // recolours every later line
        highlighter.FinishPending();
        QCOMPARE(mirror.Version(), version + 1);
    }
};

KE2_TEST_CLASS(TextMirrorTest)
#include "test_text_mirror.moc"
