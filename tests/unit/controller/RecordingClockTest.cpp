#include "engine/capture/RecordingClock.h"

#include "engine/capture/AudioDrift.h"
#include "engine/capture/AudioTimeline.h"
#include "engine/controller/RecordingRules.h"
#include "platform/v4l2/V4l2Camera.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <vector>

TEST(RecordingClock, PausedTimeIsLeftOutOfTimestamps) {
    RecordingClock clock;
    clock.reset();
    const double t0 = 1000;
    clock.firstFrame(t0);
    EXPECT_DOUBLE_EQ(clock.startDate(), t0);
    EXPECT_DOUBLE_EQ(clock.timestamp(t0), 0);
    // A later frame does not restart the clock.
    clock.firstFrame(t0 + 5);
    EXPECT_DOUBLE_EQ(clock.timestamp(t0 + 5), 5);

    // Pause 10 s after the first frame, resume a long while later.
    clock.pause(t0 + 10);
    clock.resume(t0 + 500);
    EXPECT_DOUBLE_EQ(clock.timestamp(t0 + 500), 10);
    EXPECT_DOUBLE_EQ(clock.timestamp(t0 + 502.5), 12.5);

    // A pause before the first frame keeps no stretch.
    clock.reset();
    clock.pause(50);
    clock.resume(60);
    clock.firstFrame(61);
    EXPECT_DOUBLE_EQ(clock.timestamp(61), 1);
}

TEST(RecordingClock, TwoPausesSumTheirStretchesInAListReplacedOnEachChange) {
    RecordingClock clock;
    clock.reset();
    clock.firstFrame(100);
    // The list is replaced, never edited under a frame that reads it.
    const auto seenByAFrame = clock.fileTimes();
    clock.pause(104);
    EXPECT_TRUE(seenByAFrame->empty()) << "a reader's list changed under it";
    clock.resume(200);
    clock.pause(206);
    ASSERT_EQ(*clock.fileTimes(), (RecordingClock::Durations{4, 6}));
    // What a time limit sees: nothing moves while paused.
    EXPECT_DOUBLE_EQ(clock.elapsed(250), 10);
    clock.resume(300);
    EXPECT_DOUBLE_EQ(clock.timestamp(300), 10);
    EXPECT_DOUBLE_EQ(clock.elapsed(301), 11);

    // A new recording starts from nothing again.
    clock.reset();
    EXPECT_TRUE(clock.fileTimes()->empty());
    EXPECT_EQ(clock.startDate(), 0);
}

// 20-ms buffers at 48 kHz delivered with their capture times; the timeline
// must ask for silence only where sound really went missing.
TEST(AudioTimeline, SilenceOnlyForSoundThatNeverArrived) {
    constexpr int kRate = 48000, kBuffer = 960;
    AudioTimeline timeline;
    double t = 0.02;
    int64_t silence = 0;
    for (int i = 0; i < 100; ++i, t += 0.02) {
        // Deliveries up to 200 ms late and then caught up are jitter.
        const double late = (i % 10 == 5) ? 0.2 : 0;
        silence += timeline.place(1000, t + late, kBuffer, kRate);
    }
    EXPECT_EQ(silence, 0) << "jitter was taken for lost sound";

    // The server is gone for 3 s: the first buffer after it asks for them.
    t += 3;
    const int64_t gap = timeline.place(1000, t, kBuffer, kRate);
    EXPECT_NEAR(static_cast<double>(gap), 3.0 * kRate, kBuffer);
    EXPECT_EQ(timeline.place(1000, t + 0.02, kBuffer, kRate), 0) << "the gap was filled twice";
    EXPECT_NEAR(static_cast<double>(timeline.framesPlaced()), (t + 0.02) * kRate, kBuffer);

    // A new stretch (after a pause) anchors afresh: the paused time is not
    // asked for; nor is a clock that jumped by days.
    EXPECT_EQ(timeline.place(2000, t + 60, kBuffer, kRate), 0);
    EXPECT_EQ(timeline.place(2000, t + 60 + 3 * 86400, kBuffer, kRate), 0);
    // Nonsense in, nothing out.
    EXPECT_EQ(timeline.place(2000, t + 90, 0, kRate), 0);
    EXPECT_EQ(timeline.place(2000, std::nan(""), kBuffer, kRate), 0);
}

// A sound card whose clock is off by `error` (0.005: 0.5 % fast) delivers
// buffers stamped on the system clock with scheduling jitter, through the
// timeline and the corrector as the compositor does. Returns the largest
// distance, in seconds, between the sound placed and the true time.
static double worstDrift(double error, double seconds, int rate, int buffer) {
    AudioTimeline timeline;
    AudioDriftCorrector drift;
    std::vector<int32_t> samples(static_cast<std::size_t>(buffer), 1000);
    AudioSampleBuffer in{samples.data(), 1, rate, buffer};
    std::srand(7);
    double worst = 0;
    const double perBuffer = buffer / (rate * (1 + error));
    for (int i = 1; i * perBuffer < seconds; ++i) {
        const double truth = i * perBuffer;
        const double jitter = 0.015 * std::rand() / RAND_MAX;
        timeline.place(1, truth + jitter, buffer, rate);
        const double ratio = drift.update(timeline.leadSeconds(truth + jitter), perBuffer);
        timeline.adjust(drift.resample(in, ratio).frames - buffer);
        worst = std::max(worst, std::abs(static_cast<double>(timeline.framesPlaced()) / rate - truth));
    }
    return worst;
}

TEST(AudioDrift, SoundStaysWithinAFrameOfThePictureWhateverTheCardsClock) {
    for (const double error : {0.005, -0.005, 0.003, -0.001}) {
        SCOPED_TRACE(error);
        EXPECT_LT(worstDrift(error, 60, 48000, 960), 1.0 / 30);
    }
    // Hours later too (a low rate keeps the test short; the loop does not
    // depend on it).
    EXPECT_LT(worstDrift(0.001, 3 * 3600, 8000, 400), 1.0 / 30);
}

TEST(AudioDrift, ResamplingNeverClicksAcrossBuffers) {
    // A 440 Hz tone through ratios that change with every buffer: no step
    // between two output samples is larger than the tone's own steepest one.
    constexpr int kRate = 48000, kBuffer = 480;
    constexpr double kAmplitude = 1e9;
    AudioDriftCorrector drift;
    std::vector<int32_t> tone(kBuffer);
    double previous = 0, steepest = 0;
    bool first = true;
    int64_t in = 0, out = 0;
    for (int b = 0; b < 200; ++b) {
        for (int i = 0; i < kBuffer; ++i, ++in)
            tone[static_cast<std::size_t>(i)] =
                static_cast<int32_t>(kAmplitude * std::sin(2 * M_PI * 440 * static_cast<double>(in) / kRate));
        const AudioSampleBuffer buffer{tone.data(), 1, kRate, kBuffer};
        const AudioSampleBuffer result = drift.resample(buffer, b % 2 ? 0.99 : 1.01);
        for (int k = 0; k < result.frames; ++k, ++out) {
            if (!first)
                steepest = std::max(steepest, std::abs(result.data[k] - previous));
            previous = result.data[k];
            first = false;
        }
    }
    EXPECT_LT(steepest, kAmplitude * 2 * M_PI * 440 / kRate * 1.02);
    EXPECT_NEAR(static_cast<double>(out), static_cast<double>(in), kBuffer * 0.02)
        << "ratios alternate around 1";
}

// Evening the chosen window and pruning the others is checked through the
// controller (RecordManagerTest, WindowModeEvensTheWindowAndFollowsIt).
TEST(RecordingRules, WindowWalkNamedLikeTheDesktopKeepsEveryWindow) {
    std::vector<CaptureWindowInfo> all = {{1, "a", "x", {}}, {2, "b", "y", {}}};
    EXPECT_FALSE(RecordingRules::walkDesktopElements(all, 99, "Desktop"));
    EXPECT_EQ(all.size(), 2u);
}

TEST(CameraConversion, YuyvBecomesBgra) {
    // Two pixel pairs: white + black, then two red pixels (BT.601 limited range).
    const uint8_t yuyv[] = {235, 128, 16, 128, 81, 90, 81, 240};
    uint8_t out[4 * 4] = {};
    PixelBufferView view{out, 4, 1, 16};
    v4l2camera::yuyvToBgra(yuyv, 4, 1, 8, view);
    const auto near = [](int a, int b) {
        return std::abs(a - b) <= 3;
    };
    EXPECT_TRUE(near(out[0], 255) && near(out[1], 255) && near(out[2], 255)) << "white";
    EXPECT_TRUE(near(out[4], 0) && near(out[5], 0) && near(out[6], 0)) << "black";
    EXPECT_TRUE(near(out[8], 0) && near(out[9], 0) && near(out[10], 255)) << "red is B, G, R = 0, 0, 255";
    EXPECT_EQ(out[11], 255);
}
