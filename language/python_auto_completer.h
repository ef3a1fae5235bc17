#pragma once

#include "language/auto_completer.h"

#include <QtCore/QTimer>

#include <memory>

class QStandardItemModel;
class QTextDocument;

namespace ke2 {

// Python completion: the candidates come from the analysis script in the host's interpreter,
// asked about a copy of the buffer in which the statement under the cursor is replaced by a
// locator. Dotted words complete members of what stands before the last "."; import lines list
// modules and module members.
//
// The host call runs on the user-interface thread, so it is never made from inside a key press:
// a request that needs the host is queued, and keys that arrive before it runs replace it. The
// host is then asked once, about the text as it is by then, and its answer is filtered by the word
// as typed by then: a late answer is never shown for a cursor that has moved on.
class PythonAutoCompleter : public AutoCompleter {
    Q_OBJECT
public:
    // The rewritten buffer of a query: `source` is what the script parses, `extras` whether
    // keywords and builtins may be offered (not inside a def or class header).
    struct Query {
        QString source;
        bool extras = true;
    };

    explicit PythonAutoCompleter(QWidget *editor);
    ~PythonAutoCompleter() override;

    QString Expression() const { return expression; }
    bool MemberMode() const { return memberMode; }
    int WordStart() const { return wordStart; }
    // Whether a host query waits to run.
    bool QueryPending() const { return m_pendingTimer.isActive(); }
    void Cancel() override
    {
        m_pendingTimer.stop();
        hide();
    }

    // The buffer of `document` as the script sees it with the cursor at `position`: the statement
    // under the cursor replaced by a locator at the same indentation, line numbers kept, and what
    // would not compile any more (a cut-off block, try without except) made to compile.
    static Query BuildQuery(const QTextDocument *document, int position);
    // The text as a Python string literal's contents.
    static QString Escaped(const QString &text);
    // BuildQuery's source, already escaped, from lines kept up to date as the document changes:
    // a request costs a copy of the text, not a rewrite of every line.
    Query BuildEscapedQuery(const QTextDocument *document, int position);

public slots:
    void Update(const QTextCursor &cursor, const QRect &cursorRect, bool applyIfSingle) override;
    void InitModel() override;
    bool PreparePrefix(const QTextCursor &cursor) override;
    Qt::CaseSensitivity FilterCaseSensitivity() const override { return Qt::CaseInsensitive; }

private:
    // Runs the latest queued request.
    void RunPending();
    // Filters the candidates already there by the new prefix.
    void UpdateNow(const QRect &cursorRect, bool applyIfSingle);
    // Refills the candidates from the host for the cursor's place.
    void QueryHost(const QTextCursor &cursor);

    QStandardItemModel *sourceModel = nullptr;
    QString expression;
    bool memberMode = false;
    int wordStart = 0;

    class LineCache;
    std::unique_ptr<LineCache> m_lineCache;

    QTimer m_pendingTimer;
    QTextCursor m_pendingCursor;
    QRect m_pendingRect;
    bool m_pendingApplyIfSingle = false;
};

} // namespace ke2
