#include "output/output_highlighting_dialog.h"

#include <QtCore/QRegularExpression>

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QColorDialog>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>

namespace ke2 {

namespace {

QHBoxLayout *row(QWidget *first, QWidget *second)
{
    auto *layout = new QHBoxLayout;
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(first, 1);
    layout->addWidget(second);
    return layout;
}

void paintSwatch(QPushButton *button, const QColor &color)
{
    button->setStyleSheet(QStringLiteral("background-color: %1;").arg(color.name()));
}

} // namespace

OutputHighlightingDialog::OutputHighlightingDialog(QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("OutputHighlightingDialog"));
    setWindowTitle(QStringLiteral("Dialog"));
    {
        QPlainTextEdit plain;
        m_defaultForeground = plain.palette().color(QPalette::Text);
        m_defaultBackground = plain.palette().color(QPalette::Base);
    }
    m_name = new QLineEdit(this);
    m_text = new QLineEdit(this);
    m_regExp = new QCheckBox(QStringLiteral("RegExp"), this);
    m_foregroundButton = new QPushButton(this);
    m_foregroundEnabled = new QCheckBox(QStringLiteral("Enabled"), this);
    m_backgroundButton = new QPushButton(this);
    m_backgroundEnabled = new QCheckBox(QStringLiteral("Enabled"), this);
    m_enabled = new QCheckBox(this);
    m_highlightLine = new QCheckBox(QStringLiteral("Highlight Line"), this);
    m_ok = new QPushButton(QStringLiteral("OK"), this);
    m_cancel = new QPushButton(QStringLiteral("Cancel"), this);
    m_ok->setDefault(true);

    auto *form = new QFormLayout;
    form->addRow(QStringLiteral("Name:"), m_name);
    form->addRow(QStringLiteral("Text Matching:"), row(m_text, m_regExp));
    form->addRow(QStringLiteral("Foreground:"), row(m_foregroundButton, m_foregroundEnabled));
    form->addRow(QStringLiteral("Background:"), row(m_backgroundButton, m_backgroundEnabled));
    form->addRow(QStringLiteral("Enabled:"), m_enabled);
    form->addRow(m_highlightLine);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(buttons);

    connect(m_foregroundButton, &QPushButton::clicked, this, &OutputHighlightingDialog::SelectForegroundColor);
    connect(m_backgroundButton, &QPushButton::clicked, this, &OutputHighlightingDialog::SelectBackgroundColor);
    connect(m_foregroundEnabled, &QCheckBox::toggled, this, &OutputHighlightingDialog::UpdateDisplay);
    connect(m_backgroundEnabled, &QCheckBox::toggled, this, &OutputHighlightingDialog::UpdateDisplay);
    connect(m_text, &QLineEdit::textChanged, this, &OutputHighlightingDialog::UpdatePatternState);
    connect(m_regExp, &QCheckBox::toggled, this, &OutputHighlightingDialog::UpdatePatternState);
    connect(m_ok, &QPushButton::clicked, this, &OutputHighlightingDialog::accept);
    connect(m_cancel, &QPushButton::clicked, this, &OutputHighlightingDialog::reject);
}

void OutputHighlightingDialog::NewRule()
{
    setWindowTitle(QStringLiteral("New Highlight"));
    m_name->setText(QStringLiteral("Unnamed"));
    m_text->clear();
    SetForeground(QColor(Qt::green));
    m_foregroundEnabled->setChecked(true);
    SetBackground(m_defaultBackground);
    m_backgroundEnabled->setChecked(false);
    m_enabled->setChecked(true);
    m_regExp->setChecked(false);
    m_highlightLine->setChecked(false);
    UpdateDisplay();
}

void OutputHighlightingDialog::LoadRule(const OutputHighlightRule &rule)
{
    setWindowTitle(QStringLiteral("Edit Highlight"));
    m_name->setText(rule.name);
    // A switched-off colour is still remembered, so switching it on again brings it back.
    auto pick = [](bool enabled, const QBrush &brush, const QColor &remembered, const QColor &fallback) {
        if (enabled && brush.style() != Qt::NoBrush)
            return brush.color();
        return remembered.isValid() ? remembered : fallback;
    };
    const bool hasForeground = rule.format.hasProperty(QTextFormat::ForegroundBrush);
    const bool hasBackground = rule.format.hasProperty(QTextFormat::BackgroundBrush);
    SetForeground(pick(rule.hasForeground && hasForeground, rule.format.foreground(), rule.foreground,
                       m_defaultForeground));
    SetBackground(pick(rule.hasBackground && hasBackground, rule.format.background(), rule.background,
                       m_defaultBackground));
    m_foregroundEnabled->setChecked(rule.hasForeground);
    m_backgroundEnabled->setChecked(rule.hasBackground);
    m_text->setText(rule.pattern);
    m_regExp->setChecked(rule.regExp);
    m_enabled->setChecked(rule.enabled);
    m_highlightLine->setChecked(rule.highlightLine);
    UpdateDisplay();
}

OutputHighlightRule OutputHighlightingDialog::Rule() const
{
    OutputHighlightRule rule;
    rule.name = m_name->text();
    rule.pattern = m_text->text();
    rule.regExp = m_regExp->isChecked();
    rule.enabled = m_enabled->isChecked();
    rule.highlightLine = m_highlightLine->isChecked();
    rule.foreground = m_foreground;
    rule.background = m_background;
    rule.hasForeground = m_foregroundEnabled->isChecked();
    rule.hasBackground = m_backgroundEnabled->isChecked();
    rule.updateFormat();
    return rule;
}

void OutputHighlightingDialog::SelectForegroundColor()
{
    const QColor color = QColorDialog::getColor(m_foreground, this);
    if (color.isValid())
        SetForeground(color);
}

void OutputHighlightingDialog::SelectBackgroundColor()
{
    const QColor color = QColorDialog::getColor(m_background, this);
    if (color.isValid())
        SetBackground(color);
}

void OutputHighlightingDialog::UpdateDisplay()
{
    m_foregroundButton->setEnabled(m_foregroundEnabled->isChecked());
    m_backgroundButton->setEnabled(m_backgroundEnabled->isChecked());
}

void OutputHighlightingDialog::accept()
{
    QString problem;
    if (m_name->text().isEmpty())
        problem = QStringLiteral("Name field is empty");
    else if (m_text->text().isEmpty())
        problem = QStringLiteral("Text matching field is empty");
    else if (!PatternProblem().isEmpty())
        problem = QStringLiteral("Invalid regular expression: %1").arg(PatternProblem());
    if (!problem.isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Invalid"), problem, QMessageBox::Ok);
        return;
    }
    QDialog::accept();
}

QString OutputHighlightingDialog::PatternProblem() const
{
    if (!m_regExp->isChecked() || m_text->text().isEmpty())
        return QString();
    const QRegularExpression expression(m_text->text());
    return expression.isValid()
               ? QString()
               : QStringLiteral("%1 (at %2)").arg(expression.errorString()).arg(expression.patternErrorOffset());
}

void OutputHighlightingDialog::UpdatePatternState()
{
    // Marked while typing, as in the find bar; OK refuses it with the same reason.
    const QString problem = PatternProblem();
    m_text->setStyleSheet(problem.isEmpty() ? QString() : QStringLiteral("QLineEdit { border: 1px solid #e51400; }"));
    m_text->setToolTip(problem);
}

void OutputHighlightingDialog::reject()
{
    QDialog::reject();
}

void OutputHighlightingDialog::SetForeground(const QColor &color)
{
    m_foreground = color;
    paintSwatch(m_foregroundButton, color);
}

void OutputHighlightingDialog::SetBackground(const QColor &color)
{
    m_background = color;
    paintSwatch(m_backgroundButton, color);
}

} // namespace ke2
