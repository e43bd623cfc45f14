#include "selection/RecordingFrameWindow.h"

#include "selection/CropBorderView.h"

#include <QPainter>
#include <QRegion>

RecordingFrameWindow::RecordingFrameWindow()
    : QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint |
                           Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus | Qt::Tool) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    setWindowTitle("FrameDeck recording frame");
}

void RecordingFrameWindow::surround(const QRect& area) {
    const int outset = kGap + kWidth;
    const QRect outer = area.adjusted(-outset, -outset, outset, outset);
    setGeometry(outer);
    // The window's shape is the ring only: the area itself is not part of
    // the window, with or without a compositor.
    const QRect local(QPoint(0, 0), outer.size());
    QRegion ring(local);
    ring -= QRegion(local.adjusted(kWidth, kWidth, -kWidth, -kWidth));
    setMask(ring);
}

void RecordingFrameWindow::setPaused(bool paused) {
    paused_ = paused;
    update();
}

void RecordingFrameWindow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), paused_ ? QColor(0xF5, 0xA6, 0x23) : CropBorderView::brandingColor());
}
