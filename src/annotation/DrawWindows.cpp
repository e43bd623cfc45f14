#include "annotation/DrawWindows.h"

#include "annotation/DrawTouchPointView.h"

#include <QPainter>
#include <QVBoxLayout>
#include <QWindow>

DrawCanvasWindow::DrawCanvasWindow(QScreen* screen, Backdrop backdrop)
    : QWidget(nullptr,
              Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint | Qt::Tool),
      screen_(screen), backdrop_(backdrop), canvas_(new DrawTouchPointView(this)) {
    if (backdrop == Backdrop::Transparent) {
        setWindowTitle("panelWindow");
        setAttribute(Qt::WA_TranslucentBackground);
        setAttribute(Qt::WA_NoSystemBackground);
    }
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(canvas_);
    // Placed on its screen before the native window exists, so it is made
    // with that screen's pixel ratio from the start.
    if (screen)
        setScreen(screen);
    fitToScreen();
}

void DrawCanvasWindow::fitToScreen() {
    if (!screen_)
        return;
    setGeometry(screen_->geometry());
    // Qt's input region of a window that takes the mouse is a rectangle of
    // the size it had when set: set it again for the new size.
    if (windowHandle() && !passesMouse()) {
        windowHandle()->setFlag(Qt::WindowTransparentForInput, true);
        windowHandle()->setFlag(Qt::WindowTransparentForInput, false);
    }
}

void DrawCanvasWindow::setPassesMouse(bool passes) {
    // QWindow's flag, not QWidget::setWindowFlag: the widget's version
    // re-creates the native window (hide, re-parent, show), a visible
    // flicker; the window's own flag only swaps the X input shape (an empty
    // XFixes region) and the event mask of the mapped window.
    winId();
    windowHandle()->setFlag(Qt::WindowTransparentForInput, passes);
}

bool DrawCanvasWindow::passesMouse() const {
    return windowHandle() && windowHandle()->flags().testFlag(Qt::WindowTransparentForInput);
}

void DrawCanvasWindow::paintEvent(QPaintEvent*) {
    if (backdrop_ == Backdrop::White)
        QPainter(this).fillRect(rect(), Qt::white);
}
