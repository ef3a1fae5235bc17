#pragma once

#include "language/mel_lexer.h"

#include <QtCore/QHash>
#include <QtCore/QStringList>
#include <QtCore/QVarLengthArray>
#include <QtCore/QVector>

#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

namespace ke2 {

struct MelCommandSyntax;

// What the linter asks about names that the file does not define.
class MelNameSource {
public:
    virtual ~MelNameSource() = default;
    // Whether the host's command lists are there; without them no command or flag is checked.
    virtual bool KnowsCommands() const = 0;
    // A command, run-time command, procedure of the host or procedure of an open buffer.
    virtual bool IsKnownName(const QString &name) = 0;
    // The flags of the host command `name`; null when it is no command or its syntax is unknown.
    virtual const MelCommandSyntax *CommandSyntax(const QString &name) = 0;
    // A script on the host's path that is not sourced yet: calling it sources it, and whatever
    // procedures it defines become known only then.
    virtual bool IsUnsourcedScript(const QString &name) { Q_UNUSED(name) return false; }
    // Changes whenever CommandSyntax() or KnowsCommands() may answer otherwise than before, so
    // that flag warnings worked out earlier can be kept; -1: not known, nothing is kept.
    virtual int SyntaxRevision() { return -1; }
};

// Names (views of text that outlives the table) to numbers, asked for nearly every token by the
// checks: one block of slots, probed in turn, so that neither an insert nor a look-up allocates.
class MelNameTable {
public:
    static constexpr int missing = -1;
    bool IsEmpty() const { return m_count == 0; }
    int Value(QStringView name, int otherwise = missing) const { return Value(name, Hash(name), otherwise); }
    // The same with the name's Hash() worked out before.
    int Value(QStringView name, uint hash, int otherwise) const
    {
        if (m_slots.isEmpty())
            return otherwise;
        const Slot &slot = m_slots[Find(name, hash)];
        return slot.data ? slot.value : otherwise;
    }
    // The value of `name`, inserted as `value` when it is new; `inserted` says which.
    int &Insert(QStringView name, int value, bool *inserted = nullptr)
    {
        return Insert(name, Hash(name), value, inserted);
    }
    // The same with the name's Hash() worked out before, while its text was at hand.
    int &Insert(QStringView name, uint hash, int value, bool *inserted = nullptr)
    {
        // At most half full: probes stay short.
        if (m_count + 1 > m_slots.size() / 2)
            Grow(m_count + 1);
        Slot &slot = m_slots[Find(name, hash)];
        if (inserted)
            *inserted = !slot.data;
        if (!slot.data) {
            slot.data = name.data();
            slot.length = int(name.size());
            slot.hash = hash;
            slot.value = value;
            ++m_count;
        }
        return slot.value;
    }
    // Room for `count` names without growing again.
    void Reserve(int count)
    {
        if (count > m_slots.size() / 2)
            Grow(count);
    }

    // Asked for every variable and call: the length and the first and last four characters
    // (where most generated names differ) are mixed in a few steps, whatever the length.
    static uint Hash(QStringView name)
    {
        const qsizetype size = name.size();
        if (size < 4) {
            uint h = 2166136261u;
            for (const QChar c : name)
                h = (h ^ c.unicode()) * 16777619u;
            return h;
        }
        quint64 head = 0;
        quint64 tail = 0;
        std::memcpy(&head, name.data(), sizeof head);
        std::memcpy(&tail, name.data() + size - 4, sizeof tail);
        const quint64 h = (head * 0x9E3779B97F4A7C15ull) ^ (tail * 0xC2B2AE3D27D4EB4Full) ^ quint64(size);
        return uint(h >> 32) ^ uint(h);
    }

    // A name's place; free while `data` is null. Plain data: tables are made zeroed, in one go.
    struct Slot {
        const QChar *data;
        int length;
        uint hash;
        int value;
    };

private:
    void Grow(int count);
    size_t Find(QStringView name, uint hash) const
    {
        const size_t mask = m_slots.size() - 1;
        for (size_t at = hash & mask;; at = (at + 1) & mask) {
            const Slot &slot = m_slots[at];
            if (!slot.data || (slot.hash == hash && slot.length == name.size()
                               && std::equal(name.begin(), name.end(), slot.data)))
                return at;
        }
    }
    // Most tables (a procedure's variables, a part's names) fit the first slots: no allocation.
    QVarLengthArray<Slot, 32> m_slots;
    int m_count = 0;
};

} // namespace ke2

Q_DECLARE_TYPEINFO(ke2::MelNameTable::Slot, Q_PRIMITIVE_TYPE);

namespace ke2 {

// A command's flags as the host's syntax help lists them.
struct MelCommandSyntax {
    struct Flag {
        QString shortName; // without the "-"
        QString longName;  // without the "-"; may be empty
        QString arguments; // the argument types as the host writes them ("Int", "Length Length Length")
    };
    QVector<Flag> flags;

    MelCommandSyntax() = default;
    // A copy makes its own index of its own names.
    MelCommandSyntax(const MelCommandSyntax &other) : flags(other.flags) {}
    MelCommandSyntax &operator=(const MelCommandSyntax &other)
    {
        flags = other.flags;
        m_index = MelNameTable();
        m_indexed = nullptr;
        return *this;
    }

    // Reads the text of the host's "help -syntaxOnly": every line after "Flags:" that starts with
    // a flag. Empty when the text lists no flags.
    static MelCommandSyntax FromHelpText(const QString &help);
    // The flag named `name` (short or long, without "-"), or null: the first in the list.
    const Flag *Find(QStringView name) const;

private:
    // Asked for every flag of every command of a file: the names of a long list are indexed at
    // the first question (views of `flags`, made again should the list be another one).
    mutable MelNameTable m_index;
    mutable const Flag *m_indexed = nullptr;
    mutable int m_indexedCount = 0;
};

// What the rest of a file tells the checks of one part of it: the procedures the whole file
// defines (name -> number of parameters, -2 when two definitions disagree) and the variables it
// declares "global" anywhere.
struct MelFileContext {
    MelNameTable procedures;
    // The number of parameters of the file's procedure `name`, MelNameTable::missing when the
    // file defines none. Asked for every call: a bit per hash, in a block small enough to stay
    // at hand, answers most calls of other names without a look into the large table.
    int Procedure(QStringView name) const
    {
        const uint hash = MelNameTable::Hash(name);
        if (!procedureBits.empty()) {
            const uint bit = (hash ^ (hash >> 16)) & procedureBitMask;
            if (!(procedureBits[bit >> 6] >> (bit & 63) & 1))
                return MelNameTable::missing;
        }
        return procedures.Value(name, hash, MelNameTable::missing);
    }
    // Sets the bits of the names in `procedures`, whose hashes are `hashes`.
    void MarkProcedures(const std::vector<uint> &hashes)
    {
        size_t bits = 64;
        while (bits < 8 * hashes.size())
            bits *= 2;
        procedureBits.assign(bits / 64, 0);
        procedureBitMask = uint(bits - 1);
        for (const uint hash : hashes) {
            const uint bit = (hash ^ (hash >> 16)) & procedureBitMask;
            procedureBits[bit >> 6] |= quint64(1) << (bit & 63);
        }
    }
    std::vector<quint64> procedureBits; // empty: not made, every name is looked up
    uint procedureBitMask = 0;
    // Whether the file declares `name` global. Asked only for a warning's message, which is rare:
    // the table is made by `makeGlobals` at the first question.
    bool IsGlobal(QStringView name) const
    {
        if (!globalsMade && makeGlobals)
            makeGlobals(globals);
        globalsMade = true;
        return globals.Value(name) == 1;
    }
    std::function<void(MelNameTable &)> makeGlobals;
    mutable MelNameTable globals;
    mutable bool globalsMade = false;
};

// The names a text calls without defining them, for the unknown-command check, which needs them
// for the whole file: token ranges of the text (only start and length are meaningful).
struct MelNameUses {
    QVector<MelToken> calls;   // the first call of each name, outside catch
    QVector<MelToken> guarded; // names the text tests for (exists, whatIs) or writes as a string
    bool runTime = false;      // the text may define names at run time (sources, loads plug-ins...)
    void Append(const MelNameUses &other, int offset);
};

// How many parts of a file call, or test for, each name: kept up to date part by part, so that
// the unknown-name check over a whole file costs what its names are, not what its calls are.
class MelNameUseCounts {
public:
    // Counts the names of `uses` (ranges of `text`) in (sign 1) or out (sign -1).
    void Add(QStringView text, const MelNameUses &uses, int sign);
    // The names called and neither tested for nor known to `names`; none when the file may
    // define names at run time or calls a script not sourced yet, which may define any of them.
    MelNameTable UnknownNames(MelNameSource &names) const;

private:
    struct Entry {
        QString name;
        int calls = 0;
        int guards = 0;
    };
    std::vector<Entry> m_entries; // the table's views point into their names
    MelNameTable m_index;
    size_t m_compactedSize = 0;
    int m_runTime = 0;
};

// The syntax the flag check found for each command name, kept while the parts of one file are
// checked in turn: each command is asked for once a lint, not once a part.
struct MelSyntaxCache {
    MelNameTable index; // command (a view of text that outlives the cache) -> index in syntaxes
    QVector<const MelCommandSyntax *> syntaxes;
};

// A procedure as the file defines it.
struct MelProcedure {
    QString name;
    QString returnType;          // empty when declared without one ("string[]" for arrays)
    QString parameterList;       // as written: "string $names[], int $count"
    int parameterCount = 0;
    int parametersOpen = -1;     // token index of "("
    bool global = false;
    int headToken = -1; // "global" or "proc"
    int nameToken = -1;
    int bodyOpen = -1;  // token index of "{"
    int bodyClose = -1; // token index of the matching "}", or the last token when unclosed

    QString Signature() const;
};

struct MelLintWarning {
    QString message;
    int start = 0;
    int end = 0;
    bool operator==(const MelLintWarning &other) const
    {
        return message == other.message && start == other.start && end == other.end;
    }
};

// Checks a MEL text for mistakes that are certain: each check warns only where the host would
// refuse the script or fail at run time, never on a correct script. Construction tokenizes the
// text and finds its procedures; each check then reads them.
class MelLinter {
public:
    explicit MelLinter(const QString &text);
    // A linter over tokens made elsewhere: `tokens` (ranges of `text`) and `match` (room for one
    // int per token) must outlive it. A file's parts are linted so, from one buffer for all.
    MelLinter(QStringView text, const MelToken *tokens, int count, int *match);
    // The same, for tokens a linter read before: `match` holds its bracket pairs and `procedures`
    // its procedures, neither is looked for again. Its calls are found into `calls`, a buffer the
    // linters of one file share in turn.
    struct Call;
    MelLinter(QStringView text, const MelToken *tokens, int count, const int *match,
              const QVector<MelProcedure> &procedures, QVector<Call> *calls);
    MelLinter(const MelLinter &) = delete;
    MelLinter &operator=(const MelLinter &) = delete;
    // `text` is one part of a file: names defined elsewhere in the file come from `file`. Set
    // before any check runs; `file` must outlive the checks.
    void SetFileContext(const MelFileContext *file) { m_file = file; }
    // The flag check's answers are kept in `cache` (which must outlive the check) for the next
    // linter of the same file and host lists.
    void SetSyntaxCache(MelSyntaxCache *cache) { m_syntaxCache = cache; }
    // The names this text declares global (token indices).
    QVector<int> GlobalDeclarations() const;
    // The same, each handed to `visit` in text order: nothing is allocated.
    template <typename Visit>
    void ForEachGlobalDeclaration(Visit &&visit) const
    {
        const auto declaration = [&](int i) {
            if (i + 2 >= m_count || !IsWord(i, "global") || m_tok[i + 1].kind != MelToken::Word
                || !IsMelTypeWord(TextOf(i + 1)))
                return i;
            int k = i + 2;
            for (; k < m_count && !Is(k, ";"); ++k) {
                if (m_tok[k].kind == MelToken::Variable && (k == i + 2 || Is(k - 1, ",")))
                    visit(k);
            }
            return k; // the search goes on after the ";"
        };
        if (m_keywordsFound) {
            int after = -1;
            for (const int i : m_keywords) {
                if (i > after)
                    after = declaration(i);
            }
            return;
        }
        for (int i = 0; i + 2 < m_count; ++i)
            i = declaration(i);
    }

    QStringView Text() const { return m_text; }
    int TokenCount() const { return m_count; }
    const MelToken &Token(int token) const { return m_tok[token]; }
    const QVector<MelProcedure> &Procedures() const { return m_procedures; }

    // A variable read inside a procedure before that procedure declares or assigns it (a global
    // one without its "global" declaration there included).
    void CheckUndeclaredVariables(QVector<MelLintWarning> &out) const;
    // A call of a procedure of this file with another number of arguments than it declares.
    void CheckArgumentCounts(QVector<MelLintWarning> &out) const;
    // "return" with a value in a procedure declared without a return type.
    void CheckReturnValues(QVector<MelLintWarning> &out) const;
    // A word in command position that nothing defines (needs the host's lists).
    void CheckUnknownCommands(MelNameSource &names, QVector<MelLintWarning> &out) const;
    // The first half of that check, for one part of a file...
    void CollectNameUses(MelNameUses &out) const;
    // ...and the second: the first of `calls` (ranges of `text`) to each of `unknown`.
    static void ReportUnknownNames(QStringView text, const QVector<MelToken> &calls, int offset,
                                   MelNameTable &unknown, QVector<MelLintWarning> &out);
    // A flag that the host command does not have (needs the host's syntax help).
    void CheckUnknownFlags(MelNameSource &names, QVector<MelLintWarning> &out) const;

    // Every check, the warnings ordered by position. `names` may be null: the command and flag
    // checks are skipped then.
    QVector<MelLintWarning> Run(MelNameSource *names) const;
    static QVector<MelLintWarning> Lint(const QString &text, MelNameSource *names)
    {
        return MelLinter(text).Run(names);
    }

    // A command or procedure call found by the statement walk: the name's token, the tokens of
    // its arguments [argumentsBegin, argumentsEnd), and whether it is written as a function call
    // "name(...)" (the parentheses excluded from the range) or as a command "name a b;".
    struct Call {
        int nameToken = -1;
        int argumentsBegin = -1;
        int argumentsEnd = -1;
        bool functionSyntax = false;
        // The number of parameters of the file's procedure of that name, -1 when the file defines
        // none, -2 when it defines two that disagree: looked up once for every check.
        int procedure = -1;
        // Inside the parentheses of catch or catchQuiet: a missing name is caught there.
        bool caught = false;
    };
    // Every call in command position and every function call inside expressions, in text order;
    // found by the first request, kept for the others.
    const QVector<Call> &Calls() const;
    void ForEachCall(const std::function<void(const Call &)> &visit) const
    {
        for (const Call &call : Calls())
            visit(call);
    }
    // The number of arguments of `call`, or -1 when it cannot be told for certain.
    int ArgumentCount(const Call &call) const;
    // Whether the file defines a procedure `name`.
    bool DefinesProcedure(QStringView name) const;
    // Whether `token` is the name in a procedure head ("proc [type[]] name"), read or not.
    bool IsProcedureName(int token) const;

    QStringView TextOf(int token) const { return m_text.mid(m_tok[token].start, m_tok[token].length); }
    // Asked for most tokens by the checks: the length is compared first, so that most tokens
    // are told apart without comparing their text.
    template <int N>
    bool Is(int token, const char (&symbol)[N]) const
    {
        return token >= 0 && token < m_count && m_tok[token].length == N - 1 && m_tok[token].kind != MelToken::Word
               && m_tok[token].first == ushort(static_cast<unsigned char>(symbol[0]))
               && (N == 2 || SameText(m_tok[token], symbol, N - 1));
    }
    template <int N>
    bool IsWord(int token, const char (&word)[N]) const
    {
        return token >= 0 && token < m_count && m_tok[token].length == N - 1 && m_tok[token].kind == MelToken::Word
               && m_tok[token].first == ushort(static_cast<unsigned char>(word[0])) && SameText(m_tok[token], word, N - 1);
    }

private:
    void MatchBrackets(int *match);
    void FindCalls() const;
    void FindProcedures();
    // End (exclusive) of the command arguments that start at `from`.
    int CommandArgumentsEnd(int from, bool insideBackquote) const;
    void Warn(QVector<MelLintWarning> &out, int token, const QString &message) const;
    // The brackets and backquotes open around a token, followed token by token.
    struct Nesting {
        int depth = 0;
        bool backquote = false;
        bool Top() const { return depth == 0 && !backquote; }
    };
    // Moves `nesting` past `token`; whether the token was a bracket or a backquote.
    bool Step(Nesting &nesting, int token) const;
    bool IsAssignment(int token) const;
    bool SameText(const MelToken &token, const char *text, int length) const
    {
        const QChar *data = m_text.data() + token.start;
        for (int i = 0; i < length; ++i) {
            if (data[i].unicode() != ushort(static_cast<unsigned char>(text[i])))
                return false;
        }
        return true;
    }

    QString m_ownText;           // the text, tokens and matches of a linter that made its own
    QVector<MelToken> m_ownTokens;
    QVector<int> m_ownMatch;
    QStringView m_text;
    const MelToken *m_tok = nullptr;
    int m_count = 0;
    const int *m_match = nullptr; // partner of each bracket token, -1 when none
    QVector<MelProcedure> m_procedures;
    // Where "proc" and "global" may stand (any word of their length and first letter), noted by
    // the bracket pass so that the passes looking for them read only these tokens.
    QVarLengthArray<int, 8> m_keywords;
    bool m_keywordsFound = false;
    MelNameTable m_procedureIndex; // name -> number of parameters; -2 when defined twice differently
    const MelFileContext *m_file = nullptr;
    MelSyntaxCache *m_syntaxCache = nullptr;
    const MelNameTable &ProcedureTable() const { return m_file ? m_file->procedures : m_procedureIndex; }
    int ProcedureParameters(QStringView name) const
    {
        return m_file ? m_file->Procedure(name) : m_procedureIndex.Value(name);
    }
    mutable QVector<Call> m_ownCalls;
    QVector<Call> *m_calls = &m_ownCalls;
    mutable bool m_callsFound = false;
};

} // namespace ke2
