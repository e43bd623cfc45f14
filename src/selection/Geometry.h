#pragma once

// Points, sizes and rectangles of the selection code: 64-bit values in points.
//
// Two coordinate spaces meet in this code and the types do not tell them
// apart, so every function says which one it expects:
//  - window-list space: origin at the top left of the primary display, y down
//    (window bounds, display bounds);
//  - screen space: origin at the bottom left of the primary display, y up
//    (screen frames, the mouse, the overlay's views, capture rectangles).
// Qt and X11 are y-down; they are converted at the boundary only
// (X11WindowServer, RVClipView's event and paint code).
//
// Plain values, usable from any thread.
struct PointD {
    double x = 0;
    double y = 0;
    friend bool operator==(const PointD&, const PointD&) = default;
};

struct SizeD {
    double width = 0;
    double height = 0;
    friend bool operator==(const SizeD&, const SizeD&) = default;
};

struct RectD {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minX() const { return x; }
    double minY() const { return y; }
    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    double midX() const { return x + width / 2; }
    double midY() const { return y + height / 2; }
    PointD origin() const { return {x, y}; }
    SizeD size() const { return {width, height}; }
    bool isZero() const { return x == 0 && y == 0 && width == 0 && height == 0; }
    RectD insetBy(double dx, double dy) const { return {x + dx, y + dy, width - 2 * dx, height - 2 * dy}; }
    RectD offsetBy(double dx, double dy) const { return {x + dx, y + dy, width, height}; }
    friend bool operator==(const RectD&, const RectD&) = default;
};
