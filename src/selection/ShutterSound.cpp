#include "selection/ShutterSound.h"

#include <algorithm>
#include <cmath>

namespace {

// One click of the shutter: when it starts, how fast its noise dies away,
// and how loud it is against the other click.
struct Click {
    double startSeconds;
    double decaySeconds;
    double gain;
};

// Opening is the lighter click, closing the heavier one a little later;
// that pair is what makes it read as a shutter rather than a tick.
constexpr Click kClicks[] = {{0.000, 0.006, 0.7}, {0.055, 0.011, 1.0}};
// The housing's resonance under each click.
constexpr double kThumpHz = 170;
constexpr double kThumpDecaySeconds = 0.020;
constexpr double kThumpGain = 0.35;
// Takes the rumble out of the noise so the click stays crisp.
constexpr double kHighPassCoefficient = 0.85;
// Loud enough to hear, with headroom against clipping in the server's mix.
constexpr double kPeak = 0.8;
// A short ramp at the end, so the last sample does not itself click.
constexpr double kFadeOutSeconds = 0.005;

constexpr double kPi = 3.14159265358979323846;

// xorshift32: deterministic white noise in [-1, 1].
class Noise {
public:
    double next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return double(state_) / double(0xFFFFFFFFu) * 2.0 - 1.0;
    }

private:
    std::uint32_t state_ = 0x2545F491u;
};

} // namespace

std::vector<std::int16_t> ShutterSound::synthesize(int sampleRate) {
    if (sampleRate <= 0)
        return {};
    const auto count = std::size_t(std::lround(double(sampleRate) * kMilliseconds / 1000.0));
    std::vector<double> mix(count, 0.0);
    Noise noise;
    double previousNoise = 0;
    double filtered = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double t = double(i) / sampleRate;
        // One-pole high-pass over the noise.
        const double white = noise.next();
        filtered = kHighPassCoefficient * (filtered + white - previousNoise);
        previousNoise = white;
        double v = 0;
        for (const Click& click : kClicks) {
            const double since = t - click.startSeconds;
            if (since < 0)
                continue;
            v += click.gain * filtered * std::exp(-since / click.decaySeconds);
            v += click.gain * kThumpGain * std::sin(2 * kPi * kThumpHz * since) *
                 std::exp(-since / kThumpDecaySeconds);
        }
        mix[i] = v;
    }

    double peak = 0;
    for (double v : mix)
        peak = std::max(peak, std::fabs(v));
    const double scale = peak > 0 ? kPeak / peak : 0;
    const double fadeSamples = kFadeOutSeconds * sampleRate;
    std::vector<std::int16_t> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double left = double(count - 1 - i);
        const double fade = left < fadeSamples ? left / fadeSamples : 1.0;
        samples[i] = std::int16_t(std::lround(std::clamp(mix[i] * scale * fade, -1.0, 1.0) * 32767.0));
    }
    return samples;
}
