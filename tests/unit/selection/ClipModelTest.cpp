#include "selection/ClipModel.h"

#include "selection/ClipGeometry.h"

#include <gtest/gtest.h>
#include <vector>

using Event = ClipModel::Event;

TEST(ClipHandles, SearchOrderAndEarlierHandleWinsTies) {
    const SizeD b{200, 100};
    const auto h = ClipGeometry::handlePositions(b);
    EXPECT_EQ(h[0], (PointD{0, 0}));
    EXPECT_EQ(h[3], (PointD{200, 50}));
    EXPECT_EQ(h[7], (PointD{0, 50}));
    // Halfway between bottom left (0, 0) and bottom middle (100, 0).
    EXPECT_EQ(ClipGeometry::nearestHandle({50, 0}, b), (PointD{0, 0}));
    // Halfway between top right (200, 100) and right middle (200, 50): the
    // right middle comes first in the list.
    EXPECT_EQ(ClipGeometry::nearestHandle({200, 75}, b), (PointD{200, 50}));
    EXPECT_EQ(ClipGeometry::nearestHandle({51, 1}, b), (PointD{100, 0}));
}

TEST(ClipHandles, DragStatesAndFactors) {
    const SizeD b{200, 100};
    struct Row {
        PointD anchor;
        int state;
        const char* text;
        ClipGeometry::ResizeMultiplyer m;
    };
    const std::vector<Row> rows{
        {{100, 100}, 1, "中上", {0, 1, 0, 0}},  {{100, 0}, 2, "中下", {0, -1, 0, 1}},
        {{0, 50}, 3, "左", {1, 0, 1, 0}},       {{0, 0}, 5, "左下", {1, -1, 1, 1}},
        {{200, 50}, 6, "右", {-1, 0, 0, 0}},    {{0, 100}, 7, "左上", {1, 1, 1, 0}},
        {{200, 100}, 7, "右上", {-1, 1, 0, 0}}, {{200, 0}, 8, "右下", {-1, -1, 0, 1}},
        {{30, 30}, 0, "其他", {0, 0, 0, 0}},
    };
    for (const Row& r : rows) {
        const ClipGeometry::DragStateInfo s = ClipGeometry::dragStateForAnchor(r.anchor, b);
        EXPECT_EQ(s.dragState, r.state) << r.text;
        EXPECT_STREQ(s.logText, r.text);
        EXPECT_EQ(ClipGeometry::fillMultiplyer(r.anchor, b), r.m) << r.text;
    }
}

TEST(ClipHandles, PreventTooSmallOrTooBig) {
    const RectD current{10, 10, 100, 100};
    // Selections are 12 smaller than frames: a 70-wide frame holds 58 < 64.
    EXPECT_EQ(ClipGeometry::preventTooSmall({20, 5, 70, 200}, current, 64), (RectD{10, 5, 100, 200}));
    EXPECT_EQ(ClipGeometry::preventTooSmallOrTooBig({-20, 0, 200, 300}, current, 64, {1000, 250}),
              (RectD{0, 0, 180, 250}));
    EXPECT_EQ(ClipGeometry::preventTooSmallOrTooBig({900, 10, 200, 100}, current, 64, {1000, 250}),
              (RectD{900, 10, 100, 100}));
}

class ClipModelTest : public ::testing::Test {
protected:
    ClipModel make(int recordVideoType, int type = 0) {
        ClipModel m({1000, 800}, type, recordVideoType);
        m.setListener([this](Event e) { events.push_back(e); });
        return m;
    }
    // A chosen 300x200 selection at (100, 100).
    ClipModel chosen(int recordVideoType = 1) {
        ClipModel m = make(recordVideoType);
        m.setFrameForContentView({100, 100, 300, 200});
        m.clipState = 3;
        return m;
    }
    std::vector<Event> events;
};

TEST_F(ClipModelTest, DrawingARectangleAndTheMinimum) {
    ClipModel m = make(1);
    m.mouseDown({500, 400}, 1, 10.0);
    EXPECT_EQ(m.clipState, 1);
    m.mouseDragged({300, 600});
    EXPECT_EQ(m.clipState, 2);
    EXPECT_EQ(m.contentRect, (RectD{300, 400, 200, 200}));
    EXPECT_EQ(m.contentFrame, (RectD{294, 394, 212, 212}));
    m.mouseUp({300, 600}, 11.0);
    EXPECT_EQ(m.clipState, 3);
    EXPECT_EQ(events, (std::vector<Event>{Event::ShowToolbar}));

    // A small one grows to the minimum.
    m = make(1);
    m.mouseDown({500, 400}, 1, 10.0);
    m.mouseDragged({530, 410});
    m.mouseUp({530, 410}, 11.0);
    EXPECT_EQ(m.contentRect, (RectD{500, 400, 64, 64}));
}

TEST_F(ClipModelTest, AClickOnAWindowKeepsItsRectangle) {
    ClipModel m = make(1, /*type=*/1);
    m.setFrameForContentView({40, 40, 400, 300}); // the hovered window
    m.mouseMoved({50, 50}, 9.9);
    EXPECT_EQ(m.lastContentRect, (RectD{40, 40, 400, 300}));
    m.mouseDown({50, 50}, 1, 10.0);
    m.mouseDragged({52, 51});
    m.mouseUp({52, 51}, 10.2);
    EXPECT_EQ(m.contentRect, (RectD{40, 40, 400, 300}));
}

TEST_F(ClipModelTest, PressesAfterChoosingMoveOrResizeAndADoubleClickIsOnlyReported) {
    ClipModel m = chosen();
    m.mouseDown({250, 200}, 1, 1.0); // inside, away from the handles
    EXPECT_EQ(m.dragMode, 2);
    m.mouseDragged({2000, 200}); // moves are not clamped
    EXPECT_EQ(m.contentRect, (RectD{1850, 100, 300, 200}));

    m = chosen();
    m.mouseDown({400, 200}, 1, 1.0); // the right middle handle's frame edge
    EXPECT_EQ(m.dragMode, 1);
    EXPECT_EQ(m.dragState, 6);
    m.mouseDragged({450, 500});
    EXPECT_EQ(m.contentRect, (RectD{100, 100, 350, 200}));

    m = chosen();
    m.mouseDown({900, 700}, 1, 1.0); // outside everything
    EXPECT_EQ(m.dragMode, 0);

    // A double click is only reported.
    events.clear();
    m = chosen();
    m.mouseDown({250, 200}, 2, 1.0);
    EXPECT_EQ(events, (std::vector<Event>{Event::MouseDoubleClick}));
    EXPECT_EQ(m.dragMode, 0);
}

TEST_F(ClipModelTest, ResizeFromEachSideAndTheScreenEdgeClamp) {
    ClipModel m = chosen();
    m.mouseDown({100, 100}, 1, 1.0); // bottom-left corner
    EXPECT_EQ(m.dragState, 5);
    // The pointer is held at (12, 12): it moved 88 points each way, and so
    // did the frame's corner.
    m.mouseDragged({-500, -500});
    EXPECT_EQ(m.contentFrame, (RectD{6, 6, 400, 300}));

    m = chosen();
    m.mouseDown({250, 300}, 1, 1.0); // top middle
    EXPECT_EQ(m.dragState, 1);
    m.mouseDragged({260, 5000}); // held at y = 788: a 488-point move
    EXPECT_EQ(m.contentFrame.maxY(), 306 + 488);
    EXPECT_EQ(m.contentFrame.width, 312);
}

TEST_F(ClipModelTest, ResizeStopsAtTheMinimum) {
    ClipModel m = chosen();
    m.mouseDown({400, 300}, 1, 1.0); // top right
    EXPECT_EQ(m.dragState, 7);
    m.mouseDragged({150, 150}); // would leave 50 x 50
    EXPECT_EQ(m.contentRect, (RectD{100, 100, 300, 200}));

    ClipModel w = chosen();
    w.setWaterImageSize(SizeD{100, 100});
    w.mouseDown({400, 200}, 1, 1.0); // right middle
    w.mouseDragged({130, 200});
    EXPECT_EQ(w.contentRect.width, 30); // 20 is the minimum with a water image
}

TEST_F(ClipModelTest, WaterImageKeepsItsAspect) {
    ClipModel m = chosen();
    m.setWaterImageSize(SizeD{200, 100});
    m.mouseDown({400, 200}, 1, 1.0); // right middle: the height follows the width, centred
    m.mouseDragged({500, 200});
    EXPECT_EQ(m.contentRect.width, 400);
    EXPECT_EQ(m.contentRect.height, 200);
    m.mouseDragged({300, 200});
    EXPECT_EQ(m.contentRect, (RectD{100, 150, 200, 100}));

    m = chosen();
    m.setWaterImageSize(SizeD{200, 100});
    m.mouseDown({250, 100}, 1, 1.0); // bottom middle: the width follows, centred
    m.mouseDragged({250, 50});
    EXPECT_EQ(m.contentRect.height, 250);
    EXPECT_EQ(m.contentRect.width, 500);
    EXPECT_EQ(m.contentRect.midX(), 250);

    m = chosen();
    m.setWaterImageSize(SizeD{200, 100});
    m.mouseDown({100, 300}, 1, 1.0); // top left (7): centred vertically
    m.mouseDragged({50, 300});
    EXPECT_EQ(m.contentRect.width, 350);
    EXPECT_EQ(m.contentRect.height, 175);
    EXPECT_EQ(m.contentRect.midY(), 200);
}

TEST_F(ClipModelTest, WaterImageStopsAtTheMinimumWithoutStretching) {
    // A 4:1 picture: the height reaches 20 while the width is still 80.
    ClipModel m = make(1);
    m.setFrameForContentView({100, 100, 200, 50});
    m.clipState = 3;
    m.setWaterImageSize(SizeD{200, 50});
    m.mouseDown({300, 125}, 1, 1.0); // right middle
    m.mouseDragged({150, 125});      // one step to 50 x 12.5: not taken
    EXPECT_EQ(m.contentRect, (RectD{100, 100, 200, 50}));
    for (double x = 146; x >= 14; x -= 4) // 4 narrower each step
        m.mouseDragged({x, 125});
    EXPECT_GE(m.contentRect.height, 20);
    EXPECT_LT(m.contentRect.height, 21);
    EXPECT_DOUBLE_EQ(m.contentRect.width / m.contentRect.height, 4);

    // A picture under the minimum still grows.
    m.setFrameForContentView({100, 100, 16, 4});
    m.mouseDown({116, 102}, 1, 1.0); // right middle
    m.mouseDragged({124, 102});
    EXPECT_EQ(m.contentRect, (RectD{100, 99, 24, 6}));
}

TEST_F(ClipModelTest, FullScreenChoosesOnTheFirstMove) {
    ClipModel m = make(0);
    m.setListener([&](Event e) {
        events.push_back(e);
        if (e == Event::ClipCurrentWindow) // what the window controller does
            m.setFrameForContentView({0, 0, 1000, 800});
    });
    m.mouseMoved({500, 400}, 1.0);
    EXPECT_EQ(m.clipState, 3);
    EXPECT_EQ(events,
              (std::vector<Event>{Event::MouseMoved, Event::ClipCurrentWindow, Event::ClipFullScreen}));
    m.mouseMoved({510, 400}, 2.0);
    EXPECT_EQ(events.size(), 3u);
}
