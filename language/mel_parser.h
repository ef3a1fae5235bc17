#pragma once

#include "language/base_parser.h"
#include "language/mel_linter.h"

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
    void SkipLineComment();
    void SkipBlockComment();

    bool m_lint = false;
    MelNameSource *m_names = nullptr;
    QVector<MelProcedure> m_procedures;
};

} // namespace ke2
