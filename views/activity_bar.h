#pragma once

#include "views/side_bar_view.h"

#include <QtCore/QMap>
#include <QtWidgets/QWidget>

class QToolButton;
class QVBoxLayout;

namespace ke2 {

// The narrow strip at the window's outer edge with one button per side bar view and, at the
// bottom, the preferences. The button of the view the side bar shows is checked while the side
// bar is visible; the window decides what a click means (show, switch or hide).
class ActivityBar : public QWidget {
    Q_OBJECT
public:
    explicit ActivityBar(QWidget *parent = nullptr);

    // Shows a button for `view` (the views that exist in this build).
    void SetViewAvailable(SideBarView view, bool available);
    // Marks `view` as the one shown; `sideBarVisible` false unchecks every button.
    void SetCurrentView(SideBarView view, bool sideBarVisible = true);
    QToolButton *ViewButton(SideBarView view) const { return m_buttons.value(view); }
    QToolButton *PreferencesButton() const { return m_preferences; }

signals:
    void ViewSelected(ke2::SideBarView view);
    void EditPreferencesSelected(ke2::PreferencePage page);
    void ActivityBarVisibilityChangeRequested(bool visible);

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    QToolButton *AddViewButton(SideBarView view, const QString &iconPath, const QString &toolTip);
    // Each button's tool tip names the key of its action.
    void UpdateToolTips();

    QVBoxLayout *m_layout;
    QMap<SideBarView, QToolButton *> m_buttons;
    QToolButton *m_preferences;
};

} // namespace ke2
