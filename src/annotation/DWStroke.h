#pragma once

#include <QColor>
#include <QPainter>
#include <QPainterPath>
#include <QPen>
#include <QPointF>
#include <memory>

// The kinds of drawing the annotation canvas knows, with the numbers the
// toolbar and the logs use (`doodleType`).
enum class DoodleType : int {
    RoundRect = 0, // rounded rectangle
    Rond = 1,      // ellipse
    Arrow = 2,
    Beeline = 3, // straight line
    Pencil = 4,  // free hand; the eraser is a pencil too
    Text = 5,    // not a stroke: texts live in text fields on the canvas
};

// The blend modes a stroke carries (`blendMode`). The eraser paints a fully
// transparent colour in "destination in": under the stroke the layer keeps
// its alpha multiplied by the colour's alpha, 0, so it is cleared there and
// nowhere else.
enum class StrokeBlend : int {
    Normal = 0,
    DestinationIn = 22,
};

// One stroke of the annotation canvas: the fields every tool shares, and the
// drawing each tool does with them. Points are in view coordinates (origin
// bottom left, y up); the canvas flips its painter at the widget's edge, so
// the geometry below never sees Qt's y-down space.
//
// Main thread only, like the canvas that owns it. The geometry functions of
// the tools (ToolStrokes.h) are pure and need no display.
class DWStroke {
public:
    virtual ~DWStroke() = default;

    // Makes the stroke of a kind, nullptr for text (not a stroke).
    static std::unique_ptr<DWStroke> create(int doodleType);

    bool isEarse = false;
    int blendMode = static_cast<int>(StrokeBlend::Normal);
    int doodleType = 0;
    QPainterPath path;      // the raw points of a free-hand stroke
    double strokeWidth = 0; // the pen width
    double filletWidth = 5; // the corner radius of a rectangle
    QColor lineColor;
    QPointF beganPoint;
    QPointF endPoint;

    // Draws the stroke in `painter`'s current coordinates (y up). The
    // painter's state is restored afterwards.
    virtual void strokeWithContext(QPainter& painter) const = 0;

    // Where the pointer went since the press: a two-point stroke moves its
    // end, a path stroke adds a segment.
    virtual void began(QPointF point) = 0;
    virtual void moved(QPointF point) = 0;

protected:
    DWStroke() = default;
    // The composition mode for `blendMode`; unknown numbers draw normally.
    QPainter::CompositionMode compositionMode() const;
    // A pen of `lineColor` and `strokeWidth` with round caps and joins.
    QPen pen(double width) const;
};

// A stroke fixed by where the drag began and where it is now: rectangle,
// ellipse, arrow and straight line.
class TwoPointStroke : public DWStroke {
public:
    void began(QPointF point) override { beganPoint = endPoint = point; }
    void moved(QPointF point) override { endPoint = point; }
};

// A stroke that follows the pointer: the pencil, and the eraser (a pencil in
// blend mode 22 with the transparent colour). `path` keeps the raw points;
// the drawing smooths them (see smoothedPath).
class PathStroke : public DWStroke {
public:
    void began(QPointF point) override { path.moveTo(point); }
    void moved(QPointF point) override { path.lineTo(point); }
    void strokeWithContext(QPainter& painter) const override;

    // `raw` redrawn as quadratic curves through the midpoints of its
    // segments, each raw point a control point: a mouse samples a hand's
    // curve as a polyline of short straight pieces, and this takes the
    // corners off without moving the line away from where it was drawn. The
    // first and last points stay where they are.
    static QPainterPath smoothedPath(const QPainterPath& raw);
};
