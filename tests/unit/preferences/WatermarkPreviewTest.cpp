#include "preferences/WatermarkPreview.h"

#include <gtest/gtest.h>
#include <vector>

namespace {
const QSizeF kView(594, 334);
}

TEST(WatermarkPreview, TheBoxStartsInTheCornerAndOkStoresItAgainstTheCappedPicture) {
    EXPECT_EQ(initialPreviewBox({300, 60}), (RectD{0, 0, 300, 60}));
    EXPECT_EQ(initialPreviewBox({1120, 200}), (RectD{0, 0, 560, 100}));
    EXPECT_EQ(initialPreviewBox({}), (RectD{})); // an invalid size is -1 x -1

    // OK stores the centre as fractions and the width against the capped picture.
    const WatermarkPlacement centred = placementFromPreviewBox({147, 137, 300, 60}, kView, {300, 60});
    EXPECT_FLOAT_EQ(centred.centerX, (147 + 150) / 594.0f);
    EXPECT_FLOAT_EQ(centred.centerY, (137 + 30) / 334.0f);
    EXPECT_FLOAT_EQ(centred.scale, 1);
    EXPECT_FLOAT_EQ(placementFromPreviewBox({0, 0, 280, 50}, kView, {1120, 200}).scale, 0.5f);
    // No picture: no NaN reaches the settings.
    EXPECT_EQ(placementFromPreviewBox({10, 10, 0, 0}, kView, {}).scale, 0);
}

// Recordings draw the watermark where the preview showed it: the frame
// arithmetic on a frame of the preview's size gives the box back, to the pixel.
TEST(WatermarkPreview, TheFrameArithmeticReproducesTheBox) {
    const std::vector<std::pair<QSizeF, RectD>> rows{
        {{300, 60}, {147, 137, 300, 60}},
        {{213, 47}, {401.5, 12.25, 150.75, 33.26}}, // an aspect-keeping resize's fractions
        {{1120, 200}, {20, 200, 420, 75}},
        {{180, 40}, {500, 300, 20.25, 4.5}},
    };
    for (const auto& [picture, box] : rows) {
        const WatermarkFrameRect frame = watermarkFrameRect(
            picture, false, placementFromPreviewBox(box, kView, picture), kView.width(), kView.height());
        EXPECT_NEAR(frame.origin.x, box.x, 1) << box.x;
        EXPECT_NEAR(frame.origin.y, box.y, 1) << box.x;
        EXPECT_NEAR(frame.width, box.width, 1) << box.x;
        EXPECT_NEAR(frame.height, box.height, 1) << box.x;
    }
}
