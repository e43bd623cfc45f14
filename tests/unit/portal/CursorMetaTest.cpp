#include "platform/portal/CursorMeta.h"

#include "platform/portal/PortalRules.h"

#include <gtest/gtest.h>
#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/raw.h>
#include <vector>

using namespace portalcapture;
using Visibility = CursorUpdate::Visibility;

namespace {

// A stream buffer with only cursor metadata, laid out as PipeWire lays it
// out: the cursor record, then (where bitmapOffset says) a bitmap record and
// its pixels, all inside the metadata's `size` bytes.
struct CursorBuffer {
    std::vector<uint8_t> bytes;
    spa_meta meta{};
    spa_buffer buffer{};

    explicit CursorBuffer(uint32_t size) : bytes(size, 0) {
        meta.type = SPA_META_Cursor;
        meta.size = size;
        meta.data = bytes.data();
        buffer.n_metas = 1;
        buffer.metas = &meta;
    }
    spa_meta_cursor& cursor() { return *reinterpret_cast<spa_meta_cursor*>(bytes.data()); }
    spa_meta_bitmap& bitmap() {
        return *reinterpret_cast<spa_meta_bitmap*>(bytes.data() + sizeof(spa_meta_cursor));
    }
    void at(uint32_t id, int x, int y) {
        cursor().id = id;
        cursor().position = {x, y};
    }
    // A bitmap record right after the cursor; `pixels` false: an empty one.
    void withBitmap(bool pixels) {
        cursor().bitmap_offset = sizeof(spa_meta_cursor);
        bitmap().format = SPA_VIDEO_FORMAT_RGBA;
        bitmap().size = pixels ? spa_rectangle{16, 16} : spa_rectangle{0, 0};
        bitmap().stride = pixels ? 64 : 0;
        bitmap().offset = pixels ? sizeof(spa_meta_bitmap) : 0;
    }
};

constexpr uint32_t kWithPicture = sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + 16 * 16 * 4;

} // namespace

TEST(CursorMeta, ReadsPositionAndVisibilityFromTheBuffer) {
    spa_buffer bare{};
    EXPECT_FALSE(readCursorMeta(bare)) << "no metadata at all";

    CursorBuffer b(kWithPicture);
    b.at(0, 10, 20);
    EXPECT_FALSE(readCursorMeta(b.buffer)) << "id 0 means nothing new";

    b.at(3, 640, 360);
    auto update = readCursorMeta(b.buffer);
    ASSERT_TRUE(update);
    EXPECT_EQ(update->x, 640);
    EXPECT_EQ(update->y, 360);
    EXPECT_EQ(update->visibility, Visibility::Unchanged) << "no bitmap record: only the position moved";

    b.withBitmap(true);
    EXPECT_EQ(readCursorMeta(b.buffer)->visibility, Visibility::Shown);
    b.withBitmap(false);
    EXPECT_EQ(readCursorMeta(b.buffer)->visibility, Visibility::Hidden);

    // A bitmap record of format 0 carries no news about the picture.
    b.bitmap().format = 0;
    EXPECT_EQ(readCursorMeta(b.buffer)->visibility, Visibility::Unchanged);
}

TEST(CursorMeta, NeverReadsPastTheMetadata) {
    // Room for the cursor record only: a bitmap offset pointing past it, or
    // one whose record would not fit, is ignored rather than read (the
    // address sanitizer would catch a read past `bytes`).
    CursorBuffer small(sizeof(spa_meta_cursor));
    small.at(1, 5, 6);
    small.cursor().bitmap_offset = sizeof(spa_meta_cursor);
    auto update = readCursorMeta(small.buffer);
    ASSERT_TRUE(update);
    EXPECT_EQ(update->visibility, Visibility::Unchanged);
    small.cursor().bitmap_offset = 1u << 30;
    EXPECT_EQ(readCursorMeta(small.buffer)->visibility, Visibility::Unchanged);

    CursorBuffer truncated(sizeof(spa_meta_cursor) - 4);
    EXPECT_FALSE(readCursorMeta(truncated.buffer)) << "a cursor record that does not fit";
}

TEST(CursorMeta, DamageNamesTheChangedRowsOrNothing) {
    spa_meta_region regions[3]{};
    spa_meta meta{SPA_META_VideoDamage, sizeof(regions), regions};
    spa_buffer buffer{};
    buffer.n_metas = 1;
    buffer.metas = &meta;
    EXPECT_FALSE(readDamageRows(buffer, 100)) << "no region named: not known";

    // Rows 10-19 and 15-29 merge; a region reaching past the picture is cut;
    // the list ends at the first empty region.
    regions[0].region = {{5, 10}, {20, 10}};
    regions[1].region = {{0, 15}, {1, 15}};
    regions[2].region = {{0, 90}, {4, 50}};
    auto rows = readDamageRows(buffer, 100);
    ASSERT_TRUE(rows);
    EXPECT_EQ(rows->bands(), (std::vector<RowBands::Band>{{10, 30}, {90, 100}}));
    regions[1].region.size = {0, 0};
    EXPECT_EQ(readDamageRows(buffer, 100)->bands(), (std::vector<RowBands::Band>{{10, 20}}));

    spa_buffer bare{};
    EXPECT_FALSE(readDamageRows(bare, 100));
}

TEST(CursorMeta, StateKeepsAHiddenPointerHiddenUntilAPictureComes) {
    CursorState state;
    EXPECT_FALSE(state.current());
    EXPECT_EQ(state.apply({100, 200, Visibility::Unchanged}), std::make_pair(100, 200));
    EXPECT_FALSE(state.apply({110, 200, Visibility::Hidden}));
    // Moves while hidden are remembered but not shown.
    EXPECT_FALSE(state.apply({120, 210, Visibility::Unchanged}));
    EXPECT_EQ(state.apply({130, 220, Visibility::Shown}), std::make_pair(130, 220));
    EXPECT_EQ(state.apply({140, 230, Visibility::Unchanged}), std::make_pair(140, 230));
}

TEST(CursorMeta, PointerLandsOnTheSamePixelOfTheCroppedFrame) {
    // A monitor right of the primary, streamed at scale 2; the recorded area
    // is 100,50 640x360 of its logical pixels.
    const RVScreen screen{"DP-2", 1920, 0, 1280, 720, false};
    const StreamArea area = streamAreaFor(screen, {100, 50, 640, 360}, 2560, 1440);
    const int originX = screen.x + area.x; // as the source sets each frame's origin
    const int originY = screen.y + area.y;
    // The stream's pixel 300,150 is the frame's pixel 100,50.
    const auto root = pointerInRoot(screen, 300, 150, 2560, 1440);
    ASSERT_TRUE(root);
    EXPECT_EQ(root->first - originX, 100);
    EXPECT_EQ(root->second - originY, 50);

    EXPECT_FALSE(pointerInRoot(screen, -1, 10, 2560, 1440));
    EXPECT_FALSE(pointerInRoot(screen, 2560, 10, 2560, 1440));
    EXPECT_FALSE(pointerInRoot(screen, 10, 1440, 2560, 1440));
    EXPECT_TRUE(pointerInRoot(screen, 2559, 1439, 2560, 1440));
}
