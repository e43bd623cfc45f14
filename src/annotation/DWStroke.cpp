#include "annotation/DWStroke.h"

#include "annotation/ToolStrokes.h"

#include <vector>

std::unique_ptr<DWStroke> DWStroke::create(int doodleType) {
    std::unique_ptr<DWStroke> stroke;
    switch (static_cast<DoodleType>(doodleType)) {
    case DoodleType::RoundRect:
        stroke = std::make_unique<RoundRectStroke>();
        break;
    case DoodleType::Rond:
        stroke = std::make_unique<RondStroke>();
        break;
    case DoodleType::Arrow:
        stroke = std::make_unique<ArrowStroke>();
        break;
    case DoodleType::Beeline:
        stroke = std::make_unique<BeelineStroke>();
        break;
    case DoodleType::Pencil:
        stroke = std::make_unique<PencilStroke>();
        break;
    case DoodleType::Text:
        return nullptr;
    }
    if (stroke)
        stroke->doodleType = doodleType;
    return stroke;
}

QPainter::CompositionMode DWStroke::compositionMode() const {
    return blendMode == static_cast<int>(StrokeBlend::DestinationIn) ? QPainter::CompositionMode_DestinationIn
                                                                     : QPainter::CompositionMode_SourceOver;
}

QPen DWStroke::pen(double width) const {
    return QPen(lineColor, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

void PathStroke::strokeWithContext(QPainter& painter) const {
    painter.save();
    painter.setCompositionMode(compositionMode());
    painter.setPen(pen(strokeWidth));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(smoothedPath(path));
    painter.restore();
}

namespace {

QPointF midpoint(QPointF a, QPointF b) {
    return (a + b) / 2;
}

void appendSmoothed(QPainterPath& out, const std::vector<QPointF>& points) {
    if (points.empty())
        return;
    out.moveTo(points.front());
    const std::size_t last = points.size() - 1;
    for (std::size_t i = 1; i < last; ++i)
        out.quadTo(points[i], midpoint(points[i], points[i + 1]));
    if (last > 0)
        out.lineTo(points[last]);
}

} // namespace

QPainterPath PathStroke::smoothedPath(const QPainterPath& raw) {
    QPainterPath out;
    std::vector<QPointF> run; // the points of one sub-path
    for (int i = 0; i < raw.elementCount(); ++i) {
        const QPainterPath::Element e = raw.elementAt(i);
        if (e.isMoveTo()) {
            appendSmoothed(out, run);
            run.clear();
        }
        run.emplace_back(e.x, e.y);
    }
    appendSmoothed(out, run);
    return out;
}
