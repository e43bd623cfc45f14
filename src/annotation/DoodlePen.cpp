#include "annotation/DoodlePen.h"

void DoodlePen::setIsEarse(bool on) {
    if (on && !isEarse) {
        oldLineWidth = static_cast<float>(lineWidth);
        oldLineColor = lineColor;
    }
    if (on) {
        lineWidth = kEraserWidth;
        canDrawLine = true;
    } else if (isEarse) {
        if (oldLineColor)
            lineColor = *oldLineColor;
        if (oldLineWidth > 0)
            lineWidth = oldLineWidth;
    }
    isEarse = on;
    doodleType = static_cast<int>(DoodleType::Pencil);
}

std::unique_ptr<DWStroke> DoodlePen::newStroke(QPointF point) const {
    std::unique_ptr<DWStroke> stroke = DWStroke::create(doodleType);
    if (!stroke)
        return nullptr;
    stroke->isEarse = isEarse;
    stroke->filletWidth = kFilletWidth;
    stroke->blendMode = static_cast<int>(isEarse ? StrokeBlend::DestinationIn : StrokeBlend::Normal);
    stroke->strokeWidth = lineWidth;
    stroke->lineColor = isEarse ? QColor(Qt::transparent) : lineColor;
    stroke->began(point);
    return stroke;
}
