// A recording process killed with SIGKILL in the middle of a recording leaves,
// in every container, a file FFmpeg opens and plays up to at most two seconds
// before the kill; so does a finish killed half-way.

#include "EncoderTestSupport.h"
#include "IndexAtEnd.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

using namespace enctest;

namespace {

struct Child {
    std::string path;
    bool video = true;
    std::unique_ptr<probe::Child> recorder;
    long long pushedMs = 0;
};

TEST(CrashSafety, KilledRecordingLeavesPlayableFileInEveryContainer) {
    const std::string dir = freshDir("crash");
    std::vector<Child> children;
    for (const char* ext : {"mp4", "mov", "m4v", "flv", "avi", "mp3", "wav", "m4a"}) {
        Child c;
        c.path = dir + "/killed." + ext;
        c.video = std::string(ext) != "mp3" && std::string(ext) != "wav" && std::string(ext) != "m4a";
        children.push_back(std::move(c));
    }
    // All at once: the wait is in real time, the work is small.
    for (Child& c : children)
        c.recorder = std::make_unique<probe::Child>(
            std::vector<std::string>{FRAMEDECK_BINARY_DIR "/bin/encoder_crash_child", c.path});
    constexpr long long kKillAfterMs = 3500;
    for (Child& c : children) {
        FILE* progress = fdopen(dup(c.recorder->stdoutFd()), "r");
        ASSERT_NE(progress, nullptr);
        long long ms = 0;
        while (c.pushedMs < kKillAfterMs && std::fscanf(progress, "%lld", &ms) == 1)
            c.pushedMs = ms;
        std::fclose(progress);
    }
    for (Child& c : children) {
        c.recorder->signal(SIGKILL);
        EXPECT_EQ(c.recorder->wait(), -1) << c.path << " was not killed";
    }
    auto expectKept = [](const std::string& path, const Child& c) {
        SCOPED_TRACE(path);
        const probe::Media r = probe::probe(path);
        ASSERT_FALSE(r.streams.empty());
        const double killedAt = static_cast<double>(c.pushedMs) / 1000.0;
        EXPECT_EQ(decodeAll(path), 0);
        EXPECT_GE(lastPacketEnd(path, "a"), killedAt - 2.0) << "audio kept";
        if (c.video) {
            EXPECT_GE(lastPacketEnd(path, "v"), killedAt - 2.0) << "video kept";
            EXPECT_GE(decodedVideoFrames(path), static_cast<int>((killedAt - 2.0) * 30));
        }
    };
    for (const Child& c : children)
        expectKept(c.path, c);

    // The MPEG-4 files are fragments. Indexing one in place (as a finish
    // does, here after the kill) keeps what they held; so does a finish
    // killed between appending the index and switching to it.
    for (const Child& c : children) {
        const std::filesystem::path killed(c.path);
        const std::string ext = killed.extension();
        if (ext != ".mp4" && ext != ".mov" && ext != ".m4v" && ext != ".m4a")
            continue;
        me::FinishJob job;
        job.audioPrimingSamples = 1024; // FFmpeg's AAC encoder
        job.audioSampleRate = 44100;
        const std::string half = dir + "/half-finished" + ext;
        const std::string whole = dir + "/indexed" + ext;
        std::filesystem::copy_file(killed, half);
        std::filesystem::copy_file(killed, whole);
        job.path = half;
        EXPECT_EQ(me::writeIndexAtEnd(job, me::IndexStep::AppendOnly), ME_OK) << half;
        EXPECT_NE(topLevelBoxes(half).find("moof"), std::string::npos) << "still fragments";
        expectKept(half, c);
        job.path = whole;
        EXPECT_EQ(me::writeIndexAtEnd(job), ME_OK) << whole;
        EXPECT_EQ(topLevelBoxes(whole), "ftyp mdat moov");
        expectKept(whole, c);
        for (const probe::Stream& s : probe::probe(whole).streams)
            EXPECT_NEAR(s.startTime, 0.0, 0.001) << whole << " " << s.type << ": priming and delay hidden";
    }
}

} // namespace
