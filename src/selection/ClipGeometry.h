#pragma once

#include "selection/Geometry.h"
#include "selection/WindowServer.h"

#include <array>
#include <optional>
#include <vector>

// The arithmetic of the selection frame, in the overlay's view coordinates
// (origin at the bottom left, y up: the handle and resize rules are written
// for that orientation). Pure functions, any thread.
namespace ClipGeometry {

// The border view is this much larger than the selection on every side.
inline constexpr double kBorderOutset = 6;
// During a resize the pointer is kept this far inside the overlay.
inline constexpr double kResizeInset = 12;
inline constexpr double kMinimumSide = 64;
// A watermark image may be placed smaller than a recording area.
inline constexpr double kMinimumSideWithWaterImage = 20;
// The nearest-handle search starts farther than any screen is wide.
inline constexpr double kHandleSearchStart = 3000;
// Half the side of the square around a handle point that grabs it.
inline constexpr double kHandleGrabRadius = 10;

// How a pointer delta changes the frame: size and origin factors.
struct ResizeMultiplyer {
    int xSize = 0;
    int ySize = 0;
    int xOrigin = 0;
    int yOrigin = 0;
    friend bool operator==(const ResizeMultiplyer&, const ResizeMultiplyer&) = default;
};

struct DragStateInfo {
    int dragState = 0;
    const char* logText = "";
};

// The eight handle points of a border view of this size, in search order:
// bottom left, bottom middle, bottom right, right middle, top right,
// top middle, top left, left middle.
std::array<PointD, 8> handlePositions(SizeD bounds);
// Euclidean distance (the nearest-handle search compares plain distances).
double distanceOfTwoPoints(PointD a, PointD b);
// The handle point nearest to `p`; on equal distances the earlier handle.
PointD nearestHandle(PointD p, SizeD bounds);
// Which handle an anchor is. Both top corners are 7; 4 is never given.
DragStateInfo dragStateForAnchor(PointD anchor, SizeD bounds);
ResizeMultiplyer fillMultiplyer(PointD anchor, SizeD bounds);

// Squares around the handle points that grab them, in border-view coordinates.
std::array<RectD, 8> handleTrackRects(SizeD bounds);
bool isInResizeRect(PointD p, SizeD bounds);
// The drawn handles (filled circles) and the dark dots inside them.
std::array<RectD, 8> handleRects(SizeD bounds);
std::array<RectD, 8> smallHandleRects(SizeD bounds);

// A border frame whose selection would fall under `minimum` in one axis
// keeps the current frame's origin and size in that axis.
RectD preventTooSmall(const RectD& proposed, const RectD& current, double minimum);
// As above, then pulled inside the overlay: a negative origin becomes 0
// and the size shrinks by the overshoot; a frame past the right or top edge
// is cut at the edge.
RectD preventTooSmallOrTooBig(const RectD& proposed, const RectD& current, double minimum, SizeD overlay);

// Width and height rounded down to multiples of 4; the origin stays.
RectD floorSizeToMultipleOf4(const RectD& rect);

// The window the pointer is over: the first of `windows` (front to back)
// at layer 0 or above whose bounds, turned into screen space against
// `referenceHeight`, hold `mouse` (screen space).
struct WindowHit {
    WindowInfo window;
    RectD screenRect;
};
std::optional<WindowHit> windowUnderMouse(const std::vector<WindowInfo>& windows, PointD mouse,
                                          double referenceHeight);

} // namespace ClipGeometry
