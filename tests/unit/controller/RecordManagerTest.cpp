#include "FakeCapture.h"
#include "core/EMLog.h"
#include "core/KeyValueStore.h"
#include "engine/EncodeManager.h"
#include "engine/controller/RVRecordManager.h"

#include <QTemporaryDir>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

// A controller over fakes and a real encoder session writing into a temp folder.
class RecordManagerTest : public ::testing::Test {
protected:
    RecordManagerTest() {
        auto f = std::make_unique<FakeFactory>();
        factory = f.get();
        RVRecordManager::Collaborators c;
        c.captureFactory = std::move(f);
        c.settings = &settings;
        c.clock = [this] {
            return now;
        };
        manager = std::make_unique<RVRecordManager>(std::move(c));
        RVRecordHost host;
        host.runOnMainThread = [this](std::function<void()> task) {
            posted.push_back(std::move(task));
        };
        host.selectionRequested = [this](const std::vector<CaptureWindowInfo>&) {
            ++selectionOpened;
        };
        host.sourceFailed = [this](CaptureSourceKind kind, const std::string&) {
            errors.push_back(captureSourceName(kind));
        };
        manager->setHost(host);
    }

    RecordRequest request(RecordVideoType videoType, RVRect rect,
                          RecordAudioType audioType = RecordAudioType::None) {
        RecordRequest r;
        r.recordVideoType = videoType;
        r.recordAudioType = audioType;
        r.captureRect = rect;
        r.fps = 10;
        r.videoBitrate = 3000;
        r.outputPath = dir.filePath("out.mp4").toStdString();
        return r;
    }
    void runPosted() {
        auto tasks = std::move(posted);
        posted.clear();
        for (auto& t : tasks)
            t();
    }
    uint64_t pushedAfterDrain() {
        manager->compositor().drain();
        return manager->compositor().pushedFrames();
    }

    QTemporaryDir dir;
    MemoryKeyValueStore settings;
    FakeFactory* factory = nullptr;
    double now = 100;
    std::unique_ptr<RVRecordManager> manager;
    std::vector<std::function<void()>> posted;
    int selectionOpened = 0;
    std::vector<std::string> errors;
};

} // namespace

TEST_F(RecordManagerTest, StatusMachineGatesFramesAndWritesTheFile) {
    manager->configure(request(RecordVideoType::CustomArea, {10, 20, 64, 48}));
    manager->startRecording();
    EXPECT_EQ(manager->status, RecordingStatus::Recording);
    EXPECT_TRUE(manager->isWorking);
    ASSERT_TRUE(manager->hasScreenSession());
    ASSERT_EQ(factory->screenRequests.size(), 1u);
    EXPECT_EQ(factory->screenRequests[0].captureRect, (RVRect{10, 20, 64, 48}));
    EXPECT_EQ(manager->encodeManager().imageSize().width, 64);
    EXPECT_EQ(manager->encodeManager().imageSize().height, 48);
    ASSERT_TRUE(manager->encodeManager().isWorking);

    factory->screen->emitFrame(101.0);
    factory->screen->emitFrame(101.1);
    EXPECT_DOUBLE_EQ(manager->startDate(), 101.0);
    EXPECT_EQ(pushedAfterDrain(), 2u);

    now = 101.5;
    manager->pauseRecording();
    EXPECT_EQ(manager->status, RecordingStatus::Paused);
    EXPECT_FALSE(manager->isWorking);
    factory->screen->emitFrame(101.6);
    EXPECT_EQ(pushedAfterDrain(), 2u) << "a frame was recorded while paused";
    ASSERT_EQ(manager->fileTimes()->size(), 1u);
    EXPECT_DOUBLE_EQ(manager->fileTimes()->at(0), 0.5);

    manager->readyToRecordScreen();
    EXPECT_EQ(selectionOpened, 0) << "the selection opened during a recording";

    now = 200;
    manager->resumeRecording();
    EXPECT_EQ(manager->status, RecordingStatus::Resumed);
    factory->screen->emitFrame(200.2);
    EXPECT_EQ(pushedAfterDrain(), 3u);

    manager->stopCapture();
    EXPECT_EQ(manager->status, RecordingStatus::Resumed);
    EXPECT_FALSE(manager->isWorking);

    manager->stopRecording();
    EXPECT_EQ(manager->status, RecordingStatus::Idle);
    EXPECT_FALSE(manager->encodeManager().isWorking);
    EXPECT_FALSE(manager->hasScreenSession());
    EXPECT_GT(std::filesystem::file_size(dir.filePath("out.mp4").toStdString()), 0u);

    manager->readyToRecordScreen();
    EXPECT_EQ(selectionOpened, 1);
}

// A screen that stands still costs nothing: a frame is pushed only when its
// picture or its decorations changed, and the last one is held to the stop.
// The time shown counts on all the same.
TEST_F(RecordManagerTest, AStillScreenIsPushedOnlyWhenItOrItsDecorationsChange) {
    long long shown = -1;
    RVRecordHost host;
    host.clockTick = [&](const RecordingProgress& progress) {
        shown = progress.seconds;
    };
    manager->setHost(host);
    uint64_t signature = 1;
    int decorated = 0;
    FrameCompositor::Hooks hooks;
    hooks.decorationSignature = [&](const VideoFrame&, const RVRect&) {
        return signature;
    };
    hooks.appendMouseCursor = [&](VideoFrame&, const RVRect&) {
        ++decorated;
    };
    manager->setCompositorHooks(hooks);
    manager->configure(request(RecordVideoType::FullScreen, {0, 0, 0, 0}));
    manager->startRecording();

    const bool still = false;
    factory->screen->emitFrame(101.0, 0xff204080, still); // the first frame always goes
    factory->screen->emitFrame(101.1, 0xff204080, still);
    factory->screen->emitFrame(101.2, 0xff204080, still);
    EXPECT_EQ(pushedAfterDrain(), 1u);
    signature = 2; // the pointer moved
    factory->screen->emitFrame(101.3, 0xff204080, still);
    factory->screen->emitFrame(101.4, 0xff204080, still);
    EXPECT_EQ(pushedAfterDrain(), 2u);
    factory->screen->emitFrame(101.5, 0xff806040, true);
    EXPECT_EQ(pushedAfterDrain(), 3u);
    EXPECT_EQ(decorated, 3) << "decorations drawn on frames that were not kept";
    EXPECT_EQ(manager->compositor().unchangedFrames(), 3u);

    now = 104.2;
    manager->timerDurationTimeOut();
    EXPECT_EQ(shown, 3);
    manager->stopRecording();
    EXPECT_EQ(manager->compositor().pushedFrames(), 4u) << "the last picture does not last until the stop";
}

TEST_F(RecordManagerTest, WindowModeEvensTheWindowAndFollowsIt) {
    factory->windows = {{7, "Term", "front", {0, 0, 10, 10}}, {42, "App", "chosen", {3, 5, 101, 57}}};
    RecordRequest r = request(RecordVideoType::AppWindow, {3, 5, 101, 57});
    r.selectedWindowNumber = 42;
    r.selectedWindowName = "chosen";
    manager->configure(r);
    manager->startRecording();
    EXPECT_EQ(RVRect(manager->captureRect), (RVRect{2, 4, 100, 56}));
    ASSERT_EQ(factory->windowRequests.size(), 1u);
    EXPECT_EQ(factory->windowRequests[0].window, 42u);
    EXPECT_EQ(factory->windowRequests[0].width, 100);
    EXPECT_EQ(factory->windowRequests[0].height, 56);
    EXPECT_EQ(manager->encodeManager().imageSize().width, 100);
    ASSERT_EQ(manager->desktopElements.size(), 1u);
    EXPECT_EQ(manager->desktopElements[0].number, 42u);
    factory->screen->emitFrame(101);
    EXPECT_EQ(pushedAfterDrain(), 1u);
    manager->stopRecording();
}

TEST_F(RecordManagerTest, LostAudioIsReportedTriedAgainAndItsGapIsSilent) {
    manager->configure(request(RecordVideoType::CustomArea, {0, 0, 64, 48}, RecordAudioType::Microphone));
    manager->switchRecordType(RecordAudioType::Microphone);
    manager->startCapture();
    ASSERT_TRUE(manager->hasAudioSession());
    ASSERT_EQ(factory->audioRequests.size(), 1u);
    EXPECT_EQ(factory->audioRequests[0].device, "") << "the microphone is the default source";
    EXPECT_EQ(factory->audioRequests[0].sampleRate, 44100);
    manager->startRecording();
    factory->audio->emitAudio(441);
    EXPECT_EQ(manager->encodeManager().nTotalAudiosize, 441 * 8);

    factory->screen->emitFrame(101);
    now = 101;
    factory->audio->emitAudio(441);
    const uint64_t before = manager->encodeManager().nTotalAudiosize;

    // The sound server goes away: video goes on, and the sound is tried
    // again until it is back.
    int restored = 0;
    RVAudioRoutingHooks routing;
    routing.restoreDevices = [&restored] {
        ++restored;
    };
    manager->setAudioRouting(routing);
    factory->audio->fail("the sound server went away");
    EXPECT_TRUE(manager->hasAudioSession()) << "handled off the main thread";
    runPosted();
    EXPECT_FALSE(manager->hasAudioSession());
    EXPECT_TRUE(manager->isAudioLost());
    EXPECT_EQ(errors, std::vector<std::string>{"audio"});
    ASSERT_TRUE(manager->hasScreenSession());
    factory->screen->emitFrame(102);
    EXPECT_EQ(pushedAfterDrain(), 2u);

    factory->audioUnavailable = true;
    manager->retryLostAudio();
    EXPECT_FALSE(manager->hasAudioSession());
    factory->audioUnavailable = false;
    now = 103;
    manager->retryLostAudio();
    ASSERT_TRUE(manager->hasAudioSession());
    EXPECT_FALSE(manager->isAudioLost());
    EXPECT_EQ(restored, 2) << "the devices are restored before each try";
    EXPECT_EQ(errors.size(), 1u);

    // Its first sound comes after the two seconds without: they are silence.
    factory->audio->emitAudio(441);
    const double pushedSeconds =
        static_cast<double>(manager->encodeManager().nTotalAudiosize - before) / 8.0 / 44100.0;
    EXPECT_NEAR(pushedSeconds, 2.0, 0.02);
    manager->stopRecording();
    EXPECT_FALSE(manager->audioRetryTimer.isValid());
}

TEST_F(RecordManagerTest, SystemAudioWithoutRoutingRecordsTheSpeakers) {
    manager->configure(request(RecordVideoType::AudioOnly, {}, RecordAudioType::System));
    manager->startCapture();
    ASSERT_EQ(factory->audioRequests.size(), 1u);
    EXPECT_EQ(factory->audioRequests[0].device, "@DEFAULT_MONITOR@");
    manager->captrueAudioInputEnable(false);
    EXPECT_FALSE(manager->hasAudioSession());
}

TEST_F(RecordManagerTest, AStaleFailureNeverStopsTheReplacement) {
    manager->configure(request(RecordVideoType::CustomArea, {0, 0, 64, 48}));
    manager->startRecording();
    FakeSource* first = factory->screen;
    const CaptureSourceId firstId = manager->runningSource(CaptureSourceKind::Screen);
    // The screen input is restarted (a new area) while the old source's
    // failure notice is still on its way to the main thread.
    first->fail("the captured window was closed");
    manager->captrueScreenInputEnable(true);
    EXPECT_NE(manager->runningSource(CaptureSourceKind::Screen), firstId);
    runPosted();
    EXPECT_TRUE(manager->hasScreenSession()) << "a stale notice stopped the new source";
    EXPECT_TRUE(errors.empty());

    // The running one's own failure still counts.
    factory->screen->fail("gone");
    runPosted();
    EXPECT_FALSE(manager->hasScreenSession());
    EXPECT_EQ(errors, std::vector<std::string>{"screen"});
    manager->stopRecording();
}
