#include "views/activity_bar.h"

#include "config/key_bindings.h"
#include "config/key_bindings_notifier.h"

#include <QtGui/QContextMenuEvent>
#include <QtWidgets/QMenu>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

namespace ke2 {
namespace {
constexpr int buttonSize = 40;
constexpr int iconSize = 24;
// The preferences dialog's first page.
constexpr PreferencePage generalPreferences = 10;
} // namespace

ActivityBar::ActivityBar(QWidget *parent) : QWidget(parent), m_layout(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("ActivityBar"));
    setFixedWidth(buttonSize + 4);
    setAutoFillBackground(true);
    m_layout->setContentsMargins(2, 2, 2, 4);
    m_layout->setSpacing(2);
    AddViewButton(SIDE_BAR_VIEW_EXPLORER, QStringLiteral(":/ke2_icons/explorer.png"), QStringLiteral("Explorer"));
    AddViewButton(SIDE_BAR_VIEW_SEARCH, QStringLiteral(":/ke2_icons/search.png"), QStringLiteral("Search"));
    AddViewButton(SIDE_BAR_VIEW_QUICK_HELP, QStringLiteral(":/ke2_icons/quick_help.png"), QStringLiteral("Quick Help"));
    AddViewButton(SIDE_BAR_VIEW_DEBUG, QStringLiteral(":/ke2_icons/debug.png"), QStringLiteral("Debug"));
    m_layout->addStretch(1);
    m_preferences = new QToolButton(this);
    m_preferences->setIcon(QIcon(QStringLiteral(":/ke2_icons/settings.png")));
    m_preferences->setIconSize(QSize(iconSize, iconSize));
    m_preferences->setFixedSize(buttonSize, buttonSize);
    m_preferences->setAutoRaise(true);
    m_preferences->setFocusPolicy(Qt::NoFocus);
    m_preferences->setToolTip(QStringLiteral("Preferences"));
    m_layout->addWidget(m_preferences);
    connect(m_preferences, &QToolButton::clicked, this, [this] { emit EditPreferencesSelected(generalPreferences); });
    connect(&KeyBindingsNotifier::instance(), &KeyBindingsNotifier::ShortcutsChanged, this,
            &ActivityBar::UpdateToolTips);
    UpdateToolTips();
}

void ActivityBar::UpdateToolTips()
{
    const KeyBindings &bindings = KeyBindings::instance();
    const struct {
        SideBarView view;
        const char *identifier;
        const char *text;
    } rows[] = {{SIDE_BAR_VIEW_EXPLORER, "explorer", "Explorer"},
                {SIDE_BAR_VIEW_SEARCH, "findInFiles", "Search"},
                {SIDE_BAR_VIEW_QUICK_HELP, "quickHelp", "Quick Help"},
                {SIDE_BAR_VIEW_DEBUG, "showDebugView", "Debug"}};
    for (const auto &row : rows) {
        if (QToolButton *button = m_buttons.value(row.view))
            button->setToolTip(bindings.toolTip(QString::fromLatin1(row.identifier), QString::fromLatin1(row.text)));
    }
    m_preferences->setToolTip(bindings.toolTip(QStringLiteral("preferences"), QStringLiteral("Preferences")));
}

QToolButton *ActivityBar::AddViewButton(SideBarView view, const QString &iconPath, const QString &toolTip)
{
    auto *button = new QToolButton(this);
    button->setIcon(QIcon(iconPath));
    button->setIconSize(QSize(iconSize, iconSize));
    button->setFixedSize(buttonSize, buttonSize);
    button->setAutoRaise(true);
    button->setCheckable(true);
    button->setFocusPolicy(Qt::NoFocus);
    button->setToolTip(toolTip);
    m_layout->addWidget(button);
    m_buttons.insert(view, button);
    // The check mark follows the side bar, not the click: the window sets it.
    connect(button, &QToolButton::clicked, this, [this, view, button] {
        button->setChecked(!button->isChecked());
        emit ViewSelected(view);
    });
    return button;
}

void ActivityBar::SetViewAvailable(SideBarView view, bool available)
{
    if (QToolButton *button = m_buttons.value(view))
        button->setVisible(available);
}

void ActivityBar::SetCurrentView(SideBarView view, bool sideBarVisible)
{
    for (auto it = m_buttons.cbegin(); it != m_buttons.cend(); ++it)
        it.value()->setChecked(sideBarVisible && it.key() == view);
}

void ActivityBar::contextMenuEvent(QContextMenuEvent *event)
{
    QMenu menu(this);
    connect(menu.addAction(QStringLiteral("Hide Activity Bar")), &QAction::triggered, this,
            [this] { emit ActivityBarVisibilityChangeRequested(false); });
    menu.exec(event->globalPos());
}

} // namespace ke2
