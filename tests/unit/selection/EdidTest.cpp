#include "platform/x11/Edid.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace {
std::array<std::uint8_t, 128> edidWith(int slot, std::uint8_t tag, const char* text) {
    std::array<std::uint8_t, 128> e{};
    const std::uint8_t header[8] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
    std::memcpy(e.data(), header, 8);
    // Slot 0 holds a detailed timing (non-zero pixel clock) in real EDIDs.
    e[54] = 0x01;
    e[55] = 0x1D;
    const std::size_t at = 54 + 18 * std::size_t(slot);
    e[at] = e[at + 1] = e[at + 2] = 0;
    e[at + 3] = tag;
    std::uint8_t* t = &e[at + 5];
    std::memset(t, ' ', 13);
    const std::size_t n = std::strlen(text);
    std::memcpy(t, text, n);
    if (n < 13)
        t[n] = 0x0A;
    return e;
}
} // namespace

TEST(Edid, MonitorNameDescriptorOrNothing) {
    EXPECT_EQ(x11::edidMonitorName(edidWith(3, 0xFC, "DELL U2720Q")), "DELL U2720Q");
    EXPECT_EQ(x11::edidMonitorName(edidWith(1, 0xFC, "ABCDEFGHIJKLM")), "ABCDEFGHIJKLM");
    // A serial-number descriptor (0xFF) is not a name.
    EXPECT_EQ(x11::edidMonitorName(edidWith(2, 0xFF, "123456")), std::nullopt);
    auto broken = edidWith(2, 0xFC, "NAME");
    broken[1] = 0;
    EXPECT_EQ(x11::edidMonitorName(broken), std::nullopt);
    EXPECT_EQ(x11::edidMonitorName(std::span(broken.data(), 100)), std::nullopt);
}
