#include "platform/x11/Edid.h"

#include <array>

namespace x11 {

namespace {
constexpr std::array<std::uint8_t, 8> kHeader{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
// The base block holds four 18-byte descriptors from byte 54 on.
constexpr std::size_t kFirstDescriptor = 54;
constexpr std::size_t kDescriptorSize = 18;
constexpr std::size_t kDescriptorCount = 4;
constexpr std::uint8_t kMonitorNameTag = 0xFC;
// A descriptor's text starts after its 5-byte header and is at most 13 bytes.
constexpr std::size_t kTextOffset = 5;
} // namespace

std::optional<std::string> edidMonitorName(std::span<const std::uint8_t> edid) {
    if (edid.size() < 128)
        return std::nullopt;
    for (std::size_t i = 0; i < kHeader.size(); ++i) {
        if (edid[i] != kHeader[i])
            return std::nullopt;
    }
    for (std::size_t d = 0; d < kDescriptorCount; ++d) {
        const std::size_t at = kFirstDescriptor + d * kDescriptorSize;
        // Display descriptors (as opposed to timings) start with three zero bytes.
        if (edid[at] != 0 || edid[at + 1] != 0 || edid[at + 2] != 0 || edid[at + 3] != kMonitorNameTag)
            continue;
        std::string name;
        for (std::size_t i = at + kTextOffset; i < at + kDescriptorSize; ++i) {
            if (edid[i] == 0x0A || edid[i] == 0)
                break;
            name.push_back(static_cast<char>(edid[i]));
        }
        while (!name.empty() && name.back() == ' ')
            name.pop_back();
        if (!name.empty())
            return name;
    }
    return std::nullopt;
}

} // namespace x11
