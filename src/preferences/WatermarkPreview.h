#pragma once

#include "overlays/Watermark.h"
#include "selection/Geometry.h"

#include <QSizeF>

// The arithmetic behind the watermark placement preview, kept apart from the
// window so it can be checked without a display. Boxes are in the preview's
// view coordinates: origin at the bottom left of the sample picture, y up.
// Pure functions, any thread.

// Where the watermark box starts every time the preview opens: the bottom-left
// corner of the sample picture, at the picture's own size (capped at 560 wide).
// The stored placement is deliberately not restored: the preview shows the
// picture's natural size so the user sees what scale 1 means.
RectD initialPreviewBox(QSizeF picture);

// What OK stores for a box `box` drawn over a `view`-sized sample picture: the
// box's centre as fractions of the view (y from the bottom) and its width
// relative to the capped picture width. Because the sample picture is as wide
// as the frame arithmetic's reference width, watermarkFrameRect() on a frame
// of the view's size gives the box back. A picture without width gives
// scale 0 rather than a division by zero.
WatermarkPlacement placementFromPreviewBox(const RectD& box, QSizeF view, QSizeF picture);
