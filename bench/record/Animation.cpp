// A light full-screen animation for the recording benchmark: a grey window
// over the whole screen with a box sliding across it and a band changing
// colour, redrawn 60 times a second with server-side fills. It costs the X
// server a few fills per frame and this process almost nothing, so the
// recorders measured next to it get the machine to themselves.
//
//   bench_record_animation [seconds]     (0 or none: until SIGTERM)
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <xcb/xcb.h>

namespace {

constexpr uint32_t kBackground = 0x5a6470;
constexpr int kBox = 240;
constexpr int kBandHeight = 60;
constexpr long kFrameNs = 1'000'000'000L / 60;

volatile std::sig_atomic_t stopRequested = 0;

struct ConnectionDeleter {
    void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};

void fill(xcb_connection_t* c, xcb_window_t w, xcb_gcontext_t gc, uint32_t colour, xcb_rectangle_t r) {
    xcb_change_gc(c, gc, XCB_GC_FOREGROUND, &colour);
    xcb_poly_fill_rectangle(c, w, gc, 1, &r);
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 0;
    std::signal(SIGTERM, [](int) { stopRequested = 1; });
    std::signal(SIGINT, [](int) { stopRequested = 1; });
    std::unique_ptr<xcb_connection_t, ConnectionDeleter> connection(xcb_connect(nullptr, nullptr));
    xcb_connection_t* c = connection.get();
    if (xcb_connection_has_error(c)) {
        std::fprintf(stderr, "bench_record_animation: no X display\n");
        return 1;
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const int width = screen->width_in_pixels;
    const int height = screen->height_in_pixels;
    const xcb_window_t window = xcb_generate_id(c);
    const uint32_t windowValues[] = {kBackground, 1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, uint16_t(width), uint16_t(height),
                      0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, windowValues);
    xcb_map_window(c, window);
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, window, 0, nullptr);

    timespec next{};
    clock_gettime(CLOCK_MONOTONIC, &next);
    const long frames = seconds > 0 ? long(seconds * 60) : -1;
    int lastX = 0;
    for (long frame = 0; !stopRequested && frame != frames; ++frame) {
        const int x = int(frame * 12 % (width - kBox));
        const int y = height / 2 - kBox / 2 + int(frame % 120 < 60 ? frame % 60 : 60 - frame % 60) * 4;
        fill(c, window, gc, kBackground,
             {int16_t(lastX), 0, uint16_t(kBox + 16), uint16_t(height - kBandHeight)});
        fill(c, window, gc, 0xe8a33c, {int16_t(x), int16_t(y - 120), uint16_t(kBox), uint16_t(kBox)});
        const uint32_t band = uint32_t((frame * 3) & 0xff) << 16 | uint32_t((frame * 5) & 0xff) << 8 | 0x80;
        fill(c, window, gc, band, {0, int16_t(height - kBandHeight), uint16_t(width), uint16_t(kBandHeight)});
        xcb_flush(c);
        lastX = x;
        next.tv_nsec += kFrameNs;
        if (next.tv_nsec >= 1'000'000'000L) {
            next.tv_nsec -= 1'000'000'000L;
            ++next.tv_sec;
        }
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
    xcb_destroy_window(c, window);
    xcb_flush(c);
    return 0;
}
