// End-to-end recordings on the test desktop (Xvfb + its own sound server):
// each kind recorded through `framedeck record`, the files checked with
// ffprobe / ffmpeg.
#include "ColourWindow.h"
#include "MediaProbe.h"

#include <QTemporaryDir>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

using namespace std::chrono_literals;

namespace {

const std::string kTool = FRAMEDECK_BINARY_DIR "/bin/framedeck";

class Recording : public ::testing::Test {
protected:
    void SetUp() override {
        if (probe::env("DISPLAY").empty() || probe::env("PULSE_SERVER").empty())
            GTEST_SKIP() << "needs the test desktop (scripts/test-desktop run -- ...)";
        ASSERT_TRUE(dir.isValid());
    }
    std::string path(const std::string& name) const {
        return dir.filePath(QString::fromStdString(name)).toStdString();
    }

    // Starts the recorder; stderr goes to a log file the test can watch.
    std::unique_ptr<probe::Child> record(std::vector<std::string> flags,
                                         std::map<std::string, std::string> extraEnv = {}) {
        flags.insert(flags.begin(), {kTool, "record"});
        log = path("record" + std::to_string(++runs) + ".log");
        return std::make_unique<probe::Child>(flags, extraEnv, log);
    }
    bool waitForStart(probe::Child& child) { return probe::waitForLog(child, log); }
    // Waits for a recorder that ends well, printing only the file it wrote;
    // what FFmpeg reads in that file.
    probe::Media finished(probe::Child& recorder, const std::string& out) {
        std::string printed;
        EXPECT_EQ(recorder.wait(&printed), 0) << probe::readFile(log);
        EXPECT_EQ(printed, out + "\n");
        return probe::probe(out);
    }
    // A 440 Hz tone played to the default output (where applications play)
    // until the child is destroyed; `server` names another sound server, as
    // PrivateSoundServer::clientCommand("") does.
    static std::unique_ptr<probe::Child> playTone(const std::string& server = "") {
        return std::make_unique<probe::Child>(std::vector<std::string>{
            "/bin/sh", "-c",
            "sox -V1 -n -t raw -r 48000 -e signed -b 16 -c 1 - synth 20 sine 440 | " + server +
                "pacat --playback --latency-msec=20 --raw --format=s16le --rate=48000 --channels=1"});
    }

    QTemporaryDir dir;
    std::string log;
    int runs = 0;
};

using probe::near;

// Colour conversion to 4:2:0 and back moves values by a few steps.
void expectColor(const std::vector<uint8_t>& rgb, int width, int x, int y, uint32_t colour) {
    EXPECT_TRUE(near(rgb, width, x, y, colour, 16)) << "at " << x << "," << y;
}

} // namespace

// Two seconds paused (SIGUSR1 pauses and resumes) are left out of picture
// and sound; SIGINT ends the recording with its file.
TEST_F(Recording, FullScreenWithSystemAudioHoldsAToneAndLeavesOutThePause) {
    const std::string out = path("full.mp4");
    auto recorder = record({"--fps", "10", "--audio", "system", "--output", out});
    ASSERT_TRUE(waitForStart(*recorder)) << probe::readFile(log);
    std::this_thread::sleep_for(1500ms);
    auto tone = playTone();
    std::this_thread::sleep_for(1000ms);
    recorder->signal(SIGUSR1);
    std::this_thread::sleep_for(2000ms);
    recorder->signal(SIGUSR1);
    std::this_thread::sleep_for(1500ms);
    recorder->signal(SIGINT);
    const probe::Media media = finished(*recorder, out);
    tone.reset();
    const probe::Stream* video = media.stream("video");
    const probe::Stream* audio = media.stream("audio");
    ASSERT_TRUE(video && audio);
    EXPECT_EQ(media.videoSize(), "1920x1080");
    EXPECT_NEAR(video->duration, 4, 0.5) << "the pause is in the file";
    EXPECT_NEAR(audio->duration, 4, 0.5) << "the pause is in the sound";
    EXPECT_NEAR(video->startTime, audio->startTime, 0.1) << "sound and picture do not start together";
    EXPECT_LT(probe::audioLevel(out, 0, 1.0), 300) << "the tone is there before it was played";
    EXPECT_GT(probe::audioLevel(out, 2.8, 3.8), 3000) << "the tone played during the recording is missing";
}

// The window kind follows its window as it moves, and the window's closing
// ends the recording with its file.
TEST_F(Recording, WindowKindFollowsTheWindowUntilItCloses) {
    auto window = std::make_unique<ColourWindow>(100, 100, 320, 240, 0x20c040);
    std::this_thread::sleep_for(300ms);
    const std::string out = path("window.mp4");
    auto recorder = record({"--mode", "window", "--window", std::to_string(window->id()), "--audio", "none",
                            "--seconds", "60", "--fps", "10", "--output", out});
    ASSERT_TRUE(waitForStart(*recorder)) << probe::readFile(log);
    for (int step = 1; step <= 20; ++step) {
        window->move(100 + step * 40, 100 + step * 15);
        std::this_thread::sleep_for(100ms);
    }
    window.reset();
    const probe::Media media = finished(*recorder, out);
    EXPECT_NE(probe::readFile(log).find("the recording ends here"), std::string::npos);
    EXPECT_EQ(media.videoSize(), "320x240");
    ASSERT_TRUE(media.stream("video"));
    EXPECT_NEAR(media.stream("video")->duration, 2, 0.8);
    for (double t : {0.5, 1.0, 1.5})
        expectColor(probe::frameAt(out, t, 320, 240), 320, 160, 120, 0x20c040);
}

TEST_F(Recording, CameraKindRecordsTheTestPatternMirrored) {
    const std::string out = path("camera.mp4");
    auto recorder = record({"--mode", "camera", "--audio", "none", "--seconds", "2", "--output", out},
                           {{"FRAMEDECK_TEST_CAMERA", "1"}});
    const probe::Media media = finished(*recorder, out);
    EXPECT_EQ(media.videoSize(), "640x480");
    EXPECT_NEAR(media.duration, 2, 0.4);
    // The bars run white ... black; the first-run setting mirrors the camera.
    const auto rgb = probe::frameAt(out, 1.0, 640, 480);
    expectColor(rgb, 640, 20, 20, 0x000000);
    expectColor(rgb, 640, 620, 20, 0xffffff);
}

TEST_F(Recording, BadRequestsFailWithTheirOwnStatusAndNoOutput) {
    struct Case {
        std::vector<std::string> flags;
        std::map<std::string, std::string> env;
        int status;
    };
    const std::vector<Case> cases = {
        {{"--mode", "sideways"}, {}, 2},
        {{"--area", "1800,1000,400,300", "--audio", "none"}, {}, 2},
        {{"--mode", "window", "--window", "0x7fffffff", "--audio", "none"}, {}, 2},
        // Refused before the portal is looked for: no Wayland desktop needed.
        {{"--mode", "window", "--window", "0x1", "--backend", "portal", "--audio", "none"}, {}, 2},
        {{"--seconds", "1", "--audio", "none"}, {{"DISPLAY", ":9999"}}, 3},
        {{"--mode", "audio", "--seconds", "1"}, {{"PULSE_SERVER", "unix:/nonexistent/socket"}}, 4},
        {{"--seconds", "1", "--audio", "none", "--output", "/proc/framedeck/out.mp4"}, {}, 5},
    };
    for (const Case& c : cases) {
        auto recorder = record(c.flags, c.env);
        std::string printed;
        EXPECT_EQ(recorder->wait(&printed), c.status) << probe::readFile(log);
        EXPECT_EQ(printed, "") << "stdout is for written files only";
    }
}

TEST_F(Recording, AFullDiskStopsTheRecordingAndKeepsWhatWasWritten) {
    // The disk "fills" at 150 KB (dash counts 512-byte blocks): a file-size limit makes writes past it
    // fail as ENOSPC would (and needs no mount).
    const std::string out = path("full.mp4");
    log = path("full.log");
    probe::Child recorder({"/bin/sh", "-c", "ulimit -f 300; exec \"$0\" \"$@\"", kTool, "record", "--audio",
                           "system", "--seconds", "60", "--output", out},
                          {}, log);
    auto tone = playTone();
    std::string printed;
    EXPECT_EQ(recorder.wait(&printed), 6) << probe::readFile(log);
    EXPECT_EQ(printed, out + "\n");
    EXPECT_NE(probe::readFile(log).find("could not be written any more"), std::string::npos)
        << probe::readFile(log);
    const probe::Media media = probe::probe(out);
    ASSERT_TRUE(media.stream("video")) << "the file does not play";
    EXPECT_GT(media.stream("video")->duration, 1.0);
    EXPECT_LT(media.stream("video")->duration, 55.0) << "it did not stop at the fault";
    // Listed like any recording.
    const std::string list =
        probe::readFile(probe::env("HOME") + "/.cache/org.framedeck.FrameDeck/filelist.plist");
    EXPECT_NE(list.find(out), std::string::npos);
}

TEST_F(Recording, VanishingSoundDeviceLeavesTheVideoRecording) {
    int status = 0;
    const std::string module =
        probe::run("pactl load-module module-null-sink sink_name=fd_vanishing", &status);
    ASSERT_EQ(status, 0);
    const std::string sink = probe::env("FRAMEDECK_DESKTOP_SINK", "speakers");
    // System audio follows the default sink; this one is about to go away.
    probe::run("pactl set-default-sink fd_vanishing");
    const std::string out = path("vanish.mp4");
    auto recorder = record({"--audio", "system", "--seconds", "4", "--fps", "10", "--output", out});
    const bool started = waitForStart(*recorder);
    probe::run("pactl set-default-sink " + sink);
    std::this_thread::sleep_for(1000ms);
    probe::run("pactl unload-module " + module);
    ASSERT_TRUE(started) << probe::readFile(log);
    const probe::Media media = finished(*recorder, out);
    ASSERT_TRUE(media.stream("video"));
    EXPECT_NEAR(media.stream("video")->duration, 4, 0.5) << "video stopped with the sound";
    // The server moves the stream to another source; the time that costs is
    // filled with silence, so the sound keeps pace with the picture.
    ASSERT_TRUE(media.stream("audio"));
    EXPECT_NEAR(media.stream("audio")->duration, media.stream("video")->duration, 0.5);
}

namespace {

// A sound server of the test's own, so it can be killed and started again
// without taking the shared desktop's down: one null sink as the speakers.
class PrivateSoundServer {
public:
    explicit PrivateSoundServer(const std::string& dir) : dir_(dir) {
        std::filesystem::create_directories(dir_ + "/run/pulse");
        std::filesystem::create_directories(dir_ + "/home");
        std::filesystem::permissions(dir_ + "/run", std::filesystem::perms::owner_all);
        socket_ = dir_ + "/run/pulse/native";
    }
    bool start() {
        const std::map<std::string, std::string> env{{"HOME", dir_ + "/home"},
                                                     {"XDG_RUNTIME_DIR", dir_ + "/run"},
                                                     {"PULSE_RUNTIME_PATH", dir_ + "/run/pulse"},
                                                     {"PULSE_STATE_PATH", dir_ + "/home"},
                                                     {"PULSE_COOKIE", dir_ + "/cookie"},
                                                     {"DBUS_SESSION_BUS_ADDRESS", "disabled:"},
                                                     {"DISPLAY", ""}};
        server_ = std::make_unique<probe::Child>(
            std::vector<std::string>{"/usr/bin/pulseaudio", "--daemonize=no", "--exit-idle-time=-1", "-n",
                                     "--use-pid-file=no", "--realtime=no", "--high-priority=no",
                                     "--load=module-native-protocol-unix auth-anonymous=1 socket=" + socket_},
            env, dir_ + "/server" + std::to_string(++starts_) + ".log");
        for (int status = 1; status != 0;) {
            if (!server_->running())
                return false;
            probe::run(clientCommand("pactl info") + " >/dev/null 2>&1", &status);
        }
        int status = 0;
        probe::run(clientCommand("pactl load-module module-null-sink sink_name=speakers rate=48000"),
                   &status);
        probe::run(clientCommand("pactl set-default-sink speakers"));
        return status == 0;
    }
    void kill() { server_.reset(); } // SIGKILL to its group
    std::map<std::string, std::string> clientEnv() const {
        return {{"PULSE_SERVER", "unix:" + socket_}, {"PULSE_COOKIE", dir_ + "/cookie"}};
    }
    std::string clientCommand(const std::string& command) const {
        return "PULSE_SERVER=" + probe::quote("unix:" + socket_) + " " + command;
    }

private:
    std::string dir_;
    std::string socket_;
    std::unique_ptr<probe::Child> server_;
    int starts_ = 0;
};

} // namespace

TEST_F(Recording, SoundComesBackAfterTheSoundServerRestartsWithSilenceBetween) {
    PrivateSoundServer server(path("pulse"));
    ASSERT_TRUE(server.start());
    const std::string out = path("restart.mp4");
    auto recorder =
        record({"--audio", "system", "--seconds", "10", "--fps", "10", "--output", out}, server.clientEnv());
    ASSERT_TRUE(waitForStart(*recorder)) << probe::readFile(log);
    const auto started = std::chrono::steady_clock::now();
    std::this_thread::sleep_until(started + 2s);
    server.kill();
    std::this_thread::sleep_until(started + 4s);
    ASSERT_TRUE(server.start());
    // The recorder loads its devices into the new server and records again.
    probe::waitForLog(*recorder, log, "the sound is back");
    const auto tone = playTone(server.clientCommand(""));
    const probe::Media media = finished(*recorder, out);
    const std::string text = probe::readFile(log);
    EXPECT_NE(text.find("the sound is back"), std::string::npos) << text;
    const std::string told = "framedeck record: audio capture stopped";
    const auto lost = text.find(told);
    ASSERT_NE(lost, std::string::npos) << text;
    EXPECT_EQ(text.find(told, lost + 1), std::string::npos) << "told more than once";

    const probe::Stream* video = media.stream("video");
    const probe::Stream* audio = media.stream("audio");
    ASSERT_TRUE(video && audio);
    EXPECT_NEAR(video->duration, 10, 0.6);
    EXPECT_NEAR(audio->duration, video->duration, 0.4) << "the outage was not filled in";
    EXPECT_LT(probe::audioLevel(out, 2.5, 3.8), 300) << "the outage is not silent";
    std::string levels;
    for (double t = 0; t < 10; t += 0.5)
        levels += std::to_string(static_cast<int>(probe::audioLevel(out, t, t + 0.5))) + " ";
    EXPECT_GT(probe::audioLevel(out, 8.8, 9.6), 3000) << "the sound did not come back\n" << levels;
}

namespace {

// The time of the first shown frame from which `test` holds, or -1.
template <class Test>
double firstTime(const std::vector<std::vector<uint8_t>>& frames, std::size_t from, Test test) {
    for (std::size_t i = from; i < frames.size(); ++i)
        if (test(frames[i]))
            return static_cast<double>(i) / 30;
    return -1;
}

} // namespace

// An area of a still screen in which a block appears, the pointer comes in
// and the block goes again: the variable-rate MP4 shows each at its moment,
// as the constant-rate AVI recorded at the same time does; both are the
// area's size and colour and last the recorded time, and the MP4 holds fewer
// pictures (how often the encoder repeats a still picture and puts in a
// keyframe is the encoder tests' StillPictures).
TEST_F(Recording, AStillScreenShowsEachChangeAtItsMomentInEveryContainer) {
    const uint32_t blue = 0x3060c0, red = 0xe02020;
    ColourWindow background(200, 150, 400, 300, blue);
    // The pointer starts inside the area: its arrow must not stay behind
    // when it moves on.
    ColourWindow::warpPointer(300, 230);
    std::this_thread::sleep_for(300ms);
    const std::string mp4 = path("still.mp4"), avi = path("still.avi");
    const std::vector<std::string> common{"--area", "250,200,160,120", "--audio", "none",    "--seconds",
                                          "5",      "--fps",           "30",      "--output"};
    // The arrow is drawn only when the settings ask for it.
    std::filesystem::create_directories(path("home/.config/FrameDeck"));
    std::ofstream(path("home/.config/FrameDeck/FrameDeck.conf")) << "[General]\nIsShowMouse=true\n";
    const std::map<std::string, std::string> home{{"HOME", path("home")},
                                                  {"XDG_CONFIG_HOME", path("home/.config")}};
    auto flags = [&](const std::string& out) {
        std::vector<std::string> f = common;
        f.push_back(out);
        return f;
    };
    auto first = record(flags(mp4), home);
    const std::string firstLog = log;
    auto second = record(flags(avi), home);
    ASSERT_TRUE(waitForStart(*second)) << probe::readFile(log);
    log = firstLog;
    ASSERT_TRUE(waitForStart(*first)) << probe::readFile(log);

    using Clock = std::chrono::steady_clock;
    // Both have their first picture (time 0 of each file) well before.
    std::this_thread::sleep_for(1500ms);
    auto block = std::make_unique<ColourWindow>(300, 250, 40, 40, red);
    const auto blockShown = Clock::now();
    std::this_thread::sleep_for(1200ms);
    ColourWindow::warpPointer(400, 280);
    const auto pointerIn = Clock::now();
    std::this_thread::sleep_for(900ms);
    block.reset();
    const auto blockGone = Clock::now();
    ASSERT_EQ(first->wait(), 0) << probe::readFile(firstLog);
    ASSERT_EQ(second->wait(), 0) << probe::readFile(log);
    const auto seconds = [](Clock::duration d) {
        return std::chrono::duration<double>(d).count();
    };

    for (const std::string& file : {mp4, avi}) {
        SCOPED_TRACE(file);
        const probe::Media media = probe::probe(file);
        EXPECT_EQ(media.videoSize(), "160x120");
        EXPECT_FALSE(media.stream("audio"));
        EXPECT_NEAR(media.duration, 5.0, 0.15);
        // Every frame as it is shown, at 30 a second (a picture that lasts
        // stands in each frame it covers).
        const auto frames = probe::frames(file, "fps=30", 160, 120);
        ASSERT_GT(frames.size(), 100u);
        // The area is the window under it, before anything changed.
        expectColor(frames.front(), 160, 80, 60, blue);
        expectColor(frames.front(), 160, 5, 5, blue);
        const double red0 = firstTime(frames, 0, [&](auto& f) { return near(f, 160, 70, 70, red, 39); });
        ASSERT_GT(red0, 0);
        // The arrow is drawn right of and below the pointer's tip.
        const double pointer0 = firstTime(frames, 0, [&](auto& f) {
            for (int y = 80; y < 100; ++y)
                for (int x = 150; x < 160; ++x)
                    if (!near(f, 160, x, y, blue, 39))
                        return true;
            return false;
        });
        const double gone0 = firstTime(frames, static_cast<std::size_t>(red0 * 30),
                                       [&](auto& f) { return near(f, 160, 70, 70, blue, 39); });
        // Each change is caught by the next grab: one frame either way.
        const double frame = 1.0 / 30;
        EXPECT_NEAR(pointer0 - red0, seconds(pointerIn - blockShown), frame + 0.02);
        EXPECT_NEAR(gone0 - red0, seconds(blockGone - blockShown), frame + 0.02);
        const auto firstArrow = [&](const std::vector<uint8_t>& f) {
            int pixels = 0;
            for (int y = 25; y < 60; ++y)
                for (int x = 45; x < 80; ++x)
                    pixels += near(f, 160, x, y, blue, 39) ? 0 : 1;
            return pixels;
        };
        EXPECT_GT(firstArrow(frames.front()), 20);
        EXPECT_EQ(firstArrow(frames.back()), 0) << "the first arrow is left in the last picture";
    }
    // The AVI keeps its constant rate; the MP4 stores what changed.
    EXPECT_NEAR(double(probe::videoPackets(avi).size()), 150, 4);
    EXPECT_LT(probe::videoPackets(mp4).size(), 60u) << "a still screen stored at the full rate";
}
