#include "platform/portal/HeldPicture.h"

#include <cstring>

namespace portalcapture {

HeldPicture::HeldPicture(StreamArea area)
    : area_(area), pixels_(static_cast<std::size_t>(area.width) * area.height * 4) {
}

void HeldPicture::store(const uint8_t* pixels, int stride, int width, int height, double arrival) {
    if (!pixels || area_.x + area_.width > width || area_.y + area_.height > height || stride < width * 4)
        return;
    const std::size_t row = static_cast<std::size_t>(area_.width) * 4;
    std::lock_guard lock(mutex_);
    for (int y = 0; y < area_.height; ++y)
        std::memcpy(pixels_.data() + y * row,
                    pixels + static_cast<std::size_t>(area_.y + y) * stride +
                        static_cast<std::size_t>(area_.x) * 4,
                    row);
    have_ = true;
    fresh_ = true;
    arrival_ = arrival;
}

std::optional<HeldPicture::Copied> HeldPicture::copyTo(PixelBufferView& target) {
    const std::size_t row = static_cast<std::size_t>(area_.width) * 4;
    std::lock_guard lock(mutex_);
    if (!have_ || target.width != area_.width || target.height != area_.height)
        return std::nullopt;
    for (int y = 0; y < area_.height; ++y)
        std::memcpy(target.data + static_cast<std::size_t>(y) * target.stride, pixels_.data() + y * row, row);
    Copied copied;
    if (fresh_)
        copied.arrival = arrival_;
    fresh_ = false;
    return copied;
}

} // namespace portalcapture
