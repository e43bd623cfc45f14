#pragma once

#include <QPointer>
#include <QScreen>
#include <QWidget>

class DrawTouchPointView;

// A full-screen, always-on-top, frameless window over one screen that holds
// one drawing canvas. The drawing windows ("panelWindow") are transparent,
// so the desktop shows through around the strokes; the white board
// (DoodleWhiteWindow) is opaque white.
//
// They bypass the window manager like the selection overlays: a managed
// window could be moved, shrunk to the work area or stacked under a panel.
// Main thread only.
class DrawCanvasWindow : public QWidget {
    Q_OBJECT
public:
    enum class Backdrop { Transparent, White };
    DrawCanvasWindow(QScreen* screen, Backdrop backdrop);

    DrawTouchPointView* drawView() const { return canvas_; }
    QScreen* targetScreen() const { return screen_; }

    // Cursor mode: true gives the window an empty input region, so every
    // click goes to the application below while the strokes stay visible.
    // The window stays mapped: switching does not flicker or restack it.
    void setPassesMouse(bool passes);
    bool passesMouse() const;
    // Covers the screen's current geometry (after a resolution change).
    void fitToScreen();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPointer<QScreen> screen_;
    Backdrop backdrop_;
    DrawTouchPointView* canvas_;
};

// The white board: an opaque white page over the primary screen, above the
// drawing windows and below the toolbar, with a canvas of its own.
class DoodleWhiteWindow : public DrawCanvasWindow {
    Q_OBJECT
public:
    explicit DoodleWhiteWindow(QScreen* screen) : DrawCanvasWindow(screen, Backdrop::White) {}
};
