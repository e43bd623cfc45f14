#include "DesktopHelpers.h"
#include "core/KeyValueStore.h"
#include "selection/RecordingFrameWindow.h"
#include "selection/Screenshot.h"
#include "selection/SelectionSession.h"
#include "selection/WindowServer.h"
#include "timing/CircleDownCounter.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QWindow>

namespace {

constexpr int kArea = 1;
constexpr int kWindow = 2;
constexpr int kFullScreen = 0;
// The colour of the window under the recorded area.
constexpr QRgb kBelow = 0xFF3366CC;

const auto* const kApp = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QApplication>);

class Overlay : public ::testing::Test {
protected:
    void SetUp() override {
        QObject::connect(&session, &SelectionSession::regionSelected,
                         [this](const RegionSelection& s) { selected = s; });
        QObject::connect(&session, &SelectionSession::recordingShouldStart, [this](const RegionSelection& s) {
            started = s;
            startedAfter = clock.elapsed();
        });
        QObject::connect(&session, &SelectionSession::selectionCancelled, [this] { cancelled = true; });
        QObject::connect(&session, &SelectionSession::timerDurationTick, [this] { ++ticks; });
    }

    void TearDown() override {
        session.clearRecordWindowControllerArray();
        settle(200);
    }

    void open(int kind, bool countdown = false) {
        session.setOptions({kind, countdown, -1});
        clock.start();
        session.readyToRecordScreen();
        ASSERT_EQ(session.recordWindowControllerArray().size(), 1u);
        QWidget* window = controller()->window();
        ASSERT_TRUE(waitFor([&] {
            return started || (window && window->windowHandle() && window->windowHandle()->isExposed());
        }));
        settle();
    }

    RVRecordScreenWindowController* controller() {
        return session.recordWindowControllerArray().empty() ? nullptr
                                                             : session.recordWindowControllerArray()[0].get();
    }

    EnglishInterface english_;
    MemoryKeyValueStore store;
    SelectionSession session{store};
    std::optional<RegionSelection> selected;
    std::optional<RegionSelection> started;
    qint64 startedAfter = 0;
    bool cancelled = false;
    int ticks = 0;
    QElapsedTimer clock;
};

} // namespace

// Escape cancels; the next overlay records exactly the area dragged in it,
// without itself.
TEST_F(Overlay, EscapeCancelsAndADraggedAreaIsRecordedWithoutTheOverlay) {
    XWindows below({"150,150,1000,700,FdBelow,Below,3366cc"});
    open(kArea);
    xdotool({"mousemove", "960", "540"});
    xdotool({"key", "Escape"});
    ASSERT_TRUE(waitFor([&] { return cancelled; }));
    EXPECT_FALSE(started);
    settle();
    EXPECT_TRUE(session.recordWindowControllerArray().empty());

    open(kArea);
    xdotoolDrag({300, 300}, {700, 600});
    RVClipView* view = controller()->recordScreenView();
    EXPECT_EQ(view->model().contentRect, (RectD{300, 1080 - 600, 400, 300}));
    ASSERT_TRUE(view->toolbarView()->isVisible());
    settle();
    saveArtifact(Screenshot::imageFullScreen(), "area-selection.png");

    xdotoolClick(view->okBtn()->mapToGlobal(view->okBtn()->rect().center()));
    ASSERT_TRUE(waitFor([&] { return started.has_value(); }));
    ASSERT_TRUE(selected);
    EXPECT_EQ(started->captureRect, (RectD{300, 480, 400, 300}));
    EXPECT_EQ(started->desktopRect, QRect(300, 300, 400, 300));
    EXPECT_EQ(started->screenNumber, session.screenNumber());
    EXPECT_EQ(session.captureRect(), started->captureRect);

    // The frame lies outside the area and takes no clicks.
    RecordingFrameWindow* frame = controller()->frameWindow();
    ASSERT_TRUE(frame && frame->isVisible());
    EXPECT_TRUE(frame->geometry().contains(started->desktopRect));
    EXPECT_TRUE(frame->windowFlags().testFlag(Qt::WindowTransparentForInput));
    EXPECT_FALSE(frame->mask().intersects(
        QRect(frame->mapFromGlobal(started->desktopRect.topLeft()), started->desktopRect.size())));
    // What a grabber reads now is the window beneath: no dimming, frame or handles.
    settle();
    const QRect r = started->desktopRect;
    const QImage area = Screenshot::imageRectangleScreen(
        {double(r.x()), double(r.y()), double(r.width()), double(r.height())}, {});
    EXPECT_TRUE(allPixels(area, kBelow));
    saveArtifact(Screenshot::imageFullScreen(), "recording-frame.png");
    EXPECT_TRUE(waitFor([&] { return ticks >= 1; }));

    bool finished = false;
    QObject::connect(&session, &SelectionSession::recordingFinished,
                     [&](const QString&, bool) { finished = true; });
    session.stopRecording();
    EXPECT_TRUE(finished);
}

TEST_F(Overlay, WindowKindHighlightsTheWindowUnderThePointerAndIgnoresDrags) {
    XWindows target({"100,120,402,301,FdTarget,Target,cc3333"});
    open(kWindow);
    xdotool({"mousemove", "300", "250"});
    xdotool({"mousemove", "310", "260"});
    RVClipView* view = controller()->recordScreenView();
    // 402 x 301 rounds down to 400 x 300; the origin stays.
    EXPECT_EQ(view->model().contentRect, (RectD{100, 1080 - 120 - 301, 400, 300}));
    settle();
    saveArtifact(Screenshot::imageFullScreen(), "window-highlight.png");

    xdotool({"mousedown", "1"});
    xdotool({"mousemove", "800", "800"});
    xdotool({"mouseup", "1"});
    ASSERT_TRUE(waitFor([&] { return started.has_value(); }));
    EXPECT_EQ(started->captureRect, (RectD{100, 659, 400, 300}));
    EXPECT_EQ(started->desktopRect, QRect(100, 121, 400, 300));
    EXPECT_EQ(started->selectedWindowNumber, target.ids[0]);
    EXPECT_EQ(started->selectedWindowName, "Target");
}

TEST_F(Overlay, FullScreenChoosesItselfAndCountsDown) {
    store.setInteger("RECORDTIME_DURATION", 3);
    open(kFullScreen, /*countdown=*/true);
    ASSERT_TRUE(selected);
    EXPECT_EQ(selected->captureRect, (RectD{0, 0, 1920, 1080}));
    EXPECT_EQ(selected->desktopRect, QRect(0, 0, 1920, 1080));
    QWidget* host = controller()->recordScreenView()->contentView();
    ASSERT_TRUE(waitFor([&] {
        CircleCounterView* badge = CircleDownCounter::circleViewInView(host);
        return badge && badge->numberName() == "2.png";
    }));
    settle(200);
    saveArtifact(Screenshot::imageFullScreen(), "countdown.png");
    ASSERT_TRUE(waitFor([&] { return started.has_value(); }));
    // Blank, 3, 2, 1, then the start: four seconds at least.
    EXPECT_GE(startedAfter, 4000);
}

TEST_F(Overlay, EachMonitorGetsAnOverlayAndTheAreaIsRelativeToItsScreen) {
    TwoMonitors monitors;
    const std::vector<ScreenInfo> screens = WindowServer::shared().screens();
    ASSERT_EQ(screens.size(), 2u);
    EXPECT_EQ(screens[1].frame, (RectD{1280, 600, 640, 480}));

    session.setOptions({kArea, false, -1});
    session.readyToRecordScreen();
    ASSERT_EQ(session.recordWindowControllerArray().size(), 2u);
    RVRecordScreenWindowController* right = session.recordWindowControllerArray()[1].get();
    EXPECT_EQ(right->window()->geometry(), QRect(1280, 0, 640, 480));
    ASSERT_TRUE(waitFor([&] { return right->window()->windowHandle()->isExposed(); }));
    settle();

    xdotoolDrag({1400, 100}, {1600, 300});
    EXPECT_EQ(right->recordScreenView()->model().contentRect, (RectD{120, 180, 200, 200}));
    right->recordScreenView()->startNoteButtonClick();
    ASSERT_TRUE(waitFor([&] { return started.has_value(); }));
    EXPECT_EQ(started->captureRect, (RectD{120, 180, 200, 200}));
    EXPECT_EQ(started->desktopRect, QRect(1400, 100, 200, 200));
    EXPECT_EQ(started->screenNumber, screens[1].screenNumber);
    // Only the chosen screen's overlay stays.
    EXPECT_EQ(session.recordWindowControllerArray().size(), 1u);
}
