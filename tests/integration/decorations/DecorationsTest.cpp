// `framedeck record` on the test desktop with the cursor, the click ring and
// a text watermark switched on in the settings: the decoded frames must show
// the arrow with its tip on the pointer, the ring growing around it in the
// frames after a click, and the watermark where it was placed.
#include "ColourWindow.h"
#include "MediaProbe.h"
#include "app/SettingsStore.h"

#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>
#include <thread>

using namespace std::chrono_literals;

namespace {

const std::string kFramedeck = FRAMEDECK_BINARY_DIR "/bin/framedeck";
// Where the pointer rests while recording, in root pixels.
constexpr int kPointerX = 400;
constexpr int kPointerY = 300;
// The area around the pointer that is decoded frame by frame.
constexpr int kCropX = kPointerX - 40;
constexpr int kCropY = kPointerY - 40;
constexpr int kCropSize = 120;
constexpr uint32_t kBackground = 0x808080;

// The pixel of a cropped frame at these root coordinates is `colour`, each
// channel within `tolerance`.
bool near(const std::vector<uint8_t>& frame, int rootX, int rootY, uint32_t colour, int tolerance) {
    return probe::near(frame, kCropSize, rootX - kCropX, rootY - kCropY, colour, tolerance);
}

// The ring's radius in this frame: how far right of the ring's centre its
// colour shows on the centre row, or 0 when it does not.
int ringRadius(const std::vector<uint8_t>& frame) {
    // The ring is centred on the middle of the 16 x 24 arrow picture, whose
    // top-left pixel lies one pixel up and left of the pointer (the tip).
    const int centreX = kPointerX - 1 + 8;
    const int centreY = kPointerY - 1 + 12;
    for (int d = 8; d <= 26; ++d)
        if (near(frame, centreX + d, centreY, 0x3874af, 40))
            return d;
    return 0;
}

class Decorations : public ::testing::Test {
protected:
    void SetUp() override {
        const char* display = std::getenv("DISPLAY");
        if (!display || !*display)
            GTEST_SKIP() << "needs the test desktop (scripts/test-desktop run -- ...)";
        ASSERT_TRUE(home.isValid());
        // The recorder runs with a home of its own: these settings must not
        // reach the other tests sharing the desktop.
        SettingsStore settings(home.filePath(".config/FrameDeck/FrameDeck.conf"));
        settings.setBool("IsShowMouse", true);
        settings.setBool("IsMouseClickEffect", true);
        settings.setBool("IsMouseHighlight", false);
        settings.setInteger("Watermark_Type", 0);
        settings.setString("Watermark_textString", "WATERMARK");
        settings.setColorTriple("Watermark_color", {1, 0, 0});
        settings.setDouble("Watermark_alpha", 1);
        settings.setDouble("Watermark_scale", 1);
        settings.setDouble("Watermark_center_x", 0.5);
        settings.setDouble("Watermark_center_y", 0.5);
        ASSERT_TRUE(settings.synchronize());
    }

    QTemporaryDir home;
};

TEST_F(Decorations, RecordingShowsCursorClickRingAndWatermark) {
    // A plain grey window over the whole screen, so that everything the
    // decorations draw stands out from an even background.
    ColourWindow backdrop(0, 0, 0, 0, kBackground, true);
    ColourWindow::warpPointer(kPointerX, kPointerY);
    const std::string output = home.filePath("decorated.mp4").toStdString();
    const std::string log = home.filePath("record.log").toStdString();
    const std::string h = home.path().toStdString();
    probe::Child recorder({kFramedeck, "record", "--mode", "full", "--audio", "none", "--fps", "10",
                           "--seconds", "4", "--output", output},
                          {{"HOME", h},
                           {"XDG_CONFIG_HOME", h + "/.config"},
                           {"XDG_CACHE_HOME", h + "/.cache"},
                           {"XDG_DATA_HOME", h + "/.local/share"}},
                          log);
    // Click once the encoder runs and some frames without a ring are in.
    ASSERT_TRUE(probe::waitForLog(recorder, log)) << probe::readFile(log);
    std::this_thread::sleep_for(1200ms);
    ASSERT_EQ(std::system("xdotool click 1"), 0);
    ASSERT_EQ(recorder.wait(), 0) << probe::readFile(log);

    // The square around the pointer, frame by frame.
    const auto frames = probe::frames(output,
                                      "crop=" + std::to_string(kCropSize) + ":" + std::to_string(kCropSize) +
                                          ":" + std::to_string(kCropX) + ":" + std::to_string(kCropY),
                                      kCropSize, kCropSize);
    ASSERT_GE(frames.size(), 30u) << "frames decoded";

    // The arrow, tip on the pointer: its black body just below and right of
    // the tip, the background left of it and above the tip.
    const std::vector<uint8_t>& first = frames[2];
    EXPECT_TRUE(near(first, kPointerX + 3, kPointerY + 9, 0x000000, 60)) << "arrow body";
    EXPECT_TRUE(near(first, kPointerX - 4, kPointerY + 9, kBackground, 20)) << "left of the arrow";
    EXPECT_TRUE(near(first, kPointerX + 3, kPointerY - 4, kBackground, 20)) << "above the tip";
    EXPECT_FALSE(near(first, kPointerX, kPointerY + 4, kBackground, 20)) << "arrow's left edge";

    // The ring: absent before the click, then in a run of 14 consecutive
    // frames, one size step each, widening from radius 10 to 23 (seen a pixel
    // or two inside: the colour is found at 2-pixel chroma resolution); absent
    // again afterwards. Two frames of slack: the encoder repeats a frame when
    // a grab comes late.
    std::vector<int> radii;
    for (const auto& frame : frames)
        radii.push_back(ringRadius(frame));
    const auto firstRing = std::find_if(radii.begin(), radii.end(), [](int r) { return r > 0; });
    ASSERT_NE(firstRing, radii.end()) << "no click ring in any frame";
    const auto afterRing = std::find(firstRing, radii.end(), 0);
    EXPECT_GE(firstRing - radii.begin(), 5) << "ring before the click";
    EXPECT_GE(afterRing - firstRing, 12) << "ring frames";
    EXPECT_LE(afterRing - firstRing, 16) << "ring frames";
    EXPECT_LE(*firstRing, 13) << "first ring radius";
    EXPECT_GE(*(afterRing - 1), 20) << "last ring radius";
    EXPECT_TRUE(std::is_sorted(firstRing, afterRing)) << "the ring grows";
    EXPECT_TRUE(std::all_of(afterRing, radii.end(), [](int r) { return r == 0; })) << "ring after its end";

    // The watermark: red text centred in the frame.
    const auto picture = probe::frameAt(output, 1.0, 1920, 1080);
    ASSERT_EQ(picture.size(), std::size_t(1920) * 1080 * 3);
    int red = 0, redOutside = 0;
    for (int y = 0; y < 1080; ++y)
        for (int x = 0; x < 1920; ++x) {
            const uint8_t* p = &picture[(std::size_t(y) * 1920 + x) * 3];
            if (p[0] > 180 && p[1] < 80 && p[2] < 80)
                ++(std::abs(x - 960) < 600 && std::abs(y - 540) < 150 ? red : redOutside);
        }
    EXPECT_GT(red, 1000) << "watermark pixels around the centre";
    EXPECT_EQ(redOutside, 0) << "watermark pixels elsewhere";
}

} // namespace
