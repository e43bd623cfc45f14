#include "OverlayTestSupport.h"
#include "overlays/ArrowCursor.h"
#include "overlays/FrameDecorator.h"
#include "overlays/PictureBlend.h"
#include "overlays/RecordingDecorations.h"

#include <QPainter>
#include <cmath>
#include <random>
#include <vector>

namespace {

const auto* const kGui = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QGuiApplication, true>);

// A 200 x 160 area captured at (1000, 500) of the screen, pointer in the
// screen space (origin bottom left).
struct Decorating : ::testing::Test {
    CursorClickState clicks;
    WatermarkState noWatermark;
    FrameDecorator decorator{clicks, noWatermark};
    FrameDecorationInput input{{1100, 580}, {1000, 500, 200, 160}, {}};

    // Where the middle of the cursor picture lands, as a pixel (row from the top).
    QPoint cursorMiddlePixel() const {
        const ArrowCursor& a = arrowCursor();
        const double x = input.pointer.x - input.captureRect.x - a.hotSpot.x() + a.image.width() / 2.0;
        const double y = input.pointer.y - input.captureRect.y - (a.image.height() - a.hotSpot.y()) +
                         a.image.height() / 2.0;
        return {static_cast<int>(x), static_cast<int>(input.captureRect.height - y)};
    }
};

TEST_F(Decorating, ClickRingGrowsFourteenFramesThenResetsAndASecondClickReLatches) {
    CursorClickState::Values v;
    v.isCursorClick = true;
    v.cursorEffectWidth = CursorClickState::kClickWidth;
    std::vector<float> widths;
    for (int frame = 0; frame < 16; ++frame) {
        const CursorEffectsStep step = stepCursorEffects(v, {100, 80}, false, true);
        if (step.drawRing) {
            widths.push_back(step.ringWidth);
            EXPECT_EQ(step.ringOrigin, (ScreenPoint{70, 50}));
        }
    }
    std::vector<float> expected;
    for (float w = 32; w <= 58; w += 2)
        expected.push_back(w);
    EXPECT_EQ(widths, expected);
    EXPECT_FALSE(v.isCursorClick);
    EXPECT_EQ(v.cursorEffectWidth, 0);

    // The ring stays where the click was while the pointer moves on; a new
    // click restarts it under the pointer of the next frame.
    v = {true, CursorClickState::kClickWidth, {}};
    stepCursorEffects(v, {100, 80}, false, true);
    EXPECT_EQ(stepCursorEffects(v, {140, 20}, false, true).ringOrigin, (ScreenPoint{70, 50}));
    v.cursorEffectWidth = CursorClickState::kClickWidth;
    const CursorEffectsStep again = stepCursorEffects(v, {140, 20}, false, true);
    EXPECT_EQ(again.ringWidth, 32);
    EXPECT_EQ(again.ringOrigin, (ScreenPoint{110, -10}));

    // A click during a frame is not lost to that frame's update.
    clicks.click();
    auto [values, generation] = clicks.loadWithGeneration();
    stepCursorEffects(values, {10, 10}, false, true);
    clicks.click(); // arrives while the frame is being drawn
    clicks.commit(values, generation);
    EXPECT_EQ(clicks.load().cursorEffectWidth, CursorClickState::kClickWidth);
}

TEST_F(Decorating, HighlightHidesUnderTheRingAndComesBackAfter) {
    input.flags.isMouseHight = true;
    input.flags.isMouseClickEffect = true;
    auto highlightShown = [&] {
        const QPoint centre = cursorMiddlePixel();
        TestFrame f(200, 160);
        decorator.appendMouseCursor(f.view(), input);
        const QRgb p = f.at(centre.x(), centre.y());
        return qRed(p) == 0 && qGreen(p) > 140 && qBlue(p) > 140;
    };
    EXPECT_TRUE(highlightShown());
    clicks.click();
    // The first frame after the click still shows it: the ring latches its
    // place in that frame, after the highlight was decided.
    EXPECT_TRUE(highlightShown());
    // The frame that ends the ring still decides on the highlight before it
    // clears the click, so the highlight returns one frame later.
    for (int frame = 2; frame <= 15; ++frame)
        EXPECT_FALSE(highlightShown()) << "frame " << frame;
    EXPECT_TRUE(highlightShown());

    // A ring left behind by a moving pointer does not hide the highlight.
    clicks.click();
    highlightShown();
    input.pointer.x += 30;
    EXPECT_TRUE(highlightShown());
}

TEST_F(Decorating, CursorHotSpotLandsOnThePointerCountedFromTheBottom) {
    input.flags.isShowMouse = true;
    // 37.9 and 21.6 points into the area from its bottom-left corner; whole
    // points count, so the tip goes to column 37 and the row 21 from the
    // bottom, which is row 160 - 21 = 139 from the top.
    input.pointer = {1037.9, 521.6};
    TestFrame f(200, 160, qRgb(128, 128, 128));
    decorator.appendMouseCursor(f.view(), input);
    const QRgb grey = qRgb(128, 128, 128);
    EXPECT_NE(f.at(37, 139), grey) << "the tip";
    EXPECT_EQ(f.at(35, 139), grey) << "left of the tip";
    EXPECT_EQ(f.at(37, 137), grey) << "above the tip";
    EXPECT_EQ(qRed(f.at(40, 146)), 0) << "inside the arrow";
    // The picture hangs down and to the right from the tip, and nowhere else.
    for (int y = 0; y < 160; ++y)
        for (int x = 0; x < 200; ++x)
            if (f.at(x, y) != grey) {
                EXPECT_GE(x, 36);
                EXPECT_GE(y, 138);
                EXPECT_LT(x, 37 + arrowCursor().image.width());
            }

    // Near the bottom edge the arrow is cut by the frame.
    input.pointer = {1100, 505};
    TestFrame low(200, 160, grey);
    decorator.appendMouseCursor(low.view(), input);
    EXPECT_NE(low.at(100, 155), grey);
    EXPECT_NE(low.at(102, 159), grey);
}

// Where the screen cast alone knows the pointer (Wayland), the arrow goes
// where the stream last put it, on the frame's own pixels; while the stream
// says nothing, nothing is drawn (no arrow stuck in a corner).
TEST(RecordingDecorationsFromAFeed, ArrowFollowsTheFeedAndIsLeftOutWithoutAPosition) {
    WatermarkState noWatermark;
    auto feed = std::make_shared<PointerFeed>();
    feed->activate();
    RecordingDecorations decorations(noWatermark, feed);
    decorations.prepare({true, false, true}, QRect(0, 0, 1920, 1080), true);
    const auto decorate = decorations.hook();
    const QRgb grey = qRgb(128, 128, 128);
    const auto drawnPixels = [&](std::optional<PointerFeed::Position> at, QPoint* first) {
        feed->set(at);
        TestFrame f(200, 160, grey);
        VideoFrame frame;
        frame.pixels = f.view();
        // The area's top-left on the desktop: its bottom-left corner is the
        // primary monitor's, where a pointer at (0, 0) would land.
        frame.originX = 0;
        frame.originY = 920;
        decorate(frame, {});
        int count = 0;
        for (int y = 0; y < 160; ++y)
            for (int x = 0; x < 200; ++x)
                if (f.at(x, y) != grey && count++ == 0 && first)
                    *first = {x, y};
        return count;
    };
    EXPECT_EQ(drawnPixels(std::nullopt, nullptr), 0);
    QPoint tip;
    decorations.prepare({false, false, true}, QRect(0, 0, 1920, 1080), true);
    EXPECT_GT(drawnPixels(PointerFeed::Position{50, 990}, &tip), 0);
    // The first pixel drawn (top row, leftmost) is the arrow's tip, at the
    // pointer's place in the frame, give or take the outline.
    EXPECT_NEAR(tip.x(), 50, 2);
    EXPECT_NEAR(tip.y(), 70, 2);
}

TEST(PictureBlend, MatchesQtSourceOverIncludingClippedEdges) {
    std::mt19937 random(7);
    // 11 wide: whole groups of four and a remainder; clear, opaque and
    // translucent pixels mixed.
    QImage picture(11, 6, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x) {
            const int kind = static_cast<int>(random() % 3);
            const int alpha = kind == 0 ? 0 : kind == 1 ? 255 : static_cast<int>(random() % 256);
            auto channel = [&] {
                return static_cast<int>(random() % (alpha + 1));
            };
            picture.setPixel(x, y, qRgba(channel(), channel(), channel(), alpha));
        }
    for (const QPoint at : {QPoint(3, 2), QPoint(-5, -2), QPoint(14, 7)}) {
        TestFrame frame(19, 10);
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 19; ++x)
                frame.image.setPixel(x, y, qRgb(static_cast<int>(random() % 256), 90, 200));
        QImage expected = frame.image.copy();
        QPainter(&expected).drawImage(at, picture);
        blendPicture(frame.view(), picture, {at.x(), at.y()});
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 19; ++x) {
                const QRgb got = frame.at(x, y);
                const QRgb want = expected.pixel(x, y);
                ASSERT_LE(std::abs(qRed(got) - qRed(want)), 1) << x << "," << y;
                ASSERT_LE(std::abs(qGreen(got) - qGreen(want)), 1) << x << "," << y;
                ASSERT_LE(std::abs(qBlue(got) - qBlue(want)), 1) << x << "," << y;
            }
    }
}

} // namespace
