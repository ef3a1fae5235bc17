#pragma once

#include "language/diagnostic.h"
#include "language/outline_item.h"
#include "language/record_store.h"

#include <QtCore/QList>
#include <QtCore/QString>

namespace ke2 {

// What the MEL and Python scanners share: the normalised text and scan position, the four
// result lists (outline items, errors, warnings, TODO markers), the bracket counters and the
// one-bracket-message-per-parse rule. The scanners are single forward passes; where a rule
// searches ahead (the next newline, the next non-blank), the helpers below cache the answer so
// that a long line with many hits is still read only once.
class BaseParser {
public:
    BaseParser() = default;
    virtual ~BaseParser() = default;
    BaseParser(const BaseParser &) = delete;
    BaseParser &operator=(const BaseParser &) = delete;

    // Frees every record and clears the counters; each parse starts with it.
    virtual void Reset();
    // The base part only: reset, normalise the text, remember the path. Derived scanners run it
    // first and then scan.
    virtual void Parse(const QString &source, const QString &path);
    virtual bool IsMel() const { return false; }
    virtual bool IsPython() const { return false; }
    virtual void AddError(const QString &message, int start, int end);

    void AddWarning(const QString &message, int start, int end);
    void AddTodo(const QString &message, int start, int end);
    void AddOutlineItem(const QString &name, int kind, int position, int depth);

    // Copies of the pointer lists; the records stay owned by the parser and live until the next
    // Parse or Reset.
    QList<OutlineItem *> OutlineItems() const { return outlineItems; }
    QList<Diagnostic *> Errors() const { return errors; }
    QList<Diagnostic *> Warnings() const { return warnings; }
    QList<Diagnostic *> Todos() const { return todos; }
    QString FilePath() const { return filePath; }
    // The text from `from` up to, not including, the next "\n" (or the end).
    QString LineAt(int from) const;
    // The normalised text the offsets of every record refer to.
    const QString &Text() const { return text; }

protected:
    void ReportExpected(QChar ch, int start, int end);
    void ReportUnexpected(QChar ch, int start, int end);

    // Index of the next "\n" at or after `from`, or -1.
    int NextNewline(int from);
    // Index of the next non-whitespace character at or after `from`, or -1.
    int NextNonSpace(int from);
    // Whether [from, to) holds the whole word "TODO" (the range's edges count as non-word).
    bool ContainsTodoWord(int from, int to) const;
    // A one-line string opened by `quote` at `pos`: leaves `pos` on its closing quote, or on the
    // newline where it ends unterminated (reported), or on the last character. A backslash run
    // of odd length escapes a quote or continues the string on the next line.
    void SkipString(QChar quote);

    static bool IsWordChar(QChar ch) { return ch.isLetterOrNumber() || ch.isMark() || ch == QLatin1Char('_'); }
    // Whitespace inside one line: what a whitespace class matches in `LineAt`.
    static bool IsLineSpace(QChar ch) { return ch != QLatin1Char('\n') && ch.isSpace(); }
    // Whether `word` (Latin-1) stands at `at`.
    // Inline: the scanners ask it at almost every character, mostly with a literal word.
    bool HasWordAt(int at, const char *word) const
    {
        if (at < 0)
            return false;
        const QChar *data = text.constData() + at;
        const int room = int(text.size()) - at;
        for (int i = 0; word[i]; ++i) {
            if (i >= room || data[i] != QLatin1Char(word[i]))
                return false;
        }
        return true;
    }

    QString text;
    int pos = 0;
    QString filePath;
    QList<OutlineItem *> outlineItems;
    QList<Diagnostic *> errors;
    QList<Diagnostic *> warnings;
    QList<Diagnostic *> todos;
    int parenDepth = 0;
    int braceDepth = 0;
    int bracketDepth = 0;
    bool bracketErrorReported = false;

private:
    RecordStore<OutlineItem> m_itemStore;
    RecordStore<Diagnostic> m_diagnosticStore;
    int m_newlineFrom = 0;
    int m_newlineAt = -2; // -2: nothing cached
    int m_nonSpaceFrom = 0;
    int m_nonSpaceAt = -2;
};

} // namespace ke2
