#include "platform/portal/HeldPicture.h"

#include <algorithm>
#include <cstring>

namespace portalcapture {
namespace {

// A source fills a handful of frame buffers; more than this means buffers
// come and go, and what is known of old ones is forgotten.
constexpr std::size_t kMaxTrackedBuffers = 32;

} // namespace

HeldPicture::HeldPicture(StreamArea area, OtherSizes otherSizes)
    : area_(area), otherSizes_(otherSizes), pixels_(static_cast<std::size_t>(area.width) * area.height * 4) {
}

void HeldPicture::store(const uint8_t* pixels, int stride, int width, int height, double arrival,
                        const std::optional<RowBands>& changedRows) {
    if (!pixels || stride < width * 4)
        return;
    const bool reaches = area_.x + area_.width <= width && area_.y + area_.height <= height;
    if (!reaches && otherSizes_ == OtherSizes::Ignore)
        return;
    // The part of the area the picture covers; the rest is black.
    const int coveredWidth = std::min(area_.width, width - area_.x);
    const int coveredHeight = std::min(area_.height, height - area_.y);
    if (coveredWidth <= 0 || coveredHeight <= 0)
        return;
    const std::size_t row = static_cast<std::size_t>(area_.width) * 4;
    const std::size_t covered = static_cast<std::size_t>(coveredWidth) * 4;
    std::lock_guard lock(mutex_);
    // The area's rows the stream changed; all of them when it does not say,
    // for the first picture, and when the stream's size moved.
    std::optional<RowBands> rows;
    if (changedRows && have_ && width == streamWidth_ && height == streamHeight_) {
        rows.emplace();
        for (const RowBands::Band& band : changedRows->bands())
            rows->add(band.first - area_.y, band.end - area_.y, area_.height);
    }
    streamWidth_ = width;
    streamHeight_ = height;
    RowBands all;
    all.addAll(area_.height);
    for (const RowBands::Band& band : (rows ? *rows : all).bands())
        for (int y = band.first; y < band.end; ++y) {
            uint8_t* into = pixels_.data() + y * row;
            if (y >= coveredHeight) {
                std::memset(into, 0, row);
                continue;
            }
            std::memcpy(into,
                        pixels + static_cast<std::size_t>(area_.y + y) * stride +
                            static_cast<std::size_t>(area_.x) * 4,
                        covered);
            std::memset(into + covered, 0, row - covered);
        }
    have_ = true;
    // A picture whose changes miss the area is no news for the recording.
    if (!rows || !rows->empty()) {
        fresh_ = true;
        arrival_ = arrival;
    }
    noteChange(rows);
}

void HeldPicture::noteChange(const std::optional<RowBands>& rows) {
    if (!rows) {
        changed_.reset();
        staleIn_.clear(); // every buffer lags in every row
        return;
    }
    if (changed_)
        changed_->add(*rows, area_.height);
    for (auto& [buffer, stale] : staleIn_)
        stale.add(*rows, area_.height);
}

std::optional<HeldPicture::Copied> HeldPicture::copyTo(PixelBufferView& target, const RowBands& drawnRows) {
    const std::size_t row = static_cast<std::size_t>(area_.width) * 4;
    std::lock_guard lock(mutex_);
    if (!have_ || target.width != area_.width || target.height != area_.height)
        return std::nullopt;
    RowBands rows;
    const auto known = staleIn_.find(target.data);
    if (known == staleIn_.end()) {
        rows.addAll(area_.height);
        if (staleIn_.size() >= kMaxTrackedBuffers)
            staleIn_.clear();
    } else {
        rows = known->second;
        rows.add(drawnRows, area_.height);
    }
    for (const RowBands::Band& band : rows.bands())
        for (int y = band.first; y < band.end; ++y)
            std::memcpy(target.data + static_cast<std::size_t>(y) * target.stride, pixels_.data() + y * row,
                        row);
    staleIn_[target.data].clear();
    Copied copied;
    if (fresh_)
        copied.arrival = arrival_;
    fresh_ = false;
    copied.changedRows = std::exchange(changed_, RowBands{});
    return copied;
}

} // namespace portalcapture
