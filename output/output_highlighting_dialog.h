#pragma once

#include "config/output_highlight_rule.h"

#include <QtWidgets/QDialog>

class QCheckBox;
class QLineEdit;
class QPushButton;

namespace ke2 {

// Edits one output highlighting rule: its name, what it matches, its colours and switches.
class OutputHighlightingDialog : public QDialog {
    Q_OBJECT

public:
    explicit OutputHighlightingDialog(QWidget *parent = nullptr);

    // A fresh rule: "Unnamed", green text, no background, enabled.
    void NewRule();
    void LoadRule(const OutputHighlightRule &rule);
    OutputHighlightRule Rule() const;

    QLineEdit *NameEdit() const { return m_name; }
    QLineEdit *TextEdit() const { return m_text; }
    QCheckBox *RegExpBox() const { return m_regExp; }
    QPushButton *ForegroundButton() const { return m_foregroundButton; }
    QCheckBox *ForegroundBox() const { return m_foregroundEnabled; }
    QPushButton *BackgroundButton() const { return m_backgroundButton; }
    QCheckBox *BackgroundBox() const { return m_backgroundEnabled; }
    QCheckBox *EnabledBox() const { return m_enabled; }
    QCheckBox *HighlightLineBox() const { return m_highlightLine; }
    QPushButton *OkButton() const { return m_ok; }
    QColor ForegroundColor() const { return m_foreground; }
    QColor BackgroundColor() const { return m_background; }

public slots:
    void SelectForegroundColor();
    void SelectBackgroundColor();
    void UpdateDisplay();
    void accept() override;
    void reject() override;

private:
    // Why the text cannot be used as a regular expression; empty when it can (or is literal).
    QString PatternProblem() const;
    void UpdatePatternState();
    void SetForeground(const QColor &color);
    void SetBackground(const QColor &color);

    QLineEdit *m_name = nullptr;
    QLineEdit *m_text = nullptr;
    QCheckBox *m_regExp = nullptr;
    QPushButton *m_foregroundButton = nullptr;
    QCheckBox *m_foregroundEnabled = nullptr;
    QPushButton *m_backgroundButton = nullptr;
    QCheckBox *m_backgroundEnabled = nullptr;
    QCheckBox *m_enabled = nullptr;
    QCheckBox *m_highlightLine = nullptr;
    QPushButton *m_ok = nullptr;
    QPushButton *m_cancel = nullptr;
    QColor m_foreground;
    QColor m_background;
    // A plain text editor's text and base colours.
    QColor m_defaultForeground;
    QColor m_defaultBackground;
};

} // namespace ke2
