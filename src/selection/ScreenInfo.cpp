#include "selection/ScreenInfo.h"

#include <cmath>

namespace ScreenGeometry {

double primaryReferenceHeight(const std::vector<ScreenInfo>& screens, const ScreenInfo* mainScreen) {
    for (const ScreenInfo& screen : screens) {
        if (static_cast<long long>(screen.frame.x) == 0 && static_cast<long long>(screen.frame.y) == 0)
            return screen.frame.height;
    }
    return mainScreen ? mainScreen->frame.height : 0;
}

double mainScreenReferenceHeight(const ScreenInfo* mainScreen) {
    return mainScreen ? mainScreen->frame.height : 0;
}

const ScreenInfo* screenContaining(const std::vector<ScreenInfo>& screens, PointD point) {
    for (const ScreenInfo& screen : screens) {
        const RectD& f = screen.frame;
        if (point.x >= f.minX() && point.x < f.maxX() && point.y >= f.minY() && point.y < f.maxY())
            return &screen;
    }
    return nullptr;
}

PointD flipPoint(const ScreenInfo& screen, PointD point) {
    return {point.x, screen.frame.height - point.y};
}

namespace {
// Rounds to single precision. GCC 12 at -O2 drops a plain double -> float ->
// double round trip when both values end in a returned pair (the SLP
// vectoriser merges them); a volatile store keeps the rounding.
double throughFloat(double value) {
    volatile float rounded = static_cast<float>(value);
    return rounded;
}
} // namespace

PointD convertPointToScreenCoordinates(const ScreenInfo& screen, PointD point) {
    return {throughFloat(std::fabs(std::fabs(screen.frame.x) - std::fabs(point.x))),
            throughFloat(point.y - screen.frame.y)};
}

} // namespace ScreenGeometry
