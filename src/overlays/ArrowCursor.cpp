#include "overlays/ArrowCursor.h"

#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>

namespace {

// The outline leaves this much room around the arrow's body, so the rim is
// never cut by the picture's edge.
constexpr double kMargin = 1.5;
constexpr int kWidth = 16;
constexpr int kHeight = 24;

ArrowCursor drawArrow() {
    // The classic arrow: tip, down the left edge, into the notch, along the
    // tail and back up to the right wing.
    const QPolygonF body =
        QPolygonF({{0, 0}, {0, 17}, {4, 13.5}, {6.8, 20}, {9.6, 18.8}, {6.9, 12.5}, {12, 12.5}})
            .translated(kMargin, kMargin);
    QPainterPath path;
    path.addPolygon(body);
    path.closeSubpath();

    QImage image(kWidth, kHeight, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::white, 1.5, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.setBrush(Qt::black);
    painter.drawPath(path);
    painter.end();
    // The tip sits in the pixel that contains the corner (kMargin, kMargin).
    return {image, QPoint(static_cast<int>(kMargin), static_cast<int>(kMargin))};
}

} // namespace

const ArrowCursor& arrowCursor() {
    static const ArrowCursor cursor = drawArrow();
    return cursor;
}
