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

    // No news: the same picture again, with no arrival time of its own.
    std::fill(target.begin(), target.end(), 0);
    copied = held.copyTo(view);
    ASSERT_TRUE(copied);
    EXPECT_FALSE(copied->arrival);
    EXPECT_EQ(view.row(2)[3 * 4], 6);

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
