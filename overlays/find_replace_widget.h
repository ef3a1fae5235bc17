#pragma once

#include <QtCore/QRegularExpression>
#include <QtWidgets/QFrame>

class QLabel;
class QLineEdit;
class QToolButton;

namespace ke2 {

class FlatButton;

// The find and replace bar a group shows over its current editor. It turns the find text and
// its options into one regular expression and hands it to the group, which searches, highlights
// and moves the selection; the bar itself never searches. It shows the group's match counter and
// relays next, previous, replace and replace-all requests.
class FindReplaceWidget : public QFrame {
    Q_OBJECT
public:
    // Widths below which control groups give way, the narrowest first to go.
    static constexpr int preferredWidth = 430;
    static constexpr int optionsThreshold = 380;
    static constexpr int navigationThreshold = 310;
    static constexpr int counterThreshold = 250;
    static constexpr int minimumBarWidth = 180;

    explicit FindReplaceWidget(QWidget *parent = nullptr);

    QString FindText() const;
    QString ReplaceText() const;
    bool IsReplaceShown() const { return m_replaceShown; }
    bool MatchCase() const;
    bool MatchWholeWord() const;
    bool UseRegularExpression() const;
    bool FindInSelection() const;
    // The expression the current text and options make (also when it is not valid).
    QRegularExpression Regex() const { return m_regex; }
    QString CounterText() const;
    QLineEdit *FindEdit() const { return m_findEdit; }
    QLineEdit *ReplaceEdit() const { return m_replaceEdit; }

    // Called by the group after counting: a current index above 0 replaces the stored one; the
    // stored one is kept within 1..total; no matches read "No Results". An incomplete count
    // (the search was cut short) reads "2 of 69+", or "Stopped" with nothing found.
    void UpdateCounter(int current, int total, bool complete = true);
    // Puts a short note where the counter is, as "12 replaced", until the next count.
    void ShowMessage(const QString &text);
    static QString stoppedToolTip();
    // Fits the bar to `available` pixels of its editor, hiding controls that do not fit.
    void FitWidth(int available);

signals:
    void SearchChanged(const QRegularExpression &regEx, bool findInSelection, bool findNext, bool updateSelection);
    void ReplaceRequested(const QString &replaceText);
    void ReplaceAllRequested(const QString &replaceText);
    void FindNextRequested();
    void FindPreviousRequested();
    void ShowRequested(bool replace);
    void Closed();

public slots:
    void ToggleReplace();
    void ToggleMatchCase();
    void ToggleMatchWord();
    void ToggleRegularExpression();
    void ToggleFindInSelection();
    void FindPrevious();
    void FindNext();
    void Replace();
    void ReplaceAll();
    void Close();
    void OnReturnPressed();
    void OnSearchParametersChanged();
    // Opens the bar with or without the replace row; a non-empty `findText` replaces the search.
    void Show(bool replace, const QString &findText = QString());
    // Names with the current shortcuts of their actions, as "Next Match (F3)".
    void UpdateToolTips();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void SetReplaceShown(bool shown);
    // Builds the expression, marks an invalid one and emits SearchChanged.
    void EmitSearch(bool findNext, bool updateSelection);

    QToolButton *m_toggleReplace;
    QLineEdit *m_findEdit;
    FlatButton *m_matchCase;
    FlatButton *m_matchWord;
    FlatButton *m_regularExpression;
    QLabel *m_counter;
    FlatButton *m_previous;
    FlatButton *m_next;
    FlatButton *m_findInSelection;
    FlatButton *m_close;
    QWidget *m_replaceRow;
    QWidget *m_indent;
    QLineEdit *m_replaceEdit;
    FlatButton *m_replace;
    FlatButton *m_replaceAll;
    bool m_replaceShown = false;
    int m_currentMatch = 0;
    int m_rowHeight = 0;
    QRegularExpression m_regex;
};

} // namespace ke2
