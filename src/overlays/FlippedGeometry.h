#pragma once

#include <cmath>

// Pure value types and functions; any thread.
//
// Points and rectangles in the recorder's screen space: origin at the bottom
// left, y growing upwards, in 64-bit floating point. The decoration and
// watermark arithmetic is written in this space; pixels of a captured frame
// are rows from the top, so every position is converted exactly once, where
// a picture is finally put into the frame (pixelTopFor).
struct ScreenPoint {
    double x = 0;
    double y = 0;
    bool operator==(const ScreenPoint&) const = default;
};

struct ScreenRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const ScreenRect&) const = default;
};

// The screen-space point of a point given in X11 root coordinates (y down),
// where `primary` is the primary monitor's rectangle in root coordinates: the
// screen space has its origin at that monitor's bottom-left corner.
inline ScreenPoint screenPointFromRoot(double rootX, double rootY, const ScreenRect& primaryInRoot) {
    return {rootX - primaryInRoot.x, primaryInRoot.y + primaryInRoot.height - rootY};
}

// The same for a rectangle (x, y, width, height) in root coordinates.
inline ScreenRect screenRectFromRoot(const ScreenRect& rootRect, const ScreenRect& primaryInRoot) {
    const ScreenPoint bottomLeft =
        screenPointFromRoot(rootRect.x, rootRect.y + rootRect.height, primaryInRoot);
    return {bottomLeft.x, bottomLeft.y, rootRect.width, rootRect.height};
}

// Pixel placement of a picture whose bottom-left corner lies at `bottomLeft`
// (bottom-left origin, frame of `frameHeight` rows) and which is
// `pictureHeight` rows high: the column and row of its top-left pixel.
// Fractions are rounded to the nearest pixel.
struct PixelPosition {
    int column = 0;
    int row = 0;
    bool operator==(const PixelPosition&) const = default;
};

inline PixelPosition pixelTopFor(ScreenPoint bottomLeft, int pictureHeight, int frameHeight) {
    const double top = frameHeight - (bottomLeft.y + pictureHeight);
    return {static_cast<int>(std::floor(bottomLeft.x + 0.5)), static_cast<int>(std::floor(top + 0.5))};
}
