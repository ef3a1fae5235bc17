#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QRect>

namespace ke2 {

// Where a dragged tab or file lands in a group: in it, or in a new place before or after it
// (left or top, right or bottom, by the editor layout's orientation).
enum TabDropZone {
    TAB_DROP_ZONE_CENTER = 0,
    TAB_DROP_ZONE_BEFORE = 1,
    TAB_DROP_ZONE_AFTER = 2,
};

// The zone of `coordinate` along an axis `extent` pixels long: up to the integer part of 15 % of
// (extent + 1) is before, from the integer part of 85 % of it is after. Without edge zones the
// centre is the only zone.
TabDropZone tabDropZoneAt(int coordinate, int extent, bool edgeZonesAllowed);

// The part of `area` a zone highlights: the first half, the second half or all of it, split at
// the integer part of half of (extent + 1) along the vertical or horizontal axis.
QRect tabDropZoneRect(TabDropZone zone, const QRect &area, bool vertical);

} // namespace ke2

Q_DECLARE_METATYPE(ke2::TabDropZone)
