#include "engine/capture/AudioDrift.h"

#include <algorithm>
#include <cmath>

double AudioDriftCorrector::update(double lead, double seconds) {
    if (!std::isfinite(lead) || !(seconds > 0))
        return 1.0 - integral_;
    smoothed_ += std::min(1.0, seconds / kSmoothingSeconds) * (lead - smoothed_);
    integral_ += smoothed_ * seconds / (kCorrectionSeconds * kIntegralSeconds);
    integral_ = std::clamp(integral_, -kMaxCorrection, kMaxCorrection);
    const double correction =
        std::clamp(smoothed_ / kCorrectionSeconds + integral_, -kMaxCorrection, kMaxCorrection);
    return 1.0 - correction;
}

void AudioDriftCorrector::restartStream() {
    phase_ = 0;
    last_.clear();
}

AudioSampleBuffer AudioDriftCorrector::resample(const AudioSampleBuffer& in, double ratio) {
    if (in.frames <= 0 || in.channels <= 0 || !in.data || !(ratio > 0))
        return in;
    if (static_cast<int>(last_.size()) != in.channels) {
        // No sample before this buffer: start exactly on its first one.
        last_.assign(static_cast<std::size_t>(in.channels), 0);
        phase_ = 0;
    }
    const double step = 1.0 / ratio;
    const int n = in.frames;
    // Output positions phase_, phase_ + step, ... up to the last input sample.
    const int count = phase_ > n - 1 ? 0 : static_cast<int>(std::floor((n - 1 - phase_) / step)) + 1;
    out_.resize(static_cast<std::size_t>(count) * static_cast<std::size_t>(in.channels));
    for (int c = 0; c < in.channels; ++c) {
        const int32_t* x = in.plane(c);
        int32_t* y = out_.data() + static_cast<std::ptrdiff_t>(c) * count;
        const double before = last_[static_cast<std::size_t>(c)];
        for (int k = 0; k < count; ++k) {
            const double pos = phase_ + k * step;
            const int i = static_cast<int>(std::floor(pos));
            const double frac = pos - i;
            const double a = i < 0 ? before : x[i];
            const double b = i + 1 < n ? x[i + 1] : x[n - 1];
            y[k] = static_cast<int32_t>(
                std::lround(std::clamp(a + (b - a) * frac, -2147483648.0, 2147483647.0)));
        }
        last_[static_cast<std::size_t>(c)] = x[n - 1];
    }
    phase_ = phase_ + count * step - n;
    AudioSampleBuffer out = in;
    out.data = out_.data();
    out.frames = count;
    return out;
}
