// Splitting: each limit yields numbered parts that play alone from time 0 and
// together hold the whole recording.

#include "EncoderTestSupport.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace enctest;

namespace {

std::vector<std::string> partsOf(const std::string& first) {
    std::vector<std::string> parts{first};
    const auto dot = first.find_last_of('.');
    for (int i = 1;
         std::filesystem::exists(first.substr(0, dot) + "_" + std::to_string(i) + first.substr(dot)); ++i)
        parts.push_back(first.substr(0, dot) + "_" + std::to_string(i) + first.substr(dot));
    return parts;
}

// Every part decodes cleanly from its first packet and starts at 0. FLV has
// no edit list: the first part's pictures start after the sound encoder's
// priming (23 ms at 44.1 kHz).
void expectPlayableFromZero(const std::string& part, bool video, double videoSlack = 0.001) {
    const probe::Media r = probe::probe(part);
    ASSERT_FALSE(r.streams.empty()) << part;
    std::string errors;
    EXPECT_EQ(decodeAll(part, &errors), 0) << part << errors;
    EXPECT_EQ(errors, "") << part;
    const probe::Stream* a = r.stream("audio");
    ASSERT_NE(a, nullptr) << part;
    if (a->startTime >= 0) {
        EXPECT_NEAR(a->startTime, 0, 0.05) << part;
    }
    if (video) {
        const probe::Stream* v = r.stream("video");
        ASSERT_NE(v, nullptr) << part;
        EXPECT_NEAR(v->startTime, 0, videoSlack) << part;
    }
}

TEST(Split, ByTimeCutsOnKeyframesIntoNumberedParts) {
    const std::string path = freshDir("split-time") + "/rec.mp4";
    RecordingOptions o;
    o.seconds = 3.5;
    o.limitSeconds = 1;
    recordFile(path, o);

    const auto parts = partsOf(path);
    ASSERT_EQ(parts.size(), 4u);
    double total = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        expectPlayableFromZero(parts[i], true);
        const double length = lastPacketEnd(parts[i], "v");
        EXPECT_NEAR(length, i + 1 < parts.size() ? 1.0 : 0.5, 0.05) << parts[i];
        EXPECT_NEAR(lastPacketEnd(parts[i], "a"), length, 0.1) << parts[i];
        total += length;
    }
    EXPECT_NEAR(total, 3.5, 0.05);
}

TEST(Split, AudioOnlyRecordingSplitsByTime) {
    const std::string path = freshDir("split-audio") + "/rec.wav";
    RecordingOptions o;
    o.video = false;
    o.seconds = 2.5;
    o.limitSeconds = 1;
    recordFile(path, o);

    const auto parts = partsOf(path);
    ASSERT_EQ(parts.size(), 3u);
    // Each part starts within one sound packet after its whole second of the
    // recording, however many parts came before it.
    double start = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        expectPlayableFromZero(parts[i], false);
        const double late = start - static_cast<double>(i);
        EXPECT_GE(late, -0.001) << parts[i];
        EXPECT_LT(late, 1024.0 / 44100) << parts[i];
        start += probe::probe(parts[i]).duration;
    }
    EXPECT_NEAR(start, 2.5, 0.03);
}

// Every part but the last ends within 2 % of the limit, and none passes it by
// a second of data, whatever the container adds around the packets.
void expectPartsNearTheLimit(const std::vector<std::string>& parts, int64_t limit, int64_t bytesPerSecond) {
    for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
        const auto size = static_cast<int64_t>(std::filesystem::file_size(parts[i]));
        EXPECT_NEAR(static_cast<double>(size) / static_cast<double>(limit), 1.0, 0.02) << parts[i];
        EXPECT_LE(size, limit + bytesPerSecond) << parts[i];
    }
}

TEST(Split, BySizeEndsEachPartAtTheLimitInEveryContainer) {
    for (const char* extension : {"mp4", "flv", "avi"}) {
        SCOPED_TRACE(extension);
        const std::string path = freshDir(std::string("split-size-") + extension) + "/rec." + extension;
        RecordingOptions o;
        o.seconds = 10;
        o.videoKbps = 2000; // a quarter of a megabyte a second of noise
        o.noise = true;
        o.limitMegabytes = 1;
        o.audioAheadSeconds = 0.5; // the cut must not follow the sound past the limit
        recordFile(path, o);

        const auto parts = partsOf(path);
        ASSERT_GE(parts.size(), 3u);
        double total = 0;
        for (const std::string& part : parts) {
            expectPlayableFromZero(part, true, std::string(extension) == "flv" ? 0.03 : 0.001);
            total += lastPacketEnd(part, "v") - probe::probe(part).stream("video")->startTime;
        }
        expectPartsNearTheLimit(parts, 1000000, 2000 * 1000 / 8);
        EXPECT_NEAR(total, 10.0, 0.05);
    }
}

TEST(Split, AudioOnlyRecordingSplitsBySize) {
    const std::string path = freshDir("split-size-audio") + "/rec.wav";
    RecordingOptions o;
    o.video = false;
    o.seconds = 13; // 44.1 kHz stereo 16-bit: 176 kB a second, two full parts
    o.limitMegabytes = 1;
    recordFile(path, o);

    const auto parts = partsOf(path);
    ASSERT_EQ(parts.size(), 3u);
    double total = 0;
    for (const std::string& part : parts)
        total += probe::probe(part).duration;
    expectPartsNearTheLimit(parts, 1000000, 176400);
    EXPECT_NEAR(total, 13.0, 0.05);
}

} // namespace
