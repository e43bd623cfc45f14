#include "selection/CropBorderView.h"

#include "selection/ClipGeometry.h"

#include <QPainter>

namespace {
// The frame line is drawn 5 points in from the view's edge, 1 point inside
// the 6-point outset, so it never covers the selection itself.
constexpr double kLineInset = 5;
constexpr double kLineWidth = 2;
// The dark dots inside the handles.
constexpr double kDotOpacity = 0.95;

QRectF toQt(const RectD& r, double height) {
    return {r.x, height - r.y - r.height, r.width, r.height};
}
} // namespace

CropBorderView::CropBorderView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
}

QColor CropBorderView::brandingColor() {
    return QColor(0x1E, 0x88, 0xE5);
}

void CropBorderView::setHideHandleRect(bool hide) {
    hideHandles_ = hide;
    update();
}

void CropBorderView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF line = QRectF(rect()).adjusted(kLineInset, kLineInset, -kLineInset, -kLineInset);
    p.setPen(QPen(brandingColor(), kLineWidth));
    p.setBrush(Qt::NoBrush);
    p.drawRect(line);
    if (hideHandles_)
        return;
    const SizeD size{double(width()), double(height())};
    p.setPen(Qt::NoPen);
    p.setBrush(brandingColor());
    for (const RectD& r : ClipGeometry::handleRects(size))
        p.drawEllipse(toQt(r, size.height));
    QColor dot(Qt::black);
    dot.setAlphaF(kDotOpacity);
    p.setBrush(dot);
    for (const RectD& r : ClipGeometry::smallHandleRects(size))
        p.drawEllipse(toQt(r, size.height));
}
