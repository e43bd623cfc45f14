#pragma once

#include "selection/Geometry.h"

#include <QString>
#include <cstdint>
#include <optional>
#include <vector>

// One screen as the selection code sees it: one monitor of the display.
struct ScreenInfo {
    // The platform's display number ("NSScreenNumber"): the monitor's id.
    std::uint32_t screenNumber = 0;
    QString name;
    // Screen space: origin at the bottom left of the primary display, y up.
    RectD frame;
    friend bool operator==(const ScreenInfo&, const ScreenInfo&) = default;
};

// The screen helpers of the conversions. Pure functions over a screen list
// given in the platform's order; any thread.
namespace ScreenGeometry {

// Rule A's reference height: the screen whose frame origin, truncated to
// integers, is (0, 0); else the main screen; else 0.
double primaryReferenceHeight(const std::vector<ScreenInfo>& screens, const ScreenInfo* mainScreen);
// Rule B's reference height: the main screen's, whatever its origin; 0 without one.
double mainScreenReferenceHeight(const ScreenInfo* mainScreen);

// The first screen whose frame holds the point, top and right edges
// excluded; null when none does.
const ScreenInfo* screenContaining(const std::vector<ScreenInfo>& screens, PointD point);

// x unchanged, y mirrored within the screen's height.
PointD flipPoint(const ScreenInfo& screen, PointD point);
// x = | |frame x| - |point x| |, y = point y - frame y, both rounded to
// single precision: callers keep these positions as floats and compare them
// with the values returned here.
PointD convertPointToScreenCoordinates(const ScreenInfo& screen, PointD point);

} // namespace ScreenGeometry
