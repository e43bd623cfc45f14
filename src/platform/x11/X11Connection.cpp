#include "platform/x11/X11Connection.h"

#include "platform/x11/XcbPtr.h"

#include <xcb/xcb.h>

namespace x11 {

Connection::Connection(const char* display) {
    int screenNumber = 0;
    xcb_connection_t* c = xcb_connect(display, &screenNumber);
    if (xcb_connection_has_error(c)) {
        xcb_disconnect(c);
        return;
    }
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && it.rem; ++i)
        xcb_screen_next(&it);
    if (!it.rem) {
        xcb_disconnect(c);
        return;
    }
    conn_ = c;
    root_ = it.data->root;
    rootWidth_ = it.data->width_in_pixels;
    rootHeight_ = it.data->height_in_pixels;
    rootDepth_ = it.data->root_depth;
    screenNumber_ = screenNumber;
}

Connection::~Connection() {
    if (conn_)
        xcb_disconnect(conn_);
}

std::uint32_t Connection::atom(const std::string& name) {
    if (!conn_)
        return 0;
    if (auto it = atoms_.find(name); it != atoms_.end())
        return it->second;
    const xcb_intern_atom_cookie_t cookie =
        xcb_intern_atom(conn_, 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    XcbPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(conn_, cookie, nullptr));
    const std::uint32_t value = reply ? reply->atom : 0;
    if (value)
        atoms_[name] = value;
    return value;
}

void Connection::sync() {
    if (!conn_)
        return;
    XcbPtr<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(conn_, xcb_get_input_focus(conn_), nullptr));
}

bool Connection::hasCompositingManager(int screenNumber) {
    const std::uint32_t selection = atom("_NET_WM_CM_S" + std::to_string(screenNumber));
    if (!selection)
        return false;
    XcbPtr<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(conn_, xcb_get_selection_owner(conn_, selection), nullptr));
    return reply && reply->owner != XCB_NONE;
}

} // namespace x11
