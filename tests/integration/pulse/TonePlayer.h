#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

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

// The amplitude (full scale 1.0) of the `hz` component of 48 kHz mono
// samples: Goertzel over 50 ms Hann-windowed blocks, power averaged. Sound
// through loop-backs and combined sinks is resampled adaptively, so a tone
// drifts by a hertz or so and one long filter would miss most of it; a
// block's band is ±20 Hz wide, and the window keeps another tone 560 Hz away
// out of it.
double toneAmplitude(const std::vector<double>& samples, double hz);

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
