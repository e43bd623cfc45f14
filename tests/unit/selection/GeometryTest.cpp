#include "FakeWindowServer.h"
#include "selection/ClipGeometry.h"
#include "selection/ScreenInfo.h"
#include "selection/SnipUtil.h"

#include <gtest/gtest.h>

TEST(SnipUtil, PointInRectIncludesBottomLeftEdgesOnly) {
    const RectD r{10, 20, 100, 50};
    EXPECT_TRUE(SnipUtil::isPointInRect({10, 20}, r));
    EXPECT_TRUE(SnipUtil::isPointInRect({109.99, 69.99}, r));
    EXPECT_FALSE(SnipUtil::isPointInRect({110, 30}, r));
    EXPECT_FALSE(SnipUtil::isPointInRect({50, 70}, r));
    EXPECT_FALSE(SnipUtil::isPointInRect({9.99, 30}, r));
}

// A 1920x1080 primary display at the origin and a taller 1280x1440 display
// to its left whose top is 200 points above the primary's.
class TwoDisplays : public ::testing::Test {
protected:
    void SetUp() override {
        server.displayList = {DisplayInfo{1, {0, 0, 1920, 1080}, std::nullopt, true},
                              DisplayInfo{2, {-1280, -200, 1280, 1440}, std::nullopt, false}};
    }
    FakeWindowServer server;
};

TEST_F(TwoDisplays, ScreensAreFlippedAgainstThePrimaryHeightAndDesktopRectsRoundTrip) {
    const std::vector<ScreenInfo> screens = server.screens();
    ASSERT_EQ(screens.size(), 2u);
    EXPECT_EQ(screens[0].frame, (RectD{0, 0, 1920, 1080}));
    // Its bottom is 1440 - 200 = 1240 below the primary's top: 160 below the
    // primary's bottom.
    EXPECT_EQ(screens[1].frame, (RectD{-1280, -160, 1280, 1440}));

    const RectD desktop{100, 50, 640, 480};
    const RectD screen = server.desktopToScreen(desktop);
    EXPECT_EQ(screen, (RectD{100, 550, 640, 480}));
    EXPECT_EQ(server.screenToDesktop(screen), desktop);
}

TEST_F(TwoDisplays, RuleAUsesThePrimaryElseTheMainScreenAndRuleBTheMainScreen) {
    const RectD window{-1000, 100, 400, 300};
    // Rule A: the primary display's height, whichever screen is main.
    server.mainId = 2;
    EXPECT_EQ(SnipUtil::cgWindowRectToScreenRect(window), (RectD{-1000, 680, 400, 300}));
    // Rule B with the key window on the secondary display: its height.
    const std::optional<ScreenInfo> main = server.mainScreen();
    ASSERT_TRUE(main);
    EXPECT_EQ(ScreenGeometry::mainScreenReferenceHeight(&*main), 1440);
    EXPECT_EQ(SnipUtil::flipRect(window, 1440), (RectD{-1000, 1040, 400, 300}));

    // Rule A falls back to the main screen, and then to zero.
    std::vector<ScreenInfo> screens = server.screens();
    screens[0].frame.x = 0.5; // truncates to 0: still the primary
    EXPECT_EQ(ScreenGeometry::primaryReferenceHeight(screens, &screens[1]), 1080);
    screens[0].frame.x = 1;
    EXPECT_EQ(ScreenGeometry::primaryReferenceHeight(screens, &screens[1]), 1440);
    EXPECT_EQ(ScreenGeometry::primaryReferenceHeight(screens, nullptr), 0);
}

TEST_F(TwoDisplays, MouseOnTheTopOrRightEdgeIsNotOnTheScreen) {
    const std::vector<ScreenInfo> screens = server.screens();
    EXPECT_EQ(ScreenGeometry::screenContaining(screens, {0, 0})->screenNumber, 1u);
    EXPECT_EQ(ScreenGeometry::screenContaining(screens, {-1, 0})->screenNumber, 2u);
    EXPECT_EQ(ScreenGeometry::screenContaining(screens, {1919, 1080}), nullptr);
    EXPECT_EQ(ScreenGeometry::screenContaining(screens, {1920, 10}), nullptr);
    server.mouse = {-10, 10}; // window-list space: 10 below the primary's top
    const std::optional<ScreenInfo> under = currentScreenForMouseLocation();
    ASSERT_TRUE(under);
    EXPECT_EQ(under->screenNumber, 2u);
}

TEST(ScreenGeometry, FlipAndConvertPoints) {
    const ScreenInfo s{7, "", {-1280, -160, 1280, 1440}};
    EXPECT_EQ(ScreenGeometry::flipPoint(s, {5, 40}), (PointD{5, 1400}));
    EXPECT_EQ(ScreenGeometry::convertPointToScreenCoordinates(s, {-1000, 100}), (PointD{280, 260}));
    // Values pass through single precision.
    const PointD p = ScreenGeometry::convertPointToScreenCoordinates({1, "", {0, 0, 10, 10}}, {0.1, 0.1});
    EXPECT_EQ(p.x, double(0.1f));
    EXPECT_NE(p.x, 0.1);
}

TEST(ClipGeometry, WindowSizesFloorToMultiplesOf4) {
    EXPECT_EQ(ClipGeometry::floorSizeToMultipleOf4({3.5, 7, 1001, 503}), (RectD{3.5, 7, 1000, 500}));
    EXPECT_EQ(ClipGeometry::floorSizeToMultipleOf4({0, 0, 1000, 3}), (RectD{0, 0, 1000, 0}));
}

TEST(ClipGeometry, WindowUnderMouseIsTheFrontmostAtLayerZeroOrAbove) {
    WindowInfo desktop{1, 10, QString("desk"), "", 1, {0, 0, 1920, 1080}, -1000};
    WindowInfo back{2, 11, QString("back"), "", 1, {0, 0, 800, 600}, 0};
    WindowInfo front{3, 12, QString("front"), "", 1, {100, 100, 200, 200}, 0};
    const std::vector<WindowInfo> list{front, back, desktop};
    // (150, 150) in window-list space is y = 1080 - 150 = 930 in screen space.
    auto hit = ClipGeometry::windowUnderMouse(list, {150, 930}, 1080);
    ASSERT_TRUE(hit);
    EXPECT_EQ(hit->window.number, 3u);
    EXPECT_EQ(hit->screenRect, (RectD{100, 780, 200, 200}));
    hit = ClipGeometry::windowUnderMouse(list, {700, 930}, 1080);
    ASSERT_TRUE(hit);
    EXPECT_EQ(hit->window.number, 2u);
    EXPECT_FALSE(ClipGeometry::windowUnderMouse(list, {1500, 930}, 1080));
}
