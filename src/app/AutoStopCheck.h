#pragma once

// The decision taken on every tick of the recording clock: does the running
// recording stop by itself now? Pure; any thread.
namespace AutoStopCheck {

// What the tick knows. Times are seconds; sizes as the encoder reports them.
struct Tick {
    // The stop-after delay chosen from the stop-settings menu while
    // recording (0: none), when it was chosen (wall clock, pauses included),
    // and whether the menu delay is armed.
    double autoStop_Duration = 0;
    double autoStop_StartTime = 0;
    bool autoStop_withTime = false;
    // The armed auto stop and its criterion.
    bool isAutoStop = false;
    bool isRecordEndSizeType = false;
    double recordEndTimeDuration = 0; // seconds recorded
    double recordEndFileSize = 0;     // megabytes of 1,000,000 bytes
    // Now, and how far the recording is.
    double now = 0;
    bool recording = false;
    long long seconds = 0; // recorded, pauses left out
    double bytes = 0;
};

enum class Reason {
    None,
    // The menu's delay has passed (strictly more than it).
    MenuDelay,
    // The armed criterion is reached (at least the limit).
    Duration,
    FileSize,
};

Reason decide(const Tick& tick);

} // namespace AutoStopCheck
