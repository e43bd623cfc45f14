// The fast microphone and the marks of the drift benchmark. Writes mono
// 16-bit sound into a FIFO (read by PulseAudio's module-pipe-source, which
// declares 48,000 samples per second) paced at `rate` samples per second of
// the monotonic clock: 48,048 makes a card whose clock is 0.1 % fast. At
// every whole second of that same clock it starts a 50 ms beep in the sound
// and a 50 ms white flash of a small window at the top left of the screen, so
// picture and sound carry marks made at the same instants.
//
//   bench_drift_feeder FIFO SECONDS [RATE]
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>

namespace {

constexpr int kWindow = 160;
constexpr double kMarkSeconds = 0.05;
constexpr auto kTick = std::chrono::milliseconds(2);

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("usage: bench_drift_feeder FIFO SECONDS [RATE]\n", stderr);
        return 2;
    }
    const double seconds = std::atof(argv[2]);
    const double rate = argc > 3 ? std::atof(argv[3]) : 48048;
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        std::fputs("bench_drift_feeder: no X display\n", stderr);
        return 1;
    }
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t w = xcb_generate_id(c);
    const uint32_t values[] = {screen->black_pixel, 1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, w, screen->root, 0, 0, kWindow, kWindow, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(c, w);
    xcb_flush(c);
    auto paint = [&](uint32_t pixel) {
        xcb_change_window_attributes(c, w, XCB_CW_BACK_PIXEL, &pixel);
        xcb_clear_area(c, 0, w, 0, 0, 0, 0);
        xcb_flush(c);
    };

    const int fd = open(argv[1], O_WRONLY); // waits for the sound server
    if (fd < 0) {
        std::perror("bench_drift_feeder: open");
        return 1;
    }
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    int64_t written = 0;
    bool white = false;
    std::vector<int16_t> chunk;
    for (;;) {
        const double now = std::chrono::duration<double>(Clock::now() - start).count();
        if (now > seconds)
            break;
        const bool mark = now - std::floor(now) < kMarkSeconds;
        if (mark != white) {
            paint(mark ? screen->white_pixel : screen->black_pixel);
            white = mark;
        }
        const auto due = static_cast<int64_t>(now * rate);
        chunk.clear();
        for (; written < due; ++written) {
            const double t = static_cast<double>(written) / rate;
            const bool beep = t - std::floor(t) < kMarkSeconds;
            chunk.push_back(beep ? static_cast<int16_t>(12000 * std::sin(2 * M_PI * 1000 * t)) : 0);
        }
        if (!chunk.empty() && write(fd, chunk.data(), chunk.size() * sizeof(int16_t)) !=
                                  static_cast<ssize_t>(chunk.size() * 2)) {
            std::perror("bench_drift_feeder: write");
            return 1;
        }
        std::this_thread::sleep_for(kTick);
    }
    close(fd);
    xcb_disconnect(c);
    return 0;
}
