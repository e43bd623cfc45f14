#pragma once

#include <cstdint>
#include <optional>

struct xcb_connection_t;

// Where a top-level window's frame lies on an X server: the one rule that the
// selection overlay's inventory, the recording's window list and the window
// capture all use, so that what is highlighted is what is recorded. Qt-free.
//
// Every function does its own round trips on the given connection and may be
// called from any thread that owns that connection at the time.
namespace x11 {

// The atoms the rule reads, interned once per connection and then passed to
// every call (the capture asks for the frame on every picture).
struct FrameAtoms {
    std::uint32_t frameExtents = 0; // _NET_FRAME_EXTENTS
    static FrameAtoms intern(xcb_connection_t* c);
};

// A rectangle in root coordinates, y down.
struct FrameRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const FrameRect&) const = default;
};

// The root's child that holds `window`: the frame window a reparenting
// window manager put it in, or `window` itself. 0 when the window is gone.
// Walks the tree up, one round trip a level.
std::uint32_t topLevelAncestor(xcb_connection_t* c, std::uint32_t root, std::uint32_t window);

// The frame of `window`, whose top-level ancestor (above) is already known;
// one round trip. nullopt when the window (or its frame window) is gone.
std::optional<FrameRect> frameWithAncestor(xcb_connection_t* c, std::uint32_t window, std::uint32_t ancestor,
                                           const FrameAtoms& atoms);

// Both steps at once, for one-off questions.
std::optional<FrameRect> windowFrame(xcb_connection_t* c, std::uint32_t root, std::uint32_t window,
                                     const FrameAtoms& atoms);

} // namespace x11
