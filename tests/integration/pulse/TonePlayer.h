#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

// Test tones through the simple PulseAudio API, 48 kHz mono 16-bit.

// Plays a sine into a sink ("" the default) until destroyed.
class TonePlayer {
public:
    TonePlayer(std::string sink, double hz);
    ~TonePlayer();
    bool failed() const { return failed_; }

private:
    std::atomic<bool> stop_{false};
    std::atomic<bool> failed_{false};
    std::thread thread_;
};

// Amplitudes of the last half second, full scale 1.0.
struct ToneLevels {
    double at440 = 0;
    double at1000 = 0;
};

// Records from `source` until `done` holds or `seconds` of audio went by (a
// fresh device passes silence for its first seconds, hence the length
// counted in audio rather than waited for).
bool recordUntil(const std::string& source, double seconds,
                 const std::function<bool(const ToneLevels&)>& done, ToneLevels& last);
