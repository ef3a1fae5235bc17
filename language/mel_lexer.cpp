#include "language/mel_lexer.h"

#include <algorithm>

namespace ke2 {

namespace {

// What each ASCII character can be, asked for every character: one look-up instead of ranges.
enum CharClass : unsigned char { IdentStart = 1, IdentChar = 2, Digit = 4, Blank = 8 };

struct CharClasses {
    unsigned char of[128] = {};
    constexpr CharClasses()
    {
        for (int c = 'a'; c <= 'z'; ++c)
            of[c] = IdentStart | IdentChar;
        for (int c = 'A'; c <= 'Z'; ++c)
            of[c] = IdentStart | IdentChar;
        of[int('_')] = IdentStart | IdentChar;
        for (int c = '0'; c <= '9'; ++c)
            of[c] = IdentChar | Digit;
        for (const char c : {' ', '\t', '\n', '\r', '\f', '\v'})
            of[int(c)] = Blank;
    }
};
constexpr CharClasses charClasses;

inline bool is(ushort u, unsigned char what)
{
    return u < 128 && (charClasses.of[u] & what);
}

inline bool isIdentStart(ushort u)
{
    return is(u, IdentStart);
}

inline bool isIdentChar(ushort u)
{
    return is(u, IdentChar);
}

inline bool isDigit(ushort u)
{
    return u >= '0' && u <= '9';
}

inline bool isBlank(ushort u)
{
    return u < 128 ? bool(charClasses.of[u] & Blank) : (u == 0x2029 || u == 0xa0);
}

// Two-character operators; the first character decides which second ones pair with it.
inline bool pairs(ushort first, ushort second)
{
    switch (first) {
    case '=':
    case '!':
        return second == '=';
    case '<':
        return second == '=' || second == '<';
    case '>':
        return second == '=' || second == '>';
    case '&':
        return second == '&';
    case '|':
        return second == '|';
    case '+':
        return second == '+' || second == '=';
    case '-':
        return second == '-' || second == '=';
    case '*':
    case '/':
    case '%':
    case '^':
        return second == '=';
    default:
        return false;
    }
}

} // namespace

QVector<MelToken> TokenizeMel(const QString &text)
{
    QVector<MelToken> tokens;
    TokenizeMel(QStringView(text), tokens);
    return tokens;
}

void TokenizeMel(QStringView text, QVector<MelToken> &tokens)
{
    // About one token for every five characters of typical scripts: room for one in four.
    if (tokens.capacity() < tokens.size() + text.size() / 4 + 16)
        tokens.reserve(std::max(tokens.size() * 2, tokens.size() + int(text.size()) / 4 + 16));
    const ushort *data = reinterpret_cast<const ushort *>(text.data());
    const int length = int(text.size());
    bool space = true;
    int at = 0;
    while (at < length) {
        const ushort u = data[at];
        if (isBlank(u)) {
            space = true;
            ++at;
            continue;
        }
        if (u == '/' && at + 1 < length && data[at + 1] == '/') {
            at += 2;
            while (at < length && data[at] != '\n' && data[at] != 0x2029)
                ++at;
            space = true;
            continue;
        }
        if (u == '/' && at + 1 < length && data[at + 1] == '*') {
            at += 2;
            while (at + 1 < length && !(data[at] == '*' && data[at + 1] == '/'))
                ++at;
            at = at + 1 < length ? at + 2 : length;
            space = true;
            continue;
        }
        MelToken token;
        token.start = at;
        token.spaceBefore = space;
        token.first = u;
        space = false;
        if (isIdentStart(u)) {
            int end = at + 1;
            while (end < length && isIdentChar(data[end]))
                ++end;
            token.kind = MelToken::Word;
            at = end;
        } else if (u == '$' && at + 1 < length && isIdentStart(data[at + 1])) {
            int end = at + 2;
            while (end < length && isIdentChar(data[end]))
                ++end;
            token.kind = MelToken::Variable;
            at = end;
        } else if (isDigit(u) || (u == '.' && at + 1 < length && isDigit(data[at + 1]))) {
            int end = at;
            if (u == '0' && at + 1 < length && (data[at + 1] == 'x' || data[at + 1] == 'X')) {
                end += 2;
                while (end < length && isIdentChar(data[end]))
                    ++end;
            } else {
                while (end < length && (isDigit(data[end]) || data[end] == '.'))
                    ++end;
                if (end < length && (data[end] == 'e' || data[end] == 'E')) {
                    int exponent = end + 1;
                    if (exponent < length && (data[exponent] == '+' || data[exponent] == '-'))
                        ++exponent;
                    if (exponent < length && isDigit(data[exponent])) {
                        end = exponent;
                        while (end < length && isDigit(data[end]))
                            ++end;
                    }
                }
            }
            token.kind = MelToken::Number;
            at = end;
        } else if (u == '"') {
            int end = at + 1;
            while (end < length) {
                const ushort c = data[end];
                if (c == '\\' && end + 1 < length) {
                    end += 2; // an escaped quote, backslash or line break
                    continue;
                }
                if (c == '"') {
                    ++end;
                    break;
                }
                if (c == '\n' || c == 0x2029)
                    break; // left open: the scanner reports it; the line break ends it here
                ++end;
            }
            token.kind = MelToken::String;
            at = end;
        } else if (u == '-' && token.spaceBefore && at + 1 < length && isIdentStart(data[at + 1])) {
            int end = at + 2;
            while (end < length && isIdentChar(data[end]))
                ++end;
            token.kind = MelToken::Flag;
            at = end;
        } else if (u == '`') {
            token.kind = MelToken::Backquote;
            at += 1;
        } else if (u == '<' && at + 1 < length && data[at + 1] == '<') {
            token.kind = MelToken::VectorOpen;
            at += 2;
        } else if (u == '>' && at + 1 < length && data[at + 1] == '>') {
            token.kind = MelToken::VectorClose;
            at += 2;
        } else if (at + 1 < length && pairs(u, data[at + 1])) {
            token.kind = MelToken::Operator;
            at += 2;
        } else {
            switch (u) {
            case '=': case '!': case '<': case '>': case '&': case '|': case '+': case '-':
            case '*': case '/': case '%': case '^':
                token.kind = MelToken::Operator;
                break;
            default:
                token.kind = MelToken::Punct;
                break;
            }
            at += 1;
        }
        token.length = at - token.start;
        tokens.append(token);
    }
}

bool IsMelSymbol(const QString &text, const MelToken &token, const char *symbol)
{
    if (token.kind != MelToken::Punct && token.kind != MelToken::Operator && token.kind != MelToken::Backquote
        && token.kind != MelToken::VectorOpen && token.kind != MelToken::VectorClose)
        return false;
    const QChar *data = text.constData() + token.start;
    int i = 0;
    for (; symbol[i]; ++i) {
        if (i >= token.length || data[i] != QLatin1Char(symbol[i]))
            return false;
    }
    return i == token.length;
}

bool IsMelTypeWord(QStringView word)
{
    switch (word.size()) {
    case 3:
        return word == QLatin1String("int");
    case 5:
        return word == QLatin1String("float");
    case 6:
        return word == QLatin1String("string") || word == QLatin1String("vector") || word == QLatin1String("matrix");
    default:
        return false;
    }
}

bool IsMelReservedWord(QStringView word)
{
    // Asked for most words of a script: by length first, then the few words of that length.
    const auto is = [word](const char *reserved) { return word == QLatin1String(reserved); };
    switch (word.size()) {
    case 2:
        return is("do") || is("if") || is("in") || is("no") || is("on");
    case 3:
        return is("for") || is("int") || is("off") || is("yes");
    case 4:
        return is("case") || is("else") || is("proc") || is("true");
    case 5:
        return is("break") || is("false") || is("float") || is("while");
    case 6:
        return is("global") || is("return") || is("switch") || is("string") || is("vector") || is("matrix");
    case 7:
        return is("default");
    case 8:
        return is("continue");
    default:
        return false;
    }
}

} // namespace ke2
