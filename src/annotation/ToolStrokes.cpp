#include "annotation/ToolStrokes.h"

#include "core/EMLog.h"

#include <QLineF>
#include <algorithm>
#include <cmath>

namespace {

// Degrees per radian, in the single precision the arrow's direction uses.
constexpr float kDegreesPerRadian = 57.29578f;

// A side of 0 would leave nothing to draw after a click without a drag.
constexpr double kMinimumSide = 0.1;

// Appends a corner of radius `r` at `corner`, between the line arriving from
// the current point and the line leaving towards `next`: the two tangent
// points lie `r` along each line, the arc's centre `r` in from both.
void arcToPoint(QPainterPath& path, QPointF corner, QPointF next, double r) {
    const QPointF in = path.currentPosition() - corner;
    const QPointF out = next - corner;
    const double inLength = std::hypot(in.x(), in.y());
    const double outLength = std::hypot(out.x(), out.y());
    if (r <= 0 || inLength == 0 || outLength == 0) {
        path.lineTo(corner);
        return;
    }
    const QPointF u1 = in / inLength;
    const QPointF u2 = out / outLength;
    const QPointF t1 = corner + u1 * r;
    const QPointF centre = corner + (u1 + u2) * r; // sides meet at right angles
    path.lineTo(t1);
    // QPainterPath's angles run counter-clockwise with y pointing down:
    // angle a lies at centre + (r cos a, -r sin a).
    auto angleOf = [&](QPointF p) {
        return std::atan2(-(p.y() - centre.y()), p.x() - centre.x()) * 180 / M_PI;
    };
    const double start = angleOf(t1);
    double sweep = angleOf(corner + u2 * r) - start;
    if (sweep > 180)
        sweep -= 360;
    else if (sweep < -180)
        sweep += 360;
    path.arcTo(QRectF(centre.x() - r, centre.y() - r, 2 * r, 2 * r), start, sweep);
}

QRectF spannedRect(QPointF began, QPointF end) {
    const double width = std::abs(end.x() - began.x());
    const double height = std::abs(end.y() - began.y());
    return {std::min(began.x(), end.x()), std::min(began.y(), end.y()), width == 0 ? kMinimumSide : width,
            height == 0 ? kMinimumSide : height};
}

} // namespace

RoundRectStroke::Geometry RoundRectStroke::geometry(QPointF began, QPointF end, double fillet) {
    Geometry g{spannedRect(began, end), fillet};
    if (g.rect.width() < 2 * g.radius)
        g.radius = g.rect.width() / 2;
    else if (g.rect.height() < 2 * g.radius)
        g.radius = g.rect.height() / 2;
    return g;
}

QPainterPath RoundRectStroke::outline(const Geometry& g) {
    const QRectF& r = g.rect;
    // y up: the bottom edge is at top() in QRectF's terms (the smaller y).
    const QPointF bottomMiddle(r.center().x(), r.top());
    QPainterPath path;
    path.moveTo(bottomMiddle);
    arcToPoint(path, r.topRight(), r.bottomRight(), g.radius);
    arcToPoint(path, r.bottomRight(), r.bottomLeft(), g.radius);
    arcToPoint(path, r.bottomLeft(), r.topLeft(), g.radius);
    arcToPoint(path, r.topLeft(), bottomMiddle, g.radius);
    path.closeSubpath();
    return path;
}

void RoundRectStroke::strokeWithContext(QPainter& painter) const {
    painter.save();
    painter.setCompositionMode(compositionMode());
    // The inside is filled with the transparent colour: nothing to paint.
    painter.setBrush(Qt::NoBrush);
    painter.setPen(pen(strokeWidth));
    painter.drawPath(outline(geometry(beganPoint, endPoint, filletWidth)));
    painter.restore();
}

QRectF RondStroke::ellipseRect(QPointF began, QPointF end) {
    return spannedRect(began, end);
}

void RondStroke::strokeWithContext(QPainter& painter) const {
    painter.save();
    painter.setCompositionMode(compositionMode());
    painter.setBrush(Qt::NoBrush);
    painter.setPen(pen(strokeWidth));
    painter.drawEllipse(ellipseRect(beganPoint, endPoint));
    painter.restore();
}

double ArrowStroke::headWidth(double strokeWidth, double length) {
    return ((strokeWidth / 22) * 0.5 + 0.5) * length * 0.4;
}

ArrowStroke::Geometry ArrowStroke::geometry(QPointF began, QPointF end, double strokeWidth) {
    Geometry g;
    const float dx = static_cast<float>(end.x() - began.x());
    const float dy = static_cast<float>(end.y() - began.y());
    // dx 0 makes |dy/dx| infinite and the angle 90; both points equal make
    // it NaN, and the arrow has no length to draw anyway.
    const float a = std::atan(std::fabs(dy / dx)) * kDegreesPerRadian;
    if (dx > 0 && dy > 0)
        g.angle = 360 - a;
    else if (dy > 0 && dx < 0)
        g.angle = a + 180;
    else if (dy < 0 && dx < 0)
        g.angle = 180 - a;
    else
        g.angle = a;

    g.length = std::hypot(end.x() - began.x(), end.y() - began.y());
    g.width = headWidth(strokeWidth, g.length);
    const double L = g.length;
    const double W = g.width;
    // Along the arrow, then across it, from the tail.
    const QPointF local[] = {{0, 0}, {0, 0.005 * W},       {0.84 * L, 0.15 * W},  {0.8 * L, 0.35 * W},
                             {L, 0}, {0.8 * L, -0.35 * W}, {0.84 * L, -0.15 * W}, {0, -0.005 * W}};
    // Turned counter-clockwise (y up) by 360 - angle.
    const float theta = (360.0f - g.angle) / kDegreesPerRadian;
    const double c = std::cos(theta);
    const double s = std::sin(theta);
    for (const QPointF& p : local)
        g.corners << QPointF(p.x() * c - p.y() * s, p.x() * s + p.y() * c) + began;
    return g;
}

void ArrowStroke::strokeWithContext(QPainter& painter) const {
    const Geometry g = geometry(beganPoint, endPoint, strokeWidth);
    EMLog::showMessage("ArrowAngle:%.2f", g.angle);
    EMLog::showMessage("ArrowHeight:%.2f  ArrowWidth:%.2f", g.length, g.width);
    if (g.length == 0)
        return; // a click: no direction, no corners to draw
    QPainterPath path;
    path.addPolygon(g.corners);
    path.closeSubpath();
    painter.save();
    painter.setCompositionMode(compositionMode());
    painter.setBrush(lineColor);
    painter.setPen(pen(0.1));
    painter.drawPath(path);
    painter.restore();
}

void BeelineStroke::strokeWithContext(QPainter& painter) const {
    painter.save();
    painter.setCompositionMode(compositionMode());
    painter.setPen(pen(strokeWidth));
    painter.drawLine(QLineF(beganPoint, endPoint));
    painter.restore();
}
