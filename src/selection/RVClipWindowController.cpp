#include "selection/RVClipWindowController.h"

#include "app/LanguageManager.h"
#include "core/EMLog.h"
#include "engine/RecordRequest.h"
#include "selection/ClipGeometry.h"

#include <QApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QPushButton>
#include <QTimer>
#include <algorithm>

namespace {
// The selection view's purpose: 0 picks the hovered window on a plain click.
constexpr int kClipType = 0;
// The selection behaves as for a custom-area recording: drags draw.
constexpr int kChosen = 3;

QString rectText(const RectD& r) {
    return QString::asprintf("{{%g, %g}, {%g, %g}}", r.x, r.y, r.width, r.height);
}

RectD intersected(const RectD& a, const RectD& b) {
    const double x0 = std::max(a.minX(), b.minX());
    const double y0 = std::max(a.minY(), b.minY());
    const double x1 = std::min(a.maxX(), b.maxX());
    const double y1 = std::min(a.maxY(), b.maxY());
    if (x1 <= x0 || y1 <= y0)
        return {};
    return {x0, y0, x1 - x0, y1 - y0};
}
} // namespace

// The local key monitor: sees every key press the application gets and
// keeps those it handles from going further.
class RVClipWindowController::KeyMonitor : public QObject {
public:
    explicit KeyMonitor(std::function<bool(int)> onKey) : onKey_(std::move(onKey)) {
        qApp->installEventFilter(this);
    }
    ~KeyMonitor() override { qApp->removeEventFilter(this); }

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() != QEvent::KeyPress)
            return false;
        return onKey_(static_cast<QKeyEvent*>(event)->key());
    }

private:
    std::function<bool(int)> onKey_;
};

RVClipWindowController::RVClipWindowController(RVClipWindowControllerDelegate* delegate)
    : delegate_(delegate) {
}

RVClipWindowController::~RVClipWindowController() {
    eventMonitor_.reset();
    // A window handed to deleteLater() by cleanup() may still be waiting;
    // deleting it now also drops that request.
    delete window_.data();
}

void RVClipWindowController::startCaptureWithScreen(const ScreenInfo& target, const QImage& frozen) {
    screen = target;
    WindowServer& server = WindowServer::shared();
    screens_ = server.screens();
    const std::optional<ScreenInfo> main = server.mainScreen();
    referenceHeight_ = ScreenGeometry::primaryReferenceHeight(screens_, main ? &*main : nullptr);
    primaryOrigin_ = server.primaryOriginOnDesktop();

    const RectD onDesktop = server.screenToDesktop(screen.frame);
    const QRect geometry(int(onDesktop.x), int(onDesktop.y), int(onDesktop.width), int(onDesktop.height));
    window_ = new QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                       Qt::X11BypassWindowManagerHint | Qt::Tool);
    window_->setWindowTitle("FrameDeck screenshot");
    window_->setGeometry(geometry);
    clipView_ = new RVClipView(window_, geometry.size(), kClipType,
                               static_cast<int>(toInt(RecordVideoType::CustomArea)));
    clipView_->setScreenImage(frozen);
    clipView_->setDelegate(this);
    // After the view's own handler, which titles the button for recording.
    connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification, this,
            &RVClipWindowController::ChangeLoanguage);
    ChangeLoanguage();
    window_->show();
    makeKeyWindow();
    eventMonitor_ = std::make_unique<KeyMonitor>([this](int key) { return onKey(key); });
}

void RVClipWindowController::ChangeLoanguage() {
    if (!clipView_)
        return;
    clipView_->okBtn()->setText(L("Clip_Capture"));
    clipView_->toolbarView()->adjustSize();
}

void RVClipWindowController::makeKeyWindow() {
    if (!window_ || !window_->isVisible())
        return;
    window_->raise();
    window_->activateWindow();
    // A window manager may not give an override-redirect window the focus;
    // the grab makes sure Escape and Return reach the key monitor.
    window_->grabKeyboard();
}

void RVClipWindowController::cleanup() {
    finished_ = true;
    eventMonitor_.reset();
    if (clipView_)
        clipView_->setDelegate(nullptr);
    clipView_ = nullptr;
    // cleanup() can run inside one of the overlay's own event handlers (a
    // button), so the window goes once they have returned.
    if (window_) {
        window_->releaseKeyboard();
        window_->hide();
        window_->deleteLater();
    }
}

bool RVClipWindowController::hasSelection() const {
    if (!clipView_ || clipView_->model().clipState != kChosen)
        return false;
    const RectD& r = clipView_->model().contentRect;
    return r.width > 0 && r.height > 0;
}

bool RVClipWindowController::onKey(int key) {
    if (finished_)
        return false;
    // The delegate closes every overlay, this one's monitor included, so it
    // is told from the event loop rather than from inside the filter.
    if (key == Qt::Key_Escape) {
        QTimer::singleShot(0, this, [this] { cancel(); });
        return true;
    }
    if ((key == Qt::Key_Return || key == Qt::Key_Enter) && hasSelection()) {
        QTimer::singleShot(0, this, [this] { takeSelection(); });
        return true;
    }
    return false;
}

void RVClipWindowController::cancel() {
    if (finished_)
        return;
    EMLog::showMessage("%s %d", __func__, __LINE__);
    finished_ = true;
    QGuiApplication::restoreOverrideCursor();
    delegate_->clipWindowControllerDidCancel(this);
}

void RVClipWindowController::takeSelection() {
    if (finished_ || !clipView_)
        return;
    const RectD selection = clipView_->model().contentRect;
    if (selection.width <= 0 || selection.height <= 0)
        return;
    const QImage image = clipView_->getCapturedImage();
    if (image.isNull())
        return;
    EMLog::showMessage("%s %d rect:%s", __func__, __LINE__, qPrintable(rectText(selection)));
    finished_ = true;
    delegate_->clipWindowController(this, image);
}

void RVClipWindowController::ChooseWindowRectInScreen(PointD mouse) {
    if (!clipView_)
        return;
    const std::optional<ClipGeometry::WindowHit> hit =
        ClipGeometry::windowUnderMouse(delegate_->windowsOnScreen(), mouse, referenceHeight_);
    if (!hit)
        return;
    const ScreenInfo* underMouse = ScreenGeometry::screenContaining(screens_, mouse);
    if (!underMouse || underMouse->screenNumber == screen.screenNumber) {
        if (window_ && !window_->isActiveWindow())
            makeKeyWindow();
    } else {
        delegate_->changeKeyWindowWithScreen(*underMouse);
    }
    // A picture of a window is exact (no rounding as for recordings), and
    // only what lies on this screen can be taken from its picture.
    const SizeD size = clipView_->model().overlaySize();
    lastWindowRect = intersected(hit->screenRect.offsetBy(-screen.frame.x, -screen.frame.y),
                                 {0, 0, size.width, size.height});
    if (lastWindowRect.width <= 0)
        return;
    clipView_->setFrameForContentView(lastWindowRect);
    clipView_->haveSetClearColor = true;
}

void RVClipWindowController::clipViewMouseMoved(RVClipView*) {
    // Desktop (y down) to screen space: a point has no height to flip.
    const QPoint p = QCursor::pos();
    ChooseWindowRectInScreen({p.x() - primaryOrigin_.x, referenceHeight_ - (p.y() - primaryOrigin_.y)});
}

void RVClipWindowController::clipViewClipCurrentWindow(RVClipView* view) {
    if (lastWindowRect.width > 0 && lastWindowRect.height > 0) {
        // The window is chosen: offer the capture button at once.
        view->showClipViewWithFrame(lastWindowRect, true);
        view->model().onlyClipCurrentWindow = true;
    }
}

void RVClipWindowController::clipViewMouseDoubleClick(RVClipView*) {
    if (hasSelection())
        takeSelection();
}

void RVClipWindowController::clipViewCancleSelected(RVClipView*) {
    cancel();
}

void RVClipWindowController::clipViewStartNote(RVClipView*) {
    takeSelection();
}

void RVClipWindowController::clipViewCancel(RVClipView*) {
    cancel();
}
