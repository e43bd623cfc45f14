#pragma once

#include "selection/Geometry.h"

#include <QImage>

class QWidget;

// Rectangle helpers and the one-shot window capture.
//
// Main thread only for screenShot(); the rest are pure functions.
class SnipUtil {
public:
    // Everything on screen inside the window's frame (the frame converted by
    // rule A); a null image when nothing could be captured. A null window
    // captures the zero rectangle. Called by the screenshot and selection code.
    static QImage screenShot(const QWidget* window);

    // The bottom and left edges belong to the rectangle, the top and right
    // edges do not (so two touching rectangles never share a point).
    static bool isPointInRect(PointD point, const RectD& rect);
    // The squared distance: callers compare it with squared thresholds.
    static double pointDistanceToPoint(PointD a, PointD b);
    // Negative widths or heights turned into positive ones over the same area.
    static RectD uniformRect(const RectD& rect);
    // Same size, origin (0, 0).
    static RectD rectToZero(const RectD& rect);
    // Window-list space to screen space against the primary display's height
    // (rule A). Asks the shared window server for the screens.
    static RectD cgWindowRectToScreenRect(const RectD& rect);
    // The same conversion against an explicit reference height; also the way
    // back, since the formula is its own inverse.
    static RectD flipRect(const RectD& rect, double referenceHeight);
};
