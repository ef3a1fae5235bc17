#pragma once

#include <QtCore/QRegularExpression>
#include <QtWidgets/QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QToolButton;

namespace ke2 {

class FindReplaceWidget;
class OutputTextEdit;

// The output panel as the window places it: a header row ("OUTPUT", the verbosity choice, "Write
// to File" and "Clear") over the output text, and under it a line to evaluate expressions in,
// shown only while the window offers it (a paused debug run).
class OutputView : public QWidget {
    Q_OBJECT

public:
    enum Verbosity { EchoAll = 0, Normal = 1, Minimal = 2 };

    explicit OutputView(QWidget *parent = nullptr);

    OutputTextEdit *TextEdit() const { return m_text; }
    QComboBox *VerbosityBox() const { return m_verbosity; }
    QToolButton *WriteToFileButton() const { return m_writeToFile; }
    QToolButton *ClearButton() const { return m_clear; }
    QLabel *Header() const { return m_header; }
    // The one-line hint shown over the empty panel.
    QLabel *EmptyHint() const { return m_hint; }
    // The find bar over the output (created on first use).
    FindReplaceWidget *FindBar() const { return m_findBar; }
    // The "jump to end" button shown while new output arrives below the part the user reads.
    QToolButton *JumpToEndButton() const;
    // True when the keyboard focus is in the output text or its find bar.
    bool HasFocusInside() const;
    QLineEdit *EvaluateLine() const { return m_evaluate; }
    void SetEvaluateVisible(bool visible);

    void AppendText(const QString &text);
    int CurrentVerbosity() const;
    // Shows the level without applying it (the host already runs with it).
    void ShowVerbosity(int level);
    // The level the host runs with now: echo of all commands, else the minimal trace setting.
    static int HostVerbosity();
    // Sets the host's echo of all commands and the minimal trace for a level.
    static void ApplyVerbosity(int level);

    // The file name a log is written to: under the LOG filter a name without a suffix gets
    // ".log".
    static QString LogFileName(const QString &chosen, const QString &selectedFilter);
    static QString LogFilter() { return QStringLiteral("LOG (*.log)"); }
    static QString AllFilesFilter() { return QStringLiteral("All Files(*.*)"); }
    // Starts the log at `path` (the second half of "Write to File", after the file dialog);
    // a file that cannot be opened is reported and nothing changes.
    bool WriteToFile(const QString &path);

signals:
    void EchoAllCommandsChanged();
    void WriteToFileUpdated(bool writing);
    void IncreaseOutputFontSizeRequested();
    void DecreaseOutputFontSizeRequested();
    void ReceivedFocus();
    // Return in the evaluate line: the expression typed (never empty).
    void EvaluateRequested(const QString &expression);

public slots:
    void ClearAll();
    // Opens the find bar over the output, seeded with the selected text.
    void ShowFind();
    void FindNext();
    void FindPrevious();
    // The hint names the execute keys as they are bound now.
    void UpdateEmptyHint();
    void OnOutputTypeChanged(int level);
    void ToggleWriteToFile();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void UpdateWriteToFileToolTip();
    void PlaceOverlays();
    void OnSearchChanged(const QRegularExpression &expression);
    // Selects the next (or previous) match from the selection's end (or start), wrapping around.
    void SelectMatch(bool forward, bool fromSelectionStart = false);
    void UpdateFindCounter();

    QLabel *m_header = nullptr;
    QComboBox *m_verbosity = nullptr;
    QToolButton *m_writeToFile = nullptr;
    QToolButton *m_clear = nullptr;
    OutputTextEdit *m_text = nullptr;
    QLabel *m_hint = nullptr;
    FindReplaceWidget *m_findBar = nullptr;
    QLineEdit *m_evaluate = nullptr;
    QRegularExpression m_findExpression;
};

} // namespace ke2
