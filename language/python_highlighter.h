#pragma once

#include "language/highlighter.h"

#include <QtCore/QSet>
#include <QtCore/QStringList>

namespace ke2 {

// Python: keywords, builtins, host commands called through a module, self/cls, numbers, class
// and function names, decorators, comments, docstrings and strings.
class PythonHighlighter : public Highlighter {
    Q_OBJECT
public:
    explicit PythonHighlighter(QTextDocument *document);

    // Shared by every Python highlighter, loaded from the host bridge by the first one
    // constructed while they are empty: keywords and builtins from the host's Python, and the
    // host's MEL command list.
    static void setWordLists(const QStringList &keywords, const QStringList &builtins, const QStringList &melCommands);
    // Empties them, so that the next highlighter loads them again.
    static void resetWordLists();
    static const QSet<QString> &keywords();
    static const QSet<QString> &builtins();
    static const QSet<QString> &melCommands();

protected:
    void HighlightWords(const QString &text) override;
    void HighlightQualifiedWords(const QString &text) override;
    void UpdateIndentHint(CodeEditorBlockData *blockData, const QString &code) override;
    void buildRules() override;

private:
    QTextCharFormat m_keywordFormat;
    QTextCharFormat m_builtinFormat;
    QTextCharFormat m_melCommandFormat;
};

} // namespace ke2
