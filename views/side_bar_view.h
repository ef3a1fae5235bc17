#pragma once

#include <QtCore/QMetaType>

namespace ke2 {

// The views the side bar shows, one at a time; the activity bar has a button for each.
enum SideBarView {
    SIDE_BAR_VIEW_EXPLORER = 0,
    SIDE_BAR_VIEW_SEARCH = 1,
    SIDE_BAR_VIEW_QUICK_HELP = 2,
    SIDE_BAR_VIEW_DEBUG = 3,
};

// A page of the preferences dialog, by its number there.
using PreferencePage = int;

} // namespace ke2

Q_DECLARE_METATYPE(ke2::SideBarView)
