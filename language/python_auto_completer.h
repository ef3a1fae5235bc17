#pragma once

#include "language/auto_completer.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>

#include <memory>

class QStandardItemModel;
class QTextDocument;

namespace ke2 {

class Host;

// Python completion: the candidates come from the analysis script in the host's interpreter,
// asked about a copy of the buffer in which the statement under the cursor is replaced by a
// locator. Dotted words complete members of what stands before the last "."; import lines list
// modules and module members.
//
// The host call is never made from inside a key press: a request that needs the host is queued,
// and keys that arrive before it runs replace it. The host is then asked once, about the text as
// it is by then. A host whose Python may be called from any thread answers on the analysis thread
// while keys go on; its answer is shown only if the cursor is still in the word it was asked for
// (filtered by the word as typed by then), and dropped otherwise. Other hosts (Maya) are asked on
// the user-interface thread from the event loop.
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
    // Whether a host query waits to run or for its answer.
    bool QueryPending() const { return m_pendingTimer.isActive() || m_awaited || m_retryTimer.isActive(); }
    void Cancel() override
    {
        m_pendingTimer.stop();
        m_retryTimer.stop();
        m_asked = Asked(); // an answer on its way fits nothing any more
        m_askAgain = false;
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
    void SetCandidates(const QStringList &names);

    // What an answer was asked for: it fits a cursor that gives the same.
    struct Asked {
        const QTextDocument *document = nullptr;
        int first = -1; // the statement's lines
        int last = -1;
        bool cut = false;
        bool extras = true;
        QString locatorLine;
        QString expression;
        bool memberMode = false;
        int wordStart = -1;
    };
    Asked Describe(const QTextCursor &cursor) const;
    // Asks `host` on the analysis thread; Answered takes the answer back.
    void Ask(Host &host, const QTextCursor &cursor);
    void Answered(unsigned ticket, const QStringList &names, bool answered);

    QStandardItemModel *sourceModel = nullptr;
    QString expression;
    bool memberMode = false;
    int wordStart = 0;

    class LineCache;
    LineCache &Cache(const QTextDocument *document);
    std::unique_ptr<LineCache> m_lineCache;
    Asked m_asked;
    unsigned m_ticket = 0;
    bool m_awaited = false;  // an answer is on its way
    bool m_askAgain = false; // keys asked meanwhile
    // After an answer that no longer fit, the host is asked again once the keys pause: while they
    // come, every answer about a large buffer would be late again, and the work would only take
    // the processor from the keys.
    static constexpr int retryPauseMs = 150;
    QTimer m_retryTimer;
    QElapsedTimer m_sinceRequest;

    QTimer m_pendingTimer;
    QTextCursor m_pendingCursor;
    QRect m_pendingRect;
    bool m_pendingApplyIfSingle = false;
};

} // namespace ke2
