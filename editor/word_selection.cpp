#include "editor/word_selection.h"

#include <QtCore/QRegularExpression>
#include <QtGui/QTextDocument>

namespace ke2 {

QTextCursor IncludeDollarSign(const QTextCursor &cursor)
{
    static const QRegularExpression wordBefore(QStringLiteral("^[a-zAZ0-9_]"));
    static const QRegularExpression variable(QStringLiteral("^\\$[a-zA-Z0-9_]+$"));
    static const QRegularExpression word(QStringLiteral("^[a-zA-Z0-9_]+$"));
    const QTextDocument *document = cursor.document();
    if (!document)
        return cursor;
    const QString selected = cursor.selectedText();
    const int start = cursor.selectionStart();
    const int end = cursor.selectionEnd();
    auto charAt = [&](int position) {
        return position >= 0 ? QString(document->characterAt(position)) : QString();
    };
    if (selected == QLatin1String("$")) {
        if (wordBefore.match(charAt(start - 1)).hasMatch())
            return cursor;
        QTextCursor extended = cursor;
        extended.setPosition(start);
        extended.setPosition(end, QTextCursor::KeepAnchor);
        extended.movePosition(QTextCursor::EndOfWord, QTextCursor::KeepAnchor);
        return variable.match(extended.selectedText()).hasMatch() ? extended : cursor;
    }
    if (word.match(selected).hasMatch() && charAt(start - 1) == QLatin1String("$")) {
        if (wordBefore.match(charAt(start - 2)).hasMatch())
            return cursor;
        QTextCursor extended = cursor;
        extended.setPosition(start - 1);
        extended.setPosition(cursor.position(), QTextCursor::KeepAnchor);
        return extended;
    }
    return cursor;
}

} // namespace ke2
