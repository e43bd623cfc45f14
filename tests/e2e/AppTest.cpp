// Drives the real FrameDeck application (main window, tray menu, file list)
// on the test desktop and checks what it writes: recordings, screenshots and
// the recorded-file list.
#include "AppFixture.h"
#include "integration/selection/DesktopHelpers.h"
#include "selection/RVRecordScreenWindowController.h"
#include "widgets/FileListWindowController.h"
#include "widgets/FileTableView.h"
#include "widgets/StatusItem.h"

#include <QAction>
#include <QComboBox>
#include <QMenu>
#include <QRandomGenerator>
#include <QSystemTrayIcon>
#include <csignal>
#include <sys/resource.h>

TEST_F(App, FullScreenFromTheButtonWithPauseThenTheList) {
    chooseKind(0);
    savePicture(&frameDeck->mainWindow(), "main-full-screen-en");
    ASSERT_TRUE(startRecording());
    QTest::qWait(1500);
    savePicture(&frameDeck->mainWindow(), "main-recording-en");
    frameDeck->mainWindow().pauseButton()->click();
    EXPECT_EQ(status(), 2u);
    QTest::qWait(1500);
    frameDeck->mainWindow().pauseButton()->click();
    EXPECT_NE(status(), 2u);
    QTest::qWait(1500);
    frameDeck->mainWindow().recordButton()->click();
    EXPECT_EQ(status(), 0u);
    savePicture(&frameDeck->mainWindow(), "main-finishing-en");
    waitForFinishedStop();

    const QString path = app->outputPath;
    const probe::Media file = media(path);
    EXPECT_TRUE(file.stream("video"));
    // About three seconds recorded; the paused second and a half is left out.
    EXPECT_GT(file.duration, 2.0);
    EXPECT_LT(file.duration, 4.4);

    const QVariantList records = list();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].toMap()["path"], path);
    EXPECT_EQ(records[0].toMap()["isVideo"].toInt(), 1);
    // The list opens by itself after a recording.
    ASSERT_NE(frameDeck->fileListWindow(), nullptr);
    EXPECT_TRUE(frameDeck->fileListWindow()->isVisible());
    EXPECT_EQ(frameDeck->fileListWindow()->tableView->rowCount(), 1);
    savePicture(frameDeck->fileListWindow(), "file-list-en");

    // Delete from the list: record and file go.
    frameDeck->fileListWindow()->tableView->selectRow(0);
    frameDeck->fileListWindow()->deletedBtnAction();
    EXPECT_TRUE(list().isEmpty());
    EXPECT_FALSE(QFile::exists(path));
}

TEST_F(App, AreaChosenOnScreenIsRecordedAfterTheCountdownWithoutTheOverlay) {
    XWindows below({"150,150,1000,700,FdBelow,Below,3366cc"});
    chooseKind(1);
    app->countDownAction(3); // start after a three-second countdown
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return !frameDeck->selection().recordWindowControllerArray().empty(); }));
    RVRecordScreenWindowController* overlay = frameDeck->selection().recordWindowControllerArray()[0].get();
    ASSERT_TRUE(QTest::qWaitFor([&] { return overlay->window() && overlay->window()->isVisible(); }));
    QTest::qWait(300);
    xdotoolDrag({300, 300}, {700, 600});
    QPushButton* start = overlay->recordScreenView()->okBtn();
    xdotoolClick(start->mapToGlobal(start->rect().center()));
    EXPECT_EQ(status(), 0u); // counting down
    ASSERT_TRUE(QTest::qWaitFor([&] { return status() != 0; }, 20000));
    QTest::qWait(2000);
    stopRecording();

    const QString path = app->outputPath;
    EXPECT_EQ(media(path).videoSize(), "400x300");
    // The middle of the last frame is the window below, undimmed: no overlay,
    // no frame, no handles in the file.
    const QColor middle = frameAt(path, -0.5).pixelColor(199, 149);
    EXPECT_NEAR(middle.red(), 0x33, 20);
    EXPECT_NEAR(middle.green(), 0x66, 20);
    EXPECT_NEAR(middle.blue(), 0xcc, 20);
}

TEST_F(App, TrayStartsAndStopsAndTakesScreenshots) {
    chooseKind(0);
    const auto& items = frameDeck->statusItem().stateItems();
    items[0]->trigger();
    ASSERT_TRUE(QTest::qWaitFor([&] { return status() != 0; }, 20000));
    QTest::qWait(1500);
    items[0]->trigger();
    EXPECT_EQ(status(), 0u);
    waitForFinishedStop();
    ASSERT_EQ(list().size(), 1);

    // After the refresh the third item takes the screenshot.
    frameDeck->statusItem().refreshStateMenuItem(false, RecordingStatus::Idle);
    items[2]->trigger();
    const QVariantList records = list();
    ASSERT_EQ(records.size(), 2);
    const QVariantMap shot = records[0].toMap();
    EXPECT_EQ(shot["isImage"].toInt(), 1);
    EXPECT_EQ(shot["duration"].toInt(), 0);
    EXPECT_TRUE(QFile::exists(shot["path"].toString()));
    savePicture(frameDeck->statusItem().menu(), "tray-menu-en");
}

TEST_F(App, AudioOnlyAndCameraWithoutACamera) {
    chooseKind(4);
    savePicture(&frameDeck->mainWindow(), "main-audio-only-en");
    const QString path = recordFor(2500);
    EXPECT_TRUE(path.endsWith(".mp3")) << path.toStdString();
    EXPECT_TRUE(media(path).stream("audio"));
    EXPECT_FALSE(media(path).stream("video"));
    ASSERT_EQ(list().size(), 1);
    EXPECT_EQ(list()[0].toMap()["isVideo"].toInt(), 0);

    if (qEnvironmentVariableIsSet("FRAMEDECK_TEST_CAMERA"))
        return;
    chooseKind(3);
    frameDeck->mainWindow().recordButton()->click();
    EXPECT_EQ(status(), 0u);
    EXPECT_EQ(alerts, QStringList{L("Alert_Camera_Message")});
    EXPECT_EQ(list().size(), 1);
}

TEST_F(App, TestPatternCameraFloatsAndRecords) {
    if (!qEnvironmentVariableIsSet("FRAMEDECK_TEST_CAMERA"))
        GTEST_SKIP() << "set FRAMEDECK_TEST_CAMERA=1 for the test-pattern camera";
    // Camera on from the tray (its fourth item, once refreshed): the floating
    // picture appears and fills.
    frameDeck->statusItem().stateItems()[3]->trigger();
    ASSERT_NE(frameDeck->cameraWindow(), nullptr);
    EXPECT_TRUE(frameDeck->cameraWindow()->isVisible());
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return !frameDeck->cameraWindow()->currentPicture().isNull(); }, 10000));
    savePicture(frameDeck->cameraWindow(), "camera-window");
    frameDeck->statusItem().stateItems()[3]->trigger();
    EXPECT_EQ(frameDeck->cameraWindow(), nullptr);

    chooseKind(3);
    const QString path = recordFor(2000);
    EXPECT_TRUE(media(path).stream("video"));
    EXPECT_TRUE(alerts.isEmpty());
}

// The first-run hotkeys, typed on the desktop: 1 starts and stops, 2 pauses
// and resumes, whichever window has the focus (ours first: a key must act
// once there too), and none while a dialog holds them off.
TEST_F(App, DigitKeysStartPauseAndStopAFullScreenRecording) {
    chooseKind(0);
    frameDeck->mainWindow().activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&frameDeck->mainWindow()));
    xdotool({"key", "1"});
    waitForStatus(1);
    settle(500); // a second start/stop would have stopped it by now
    EXPECT_EQ(status(), 1u);

    // Now with another program's window focused.
    XWindows other({"100,100,400,300,FdOther,Other,cc6633"});
    ASSERT_EQ(other.ids.size(), 1u);
    xdotool({"windowfocus", "--sync", QString::number(other.ids[0])});
    while (frameDeck->mainWindow().isActiveWindow())
        QTest::qWait(20);
    xdotool({"key", "2"});
    waitForStatus(2);
    xdotool({"key", "2"});
    waitForStatus(3);
    xdotool({"key", "1"});
    waitForStatus(0);
    EXPECT_TRUE(media(app->outputPath).stream("video"));
    EXPECT_EQ(list().size(), 1);

    // The auto-stop dialog holds the hotkeys off while it is open.
    app->autoStopSetsAction(2);
    ASSERT_NE(frameDeck->timedDialog(), nullptr);
    xdotool({"key", "1"});
    settle(500);
    EXPECT_EQ(status(), 0u);
    frameDeck->timedDialog()->reject();
}

TEST_F(App, ClosingTheListWhileTheMainWindowIsHiddenKeepsFrameDeckRunning) {
    frameDeck->showHomeMainWindow(); // hidden, as from the tray
    ASSERT_FALSE(frameDeck->mainWindow().isVisible());
    frameDeck->enterFileListAction();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(frameDeck->fileListWindow()));
    frameDeck->fileListWindow()->close();
    settle(200);
    EXPECT_FALSE(frameDeck->isQuitting());
    // The main window's own close button, with no tray to come back from
    // (the test desktop has none), does end the application.
    frameDeck->showHomeMainWindow();
    frameDeck->mainWindow().close();
    settle(200);
    EXPECT_EQ(frameDeck->isQuitting(), !QSystemTrayIcon::isSystemTrayAvailable());
}

TEST_F(App, AFullDiskStopsTheRecordingWithAnAlertAndKeepsTheFile) {
    // Writes past 200 KB fail, as on a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit saved{};
    getrlimit(RLIMIT_FSIZE, &saved);
    rlimit small = saved;
    small.rlim_cur = 200 * 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    chooseKind(0);
    ASSERT_TRUE(startRecording());
    // Something moving, so the file grows.
    XWindows moving({"100,100,300,200,FdMoving,Moving,33aa66"});
    ASSERT_EQ(moving.ids.size(), 1u);
    while (status() != 0)
        xdotool({"windowmove", QString::number(moving.ids[0]),
                 QString::number(100 + QRandomGenerator::global()->bounded(800)),
                 QString::number(100 + QRandomGenerator::global()->bounded(600))});
    setrlimit(RLIMIT_FSIZE, &saved);
    waitForFinishedStop();
    const QString path = app->outputPath;
    ASSERT_EQ(alerts.size(), 1);
    EXPECT_EQ(alerts[0], LF("Alert_Output_Failed", {path}));
    EXPECT_TRUE(media(path).stream("video")) << "the file does not play";
    ASSERT_EQ(list().size(), 1);
    EXPECT_EQ(list()[0].toMap()["path"], path);
}

TEST_F(App, DeletingTheFileWhileRecordingStopsWithAnAlert) {
    chooseKind(0);
    ASSERT_TRUE(startRecording());
    QTest::qWait(500);
    ASSERT_TRUE(QFile::remove(app->outputPath));
    ASSERT_TRUE(QTest::qWaitFor([&] { return status() == 0; }, 5000));
    waitForFinishedStop();
    ASSERT_EQ(alerts.size(), 1);
    EXPECT_EQ(alerts[0], LF("Alert_Output_Removed", {app->outputPath}));
    EXPECT_TRUE(list().isEmpty()) << "a file that is gone is not listed";
}

TEST_F(App, TheDisplayPopUpChoosesTheScreenOfAFullScreenRecording) {
    TwoMonitors monitors;
    ASSERT_TRUE(QTest::qWaitFor([&] { return frameDeck->mainWindow().displayBox()->count() == 2; }, 5000));
    chooseKind(0);
    EXPECT_TRUE(frameDeck->mainWindow().displayBox()->isVisible());
    // The pointer is on the left monitor; the pop-up says the right one.
    xdotool({"mousemove", "300", "300"});
    QComboBox* box = frameDeck->mainWindow().displayBox();
    box->setCurrentIndex(1);
    emit box->activated(1);
    EXPECT_EQ(media(recordFor(1500)).videoSize(), "640x480");
}

TEST_F(App, StopAfterTenMinutesArmsTheDelay) {
    chooseKind(0);
    ASSERT_TRUE(startRecording());
    app->startSetsItemChangeAction(2);
    EXPECT_EQ(app->autoStop_Duration, 600);
    EXPECT_NEAR(app->autoStop_StartTime, AppDelegate::getNowTimeTimestamp(), 5);
    // Pretend the ten minutes have passed: the next tick of the clock stops.
    app->autoStop_StartTime -= 601;
    ASSERT_TRUE(QTest::qWaitFor([&] { return status() == 0; }, 5000));
    waitForFinishedStop();
    EXPECT_EQ(list().size(), 1);
}

TEST_F(App, LanguageSwitchRetitlesOpenWindows) {
    frameDeck->enterFileListAction();
    for (int language : {1, 2, 0}) {
        app->setLange(language);
        EXPECT_EQ(frameDeck->mainWindow().windowTitle(), L("Meun_App"));
        EXPECT_EQ(frameDeck->mainWindow().modeButton(4)->text(), L("Main_Audio_Only"));
        EXPECT_EQ(frameDeck->fileListWindow()->windowTitle(), L("FileList"));
        EXPECT_EQ(frameDeck->mainWindow().recordButton()->text(), L("Main_Start_Recording"));
        const char* tags[] = {"en", "zh-Hans", "zh-Hant"};
        for (int kind = 0; kind < 5; ++kind) {
            chooseKind(kind);
            savePicture(&frameDeck->mainWindow(), QString("main-kind%1-%2").arg(kind).arg(tags[language]));
        }
    }
    EXPECT_EQ(frameDeck->mainWindow().modeButton(0)->text(), "Full Screen");
}

int main(int argc, char** argv) {
    // The same suite once more with the test-pattern camera, which is only
    // ever chosen through this variable.
    return runOnTestDesktop(argc, argv, "DISPLAY", [] {
        if (qEnvironmentVariableIsSet("FRAMEDECK_TEST_CAMERA"))
            return 0;
        qputenv("FRAMEDECK_TEST_CAMERA", "1");
        ::testing::GTEST_FLAG(filter) = "*Camera*";
        return RUN_ALL_TESTS();
    });
}
