#include "selection/ClipModel.h"

#include "selection/ClipGeometry.h"

#include <gtest/gtest.h>
#include <optional>
#include <vector>

using Event = ClipModel::Event;

// Halfway between two handles the one earlier in the search order wins.
TEST(ClipHandles, EarlierHandleWinsTies) {
    const SizeD b{200, 100};
    // Between bottom left (0, 0) and bottom middle (100, 0).
    EXPECT_EQ(ClipGeometry::nearestHandle({50, 0}, b), (PointD{0, 0}));
    // Between top right (200, 100) and right middle (200, 50).
    EXPECT_EQ(ClipGeometry::nearestHandle({200, 75}, b), (PointD{200, 50}));
    EXPECT_EQ(ClipGeometry::nearestHandle({51, 1}, b), (PointD{100, 0}));
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

// Presses on a chosen 300x200 selection at (100, 100) and drags from there:
// inside it moves, on a handle it resizes from that side, held inside the
// screen, never below the minimum, and with a water image at its aspect.
TEST_F(ClipModelTest, PressesAfterChoosingMoveOrResizeFromTheHandlePressed) {
    struct Row {
        const char* what;
        PointD press;
        std::vector<PointD> drags;
        int dragMode, dragState;
        RectD rect;
        std::optional<SizeD> waterImage = {};
    };
    const Row rows[] = {
        {"inside: moves, not clamped", {250, 200}, {{2000, 200}}, 2, 0, {1850, 100, 300, 200}},
        {"right middle", {400, 200}, {{450, 500}}, 1, 6, {100, 100, 350, 200}},
        {"left middle", {100, 200}, {{50, 200}}, 1, 3, {50, 100, 350, 200}},
        {"bottom right", {400, 100}, {{450, 50}}, 1, 8, {100, 50, 350, 250}},
        {"outside everything", {900, 700}, {}, 0, 0, {100, 100, 300, 200}},
        // The pointer is held at (12, 12): it moved 88 points each way, and
        // so did the frame's corner.
        {"bottom left, held at the screen's edge", {100, 100}, {{-500, -500}}, 1, 5, {12, 12, 388, 288}},
        {"top middle, held at y = 788", {250, 300}, {{260, 5000}}, 1, 1, {100, 100, 300, 688}},
        {"top right, not below the minimum", {400, 300}, {{150, 150}}, 1, 7, {100, 100, 300, 200}},
        // With a water image its aspect is kept, centred on the axis that follows.
        {"picture: 20 the least", {400, 200}, {{130, 200}}, 1, 6, {100, 185, 30, 30}, SizeD{100, 100}},
        {"picture, right", {400, 200}, {{500, 200}, {300, 200}}, 1, 6, {100, 150, 200, 100}, SizeD{200, 100}},
        {"picture, bottom: centred", {250, 100}, {{250, 50}}, 1, 2, {0, 50, 500, 250}, SizeD{200, 100}},
        {"picture, top left: centred", {100, 300}, {{50, 300}}, 1, 7, {50, 112.5, 350, 175}, SizeD{200, 100}},
    };
    for (const Row& row : rows) {
        ClipModel m = chosen();
        m.setWaterImageSize(row.waterImage);
        m.mouseDown(row.press, 1, 1.0);
        EXPECT_EQ(m.dragMode, row.dragMode) << row.what;
        EXPECT_EQ(m.dragState, row.dragState) << row.what;
        for (PointD p : row.drags)
            m.mouseDragged(p);
        EXPECT_EQ(m.contentRect, row.rect) << row.what;
    }
}

TEST_F(ClipModelTest, ADoubleClickIsOnlyReported) {
    ClipModel m = chosen();
    m.mouseDown({250, 200}, 2, 1.0);
    EXPECT_EQ(events, (std::vector<Event>{Event::MouseDoubleClick}));
    EXPECT_EQ(m.dragMode, 0);
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
