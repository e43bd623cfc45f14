// The encoder session over the real library: planar capture buffers come out
// of the file with each channel where it belongs.

#include "EncoderTestSupport.h"
#include "core/KeyValueStore.h"
#include "engine/EncodeManager.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace enctest;

TEST(EncodeManagerWithLibrary, PlanarStereoKeepsLeftAndRightApart) {
    const std::string path = freshDir("session-planar") + "/voice.wav";
    MemoryKeyValueStore settings;
    EncodeManager m(settings);
    m.recordVideoTypeProvider = [] {
        return RecordVideoType::AudioOnly;
    };
    m.setAudioBitrate(12800);
    m.setAudioChannels(2);
    m.setAudioSamples(44100);
    m.setOutputPath(path);
    m.setUpAudioSettings();
    m.startEncoderEncode();
    ASSERT_TRUE(m.isWorking);

    // One second in 441-frame planar buffers: a tone on the left, silence on the right.
    constexpr int kFrames = 441;
    std::vector<int32_t> planar(2 * kFrames, 0);
    for (int b = 0; b < 100; ++b) {
        for (int i = 0; i < kFrames; ++i)
            planar[i] = static_cast<int32_t>(1e9 * std::sin(2 * M_PI * 440 * (b * kFrames + i) / 44100.0));
        m.encoderPushAudio(AudioSampleBuffer{planar.data(), 2, 44100, kFrames});
    }
    m.stopEncoderEncode();

    const std::string pcm = run("ffmpeg -nostdin -v error -i '" + path + "' -f s16le - 2>/dev/null");
    ASSERT_EQ(pcm.size(), 44100u * 4);
    const auto* s = reinterpret_cast<const int16_t*>(pcm.data());
    double left = 0, right = 0;
    for (std::size_t i = 0; i < pcm.size() / 4; ++i) {
        left += std::abs(s[2 * i]);
        right += std::abs(s[2 * i + 1]);
    }
    EXPECT_GT(left / 44100, 5000); // 1e9 / 2^16 * 2/pi ~ 9700
    EXPECT_EQ(right, 0);
}
