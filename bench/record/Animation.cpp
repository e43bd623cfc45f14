// A light full-screen animation for the recording benchmark: a grey window
// over the whole screen with a box sliding across it and a band changing
// colour, redrawn 60 times a second with server-side fills. It costs the X
// server a few fills per frame and this process almost nothing, so the
// recorders measured next to it get the machine to themselves.
//
// With --typing it is a terminal instead: a dark 960x600 window in which a
// character cell is filled with a glyph-like pattern every 80 ms (12.5 keys
// a second, a fast typist), lines wrap and the page clears when full, and a
// caret blinks twice a second: the small, scattered changes of typing.
//
//   bench_record_animation [seconds] [--typing]   (0 or none: until SIGTERM)
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
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

constexpr int kTermWidth = 960;
constexpr int kTermHeight = 600;
constexpr int kCellWidth = 9;
constexpr int kCellHeight = 18;
constexpr long kKeyNs = 80'000'000L;
constexpr long kCaretNs = 500'000'000L;
constexpr uint32_t kTermBackground = 0x1e1e28;
constexpr uint32_t kTermText = 0xd0d0c8;

void advance(timespec& t, long ns) {
    t.tv_nsec += ns;
    while (t.tv_nsec >= 1'000'000'000L) {
        t.tv_nsec -= 1'000'000'000L;
        ++t.tv_sec;
    }
}

// Types into a terminal-like window until stopped or `keys` keys (-1: no end).
void type(xcb_connection_t* c, xcb_window_t w, xcb_gcontext_t gc, long keys) {
    const int columns = kTermWidth / kCellWidth - 2;
    const int rows = kTermHeight / kCellHeight - 2;
    timespec next{};
    clock_gettime(CLOCK_MONOTONIC, &next);
    int column = 0;
    int row = 0;
    bool caret = false;
    long sinceCaret = 0;
    for (long key = 0; !stopRequested && key != keys; ++key) {
        const auto cellX = int16_t(kCellWidth + column * kCellWidth);
        const auto cellY = int16_t(kCellHeight + row * kCellHeight);
        // A glyph: a stem and one or two bars, varying with the key.
        fill(c, w, gc, kTermBackground, {cellX, cellY, kCellWidth, kCellHeight});
        fill(c, w, gc, kTermText, {int16_t(cellX + 1 + key % 3), int16_t(cellY + 3), 2, 12});
        fill(c, w, gc, kTermText, {int16_t(cellX + 1), int16_t(cellY + 3 + key % 5 * 2), 6, 2});
        if (key % 2)
            fill(c, w, gc, kTermText, {int16_t(cellX + 1), int16_t(cellY + 13), 6, 2});
        if (++column == columns || key % 53 == 52) {
            column = 0;
            if (++row == rows) {
                row = 0;
                fill(c, w, gc, kTermBackground, {0, 0, kTermWidth, kTermHeight});
            }
        }
        sinceCaret += kKeyNs;
        if (sinceCaret >= kCaretNs) {
            sinceCaret = 0;
            caret = !caret;
        }
        fill(c, w, gc, caret ? kTermText : kTermBackground,
             {int16_t(kCellWidth + column * kCellWidth), int16_t(kCellHeight + row * kCellHeight), kCellWidth,
              kCellHeight});
        xcb_flush(c);
        advance(next, kKeyNs);
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 0;
    const bool typing = argc > 2 && std::string(argv[2]) == "--typing";
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
    const uint32_t windowValues[] = {typing ? kTermBackground : kBackground, 1};
    if (typing)
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 200, 150, kTermWidth, kTermHeight, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, windowValues);
    else
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, uint16_t(width),
                          uint16_t(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, windowValues);
    xcb_map_window(c, window);
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, window, 0, nullptr);
    if (typing) {
        type(c, window, gc, seconds > 0 ? long(seconds * 1e9 / kKeyNs) : -1);
        xcb_destroy_window(c, window);
        xcb_flush(c);
        return 0;
    }

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
