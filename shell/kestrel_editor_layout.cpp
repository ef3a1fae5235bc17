// Layout, visibility, window events, focus, fonts, title and preferences of the main window.
#include "shell/kestrel_editor.h"

#include "output/output_text_edit.h"
#include "output/output_view.h"
#include "plugin/forced_imports.h"
#include "preferences/preferences_dialog.h"

#include "config/color_scheme.h"
#include "config/key_bindings.h"
#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "language/mel_command_catalog.h"
#include "language/mel_command_context.h"
#include "plugin/host.h"
#include "plugin/host_bridge.h"
#include "shell/buffer_io.h"
#include "shell/buffer_loader.h"
#include "views/activity_bar.h"
#include "views/panel_group.h"
#include "views/side_bar.h"
#include "views/status_bar.h"
#include "views/workspace_view.h"

#include <QtCore/QFileInfo>
#include <QtCore/QTimer>
#include <QtGui/QCloseEvent>
#include <QtGui/QKeyEvent>
#include <QAction>
#include <QActionGroup>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QSplitter>

#include <algorithm>
#include <cmath>

namespace ke2 {
namespace {

// Below this a remembered pane size means "none".
constexpr int minimumRememberedSize = 10;

bool isInside(const QWidget *widget, const QWidget *container)
{
    for (const QWidget *w = widget; w; w = w->parentWidget())
        if (w == container)
            return true;
    return false;
}

bool hasDockingHost()
{
    Host *host = HostBridge::host();
    return host && host->hasFeature(Host::Feature::DockingUi);
}

} // namespace

// --- Panes of the two outer splitters --------------------------------------------------------

int KestrelEditor::OutputPane() const
{
    return Settings::instance().outputTopLeft ? 0 : 1;
}

int KestrelEditor::SideBarPane() const
{
    return Settings::instance().sideBarLeft ? 0 : 1;
}

int KestrelEditor::QuarterHeight() const
{
    // The height even when the panes sit side by side: the proportions follow the window's height.
    return (rect().bottom() - rect().top() + 1) / 4;
}

int KestrelEditor::DefaultSideBarWidth() const
{
    // A fifth of the window, never so narrow that the section headers ("OPEN EDITORS",
    // "WORKSPACE") and their buttons are cut, unless a long workspace name would take more
    // than a third of the window.
    constexpr int minimumWidth = 220;
    return std::max({minimumWidth, width() / 5, std::min(m_sideBar->HeaderWidth(), width() / 3)});
}

void KestrelEditor::ShowCodeEditorAndOutput()
{
    if (m_codeEditorVisible && m_outputVisible)
        return;
    QList<int> sizes = m_outputSplitter->sizes();
    if (sizes.size() == 2) {
        const int quarter = QuarterHeight();
        sizes[1 - OutputPane()] = m_lastCodeEditorSize < minimumRememberedSize ? 3 * quarter : m_lastCodeEditorSize;
        sizes[OutputPane()] = m_lastOutputSize < minimumRememberedSize ? quarter : m_lastOutputSize;
        m_outputSplitter->setSizes(sizes);
    }
    m_codeEditorVisible = true;
    m_outputVisible = true;
}

void KestrelEditor::HideCodeEditor()
{
    if (!m_codeEditorVisible)
        return;
    QList<int> sizes = m_outputSplitter->sizes();
    if (sizes.size() == 2) {
        sizes[1 - OutputPane()] = 0;
        sizes[OutputPane()] = 100;
        m_outputSplitter->setSizes(sizes);
    }
    m_codeEditorVisible = false;
    m_outputVisible = true;
}

void KestrelEditor::HideOutput()
{
    if (!m_outputVisible)
        return;
    QList<int> sizes = m_outputSplitter->sizes();
    if (sizes.size() == 2) {
        sizes[1 - OutputPane()] = 100;
        sizes[OutputPane()] = 0;
        m_outputSplitter->setSizes(sizes);
    }
    m_codeEditorVisible = true;
    m_outputVisible = false;
}

void KestrelEditor::RememberCodeEditorAndOutputSizes()
{
    const QList<int> sizes = m_outputSplitter->sizes();
    if (sizes.size() != 2)
        return;
    m_lastCodeEditorSize = sizes.at(1 - OutputPane());
    m_lastOutputSize = sizes.at(OutputPane());
}

void KestrelEditor::ToggleCodeEditor()
{
    if (m_codeEditorVisible) {
        if (m_outputVisible)
            RememberCodeEditorAndOutputSizes();
        HideCodeEditor();
    } else {
        ShowCodeEditorAndOutput();
    }
}

void KestrelEditor::ToggleOutput()
{
    if (m_outputVisible) {
        if (m_codeEditorVisible)
            RememberCodeEditorAndOutputSizes();
        HideOutput();
    } else {
        ShowCodeEditorAndOutput();
    }
}

void KestrelEditor::SetCodeEditorVisible(bool visible, bool splitterMove)
{
    if (visible && splitterMove)
        m_codeEditorVisible = true;
    else if (visible)
        ShowCodeEditorAndOutput();
    else
        HideCodeEditor();
}

void KestrelEditor::SetOutputVisible(bool visible, bool splitterMove)
{
    if (visible && splitterMove)
        m_outputVisible = true;
    else if (visible)
        ShowCodeEditorAndOutput();
    else
        HideOutput();
}

void KestrelEditor::ShowSideBar()
{
    if (!m_sideBarVisible) {
        QList<int> sizes = m_sideBarSplitter->sizes();
        if (sizes.size() == 2) {
            const bool remembered = m_lastSideBarSize >= minimumRememberedSize;
            const int side = remembered ? m_lastSideBarSize : DefaultSideBarWidth();
            sizes[SideBarPane()] = side;
            // The side bar's own remembered size decides, not the main area's.
            sizes[1 - SideBarPane()] = remembered ? m_lastMainSize : std::max(m_sideBarSplitter->width() - side, 1);
            m_sideBarSplitter->setSizes(sizes);
        }
        m_sideBarVisible = true;
    }
    UpdateActivityBarCheck();
}

void KestrelEditor::HideSideBar()
{
    if (m_sideBarVisible) {
        QList<int> sizes = m_sideBarSplitter->sizes();
        if (sizes.size() == 2) {
            sizes[SideBarPane()] = 0;
            m_sideBarSplitter->setSizes(sizes);
        }
        m_sideBarVisible = false;
        // Find-in-files highlights go with the list they belong to.
        if (m_searchActive)
            OnSearchCleared();
        if (isInside(QApplication::focusWidget(), m_sideBar)) {
            if (CodeEditor *editor = ActiveCodeEditor())
                editor->setFocus();
        }
    }
    UpdateActivityBarCheck();
}

void KestrelEditor::RememberSideBarSizes()
{
    const QList<int> sizes = m_sideBarSplitter->sizes();
    if (sizes.size() != 2)
        return;
    m_lastSideBarSize = sizes.at(SideBarPane());
    m_lastMainSize = sizes.at(1 - SideBarPane());
}

void KestrelEditor::ToggleSideBar()
{
    if (m_sideBarVisible) {
        RememberSideBarSizes();
        HideSideBar();
    } else {
        ShowSideBar();
    }
    if (m_searchActive)
        OnSearchCleared();
}

void KestrelEditor::SetSideBarVisible(bool visible, bool splitterMove)
{
    if (visible && splitterMove) {
        m_sideBarVisible = true;
        UpdateActivityBarCheck();
    } else if (visible) {
        ShowSideBar();
    } else {
        HideSideBar();
    }
}

void KestrelEditor::UpdateActivityBarCheck()
{
    m_activityBar->SetCurrentView(m_sideBar->CurrentView(), m_sideBarVisible);
}

void KestrelEditor::SetSideBarView(SideBarView view)
{
    m_sideBar->SetCurrentView(view);
    UpdateActivityBarCheck();
    const bool searchActive = m_sideBar->CurrentView() == SIDE_BAR_VIEW_SEARCH;
    const bool changed = searchActive != m_searchActive;
    m_searchActive = searchActive;
    if (m_sideBarVisible && changed)
        OnSearchCleared();
}

void KestrelEditor::OnActivityBarViewSelected(SideBarView view)
{
    // A click on the view already shown folds the side bar away; any other shows that view.
    if (m_sideBarVisible && m_sideBar->CurrentView() == view) {
        RememberSideBarSizes();
        HideSideBar();
        return;
    }
    SetSideBarView(view);
    ShowSideBar();
}

void KestrelEditor::ShowExplorer()
{
    SetSideBarView(SIDE_BAR_VIEW_EXPLORER);
    ShowSideBar();
}

void KestrelEditor::ShowSearch()
{
    if (!m_sideBar->HasView(SIDE_BAR_VIEW_SEARCH))
        return;
    SetSideBarView(SIDE_BAR_VIEW_SEARCH);
    ShowSideBar();
}

void KestrelEditor::ShowQuickHelp()
{
    SetSideBarView(SIDE_BAR_VIEW_QUICK_HELP);
    ShowSideBar();
}

void KestrelEditor::OnSplitterMoved()
{
    if (sender() == m_sideBarSplitter) {
        const QList<int> sizes = m_sideBarSplitter->sizes();
        if (sizes.size() != 2)
            return;
        if (sizes.at(SideBarPane()) != 0) {
            m_sideBarVisible = true;
            UpdateActivityBarCheck();
        } else if (m_sideBarVisible) {
            HideSideBar();
        }
    } else if (sender() == m_outputSplitter) {
        const QList<int> sizes = m_outputSplitter->sizes();
        if (sizes.size() != 2)
            return;
        const int code = sizes.at(1 - OutputPane());
        const int output = sizes.at(OutputPane());
        if (code == 0 && m_codeEditorVisible)
            HideCodeEditor();
        else if (output == 0 && m_outputVisible)
            HideOutput();
        if (code != 0)
            m_codeEditorVisible = true;
        if (output != 0)
            m_outputVisible = true;
    }
}

// --- Positions -------------------------------------------------------------------------------

void KestrelEditor::ToggleCodeEditorLayout()
{
    Settings &settings = Settings::instance();
    settings.codeEditorOrientVertical = !settings.codeEditorOrientVertical;
    m_editorSplitter->setOrientation(settings.codeEditorOrientVertical ? Qt::Vertical : Qt::Horizontal);
}

void KestrelEditor::SetOutputPosition(bool vertical, bool topLeft)
{
    Settings &settings = Settings::instance();
    QSplitter *splitter = m_outputSplitter;
    QWidget *output = m_outputPanelGroup;
    QWidget *editors = m_editorSplitter;
    const bool orientationChanged = settings.outputOrientVertical != vertical;
    const bool orderChanged = settings.outputTopLeft != topLeft;
    settings.outputOrientVertical = vertical;
    settings.outputTopLeft = topLeft;
    if (orientationChanged)
        splitter->setOrientation(vertical ? Qt::Vertical : Qt::Horizontal);
    if (orderChanged) {
        QList<int> sizes = splitter->sizes();
        if (sizes.size() == 2)
            sizes.swapItemsAt(0, 1);
        splitter->insertWidget(0, topLeft ? output : editors);
        splitter->insertWidget(1, topLeft ? editors : output);
        splitter->setStretchFactor(0, topLeft ? 0 : 1);
        splitter->setStretchFactor(1, topLeft ? 1 : 0);
        if (!orientationChanged && sizes.size() == 2)
            splitter->setSizes(sizes);
        splitter->handle(1)->installEventFilter(this);
    }
    if (orientationChanged) {
        // Sizes along the old axis mean nothing along the new one (an output as wide as it was
        // high): beside the editors it takes a third of the width, above or below them the
        // quarter of the height it has at first start. A hidden pane stays hidden and shows
        // at that share later.
        const int extent = vertical ? splitter->height() : splitter->width();
        const int outputSize = vertical ? QuarterHeight() : extent / 3;
        m_lastOutputSize = outputSize;
        m_lastCodeEditorSize = std::max(extent - outputSize - splitter->handleWidth(), 1);
        QList<int> sizes{0, 0};
        sizes[OutputPane()] = m_outputVisible ? (m_codeEditorVisible ? m_lastOutputSize : extent) : 0;
        sizes[1 - OutputPane()] = m_codeEditorVisible ? (m_outputVisible ? m_lastCodeEditorSize : extent) : 0;
        splitter->setSizes(sizes);
    }
    m_outputPanelGroup->UpdateLayout(vertical, topLeft);
    UpdateOutputPositionChecks();
}

void KestrelEditor::UpdateOutputPositionChecks()
{
    const Settings &settings = Settings::instance();
    const int checked = (settings.outputOrientVertical ? 0 : 2) + (settings.outputTopLeft ? 0 : 1);
    const QList<QAction *> actions = m_outputPositionGroup->actions();
    if (checked < actions.size())
        actions.at(checked)->setChecked(true);
}

void KestrelEditor::OutputPositionTop()
{
    SetOutputPosition(true, true);
}

void KestrelEditor::OutputPositionBottom()
{
    SetOutputPosition(true, false);
}

void KestrelEditor::OutputPositionLeft()
{
    SetOutputPosition(false, true);
}

void KestrelEditor::OutputPositionRight()
{
    SetOutputPosition(false, false);
}

void KestrelEditor::ToggleSideBarPosition()
{
    Settings &settings = Settings::instance();
    settings.sideBarLeft = !settings.sideBarLeft;
    const bool left = settings.sideBarLeft;
    QList<int> sizes = m_sideBarSplitter->sizes();
    if (sizes.size() == 2)
        sizes.swapItemsAt(0, 1);
    m_sideBarSplitter->insertWidget(0, left ? static_cast<QWidget *>(m_sideBar) : m_outputSplitter);
    m_sideBarSplitter->insertWidget(1, left ? static_cast<QWidget *>(m_outputSplitter) : m_sideBar);
    m_sideBarSplitter->setCollapsible(SideBarPane(), true);
    m_sideBarSplitter->setCollapsible(1 - SideBarPane(), false);
    m_sideBarSplitter->setStretchFactor(SideBarPane(), 0);
    m_sideBarSplitter->setStretchFactor(1 - SideBarPane(), 1);
    if (sizes.size() == 2)
        m_sideBarSplitter->setSizes(sizes);
    // The activity bar stays on the outer edge, next to the side bar.
    if (left) {
        m_mainRow->removeWidget(m_sideBarSplitter);
        m_mainRow->addWidget(m_sideBarSplitter);
    } else {
        m_mainRow->removeWidget(m_activityBar);
        m_mainRow->addWidget(m_activityBar);
    }
    m_toggleSideBarPositionAction->setText(left ? QStringLiteral("Move Side Bar Right") : QStringLiteral("Move Side Bar Left"));
    m_sideBarSplitter->handle(1)->installEventFilter(this);
}

void KestrelEditor::SetActivityBarVisible(bool visible)
{
    Settings::instance().activityBarVisible = visible;
    m_activityBar->setVisible(visible);
    const QString text = visible ? QStringLiteral("Hide Activity Bar") : QStringLiteral("Show Activity Bar");
    m_toggleActivityBarAction->setText(text);
    m_toggleActivityBarAction->setToolTip(text);
}

void KestrelEditor::ToggleActivityBar()
{
    SetActivityBarVisible(!Settings::instance().activityBarVisible);
}

void KestrelEditor::SetStatusBarVisible(bool visible)
{
    Settings::instance().statusBarVisible = visible;
    m_statusBar->setVisible(visible);
    const QString text = visible ? QStringLiteral("Hide Status Bar") : QStringLiteral("Show Status Bar");
    m_toggleStatusBarAction->setText(text);
    m_toggleStatusBarAction->setToolTip(text);
}

void KestrelEditor::ToggleStatusBar()
{
    SetStatusBarVisible(!Settings::instance().statusBarVisible);
}

void KestrelEditor::OnShowEditMenu()
{
    m_findInFilesAction->setText(QStringLiteral("Find in Files"));
    m_findInFilesAction->setStatusTip(QStringLiteral("Find in Files"));
}

void KestrelEditor::OnShowViewMenu()
{
    m_findInFilesAction->setText(QStringLiteral("Search"));
    m_findInFilesAction->setStatusTip(QStringLiteral("Search"));
}

void KestrelEditor::OnShowOutputVerbosityMenu()
{
    const int verbosity = m_outputView ? m_outputView->CurrentVerbosity() : OutputView::Normal;
    m_echoAllAction->setChecked(verbosity == OutputView::EchoAll);
    m_normalAction->setChecked(verbosity == OutputView::Normal);
    m_minimalAction->setChecked(verbosity == OutputView::Minimal);
}

// --- Events ----------------------------------------------------------------------------------

bool KestrelEditor::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ToolTip && watched->isWidgetType()
        && ShowDebugValueToolTip(static_cast<QWidget *>(watched), event))
        return true;
    if (event->type() == QEvent::MouseButtonPress) {
        if (watched == m_outputSplitter->handle(1)) {
            const QList<int> sizes = m_outputSplitter->sizes();
            if (sizes.size() == 2 && sizes.at(0) > 0 && sizes.at(1) > 0)
                RememberCodeEditorAndOutputSizes();
        } else if (watched == m_sideBarSplitter->handle(1)) {
            const QList<int> sizes = m_sideBarSplitter->sizes();
            if (sizes.size() == 2 && sizes.at(0) > 0 && sizes.at(1) > 0)
                RememberSideBarSizes();
        }
        return false;
    }
    if (event->type() == QEvent::Close && watched == m_hostMainWindow) {
        if (ConfirmClose())
            return false;
        event->ignore();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void KestrelEditor::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    const Settings &settings = Settings::instance();
    // Sizes are remembered from a restored state only: on a first start the layout's own
    // arbitrary split is not worth keeping, and the panes open at their default proportions.
    const bool sideBarRestored = m_sideBarSplitter->restoreState(settings.sideBarState);
    const bool outputRestored = m_outputSplitter->restoreState(settings.outputState);
    if (m_sideBarVisible && sideBarRestored)
        RememberSideBarSizes();
    if (m_codeEditorVisible && m_outputVisible && outputRestored)
        RememberCodeEditorAndOutputSizes();

    m_lineNumbersInErrorsAction->setChecked(HostBridge::showLineNumbers());
    m_showStackTraceAction->setChecked(HostBridge::stackTrace());
    m_suppressStackWindowAction->setChecked(settings.suppressStackWindow);
    m_echoAllCommandsAction->setChecked(HostBridge::echoAllCommands());
    if (m_searchActive)
        OnSearchCleared();

    // Applied through the show and hide operations: a flag that says "shown" re-shows the pane
    // at its remembered size even when the restored splitter had it at zero.
    if (settings.codeEditorVisible && settings.outputVisible) {
        m_codeEditorVisible = false;
        ShowCodeEditorAndOutput();
    } else if (!settings.codeEditorVisible) {
        m_codeEditorVisible = true;
        HideCodeEditor();
    } else {
        m_outputVisible = true;
        HideOutput();
    }
    if (settings.sideBarVisible) {
        m_sideBarVisible = false;
        ShowSideBar();
    } else {
        m_sideBarVisible = true;
        HideSideBar();
    }
    SetActivityBarVisible(settings.activityBarVisible);
    SetStatusBarVisible(settings.statusBarVisible);
    if (m_codeEditorVisible) {
        if (CodeEditor *editor = ActiveCodeEditor())
            editor->setFocus();
    }
    UpdateTitleBar();
    HostBridge::refreshCaches();
}

void KestrelEditor::hideEvent(QHideEvent *event)
{
    Settings &settings = Settings::instance();
    settings.windowGeometry = QRect(mapToGlobal(QPoint(0, 0)), size());
    settings.sideBarState = m_sideBarSplitter->saveState();
    settings.outputState = m_outputSplitter->saveState();
    settings.codeEditorVisible = m_codeEditorVisible;
    settings.outputVisible = m_outputVisible;
    settings.sideBarVisible = m_sideBarVisible;
    m_sideBar->SaveState();
    QWidget::hideEvent(event);
}

void KestrelEditor::keyPressEvent(QKeyEvent *event)
{
    // Escape that no view took brings the keyboard back to the editor.
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        if (CodeEditor *editor = ActiveCodeEditor()) {
            editor->setFocus();
            return;
        }
    }
    QWidget::keyPressEvent(event);
}

void KestrelEditor::OnApplicationFocusChanged(QWidget *old, QWidget *now)
{
    // A dialog borrows the keys: once it is gone they go back where they were (or to the active
    // editor when that widget went meanwhile), not to whichever button Qt picks next, nor to
    // nothing at all when no window is activated after it.
    const QWidget *ownWindow = window();
    const auto inDialog = [ownWindow](const QWidget *w) {
        return w && w->window() != ownWindow && qobject_cast<const QDialog *>(w->window());
    };
    if (old && old->window() == ownWindow && inDialog(now)) {
        m_focusBeforeDialog = old;
        m_dialogHasFocus = true;
    } else if (m_dialogHasFocus && !inDialog(now)) {
        QTimer::singleShot(0, this, &KestrelEditor::RestoreFocusAfterDialog);
    }
    // Coming back to the window is when files changed elsewhere are looked at.
    if (isInside(now, this) && !isInside(old, this))
        ScheduleFileCheck();
    if (hasDockingHost() && HostBridge::workspaceControlFloating()) {
        if (!m_shortcutsActive) {
            m_shortcutsActive = true;
            m_bindings.applyShortcuts(true);
        }
        return;
    }
    const bool inside = isInside(now, this);
    if (m_shortcutsActive && !inside) {
        m_shortcutsActive = false;
        m_bindings.applyShortcuts(false);
    } else if (!m_shortcutsActive && inside) {
        m_shortcutsActive = true;
        m_bindings.applyShortcuts(true);
    }
}

void KestrelEditor::RestoreFocusAfterDialog()
{
    if (!m_dialogHasFocus || QApplication::activeModalWidget())
        return;
    // Another window has the keys (the user went there): it keeps them.
    const QWidget *focus = QApplication::focusWidget();
    if (focus && focus->window() != window())
        return;
    m_dialogHasFocus = false;
    QPointer<QWidget> back = m_focusBeforeDialog;
    if (!back || !back->isVisible())
        back = ActiveCodeEditor();
    if (!back || back->hasFocus())
        return;
    if (!window()->isActiveWindow())
        window()->activateWindow();
    back->setFocus(Qt::OtherFocusReason);
}

// --- Fonts -----------------------------------------------------------------------------------

namespace {

QFont zoomedFont(QFont font, int &zoom)
{
    const int base = font.pointSize() > 0 ? font.pointSize() : qRound(font.pointSizeF());
    int points = base + zoom;
    if (points < KestrelEditor::minimumFontSize) {
        zoom = KestrelEditor::minimumFontSize - base;
        points = KestrelEditor::minimumFontSize;
    } else if (points > KestrelEditor::maximumFontSize) {
        zoom = KestrelEditor::maximumFontSize - base;
        points = KestrelEditor::maximumFontSize;
    }
    double size = points;
    const double scale = HostBridge::dpiScale();
    if (scale > 0.0 && std::abs(scale - 1.0) > 1e-9)
        size *= scale;
    font.setPointSizeF(size);
    return font;
}

} // namespace

void KestrelEditor::ApplyCodeEditorFont(CodeEditor *codeEditor)
{
    int &zoom = Settings::instance().codeEditorZoom;
    codeEditor->setFont(zoomedFont(Settings::instance().codeEditorFont, zoom));
}

void KestrelEditor::ApplyCodeEditorFont()
{
    for (CodeEditorGroup *group : qAsConst(m_groups))
        for (int i = 0; i < group->Count(); ++i)
            ApplyCodeEditorFont(group->CodeEditorAt(i));
}

void KestrelEditor::ApplyOutputFont()
{
    if (m_outputText)
        m_outputText->ApplyFont();
}

void KestrelEditor::IncreaseFontSize()
{
    if (FocusedCodeEditor())
        IncreaseCodeEditorFontSize();
    else if (OutputHasFocus())
        IncreaseOutputFontSize();
}

void KestrelEditor::DecreaseFontSize()
{
    if (FocusedCodeEditor())
        DecreaseCodeEditorFontSize();
    else if (OutputHasFocus())
        DecreaseOutputFontSize();
}

void KestrelEditor::ResetFontSize()
{
    if (FocusedCodeEditor()) {
        Settings::instance().codeEditorZoom = 0;
        ApplyCodeEditorFont();
    } else if (OutputHasFocus()) {
        Settings::instance().outputZoom = 0;
        ApplyOutputFont();
    }
}

void KestrelEditor::IncreaseCodeEditorFontSize()
{
    ++Settings::instance().codeEditorZoom;
    ApplyCodeEditorFont();
}

void KestrelEditor::DecreaseCodeEditorFontSize()
{
    --Settings::instance().codeEditorZoom;
    ApplyCodeEditorFont();
}

void KestrelEditor::IncreaseOutputFontSize()
{
    ++Settings::instance().outputZoom;
    ApplyOutputFont();
}

void KestrelEditor::DecreaseOutputFontSize()
{
    --Settings::instance().outputZoom;
    ApplyOutputFont();
}

// --- Title, status bar, preferences ----------------------------------------------------------

void KestrelEditor::UpdateTitleBar()
{
    if (m_constructing)
        return;
    CodeEditor *editor = ActiveCodeEditor();
    const QString title = editor ? QStringLiteral("%1 - %2").arg(editor->DisplayName(), HostBridge::displayName())
                                 : HostBridge::displayName();
    setWindowTitle(title);
    if (hasDockingHost())
        HostBridge::setWorkspaceControlLabel(title);
}

void KestrelEditor::UpdateCursorPosition()
{
    CodeEditor *editor = ActiveCodeEditor();
    if (!editor)
        return;
    const QTextCursor cursor = editor->textCursor();
    m_statusBar->UpdateCursor(cursor.blockNumber() + 1, cursor.positionInBlock() + 1,
                              cursor.selectionEnd() - cursor.selectionStart());
    m_statusBar->UpdateLineMessage(LineMessageAt(editor));
}

QString KestrelEditor::LineMessageAt(CodeEditor *editor) const
{
    const QTextCursor cursor = editor->textCursor();
    // On a MEL flag or in a procedure call, its signature says more than the line's diagnostic.
    if (editor->Language() == LANGUAGE_MEL && Settings::instance().melSignatureHelp && !cursor.hasSelection()) {
        const QString signature = MelSignatureHelp(editor->document(), cursor.position(), MelCommandCatalog::instance());
        if (!signature.isEmpty())
            return signature;
    }
    return editor->LineMessage(cursor.blockNumber());
}

void KestrelEditor::UpdateOverwriteMode()
{
    // Insert switches every editor, so no buffer silently types over text the user never chose
    // to overwrite.
    for (CodeEditorGroup *group : qAsConst(m_groups))
        for (int i = 0; i < group->Count(); ++i)
            group->CodeEditorAt(i)->ApplySharedOverwriteMode();
    m_statusBar->UpdateOverwriteMode(CodeEditor::SharedOverwriteMode());
}

void KestrelEditor::UpdateStatusBarInfo()
{
    CodeEditor *editor = ActiveCodeEditor();
    if (!editor) {
        m_statusBar->UpdateCounts(0, 0);
        m_statusBar->UpdateLineMessage(QString());
        m_statusBar->UpdateFileFormat(QString(), QString());
        m_statusBar->UpdateLoadProgress(-2);
        return;
    }
    const TextFileFormat format = m_bufferIo->Format(editor);
    m_statusBar->UpdateFileFormat(format.EncodingName(), format.LineEndingName());
    const auto *loader = editor->findChild<BufferLoader *>(QString(), Qt::FindDirectChildrenOnly);
    m_statusBar->UpdateLoadProgress(loader && loader->IsLoading() ? loader->Percent() : -2);
    m_statusBar->UpdateCounts(editor->Marks(MARK_ERROR).size(), editor->Marks(MARK_WARNING).size());
    m_statusBar->UpdateLineMessage(LineMessageAt(editor));
}

void KestrelEditor::UpdateInterpreter()
{
    CodeEditor *editor = ActiveCodeEditor();
    m_statusBar->UpdateInterpreter(editor ? editor->Language() : LANGUAGE_TEXT);
}

void KestrelEditor::UpdateParser()
{
    if (CodeEditorGroup *group = ActiveGroup())
        group->UpdateParser();
}

void KestrelEditor::UpdateViews()
{
    RefreshOpenEditors();
    UpdateTitleBar();
    UpdateInterpreter();
    UpdateCursorPosition();
    UpdateOverwriteMode();
    UpdateStatusBarInfo();
    UpdateParser();
}

void KestrelEditor::RefreshCodeEditorGroupMiniToolbar()
{
    for (CodeEditorGroup *group : qAsConst(m_groups))
        group->RefreshMiniToolbar();
}

void KestrelEditor::ApplyPreferences()
{
    Settings &settings = Settings::instance();
    // A missing pylint only pauses it: the saved setting stays as the user left it.
    settings.pylintOffForSession = !settings.pylintPath.isEmpty() && !QFileInfo::exists(settings.pylintPath);
    if (settings.pylintOffForSession)
        HostBridge::showWarning(QStringLiteral("Pylint path not found: %1").arg(settings.pylintPath));
    if (hasDockingHost()) {
        if (settings.overrideScriptEditorButton)
            HostBridge::overrideScriptEditorButton();
        else
            HostBridge::restoreScriptEditorButton();
    }
    SetActivityBarVisible(settings.activityBarVisible);
    SetStatusBarVisible(settings.statusBarVisible);
    m_toggleSideBarPositionAction->setText(settings.sideBarLeft ? QStringLiteral("Move Side Bar Right")
                                                                : QStringLiteral("Move Side Bar Left"));
    if (m_outputText)
        m_outputText->ApplySettings();
    if (m_outputView)
        m_outputView->ShowVerbosity(OutputView::HostVerbosity());
    RefreshCodeEditorGroupMiniToolbar();
    ApplyCodeEditorFont();
    ApplyOutputFont();
    ForcedImports::Apply(settings.pythonForcedImports);
    HostBridge::updatePythonPathString(settings.pylintAdditionalImportPaths);
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        for (int i = 0; i < group->Count(); ++i) {
            CodeEditor *editor = group->CodeEditorAt(i);
            editor->UpdateSettings();
            editor->ApplyColors();
        }
        group->ApplyPylintSettings();
        group->SetActive(group->Id() == m_activeGroupIndex); // the accent follows the colours
    }
}

void KestrelEditor::OnPreferencesModified()
{
    ApplyPreferences();
    SaveState();
}

void KestrelEditor::ShowPreferencesDialog(PreferencePage page)
{
    PreferencesDialog dialog(this, page);
    bool hideCompiled = Settings::instance().pythonHideCompiledFiles;
    // Every Apply (and OK) reaches every open part at once.
    connect(&dialog, &PreferencesDialog::PreferencesModified, this, [this, &hideCompiled] {
        OnPreferencesModified();
        if (hideCompiled != Settings::instance().pythonHideCompiledFiles) {
            hideCompiled = Settings::instance().pythonHideCompiledFiles;
            m_sideBar->Workspace()->Refresh();
        }
    });
    dialog.exec();
}

void KestrelEditor::ToggleRenderWhitespace()
{
    Settings::instance().renderWhitespace = !Settings::instance().renderWhitespace;
    for (CodeEditorGroup *group : qAsConst(m_groups))
        for (int i = 0; i < group->Count(); ++i)
            group->CodeEditorAt(i)->UpdateSettings();
}

void KestrelEditor::ToggleWordWrap()
{
    Settings::instance().wordWrapEnabled = !Settings::instance().wordWrapEnabled;
    for (CodeEditorGroup *group : qAsConst(m_groups))
        for (int i = 0; i < group->Count(); ++i)
            group->CodeEditorAt(i)->UpdateSettings();
}

} // namespace ke2
