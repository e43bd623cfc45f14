#include "platform/portal/HeldPicture.h"
#include "platform/portal/PortalRules.h"
#include "stack/PlatformLoader.h"

#include <gtest/gtest.h>
#include <vector>

using namespace portalcapture;

TEST(PortalRules, RequestPathFollowsTheSenderAndToken) {
    EXPECT_EQ(requestPath(":1.42", "framedeck3"), "/org/freedesktop/portal/desktop/request/1_42/framedeck3");
    EXPECT_EQ(requestPath(":1.2.3", "t"), "/org/freedesktop/portal/desktop/request/1_2_3/t");
}

TEST(PortalRules, CursorAsMetadataWhereOfferedElseEmbedded) {
    EXPECT_EQ(chooseCursorMode(kCursorHidden | kCursorEmbedded | kCursorMetadata), kCursorMetadata);
    EXPECT_EQ(chooseCursorMode(kCursorHidden | kCursorEmbedded), kCursorEmbedded);
    EXPECT_EQ(chooseCursorMode(kCursorHidden), kCursorHidden);
    EXPECT_EQ(chooseCursorMode(0), kCursorHidden);
}

TEST(PortalRules, AreaInTheStream) {
    const RVScreen screen{"HEADLESS-1", 0, 0, 1920, 1080, true};
    // Zero: the whole stream.
    EXPECT_EQ(streamAreaFor(screen, {}, 1920, 1080), (StreamArea{0, 0, 1920, 1080}));
    EXPECT_EQ(streamAreaFor(screen, {100, 50, 640, 360}, 1920, 1080), (StreamArea{100, 50, 640, 360}));
    // A monitor at scale 2 streams twice its logical size.
    EXPECT_EQ(streamAreaFor({"", 0, 0, 1280, 720, true}, {100, 50, 640, 360}, 2560, 1440),
              (StreamArea{200, 100, 1280, 720}));
    // Cut at the stream's edge and evened for the encoder.
    EXPECT_EQ(streamAreaFor(screen, {1800, 1000, 400, 400}, 1920, 1080), (StreamArea{1800, 1000, 120, 80}));
    EXPECT_EQ(streamAreaFor(screen, {11, 0, 101, 51}, 1920, 1080), (StreamArea{11, 0, 100, 50}));
    EXPECT_EQ(streamAreaFor(screen, {2000, 0, 100, 100}, 1920, 1080).width, 0);
    // Without the monitor's size the rectangle is taken in stream pixels.
    EXPECT_EQ(streamAreaFor({}, {10, 10, 20, 20}, 800, 600), (StreamArea{10, 10, 20, 20}));
    EXPECT_EQ(streamAreaFor(screen, {}, 0, 0).width, 0);
}

TEST(PortalRules, MainOutputOfAWholeDesktopPicture) {
    // Nothing known of the outputs: the whole picture.
    EXPECT_EQ(mainOutputIn(1920, 1080, {}), (StreamArea{0, 0, 1920, 1080}));
    // The primary output wherever it lies in the list, the bounding box
    // starting at the leftmost and topmost output (here left of and above
    // the primary).
    const std::vector<RVScreen> outputs{{"DP-1", -1280, -200, 1280, 1024, false},
                                        {"eDP-1", 0, 0, 1920, 1080, true}};
    EXPECT_EQ(mainOutputIn(3200, 1280, outputs), (StreamArea{1280, 200, 1920, 1080}));
    // Without a primary, the first; a picture taken at twice the scale.
    const std::vector<RVScreen> side{{"A", 0, 0, 1280, 720, false}, {"B", 1280, 0, 1280, 720, false}};
    EXPECT_EQ(mainOutputIn(5120, 1440, side), (StreamArea{0, 0, 2560, 1440}));
    // A picture smaller than the layout says: the output is cut at its edge.
    EXPECT_EQ(mainOutputIn(2000, 1080, side).width, 1000);
    EXPECT_EQ(mainOutputIn(0, 0, side).width, 0);
}

namespace {

// A stream picture whose pixel (x, y) holds bytes x, y, 7, 255, with rows
// padded past the picture's width as a stream's may be.
std::vector<uint8_t> streamPicture(int width, int height, int stride) {
    std::vector<uint8_t> p(static_cast<std::size_t>(stride) * height, 0xEE);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t* px = &p[static_cast<std::size_t>(y) * stride + x * 4];
            px[0] = uint8_t(x);
            px[1] = uint8_t(y);
            px[2] = 7;
            px[3] = 255;
        }
    return p;
}

} // namespace

TEST(HeldPicture, CropsAndRepeatsTheNewestPicture) {
    HeldPicture held({3, 2, 4, 3});
    std::vector<uint8_t> target(4 * 3 * 4 + 8, 0);
    // The target's rows are 20 bytes apart, wider than the picture.
    PixelBufferView view{target.data(), 4, 3, 20};
    EXPECT_FALSE(held.copyTo(view)) << "nothing has arrived yet";

    const auto first = streamPicture(10, 8, 48);
    held.store(first.data(), 48, 10, 8, 5.0);
    auto copied = held.copyTo(view);
    ASSERT_TRUE(copied);
    EXPECT_EQ(copied->arrival, 5.0);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) {
            const uint8_t* px = view.row(y) + x * 4;
            EXPECT_EQ(px[0], 3 + x);
            EXPECT_EQ(px[1], 2 + y);
            EXPECT_EQ(px[2], 7);
        }

    // No news: the same picture again, with no arrival time of its own;
    // only the rows drawn on since are copied again.
    std::fill(target.begin(), target.end(), 0);
    RowBands drawn;
    drawn.add(2, 3, 3);
    copied = held.copyTo(view, drawn);
    ASSERT_TRUE(copied);
    EXPECT_FALSE(copied->arrival);
    EXPECT_EQ(view.row(2)[3 * 4], 6);
    EXPECT_EQ(view.row(0)[0], 0) << "a row nothing changed in was copied again";

    // A picture too small for the area (a stream changing size) is not taken.
    const auto small = streamPicture(5, 4, 20);
    held.store(small.data(), 20, 5, 4, 6.0);
    EXPECT_FALSE(held.copyTo(view)->arrival);
    held.store(nullptr, 48, 10, 8, 6.0);
    EXPECT_FALSE(held.copyTo(view)->arrival);

    // A target of another size is refused rather than overrun.
    PixelBufferView wrong{target.data(), 3, 3, 20};
    EXPECT_FALSE(held.copyTo(wrong));
}

TEST(HeldPicture, AResizedWindowKeepsItsTopLeftCutOrFilledOutInBlack) {
    HeldPicture held({0, 0, 4, 3}, HeldPicture::OtherSizes::FitTopLeft);
    std::vector<uint8_t> target(4 * 3 * 4, 0xAA);
    PixelBufferView view{target.data(), 4, 3, 16};
    const auto pixel = [&](int x, int y) {
        const uint8_t* px = view.row(y) + x * 4;
        return std::vector<int>{px[0], px[1], px[2]};
    };

    // Grown: its top left part.
    const auto grown = streamPicture(6, 5, 24);
    held.store(grown.data(), 24, 6, 5, 1.0);
    ASSERT_TRUE(held.copyTo(view));
    EXPECT_EQ(pixel(3, 2), (std::vector<int>{3, 2, 7}));

    // Shrunk, with damage named against the larger picture before: every
    // row is taken anew, and what it no longer covers turns black.
    const auto shrunk = streamPicture(2, 2, 8);
    RowBands nothing;
    held.store(shrunk.data(), 8, 2, 2, 2.0, nothing);
    const auto copied = held.copyTo(view);
    ASSERT_TRUE(copied);
    EXPECT_EQ(copied->arrival, 2.0);
    EXPECT_EQ(pixel(1, 1), (std::vector<int>{1, 1, 7}));
    EXPECT_EQ(pixel(2, 1), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(pixel(0, 2), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(pixel(3, 2), (std::vector<int>{0, 0, 0}));
}

TEST(HeldPicture, CopiesOnlyTheRowsTheStreamSaysChanged) {
    // Rows 2 to 5 of a 4x8 stream, filling two frame buffers in turn.
    HeldPicture held({0, 2, 4, 4});
    std::vector<uint8_t> a(4 * 4 * 4), b(4 * 4 * 4);
    PixelBufferView viewA{a.data(), 4, 4, 16}, viewB{b.data(), 4, 4, 16};
    const auto rows = [](int first, int end) {
        RowBands r;
        r.add(first, end, 1000);
        return r;
    };
    const auto blue = [](const PixelBufferView& v, int y) {
        return v.row(y)[2];
    };

    auto picture = streamPicture(4, 8, 16);
    held.store(picture.data(), 16, 4, 8, 1.0, rows(0, 8));
    auto copied = held.copyTo(viewA);
    ASSERT_TRUE(copied);
    EXPECT_FALSE(copied->changedRows) << "the first picture is all new";
    EXPECT_EQ(held.copyTo(viewB)->changedRows, RowBands{}) << "nothing changed since the copy before";
    EXPECT_EQ(blue(viewB, 3), 7) << "a buffer seen for the first time is filled whole";

    // Stream rows 3 and 5 change, the damage names row 3 only: the held
    // picture and each buffer take row 3 (area row 1) and nothing else.
    picture[3 * 16 + 2] = picture[5 * 16 + 2] = 9;
    held.store(picture.data(), 16, 4, 8, 2.0, rows(3, 4));
    copied = held.copyTo(viewA);
    EXPECT_EQ(copied->arrival, 2.0);
    EXPECT_EQ(copied->changedRows, rows(1, 2));
    EXPECT_EQ(blue(viewA, 1), 9);
    EXPECT_EQ(blue(viewA, 3), 7);
    EXPECT_EQ(blue(viewB, 1), 7);
    copied = held.copyTo(viewB);
    EXPECT_EQ(blue(viewB, 1), 9) << "the other buffer lagged in the same row";
    EXPECT_EQ(copied->changedRows, RowBands{});

    // A change outside the area is no news for the recording.
    held.store(picture.data(), 16, 4, 8, 3.0, rows(7, 8));
    copied = held.copyTo(viewA);
    EXPECT_FALSE(copied->arrival);
    EXPECT_EQ(copied->changedRows, RowBands{});

    // Unknown damage, or a stream of another size: every row of every buffer.
    held.store(picture.data(), 16, 4, 8, 4.0);
    EXPECT_FALSE(held.copyTo(viewA)->changedRows);
    EXPECT_EQ(blue(viewA, 3), 9);
    auto wider = streamPicture(6, 8, 24);
    held.store(wider.data(), 24, 6, 8, 5.0, rows(0, 1));
    EXPECT_FALSE(held.copyTo(viewB)->changedRows);
    EXPECT_EQ(blue(viewB, 3), 7);
}

TEST(ScreenBackend, WaylandSessionsUseThePortal) {
    using PlatformLoader::ScreenBackend;
    EXPECT_EQ(PlatformLoader::chooseScreenBackend("wayland-0", nullptr), ScreenBackend::Portal);
    EXPECT_EQ(PlatformLoader::chooseScreenBackend(nullptr, "wayland"), ScreenBackend::Portal);
    EXPECT_EQ(PlatformLoader::chooseScreenBackend("", "x11"), ScreenBackend::X11);
    EXPECT_EQ(PlatformLoader::chooseScreenBackend(nullptr, nullptr), ScreenBackend::X11);
    EXPECT_EQ(PlatformLoader::screenBackendNamed("x11"), ScreenBackend::X11);
    EXPECT_EQ(PlatformLoader::screenBackendNamed("portal"), ScreenBackend::Portal);
    EXPECT_FALSE(PlatformLoader::screenBackendNamed("wayland"));
}
