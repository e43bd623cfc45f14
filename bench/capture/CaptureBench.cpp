// Cost of one 1080p screen grab: FrameDeck's shared-memory grab against
// FFmpeg's x11grab reading the same area, measured in the same run.
//
//   scripts/test-desktop run -- build/bin/bench_capture [frames]
#include "platform/x11capture/X11Capture.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main(int argc, char** argv) {
    const int frames = argc > 1 ? std::atoi(argv[1]) : 200;
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display || frames <= 0) {
        std::fprintf(stderr, "bench_capture: needs DISPLAY (run it inside scripts/test-desktop run --)\n");
        return 2;
    }
    std::string error;
    auto grabber = x11capture::Grabber::open(kWidth, kHeight, error);
    if (!grabber) {
        std::fprintf(stderr, "bench_capture: %s\n", error.c_str());
        return 1;
    }
    grabber->grab(0, 0); // warm-up: first use maps the segment on the server side
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < frames; ++i)
        if (!grabber->grab(0, 0)) {
            std::fprintf(stderr, "bench_capture: grab failed\n");
            return 1;
        }
    const double ours = secondsSince(start) / frames;

    // x11grab at a rate it can never reach grabs back to back; decoding to
    // the null muxer keeps encoding out of the figure. Its start-up is
    // measured with one frame and subtracted.
    const auto runFfmpeg = [&](int count) {
        const std::string command = "ffmpeg -v error -f x11grab -draw_mouse 0 -framerate 10000 -video_size " +
                                    std::to_string(kWidth) + "x" + std::to_string(kHeight) + " -i " +
                                    display + " -frames:v " + std::to_string(count) + " -f null - </dev/null";
        const auto t0 = std::chrono::steady_clock::now();
        const int rc = std::system(command.c_str());
        return rc == 0 ? secondsSince(t0) : -1.0;
    };
    const double ffmpegOne = runFfmpeg(1);
    const double ffmpegAll = runFfmpeg(frames + 1);
    if (ffmpegOne < 0 || ffmpegAll < 0) {
        std::fprintf(stderr, "bench_capture: ffmpeg x11grab failed\n");
        return 1;
    }
    const double theirs = (ffmpegAll - ffmpegOne) / frames;
    std::printf("1080p grab, %d frames\n", frames);
    std::printf("  framedeck shm grab : %8.3f ms/frame\n", ours * 1000);
    std::printf("  ffmpeg x11grab     : %8.3f ms/frame\n", theirs * 1000);
    std::printf("  ratio (ffmpeg/ours): %8.2f\n", ours > 0 ? theirs / ours : 0.0);
    return 0;
}
