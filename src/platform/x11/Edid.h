#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace x11 {

// The monitor name an EDID block carries in its display descriptor 0xFC,
// without the line feed and padding; nullopt when the block is not an EDID
// or carries no name. Pure function, any thread.
std::optional<std::string> edidMonitorName(std::span<const std::uint8_t> edid);

} // namespace x11
