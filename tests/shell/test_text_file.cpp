#include "editor/code_editor.h"
#include "shell/text_file.h"
#include "tests/shell/shell_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtGui/QTextBlock>
#include <QtGui/QTextDocument>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace ke2;
using namespace ke2::test;


class TextFileTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QVERIFY(m_dir.isValid()); }

    // Read, through the editor's document, and written back unchanged: the same bytes.
    void roundTrip_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("utf8Preferred");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<QString>("lineEnding");
        QTest::addColumn<bool>("sameBytes");

        const QString cafe = QStringLiteral("caf") + QChar(0xE9);
        QTest::newRow("CRLF Latin-1 script") << QByteArray("// caf\xE9\r\nprint \"na\xEFve\";\r\n") << true
                                             << QStringLiteral("// %1\nprint \"na%2ve\";\n").arg(cafe, QChar(0xEF))
                                             << "Latin-1" << "CRLF" << true;
        QTest::newRow("Latin-1 with the preference off")
            << QByteArray("x = '\xE9\xA0'\r\n") << false << QStringLiteral("x = '%1%2'\n").arg(QChar(0xE9), QChar(0xA0))
            << QString() << "CRLF" << true;
        QTest::newRow("UTF-8, LF") << QByteArray("# caf\xC3\xA9\n") << true << QStringLiteral("# %1\n").arg(cafe)
                                   << "UTF-8" << "LF" << true;
        QTest::newRow("UTF-8 byte-order mark, CRLF, no final break")
            << QByteArray("\xEF\xBB\xBF" "a\r\nb") << true << "a\nb" << "UTF-8 with BOM" << "CRLF" << true;
        QTest::newRow("lone CR") << QByteArray("a\rb\r") << true << "a\nb\n" << "UTF-8" << "CR" << true;
        QTest::newRow("non-breaking space survives the document")
            << QByteArray("a\xC2\xA0" "b\n") << true << QStringLiteral("a%1b\n").arg(QChar(0xA0)) << "UTF-8" << "LF"
            << true;
        QTest::newRow("overlong UTF-8 is not UTF-8") << QByteArray("\xC0\xAF\n") << true
                                                     << QStringLiteral("%1%2\n").arg(QChar(0xC0), QChar(0xAF))
                                                     << "Latin-1" << "LF" << true;
        QTest::newRow("empty") << QByteArray() << true << "" << "UTF-8" << QString() << true;
        const QString nul(QChar(0));
        QTest::newRow("NUL inside UTF-8") << QByteArray("abc\0def\n", 8) << true << QStringLiteral("abc%1def\n").arg(nul)
                                          << "UTF-8" << "LF" << true;
        QTest::newRow("NUL inside Latin-1") << QByteArray("\xE9\0\xE9\r\n", 5) << true
                                            << QStringLiteral("%1%2%1\n").arg(QChar(0xE9)).arg(nul) << "Latin-1" << "CRLF"
                                            << true;
        QTest::newRow("UTF-16 LE with its mark") << QByteArray("\xFF\xFE" "a\0\r\0\n\0\xAC\x20", 10) << true
                                                 << QStringLiteral("a\n%1").arg(QChar(0x20AC)) << "UTF-16 LE" << "CRLF"
                                                 << true;
        QTest::newRow("UTF-16 BE with a lone surrogate") << QByteArray("\xFE\xFF\0x\xD8\0\0\n", 8) << true
                                                         << QStringLiteral("x%1\n").arg(QChar(0xD800)) << "UTF-16 BE"
                                                         << "LF" << true;
        QTest::newRow("U+2029 inside a line") << QByteArray("a\xE2\x80\xA9" "b\n") << true
                                              << QStringLiteral("a%1b\n").arg(QChar(0x204B)) << "UTF-8" << "LF" << true;
        QTest::newRow("lone CR inside LF lines") << QByteArray("a\rb\nc\n") << true
                                                 << QStringLiteral("a%1b\nc\n").arg(QChar(0x240D)) << "UTF-8" << "LF"
                                                 << true;
        QTest::newRow("lone CR in CRLF lines, its symbol taken")
            << QByteArray("\xE2\x90\x8D\r\r\n") << true << QStringLiteral("%1%2\n").arg(QChar(0x240D), QChar(0xE000))
            << "UTF-8" << "CRLF" << true;
        QTest::newRow("noncharacters the document breaks at") << QByteArray("a\xEF\xB7\x90" "b\xEF\xB7\x91\n") << true
                                                              << QStringLiteral("a%1b%2\n").arg(QChar(0xE000), QChar(0xE001))
                                                              << "UTF-8" << "LF" << true;
        // UTF-8 is checked a stretch of 65,536 characters at a time: a pair across the first
        // stretch's end, and a byte that is no UTF-8 far past it.
        const QByteArray lines = (QByteArray(99, 'x') + '\n').repeated(655) + QByteArray(35, 'y');
        const QByteArray across = lines + "\xF0\x9F\x98\x80;\n" + lines;
        QTest::newRow("UTF-8, a four-byte character across a stretch")
            << across << true << QString::fromUtf8(across.constData(), across.size()) << "UTF-8" << "LF" << true;
        const QByteArray late = lines.repeated(3) + "\xE9\n";
        QTest::newRow("not UTF-8 only past the first stretch")
            << late << true << QString::fromLatin1(late.constData(), late.size()) << "Latin-1" << "LF" << true;
        QTest::newRow("mixed endings take the dominant one")
            << QByteArray("a\r\nb\r\nc\n") << true << "a\nb\nc\n" << "UTF-8" << "CRLF" << false;
    }
    void roundTrip()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, utf8Preferred);
        QFETCH(QString, text);
        QFETCH(QString, encoding);
        QFETCH(QString, lineEnding);
        QFETCH(bool, sameBytes);

        const QString path = m_dir.filePath(QStringLiteral("script.mel"));
        QVERIFY(put(path, bytes));
        QString read;
        TextFileFormat format;
        TextFileNotes notes;
        QVERIFY(TextFile::Read(path, utf8Preferred, read, format, &notes));
        QVERIFY(!read.isNull());
        QCOMPARE(read, text);
        if (!encoding.isEmpty())
            QCOMPARE(format.EncodingName(), encoding);
        if (!lineEnding.isEmpty())
            QCOMPARE(format.LineEndingName(), lineEnding);
        if (!encoding.isEmpty())
            QCOMPARE(notes.fellBackToLatin1, encoding == QLatin1String("Latin-1"));
        QCOMPARE(notes.mixedLineEndings, !sameBytes);

        QTextDocument document;
        document.setPlainText(read);
        QVERIFY(TextFile::Write(path, TextFile::DocumentText(document), format, &notes));
        QVERIFY(!notes.encodingChanged);
        if (sameBytes)
            QCOMPARE(contents(path), bytes);
        else
            QCOMPARE(contents(path), QByteArray("a\r\nb\r\nc\r\n"));
    }

    // A character Latin-1 cannot hold is not dropped: the file becomes UTF-8 and says so.
    void textBeyondTheEncodingSwitchesToUtf8()
    {
        const QString path = m_dir.filePath(QStringLiteral("old.mel"));
        QVERIFY(put(path, "a\xE9\r\n"));
        QString text;
        TextFileFormat format;
        QVERIFY(TextFile::Read(path, true, text, format));
        text += QChar(0x20AC);
        TextFileNotes notes;
        QVERIFY(TextFile::Write(path, text, format, &notes));
        QVERIFY(notes.encodingChanged);
        QCOMPARE(format.EncodingName(), QStringLiteral("UTF-8"));
        QCOMPARE(contents(path), QByteArray("a\xC3\xA9\r\n\xE2\x82\xAC"));
        QString again;
        QVERIFY(TextFile::Read(path, true, again, format));
        QCOMPARE(again, text);
    }

    void probe_data()
    {
        QTest::addColumn<QByteArray>("start");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("binary");
        QTest::addColumn<bool>("large");
        QTest::addColumn<qint64>("longestLine");
        QTest::newRow("script") << QByteArray("print(1)\n") << qint64(9) << false << false << qint64(8);
        const QByteArray line = QByteArray("x").repeated(TextFile::longLineSize + 1);
        QTest::newRow("a line over 1 MB") << "a\r\n" + line + "\r\nb" << qint64(line.size() + 5) << false << false
                                          << qint64(line.size());
        QTest::newRow("UTF-16 line over 1 MB") << "\xFF\xFE" + QByteArray("x\0", 2).repeated(line.size())
                                               << qint64(2 * line.size() + 2) << false << false << qint64(line.size());
        QTest::newRow("NUL near the start") << QByteArray("\x7F" "ELF\x02\x01\x01\0", 8) << qint64(8) << true << false << qint64(-1);
        QTest::newRow("NUL after 80 KB") << QByteArray("x = 1\n").repeated(14000) + QByteArray(1, '\0') << qint64(84001)
                                         << true << false << qint64(-1);
        QTest::newRow("UTF-16 text") << QByteArray("\xFF\xFEx\0\n\0", 6) << qint64(6) << false << false << qint64(1);
        QTest::newRow("UTF-16 NUL character") << QByteArray("\xFF\xFEx\0\0\0", 6) << qint64(6) << true << false
                                              << qint64(-1);
        QTest::newRow("hundreds of MB") << QByteArray("x") << qint64(300) * 1024 * 1024 << true << true << qint64(-1);
    }
    void probe()
    {
        QFETCH(QByteArray, start);
        QFETCH(qint64, size);
        QFETCH(bool, binary);
        QFETCH(bool, large);
        QFETCH(qint64, longestLine); // -1: not told
        const QString path = m_dir.filePath(QStringLiteral("probe"));
        QVERIFY(put(path, start));
        QVERIFY(QFile::resize(path, size)); // sparse: the tail reads as NUL bytes
        const TextFileProbe probe = TextFile::Probe(path);
        QVERIFY(probe.exists);
        QCOMPARE(probe.size, size);
        QCOMPARE(probe.looksBinary, binary);
        QCOMPARE(probe.isLarge(), large);
        if (longestLine >= 0) {
            QCOMPARE(probe.longestLine, longestLine);
            QCOMPARE(probe.hasLongLine(), longestLine > TextFile::longLineSize);
        }
        QVERIFY(!TextFile::Probe(m_dir.filePath(QStringLiteral("missing"))).exists);
    }

    // A line too long to lay out at each key is shown in rows; the file keeps it whole.
    void longLinesAreShownInRows_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("broken");
        const QByteArray longLine = QByteArray("abcdefghij").repeated(TextFile::wholeLineLength / 10 + 1);
        QTest::newRow("a line just short of it stays whole") << QByteArray("x").repeated(TextFile::wholeLineLength) + "\n" << false;
        // An embedded icon: broken, the string would read as unterminated to the scanner.
        QTest::newRow("a 50,000-character string") << "icon = '" + QByteArray("QUJD").repeated(12500) + "'\n" << false;
        QTest::newRow("UTF-8, LF") << "a = 1\n" + longLine + "\nb = 2\n" << true;
        QTest::newRow("CRLF, two long lines, no final break") << longLine + "\r\n\r\n" + longLine << true;
        QTest::newRow("Latin-1 with NULs") << QByteArray("\xE9\0", 2).repeated(TextFile::wholeLineLength / 2 + 1) + "\r\nend\r\n" << true;
        QByteArray utf16("\xFF\xFE", 2);
        for (int i = 0; i < 12000; ++i)
            utf16.append(i % 1000 == 999 ? QByteArray("\r\0\n\0", 4) : QByteArray("y\0", 2));
        utf16.append(QByteArray("z\0", 2).repeated(TextFile::wholeLineLength + 1));
        QTest::newRow("UTF-16 LE") << utf16 << true;
        // A four-byte character whose two halves would fall on either side of a row's end.
        QTest::newRow("surrogate pair at a row's end")
            << QByteArray("q").repeated(TextFile::pieceLength - 1) + "\xF0\x9F\x98\x80" + longLine << true;
        QTest::newRow("the arrow is in the file already") << "\xE2\x86\xA9 " + longLine << true;
        QTest::newRow("CR lines") << longLine + "\r" + longLine + "\r" << true;
    }
    void longLinesAreShownInRows()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, broken);
        const QString path = m_dir.filePath(QStringLiteral("long.py"));
        QVERIFY(put(path, bytes));
        QString text;
        TextFileFormat format;
        QVERIFY(TextFile::Read(path, true, text, format));
        QCOMPARE(!format.pieceBreak.isNull(), broken);
        CodeEditor editor(LANGUAGE_PYTHON, path);
        editor.setPlainText(text);
        editor.SetPieceBreak(format.pieceBreak);
        for (QTextBlock block = editor.document()->begin(); block.isValid(); block = block.next()) {
            const QString row = block.text();
            QVERIFY2(row.size() <= TextFile::wholeLineLength, qPrintable(QString::number(block.blockNumber())));
            if (broken && row.endsWith(format.pieceBreak)) {
                QVERIFY(row.size() <= TextFile::pieceLength + 1);
                QVERIFY(!row.at(row.size() - 2).isHighSurrogate());
            }
        }
        QVERIFY(TextFile::Write(path, TextFile::DocumentText(*editor.document()), format));
        QCOMPARE(contents(path), bytes);
    }

    // Keys beside a row's break edit the line's text; the break itself stays one.
    void keysAtARowBreak_data()
    {
        QTest::addColumn<int>("at"); // 0: end of the first row, after the break; 1: before it; 2: next row's start
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("removed"); // index in the line of the removed character, or -1
        QTest::addColumn<QString>("inserted"); // inserted at the row's end
        QTest::newRow("a letter after the break") << 0 << int(Qt::Key_B) << -1 << "b";
        QTest::newRow("a letter before the break") << 1 << int(Qt::Key_B) << -1 << "b";
        QTest::newRow("Return after the break") << 0 << int(Qt::Key_Return) << -1 << "\n";
        QTest::newRow("Backspace at the next row's start") << 2 << int(Qt::Key_Backspace) << TextFile::pieceLength - 1
                                                           << "";
        QTest::newRow("Delete before the break") << 1 << int(Qt::Key_Delete) << TextFile::pieceLength << "";
        QTest::newRow("Delete after the break") << 0 << int(Qt::Key_Delete) << TextFile::pieceLength << "";
    }
    void keysAtARowBreak()
    {
        QFETCH(int, at);
        QFETCH(int, key);
        QFETCH(int, removed);
        QFETCH(QString, inserted);
        QString line;
        for (int i = 0; i <= TextFile::wholeLineLength; ++i)
            line += QChar('a' + i % 26);
        TextFileFormat format;
        const QString text = TextFile::Decode(line.toUtf8(), true, format);
        CodeEditor editor(LANGUAGE_TEXT);
        editor.setPlainText(text);
        editor.SetPieceBreak(format.pieceBreak);
        const QTextBlock first = editor.document()->firstBlock();
        QTextCursor cursor(editor.document());
        // A copy across rows is the line's text.
        cursor.setPosition(first.position() + 10);
        cursor.setPosition(first.next().position() + 10, QTextCursor::KeepAnchor);
        editor.setTextCursor(cursor);
        editor.copy();
        QCOMPARE(QGuiApplication::clipboard()->text(), line.mid(10, TextFile::pieceLength));

        cursor.setPosition(at == 2 ? first.next().position() : first.position() + first.length() - 1 - at);
        editor.setTextCursor(cursor);
        QTest::keyClick(&editor, Qt::Key(key), Qt::NoModifier);
        QString expected = line;
        if (removed >= 0)
            expected.remove(removed, 1);
        expected.insert(TextFile::pieceLength, inserted);
        QCOMPARE(TextFile::WithoutPieceBreaks(TextFile::DocumentText(*editor.document()), format.pieceBreak), expected);

    }

    void permissionsAreKept()
    {
        const QString path = m_dir.filePath(QStringLiteral("tool.py"));
        QVERIFY(put(path, "old"));
        const auto permissions = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
                                 QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser |
                                 QFileDevice::ReadGroup;
        QVERIFY(QFile::setPermissions(path, permissions));
        TextFileFormat format;
        QVERIFY(TextFile::Write(path, QStringLiteral("new"), format));
        QCOMPARE(contents(path), QByteArray("new"));
        QCOMPARE(QFile::permissions(path), permissions);
    }

    void symbolicLinkStaysALink()
    {
        QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("real")));
        const QString target = m_dir.filePath(QStringLiteral("real/tool.py"));
        const QString link = m_dir.filePath(QStringLiteral("linked.py"));
        QVERIFY(put(target, "old"));
        QCOMPARE(::symlink("real/tool.py", QFile::encodeName(link).constData()), 0); // relative, as users make them
        TextFileFormat format;
        QVERIFY(TextFile::Write(link, QStringLiteral("new"), format));
        QVERIFY(QFileInfo(link).isSymLink());
        QCOMPARE(contents(target), QByteArray("new"));
        QCOMPARE(QDir(m_dir.filePath(QStringLiteral("real"))).entryList(QDir::Files), QStringList{"tool.py"});
    }

    // Where replacing the file would change what it is, the write goes into it; a write that
    // cannot happen leaves the old bytes and no stray copy, and says why.
    void writesKeepWhatTheFileIs_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("why"); // empty: written
        QTest::newRow("read-only folder") << "folder" << QString();
        QTest::newRow("hard link") << "link" << QString();
        QTest::newRow("another owner") << "owner" << QString();
        QTest::newRow("read-only file") << "file" << "Permission denied";
        QTest::newRow("disk full half-way") << "limit" << "File too large";
        QTest::newRow("read-only folder, disk full half-way") << "folder limit" << "File too large";
    }
    void writesKeepWhatTheFileIs()
    {
        QFETCH(QString, how);
        QFETCH(QString, why);
        const bool asRoot = ::geteuid() == 0;
        if (how == QLatin1String("owner") && !asRoot)
            QSKIP("only root can give a file to another owner");
        const QString folder = m_dir.filePath(how);
        const QString backups = m_dir.filePath(QStringLiteral("backups"));
        QVERIFY(QDir().mkpath(folder) && QDir().mkpath(backups));
        const QString path = folder + QStringLiteral("/tool.mel");
        const QByteArray old = QByteArray("print \"old\";\n").repeated(100);
        QVERIFY(put(path, old));
        const auto readable = QFileDevice::ReadOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther;
        const auto everyone = readable | QFileDevice::ExeOwner | QFileDevice::ExeGroup | QFileDevice::ExeOther;
        const auto writable = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
        QVERIFY(QFile::setPermissions(m_dir.path(), everyone | QFileDevice::WriteOwner));
        QVERIFY(QFile::setPermissions(backups, everyone | writable));
        QVERIFY(QFile::setPermissions(folder, everyone | (how.contains(QLatin1String("folder")) ? QFileDevice::Permissions()
                                                                                                : writable)));
        QVERIFY(QFile::setPermissions(path, readable | (how == QLatin1String("file") ? QFileDevice::Permissions() : writable)));
        const QString link = folder + QStringLiteral("/other name.mel");
        if (how == QLatin1String("link"))
            QCOMPARE(::link(QFile::encodeName(path).constData(), QFile::encodeName(link).constData()), 0);
        if (how == QLatin1String("owner"))
            QCOMPARE(::chown(QFile::encodeName(path).constData(), 65534, 65534), 0);

        const QString text = QStringLiteral("print \"new\";\n").repeated(1000);
        TextFileFormat format;
        QString error;
        bool written = false;
        {
            std::unique_ptr<Unprivileged> user;
            if (how == QLatin1String("folder") || how == QLatin1String("file") || how == QLatin1String("folder limit"))
                user = std::make_unique<Unprivileged>();
            std::unique_ptr<FileSizeLimit> limit;
            if (how.contains(QLatin1String("limit")))
                limit = std::make_unique<FileSizeLimit>(4096);
            written = TextFile::Write(path, text, format, nullptr, &error, backups);
        }
        QFile::setPermissions(folder, everyone | QFileDevice::WriteOwner);
        QCOMPARE(error, why);
        QCOMPARE(written, why.isEmpty());
        QCOMPARE(contents(path), written ? text.toUtf8() : old);
        QStringList names{"tool.mel"};
        if (how == QLatin1String("link")) {
            names.prepend("other name.mel");
            QCOMPARE(contents(link), text.toUtf8()); // still one file under two names
        }
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), names);
        QCOMPARE(QDir(backups).entryList(QDir::Files | QDir::Hidden), QStringList()); // kept only while writing
        if (how == QLatin1String("owner")) {
            struct stat info {};
            QCOMPARE(::stat(QFile::encodeName(path).constData(), &info), 0);
            QCOMPARE(int(info.st_uid), 65534);
        }
    }

    // Saving replaces the file, which drops it from the system's watch; the editor keeps
    // following the path, so another program's later change still reaches it.
    void watcherFollowsThePathAfterASave()
    {
        const QString path = m_dir.filePath(QStringLiteral("watched.py"));
        QVERIFY(put(path, "a = 1\n"));
        CodeEditor editor(LANGUAGE_PYTHON, path);
        QSignalSpy changed(&editor, &CodeEditor::FileChanged);
        TextFileFormat format;
        QVERIFY(TextFile::Write(path, QStringLiteral("a = 2\n"), format));
        QVERIFY(changed.wait(3000));
        QTest::qWait(100);
        changed.clear();
        QVERIFY(put(path, "a = 3\n"));
        QVERIFY(changed.wait(3000));
        QCOMPARE(changed.first().first().toString(), path);
    }

private:
    QTemporaryDir m_dir;
};

KE2_TEST_CLASS(TextFileTest)

#include "test_text_file.moc"
