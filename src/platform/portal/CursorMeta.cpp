#include "platform/portal/CursorMeta.h"

#include <algorithm>
#include <cstdint>
#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>

namespace portalcapture {

std::optional<CursorUpdate> readCursorMeta(const spa_buffer& buffer) {
    const spa_meta* meta = spa_buffer_find_meta(&buffer, SPA_META_Cursor);
    if (!meta || !meta->data || meta->size < sizeof(spa_meta_cursor))
        return std::nullopt;
    const auto* cursor = static_cast<const spa_meta_cursor*>(meta->data);
    if (!spa_meta_cursor_is_valid(cursor))
        return std::nullopt;
    CursorUpdate update;
    update.x = cursor->position.x;
    update.y = cursor->position.y;
    // A bitmap after the cursor record: a picture of format 0 carries no news,
    // one without pixels is an invisible cursor. A bitmap said to lie outside
    // the metadata is not read at all.
    const uint32_t offset = cursor->bitmap_offset;
    if (offset >= sizeof(spa_meta_cursor) && offset <= meta->size &&
        meta->size - offset >= sizeof(spa_meta_bitmap)) {
        const auto* bitmap = SPA_PTROFF(cursor, offset, const spa_meta_bitmap);
        if (bitmap->format != 0)
            update.visibility = bitmap->offset == 0 || bitmap->size.width == 0 || bitmap->size.height == 0
                                    ? CursorUpdate::Visibility::Hidden
                                    : CursorUpdate::Visibility::Shown;
    }
    return update;
}

std::optional<RowBands> readDamageRows(const spa_buffer& buffer, int height) {
    const spa_meta* meta = spa_buffer_find_meta(&buffer, SPA_META_VideoDamage);
    if (!meta || !meta->data)
        return std::nullopt;
    RowBands rows;
    bool named = false;
    // The regions fill the metadata up to the first empty one.
    const spa_meta_region* region = nullptr;
    spa_meta_for_each(region, meta) {
        if (!spa_meta_region_is_valid(region))
            break;
        named = true;
        const int64_t top = region->region.position.y;
        const int64_t bottom = top + static_cast<int64_t>(region->region.size.height);
        if (bottom > 0 && top < height)
            rows.add(static_cast<int>(std::max<int64_t>(top, 0)),
                     static_cast<int>(std::min<int64_t>(bottom, height)), height);
    }
    if (!named)
        return std::nullopt;
    return rows;
}

std::optional<StreamArea> readCropArea(const spa_buffer& buffer, int width, int height) {
    const auto* crop = static_cast<const spa_meta_region*>(
        spa_buffer_find_meta_data(&buffer, SPA_META_VideoCrop, sizeof(spa_meta_region)));
    if (!crop || !spa_meta_region_is_valid(crop))
        return std::nullopt;
    const int64_t x = std::clamp<int64_t>(crop->region.position.x, 0, width);
    const int64_t y = std::clamp<int64_t>(crop->region.position.y, 0, height);
    const int64_t right = std::min<int64_t>(x + crop->region.size.width, width);
    const int64_t bottom = std::min<int64_t>(y + crop->region.size.height, height);
    if (right <= x || bottom <= y)
        return std::nullopt;
    return StreamArea{int(x), int(y), int(right - x), int(bottom - y)};
}

std::optional<std::pair<int, int>> CursorState::apply(const CursorUpdate& update) {
    position_ = std::make_pair(update.x, update.y);
    if (update.visibility != CursorUpdate::Visibility::Unchanged)
        hidden_ = update.visibility == CursorUpdate::Visibility::Hidden;
    return current();
}

std::optional<std::pair<int, int>> CursorState::current() const {
    if (hidden_)
        return std::nullopt;
    return position_;
}

} // namespace portalcapture
