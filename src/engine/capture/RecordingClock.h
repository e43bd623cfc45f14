#pragma once

#include <atomic>
#include <memory>
#include <vector>

// The clock every frame's timestamp comes from. A recording is a series of
// stretches between pauses: `startDate` is when the current stretch began
// (0 = no frame yet), `fileTimes` the lengths of the stretches before it. A
// frame's time is now - startDate + sum(fileTimes), so paused time never
// reaches the file and the stream goes on where it stopped.
//
// All times are capture-clock seconds (captureClockNow()).
//
// Threads: reset/pause/resume on the main thread; firstFrame/timestamp on
// the capture threads. `fileTimes` is never edited in place: a new list is
// published whole, so a reader always sees a consistent one.
class RecordingClock {
public:
    using Durations = std::vector<double>;

    // Main thread, at the start of a recording: startDate 0, no stretches.
    void reset();
    // Capture thread, for each accepted video frame before its timestamp:
    // the first frame of a recording starts the clock (and a fresh list).
    void firstFrame(double now);
    // Capture thread: seconds of recording at `now`.
    double timestamp(double now) const;
    // Main thread. A pause before the first frame has no stretch to keep.
    void pause(double now);
    void resume(double now);
    // Any thread: seconds recorded by `now`, paused time left out (0 until
    // the first frame; audio-only recordings start it with their first
    // sample). What a time limit is measured against.
    double elapsed(double now) const;

    double startDate() const { return startDate_.load(); }
    std::shared_ptr<const Durations> fileTimes() const { return fileTimes_.load(); }

private:
    std::atomic<double> startDate_{0};
    std::atomic<bool> paused_{false};
    std::atomic<std::shared_ptr<const Durations>> fileTimes_{std::make_shared<const Durations>()};
};
