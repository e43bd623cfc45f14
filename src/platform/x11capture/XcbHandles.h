#pragma once

#include <cstdlib>
#include <memory>
#include <string>
#include <xcb/xcb.h>

// Owning types for what XCB hands out. Internal to the X11 capture library.
namespace x11capture {

struct XcbDisconnect {
    void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};
using XcbConnectionPtr = std::shared_ptr<xcb_connection_t>;

// Replies and errors are malloc'ed by XCB and freed with free().
struct XcbFree {
    void operator()(void* p) const { std::free(p); }
};
template <class T> using XcbReply = std::unique_ptr<T, XcbFree>;

// A connection to $DISPLAY and its default screen; null with `error` set when
// there is no usable server.
struct XcbDisplay {
    XcbConnectionPtr connection;
    xcb_screen_t* screen = nullptr;
};
XcbDisplay connectDisplay(std::string& error);

} // namespace x11capture
