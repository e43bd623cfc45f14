#pragma once

#include "selection/Geometry.h"
#include "selection/ScreenInfo.h"

#include <QMetaType>
#include <QRect>
#include <QString>
#include <cstdint>

// What the user chose to record, as the recording controller takes it.
struct RegionSelection {
    // The area in the chosen screen's own coordinates: origin at that
    // screen's bottom left, y up, in points.
    RectD captureRect;
    ScreenInfo screen;
    std::uint32_t screenNumber = 0;
    // The same area on the X11 desktop (root coordinates, y down), in whole
    // pixels: what a screen grabber reads.
    QRect desktopRect;
    // 0 full screen, 1 area, 2 window.
    int recordVideoType = 0;
    // The window under the pointer when the choice was made (window kind).
    std::uint32_t selectedWindowNumber = 0;
    QString selectedWindowName;
};
Q_DECLARE_METATYPE(RegionSelection)
