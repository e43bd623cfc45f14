#include "timing/CircleCounter.h"

#include <algorithm>

namespace {
// Float steps of 0.1 never land exactly on 0.
constexpr float kZeroTolerance = 0.0001f;
// The ring's segment count once the count is over.
constexpr int kFinishedSegments = 29;
// The start adds two: one blank second, and one so that the first tick
// (which runs at once) leaves n + 1.
constexpr float kLeadSeconds = 2;
} // namespace

CircleCounter::CircleCounter(CountdownScheduler& scheduler, Hooks hooks)
    : scheduler_(scheduler), hooks_(std::move(hooks)) {
}

void CircleCounter::startWithSeconds(float seconds) {
    if (!(seconds > 0) || mIsRunning)
        return;
    mTimeInSeconds = seconds + kLeadSeconds;
    mIsRunning = true;
    mCircleSegs = 0;
    isStarting = false;
    updateTime();
}

void CircleCounter::startWithSeconds(float seconds, float interval) {
    if (!(seconds > 0) || mIsRunning)
        return;
    mTimeInterval = std::min(interval, seconds);
    startWithSeconds(seconds);
}

void CircleCounter::stop() {
    scheduler_.cancel();
    mIsRunning = false;
    if (hooks_.stopSpin)
        hooks_.stopSpin();
}

void CircleCounter::updateTime() {
    mTimeInSeconds -= mTimeInterval;
    // A length that is no multiple of the interval steps past 0 instead of
    // onto it; that ends the count too rather than ticking for ever.
    if (mTimeInSeconds < kZeroTolerance) {
        mCircleSegs = kFinishedSegments;
        mTimeInSeconds = 0;
        if (hooks_.redraw)
            hooks_.redraw();
        const bool attached = !hooks_.hasSuperview || hooks_.hasSuperview();
        if (attached && !isStarting && hooks_.finished)
            hooks_.finished();
        isStarting = true;
        if (hooks_.stopSpin)
            hooks_.stopSpin();
        return;
    }
    scheduler_.scheduleOnce(mTimeInterval, [this] { updateTime(); });
    const long long length = hooks_.countdownLength ? hooks_.countdownLength() : 0;
    if (static_cast<float>(length + 1) > mTimeInSeconds) {
        Step step;
        const double left = mTimeInSeconds;
        step.backgroundName = QString::asprintf(left > 9 ? "0%.f.png" : "00%.f.png", left);
        step.numberName = QString::asprintf("%.f.png", left);
        if (hooks_.showStep)
            hooks_.showStep(step);
    }
}
