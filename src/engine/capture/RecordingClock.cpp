#include "engine/capture/RecordingClock.h"

#include <numeric>

void RecordingClock::reset() {
    paused_ = false;
    startDate_ = 0;
    fileTimes_ = std::make_shared<const Durations>();
}

void RecordingClock::firstFrame(double now) {
    double expected = 0;
    if (startDate_.load() != 0)
        return;
    // Only one capture thread wins the start; the list is replaced before
    // the start date is published so no frame sums an old list.
    fileTimes_ = std::make_shared<const Durations>();
    startDate_.compare_exchange_strong(expected, now);
}

double RecordingClock::timestamp(double now) const {
    const auto times = fileTimes_.load();
    return now - startDate_.load() + std::accumulate(times->begin(), times->end(), 0.0);
}

void RecordingClock::pause(double now) {
    paused_ = true;
    const double start = startDate_.load();
    if (start == 0)
        return;
    auto next = std::make_shared<Durations>(*fileTimes_.load());
    next->push_back(now - start);
    fileTimes_ = std::move(next);
}

void RecordingClock::resume(double now) {
    startDate_ = now;
    paused_ = false;
}

double RecordingClock::elapsed(double now) const {
    const auto times = fileTimes_.load();
    const double before = std::accumulate(times->begin(), times->end(), 0.0);
    const double start = startDate_.load();
    if (start == 0 || paused_.load())
        return before;
    return now - start + before;
}
