#pragma once

#include "views/find_in_files_search.h"

#include <functional>

#include <QtCore/QTimer>
#include <QtWidgets/QWidget>

class QLabel;
class QLineEdit;
class QToolButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace ke2 {

// The side bar's search view: find (and replace) across files. The search is built by the same
// function as the find bar's, from the same three options; include and exclude take
// comma-separated wildcards ("*.py, scripts/*"). Results stream in grouped by file, each line
// with its matches highlighted (and, with replace text, the replacement shown beside them);
// a click asks the window to open the file at the match. Replace All asks once, then hands the
// files to the window, which changes open buffers undoably and writes the others.
class FindInFilesView : public QWidget {
    Q_OBJECT
public:
    // Typing waits this long for the next key before searching.
    static constexpr int searchDelay = 300; // ms

    explicit FindInFilesView(QWidget *parent = nullptr);

    QLineEdit *SearchEdit() const { return m_searchEdit; }
    QLineEdit *ReplaceEdit() const { return m_replaceEdit; }
    QLineEdit *IncludeEdit() const { return m_includeEdit; }
    QLineEdit *ExcludeEdit() const { return m_excludeEdit; }
    QTreeWidget *Results() const { return m_results; }
    FindInFilesSearch *Search() const { return m_search; }
    QToolButton *OptionButton(const QString &name) const;
    QRegularExpression Regex() const { return m_regex; }
    QString StatusText() const;
    // Matching lines shown, over all files.
    int ResultLineCount() const { return m_lineCount; }

    // Where to search: the folders of the workspace or of one folder (`title` names it); empty
    // paths go back to the default, which the window fills in at each search with the
    // workspace folders and the texts of the open buffers.
    void SetScope(const QStringList &paths, const QString &title);
    void SetQueryProvider(std::function<void(FindInFilesQuery &)> provider) { m_provider = std::move(provider); }
    // Focuses the search field with `text` (when not empty) and searches.
    void Focus(const QString &text = QString());

signals:
    void OpenMatchRequested(const QString &path, int line, int column, int length);
    // `templateReplace`: the replace text holds group references and escapes (regular expressions on).
    void ReplaceRequested(const QRegularExpression &regex, const QString &replaceText, const QStringList &paths,
                          bool templateReplace);

public slots:
    void StartSearch();
    void CancelSearch();
    void ReplaceAll();
    // Opens the next (1) or previous (-1) matching line after the current one.
    void OpenAdjacentResult(int step);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void OnResultsFound(const QVector<ke2::FindInFilesResult> &results);
    void OnFinished(bool cancelled, bool limited);
    void OnItemActivated(QTreeWidgetItem *item);
    void UpdateStatus();

    QToolButton *m_toggleReplace;
    QLineEdit *m_searchEdit;
    QToolButton *m_matchCase;
    QToolButton *m_matchWord;
    QToolButton *m_regularExpression;
    QWidget *m_replaceRow;
    QLineEdit *m_replaceEdit;
    QToolButton *m_replaceAll;
    QLineEdit *m_includeEdit;
    QLineEdit *m_excludeEdit;
    QWidget *m_scopeRow;
    QLabel *m_scopeLabel;
    QLabel *m_status;
    QTreeWidget *m_results;
    FindInFilesSearch *m_search;
    QTimer m_delay;
    std::function<void(FindInFilesQuery &)> m_provider;
    QStringList m_scope;
    QRegularExpression m_regex;
    int m_lineCount = 0;
    int m_matchCount = 0;
    bool m_cancelled = false;
    bool m_limited = false;
};

} // namespace ke2
