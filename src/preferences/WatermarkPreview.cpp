#include "preferences/WatermarkPreview.h"

RectD initialPreviewBox(QSizeF picture) {
    if (picture.isEmpty())
        return {}; // no picture (an invalid size is -1 x -1): an empty box
    const QSizeF base = cappedWatermarkSize(picture);
    return {0, 0, base.width(), base.height()};
}

WatermarkPlacement placementFromPreviewBox(const RectD& box, QSizeF view, QSizeF picture) {
    WatermarkPlacement placement;
    // The settings carry single-precision values, as the frame arithmetic
    // reads them back.
    if (view.width() > 0)
        placement.centerX = static_cast<float>(box.midX() / view.width());
    if (view.height() > 0)
        placement.centerY = static_cast<float>(box.midY() / view.height());
    const double baseWidth = cappedWatermarkSize(picture).width();
    if (baseWidth > 0)
        placement.scale = static_cast<float>(box.width / baseWidth);
    return placement;
}
