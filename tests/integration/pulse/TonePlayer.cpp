#include "TonePlayer.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <pulse/simple.h>
#include <vector>

namespace {

constexpr int kRate = 48000;
constexpr uint32_t kBlock = kRate / 50; // 20 ms, also the latency asked for

struct SimpleDeleter {
    void operator()(pa_simple* s) const { pa_simple_free(s); }
};

std::unique_ptr<pa_simple, SimpleDeleter> open(pa_stream_direction_t direction, const std::string& device) {
    const pa_sample_spec spec{PA_SAMPLE_S16LE, kRate, 1};
    const uint32_t any = static_cast<uint32_t>(-1);
    const pa_buffer_attr attr{any, kBlock * 2 * 3, any, any, kBlock * 2};
    return {pa_simple_new(nullptr, "FrameDeck tests", direction, device.empty() ? nullptr : device.c_str(),
                          "tone", &spec, nullptr, &attr, nullptr),
            {}};
}

} // namespace

double toneAmplitude(const std::vector<double>& samples, double hz) {
    constexpr std::size_t kBlockSamples = kRate / 20;
    const double coeff = 2 * std::cos(2 * std::numbers::pi * hz / kRate);
    double power = 0;
    std::size_t blocks = 0;
    for (std::size_t start = 0; start + kBlockSamples <= samples.size(); start += kBlockSamples, ++blocks) {
        double s1 = 0, s2 = 0;
        for (std::size_t i = 0; i < kBlockSamples; ++i) {
            const double w =
                0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / kBlockSamples);
            const double s0 = w * samples[start + i] + coeff * s1 - s2;
            s2 = s1;
            s1 = s0;
        }
        // The window's gain is one half.
        const double amplitude =
            4 * std::sqrt(std::max(s1 * s1 + s2 * s2 - coeff * s1 * s2, 0.0)) / kBlockSamples;
        power += amplitude * amplitude;
    }
    return blocks ? std::sqrt(power / static_cast<double>(blocks)) : 0;
}

TonePlayer::TonePlayer(std::string sink, double hz) {
    thread_ = std::thread([this, sink = std::move(sink), hz] {
        auto s = open(PA_STREAM_PLAYBACK, sink);
        std::vector<int16_t> block(kBlock);
        for (long n = 0; s && !stop_;) {
            for (auto& v : block)
                v = static_cast<int16_t>(
                    0.3 * 32767 * std::sin(2 * std::numbers::pi * hz * static_cast<double>(n++) / kRate));
            if (pa_simple_write(s.get(), block.data(), block.size() * 2, nullptr) < 0)
                break;
        }
        failed_ = !stop_;
    });
}

TonePlayer::~TonePlayer() {
    stop_ = true;
    thread_.join();
}

bool recordUntil(const std::string& source, double seconds,
                 const std::function<bool(const ToneLevels&)>& done, ToneLevels& last) {
    auto s = open(PA_STREAM_RECORD, source);
    std::vector<int16_t> block(kBlock);
    std::vector<double> window;
    for (long read = 0; s && read < seconds * kRate; read += kBlock) {
        if (pa_simple_read(s.get(), block.data(), block.size() * 2, nullptr) < 0)
            return false;
        for (int16_t v : block)
            window.push_back(v / 32768.0);
        if (window.size() < kRate / 2)
            continue;
        window.erase(window.begin(), window.end() - kRate / 2);
        last = {toneAmplitude(window, 440), toneAmplitude(window, 1000)};
        if (done(last))
            return true;
    }
    return false;
}
