#pragma once

#include "selection/Geometry.h"

#include <QImage>
#include <cstdint>
#include <vector>

// One-shot captures of the screen, sized in points (an image's device pixel
// ratio is the main screen's scale). Null images on failure.
//
// Main thread only; used for the selection overlay's frozen background and
// by screenshots.
class Screenshot {
public:
    // Everything on screen across all displays (their bounding box).
    static QImage imageFullScreen();
    // The main display.
    static QImage imageMainFullScreen();
    // A part of the main display; `rect` in that display's own coordinates
    // (origin top left, y down).
    static QImage imageMainScreenForRect(const RectD& rect);
    // `rect` in window-list space, without the listed windows where the
    // platform can leave them out (see WindowServer::captureRect).
    static QImage imageRectangleScreen(const RectD& rect, const std::vector<std::uint32_t>& exceptWinodws);
};
