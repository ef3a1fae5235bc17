#pragma once

#include "language/outline_item.h"

#include <QtCore/QVector>
#include <QtWidgets/QFrame>

class QLineEdit;
class QListWidget;

namespace ke2 {

// The go-to box over the active group: a file by name (open, recent and workspace files), with
// "@" a symbol of the current buffer from its scanner's outline (imports only when the query
// starts with "import"), with ":" a line. Results are
// ranked exact, then prefix, then containing, then fuzzy; arrows choose, Enter goes, Escape
// closes.
class GoToWidget : public QFrame {
    Q_OBJECT
public:
    static constexpr int maximumResults = 200;

    explicit GoToWidget(QWidget *parent = nullptr);

    // What can be gone to; files in the order they are preferred among equal matches.
    void SetFiles(const QStringList &paths);
    // `lines` holds each item's 1-based line, in the same order.
    void SetSymbols(const QVector<OutlineItem> &items, const QVector<int> &lines);
    // How a symbol is listed: its name, what it is inside of (classes, functions, procedures,
    // joined with ".") and its line.
    static QStringList SymbolLabels(const QVector<OutlineItem> &items, const QVector<int> &lines);
    void SetLineCount(int lines);

    // How well `query` matches `candidate`, case aside: below 0 not at all; otherwise exact
    // beats prefix beats containing beats fuzzy (the query's letters in order), and within a
    // kind tighter and shorter matches come first.
    static int MatchScore(const QString &query, const QString &candidate);

    // Shows the box with `prefix` ("", "@" or ":") typed.
    void Open(const QString &prefix);
    QLineEdit *Edit() const { return m_edit; }
    QListWidget *Results() const { return m_results; }
    // The results as shown, one line each.
    QStringList ResultTexts() const;

signals:
    void FileSelected(const QString &path);
    void PositionSelected(int position);
    // 1-based, already within the buffer.
    void LineSelected(int line);
    void Closed();

public slots:
    void Close();
    void Accept();
    void UpdateResults();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void FitHeight();

    QLineEdit *m_edit;
    QListWidget *m_results;
    QStringList m_files;
    QVector<OutlineItem> m_symbols;
    QStringList m_symbolLabels;
    int m_lineCount = 0;
};

} // namespace ke2
