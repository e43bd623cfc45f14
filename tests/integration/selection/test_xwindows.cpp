// Opens plain X windows for the selection tests, as another application
// would: each argument "x,y,width,height,class,title,rrggbb[,opacity[,icon]]"
// is one window, mapped in order (so the last one ends up in front).
// Prints "ready <window ids...>" once every window is on screen, then keeps
// them until stdin closes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>

namespace {

struct Free {
    void operator()(void* p) const { std::free(p); }
};

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
    std::unique_ptr<xcb_intern_atom_reply_t, Free> r(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::uint16_t(std::strlen(name)), name), nullptr));
    return r ? r->atom : XCB_NONE;
}

std::vector<std::string> split(const std::string& s) {
    std::vector<std::string> parts;
    std::stringstream in(s);
    std::string part;
    while (std::getline(in, part, ','))
        parts.push_back(part);
    return parts;
}

} // namespace

int main(int argc, char** argv) {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        std::fprintf(stderr, "test_xwindows: no display\n");
        return 1;
    }
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const std::uint32_t pid = static_cast<std::uint32_t>(getpid());
    std::vector<xcb_window_t> windows;
    for (int i = 1; i < argc; ++i) {
        const std::vector<std::string> f = split(argv[i]);
        if (f.size() < 7)
            return 2;
        const xcb_window_t w = xcb_generate_id(c);
        const std::uint32_t mask = XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK;
        const std::uint32_t values[] = {std::uint32_t(std::strtoul(f[6].c_str(), nullptr, 16)),
                                        XCB_EVENT_MASK_EXPOSURE};
        xcb_create_window(c, XCB_COPY_FROM_PARENT, w, screen->root, std::int16_t(std::stoi(f[0])),
                          std::int16_t(std::stoi(f[1])), std::uint16_t(std::stoi(f[2])),
                          std::uint16_t(std::stoi(f[3])), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          screen->root_visual, mask, values);
        std::string wmClass = "fdtest";
        wmClass.push_back('\0');
        wmClass += f[4];
        wmClass.push_back('\0');
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                            std::uint32_t(wmClass.size()), wmClass.data());
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, atom(c, "_NET_WM_NAME"), atom(c, "UTF8_STRING"), 8,
                            std::uint32_t(f[5].size()), f[5].data());
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, atom(c, "_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, 1,
                            &pid);
        // WM_NORMAL_HINTS with USPosition and USSize, so that a window manager
        // (where a test runs one) keeps the place asked for instead of choosing one.
        std::uint32_t hints[18] = {1 | 2, std::uint32_t(std::stoi(f[0])), std::uint32_t(std::stoi(f[1])),
                                   std::uint32_t(std::stoi(f[2])), std::uint32_t(std::stoi(f[3]))};
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32,
                            18, hints);
        if (f.size() > 7) {
            const std::uint32_t opacity = std::uint32_t(std::stod(f[7]) * 0xFFFFFFFFu);
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, atom(c, "_NET_WM_WINDOW_OPACITY"),
                                XCB_ATOM_CARDINAL, 32, 1, &opacity);
        }
        if (f.size() > 8 && f[8] == "icon") {
            // Two sizes, 16 and 32, in opaque red.
            std::vector<std::uint32_t> icon{16, 16};
            icon.insert(icon.end(), 16 * 16, 0xFFFF0000u);
            icon.push_back(32);
            icon.push_back(32);
            icon.insert(icon.end(), 32 * 32, 0xFFFF0000u);
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, atom(c, "_NET_WM_ICON"), XCB_ATOM_CARDINAL, 32,
                                std::uint32_t(icon.size()), icon.data());
        }
        xcb_map_window(c, w);
        windows.push_back(w);
    }
    xcb_flush(c);
    // On screen once each window has been exposed.
    std::set<xcb_window_t> unexposed(windows.begin(), windows.end());
    while (!unexposed.empty()) {
        std::unique_ptr<xcb_generic_event_t, Free> e(xcb_wait_for_event(c));
        if (!e)
            return 3;
        if ((e->response_type & 0x7F) == XCB_EXPOSE)
            unexposed.erase(reinterpret_cast<xcb_expose_event_t*>(e.get())->window);
    }
    std::printf("ready");
    for (xcb_window_t w : windows)
        std::printf(" %u", w);
    std::printf("\n");
    std::fflush(stdout);
    char buffer[64];
    while (read(0, buffer, sizeof buffer) > 0) {
    }
    xcb_disconnect(c);
    return 0;
}
