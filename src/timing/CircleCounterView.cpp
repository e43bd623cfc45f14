#include "timing/CircleCounterView.h"

#include "app/SettingsSchema.h"
#include "core/EMLog.h"
#include "core/KeyValueStore.h"
#include "timing/CountdownPictures.h"

#include <QFontDatabase>
#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace {
constexpr int kSpinMilliseconds = 1000;
constexpr int kCornerRadius = 10;
} // namespace

QtCountdownScheduler::QtCountdownScheduler() {
    timer_.setSingleShot(true);
    QObject::connect(&timer_, &QTimer::timeout, [this] {
        // The tick may schedule the next one, which replaces tick_.
        std::function<void()> tick = std::move(tick_);
        tick_ = nullptr;
        if (tick)
            tick();
    });
}

void QtCountdownScheduler::scheduleOnce(double seconds, std::function<void()> tick) {
    tick_ = std::move(tick);
    timer_.start(int(std::lround(seconds * 1000)));
}

void QtCountdownScheduler::cancel() {
    timer_.stop();
    tick_ = nullptr;
}

CircleCounterView::CircleCounterView(QWidget* parent, const QRect& frame, KeyValueStore& settings,
                                     std::unique_ptr<CountdownScheduler> scheduler)
    : QWidget(parent), settings_(settings),
      scheduler_(scheduler ? std::move(scheduler) : std::make_unique<QtCountdownScheduler>()),
      counter_(*scheduler_, CircleCounter::Hooks{
                                [this] { return settings_.integerForKey(SettingsKeys::RecordTimeDuration); },
                                [this] { return parentWidget() != nullptr; },
                                [this] {
                                    if (delegate)
                                        delegate->counterDownFinished(this);
                                },
                                [this](const CircleCounter::Step& step) { showStep(step); },
                                [this] { stopAnimation(); },
                                [this] { update(); },
                            }) {
    setGeometry(frame);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    spin_.setStartValue(0.0);
    spin_.setEndValue(360.0);
    spin_.setDuration(kSpinMilliseconds);
    connect(&spin_, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) {
        angle_ = v.toDouble();
        update();
    });
    setup();
}

CircleCounterView::~CircleCounterView() {
    scheduler_->cancel();
}

void CircleCounterView::setup() {
    counter_.mTimeInSeconds = 20;
    counter_.mTimeInterval = 1;
    counter_.mCircleSegs = 0;
    counter_.mIsRunning = false;
    counter_.isStarting = false;
    numberColor = Qt::black;
    numberFont = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    numberFont.setBold(true);
    numberFont.setPointSize(20);
    circleColor = Qt::black;
    circleBorderWidth = 6;
    timeFormatString = "%.0f";
    circleIncre = false;
    circleTimeInterval = 1;
}

void CircleCounterView::startWithSeconds(float seconds) {
    counter_.startWithSeconds(seconds);
}

void CircleCounterView::startWithSeconds(float seconds, float interval) {
    counter_.startWithSeconds(seconds, interval);
}

void CircleCounterView::startWithSeconds(float seconds, float interval, const QString& format) {
    timeFormatString = format;
    counter_.startWithSeconds(seconds, interval);
}

void CircleCounterView::stop() {
    counter_.stop();
}

void CircleCounterView::updateTime() {
    counter_.updateTime();
}

void CircleCounterView::showStep(const CircleCounter::Step& step) {
    stopAnimation();
    const int side = std::min(width(), height());
    backgroundName_ = step.backgroundName;
    numberName_ = step.numberName;
    background_ = countdownPicture(step.backgroundName, side);
    number_ = countdownPicture(step.numberName, side);
    startAnimtion(false);
}

void CircleCounterView::startAnimtion(bool reverse) {
    spin_.stop();
    spin_.setDirection(reverse ? QAbstractAnimation::Backward : QAbstractAnimation::Forward);
    spin_.start();
    EMLog::showMessage("func:%s :::%.f", __func__, double(counter_.mTimeInSeconds));
}

void CircleCounterView::stopAnimation() {
    spin_.stop();
    angle_ = 0;
    EMLog::showMessage("func:%s :::%.f", __func__, double(counter_.mTimeInSeconds));
    update();
}

void CircleCounterView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    QPainterPath clip;
    clip.addRoundedRect(rect(), kCornerRadius, kCornerRadius);
    p.setClipPath(clip);
    const QRectF square(rect());
    if (!background_.isNull()) {
        p.save();
        p.translate(square.center());
        p.rotate(angle_);
        p.translate(-square.center());
        p.drawImage(square, background_);
        p.restore();
    }
    if (!number_.isNull())
        p.drawImage(square, number_);
}
