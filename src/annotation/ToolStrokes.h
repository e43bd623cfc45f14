#pragma once

#include "annotation/DWStroke.h"

#include <QPolygonF>
#include <QRectF>

// One class per tool. Each keeps its geometry in a static, pure function of
// the stroke's fields, so the shapes are checked without a display; the
// drawing only strokes and fills what the geometry gives.

// doodleType 0: a rounded rectangle, filled with nothing, outlined in
// lineColor.
class RoundRectStroke : public TwoPointStroke {
public:
    struct Geometry {
        QRectF rect;
        double radius = 0;
    };
    // The rectangle spanned by the two points (origin at the smaller
    // coordinates); a side of 0 becomes 0.1 so a click still leaves a shape.
    // The radius is `fillet`, halved down to fit a side shorter than twice it.
    static Geometry geometry(QPointF began, QPointF end, double fillet);
    // The outline: from the middle of the bottom edge round the four corners.
    static QPainterPath outline(const Geometry& g);
    void strokeWithContext(QPainter& painter) const override;
};

// doodleType 1: an ellipse inscribed in the same rectangle, outlined only.
class RondStroke : public TwoPointStroke {
public:
    static QRectF ellipseRect(QPointF began, QPointF end);
    void strokeWithContext(QPainter& painter) const override;
};

// doodleType 2: a filled arrow from beganPoint to endPoint.
class ArrowStroke : public TwoPointStroke {
public:
    struct Geometry {
        float angle = 0;   // the direction in degrees, as logged
        double length = 0; // from beganPoint to endPoint
        double width = 0;  // across the head
        QPolygonF corners; // eight corners in view coordinates, not closed
    };
    // The head widens with the pen: 0.4 of the length at width 22, 0.2 at 0.
    static double headWidth(double strokeWidth, double length);
    // The direction works in single precision on |dy/dx| and the signs of dx
    // and dy. It points the arrow at `end` in every quadrant; a drag exactly
    // left (dy 0, dx < 0) or exactly up (dx 0, dy > 0) gives an arrow
    // pointing the opposite way, which is how this tool has always behaved
    // and is kept.
    static Geometry geometry(QPointF began, QPointF end, double strokeWidth);
    void strokeWithContext(QPainter& painter) const override;
};

// doodleType 3: one straight segment.
class BeelineStroke : public TwoPointStroke {
public:
    void strokeWithContext(QPainter& painter) const override;
};

// doodleType 4: the pencil (and the eraser, see PathStroke).
class PencilStroke : public PathStroke {};
