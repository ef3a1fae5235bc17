#include "language/mel_lexer.h"

#include <algorithm>

namespace ke2 {

namespace {

// What each ASCII character starts, asked for every character: one look-up and one jump
// instead of a test per kind of token.
enum CharClass : unsigned char {
    Other, // punctuation, and any character that is no blank outside ASCII
    Blank,
    IdentStart,
    Digit,
    Dollar,
    Dot,
    Quote,
    Minus,
    Slash,
    Backquote,
    Less,
    Greater,
    OperatorChar, // = ! & | + * % ^
};

struct CharClasses {
    unsigned char of[128] = {};
    bool ident[128] = {};
    constexpr CharClasses()
    {
        for (int c = 'a'; c <= 'z'; ++c)
            of[c] = IdentStart;
        for (int c = 'A'; c <= 'Z'; ++c)
            of[c] = IdentStart;
        of[int('_')] = IdentStart;
        for (int c = '0'; c <= '9'; ++c)
            of[c] = Digit;
        for (int c = 0; c < 128; ++c)
            ident[c] = of[c] == IdentStart || of[c] == Digit;
        for (const char c : {' ', '\t', '\n', '\r', '\f', '\v'})
            of[int(c)] = Blank;
        of[int('$')] = Dollar;
        of[int('.')] = Dot;
        of[int('"')] = Quote;
        of[int('-')] = Minus;
        of[int('/')] = Slash;
        of[int('`')] = Backquote;
        of[int('<')] = Less;
        of[int('>')] = Greater;
        for (const char c : {'=', '!', '&', '|', '+', '*', '%', '^'})
            of[int(c)] = OperatorChar;
    }
};
constexpr CharClasses charClasses;

inline unsigned char classOf(ushort u)
{
    if (u < 128)
        return charClasses.of[u];
    return (u == 0x2029 || u == 0xa0) ? Blank : Other;
}

inline bool isIdentStart(ushort u)
{
    return u < 128 && charClasses.of[u] == IdentStart;
}

inline bool isIdentChar(ushort u)
{
    return u < 128 && charClasses.ident[u];
}

inline bool isDigit(ushort u)
{
    return u >= '0' && u <= '9';
}

inline bool isBlank(ushort u)
{
    return classOf(u) == Blank;
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
    const auto identEnd = [data, length](int end) {
        while (end < length && isIdentChar(data[end]))
            ++end;
        return end;
    };
    const auto numberEnd = [data, length](int at) {
        int end = at;
        if (data[at] == '0' && at + 1 < length && (data[at + 1] == 'x' || data[at + 1] == 'X')) {
            end += 2;
            while (end < length && isIdentChar(data[end]))
                ++end;
            return end;
        }
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
        return end;
    };
    bool space = true;
    int at = 0;
    while (at < length) {
        const ushort u = data[at];
        const unsigned char what = classOf(u);
        if (what == Blank) {
            ++at;
            while (at < length && isBlank(data[at]))
                ++at;
            space = true;
            continue;
        }
        const ushort next = at + 1 < length ? data[at + 1] : 0;
        if (what == Slash && next == '/') {
            at += 2;
            while (at < length && data[at] != '\n' && data[at] != 0x2029)
                ++at;
            space = true;
            continue;
        }
        if (what == Slash && next == '*') {
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
        switch (what) {
        case IdentStart:
            token.kind = MelToken::Word;
            at = identEnd(at + 1);
            break;
        case Dollar:
            if (isIdentStart(next)) {
                token.kind = MelToken::Variable;
                at = identEnd(at + 2);
            } else {
                token.kind = MelToken::Punct;
                at += 1;
            }
            break;
        case Dot:
            if (isDigit(next)) {
                token.kind = MelToken::Number;
                at = numberEnd(at);
            } else {
                token.kind = MelToken::Punct;
                at += 1;
            }
            break;
        case Digit:
            token.kind = MelToken::Number;
            at = numberEnd(at);
            break;
        case Quote: {
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
            break;
        }
        case Backquote:
            token.kind = MelToken::Backquote;
            at += 1;
            break;
        case Minus:
        case Less:
        case Greater:
        case Slash:
        case OperatorChar:
            if (what == Minus && token.spaceBefore && isIdentStart(next)) {
                token.kind = MelToken::Flag;
                at = identEnd(at + 2);
            } else if (what == Less && next == '<') {
                token.kind = MelToken::VectorOpen;
                at += 2;
            } else if (what == Greater && next == '>') {
                token.kind = MelToken::VectorClose;
                at += 2;
            } else {
                token.kind = MelToken::Operator;
                at += at + 1 < length && pairs(u, next) ? 2 : 1;
            }
            break;
        default:
            token.kind = MelToken::Punct;
            at += 1;
            break;
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
