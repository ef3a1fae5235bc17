#pragma once

#include "config/color_scheme.h"
#include "editor/code_editor_block_data.h"
#include "language/highlighter.h"
#include "language/mel_highlighter.h"
#include "language/python_highlighter.h"
#include "plugin/host_bridge.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtGui/QTextBlock>
#include <QtGui/QTextDocument>
#include <QtGui/QTextLayout>
#include <QtWidgets/QPlainTextDocumentLayout>

#include <memory>

namespace ke2::test {

// Word lists small enough to read in a test, holding the names the cases need. "q" and "var"
// are commands on purpose: flags and variables must still never be coloured as commands.
inline QStringList testMelCommands()
{
    return {QStringLiteral("ls"), QStringLiteral("polySphere"), QStringLiteral("select"), QStringLiteral("q"),
            QStringLiteral("var"), QStringLiteral("print"), QStringLiteral("setAttr")};
}
inline QStringList testPythonKeywords()
{
    return QStringLiteral("False None True and as assert async await break class continue def del elif else "
                          "except finally for from global if import in is lambda nonlocal not or pass raise "
                          "return try while with yield")
        .split(QLatin1Char(' '));
}
inline QStringList testPythonBuiltins()
{
    return QStringLiteral("len print range str int list dict open isinstance super object path join")
        .split(QLatin1Char(' '));
}

// Gives every code editor role a foreground of its own, so that a format names its role, and
// installs the test word lists; everything is put back afterwards.
class HighlightFixture {
public:
    HighlightFixture()
        : m_savedRoles(ColorScheme::instance().codeEditorRoles)
    {
        ColorRoleTable &roles = ColorScheme::instance().codeEditorRoles;
        for (int i = 0; i < roles.names.size(); ++i) {
            QTextCharFormat format;
            format.setForeground(QColor(1, 2, 10 + i));
            roles[roles.names.at(i)].format = format;
            m_roleByColor.insert(format.foreground().color().rgb(), roles.names.at(i));
        }
        Highlighter::reloadFormats();
        MelHighlighter::setWordLists(HostBridge::melKeywords(), testMelCommands());
        PythonHighlighter::setWordLists(testPythonKeywords(), testPythonBuiltins(), testMelCommands());
        Highlighter::setHighlightingEnabled(true);
    }
    ~HighlightFixture()
    {
        ColorScheme::instance().codeEditorRoles = m_savedRoles;
        Highlighter::reloadFormats();
        MelHighlighter::resetWordLists();
        PythonHighlighter::resetWordLists();
        Highlighter::setHighlightingEnabled(true);
    }
    HighlightFixture(const HighlightFixture &) = delete;
    HighlightFixture &operator=(const HighlightFixture &) = delete;

    QString roleOf(const QTextCharFormat &format) const
    {
        if (!format.hasProperty(QTextFormat::ForegroundBrush))
            return QString();
        return m_roleByColor.value(format.foreground().color().rgb(), QStringLiteral("?"));
    }

    // The role of the character at `column` of line `line`; empty for unformatted text.
    QString roleAt(const QTextDocument &document, int line, int column) const
    {
        const QTextBlock block = document.findBlockByNumber(line);
        QString role;
        for (const QTextLayout::FormatRange &range : block.layout()->formats())
            if (column >= range.start && column < range.start + range.length)
                role = roleOf(range.format);
        return role;
    }

    // The line with every formatted span written as [Role|text].
    QString spans(const QTextBlock &block) const
    {
        const QString text = block.text();
        QVector<QString> roles(text.size());
        for (const QTextLayout::FormatRange &range : block.layout()->formats())
            for (int i = range.start; i < range.start + range.length && i < text.size(); ++i)
                roles[i] = roleOf(range.format);
        QString out;
        int i = 0;
        while (i < text.size()) {
            const QString role = roles.at(i);
            int end = i;
            while (end < text.size() && roles.at(end) == role)
                ++end;
            out += role.isEmpty() ? text.mid(i, end - i) : QStringLiteral("[%1|%2]").arg(role, text.mid(i, end - i));
            i = end;
        }
        return out;
    }

    // Everything highlighting produced for a document: formats and block data per line.
    QByteArray dump(const QTextDocument &document) const
    {
        QString out;
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
            out += QStringLiteral("%1 state=%2\n").arg(block.blockNumber() + 1).arg(block.userState());
            out += QStringLiteral("  %1\n").arg(spans(block));
            const CodeEditorBlockData *data = CodeEditorBlockData::of(block);
            if (!data) {
                out += QStringLiteral("  no data\n");
                continue;
            }
            out += QStringLiteral("  indent=\"%1\" blank=%2 hint=%3 code=\"%4\"\n")
                       .arg(QString(data->leadingWhitespace()).replace(QLatin1Char('\t'), QLatin1String("\\t")))
                       .arg(int(data->isBlank()))
                       .arg(data->indentHint())
                       .arg(data->codeText());
            QStringList brackets;
            for (int kind = 0; kind < 3; ++kind)
                for (const auto &entry : data->brackets(CodeEditorBlockData::BracketKind(kind)))
                    brackets.append(QStringLiteral("%1@%2")
                                        .arg(entry.step > 0 ? CodeEditorBlockData::openingOf(CodeEditorBlockData::BracketKind(kind))
                                                            : CodeEditorBlockData::closingOf(CodeEditorBlockData::BracketKind(kind)))
                                        .arg(entry.column));
            if (!brackets.isEmpty())
                out += QStringLiteral("  brackets %1\n").arg(brackets.join(QLatin1Char(' ')));
            auto ranges = [](const QVector<CodeEditorBlockData::Range> &list) {
                QStringList parts;
                for (const auto &range : list)
                    parts.append(QStringLiteral("%1-%2").arg(range.start).arg(range.end));
                return parts.join(QLatin1Char(' '));
            };
            if (!data->stringRanges().isEmpty())
                out += QStringLiteral("  strings %1\n").arg(ranges(data->stringRanges()));
            if (!data->lineCommentRanges().isEmpty())
                out += QStringLiteral("  lineComments %1\n").arg(ranges(data->lineCommentRanges()));
            if (!data->blockCommentRanges().isEmpty())
                out += QStringLiteral("  blockComments %1\n").arg(ranges(data->blockCommentRanges()));
        }
        return out.toUtf8();
    }

private:
    ColorRoleTable m_savedRoles;
    QHash<QRgb, QString> m_roleByColor;
};

// A document with a highlighter of the language attached, highlighted in full.
struct HighlightedDocument {
    enum Language { Mel, Python };
    HighlightedDocument(Language language, const QString &text)
    {
        // As in the editor: without a layout the document reports no changes to highlighters.
        document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
        document.setPlainText(text);
        if (language == Mel)
            highlighter = std::make_unique<MelHighlighter>(&document);
        else
            highlighter = std::make_unique<PythonHighlighter>(&document);
        // The highlighter's first full pass is queued; edits before it would go unhighlighted.
        QCoreApplication::processEvents();
    }
    QTextBlock line(int number) const { return document.findBlockByNumber(number); }
    CodeEditorBlockData *data(int number) const { return CodeEditorBlockData::of(line(number)); }

    QTextDocument document;
    std::unique_ptr<Highlighter> highlighter;
};

} // namespace ke2::test
