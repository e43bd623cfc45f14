#pragma once

// X windows for the recording tests that look at what was recorded: plain
// windows of one colour, and the pointer put where a test wants it.
#include <cstdint>
#include <cstdlib>
#include <xcb/xcb.h>

class ColourWindow {
public:
    // `w` or `h` 0: the whole screen. An override-redirect window is left
    // where it is put, with no frame from the window manager.
    ColourWindow(int x, int y, int w, int h, uint32_t rgb, bool overrideRedirect = false) {
        c_ = xcb_connect(nullptr, nullptr);
        xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
        id_ = xcb_generate_id(c_);
        const uint32_t values[] = {rgb, overrideRedirect ? 1u : 0u};
        xcb_create_window(c_, XCB_COPY_FROM_PARENT, id_, screen->root, static_cast<int16_t>(x),
                          static_cast<int16_t>(y), static_cast<uint16_t>(w ? w : screen->width_in_pixels),
                          static_cast<uint16_t>(h ? h : screen->height_in_pixels), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        const char title[] = "framedeck test window";
        xcb_change_property(c_, XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                            sizeof title - 1, title);
        xcb_map_window(c_, id_);
        sync(c_);
    }
    ~ColourWindow() {
        xcb_destroy_window(c_, id_);
        xcb_flush(c_);
        xcb_disconnect(c_);
    }
    void move(int x, int y) {
        const uint32_t values[] = {static_cast<uint32_t>(x), static_cast<uint32_t>(y)};
        xcb_configure_window(c_, id_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
        sync(c_);
    }
    uint32_t id() const { return id_; }

    static void warpPointer(int x, int y) {
        xcb_connection_t* c = xcb_connect(nullptr, nullptr);
        xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
        xcb_warp_pointer(c, XCB_NONE, screen->root, 0, 0, 0, 0, static_cast<int16_t>(x),
                         static_cast<int16_t>(y));
        sync(c);
        xcb_disconnect(c);
    }

private:
    // A round trip: the server has done everything asked so far.
    static void sync(xcb_connection_t* c) {
        free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    }
    xcb_connection_t* c_;
    uint32_t id_;
};
