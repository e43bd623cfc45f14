#pragma once

#include "core/SampleBuffers.h"
#include "overlays/FlippedGeometry.h"

#include <QImage>

// Puts a prepared picture over a captured frame, in place: source-over with
// premultiplied alpha, clipped to the frame. The picture must be
// QImage::Format_ARGB32_Premultiplied, whose bytes in memory (B, G, R, A on
// little-endian machines) match the frame's BGRA layout, so no conversion and
// no allocation happens per frame.
//
// `topLeft` is the picture's top-left pixel in the frame (row 0 at the top);
// parts outside the frame are left out.
//
// Any thread; the caller owns both buffers for the call.
void blendPicture(const PixelBufferView& frame, const QImage& picture, PixelPosition topLeft);
