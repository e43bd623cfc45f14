#include "selection/RVRecordScreenWindowController.h"

#include "app/SettingsSchema.h"
#include "core/EMLog.h"
#include "core/KeyValueStore.h"
#include "engine/RecordRequest.h"
#include "selection/ClipGeometry.h"
#include "selection/RecordingFrameWindow.h"
#include "timing/CircleDownCounter.h"

#include <QApplication>
#include <QCursor>
#include <QGraphicsOpacityEffect>
#include <QKeyEvent>
#include <QPropertyAnimation>
#include <QScreen>
#include <cmath>

namespace {
// The clock that refreshes the elapsed time while recording.
constexpr int kClockMilliseconds = 500;
// The countdown when its length is not a number.
constexpr double kDefaultCountdownSeconds = 3;
constexpr int kBadgeFadeMilliseconds = 300;
constexpr int kBadgeFontSize = 60;
constexpr double kBadgeRingWidth = 10;

bool onWayland() {
    return QGuiApplication::platformName().startsWith("wayland");
}

QString rectText(const RectD& r) {
    return QString::asprintf("{{%g, %g}, {%g, %g}}", r.x, r.y, r.width, r.height);
}
} // namespace

// The local key monitor: sees every key press the application gets.
class RVRecordScreenWindowController::KeyMonitor : public QObject {
public:
    explicit KeyMonitor(std::function<void()> onEscape) : onEscape_(std::move(onEscape)) {
        qApp->installEventFilter(this);
    }
    ~KeyMonitor() override { qApp->removeEventFilter(this); }

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            onEscape_();
            return true;
        }
        return false;
    }

private:
    std::function<void()> onEscape_;
};

RVRecordScreenWindowController::RVRecordScreenWindowController(
    RVRecordScreenWindowControllerDelegate* delegate, KeyValueStore& settings)
    : delegate_(delegate), settings_(settings) {
}

RVRecordScreenWindowController::~RVRecordScreenWindowController() {
    removeEventMonitor();
    // A window handed to deleteLater() by cleanup() may still be waiting;
    // deleting it now also drops that request.
    delete window_.data();
}

RectD RVRecordScreenWindowController::selectionOnDesktop() const {
    if (!recordScreenView_)
        return {};
    const RectD local = recordScreenView_->model().contentRect;
    const RectD global = local.offsetBy(screen.frame.x, screen.frame.y);
    return WindowServer::shared().screenToDesktop(global);
}

void RVRecordScreenWindowController::startRecorderScreen(const ScreenInfo& target, const QImage& frozen,
                                                         std::vector<WindowInfo> windows) {
    screen = target;
    windows_ = std::move(windows);
    // Mouse moves convert with these; the screens do not change while the
    // overlay is up.
    WindowServer& server = WindowServer::shared();
    screens_ = server.screens();
    const std::optional<ScreenInfo> main = server.mainScreen();
    referenceHeight_ = ScreenGeometry::primaryReferenceHeight(screens_, main ? &*main : nullptr);
    primaryOrigin_ = server.primaryOriginOnDesktop();
    EMLog::showMessage("__func:%s %d screen:%s", __func__, __LINE__,
                       qPrintable(QString("%1 %2").arg(screen.screenNumber).arg(rectText(screen.frame))));
    const RectD onDesktop = WindowServer::shared().screenToDesktop(screen.frame);
    const QRect geometry(int(onDesktop.x), int(onDesktop.y), int(onDesktop.width), int(onDesktop.height));

    Qt::WindowFlags flags = Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
    if (!onWayland())
        flags |= Qt::X11BypassWindowManagerHint | Qt::Tool;
    window_ = new QWidget(nullptr, flags);
    window_->setWindowTitle("FrameDeck selection");
    window_->setGeometry(geometry);
    recordScreenView_ = new RVClipView(window_, geometry.size(), 0, delegate_->recordVideoType());
    recordScreenView_->setScreenImage(frozen);
    recordScreenView_->setDelegate(this);
    if (onWayland()) {
        // No frozen picture here: the desktop itself shows through, dimmed.
        window_->setAttribute(Qt::WA_TranslucentBackground);
        // A Wayland client cannot place a window, and a floating one lands
        // wherever the compositor likes: the overlay asks to fill its output
        // instead, which puts its origin at the output's.
        if (QScreen* output = QGuiApplication::screenAt(geometry.center()))
            window_->setScreen(output);
        window_->showFullScreen();
    } else {
        window_->show();
    }
    makeKeyWindow();

    eventMonitor_ = std::make_unique<KeyMonitor>([this] { onEscape(); });

    if (recordVideoTypeFromInt(delegate_->recordVideoType()) == RecordVideoType::FullScreen) {
        // Full screen needs no choice: the target screen's overlay picks
        // itself at once; the others wait to be closed.
        const std::optional<ScreenInfo> chosen = delegate_->chosenFullScreen();
        const std::optional<ScreenInfo> underMouse = currentScreenForMouseLocation();
        const std::optional<ScreenInfo> targetScreen = chosen ? chosen : underMouse;
        if (!targetScreen || targetScreen->screenNumber == screen.screenNumber) {
            const PointD centre{screen.frame.width / 2, screen.frame.height / 2};
            recordScreenView_->model().mouseMoved(centre, 0);
            recordScreenView_->startNoteButtonClick();
        }
    }
}

void RVRecordScreenWindowController::makeKeyWindow() {
    if (!window_ || !window_->isVisible())
        return;
    window_->raise();
    window_->activateWindow();
    // A window manager may not give an override-redirect window the
    // focus; the grab makes sure Escape reaches the key monitor.
    window_->grabKeyboard();
}

void RVRecordScreenWindowController::removeEventMonitor() {
    eventMonitor_.reset();
}

void RVRecordScreenWindowController::cleanup() {
    // Nothing of this overlay may call its delegate any more: the clock
    // stops, and a pending start or countdown finds it no longer choosing.
    timerDuration_.reset();
    status = 0;
    removeEventMonitor();
    if (recordScreenView_)
        recordScreenView_->setDelegate(nullptr);
    recordScreenView_ = nullptr;
    // cleanup() can run inside one of the overlay's own event handlers (a
    // button, the key monitor), so the window goes once they have returned.
    if (window_) {
        window_->releaseKeyboard();
        window_->hide();
        window_->deleteLater();
    }
    frameWindow_.reset();
}

void RVRecordScreenWindowController::onEscape() {
    cleanup();
    delegate_->recordScreenWindowControllerDidCancel(this);
    QGuiApplication::restoreOverrideCursor();
}

void RVRecordScreenWindowController::cancelClip() {
    onEscape();
}

void RVRecordScreenWindowController::ChooseWindowRectInScreen(PointD mouse) {
    if (delegate_->isDisableChangeScreen() || !recordScreenView_)
        return;
    const std::vector<ScreenInfo>& screens = screens_;
    const std::optional<ClipGeometry::WindowHit> hit =
        ClipGeometry::windowUnderMouse(windows_, mouse, referenceHeight_);
    if (hit)
        delegate_->setSelectedWindow(hit->window.number, hit->window.name);
    else if (!windows_.empty())
        delegate_->setSelectedWindow(windows_.back().number, windows_.back().name);
    if (!hit)
        return;

    const std::optional<ScreenInfo> chosen =
        recordVideoTypeFromInt(delegate_->recordVideoType()) == RecordVideoType::FullScreen &&
                screens.size() > 1
            ? delegate_->chosenFullScreen()
            : std::nullopt;
    const ScreenInfo* underMouse = ScreenGeometry::screenContaining(screens, mouse);
    const std::optional<ScreenInfo> target = chosen       ? chosen
                                             : underMouse ? std::optional(*underMouse)
                                                          : std::nullopt;
    if (!target || target->screenNumber == screen.screenNumber) {
        if (window_ && !window_->isActiveWindow())
            makeKeyWindow();
    } else {
        delegate_->changeKeyWindowWithScreen(*target);
    }

    lastWindowRect =
        ClipGeometry::floorSizeToMultipleOf4(hit->screenRect.offsetBy(-screen.frame.x, -screen.frame.y));
    EMLog::showMessage("self.lastWindowRect:%s", qPrintable(rectText(lastWindowRect)));
    delegate_->setScreen(screen);
    delegate_->setScreenNumber(screen.screenNumber);
    recordScreenView_->setFrameForContentView(lastWindowRect);
    recordScreenView_->haveSetClearColor = true;
}

void RVRecordScreenWindowController::clipViewMouseMoved(RVClipView*) {
    // Desktop (y down) to screen space: a point has no height to flip.
    const QPoint p = QCursor::pos();
    ChooseWindowRectInScreen({p.x() - primaryOrigin_.x, referenceHeight_ - (p.y() - primaryOrigin_.y)});
}

void RVRecordScreenWindowController::clipViewClipCurrentWindow(RVClipView* view) {
    if (recordVideoTypeFromInt(delegate_->recordVideoType()) == RecordVideoType::FullScreen) {
        const SizeD size = view->model().overlaySize();
        view->setFrameForContentView({0, 0, size.width, size.height});
    } else if (lastWindowRect.width > 0 && lastWindowRect.height > 0) {
        view->setFrameForContentView(lastWindowRect);
        view->model().onlyClipCurrentWindow = true;
    }
}

void RVRecordScreenWindowController::clipViewClipFullScreen(RVClipView*) {
    EMLog::showMessage("%s %d", __func__, __LINE__);
}

void RVRecordScreenWindowController::clipViewMouseDoubleClick(RVClipView* view) {
    const RectD& r = view->model().contentRect;
    if (view->model().clipState == 3 && r.width > 0 && r.height > 0)
        recordStartNote();
}

void RVRecordScreenWindowController::clipViewCancleSelected(RVClipView*) {
    cancelClip();
}

void RVRecordScreenWindowController::recordViewDidShowToolBar(RVClipView*) {
    EMLog::showMessage("%s %d", __func__, __LINE__);
}

void RVRecordScreenWindowController::clipViewStartNote(RVClipView*) {
    recordStartNote();
}

void RVRecordScreenWindowController::clipViewCancel(RVClipView*) {
    cancelClip();
}

void RVRecordScreenWindowController::recordStartNote() {
    if (!recordScreenView_ || status != 0)
        return;
    const RectD selection = recordScreenView_->model().contentRect;
    if (selection.width <= 0 || selection.height <= 0)
        return;
    status = 1;
    const RectD onDesktop = selectionOnDesktop();
    selectedRegion.captureRect = selection;
    selectedRegion.screen = screen;
    selectedRegion.screenNumber = screen.screenNumber;
    selectedRegion.desktopRect = QRect(int(std::lround(onDesktop.x)), int(std::lround(onDesktop.y)),
                                       int(std::lround(onDesktop.width)), int(std::lround(onDesktop.height)));
    selectedRegion.recordVideoType = delegate_->recordVideoType();
    EMLog::showMessage("%s %d captureRect:%s", __func__, __LINE__, qPrintable(rectText(selection)));
    delegate_->setScreen(screen);
    delegate_->setScreenNumber(screen.screenNumber);
    recordScreenView_->hideDecorations();
    recordScreenView_->setHideHandleRect(true);
    delegate_->recordScreenWindowControllerDidSelectRegion(this);
    showCircleDownCounter();
}

void RVRecordScreenWindowController::startClockTimer() {
    if (timerDuration_)
        return;
    timerDuration_ = std::make_unique<QTimer>();
    timerDuration_->setInterval(kClockMilliseconds);
    connect(timerDuration_.get(), &QTimer::timeout, this,
            &RVRecordScreenWindowController::timerDurationTimeOut);
    timerDuration_->start();
}

void RVRecordScreenWindowController::showCircleDownCounter() {
    delegate_->setIsDisableChangeScreen(true);
    if (!delegate_->isShowReverseTime()) {
        startClockTimer();
        startRecording();
        return;
    }
    QWidget* host = recordScreenView_->contentView();
    const int side = CircleDownCounter::badgeSide(host->size());
    double seconds = settings_.hasKey(SettingsKeys::RecordTimeDuration)
                         ? settings_.doubleForKey(SettingsKeys::RecordTimeDuration)
                         : kDefaultCountdownSeconds;
    if (std::isnan(seconds))
        seconds = kDefaultCountdownSeconds;
    CircleCounterView* badge = CircleDownCounter::circleDownCounter().showCircleDownWithSeconds(
        float(seconds), host, QSize(side, side), 0, &settings_);
    badge->delegate = this;
    badge->numberColor = Qt::white;
    QFont font = badge->numberFont;
    font.setPointSize(kBadgeFontSize);
    badge->numberFont = font;
    badge->circleColor = Qt::white;
    badge->circleBorderWidth = kBadgeRingWidth;
}

void RVRecordScreenWindowController::counterDownFinished(CircleCounterView* view) {
    auto* effect = new QGraphicsOpacityEffect(view);
    view->setGraphicsEffect(effect);
    auto* fade = new QPropertyAnimation(effect, "opacity", view);
    fade->setDuration(kBadgeFadeMilliseconds);
    fade->setStartValue(1.0);
    fade->setEndValue(0.0);
    QPointer<CircleCounterView> badge(view);
    connect(fade, &QPropertyAnimation::finished, this, [this, badge] {
        if (badge) {
            badge->hide();
            badge->deleteLater();
        }
        startRecording();
    });
    fade->start();
}

void RVRecordScreenWindowController::startRecording() {
    if (status != 1)
        return;
    status = 2;
    removeEventMonitor();
    delegate_->recordScreenWindowControllerRemoveEventMonitor(this);
    if (window_) {
        window_->releaseKeyboard();
        window_->hide();
    }
    // A Wayland client can neither place a window nor shape what it shows:
    // the ring would become an opaque window over the recorded screen.
    if (!onWayland()) {
        frameWindow_ = std::make_unique<RecordingFrameWindow>();
        frameWindow_->surround(selectedRegion.desktopRect);
        frameWindow_->show();
    }
    startClockTimer();
    // The overlay's unmap has to reach the server (and the windows beneath
    // have to repaint) before the first frame is grabbed.
    QTimer::singleShot(kOverlayGoneMilliseconds, this, [this] {
        if (status == 2 || status == 3)
            delegate_->startRecording(this);
    });
}

void RVRecordScreenWindowController::pauseRecording() {
    status = 3;
    if (frameWindow_)
        frameWindow_->setPaused(true);
}

void RVRecordScreenWindowController::resumeRecording() {
    status = 2;
    if (frameWindow_)
        frameWindow_->setPaused(false);
}

void RVRecordScreenWindowController::stopRecording() {
    cleanup();
    delegate_->recordScreenWindowControllerFinishRecord(this, recordFileName, true);
}

void RVRecordScreenWindowController::timerDurationTimeOut() {
    delegate_->timerDurationTimeOut();
}
