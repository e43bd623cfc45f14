#pragma once

#include <QString>
#include <functional>

// Runs one-shot callbacks later. The countdown asks for one tick at a time;
// tests drive it by hand instead of waiting.
class CountdownScheduler {
public:
    virtual ~CountdownScheduler() = default;
    // Calls `tick` once after `seconds`, replacing any tick still pending.
    virtual void scheduleOnce(double seconds, std::function<void()> tick) = 0;
    virtual void cancel() = 0;
};

// The counting of the countdown badge, without the badge: one tick per
// interval, a blank first second, then n ... 1, and the finish reported one
// second after 1 (n + 1 seconds in all).
//
// Main thread only (the scheduler's callbacks arrive there).
class CircleCounter {
public:
    // The pictures one step of the count shows.
    struct Step {
        QString backgroundName; // "00%.f.png", or "0%.f.png" above 9 seconds
        QString numberName;     // "%.f.png"
    };
    struct Hooks {
        // The countdown length as the user set it ("RECORDTIME_DURATION"),
        // read afresh on every tick.
        std::function<long long()> countdownLength;
        // False once the badge has been taken off its host: then the finish
        // is not reported, though the ticks run down to 0.
        std::function<bool()> hasSuperview;
        // counterDownFinished
        std::function<void()> finished;
        // Stop the spin, show these pictures and spin again.
        std::function<void(const Step&)> showStep;
        std::function<void()> stopSpin;
        std::function<void()> redraw;
    };

    CircleCounter(CountdownScheduler& scheduler, Hooks hooks);

    // Starts unless `seconds` is 0 or less or a count is running.
    void startWithSeconds(float seconds);
    // The interval kept is the smaller of `interval` and `seconds`.
    void startWithSeconds(float seconds, float interval);
    void stop();
    // One tick: called by the scheduler, and once by the start.
    void updateTime();

    // The badge view's fields, named as it names them.
    float mTimeInSeconds = 20;
    float mTimeInterval = 1;
    int mCircleSegs = 0;
    bool mIsRunning = false;
    bool isStarting = false;

private:
    CountdownScheduler& scheduler_;
    Hooks hooks_;
};
