#include "language/mel_linter.h"

#include <QtCore/QSet>

#include <algorithm>

namespace ke2 {

namespace {

// Names MEL treats as statements or built-in functions of the language itself: never reported as
// unknown, whatever the host's lists say.
bool isLanguageBuiltin(QStringView word)
{
    // By length first: asked for the first call of every name of every part.
    const auto is = [word](QLatin1String builtin) { return word == builtin; };
    switch (word.size()) {
    case 4:
        return is(QLatin1String("eval")) || is(QLatin1String("size"));
    case 5:
        return is(QLatin1String("catch")) || is(QLatin1String("print")) || is(QLatin1String("clear"));
    case 6:
        return is(QLatin1String("source")) || is(QLatin1String("exists")) || is(QLatin1String("whatIs"))
               || is(QLatin1String("python"));
    case 8:
        return is(QLatin1String("evalEcho"));
    case 10:
        return is(QLatin1String("catchQuiet"));
    case 12:
        return is(QLatin1String("evalDeferred"));
    default:
        return false;
    }
}

// Brackets are told by their token's first character: no look into the text.
bool isOpener(QStringView, const MelToken &token)
{
    return token.kind == MelToken::VectorOpen
           || (token.kind == MelToken::Punct && (token.first == '(' || token.first == '[' || token.first == '{'));
}

bool isCloser(QStringView, const MelToken &token)
{
    return token.kind == MelToken::VectorClose
           || (token.kind == MelToken::Punct && (token.first == ')' || token.first == ']' || token.first == '}'));
}

// The return type as written ("string", "int[]"...): one of ten texts shared by all procedures.
QString returnTypeName(QStringView type, bool array)
{
    static const QString names[] = {QStringLiteral("int"),    QStringLiteral("int[]"),    QStringLiteral("float"),
                                    QStringLiteral("float[]"), QStringLiteral("string"),   QStringLiteral("string[]"),
                                    QStringLiteral("vector"), QStringLiteral("vector[]"), QStringLiteral("matrix"),
                                    QStringLiteral("matrix[]")};
    for (int i = 0; i < 10; i += 2) {
        if (type == QStringView(names[i]))
            return names[i + (array ? 1 : 0)];
    }
    return array ? type.toString() + QStringLiteral("[]") : type.toString();
}

QString argumentsText(int count)
{
    return count == 1 ? QStringLiteral("1 argument") : QStringLiteral("%1 arguments").arg(count);
}

// "=", "+=", "-=", "*=", "/=", "%=", "^=", "++" or "--".
bool isAssignmentText(const QChar *data, int length)
{
    if (length == 1)
        return data[0] == QLatin1Char('=');
    if (length != 2)
        return false;
    const ushort first = data[0].unicode();
    const ushort second = data[1].unicode();
    if (second == '=')
        return first == '+' || first == '-' || first == '*' || first == '/' || first == '%' || first == '^';
    return (first == '+' || first == '-') && second == first;
}

} // namespace

// Whether a string holds "proc ", "source " or "source(", "loadPlugin" or "python" (Python code
// can define procedures through the host): one pass over it, looking closer only at the letters
// those begin with.
static bool mayDefineNames(QStringView text)
{
    const auto at = [&text](qsizetype i, QLatin1String word) {
        if (text.size() - i < word.size())
            return false;
        for (qsizetype k = 0; k < word.size(); ++k) {
            if (text[i + k].unicode() != ushort(static_cast<unsigned char>(word[k].toLatin1())))
                return false;
        }
        return true;
    };
    const qsizetype size = text.size();
    for (qsizetype i = 0; i + 5 <= size; ++i) {
        switch (text[i].unicode()) {
        case 'p':
            if (at(i, QLatin1String("proc ")) || at(i, QLatin1String("python")))
                return true;
            break;
        case 's':
            if (at(i, QLatin1String("source ")) || at(i, QLatin1String("source(")))
                return true;
            break;
        case 'l':
            if (at(i, QLatin1String("loadPlugin")))
                return true;
            break;
        default:
            break;
        }
    }
    return false;
}

// --- names ----------------------------------------------------------------------------------------

void MelNameTable::Grow(int count)
{
    int size = std::max(32, int(m_slots.size()));
    while (count > size / 2)
        size *= 2;
    if (m_count == 0) {
        m_slots.resize(size);
        std::memset(static_cast<void *>(m_slots.data()), 0, sizeof(Slot) * size_t(size));
        return;
    }
    const QVarLengthArray<Slot, 32> old = m_slots;
    m_slots.resize(size);
    std::memset(static_cast<void *>(m_slots.data()), 0, sizeof(Slot) * size_t(size));
    const size_t mask = size_t(m_slots.size()) - 1;
    for (const Slot &slot : old) {
        if (!slot.data)
            continue;
        size_t at = slot.hash & mask;
        while (m_slots[at].data)
            at = (at + 1) & mask;
        m_slots[at] = slot;
    }
}

// --- syntax help --------------------------------------------------------------------------------

MelCommandSyntax MelCommandSyntax::FromHelpText(const QString &help)
{
    MelCommandSyntax syntax;
    const int flagsAt = help.indexOf(QLatin1String("Flags:"));
    if (flagsAt < 0)
        return syntax;
    const QStringList lines = help.mid(flagsAt + 6).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QStringList fields = line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (fields.isEmpty() || fields.at(0).size() < 2 || !fields.at(0).startsWith(QLatin1Char('-')))
            continue;
        Flag flag;
        flag.shortName = fields.at(0).mid(1);
        int next = 1;
        if (fields.size() > 1 && fields.at(1).size() > 1 && fields.at(1).startsWith(QLatin1Char('-'))) {
            flag.longName = fields.at(1).mid(1);
            next = 2;
        }
        flag.arguments = fields.mid(next).join(QLatin1Char(' '));
        syntax.flags.append(flag);
    }
    return syntax;
}

const MelCommandSyntax::Flag *MelCommandSyntax::Find(QStringView name) const
{
    if (name.isEmpty() || flags.size() < 8) {
        for (const Flag &flag : flags) {
            if (flag.shortName == name || flag.longName == name)
                return &flag;
        }
        return nullptr;
    }
    if (m_indexed != flags.constData() || m_indexedCount != flags.size()) {
        // Each name keeps the first flag that has it, as the search in order finds.
        m_index = MelNameTable();
        m_index.Reserve(2 * int(flags.size()));
        for (int i = 0; i < flags.size(); ++i) {
            for (const QString *flagName : {&flags.at(i).shortName, &flags.at(i).longName}) {
                if (!flagName->isEmpty())
                    m_index.Insert(QStringView(*flagName), i);
            }
        }
        m_indexed = flags.constData();
        m_indexedCount = int(flags.size());
    }
    const int found = m_index.Value(name);
    return found == MelNameTable::missing ? nullptr : &flags.at(found);
}

QString MelProcedure::Signature() const
{
    QString head = global ? QStringLiteral("global proc ") : QStringLiteral("proc ");
    if (!returnType.isEmpty())
        head += returnType + QLatin1Char(' ');
    return head + name + QLatin1Char('(') + parameterList + QLatin1Char(')');
}

// --- structure ------------------------------------------------------------------------------------

MelLinter::MelLinter(const QString &text)
    : m_ownText(text), m_ownTokens(TokenizeMel(text)), m_ownMatch(m_ownTokens.size()), m_text(m_ownText),
      m_tok(m_ownTokens.constData()), m_count(int(m_ownTokens.size())), m_match(m_ownMatch.data())
{
    MatchBrackets(m_ownMatch.data());
    FindProcedures();
}

MelLinter::MelLinter(QStringView text, const MelToken *tokens, int count, int *match)
    : m_text(text), m_tok(tokens), m_count(count), m_match(match)
{
    MatchBrackets(match);
    FindProcedures();
}

MelLinter::MelLinter(QStringView text, const MelToken *tokens, int count, const int *match,
                     const QVector<MelProcedure> &procedures, QVector<Call> *calls)
    : m_text(text), m_tok(tokens), m_count(count), m_match(match), m_procedures(procedures), m_calls(calls)
{
}

void MelLinter::MatchBrackets(int *match)
{
    QVarLengthArray<int, 64> open;
    for (int i = 0; i < m_count; ++i) {
        const MelToken &token = m_tok[i];
        match[i] = -1; // until a closer after it pairs with it
        if (token.kind == MelToken::Word) {
            if ((token.length == 4 && token.first == 'p') || (token.length == 6 && token.first == 'g'))
                m_keywords.append(i);
        } else if (isOpener(m_text, token)) {
            open.append(i);
        } else if (isCloser(m_text, token)) {
            // A closer pairs with the nearest opener of its own kind; openers left open between
            // them stay unmatched.
            const ushort close = token.first;
            const ushort want = token.kind == MelToken::VectorClose ? '<'
                                : close == ')'                     ? '('
                                : close == ']'                     ? '['
                                                                   : '{';
            for (int k = open.size() - 1; k >= 0; --k) {
                if (m_tok[open.at(k)].first == want) {
                    match[i] = open.at(k);
                    match[open.at(k)] = i;
                    while (open.size() > k) // not resize(), which reallocates on every call
                        open.removeLast();
                    break;
                }
            }
        }
    }
    m_keywordsFound = true;
}

void MelLinter::FindProcedures()
{
    const int count = m_count;
    int after = -1; // the last head read: the search goes on after it
    for (const int i : m_keywords) {
        if (i <= after || !IsWord(i, "proc"))
            continue;
        MelProcedure procedure;
        procedure.global = IsWord(i - 1, "global");
        int at = i + 1;
        // Return type: a type word, and "[]" for an array.
        if (at + 1 < count && m_tok[at].kind == MelToken::Word && IsMelTypeWord(TextOf(at))
            && !Is(at + 1, "(")) {
            const QStringView type = TextOf(at);
            ++at;
            const bool array = Is(at, "[") && Is(at + 1, "]");
            if (array)
                at += 2;
            procedure.returnType = returnTypeName(type, array);
        }
        if (at >= count || m_tok[at].kind != MelToken::Word || !Is(at + 1, "("))
            continue;
        const int open = at + 1;
        const int close = m_match[open];
        if (close < 0 || !Is(close + 1, "{"))
            continue;
        procedure.name = TextOf(at).toString();
        procedure.headToken = procedure.global ? i - 1 : i;
        procedure.nameToken = at;
        // Parameters: "type $name" or "type $name[]", separated by commas.
        procedure.parametersOpen = open;
        // Room for the list as written, a blank or ", " between any two tokens at most.
        if (close > open + 1)
            procedure.parameterList.reserve(m_tok[close].start - m_tok[open].start + 2 * (close - open));
        bool separator = false;
        for (int k = open + 1; k < close; ++k) {
            if (Is(k, ",")) {
                separator = true;
                continue;
            }
            if (m_tok[k].kind == MelToken::Variable)
                ++procedure.parameterCount;
            if (separator && !procedure.parameterList.isEmpty())
                procedure.parameterList += QLatin1String(", ");
            else if (!procedure.parameterList.isEmpty() && m_tok[k].spaceBefore)
                procedure.parameterList += QLatin1Char(' ');
            separator = false;
            procedure.parameterList.append(m_text.data() + m_tok[k].start, m_tok[k].length);
        }
        procedure.bodyOpen = close + 1;
        procedure.bodyClose = m_match[procedure.bodyOpen] >= 0 ? m_match[procedure.bodyOpen] : count - 1;
        const QStringView name = TextOf(at);
        const int parameters = procedure.parameterCount;
        bool first = false;
        int &found = m_procedureIndex.Insert(name, parameters, &first);
        if (!first && found != parameters)
            found = -2; // two definitions that disagree: no count is certain
        after = procedure.bodyOpen;
        m_procedures.append(std::move(procedure));
    }
}

bool MelLinter::IsProcedureName(int token) const
{
    // "proc name", "proc type name", "proc type[] name"
    return IsWord(token - 1, "proc")
           || (IsWord(token - 2, "proc") && m_tok[token - 1].kind == MelToken::Word && IsMelTypeWord(TextOf(token - 1)))
           || (Is(token - 1, "]") && Is(token - 2, "[") && IsWord(token - 4, "proc"));
}

bool MelLinter::DefinesProcedure(QStringView name) const
{
    return ProcedureParameters(name) != MelNameTable::missing;
}


bool MelLinter::IsAssignment(int token) const
{
    if (token < 0 || token >= m_count || m_tok[token].kind != MelToken::Operator)
        return false;
    const MelToken &t = m_tok[token];
    return isAssignmentText(m_text.data() + t.start, t.length);
}

void MelLinter::Warn(QVector<MelLintWarning> &out, int token, const QString &message) const
{
    const MelToken &t = m_tok[token];
    out.append({message, t.start, t.start + t.length});
}

// --- the statement walk ---------------------------------------------------------------------------

int MelLinter::CommandArgumentsEnd(int from, bool insideBackquote) const
{
    int depth = 0;
    bool innerBackquote = false;
    int i = from;
    for (; i < m_count; ++i) {
        const MelToken &token = m_tok[i];
        if (token.kind == MelToken::Backquote) {
            if (innerBackquote) {
                innerBackquote = false;
                --depth;
            } else if (insideBackquote && depth == 0) {
                break;
            } else {
                innerBackquote = true;
                ++depth;
            }
            continue;
        }
        if (isOpener(m_text, token)) {
            ++depth;
        } else if (isCloser(m_text, token)) {
            if (depth == 0)
                break;
            --depth;
        } else if (depth == 0 && Is(i, ";")) {
            break;
        }
    }
    return i;
}

const QVector<MelLinter::Call> &MelLinter::Calls() const
{
    if (!m_callsFound) {
        m_callsFound = true;
        FindCalls();
    }
    return *m_calls;
}

void MelLinter::FindCalls() const
{
    const MelNameTable &procedures = ProcedureTable();
    const bool anyProcedure = !procedures.IsEmpty();
    int caughtUntil = -1; // the closing parenthesis of the catch under way
    const auto visit = [&](Call &call) {
        if (anyProcedure)
            call.procedure = ProcedureParameters(TextOf(call.nameToken));
        call.caught = call.nameToken < caughtUntil;
        if (IsWord(call.nameToken, "catch") || IsWord(call.nameToken, "catchQuiet"))
            caughtUntil = std::max(caughtUntil, call.argumentsEnd);
        m_calls->append(call);
    };
    m_calls->clear();
    m_calls->reserve(m_count / 8);
    enum FrameType { Top, Block, Literal, Paren, Bracket, Vector, Backquote };
    struct Frame {
        FrameType type;
        bool atStart;
        bool head;         // the parentheses after if, while, for or switch
        bool caseLabel;    // the statement began with case or default: its ":" starts the next
        bool commandArgs;  // the rest of the statement are a command's arguments
    };
    QVarLengthArray<Frame, 32> stack;
    stack.append({Top, true, false, false, false});
    int nextProcedure = 0; // procedures come in text order: the next head to meet
    const auto atProcedureHead = [&](int token) {
        while (nextProcedure < m_procedures.size() && m_procedures.at(nextProcedure).headToken < token)
            ++nextProcedure;
        return nextProcedure < m_procedures.size() && m_procedures.at(nextProcedure).headToken == token;
    };
    bool pendingHead = false;
    const int count = m_count;
    for (int i = 0; i < count; ++i) {
        const MelToken &token = m_tok[i];
        Frame &frame = stack.last();
        const bool start = frame.atStart;
        frame.atStart = false;
        const bool head = pendingHead;
        pendingHead = false;
        switch (token.kind) {
        case MelToken::Backquote:
            if (frame.type == Backquote && stack.size() > 1)
                stack.removeLast();
            else
                stack.append({Backquote, true, false, false, false});
            continue;
        case MelToken::VectorOpen:
            stack.append({Vector, false, false, false, false});
            continue;
        case MelToken::VectorClose:
            if (frame.type == Vector && stack.size() > 1)
                stack.removeLast();
            continue;
        case MelToken::Punct: {
            const QChar ch(token.first);
            if (ch == QLatin1Char(';')) {
                if (frame.type == Top || frame.type == Block || frame.type == Backquote) {
                    frame.atStart = true;
                    frame.commandArgs = false;
                    frame.caseLabel = false;
                }
            } else if (ch == QLatin1Char('{')) {
                stack.append({start ? Block : Literal, start, false, false, false});
            } else if (ch == QLatin1Char('(')) {
                stack.append({Paren, false, head, false, false});
            } else if (ch == QLatin1Char('[')) {
                stack.append({Bracket, false, false, false, false});
            } else if (ch == QLatin1Char('}') || ch == QLatin1Char(')') || ch == QLatin1Char(']')) {
                const FrameType want = ch == QLatin1Char('}') ? (frame.type == Literal ? Literal : Block)
                                       : ch == QLatin1Char(')') ? Paren
                                                                : Bracket;
                // Close up to the frame this bracket belongs to; a stray closer closes nothing.
                int k = stack.size() - 1;
                while (k > 0 && stack.at(k).type != want)
                    --k;
                if (k > 0) {
                    const Frame closed = stack.at(k);
                    while (stack.size() > k) // not resize(), which reallocates on every call
                        stack.removeLast();
                    if (closed.type == Block || (closed.type == Paren && closed.head)) {
                        stack.last().atStart = true;
                        stack.last().commandArgs = false;
                    }
                }
            } else if (ch == QLatin1Char(':') && frame.caseLabel) {
                frame.caseLabel = false;
                frame.atStart = true;
            }
            continue;
        }
        case MelToken::Word:
            break;
        default:
            continue;
        }
        const QStringView word = TextOf(i);
        const bool callParen = Is(i + 1, "(") && !m_tok[i + 1].spaceBefore;
        if ((word == QLatin1String("catch") || word == QLatin1String("catchQuiet")) && Is(i + 1, "("))
            caughtUntil = std::max(caughtUntil, m_match[i + 1] >= 0 ? m_match[i + 1] : count);
        if (start) {
            if (word == QLatin1String("if") || word == QLatin1String("while") || word == QLatin1String("for")
                || word == QLatin1String("switch")) {
                pendingHead = true;
            } else if (word == QLatin1String("else") || word == QLatin1String("do")) {
                frame.atStart = true;
            } else if (word == QLatin1String("case") || word == QLatin1String("default")) {
                frame.caseLabel = true;
            } else if (atProcedureHead(i)) {
                // Skip the head: its name and parameters are no call. The body opens a block.
                i = m_procedures.at(nextProcedure).bodyOpen - 1;
                frame.atStart = true;
            } else if (IsMelReservedWord(word)) {
                // global, return, a declaration...: the statement goes on as an expression
            } else if (Is(i + 1, ".") || Is(i + 1, "=")) {
                // not a call: an attribute name or a misspelt assignment
            } else {
                Call call;
                call.nameToken = i;
                call.functionSyntax = callParen;
                if (callParen) {
                    call.argumentsBegin = i + 2;
                    call.argumentsEnd = m_match[i + 1] >= 0 ? m_match[i + 1] : count;
                } else {
                    call.argumentsBegin = i + 1;
                    call.argumentsEnd = CommandArgumentsEnd(i + 1, frame.type == Backquote);
                    frame.commandArgs = true;
                }
                visit(call);
            }
            continue;
        }
        // Inside an expression only "name(" calls; a command's bare words are its arguments. The
        // name of a procedure head the scan could not read is no call either.
        if (callParen && !frame.commandArgs && !IsMelReservedWord(word) && !Is(i - 1, ".") && !IsProcedureName(i)) {
            Call call;
            call.nameToken = i;
            call.functionSyntax = true;
            call.argumentsBegin = i + 2;
            call.argumentsEnd = m_match[i + 1] >= 0 ? m_match[i + 1] : count;
            visit(call);
        }
    }
}

bool MelLinter::Step(Nesting &nesting, int token) const
{
    const MelToken &t = m_tok[token];
    if (t.kind == MelToken::Backquote)
        nesting.backquote = !nesting.backquote;
    else if (isOpener(m_text, t))
        ++nesting.depth;
    else if (isCloser(m_text, t))
        --nesting.depth;
    else
        return false;
    return true;
}

int MelLinter::ArgumentCount(const Call &call) const
{
    const int begin = call.argumentsBegin;
    const int end = std::min(call.argumentsEnd, int(m_count));
    if (call.functionSyntax) {
        if (begin >= end)
            return 0;
        int commas = 0;
        Nesting nesting;
        for (int i = begin; i < end; ++i) {
            if (!Step(nesting, i) && nesting.Top() && Is(i, ","))
                ++commas;
        }
        return commas + 1;
    }
    // Command syntax: arguments are runs of tokens that touch, separated by blanks. Anything that
    // could be read two ways (an operator between words, a flag) leaves the count unknown.
    // "name (a, b)" reads as a function call to the host: a comma in a group in parentheses
    // leaves the count unknown too.
    int arguments = 0;
    int depth = 0;
    bool backquote = false;
    bool chunkStart = true;
    bool inParentheses = false;
    for (int i = begin; i < end; ++i) {
        const MelToken &token = m_tok[i];
        if (depth == 0 && !backquote && (token.spaceBefore || i == begin)) {
            ++arguments;
            chunkStart = true;
        }
        if (token.kind == MelToken::Backquote) {
            backquote = !backquote;
        } else if (isOpener(m_text, token)) {
            if (depth == 0)
                inParentheses = Is(i, "(");
            ++depth;
        } else if (isCloser(m_text, token)) {
            --depth;
        } else if (depth == 1 && inParentheses && !backquote && Is(i, ",")) {
            return -1;
        } else if (depth == 0 && !backquote) {
            if (token.kind == MelToken::Flag)
                return -1;
            if (token.kind == MelToken::Operator) {
                // Only a minus before a number is surely a sign: "-$x" may read as a subtraction.
                const bool sign = chunkStart && Is(i, "-") && i + 1 < end && !m_tok[i + 1].spaceBefore
                                  && m_tok[i + 1].kind == MelToken::Number;
                if (!sign)
                    return -1;
            }
            if (token.kind == MelToken::Punct && !Is(i, "."))
                return -1;
        }
        chunkStart = false;
    }
    return (depth == 0 && !backquote) ? arguments : -1;
}

// --- the checks ------------------------------------------------------------------------------------

void MelLinter::CheckUndeclaredVariables(QVector<MelLintWarning> &out) const
{
    // Names declared "global" anywhere in the file: their message says what is missing.
    MelFileContext ownGlobals;
    if (!m_file) {
        ownGlobals.makeGlobals = [this](MelNameTable &globals) {
            ForEachGlobalDeclaration([this, &globals](int token) { globals.Insert(TextOf(token), 1); });
        };
    }
    const MelFileContext &file = m_file ? *m_file : ownGlobals;
    // The names each procedure knows so far, by the number of the procedure that last met them:
    // one table for all procedures, never cleared.
    MelNameTable knownIn;
    int number = 0;
    for (const MelProcedure &procedure : m_procedures) {
        ++number;
        for (int k = procedure.parametersOpen + 1; k < procedure.bodyOpen - 1; ++k) {
            if (m_tok[k].kind == MelToken::Variable)
                knownIn.Insert(TextOf(k), number) = number;
        }
        int depth = 0;
        int declarationDepth = -1; // nesting depth of the declaration statement under way
        for (int i = procedure.bodyOpen + 1; i < procedure.bodyClose; ++i) {
            const MelToken &token = m_tok[i];
            if (isOpener(m_text, token)) {
                ++depth;
                continue;
            }
            if (isCloser(m_text, token)) {
                --depth;
                continue;
            }
            if (Is(i, ";") && depth <= declarationDepth) {
                declarationDepth = -1;
                continue;
            }
            if (token.kind != MelToken::Variable)
                continue;
            const QStringView name = TextOf(i);
            int &seenIn = knownIn.Insert(name, 0);
            if (seenIn == number)
                continue;
            seenIn = number;
            bool declares = false;
            if (m_tok[i - 1].kind == MelToken::Word && IsMelTypeWord(TextOf(i - 1))) {
                declares = true; // "int $x", "global string $g[]"
                declarationDepth = depth;
            } else if (declarationDepth == depth && Is(i - 1, ",")) {
                declares = true; // "int $a, $b"
            } else if (IsWord(i + 1, "in")) {
                declares = true; // "for ($item in $list)" declares the loop variable
            } else if (Is(i - 1, "++") || Is(i - 1, "--")) {
                declares = true; // left alone: an increment is not certain to read first
            } else {
                // An assignment declares: "$x = ...", "$a[2] = ...", "$v.x = ...", and the
                // compound ones, which are left alone.
                int k = i + 1;
                while (k < m_count) {
                    if (Is(k, "[") && m_match[k] > k)
                        k = m_match[k] + 1;
                    else if (Is(k, ".") && k + 1 < m_count && m_tok[k + 1].kind == MelToken::Word)
                        k += 2;
                    else
                        break;
                }
                declares = IsAssignment(k);
            }
            if (declares)
                continue;
            if (file.IsGlobal(name))
                Warn(out, i, QStringLiteral("Global variable %1 is used without a \"global\" declaration in procedure %2")
                                 .arg(name.toString(), procedure.name));
            else
                Warn(out, i, QStringLiteral("Variable %1 is used before it is declared or assigned in procedure %2")
                                 .arg(name.toString(), procedure.name));
        }
    }
}

void MelLinter::CheckArgumentCounts(QVector<MelLintWarning> &out) const
{
    if (ProcedureTable().IsEmpty())
        return;
    for (const Call &call : Calls()) {
        const int expected = call.procedure;
        if (expected < 0)
            continue;
        const int given = ArgumentCount(call);
        if (given < 0 || given == expected)
            continue;
        Warn(out, call.nameToken, QStringLiteral("Procedure %1 takes %2, called with %3")
                                      .arg(TextOf(call.nameToken).toString(), argumentsText(expected),
                                           QString::number(given)));
    }
}

void MelLinter::CheckReturnValues(QVector<MelLintWarning> &out) const
{
    for (const MelProcedure &procedure : m_procedures) {
        if (!procedure.returnType.isEmpty())
            continue;
        for (int i = procedure.bodyOpen + 1; i < procedure.bodyClose; ++i) {
            if (!IsWord(i, "return") || i + 1 >= procedure.bodyClose)
                continue;
            if (Is(i + 1, ";") || Is(i + 1, "}"))
                continue;
            Warn(out, i, QStringLiteral("Procedure %1 is declared without a return type but returns a value")
                             .arg(procedure.name));
        }
    }
}

QVector<int> MelLinter::GlobalDeclarations() const
{
    QVector<int> found;
    ForEachGlobalDeclaration([&found](int token) { found.append(token); });
    return found;
}

void MelNameUses::Append(const MelNameUses &other, int offset)
{
    for (MelToken token : other.calls) {
        token.start += offset;
        calls.append(token);
    }
    for (MelToken token : other.guarded) {
        token.start += offset;
        guarded.append(token);
    }
    runTime = runTime || other.runTime;
}

void MelLinter::CollectNameUses(MelNameUses &out) const
{
    const int count = m_count;
    for (int i = 0; i < count && !out.runTime; ++i) {
        const MelToken &token = m_tok[i];
        if (token.kind == MelToken::String) {
            const QStringView inside = TextOf(i).mid(1, token.length - 2);
            // Texts run later: a procedure defined, a script sourced or a plug-in loaded by them.
            if (mayDefineNames(inside)) {
                out.runTime = true;
            } else if (!inside.isEmpty() && token.length >= 3 && TextOf(i).endsWith(QLatin1Char('"'))
                       && std::all_of(inside.begin(), inside.end(), [](QChar c) {
                              return c.isLetterOrNumber() || c == QLatin1Char('_');
                          })) {
                // A name written as a string is most often tested for ("exists", "whatIs") or
                // run under a guard: calls of it are left alone.
                out.guarded.append({token.start + 1, token.length - 2, MelToken::Word, false});
            }
        } else if (token.kind == MelToken::Word) {
            // Sources scripts, loads plug-ins, makes commands, asks whether one is loaded, or runs
            // Python, whose modules may define procedures through the host when imported.
            if (IsWord(i, "source") || IsWord(i, "loadPlugin") || IsWord(i, "pluginInfo")
                || IsWord(i, "runTimeCommand") || IsWord(i, "nameCommand") || IsWord(i, "rehash")
                || IsWord(i, "python") || IsWord(i, "callPython"))
                out.runTime = true;
            else if ((IsWord(i, "exists") || IsWord(i, "whatIs")) && i + 1 < count
                     && m_tok[i + 1].kind == MelToken::Word)
                out.guarded.append(m_tok[i + 1]);
        }
    }
    if (out.runTime)
        return;
    MelNameTable seen;
    out.calls.reserve(out.calls.size() + Calls().size());
    for (const Call &call : Calls()) {
        if (call.procedure != -1 || call.caught)
            continue; // defined in this file, or caught when missing
        const QStringView word = TextOf(call.nameToken);
        bool first = false;
        seen.Insert(word, 1, &first);
        if (first && !IsMelReservedWord(word) && !isLanguageBuiltin(word))
            out.calls.append(m_tok[call.nameToken]);
    }
}

void MelNameUseCounts::Add(QStringView text, const MelNameUses &uses, int sign)
{
    const auto count = [&](const MelToken &token) -> Entry & {
        const QStringView name = text.mid(token.start, token.length);
        int index = m_index.Value(name);
        if (index == MelNameTable::missing) {
            // The table keeps a view: of the entry's own copy of the name, which moves with it.
            index = int(m_entries.size());
            m_entries.push_back({name.toString(), 0, 0});
            m_index.Insert(QStringView(m_entries.back().name), index);
        }
        return m_entries[size_t(index)];
    };
    for (const MelToken &token : uses.calls)
        count(token).calls += sign;
    for (const MelToken &token : uses.guarded)
        count(token).guards += sign;
    if (uses.runTime)
        m_runTime += sign;
    // Names typed and gone again stay behind with no count: drop them now and then.
    if (m_entries.size() > 2 * m_compactedSize + 64) {
        std::vector<Entry> live;
        for (Entry &entry : m_entries) {
            if (entry.calls != 0 || entry.guards != 0)
                live.push_back(std::move(entry));
        }
        m_entries.swap(live);
        m_index = MelNameTable();
        for (int i = 0; i < int(m_entries.size()); ++i)
            m_index.Insert(QStringView(m_entries[size_t(i)].name), i);
        m_compactedSize = m_entries.size();
    }
}

MelNameTable MelNameUseCounts::UnknownNames(MelNameSource &names) const
{
    MelNameTable unknown;
    if (m_runTime > 0 || !names.KnowsCommands())
        return unknown;
    for (const Entry &entry : m_entries) {
        if (entry.calls <= 0 || entry.guards > 0)
            continue;
        if (!names.IsKnownName(entry.name))
            unknown.Insert(QStringView(entry.name), 1);
        else if (names.IsUnsourcedScript(entry.name))
            return MelNameTable();
    }
    return unknown;
}

void MelLinter::ReportUnknownNames(QStringView text, const QVector<MelToken> &calls, int offset,
                                   MelNameTable &unknown, QVector<MelLintWarning> &out)
{
    for (const MelToken &token : calls) {
        const QStringView word = text.mid(token.start + offset, token.length);
        int &left = unknown.Insert(word, 0);
        if (left != 1)
            continue;
        left = 0; // the first call only
        out.append({QStringLiteral("Unknown command or procedure %1").arg(word.toString()), token.start + offset,
                    token.start + offset + token.length});
    }
}

void MelLinter::CheckUnknownCommands(MelNameSource &names, QVector<MelLintWarning> &out) const
{
    if (!names.KnowsCommands())
        return;
    MelNameUses uses;
    CollectNameUses(uses);
    MelNameUseCounts counts;
    counts.Add(m_text, uses, 1);
    MelNameTable unknown = counts.UnknownNames(names);
    if (!unknown.IsEmpty())
        ReportUnknownNames(m_text, uses.calls, 0, unknown, out);
}

void MelLinter::CheckUnknownFlags(MelNameSource &names, QVector<MelLintWarning> &out) const
{
    if (!names.KnowsCommands())
        return;
    MelSyntaxCache own;
    MelNameTable &commands = m_syntaxCache ? m_syntaxCache->index : own.index;
    QVector<const MelCommandSyntax *> &syntaxes = m_syntaxCache ? m_syntaxCache->syntaxes : own.syntaxes;
    for (const Call &call : Calls()) {
        if (call.functionSyntax || call.argumentsBegin >= call.argumentsEnd)
            continue;
        const QStringView word = TextOf(call.nameToken);
        Nesting nesting;
        const MelCommandSyntax *syntax = nullptr;
        bool asked = false;
        for (int i = call.argumentsBegin; i < call.argumentsEnd; ++i) {
            Step(nesting, i);
            if (m_tok[i].kind != MelToken::Flag || !nesting.Top())
                continue;
            if (!asked) {
                asked = true;
                bool first = false;
                const int index = commands.Insert(word, int(syntaxes.size()), &first);
                if (first) {
                    const bool ours = IsMelReservedWord(word) || call.procedure != -1;
                    syntaxes.append(ours ? nullptr : names.CommandSyntax(word.toString()));
                }
                syntax = syntaxes.at(index);
            }
            if (!syntax || syntax->flags.isEmpty())
                break;
            const QStringView flag = TextOf(i).mid(1);
            // Query and edit are the host's own flags for every command that has them.
            const bool queryOrEdit = flag == QLatin1String("q") || flag == QLatin1String("e")
                                     || flag == QLatin1String("query") || flag == QLatin1String("edit");
            if (!queryOrEdit && !syntax->Find(flag))
                Warn(out, i, QStringLiteral("Command %1 has no flag -%2").arg(word.toString(), flag.toString()));
        }
    }
}

QVector<MelLintWarning> MelLinter::Run(MelNameSource *names) const
{
    QVector<MelLintWarning> warnings;
    CheckUndeclaredVariables(warnings);
    CheckArgumentCounts(warnings);
    CheckReturnValues(warnings);
    if (names) {
        CheckUnknownCommands(*names, warnings);
        CheckUnknownFlags(*names, warnings);
    }
    std::stable_sort(warnings.begin(), warnings.end(),
                     [](const MelLintWarning &a, const MelLintWarning &b) { return a.start < b.start; });
    return warnings;
}

} // namespace ke2
