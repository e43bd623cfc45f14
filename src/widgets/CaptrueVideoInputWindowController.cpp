#include "widgets/CaptrueVideoInputWindowController.h"

#include "core/SampleBuffers.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

CaptrueVideoInputWindowController::CaptrueVideoInputWindowController(QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::Tool) {
    setAttribute(Qt::WA_TranslucentBackground);
    resize(320, 180);
}

void CaptrueVideoInputWindowController::showFrame(const PixelBufferView& frame) {
    if (!frame.data || frame.width <= 0 || frame.height <= 0 || framePending_.exchange(true))
        return;
    // One copy per shown frame, scaled down right away: the window is small.
    const QImage view(frame.data, frame.width, frame.height, frame.stride, QImage::Format_RGB32);
    QImage copy = view.scaled(size() * devicePixelRatioF(), Qt::KeepAspectRatio, Qt::SmoothTransformation);
    QMetaObject::invokeMethod(
        this,
        [this, copy = std::move(copy)]() mutable {
            picture_ = std::move(copy);
            framePending_ = false;
            update();
        },
        Qt::QueuedConnection);
}

void CaptrueVideoInputWindowController::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath rounded;
    rounded.addRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 12, 12);
    p.setClipPath(rounded);
    p.fillRect(rect(), QColor(20, 22, 26));
    if (!picture_.isNull()) {
        QSizeF shown = picture_.size();
        shown.scale(size(), Qt::KeepAspectRatio);
        const QRectF target((width() - shown.width()) / 2, (height() - shown.height()) / 2, shown.width(),
                            shown.height());
        p.drawImage(target, picture_);
    }
    p.setClipping(false);
    p.setPen(QPen(QColor(255, 255, 255, 180), 2));
    p.drawPath(rounded);
}

void CaptrueVideoInputWindowController::mousePressEvent(QMouseEvent* event) {
    dragOffset_ = event->globalPosition().toPoint() - frameGeometry().topLeft();
}

void CaptrueVideoInputWindowController::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton)
        move(event->globalPosition().toPoint() - dragOffset_);
}
