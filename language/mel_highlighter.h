#pragma once

#include "language/highlighter.h"

#include <QtCore/QSet>
#include <QtCore/QStringList>

namespace ke2 {

// MEL: numbers, variables, procedure names, keywords, host commands, comments and strings.
class MelHighlighter : public Highlighter {
    Q_OBJECT
public:
    explicit MelHighlighter(QTextDocument *document);

    // The word lists are shared by every MEL highlighter and loaded from the host bridge by the
    // first one constructed while they are empty: the fixed keywords, then the host's commands,
    // runtime commands and procedures as one list.
    static void setWordLists(const QStringList &keywords, const QStringList &commands);
    // Empties them, so that the next highlighter loads them again.
    static void resetWordLists();
    static const QSet<QString> &keywords();
    static const QSet<QString> &commands();

protected:
    void HighlightWords(const QString &text) override;
    void UpdateIndentHint(CodeEditorBlockData *blockData, const QString &code) override;
    void buildRules() override;

private:
    QTextCharFormat m_keywordFormat;
    QTextCharFormat m_commandFormat;
};

} // namespace ke2
