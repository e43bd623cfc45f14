#pragma once

#include <QImage>
#include <QWidget>
#include <atomic>

struct PixelBufferView;

// The floating camera window: a small always-on-top picture of the camera
// that a screen recording films along with the desktop (picture in
// picture). Frames arrive on the camera thread; the window shows the newest
// and drops the others while it is still painting. Drag it anywhere.
class CaptrueVideoInputWindowController : public QWidget {
    Q_OBJECT
public:
    explicit CaptrueVideoInputWindowController(QWidget* parent = nullptr);

    // Camera thread: copies the picture (valid only during the call).
    void showFrame(const PixelBufferView& frame);
    // Main thread.
    QImage currentPicture() const { return picture_; }

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    QImage picture_;
    std::atomic<bool> framePending_{false};
    QPoint dragOffset_;
};
