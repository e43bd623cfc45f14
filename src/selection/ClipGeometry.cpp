#include "selection/ClipGeometry.h"

#include "selection/SnipUtil.h"

#include <cmath>

namespace ClipGeometry {

namespace {
// Handle circles drawn on the border line, which is 5 points in from the
// border view's edge; the dark dot is a smaller circle inside.
constexpr double kHandleDrawRadius = 5;
constexpr double kSmallHandleRadius = 2;
constexpr double kBorderLineInset = 5;

RectD squareAround(PointD c, double radius) {
    return {c.x - radius, c.y - radius, 2 * radius, 2 * radius};
}

std::array<PointD, 8> drawnHandleCentres(SizeD bounds) {
    // The handles sit on the stroked line, so they are pulled in by its inset.
    const RectD line{kBorderLineInset, kBorderLineInset, bounds.width - 2 * kBorderLineInset,
                     bounds.height - 2 * kBorderLineInset};
    std::array<PointD, 8> points = handlePositions({line.width, line.height});
    for (PointD& p : points) {
        p.x += line.x;
        p.y += line.y;
    }
    return points;
}
} // namespace

std::array<PointD, 8> handlePositions(SizeD b) {
    const double w = b.width;
    const double h = b.height;
    return {PointD{0, 0}, PointD{w / 2, 0}, PointD{w, 0}, PointD{w, h / 2},
            PointD{w, h}, PointD{w / 2, h}, PointD{0, h}, PointD{0, h / 2}};
}

double distanceOfTwoPoints(PointD a, PointD b) {
    return std::sqrt(SnipUtil::pointDistanceToPoint(a, b));
}

PointD nearestHandle(PointD p, SizeD bounds) {
    double best = kHandleSearchStart;
    PointD anchor;
    for (const PointD& h : handlePositions(bounds)) {
        const double d = distanceOfTwoPoints(p, h);
        if (d < best) {
            best = d;
            anchor = h;
        }
    }
    return anchor;
}

DragStateInfo dragStateForAnchor(PointD a, SizeD b) {
    const double w = b.width;
    const double h = b.height;
    if (a.x == w / 2 && a.y == h)
        return {1, "中上"};
    if (a.x == w / 2 && a.y == 0)
        return {2, "中下"};
    if (a.x == 0 && a.y == h / 2)
        return {3, "左"};
    if (a.x == 0 && a.y == 0)
        return {5, "左下"};
    if (a.x == w && a.y == h / 2)
        return {6, "右"};
    // Both top corners share 7: the aspect rule keeps the frame centred
    // vertically for them.
    if (a.x == 0 && a.y == h)
        return {7, "左上"};
    if (a.x == w && a.y == h)
        return {7, "右上"};
    if (a.x == w && a.y == 0)
        return {8, "右下"};
    return {0, "其他"};
}

ResizeMultiplyer fillMultiplyer(PointD a, SizeD b) {
    ResizeMultiplyer m;
    m.xSize = a.x == 0 ? 1 : (a.x == b.width ? -1 : 0);
    m.ySize = a.y == 0 ? -1 : (a.y == b.height ? 1 : 0);
    m.xOrigin = a.x == 0 ? 1 : 0;
    m.yOrigin = a.y == 0 ? 1 : 0;
    return m;
}

std::array<RectD, 8> handleTrackRects(SizeD bounds) {
    std::array<RectD, 8> rects;
    const std::array<PointD, 8> points = handlePositions(bounds);
    for (std::size_t i = 0; i < points.size(); ++i)
        rects[i] = squareAround(points[i], kHandleGrabRadius);
    return rects;
}

bool isInResizeRect(PointD p, SizeD bounds) {
    for (const RectD& r : handleTrackRects(bounds)) {
        if (SnipUtil::isPointInRect(p, r))
            return true;
    }
    return false;
}

std::array<RectD, 8> handleRects(SizeD bounds) {
    std::array<RectD, 8> rects;
    const std::array<PointD, 8> centres = drawnHandleCentres(bounds);
    for (std::size_t i = 0; i < centres.size(); ++i)
        rects[i] = squareAround(centres[i], kHandleDrawRadius);
    return rects;
}

std::array<RectD, 8> smallHandleRects(SizeD bounds) {
    std::array<RectD, 8> rects;
    const std::array<PointD, 8> centres = drawnHandleCentres(bounds);
    for (std::size_t i = 0; i < centres.size(); ++i)
        rects[i] = squareAround(centres[i], kSmallHandleRadius);
    return rects;
}

RectD preventTooSmall(const RectD& proposed, const RectD& current, double minimum) {
    // The minimum is the selection's, which is the border frame less the
    // outset on both sides.
    RectD r = proposed;
    if (r.width - 2 * kBorderOutset < minimum) {
        r.width = current.width;
        r.x = current.x;
    }
    if (r.height - 2 * kBorderOutset < minimum) {
        r.height = current.height;
        r.y = current.y;
    }
    return r;
}

RectD preventTooSmallOrTooBig(const RectD& proposed, const RectD& current, double minimum, SizeD overlay) {
    RectD r = preventTooSmall(proposed, current, minimum);
    if (r.x < 0) {
        r.width += r.x;
        r.x = 0;
    }
    if (r.y < 0) {
        r.height += r.y;
        r.y = 0;
    }
    if (r.maxX() > overlay.width)
        r.width = overlay.width - r.x;
    if (r.maxY() > overlay.height)
        r.height = overlay.height - r.y;
    return r;
}

RectD floorSizeToMultipleOf4(const RectD& rect) {
    return {rect.x, rect.y, std::floor(rect.width / 4) * 4, std::floor(rect.height / 4) * 4};
}

std::optional<WindowHit> windowUnderMouse(const std::vector<WindowInfo>& windows, PointD mouse,
                                          double referenceHeight) {
    for (const WindowInfo& w : windows) {
        const RectD r = SnipUtil::flipRect(w.bounds, referenceHeight);
        if (w.layer >= 0 && SnipUtil::isPointInRect(mouse, r))
            return WindowHit{w, r};
    }
    return std::nullopt;
}

} // namespace ClipGeometry
