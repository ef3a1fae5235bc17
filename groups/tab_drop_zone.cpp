#include "groups/tab_drop_zone.h"

namespace ke2 {

TabDropZone tabDropZoneAt(int coordinate, int extent, bool edgeZonesAllowed)
{
    if (!edgeZonesAllowed)
        return TAB_DROP_ZONE_CENTER;
    // Integer arithmetic gives the same bounds as truncating 0.15 * (extent + 1) without the
    // floating-point surprises at exact multiples.
    const int span = extent + 1;
    if (coordinate <= span * 15 / 100)
        return TAB_DROP_ZONE_BEFORE;
    if (coordinate >= span * 85 / 100)
        return TAB_DROP_ZONE_AFTER;
    return TAB_DROP_ZONE_CENTER;
}

QRect tabDropZoneRect(TabDropZone zone, const QRect &area, bool vertical)
{
    if (zone == TAB_DROP_ZONE_CENTER)
        return area;
    const int extent = vertical ? area.height() : area.width();
    const int half = (extent + 1) / 2;
    QRect rect = area;
    if (vertical) {
        if (zone == TAB_DROP_ZONE_BEFORE)
            rect.setHeight(half);
        else
            rect.setTop(area.top() + half);
    } else {
        if (zone == TAB_DROP_ZONE_BEFORE)
            rect.setWidth(half);
        else
            rect.setLeft(area.left() + half);
    }
    return rect;
}

} // namespace ke2
