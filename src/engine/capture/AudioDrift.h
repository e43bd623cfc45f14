#pragma once

#include "core/SampleBuffers.h"

#include <cstdint>
#include <vector>

// Keeps sound in step with the picture when the sound card's clock is not the
// system's. A card whose clock runs 0.1 % fast delivers 48,048 samples per
// second of the monotonic clock the frames are stamped with; placed by its
// sample count alone, its sound would drift 3.6 s ahead in an hour.
//
// Each buffer, the caller measures the lead of the sound (seconds of samples
// placed minus the recording clock at the buffer's newest sample, which
// AudioTimeline keeps), and the corrector answers with the ratio of output to
// input samples that works it off: a PI controller on a smoothed lead, whose
// integral settles at the card's clock error. The buffer is then resampled by
// that ratio (linear interpolation, continuous across buffers), so the
// correction is a pitch change of a few hundredths of a percent, never a
// click or a jump.
//
// Audio thread only.
class AudioDriftCorrector {
public:
    // Measurements jitter by the sound server's fragment (~20 ms) and thread
    // scheduling; one second of smoothing brings that under 2 ms.
    static constexpr double kSmoothingSeconds = 1.0;
    // A lead is worked off in about this long. Five seconds keep the largest
    // clock error corrected (0.5 %) within 25 ms, under one frame at 30 fps.
    static constexpr double kCorrectionSeconds = 5.0;
    // How long the integral takes to learn the card's clock error; with the
    // correction time it makes the loop critically damped (no overshoot).
    static constexpr double kIntegralSeconds = 20.0;
    // The ratio never moves further than this from 1: twice the largest clock
    // error seen in practice, and far below an audible pitch change (17 cents).
    static constexpr double kMaxCorrection = 0.01;

    // `lead` in seconds (positive: sound ahead of the picture), `seconds` the
    // length of the buffer. Returns output samples per input sample.
    double update(double lead, double seconds);
    // The current estimate of the card's clock error (0.001: 0.1 % fast).
    double clockError() const { return integral_; }

    // Resamples by `ratio` into memory owned by the corrector, valid until
    // the next call. The position between samples carries over to the next
    // buffer of the same stream.
    AudioSampleBuffer resample(const AudioSampleBuffer& in, double ratio);
    // The next buffer starts a new stream (a new anchor, another device).
    void restartStream();

private:
    double smoothed_ = 0;
    double integral_ = 0;
    // Resampler: position of the next output sample relative to the first
    // sample of the next input buffer (in (-1, 0]), and each channel's last sample.
    double phase_ = 0;
    std::vector<int32_t> last_;
    std::vector<int32_t> out_;
};
