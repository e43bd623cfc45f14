#pragma once

#include "annotation/DWStroke.h"

#include <QColor>
#include <memory>
#include <optional>

// The pen the toolbar sets up: kind, colour, width and the eraser, and the
// stroke a press starts with them. Kept apart from the canvas so the eraser's
// save-and-restore of the pen is checked without a display.
//
// Main thread only (it lives inside DrawTouchPointView).
class DoodlePen {
public:
    // The eraser's width: wide enough to wipe a word in one pass.
    static constexpr double kEraserWidth = 20;
    // Every new stroke's corner radius (only the rectangle uses it).
    static constexpr double kFilletWidth = 5;

    int doodleType = static_cast<int>(DoodleType::Pencil);
    QColor lineColor = Qt::red;
    double lineWidth = 4;
    bool isEarse = false;
    bool canDrawLine = true;
    // The pen as it was before the eraser went on, put back when it goes off.
    float oldLineWidth = 0;
    std::optional<QColor> oldLineColor;

    // On: keeps the pen's width and colour, takes the eraser's width and
    // allows drawing. Off: gives the kept colour and width back. Both ways
    // the kind becomes the pencil, which the eraser is made of. Turning the
    // eraser on while it is on keeps the pen saved the first time, not the
    // eraser's own width.
    void setIsEarse(bool on);

    // The stroke a press at `point` starts (view coordinates), nullptr when
    // the kind draws no stroke (text). The eraser draws in "destination in"
    // with the transparent colour, which clears what lies below it.
    std::unique_ptr<DWStroke> newStroke(QPointF point) const;
};
