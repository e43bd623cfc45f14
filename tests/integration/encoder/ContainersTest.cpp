// Every container the recorder offers: a few seconds of synthetic frames and a
// tone must come out as a file FFmpeg reads back with the right streams,
// codecs and length, both streams starting together, and decodable to the end.

#include "EncoderTestSupport.h"

#include <gtest/gtest.h>

using namespace enctest;

namespace {

struct Case {
    const char* extension;
    const char* videoCodec; // nullptr: audio-only container
    const char* audioCodec;
};

class ContainerTest : public ::testing::TestWithParam<Case> {};

TEST_P(ContainerTest, WritesPlayableFileOfTheRightLength) {
    const Case c = GetParam();
    const std::string path = freshDir(std::string("containers-") + c.extension) + "/clip." + c.extension;
    RecordingOptions o;
    o.video = c.videoCodec != nullptr;
    o.seconds = 3.0;
    recordFile(path, o);

    const probe::Media r = probe::probe(path);
    ASSERT_EQ(r.streams.size(), o.video ? 2u : 1u) << path;
    const probe::Stream* audio = r.stream("audio");
    ASSERT_NE(audio, nullptr);
    EXPECT_EQ(audio->codec, c.audioCodec);
    EXPECT_EQ(audio->sampleRate, 44100);
    EXPECT_EQ(audio->channels, 2);
    EXPECT_NEAR(lastPacketEnd(path, "a"), o.seconds, 0.1) << "audio length";
    if (o.video) {
        const probe::Stream* video = r.stream("video");
        ASSERT_NE(video, nullptr);
        EXPECT_EQ(video->codec, c.videoCodec);
        EXPECT_EQ(r.videoSize(), "320x240");
        EXPECT_NEAR(lastPacketEnd(path, "v"), o.seconds, 0.1) << "video length";
        EXPECT_NEAR(video->startTime, audio->startTime, 0.1) << "streams start together";
        EXPECT_EQ(decodedVideoFrames(path), 90);
    }
    EXPECT_NEAR(r.duration, o.seconds, 0.1);
    const std::string ext = c.extension;
    if (ext == "mp4" || ext == "mov" || ext == "m4v" || ext == "m4a") {
        EXPECT_EQ(topLevelBoxes(path), "ftyp mdat moov") << "fragments indexed in place at the end";
    }
    std::string errors;
    EXPECT_EQ(decodeAll(path, &errors), 0) << errors;
    EXPECT_EQ(errors, "");
}

INSTANTIATE_TEST_SUITE_P(AllFormats, ContainerTest,
                         ::testing::Values(Case{"mp4", "h264", "aac"}, Case{"mov", "h264", "aac"},
                                           Case{"m4v", "h264", "aac"}, Case{"flv", "h264", "aac"},
                                           Case{"avi", "h264", "mp3"}, Case{"mp3", nullptr, "mp3"},
                                           Case{"wav", nullptr, "pcm_s16le"}, Case{"m4a", nullptr, "aac"}),
                         [](const auto& info) { return std::string(info.param.extension); });

} // namespace
