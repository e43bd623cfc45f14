// A recording process killed with SIGKILL in the middle of a recording leaves,
// in every container, a file FFmpeg opens and plays up to at most two seconds
// before the kill.

#include "EncoderTestSupport.h"

#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace enctest;

namespace {

struct Child {
    std::string path;
    bool video = true;
    pid_t pid = -1;
    FILE* progress = nullptr;
    long long pushedMs = 0;
};

void spawnRecorder(Child& c) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    const std::string exe = std::string(FRAMEDECK_BINARY_DIR) + "/bin/encoder_crash_child";
    char* argv[] = {const_cast<char*>(exe.c_str()), const_cast<char*>(c.path.c_str()), nullptr};
    ASSERT_EQ(posix_spawn(&c.pid, exe.c_str(), &actions, nullptr, argv, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    c.progress = fdopen(fds[0], "r");
}

TEST(CrashSafety, KilledRecordingLeavesPlayableFileInEveryContainer) {
    const std::string dir = freshDir("crash");
    std::vector<Child> children;
    for (const char* ext : {"mp4", "mov", "m4v", "flv", "avi", "mp3", "wav", "m4a"}) {
        Child c;
        c.path = dir + "/killed." + ext;
        c.video = std::string(ext) != "mp3" && std::string(ext) != "wav" && std::string(ext) != "m4a";
        children.push_back(c);
    }
    // All at once: the wait is in real time, the work is small.
    for (Child& c : children)
        spawnRecorder(c);
    constexpr long long kKillAfterMs = 3500;
    for (Child& c : children) {
        ASSERT_NE(c.progress, nullptr);
        long long ms = 0;
        while (c.pushedMs < kKillAfterMs && std::fscanf(c.progress, "%lld", &ms) == 1)
            c.pushedMs = ms;
    }
    for (Child& c : children) {
        kill(c.pid, SIGKILL);
        int status = 0;
        waitpid(c.pid, &status, 0);
        std::fclose(c.progress);
        EXPECT_TRUE(WIFSIGNALED(status)) << c.path;
    }
    for (const Child& c : children) {
        SCOPED_TRACE(c.path);
        const probe::Media r = probe::probe(c.path);
        ASSERT_FALSE(r.streams.empty());
        const double killedAt = static_cast<double>(c.pushedMs) / 1000.0;
        EXPECT_EQ(decodeAll(c.path), 0);
        const double audioEnd = lastPacketEnd(c.path, "a");
        EXPECT_GE(audioEnd, killedAt - 2.0) << "audio kept";
        if (c.video) {
            EXPECT_GE(lastPacketEnd(c.path, "v"), killedAt - 2.0) << "video kept";
            EXPECT_GE(decodedVideoFrames(c.path), static_cast<int>((killedAt - 2.0) * 30));
        }
    }
}

} // namespace
