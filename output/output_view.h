#pragma once

#include <QtWidgets/QWidget>

class QComboBox;
class QLabel;
class QToolButton;

namespace ke2 {

class OutputTextEdit;

// The output panel as the window places it: a header row ("OUTPUT", the verbosity choice, "Write
// to File" and "Clear") over the output text.
class OutputView : public QWidget {
    Q_OBJECT

public:
    enum Verbosity { EchoAll = 0, Normal = 1, Minimal = 2 };

    explicit OutputView(QWidget *parent = nullptr);

    OutputTextEdit *TextEdit() const { return m_text; }
    QComboBox *VerbosityBox() const { return m_verbosity; }
    QToolButton *WriteToFileButton() const { return m_writeToFile; }
    QToolButton *ClearButton() const { return m_clear; }

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

public slots:
    void ClearAll();
    void OnOutputTypeChanged(int level);
    void ToggleWriteToFile();

private:
    void UpdateWriteToFileToolTip();

    QLabel *m_header = nullptr;
    QComboBox *m_verbosity = nullptr;
    QToolButton *m_writeToFile = nullptr;
    QToolButton *m_clear = nullptr;
    OutputTextEdit *m_text = nullptr;
};

} // namespace ke2
