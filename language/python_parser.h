#pragma once

#include "language/base_parser.h"

#include <QtCore/QStringList>
#include <QtCore/QStringView>
#include <QtCore/QVector>

namespace ke2 {

// Scans a Python buffer line by line: imports, the main-guard block, functions (plain, static,
// class methods) and classes for the outline; indentation, bracket and unterminated-string
// errors; one mixed-indentation warning; TODO markers in comments and triple-quoted strings.
class PythonParser : public BaseParser {
public:
    PythonParser();

    void Reset() override;
    void Parse(const QString &source, const QString &path) override;
    bool IsPython() const override { return true; }

protected:
    bool atLineStart = false;
    int lineStart = 0;
    bool expectIndent = false;
    QStringView indent; // a slice of `text`: the blanks that start the current logical line
    QVector<QStringView> indentStack; // slices of `text`, like `indent`
    QStringList decorators;
    bool indentErrorReported = false;
    bool mixedIndentReported = false;

private:
    void NewLine(bool first);
    bool IsFromImportAt(int at) const;
    void CheckIndentation();
    void CheckColon();
    void ResetBlocksAtTopLevel();
    int Depth() const { return indentStack.isEmpty() ? 0 : indentStack.size() - 1; }
    void PushIndent(QStringView level, int width);

    bool TryClass();
    bool TryFunction();
    // Keeps the decorator's text (up to the line end) for the definition below it.
    bool ReadDecorator();
    bool TryMainGuard();
    bool TryAliasImport();
    bool TryPlainImport();
    void TryFromImport();
    void SkipComment();
    void SkipAnyString(QChar quote);
    void SkipTripleQuotedString(QChar quote);

    // Index after a run of spaces and tabs at `at`; `required` asks for at least one.
    int SkipBlanks(int at, bool required) const;
    // Index after a run of [a-zA-Z0-9_] (with dots when `dotted`) at `at`; `at` when none.
    int SkipName(int at, bool dotted) const;
    // Where the rest of the line from `from` stops for an import: at "#" or the line's end.
    int ImportLineCut(int from, int *newline);
    // Where the scan goes on after an import line: its last character, or before a line join.
    int ImportLineResume(int cut, int newline) const;

    // Widths of `indentStack`, kept beside it so that a deep level is not measured again for
    // every line.
    QVector<int> m_indentWidths;
    int m_indentWidth = 0;
    bool m_indentHasTab = false;
    bool m_indentHasSpace = false;
};

} // namespace ke2
