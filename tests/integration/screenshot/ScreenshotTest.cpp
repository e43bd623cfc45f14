// Screenshots on the private test desktop (scripts/test-desktop run): the
// main display's picture, `framedeck screenshot`, the region flow driven
// through XTEST, and the shutter sound on the desktop's sound server.
#include "app/AppDelegate.h"
#include "app/AppIdentity.h"
#include "app/FileListStore.h"
#include "integration/selection/DesktopHelpers.h"
#include "platform/pulse/SoundPlayer.h"
#include "selection/RVClipScreenManager.h"
#include "selection/ScreenshotStore.h"
#include "selection/ShutterSound.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QPushButton>
#include <QWindow>
#include <atomic>

namespace {

const auto* const kApp = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QApplication>);

// Waits until the screen shows `area` all in `colour`: a window of another
// process is mapped before it is painted and composited, and a screenshot
// taken in between sees what was there before.
bool shownOnScreen(const QRect& area, QRgb colour) {
    return waitFor([&] { return allPixels(ScreenshotStore::getmainDesktopImage().copy(area), colour); });
}

QVariantMap firstRecord() {
    const QVariantList list = FileListStore::readList(AppDelegate::plistPath());
    return list.isEmpty() ? QVariantMap() : list.front().toMap();
}

void expectImageRecord(const QVariantMap& record, const QString& path) {
    EXPECT_EQ(record["path"].toString(), path);
    EXPECT_EQ(record["isImage"].toInt(), 1);
    EXPECT_EQ(record["duration"].toInt(), 0);
    EXPECT_EQ(record["size"].toULongLong(), quint64(QFileInfo(path).size()));
}

class Screenshots : public ::testing::Test {
protected:
    void SetUp() override {
        QObject::connect(&manager, &RVClipScreenManager::screenshotSaved,
                         [this](const QString& path) { saved = path; });
        QObject::connect(&manager, &RVClipScreenManager::captureCancelled, [this] { cancelled = true; });
    }
    void TearDown() override {
        manager.reset();
        settle(200);
    }

    // Starts the region flow and waits until its overlay is on screen.
    RVClipWindowController* open() {
        manager.startCapture();
        EXPECT_EQ(manager.clipWindowControllerArray().size(), 1u);
        if (manager.clipWindowControllerArray().empty())
            return nullptr;
        RVClipWindowController* controller = manager.clipWindowControllerArray()[0].get();
        QWidget* window = controller->window();
        EXPECT_TRUE(waitFor([&] { return window->windowHandle() && window->windowHandle()->isExposed(); }));
        settle();
        return controller;
    }

    TempHome home_;
    EnglishInterface english_;
    RVClipScreenManager manager;
    QString saved;
    bool cancelled = false;
};

} // namespace

// `framedeck screenshot` saves the main display as it is on screen, prints
// where and lists it; a bad flag or display fails with its own status.
TEST_F(Screenshots, TheCommandSavesTheScreenPrintsThePathAndListsThePicture) {
    auto run = [](const QStringList& args,
                  const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment()) {
        QProcess p;
        p.setProcessEnvironment(env);
        p.start(FRAMEDECK_PATH, QStringList{"screenshot"} + args);
        EXPECT_TRUE(p.waitForFinished(-1));
        return std::tuple(p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()),
                          QString::fromUtf8(p.readAllStandardError()));
    };
    const QString target = home_.path() + "/new/folder/shot.png";
    auto [code, out, err] = run({"--output", target});
    ASSERT_EQ(code, 0) << err.toStdString();
    EXPECT_EQ(out, target + "\n");
    EXPECT_EQ(QImage(target, "PNG").size(), QSize(1920, 1080));
    expectImageRecord(firstRecord(), target);

    XWindows shown({"200,150,640,360,FdShot,Shot,33cc66"});
    ASSERT_TRUE(shownOnScreen({200, 150, 640, 360}, 0xFF33CC66));
    std::tie(code, out, err) = run({});
    ASSERT_EQ(code, 0) << err.toStdString();
    const QString path = out.trimmed();
    EXPECT_EQ(QFileInfo(path).absolutePath(), QDir(AppIdentity::moviesFolder()).absolutePath());
    const QImage png(path, "PNG");
    ASSERT_EQ(png.size(), QSize(1920, 1080));
    EXPECT_FALSE(png.hasAlphaChannel());
    EXPECT_TRUE(allPixels(png.copy(200, 150, 640, 360), 0xFF33CC66));
    EXPECT_NE(png.pixel(100, 100) | 0xFF000000u, 0xFF33CC66u);
    // Nothing but the window changed meanwhile, so the file is the screen.
    EXPECT_EQ(png.convertToFormat(QImage::Format_RGB32), ScreenshotStore::getmainDesktopImage());
    expectImageRecord(firstRecord(), path);

    std::tie(code, out, err) = run({"--outptu", "x.png"});
    EXPECT_EQ(code, 2);
    EXPECT_TRUE(out.isEmpty());

    QProcessEnvironment noDisplay = QProcessEnvironment::systemEnvironment();
    noDisplay.remove("DISPLAY");
    std::tie(code, out, err) = run({}, noDisplay);
    EXPECT_EQ(code, 3);
    EXPECT_TRUE(err.contains("DISPLAY")) << err.toStdString();
    noDisplay.insert("DISPLAY", ":4711");
    std::tie(code, out, err) = run({}, noDisplay);
    EXPECT_EQ(code, 3);
    EXPECT_TRUE(err.contains(":4711")) << err.toStdString();
    EXPECT_EQ(FileListStore::readList(AppDelegate::plistPath()).size(), 2);
}

TEST_F(Screenshots, ADraggedRegionIsTakenWithTheCaptureButton) {
    XWindows below({"150,150,1000,700,FdBelow,Below,3366cc"});
    ASSERT_TRUE(shownOnScreen({300, 300, 400, 300}, 0xFF3366CC));
    RVClipWindowController* controller = open();
    ASSERT_TRUE(controller);
    EXPECT_TRUE(manager.isWorking);
    // A second start while one runs changes nothing.
    manager.startCapture();
    ASSERT_EQ(manager.clipWindowControllerArray().size(), 1u);
    EXPECT_EQ(manager.clipWindowControllerArray()[0].get(), controller);

    xdotoolDrag({300, 300}, {700, 600});
    RVClipView* view = controller->clipView();
    EXPECT_EQ(view->model().contentRect, (RectD{300, 1080 - 600, 400, 300}));
    ASSERT_TRUE(view->toolbarView()->isVisible());
    EXPECT_EQ(view->okBtn()->text(), "Capture");
    settle();
    saveArtifact(ScreenshotStore::getmainDesktopImage(), "region-screenshot-toolbar.png");

    xdotoolClick(view->okBtn()->mapToGlobal(view->okBtn()->rect().center()));
    ASSERT_TRUE(waitFor([&] { return !saved.isEmpty(); }));
    const QImage png(saved, "PNG");
    EXPECT_EQ(png.size(), QSize(400, 300));
    EXPECT_TRUE(allPixels(png, 0xFF3366CC));
    expectImageRecord(firstRecord(), saved);
    EXPECT_FALSE(manager.isWorking);
    EXPECT_TRUE(manager.clipWindowControllerArray().empty());
}

// Escape leaves no file and no record; the next capture may start, and a
// window clicked in it is taken with Return.
TEST_F(Screenshots, EscapeLeavesNothingAndAClickedWindowIsTakenWithReturn) {
    XWindows target({"100,120,402,301,FdTarget,Target,cc3333"});
    ASSERT_TRUE(shownOnScreen({100, 120, 402, 301}, 0xFFCC3333));
    ASSERT_TRUE(open());
    xdotoolDrag({300, 300}, {700, 600});
    xdotool({"key", "Escape"});
    ASSERT_TRUE(waitFor([&] { return cancelled; }));
    settle();
    EXPECT_TRUE(saved.isEmpty());
    EXPECT_FALSE(manager.isWorking);
    EXPECT_TRUE(manager.clipWindowControllerArray().empty());
    EXPECT_TRUE(QDir(AppIdentity::moviesFolder()).entryList({"*.png"}, QDir::Files).isEmpty());
    EXPECT_TRUE(FileListStore::readList(AppDelegate::plistPath()).isEmpty());

    RVClipWindowController* controller = open();
    ASSERT_TRUE(controller);
    xdotool({"mousemove", "300", "250"});
    xdotool({"mousemove", "310", "260"});
    xdotool({"click", "1"});
    // The whole window, not rounded as a recording area would be.
    EXPECT_EQ(controller->clipView()->model().contentRect, (RectD{100, 1080 - 120 - 301, 402, 301}));
    EXPECT_TRUE(controller->clipView()->toolbarView()->isVisible());
    xdotool({"key", "Return"});
    ASSERT_TRUE(waitFor([&] { return !saved.isEmpty(); }));
    const QImage png(saved, "PNG");
    EXPECT_EQ(png.size(), QSize(402, 301));
    EXPECT_TRUE(allPixels(png, 0xFFCC3333));
}

TEST(ShutterSoundPlayback, PlaysOnTheSoundServerAndGivesUpWithoutOne) {
    auto sound = std::make_shared<SoundPlayer::Sound>();
    sound->name = ShutterSound::kName;
    sound->samples = ShutterSound::synthesize(ShutterSound::kSampleRate);
    SoundPlayer player("FrameDeck test");
    auto playOnce = [&] {
        std::atomic<int> result{-1};
        player.play(sound, [&](bool played) { result = played ? 1 : 0; });
        EXPECT_TRUE(waitFor([&] { return result != -1; }));
        return result.load();
    };
    EXPECT_EQ(playOnce(), 1);

    const QByteArray server = qgetenv("PULSE_SERVER");
    qputenv("PULSE_SERVER", "unix:/nonexistent/framedeck-test/native");
    EXPECT_EQ(playOnce(), 0);
    qputenv("PULSE_SERVER", server);
}
