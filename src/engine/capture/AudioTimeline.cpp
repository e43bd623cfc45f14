#include "engine/capture/AudioTimeline.h"

#include <cmath>

int64_t AudioTimeline::place(double stretchStart, double recordedSeconds, int frames, int sampleRate) {
    anchoredAfresh_ = false;
    if (frames <= 0 || sampleRate <= 0)
        return 0;
    const bool jumped = anchored_ && std::abs(recordedSeconds * sampleRate + origin_ -
                                              static_cast<double>(placed_)) > kMaxGapSeconds * sampleRate;
    if (!anchored_ || jumped || stretchStart != stretchStart_ || sampleRate != sampleRate_) {
        anchored_ = true;
        anchoredAfresh_ = true;
        stretchStart_ = stretchStart;
        sampleRate_ = sampleRate;
        placed_ = frames;
        origin_ = static_cast<double>(frames) - recordedSeconds * sampleRate;
        return 0;
    }
    const double expected = recordedSeconds * sampleRate + origin_;
    const double missing = expected - static_cast<double>(placed_ + frames);
    int64_t silence = 0;
    if (std::isfinite(missing) && missing >= kGapSeconds * sampleRate)
        silence = static_cast<int64_t>(missing);
    placed_ += silence + frames;
    return silence;
}

double AudioTimeline::leadSeconds(double recordedSeconds) const {
    if (!anchored_ || sampleRate_ <= 0 || !std::isfinite(recordedSeconds))
        return 0;
    return (static_cast<double>(placed_) - (recordedSeconds * sampleRate_ + origin_)) / sampleRate_;
}
