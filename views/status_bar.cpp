#include "views/status_bar.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "plugin/host_bridge.h"

#include <QtGui/QPixmap>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtGui/QMouseEvent>
#include <QtWidgets/QMenu>
#include <QtWidgets/QProgressBar>

#include <algorithm>

namespace ke2 {

namespace {

QLabel *makeLabel(QWidget *parent, const char *name)
{
    auto *label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(name));
    return label;
}

QLabel *makeIconLabel(QWidget *parent, const char *name, const char *path)
{
    QLabel *label = makeLabel(parent, name);
    const QPixmap pixmap(QString::fromLatin1(path));
    if (!pixmap.isNull())
        label->setPixmap(pixmap.scaled(14, 14, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    return label;
}

QString showOrHide(bool visible)
{
    return visible ? QStringLiteral("Hide") : QStringLiteral("Show");
}

} // namespace

StatusBar::StatusBar(QWidget *mainWindow)
    : QWidget(mainWindow),
      m_interpreterLabel(makeLabel(this, "interpreterLabel")),
      m_currentLineMessageLabel(makeLabel(this, "currentLineMessageLabel")),
      m_cursorLabel(makeLabel(this, "cursorLabel")),
      m_overwriteLabel(makeLabel(this, "overwriteLabel")),
      m_errorIconLabel(makeIconLabel(this, "errorIconLabel", ":/ke2_icons/error.png")),
      m_errorCountLabel(makeLabel(this, "errorCountLabel")),
      m_warningIconLabel(makeIconLabel(this, "warningIconLabel", ":/ke2_icons/warning.png")),
      m_warningCountLabel(makeLabel(this, "warningCountLabel")),
      m_mainWindow(mainWindow),
      m_fileFormatLabel(makeLabel(this, "fileFormatLabel")),
      m_loadProgress(new QProgressBar(this))
{
    m_loadProgress->setObjectName(QStringLiteral("loadProgress"));
    m_loadProgress->setFixedWidth(180);
    m_loadProgress->setMaximumHeight(16);
    m_loadProgress->setToolTip(QStringLiteral("The file is read-only until it is loaded"));
    m_loadProgress->hide();
    setContextMenuPolicy(Qt::CustomContextMenu);
    connect(this, &QWidget::customContextMenuRequested, this, &StatusBar::ShowContextMenu);
    ApplyVisibility();

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 4, 10, 4);
    layout->setSpacing(0);
    layout->addWidget(m_interpreterLabel);
    layout->addWidget(m_errorIconLabel);
    layout->addSpacing(3);
    layout->addWidget(m_errorCountLabel);
    layout->addWidget(m_warningIconLabel);
    layout->addSpacing(3);
    layout->addWidget(m_warningCountLabel);
    layout->addWidget(m_currentLineMessageLabel);
    layout->addSpacing(12);
    layout->addStretch();
    layout->addWidget(m_loadProgress);
    layout->addWidget(m_cursorLabel);
    layout->addSpacing(30);
    layout->addWidget(m_overwriteLabel);
    // The file's shape, so that a Latin-1 or CRLF file is never a surprise.
    layout->addSpacing(30);
    layout->addWidget(m_fileFormatLabel);

    // The counts open the problems list.
    for (QLabel *label : {m_errorIconLabel, m_errorCountLabel, m_warningIconLabel, m_warningCountLabel}) {
        label->installEventFilter(this);
        label->setCursor(Qt::PointingHandCursor);
        label->setToolTip(QStringLiteral("Problems"));
    }

    m_interpreterLabel->clear();
    UpdateCursor(0, 0, 0);
    UpdateOverwriteMode(CodeEditor::SharedOverwriteMode());
    UpdateFileFormat(QString(), QString());
}

bool StatusBar::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseButtonRelease
        && static_cast<QMouseEvent *>(event)->button() == Qt::LeftButton) {
        emit ProblemsRequested();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void StatusBar::ApplyVisibility()
{
    const Settings &settings = Settings::instance();
    m_interpreterLabel->setVisible(settings.statusBarInterpreterVisible);
    for (QLabel *label : {m_errorIconLabel, m_errorCountLabel, m_warningIconLabel, m_warningCountLabel})
        label->setVisible(settings.statusBarErrorCountVisible);
    m_currentLineMessageLabel->setVisible(settings.statusBarLineMessageVisible);
}

void StatusBar::UpdateCursor(int line, int column, int selectionLength)
{
    m_cursorLabel->setText(QStringLiteral("Ln %1      Col %2      Sel %3").arg(line).arg(column).arg(selectionLength));
}

void StatusBar::UpdateCounts(int errors, int warnings)
{
    m_errorCountLabel->setText(QStringLiteral("%1  ").arg(errors));
    m_warningCountLabel->setText(QStringLiteral("%1    ").arg(warnings));
}

void StatusBar::UpdateLineMessage(const QString &text)
{
    m_currentLineMessageLabel->setText(text);
    m_currentLineMessageLabel->setToolTip(text);
}

QString StatusBar::LineMessage() const
{
    return m_currentLineMessageLabel->text();
}

void StatusBar::UpdateInterpreter(CodeEditorLanguage language)
{
    switch (language) {
    case LANGUAGE_MEL:
        m_interpreterLabel->setText(QStringLiteral("MEL     "));
        return;
    case LANGUAGE_PYTHON:
        m_interpreterLabel->setText(QStringLiteral("Python %1 (64-bit)     ").arg(HostBridge::pythonVersion()));
        return;
    case LANGUAGE_TEXT:
        break;
    }
    m_interpreterLabel->clear();
}

void StatusBar::UpdateOverwriteMode(bool on)
{
    m_overwriteLabel->setText(on ? QStringLiteral("OVR") : QStringLiteral("INS"));
}

void StatusBar::UpdateFileFormat(const QString &encoding, const QString &lineEnding)
{
    m_fileFormatLabel->setText(encoding.isEmpty() ? QString() : QStringLiteral("%1      %2").arg(encoding, lineEnding));
    m_fileFormatLabel->setVisible(!encoding.isEmpty());
}

void StatusBar::UpdateLoadProgress(int percent)
{
    m_loadProgress->setVisible(percent >= -1);
    if (percent < -1)
        return;
    // While the file is read its length is not known: the bar only shows that work goes on.
    m_loadProgress->setRange(0, percent < 0 ? 0 : 100);
    m_loadProgress->setValue(std::max(percent, 0));
    m_loadProgress->setFormat(percent < 0 ? QStringLiteral("Reading...") : QStringLiteral("Loading %p% (read-only)"));
}

void StatusBar::ShowContextMenu(const QPoint &pos)
{
    const Settings &settings = Settings::instance();
    QMenu menu(this);
    menu.addAction(QStringLiteral("%1 Interpreter").arg(showOrHide(settings.statusBarInterpreterVisible)), this,
                   &StatusBar::ToggleInterpreter);
    menu.addAction(QStringLiteral("%1 Error/Warning Count").arg(showOrHide(settings.statusBarErrorCountVisible)),
                   this, &StatusBar::ToggleErrorWarningCount);
    menu.addAction(QStringLiteral("%1 Current Line Message").arg(showOrHide(settings.statusBarLineMessageVisible)),
                   this, &StatusBar::ToggleCurrentLineMessage);
    menu.addSeparator();
    menu.addAction(QStringLiteral("Hide Status Bar"), this, &StatusBar::OnHideActivityBarRequested);
    menu.exec(mapToGlobal(pos));
}

void StatusBar::ToggleInterpreter()
{
    Settings &settings = Settings::instance();
    settings.statusBarInterpreterVisible = !settings.statusBarInterpreterVisible;
    ApplyVisibility();
}

void StatusBar::ToggleErrorWarningCount()
{
    Settings &settings = Settings::instance();
    settings.statusBarErrorCountVisible = !settings.statusBarErrorCountVisible;
    ApplyVisibility();
}

void StatusBar::ToggleCurrentLineMessage()
{
    Settings &settings = Settings::instance();
    settings.statusBarLineMessageVisible = !settings.statusBarLineMessageVisible;
    ApplyVisibility();
}

void StatusBar::OnHideActivityBarRequested()
{
    emit StatusBarVisibilityChangeRequested(false);
}

} // namespace ke2
