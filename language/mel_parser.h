#pragma once

#include "language/base_parser.h"
#include "language/mel_linter.h"

#include <memory>
#include <vector>

namespace ke2 {

// Scans a MEL buffer for global and local procedures, global variables and TODO markers, and
// warns about blank lines before the first statement (they shift the line numbers of the host's
// stack traces). Errors are worked out, so that the scan moves on as if they were reported, and
// then dropped: MEL buffers show no parser errors.
class MelParser : public BaseParser {
public:
    void Reset() override;
    void Parse(const QString &source, const QString &path) override;
    bool IsMel() const override { return true; }
    void AddError(const QString &message, int start, int end) override;

    // With linting on, each parse adds the linter's warnings after the scanner's own; `names`
    // answers for names the file does not define (null: commands and flags are not checked).
    void SetLinting(bool on, MelNameSource *names = nullptr);
    // The procedures the last linted parse found (empty without linting).
    const QVector<MelProcedure> &Procedures() const { return m_procedures; }

protected:
    bool inProcedure = false;
    int procedureStartDepth = 0;

private:
    void Lint();
    void CheckLeadingBlankLines();
    bool TryGlobalProcedure();
    void TryGlobalVariable();
    void TryLocalProcedure();
    // Length of "proc", its return type words and blanks (line breaks too), up to and including
    // the last blank, matched at `from`; -1 when they are not there.
    int MatchProcedureKeyword(int from) const;
    void CheckProcedureHead(int nameStart);
    // A procedure head outside any brackets starts a part of the linter's.
    void NotePartStart(int start)
    {
        if (m_lint && braceDepth == 0 && parenDepth == 0 && bracketDepth == 0)
            m_partStarts.append(start);
    }
    void SkipLineComment();
    void SkipBlockComment();

    bool m_lint = false;
    MelNameSource *m_names = nullptr;
    QVector<MelProcedure> m_procedures;

    // One part of the text as the linter last read it: a top-level procedure and the statements
    // after it, up to the next one (the first part: what comes before the first procedure). A
    // part whose text did not change is not read again, and its warnings are kept as long as the
    // rest of the file defines the same procedures and globals: so the linting after a typing
    // pause costs what the edit changed, not the whole buffer.
    struct LintPart {
        // A procedure (its name and number of parameters) or a global variable (-1).
        struct Definition {
            int start = 0;
            int length = 0;
            int parameters = -1;
            uint hash = 0; // MelNameTable::Hash of the name, made while the part's text was read
        };
        QString arena; // holds the text, with the other parts read by the same lint
        int at = 0;
        int length = 0;
        QStringView Text() const { return QStringView(arena).mid(at, length); }
        QVector<MelProcedure> procedures;
        QVector<Definition> definitions; // ranges of the text
        uint definitionsHash = 0;
        MelNameUses uses;                 // ranges of the text, counted in m_nameCounts once checked
        QVector<MelLintWarning> warnings; // ranges of the text
        bool checked = false;
        uint context = 0;                 // the file's definitions the warnings were made with
        MelNameSource *names = nullptr;
        int syntaxRevision = -1;
    };
    // Where a part read by this lint has its tokens and bracket pairs in the buffers below.
    struct ReadTokens {
        int first = -1; // -1: not read by this lint
        int count = 0;
    };
    // The part of the last lint whose text is `part` (its index in `old`), or -1 when there is none.
    int FindOldPart(QStringView part, int index, const QVector<LintPart> &old, int &misses);
    // Reads the tokens of m_parts[index] and, with `definitions`, its procedures and definitions.
    void ReadPart(int index, ReadTokens &read, bool definitions);
    // What all parts define, built again only when that changed.
    const MelFileContext &FileContext(uint context);
    QVector<LintPart> m_parts;
    QVector<int> m_partStarts; // top-level procedure heads the scan found
    QHash<uint, int> m_oldPartsByHash;
    MelNameUseCounts m_nameCounts;
    MelFileContext m_file;
    QVector<QString> m_fileArenas; // the texts m_file's names are views of
    // Tokens and bracket pairs of the parts being read, all parts in one buffer; kept from one
    // lint to the next for their room only.
    QVector<MelToken> m_tokens;
    QVector<int> m_match;
    QVector<MelLinter::Call> m_calls;
    uint m_fileContext = 0;
    bool m_fileBuilt = false;
};

} // namespace ke2
