#pragma once

#include "timing/CircleCounterView.h"

#include <QSize>

class KeyValueStore;

// Puts countdown badges on views. One shared instance; it is also the
// badges' default delegate, which just takes a finished badge away.
//
// Main thread only.
class CircleDownCounter : public CircleCounterViewDelegate {
public:
    static CircleDownCounter& circleDownCounter();

    // The store the badges read "RECORDTIME_DURATION" from; null (the
    // default) means the application controller's settings.
    void setSettings(KeyValueStore* settings) { settings_ = settings; }
    // Makes the badges' timers (tests); null means Qt timers.
    void setSchedulerFactory(std::function<std::unique_ptr<CountdownScheduler>()> factory) {
        schedulerFactory_ = std::move(factory);
    }

    // Replaces any badge on `host` by a new one of `size`, centred, and
    // starts it by `type`: 0 plain; 2 growing ring; 1 and 3 tenths of a
    // second ("%.1f", 0.1 s ticks; 3 with a growing ring); other types
    // create the badge without starting it.
    // `settings` null: the store set with setSettings().
    CircleCounterView* showCircleDownWithSeconds(float seconds, QWidget* host, QSize size, int type,
                                                 KeyValueStore* settings = nullptr);
    CircleCounterView* showCircleDownWithSeconds(float seconds, QWidget* host, QSize size) {
        return showCircleDownWithSeconds(seconds, host, size, 0);
    }
    CircleCounterView* showCircleDownWithSeconds(float seconds, QWidget* host);

    static void removeCircleViewFromView(QWidget* host);
    static CircleCounterView* circleViewInView(QWidget* host);
    // `host`'s bounds inset so that a rectangle of `size` stays centred.
    static QRect frameOfCircleViewOfSize(QSize size, const QWidget* host);
    // The badge's side for a recording area: 200, or half the smaller side
    // (whole points) when that side is under 200.
    static int badgeSide(QSize area);

    void counterDownFinished(CircleCounterView* view) override;

private:
    KeyValueStore* settings_ = nullptr;
    std::function<std::unique_ptr<CountdownScheduler>()> schedulerFactory_;
};
