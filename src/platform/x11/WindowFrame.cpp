#include "platform/x11/WindowFrame.h"

#include "platform/x11/XcbPtr.h"

#include <xcb/xcb.h>

namespace x11 {

namespace {
// A client sits a level or two below the root (frame, maybe a virtual root
// in between); a longer chain is a broken tree, not a desktop.
constexpr int kMaxTreeDepth = 32;
// X coordinates are 16-bit; an extent past that is a client's garbage, not a
// decoration, and would make the frame larger than any screen.
constexpr std::uint32_t kMaxExtent = 0x7FFF;
} // namespace

FrameAtoms FrameAtoms::intern(xcb_connection_t* c) {
    static constexpr char kName[] = "_NET_FRAME_EXTENTS";
    XcbPtr<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, sizeof kName - 1, kName), nullptr));
    FrameAtoms atoms;
    atoms.frameExtents = reply ? reply->atom : 0;
    return atoms;
}

std::uint32_t topLevelAncestor(xcb_connection_t* c, std::uint32_t root, std::uint32_t window) {
    std::uint32_t current = window;
    for (int depth = 0; depth < kMaxTreeDepth; ++depth) {
        XcbPtr<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, current), nullptr));
        if (!tree)
            return 0;
        if (tree->parent == root || tree->parent == XCB_WINDOW_NONE)
            return current;
        current = tree->parent;
    }
    return current;
}

// What the user sees as "the window", decorations included.
//
// A reparenting window manager (openbox, xfwm4, mutter, kwin) draws the title
// bar and borders in a frame window of its own and puts the client inside it.
// The frame window's outer rectangle, its X border included, is then the
// whole window on screen, whatever extents are announced besides.
//
// A window manager that does not reparent (compiz) leaves the client a child
// of the root, draws the decorations beside it and announces their widths in
// _NET_FRAME_EXTENTS: the frame is the client's outer rectangle grown by
// them. Without a window manager nothing is announced and the frame is the
// client's outer rectangle alone.
std::optional<FrameRect> frameWithAncestor(xcb_connection_t* c, std::uint32_t window, std::uint32_t ancestor,
                                           const FrameAtoms& atoms) {
    if (!ancestor)
        return std::nullopt;
    const bool reparented = ancestor != window;
    // Both requests go out before either reply is read: one round trip.
    const auto geometryCookie = xcb_get_geometry(c, ancestor);
    xcb_get_property_cookie_t extentsCookie{};
    const bool askExtents = !reparented && atoms.frameExtents;
    if (askExtents)
        extentsCookie = xcb_get_property(c, 0, window, atoms.frameExtents, XCB_ATOM_CARDINAL, 0, 4);
    XcbPtr<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, geometryCookie, nullptr));
    XcbPtr<xcb_get_property_reply_t> extents(askExtents ? xcb_get_property_reply(c, extentsCookie, nullptr)
                                                        : nullptr);
    if (!geometry)
        return std::nullopt;
    // The ancestor is a child of the root, so its position is in root
    // coordinates already; it names the outer corner of the X border.
    const int border = geometry->border_width;
    FrameRect frame{geometry->x, geometry->y, geometry->width + 2 * border, geometry->height + 2 * border};
    if (extents && extents->format == 32 && xcb_get_property_value_length(extents.get()) == 16) {
        // left, right, top, bottom
        const auto* e = static_cast<const std::uint32_t*>(xcb_get_property_value(extents.get()));
        if (e[0] <= kMaxExtent && e[1] <= kMaxExtent && e[2] <= kMaxExtent && e[3] <= kMaxExtent) {
            frame.x -= static_cast<int>(e[0]);
            frame.y -= static_cast<int>(e[2]);
            frame.width += static_cast<int>(e[0] + e[1]);
            frame.height += static_cast<int>(e[2] + e[3]);
        }
    }
    return frame;
}

std::optional<FrameRect> windowFrame(xcb_connection_t* c, std::uint32_t root, std::uint32_t window,
                                     const FrameAtoms& atoms) {
    return frameWithAncestor(c, window, topLevelAncestor(c, root, window), atoms);
}

} // namespace x11
