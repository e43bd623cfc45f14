// The record road through a desktop that has to be asked for the screen (a
// Wayland portal): the recording starts only on the desktop's yes, a second
// area while it decides does nothing, a start/stop press gives up the wait,
// and a no starts nothing and says why.
#include "QtAppEnvironment.h"
#include "TempHome.h"
#include "app/AppDelegate.h"
#include "core/KeyValueStore.h"
#include "engine/EncodeManager.h"
#include "engine/controller/RVRecordManager.h"
#include "unit/controller/FakeCapture.h"

#include <QApplication>
#include <gtest/gtest.h>

namespace {

const auto* const kApp = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QApplication, true>);

struct ScreenShare : ::testing::Test {
    ScreenShare() {
        RVRecordManager::Collaborators c;
        auto capture = std::make_unique<FakeFactory>();
        factory = capture.get();
        c.captureFactory = std::move(capture);
        c.settings = &engineSettings;
        manager = std::make_unique<RVRecordManager>(std::move(c));
        RVRecordHost host;
        host.runOnMainThread = [](std::function<void()>) {
        };
        manager->setHost(host);
        app.setRecordManager(manager.get());
        app.recordVideoType = toInt(RecordVideoType::FullScreen);
        app.recordAudioType = toInt(RecordAudioType::None);
        // The desktop's answers are given by the test.
        app.shareScreen = [this](bool window, unsigned, std::function<void(const QString&)> done) {
            askedForWindow.push_back(window);
            asked.push_back(std::move(done));
        };
        app.cancelShareScreen = [this] {
            ++withdrawn;
        };
        QObject::connect(&app, &AppDelegate::screenShareCancelled, [this] { ++cancelled; });
        QObject::connect(&app, &AppDelegate::regionSelectionRequested, [this] { ++selections; });
        QObject::connect(&app, &AppDelegate::recordingStarted, [this] { ++started; });
        QObject::connect(&app, &AppDelegate::screenShareFailed,
                         [this](const QString& why) { refusals << why; });
        QObject::connect(&app, &AppDelegate::waitingForScreenChanged,
                         [this](bool waiting) { waitingChanges.push_back(waiting); });
    }
    ~ScreenShare() override {
        if (manager->status != RecordingStatus::Idle)
            manager->stopRecording();
        app.setRecordManager(nullptr);
    }

    RecordRequest fullScreen() const {
        RecordRequest region;
        region.screenNumber = 0;
        return region;
    }

    TempHome home;
    AppDelegate app{std::make_unique<SettingsStore>(home.path() + "/s.conf"), FRAMEDECK_RESOURCE_DIR};
    MemoryKeyValueStore engineSettings;
    FakeFactory* factory = nullptr;
    std::unique_ptr<RVRecordManager> manager;
    std::vector<std::function<void(const QString&)>> asked;
    std::vector<bool> askedForWindow;
    int withdrawn = 0;
    int cancelled = 0;
    int selections = 0;
    int started = 0;
    QStringList refusals;
    std::vector<bool> waitingChanges;
};

} // namespace

TEST_F(ScreenShare, ANoStartsNothingAndTheNextPressAsksAgain) {
    app.recordSelectedRegion(fullScreen());
    ASSERT_EQ(asked.size(), 1u);
    asked[0]("the screen cast was cancelled");
    EXPECT_EQ(refusals, QStringList{"the screen cast was cancelled"});
    EXPECT_FALSE(app.isWaitingForScreen());
    EXPECT_EQ(manager->status, RecordingStatus::Idle);
    EXPECT_EQ(started, 0);

    app.recordScreenClicked();
    EXPECT_EQ(selections, 1);
    app.recordSelectedRegion(fullScreen());
    EXPECT_EQ(asked.size(), 2u);
}

TEST_F(ScreenShare, APressWhileWaitingWithdrawsTheQuestionAndOnlyTheNextYesStarts) {
    app.cancelWaitingForScreen(); // not waiting: nothing to give up
    EXPECT_EQ(withdrawn, 0);
    app.recordSelectedRegion(fullScreen());
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_TRUE(app.isWaitingForScreen());
    EXPECT_EQ(manager->status, RecordingStatus::Idle);
    // A second area chosen meanwhile neither asks twice nor opens a selection.
    app.recordSelectedRegion(fullScreen());
    EXPECT_EQ(asked.size(), 1u);

    // The tray's start/stop item (or its hotkey) while the desktop decides.
    app.recordScreenClicked();
    EXPECT_EQ(withdrawn, 1);
    EXPECT_EQ(cancelled, 1);
    EXPECT_FALSE(app.isWaitingForScreen());
    EXPECT_EQ(selections, 0);
    EXPECT_TRUE(refusals.isEmpty()) << "giving up is no failure to alert about";

    // A desktop that answers all the same starts nothing.
    asked[0]({});
    EXPECT_EQ(manager->status, RecordingStatus::Idle);
    EXPECT_EQ(started, 0);

    // The next press asks again, and that answer counts.
    app.recordScreenClicked();
    EXPECT_EQ(selections, 1);
    app.recordSelectedRegion(fullScreen());
    ASSERT_EQ(asked.size(), 2u);
    asked[1]({});
    EXPECT_FALSE(app.isWaitingForScreen());
    EXPECT_EQ(manager->status, RecordingStatus::Recording);
    EXPECT_EQ(started, 1);
    EXPECT_TRUE(refusals.isEmpty());
    EXPECT_EQ(waitingChanges, (std::vector<bool>{true, false, true, false}));
}

TEST_F(ScreenShare, AWindowKindWhereWindowsCannotBeRecordedFallsBackToFullScreen) {
    int changes = 0;
    QObject::connect(&app, &AppDelegate::windowKindAvailabilityChanged, [&] { ++changes; });
    app.areaChangeAction(toInt(RecordVideoType::AppWindow));
    app.setWindowKindUnavailable("Main_App_Window_Unavailable_Desktop");
    EXPECT_EQ(app.recordVideoType, toInt(RecordVideoType::FullScreen));
    EXPECT_EQ(changes, 1);
    // Chosen again later (a tray or a stale pop-up): refused the same way.
    app.areaChangeAction(toInt(RecordVideoType::AppWindow));
    EXPECT_EQ(app.recordVideoType, toInt(RecordVideoType::FullScreen));
    EXPECT_EQ(changes, 2);
    app.areaChangeAction(toInt(RecordVideoType::CustomArea));
    EXPECT_EQ(app.recordVideoType, toInt(RecordVideoType::CustomArea));
    EXPECT_EQ(changes, 2);
}

TEST_F(ScreenShare, AWindowPickedInTheDesktopsDialogIsRecordedAtTheSizeItComesIn) {
    factory->pickedWindow = {300, 200};
    app.areaChangeAction(toInt(RecordVideoType::AppWindow));
    // The overlay only counted down, over the whole monitor.
    RecordRequest region = fullScreen();
    region.captureRect = {0, 0, 320, 240};
    app.recordSelectedRegion(region);
    ASSERT_EQ(askedForWindow, std::vector<bool>{true});
    asked[0]({});
    ASSERT_EQ(manager->status, RecordingStatus::Recording);
    ASSERT_EQ(factory->windowRequests.size(), 1u);
    EXPECT_EQ(factory->windowRequests[0].width, 0) << "the monitor's size handed on as the window's";
    const EncodeImageSize size = manager->encodeManager().imageSize();
    EXPECT_EQ(size.width, 300);
    EXPECT_EQ(size.height, 200);
    EXPECT_TRUE(manager->captureRect.load().isZero());
}
