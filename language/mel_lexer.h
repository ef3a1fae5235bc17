#pragma once

#include <QtCore/QString>
#include <QtCore/QStringView>
#include <QtCore/QVector>

namespace ke2 {

// One MEL token: a range of the text and what it is. Tokens keep offsets only, so that a buffer
// of millions of tokens allocates one vector and no strings.
struct MelToken {
    enum Kind : unsigned char {
        Word,        // an identifier: command, procedure, keyword or bare word
        Variable,    // "$name"
        Number,      // "12", "1.5e-3", ".5", "0x1F"
        String,      // a double-quoted string, quotes included
        Flag,        // "-name" after a blank: a command flag where the command takes flags
        Backquote,   // "`", opens or closes a command substitution
        VectorOpen,  // "<<"
        VectorClose, // ">>"
        Operator,    // "==", "+=", "++", "&&", "!", "+", ...
        Punct,       // one of ";,(){}[].:?" and anything else
    };
    int start = 0;
    int length = 0;
    Kind kind = Punct;
    bool spaceBefore = false; // a blank, line break or comment separates it from the token before
    ushort first = 0;         // its first character: most symbols are told by it alone
};

// Splits MEL text into tokens. Comments and blanks are dropped (they only set `spaceBefore`);
// strings run to their closing quote, a backslash escaping the next character, or end at the line
// break where they are left open.
QVector<MelToken> TokenizeMel(const QString &text);
// The same, appended to `out`: the linter tokenizes the parts of a file into one buffer.
void TokenizeMel(QStringView text, QVector<MelToken> &out);

inline QStringView TokenText(const QString &text, const MelToken &token)
{
    return QStringView(text).mid(token.start, token.length);
}

// Whether `token` is the punctuation or operator `symbol` (one or two Latin-1 characters).
bool IsMelSymbol(const QString &text, const MelToken &token, const char *symbol);

// Whether `word` is one of MEL's reserved words (keywords and the type names).
bool IsMelReservedWord(QStringView word);
// Whether `word` is one of MEL's type names: int, float, string, vector, matrix.
bool IsMelTypeWord(QStringView word);

} // namespace ke2
