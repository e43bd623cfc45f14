#pragma once

#include <QImage>
#include <QPoint>

// The application's own arrow cursor, drawn into recordings whatever shape
// the desktop's cursor has at that moment: a black arrow with a white rim,
// pointing up and to the left.
struct ArrowCursor {
    // Format_ARGB32_Premultiplied, ready to blend.
    QImage image;
    // The pixel of `image` (column, row from its top-left) that marks the
    // pointer position: the tip of the arrow.
    QPoint hotSpot;
};

// Drawn on first use and kept for the life of the process.
// Thread-safe.
const ArrowCursor& arrowCursor();
