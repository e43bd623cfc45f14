// Bad input never crashes and always gets a negative status; pushes racing
// with a stop are safe (run under the sanitizers); a full disk ends the file.

#include "EncoderTestSupport.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <thread>

using namespace enctest;

namespace {

TEST(BadInput, EveryCallRefusesANullOrStaleHandle) {
    EncoderVideoFrame f{};
    EncoderAudioFrame a{};
    void* handles[2] = {nullptr, apiEncoderCreate()};
    ASSERT_EQ(apiEncoderClose(handles[1]), ME_OK);
    for (void* h : handles) {
        EXPECT_LT(apiEncoderSetOutputPath(h, "/tmp/x.mp4"), 0);
        EXPECT_LT(apiEncoderSetImageSize(h, 320, 240), 0);
        EXPECT_LT(apiEncoderSetImageFormat(h, ME_IMAGE_FORMAT_BGRA), 0);
        EXPECT_LT(apiEncoderSetOutputSize(h, 320, 240), 0);
        EXPECT_LT(apiEncoderSetFps(h, 30), 0);
        EXPECT_LT(apiEncoderSetVideoBitrate(h, 3000), 0);
        EXPECT_LT(apiEncoderSetAudioSrcContext(h, 2, 44100, 2), 0);
        EXPECT_LT(apiEncoderSetAudioBitrate(h, 12800), 0);
        EXPECT_LT(apiEncoderSetAudioEncodeContext(h, 2, 44100), 0);
        EXPECT_NE(apiEncoderSetLimitTime(h, 10), ME_LIMIT_OK);
        EXPECT_NE(apiEncoderSetLimitSize(h, 10), ME_LIMIT_OK);
        EXPECT_LT(apiEncoderEncode(h), 0);
        EXPECT_LT(apiEncoderPushVideo(h, &f, 0), 0);
        EXPECT_LT(apiEncoderPushAudio(h, &a), 0);
        EXPECT_LT(apiEncodePushVideoTrailer(h), 0);
        EXPECT_LT(apiEncodePushAudioTrailer(h), 0);
        EXPECT_LT(apiEncodeIsDone(h), 0);
        EXPECT_LT(apiEncoderGetEncodedTimestamp(h), 0);
        EXPECT_LT(apiEncoderGetFileSize(h), 0);
        EXPECT_LT(apiEncoderClose(h), 0); // includes the second close
    }
}

TEST(BadInput, SettingsOutOfRangeAndImpossibleStartsAreRefused) {
    const std::string dir = freshDir("bad-settings");
    void* h = apiEncoderCreate();
    EXPECT_EQ(apiEncoderSetOutputPath(h, (dir + "/x.mkv").c_str()), ME_ERR_UNSUPPORTED);
    EXPECT_EQ(apiEncoderSetOutputPath(h, (dir + "/noextension").c_str()), ME_ERR_UNSUPPORTED);
    EXPECT_LT(apiEncoderSetOutputPath(h, nullptr), 0);
    EXPECT_LT(apiEncoderEncode(h), 0); // no path
    for (auto [w, h2] : {std::pair{0, 240}, {320, 0}, {-2, 240}, {1, 1}, {100000, 240}})
        EXPECT_LT(apiEncoderSetImageSize(h, w, h2), 0) << w << "x" << h2;
    EXPECT_LT(apiEncoderSetImageFormat(h, 1005), 0);
    EXPECT_LT(apiEncoderSetFps(h, 0), 0);
    EXPECT_LT(apiEncoderSetFps(h, 1e9), 0);
    EXPECT_LT(apiEncoderSetVideoBitrate(h, -1), 0);
    EXPECT_LT(apiEncoderSetAudioSrcContext(h, 2, 44100, 1), 0);
    EXPECT_LT(apiEncoderSetAudioSrcContext(h, 0, 44100, 2), 0);
    EXPECT_LT(apiEncoderSetAudioEncodeContext(h, 6, 44100), 0);
    ASSERT_EQ(apiEncoderSetImageSize(h, 320, 240), ME_OK);
    EXPECT_LT(apiEncoderSetOutputSize(h, 640, 480), 0); // no scaling

    // A folder that does not exist.
    ASSERT_EQ(apiEncoderSetOutputPath(h, (dir + "/missing/x.mp4").c_str()), ME_OK);
    ASSERT_EQ(apiEncoderSetFps(h, 30), ME_OK);
    ASSERT_EQ(apiEncoderSetVideoBitrate(h, 3000), ME_OK);
    EXPECT_EQ(apiEncoderEncode(h), ME_ERR_IO);
    EncoderVideoFrame f = SyntheticVideo(320, 240).frame(0);
    EXPECT_EQ(apiEncoderPushVideo(h, &f, 0), ME_ERR_STATE); // not encoding
    EXPECT_EQ(apiEncoderClose(h), ME_OK);
}

TEST(BadInput, MalformedPushesAreRefusedAndTheRecordingGoesOn) {
    const std::string path = freshDir("bad-pushes") + "/x.mp4";
    RecordingOptions o;
    void* h = startRecording(path, o);
    ASSERT_NE(h, nullptr);
    SyntheticVideo video(320, 240);
    const EncoderVideoFrame good = video.frame(0);
    EXPECT_EQ(apiEncoderPushVideo(h, nullptr, 0), ME_ERR_ARGUMENT);
    EXPECT_EQ(apiEncoderPushAudio(h, nullptr), ME_ERR_ARGUMENT);
    auto bad = [&](auto change) {
        EncoderVideoFrame f = good;
        change(f);
        return apiEncoderPushVideo(h, &f, 0);
    };
    EXPECT_EQ(bad([](auto& f) { f.pixelFormat = 1000; }), ME_ERR_ARGUMENT);
    EXPECT_EQ(bad([](auto& f) { f.width = 640; }), ME_ERR_ARGUMENT);
    EXPECT_EQ(bad([](auto& f) { f.height = 0; }), ME_ERR_ARGUMENT);
    EXPECT_EQ(bad([](auto& f) { f.bytesPerRow = 100; }), ME_ERR_ARGUMENT);
    EXPECT_EQ(bad([](auto& f) { f.bytesPerRow = 0xffffffffu; }), ME_ERR_ARGUMENT);
    EXPECT_EQ(bad([](auto& f) { f.dataLength -= 1; }), ME_ERR_ARGUMENT);
    EXPECT_EQ(bad([](auto& f) { f.data = nullptr; }), ME_ERR_ARGUMENT);
    EXPECT_EQ(apiEncoderPushVideo(h, &good, -5), ME_ERR_ARGUMENT);
    EXPECT_EQ(apiEncoderPushVideo(h, &good, 0), ME_OK);
    EXPECT_EQ(apiEncoderPushVideo(h, &good, int64_t{8} * 24 * 3600 * 1000), ME_ERR_ARGUMENT); // a wild clock

    const int32_t odd[3] = {1, 2, 3};
    EncoderAudioFrame a{reinterpret_cast<const uint8_t*>(odd), sizeof odd, 0};
    EXPECT_EQ(apiEncoderPushAudio(h, &a), ME_ERR_ARGUMENT); // not whole stereo frames
    a.dataLength = 0;
    EXPECT_EQ(apiEncoderPushAudio(h, &a), ME_ERR_ARGUMENT);

    EXPECT_EQ(apiEncodePushVideoTrailer(h), ME_OK);
    EXPECT_EQ(apiEncoderPushVideo(h, &good, 40), ME_ERR_STATE); // after its trailer
    EXPECT_EQ(apiEncoderClose(h), ME_OK);
    EXPECT_EQ(decodedVideoFrames(path), 1);
}

namespace {

// A picture-only recording with a different picture at each of `times` (ms),
// finished and closed; it must decode cleanly.
void recordPicturesAt(const std::string& path, std::initializer_list<int64_t> times) {
    RecordingOptions o;
    o.audio = false;
    void* h = startRecording(path, o);
    ASSERT_NE(h, nullptr);
    SyntheticVideo video(320, 240);
    int picture = 0;
    for (int64_t ms : times) {
        const EncoderVideoFrame f = video.frame(picture++);
        EXPECT_EQ(apiEncoderPushVideo(h, &f, ms), ME_OK) << ms;
    }
    EXPECT_EQ(finishRecording(h), ME_OK);
    EXPECT_EQ(decodeAll(path), 0);
}

} // namespace

TEST(LongGaps, APictureThatStopsForOverAMinuteLeavesTheRestOfTheRecordingIntact) {
    for (const char* ext : {"mp4", "avi"}) {
        SCOPED_TRACE(ext);
        const std::string path = freshDir(std::string("long-gap-") + ext) + "/x." + ext;
        // Two seconds, a 90-second stall, two more seconds.
        recordPicturesAt(path, {0, 1000, 2000, 92000, 93000, 94000});
        // Every frame after the stall is there, at its time.
        EXPECT_NEAR(lastPacketEnd(path, "v"), 94.0, 1.5);
    }
}

// A picture that stays on screen is stored once where pictures carry their
// time, but a picture still comes every second and a keyframe every two, so
// players seek; AVI keeps its constant rate.
TEST(StillPictures, AreStoredOnceWithAPictureEverySecondOrRepeatedInAvi) {
    for (const char* ext : {"mp4", "flv", "avi"}) {
        SCOPED_TRACE(ext);
        const std::string path = freshDir(std::string("still-") + ext) + "/x." + ext;
        // Three frames, the screen stands still for 3.4 s, two more frames.
        recordPicturesAt(path, {0, 33, 67, 3500, 3533});
        std::vector<PacketInfo> packets = videoPackets(path);
        std::sort(packets.begin(), packets.end(), [](auto& a, auto& b) { return a.time < b.time; });
        ASSERT_FALSE(packets.empty());
        // Measured from the first picture, wherever the container starts it.
        EXPECT_NEAR(lastPacketEnd(path, "v") - packets.front().time, 3.567, 0.04);
        if (std::string(ext) == "avi") {
            EXPECT_EQ(packets.size(), 107u);
            continue;
        }
        // 3 + one a second through the still part + 2.
        EXPECT_EQ(packets.size(), 8u);
        double lastKeyframe = packets.front().time;
        for (std::size_t i = 1; i < packets.size(); ++i) {
            EXPECT_LE(packets[i].time - packets[i - 1].time, 1.0 + 0.001) << i;
            if (packets[i].keyframe)
                lastKeyframe = packets[i].time;
            EXPECT_LE(packets[i].time - lastKeyframe, 2.0) << i;
        }
    }
}

// A push waits for the encoder rather than drop, so media pushed all at once,
// one stream before the other, is all in the file, in every container.
TEST(PushOrder, OneStreamPushedWholeBeforeTheOtherKeepsEveryFrameAndSample) {
    for (const char* ext : {"mp4", "mov", "m4v", "flv", "avi"}) {
        for (const bool videoFirst : {true, false}) {
            SCOPED_TRACE(std::string(ext) + (videoFirst ? ", video first" : ", audio first"));
            const std::string path = freshDir(std::string("push-order-") + ext) + "/x." + ext;
            RecordingOptions o;
            o.width = 640;
            o.height = 360;
            void* h = startRecording(path, o);
            ASSERT_NE(h, nullptr);
            SyntheticVideo video(o.width, o.height);
            SyntheticAudio audio(o.channels, o.sampleRate);
            for (const bool pushingVideo : {videoFirst, !videoFirst}) {
                for (int i = 0; pushingVideo && i < 90; ++i) {
                    const EncoderVideoFrame f = video.frame(i);
                    EXPECT_EQ(apiEncoderPushVideo(h, &f, i * 100 / 3), ME_OK) << i;
                }
                for (int i = 0; !pushingVideo && i < 3 * 44100 / 441; ++i) {
                    const EncoderAudioFrame a = audio.next(441);
                    EXPECT_EQ(apiEncoderPushAudio(h, &a), ME_OK) << i;
                }
            }
            EXPECT_EQ(finishRecording(h), ME_OK);
            std::string errors;
            EXPECT_EQ(decodeAll(path, &errors), 0) << errors;
            EXPECT_EQ(decodedVideoFrames(path), 90);
            EXPECT_NEAR(lastPacketEnd(path, "a"), 3.0, 0.1);
        }
    }
}

TEST(Dimensions, OddSizesLoseTheirLastColumnAndRow) {
    const std::string path = freshDir("odd-size") + "/x.mp4";
    RecordingOptions o;
    o.width = 321;
    o.height = 241;
    o.seconds = 0.5;
    recordFile(path, o);
    EXPECT_EQ(probe::probe(path).videoSize(), "320x240");
}

// Video and audio from their own threads while the main thread stops, as the
// capture queues and the stop button do. Run under ASan/UBSan in CI.
TEST(Concurrency, PushesFromTwoThreadsRaceWithStopAndClose) {
    for (int round = 0; round < 2; ++round) {
        const std::string path = freshDir("concurrency-" + std::to_string(round)) + "/x.mp4";
        void* h = startRecording(path, RecordingOptions{});
        ASSERT_NE(h, nullptr);
        std::atomic<bool> stop{false};
        std::atomic<int> rejected{0};
        std::thread videoThread([&] {
            SyntheticVideo video(320, 240);
            for (int i = 0; !stop; ++i) {
                const EncoderVideoFrame f = video.frame(i);
                if (apiEncoderPushVideo(h, &f, i * 33) < 0)
                    ++rejected;
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
        std::thread audioThread([&] {
            SyntheticAudio audio(2, 44100);
            while (!stop) {
                const EncoderAudioFrame a = audio.next(441);
                if (apiEncoderPushAudio(h, &a) < 0)
                    ++rejected;
                std::this_thread::sleep_for(std::chrono::milliseconds(3));
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        // Round 1: a close with no trailers.
        EXPECT_EQ(round == 0 ? finishRecording(h) : apiEncoderClose(h), ME_OK);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        stop = true;
        videoThread.join();
        audioThread.join();
        EXPECT_GT(rejected.load(), 0); // pushes after the stop were refused
        std::string errors;
        EXPECT_EQ(decodeAll(path, &errors), 0) << errors;
        EXPECT_GT(decodedVideoFrames(path), 5);
    }
}

TEST(FullDisk, UnwritableTargetFailsTheStart) {
    const std::string path = freshDir("full-disk-start") + "/x.flv";
    std::filesystem::create_symlink("/dev/full", path);
    void* h = apiEncoderCreate();
    apiEncoderSetOutputPath(h, path.c_str());
    apiEncoderSetAudioSrcContext(h, 2, 44100, ME_SAMPLE_FORMAT_S32);
    EXPECT_EQ(apiEncoderEncode(h), ME_ERR_IO);
    EXPECT_EQ(apiEncoderClose(h), ME_OK);
}

// The disk fills up in the middle of a recording (a file size limit stands in
// for it): pushes start failing, the stop still completes, and what was
// written before plays.
TEST(FullDisk, FileEndsCleanlyWithWhatWasWritten) {
    for (const char* ext : {"flv", "mp4"}) {
        SCOPED_TRACE(ext);
        const std::string path = freshDir(std::string("full-disk-") + ext) + "/x." + ext;
        rlimit saved{};
        getrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = saved;
        small.rlim_cur = 300000;
        setrlimit(RLIMIT_FSIZE, &small);

        void* h = startRecording(path, RecordingOptions{});
        ASSERT_NE(h, nullptr);
        SyntheticVideo video(320, 240);
        int32_t last = ME_OK;
        for (int i = 0; i < 600 && last != ME_ERR_IO; ++i) {
            const EncoderVideoFrame f = video.frame(i);
            last = apiEncoderPushVideo(h, &f, i * 33);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        EXPECT_EQ(last, ME_ERR_IO);
        EXPECT_EQ(finishRecording(h), ME_ERR_IO);
        setrlimit(RLIMIT_FSIZE, &saved);

        EXPECT_EQ(decodeAll(path), 0);
        EXPECT_GT(decodedVideoFrames(path), 10);
    }
}

} // namespace

// Pushes that name the rows they changed are converted only there, into
// frames that hold older pictures: the file must show exactly the pictures
// of pushes that name nothing. More pushes than the library has frames, a
// refused push and a push that names nothing sit in the sequence.
TEST(ChangedRows, PushesNamingTheirChangedRowsStoreTheSamePicturesAsWholePushes) {
    constexpr int kWidth = 320, kHeight = 240, kPushes = 90;
    const std::string dir = freshDir("changed-rows");
    std::vector<uint8_t> pixels(std::size_t{kWidth} * kHeight * 4, 40);
    uint32_t seed = 7;
    const auto next = [&seed](uint32_t range) {
        return (seed = seed * 1103515245u + 12345u) / 65536u % range;
    };
    for (bool named : {false, true}) {
        SCOPED_TRACE(named ? "named rows" : "whole pictures");
        seed = 7;
        std::fill(pixels.begin(), pixels.end(), uint8_t{40});
        RecordingOptions o;
        o.audio = false;
        void* h = startRecording(dir + (named ? "/named.mp4" : "/whole.mp4"), o);
        ASSERT_NE(h, nullptr);
        for (int i = 0; i < kPushes; ++i) {
            // Bands near the top, of odd bounds so that chroma rows are shared
            // with rows outside them; the push after the refused one changes
            // rows far below, where no frame has stale rows of its own.
            int first = (i == 44 ? 180 : static_cast<int>(next(40))) | 1;
            int end = first + 1 + static_cast<int>(next(18));
            if (i % 7 == 3)
                end = first; // nothing changed
            const uint32_t colour = next(1u << 24) | 0xff000000u;
            for (int y = first; y < end; ++y)
                for (int x = 0; x < kWidth; ++x)
                    std::memcpy(&pixels[(std::size_t(y) * kWidth + x) * 4], &colour, 4);
            EncoderVideoFrame f{ME_PIXEL_FORMAT_BGRA,
                                kWidth,
                                kHeight,
                                kWidth * 4,
                                pixels.data(),
                                static_cast<uint32_t>(pixels.size()),
                                0};
            if (named && i != 60)
                f.changedRows = ME_CHANGED_ROWS(first, end);
            if (i == 44) {
                EncoderVideoFrame refused = f;
                refused.data = nullptr;
                EXPECT_EQ(apiEncoderPushVideo(h, &refused, i * 33), ME_ERR_ARGUMENT);
                // The refused push was the one before: this one changed nothing since.
                if (named)
                    f.changedRows = ME_CHANGED_ROWS(0, 0);
            }
            EXPECT_EQ(apiEncoderPushVideo(h, &f, i * 33), ME_OK) << i;
        }
        EXPECT_EQ(finishRecording(h), ME_OK);
    }
    const auto md5s = [&](const char* name) {
        return run("ffmpeg -v error -i '" + dir + "/" + name + "' -f framemd5 - | grep -v '^#'");
    };
    const std::string whole = md5s("whole.mp4");
    EXPECT_FALSE(whole.empty());
    EXPECT_EQ(md5s("named.mp4"), whole);
}
