#include "platform/x11capture/X11Capture.h"
#include "platform/x11capture/XcbHandles.h"

#include <algorithm>
#include <cstring>
#include <xcb/randr.h>

namespace x11capture {

XcbDisplay connectDisplay(std::string& error) {
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) {
        error = "no X display (DISPLAY is not set)";
        return {};
    }
    int screenNumber = 0;
    XcbConnectionPtr c(xcb_connect(name, &screenNumber), XcbDisconnect());
    if (xcb_connection_has_error(c.get())) {
        error = std::string("cannot connect to the X display ") + name;
        return {};
    }
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c.get()));
    for (int i = 0; i < screenNumber && it.rem; ++i)
        xcb_screen_next(&it);
    if (!it.rem) {
        error = "the X display has no screen";
        return {};
    }
    return {c, it.data};
}

bool displayAvailable(std::string* error) {
    std::string message;
    const bool ok = connectDisplay(message).connection != nullptr;
    if (error)
        *error = message;
    return ok;
}

xcb_atom_t internAtom(xcb_connection_t* c, const char* name) {
    XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 1, static_cast<uint16_t>(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

namespace {

std::string atomName(xcb_connection_t* c, xcb_atom_t atom) {
    XcbReply<xcb_get_atom_name_reply_t> reply(
        xcb_get_atom_name_reply(c, xcb_get_atom_name(c, atom), nullptr));
    if (!reply)
        return {};
    return std::string(xcb_get_atom_name_name(reply.get()),
                       static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get())));
}

std::string stringProperty(xcb_connection_t* c, xcb_window_t window, xcb_atom_t property, xcb_atom_t type) {
    if (property == XCB_ATOM_NONE)
        return {};
    XcbReply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(c, xcb_get_property(c, 0, window, property, type, 0, 1024), nullptr));
    if (!reply || reply->format != 8)
        return {};
    return std::string(static_cast<const char*>(xcb_get_property_value(reply.get())),
                       static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
}

std::vector<xcb_window_t> windowListProperty(xcb_connection_t* c, xcb_window_t root, xcb_atom_t property) {
    if (property == XCB_ATOM_NONE)
        return {};
    XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        c, xcb_get_property(c, 0, root, property, XCB_ATOM_WINDOW, 0, 65536), nullptr));
    if (!reply || reply->format != 32)
        return {};
    const auto* ids = static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
    const int count = xcb_get_property_value_length(reply.get()) / 4;
    return std::vector<xcb_window_t>(ids, ids + count);
}

// The frame the window manager put around `window` (the child of the root
// that holds it), or the window itself.
xcb_window_t topLevelOf(xcb_connection_t* c, xcb_window_t window, xcb_window_t root) {
    xcb_window_t current = window;
    for (int depth = 0; depth < 32; ++depth) {
        XcbReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, current), nullptr));
        if (!tree || tree->parent == root || tree->parent == XCB_WINDOW_NONE)
            return current;
        current = tree->parent;
    }
    return current;
}

} // namespace

std::vector<RVScreen> listMonitors() {
    std::string error;
    XcbDisplay display = connectDisplay(error);
    if (!display.connection)
        return {};
    xcb_connection_t* c = display.connection.get();
    std::vector<RVScreen> screens;
    XcbReply<xcb_randr_get_monitors_reply_t> reply(
        xcb_randr_get_monitors_reply(c, xcb_randr_get_monitors(c, display.screen->root, 1), nullptr));
    if (reply) {
        auto it = xcb_randr_get_monitors_monitors_iterator(reply.get());
        for (; it.rem; xcb_randr_monitor_info_next(&it))
            screens.push_back(
                {atomName(c, it.data->name), it.data->x, it.data->y, it.data->width, it.data->height});
    }
    if (screens.empty())
        screens.push_back(
            {"screen", 0, 0, display.screen->width_in_pixels, display.screen->height_in_pixels});
    return screens;
}

std::vector<CaptureWindowInfo> listWindows() {
    std::string error;
    XcbDisplay display = connectDisplay(error);
    if (!display.connection)
        return {};
    xcb_connection_t* c = display.connection.get();
    const xcb_window_t root = display.screen->root;
    std::vector<xcb_window_t> stacking =
        windowListProperty(c, root, internAtom(c, "_NET_CLIENT_LIST_STACKING"));
    if (stacking.empty()) {
        XcbReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr));
        if (tree) {
            const xcb_window_t* children = xcb_query_tree_children(tree.get());
            stacking.assign(children, children + xcb_query_tree_children_length(tree.get()));
        }
    }
    const xcb_atom_t netWmName = internAtom(c, "_NET_WM_NAME");
    const xcb_atom_t utf8 = internAtom(c, "UTF8_STRING");
    std::vector<CaptureWindowInfo> windows;
    // Both lists run bottom to top; the window list runs front to back.
    for (auto it = stacking.rbegin(); it != stacking.rend(); ++it) {
        const xcb_window_t window = *it;
        XcbReply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
        if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE || attributes->override_redirect)
            continue;
        const xcb_window_t frame = topLevelOf(c, window, root);
        XcbReply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(c, xcb_get_geometry(c, frame), nullptr));
        if (!geometry)
            continue;
        CaptureWindowInfo info;
        info.number = window;
        info.name = stringProperty(c, window, netWmName, utf8);
        if (info.name.empty())
            info.name = stringProperty(c, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING);
        // WM_CLASS holds "instance\0class\0"; the class names the application.
        const std::string wmClass = stringProperty(c, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
        const std::size_t split = wmClass.find('\0');
        info.ownerName = split == std::string::npos ? wmClass : wmClass.substr(split + 1);
        if (!info.ownerName.empty() && info.ownerName.back() == '\0')
            info.ownerName.pop_back();
        info.bounds = {static_cast<double>(geometry->x), static_cast<double>(geometry->y),
                       static_cast<double>(geometry->width), static_cast<double>(geometry->height)};
        windows.push_back(std::move(info));
    }
    return windows;
}

} // namespace x11capture

namespace x11capture {

CapturedImage getCapturedImage(uint64_t window) {
    std::string error;
    XcbDisplay display = connectDisplay(error);
    if (!display.connection)
        return {};
    xcb_connection_t* c = display.connection.get();
    const xcb_window_t root = display.screen->root;
    const xcb_window_t frame = topLevelOf(c, static_cast<xcb_window_t>(window), root);
    XcbReply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, frame), nullptr));
    if (!geometry)
        return {};
    const int x0 = std::max<int>(geometry->x, 0);
    const int y0 = std::max<int>(geometry->y, 0);
    const int x1 = std::min<int>(geometry->x + geometry->width, display.screen->width_in_pixels);
    const int y1 = std::min<int>(geometry->y + geometry->height, display.screen->height_in_pixels);
    if (x1 <= x0 || y1 <= y0)
        return {};
    XcbReply<xcb_get_image_reply_t> image(xcb_get_image_reply(
        c,
        xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, root, static_cast<int16_t>(x0), static_cast<int16_t>(y0),
                      static_cast<uint16_t>(x1 - x0), static_cast<uint16_t>(y1 - y0), ~0u),
        nullptr));
    if (!image || xcb_get_image_data_length(image.get()) < (x1 - x0) * (y1 - y0) * 4)
        return {};
    CapturedImage result;
    result.width = x1 - x0;
    result.height = y1 - y0;
    const uint8_t* data = xcb_get_image_data(image.get());
    result.bgra.assign(data, data + static_cast<std::size_t>(result.width) * result.height * 4);
    return result;
}

} // namespace x11capture
