// The encoder session's own rules, against a recording stand-in of the
// library: which calls it makes, with what, and what it logs.

#include "engine/EncodeManager.h"

#include "FakeMediaEncoder.h"
#include "core/EMLog.h"
#include "core/KeyValueStore.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace {

using Calls = std::vector<std::string>;

class EncodeManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        logPath_ = (std::filesystem::temp_directory_path() /
                    ("encode-manager-" + std::to_string(::getpid()) + ".log"))
                       .string();
        std::filesystem::remove(logPath_);
        EMLog::setEchoToStderr(false);
        EMLog::setLogFile(logPath_);
        fakeEncoder().reset();
    }
    void TearDown() override {
        EMLog::setLogFile("");
        EMLog::setEchoToStderr(true);
        std::filesystem::remove(logPath_);
    }
    std::string log() const {
        std::ifstream in(logPath_);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    // A session that has started encoding; the calls list starts empty.
    void start(EncodeManager& m) {
        m.startEncoderEncode();
        ASSERT_TRUE(m.isWorking);
        fakeEncoder().calls.clear();
    }
    std::string logPath_;
    MemoryKeyValueStore settings_;
};

TEST_F(EncodeManagerTest, SplitLimitsFollowSplitType) {
    struct Case {
        bool present;
        long long type;
        Calls expected;
    };
    const Case cases[] = {
        {false, 0, {"SetLimitTime(0)", "SetLimitSize(0)"}},
        {true, 0, {"SetLimitTime(0)", "SetLimitSize(0)"}},
        {true, 1, {"SetLimitTime(600)", "SetLimitSize(0)"}},
        {true, 2, {"SetLimitTime(0)", "SetLimitSize(25)"}},
        {true, 3, {"SetLimitTime(0)", "SetLimitSize(0)"}},
    };
    for (const Case& c : cases) {
        settings_.removeKey("SplitType");
        if (c.present)
            settings_.setInteger("SplitType", c.type);
        EncodeManager m(settings_);
        m.setSplitTime(600);
        m.setSplitSize(25);
        fakeEncoder().calls.clear();
        m.setSplit();
        EXPECT_EQ(fakeEncoder().calls, c.expected) << "SplitType " << c.type;
    }

    fakeEncoder().limitStatus = 0;
    EncodeManager m(settings_);
    m.setSplit();
    EXPECT_NE(log().find("设置时间分段失败，setSplit:line:"), std::string::npos);
    EXPECT_NE(log().find("设置大小分段失败，setSplit:line:"), std::string::npos);
}

TEST_F(EncodeManagerTest, RecordingCallsTheLibraryInOrder) {
    settings_.setInteger("SplitType", 1);
    EncodeManager m(settings_);
    m.setFps(30);
    m.setVideoBitrate(3145728); // the region window's first value, overwritten at once
    m.setVideoBitrate(5000);
    m.setImageSize({1279.9, 719.5});
    m.setAudioBitrate(12800);
    m.setAudioChannels(2);
    m.setAudioSamples(44100);
    m.setSplitTime(20);
    m.setSplitSize(10);
    EXPECT_EQ(fakeEncoder().calls, Calls{"Create"}); // setters only store

    m.setOutputPath("/v/a.mp4");
    m.setUpAudioSettings();
    m.setUpVideoSettings();
    m.setOutputPath("/v/a.mp4");
    m.startEncoderEncode();
    EXPECT_EQ(fakeEncoder().calls,
              (Calls{"Create", "SetOutputPath(/v/a.mp4)", "SetAudioSrcContext(2,44100,2)",
                     "SetAudioBitrate(12800)", "SetAudioEncodeContext(2,44100)", "SetImageSize(1279,719)",
                     "SetImageFormat(1000)", "SetOutputSize(1279,719)", "SetFps(30)", "SetVideoBitrate(5000)",
                     "SetOutputPath(/v/a.mp4)", "SetLimitTime(20)", "SetLimitSize(0)", "Encode"}));
    EXPECT_TRUE(m.isWorking);

    fakeEncoder().calls.clear();
    EncoderVideoFrame frame{};
    m.encoderPushVideo(&frame, 1234.9);
    fakeEncoder().isDonePollsBeforeDone = 3;
    m.stopEncoderEncode();
    EXPECT_EQ(fakeEncoder().calls, (Calls{"PushVideo(1234)", "PushVideoTrailer", "PushAudioTrailer", "IsDone",
                                          "IsDone", "IsDone", "IsDone", "Close"}));
    EXPECT_FALSE(m.isWorking);
    EXPECT_EQ(m.handle.load(), nullptr);

    // Pushes after the stop are ignored without a word.
    fakeEncoder().calls.clear();
    const std::string before = log();
    m.encoderPushVideo(&frame, 2000);
    const int32_t samples[2] = {1, 2};
    m.encoderPushAudio(AudioSampleBuffer{samples, 2, 44100, 1});
    EXPECT_TRUE(fakeEncoder().calls.empty());
    EXPECT_EQ(log(), before);
}

TEST_F(EncodeManagerTest, LibraryFailuresAreLoggedAndTheRecordingGoesOn) {
    fakeEncoder().setterStatus = -2;
    fakeEncoder().pushStatus = -7;
    fakeEncoder().closeStatus = -1;
    EncodeManager m(settings_);
    m.setAudioChannels(2);
    m.setOutputPath("/v/a.mp4");
    m.setUpAudioSettings();
    m.setUpVideoSettings();
    start(m);
    EncoderVideoFrame frame{};
    m.encoderPushVideo(&frame, 0);
    const int32_t samples[4] = {1, 2, 3, 4};
    m.encoderPushAudio(AudioSampleBuffer{samples, 2, 44100, 2});
    m.stopEncoderVideo();
    m.stopEncoderAudio();
    m.stopEncoderEncode();
    const std::string text = log();
    for (const char* step :
         {"设置输出路径", "设置初始数据源帧大小", "设置输出格式", "设置输出文件帧大小", "设置视频帧率",
          "设置视频码率", "设置音频源数据格式", "设置音频码率", "设置音频输出声道和采样率"})
        EXPECT_NE(text.find(std::string("错误码:-2 ->描述：") + step), std::string::npos) << step;
    for (const char* step :
         {"送入视频数据失败", "送入音频数据失败", "标识视频数据送入结束", "标识音频数据送入结束"})
        EXPECT_NE(text.find(std::string("错误码:-7 ->描述：") + step), std::string::npos) << step;
    EXPECT_NE(text.find("错误码:-1 ->描述：关闭编码器"), std::string::npos);
}

TEST_F(EncodeManagerTest, FailedStartLeavesTheSessionIdleAndStopDoesNothing) {
    fakeEncoder().encodeStatus = -3;
    EncodeManager m(settings_);
    m.startEncoderEncode();
    EXPECT_FALSE(m.isWorking);
    EXPECT_NE(log().find("错误码:-3 ->描述：开始编码失败"), std::string::npos);
    fakeEncoder().calls.clear();
    EncoderVideoFrame frame{};
    m.encoderPushVideo(&frame, 0);
    m.stopEncoderEncode();
    EXPECT_TRUE(fakeEncoder().calls.empty());
    EXPECT_NE(m.handle.load(), nullptr); // left for the next initHandle to replace
}

TEST_F(EncodeManagerTest, PlanarStereoIsInterleavedAndCounted) {
    EncodeManager m(settings_);
    m.setAudioChannels(2);
    start(m);
    const int32_t planar[6] = {1, 2, 3, 4, 5, 6}; // left 1 2 3, right 4 5 6
    m.encoderPushAudio(AudioSampleBuffer{planar, 2, 44100, 3});
    m.encoderPushAudio(AudioSampleBuffer{planar, 2, 44100, 1}); // 8 bytes: one frame
    m.encoderPushAudio(AudioSampleBuffer{planar, 1, 44100, 1}); // 4 bytes: less than a frame
    ASSERT_EQ(fakeEncoder().audioPushes.size(), 3u);
    EXPECT_EQ(fakeEncoder().audioPushes[0], (std::vector<int32_t>{1, 4, 2, 5, 3, 6}));
    EXPECT_EQ(fakeEncoder().audioPushes[1], (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(fakeEncoder().audioPushes[2], (std::vector<int32_t>{0})); // pushed unwritten
    EXPECT_EQ(m.nTotalAudiosize.load(), 24 + 8 + 4);

    EncodeManager mono(settings_);
    mono.setAudioChannels(1);
    start(mono);
    fakeEncoder().audioPushes.clear();
    mono.encoderPushAudio(AudioSampleBuffer{planar, 1, 44100, 3});
    EXPECT_EQ(fakeEncoder().audioPushes[0], (std::vector<int32_t>{1, 2, 3})); // copied as is
}

TEST_F(EncodeManagerTest, AudioOnlyDurationMovesInWholeSeconds) {
    EncodeManager m(settings_);
    RecordVideoType videoType = RecordVideoType::AudioOnly;
    m.recordVideoTypeProvider = [&] {
        return videoType;
    };
    m.setAudioSamples(44100);
    fakeEncoder().encodedTimestamp = 777;
    m.nTotalAudiosize = 352800;
    EXPECT_EQ(m.countRecordedDuration(), 1000.0);
    m.nTotalAudiosize = 352799;
    EXPECT_EQ(m.countRecordedDuration(), 0.0);
    m.nTotalAudiosize = 352800 * 3 + 100;
    EXPECT_EQ(m.countRecordedDuration(), 3000.0);
    // Ten hours are beyond 32 bits of bytes; the duration must still be right.
    m.nTotalAudiosize = int64_t{352800} * 36000;
    EXPECT_EQ(m.countRecordedDuration(), 36000.0 * 1000);
    videoType = RecordVideoType::FullScreen;
    EXPECT_EQ(m.countRecordedDuration(), 777.0);

    fakeEncoder().fileSize = 123456;
    EXPECT_EQ(m.filesize(), 123456.0);
}

// The audio thread may still be inside a push when the main thread sets up
// the next recording, and the screen thread reads the image size for every
// frame while the camera thread or the main thread sets it. Under the
// ThreadSanitizer build (./run-tests --tsan) a plain field here is a
// reported race; otherwise the test checks nothing was lost or torn.
TEST_F(EncodeManagerTest, SettingsChangeWhileCaptureThreadsReadThem) {
    EncodeManager m(settings_);
    m.setAudioChannels(2);
    m.setImageSize({64, 48});
    start(m);
    constexpr int kRounds = 2000;
    const int32_t planar[4] = {1, 2, 3, 4};
    std::thread audio([&] {
        for (int i = 0; i < kRounds; ++i)
            m.encoderPushAudio(AudioSampleBuffer{planar, 2, 44100, 2});
    });
    int tornSizes = 0;
    std::thread screen([&] {
        for (int i = 0; i < kRounds; ++i) {
            const EncodeImageSize size = m.imageSize();
            // Every size set below keeps height = width * 3 / 4.
            if (size.height != size.width * 3 / 4)
                ++tornSizes;
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        m.setAudioChannels(2);
        m.setAudioSamples(48000);
        m.setFps(i % 2 ? 30.f : 60.f);
        m.setVideoBitrate(5000);
        m.setImageSize(i % 2 ? EncodeImageSize{64, 48} : EncodeImageSize{320, 240});
    }
    audio.join();
    screen.join();
    EXPECT_EQ(tornSizes, 0);
    ASSERT_EQ(fakeEncoder().audioPushes.size(), static_cast<size_t>(kRounds));
    for (const auto& words : fakeEncoder().audioPushes)
        ASSERT_EQ(words, (std::vector<int32_t>{1, 3, 2, 4}));
    EXPECT_EQ(m.nTotalAudiosize.load(), kRounds * 16);
}

} // namespace

TEST_F(EncodeManagerTest, BackgroundStopFinishesOffTheCallingThreadBeforeTheNextStart) {
    EncodeManager m(settings_);
    m.setOutputPath("/v/a.mp4");
    start(m);
    fakeEncoder().isDonePollsBeforeDone = 20;
    std::atomic<std::thread::id> finishedOn{};
    m.stopEncoderEncodeInBackground([&] { finishedOn = std::this_thread::get_id(); });
    EXPECT_FALSE(m.isWorking);
    EXPECT_EQ(m.handle.load(), nullptr) << "pushes and queries could reach a closing handle";
    // The next start waits for the finish: the old handle is closed, once,
    // before the new one is made.
    m.initHandle();
    EXPECT_FALSE(m.isFinishing());
    EXPECT_NE(finishedOn.load(), std::thread::id{});
    EXPECT_NE(finishedOn.load(), std::this_thread::get_id());
    const Calls& calls = fakeEncoder().calls;
    ASSERT_GE(calls.size(), 4u);
    EXPECT_EQ(calls[calls.size() - 2], "Close");
    EXPECT_EQ(calls.back(), "Create");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "Close"), 1);
}
