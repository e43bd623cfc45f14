// Per-frame cost of drawing the cursor, the click ring and a text watermark
// into a 1920 x 1080 frame, and, as the peer figure, what FFmpeg's x11grab
// spends per frame on drawing the cursor (-draw_mouse 1 against 0) on the
// same desktop in the same run.

#include "core/EMLog.h"
#include "overlays/FrameDecorator.h"
#include "platform/x11input/ClickListener.h"

#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
// The frame budget the share is given against: the default 25 fps.
constexpr double kBudgetMicros = 1e6 / 25;
constexpr int kFrames = 3000;
// A click every 15 frames keeps a ring on screen in 14 frames out of 15.
constexpr int kClickEvery = 15;
// Frames grabbed per FFmpeg run, and runs per setting (the median is shown).
constexpr int kGrabFrames = 600;
constexpr int kGrabRuns = 3;

double threadCpuMicros() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return t.tv_sec * 1e6 + t.tv_nsec / 1e3;
}

struct Figure {
    double wallMicros = 0;
    double cpuMicros = 0;
};

Figure measureDecorations(WatermarkState& watermark, CursorEffectFlags flags) {
    QImage frame(kWidth, kHeight, QImage::Format_ARGB32_Premultiplied);
    frame.fill(qRgb(40, 60, 80));
    const PixelBufferView view{frame.bits(), kWidth, kHeight, static_cast<int>(frame.bytesPerLine())};
    CursorClickState clicks;
    FrameDecorator decorator(clicks, watermark);
    FrameDecorationInput input{{}, {0, 0, kWidth, kHeight}, flags};

    auto step = [&](int i) {
        if (i % kClickEvery == 0)
            clicks.click();
        // The pointer circles the middle of the screen.
        input.pointer = {960 + 300 * std::cos(i * 0.05), 540 + 300 * std::sin(i * 0.05)};
        decorator.appendMouseCursor(view, input);
    };
    for (int i = 0; i < 100; ++i) // pictures drawn, caches filled
        step(i);
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = threadCpuMicros();
    for (int i = 0; i < kFrames; ++i)
        step(i);
    const double cpu = threadCpuMicros() - cpuStart;
    const double wall =
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
    return {wall / kFrames, cpu / kFrames};
}

void printFigure(const char* what, const Figure& f) {
    std::printf("  %-44s %8.1f us/frame (cpu %7.1f)  %5.2f %% of a 25 fps frame\n", what, f.wallMicros,
                f.cpuMicros, 100.0 * f.cpuMicros / kBudgetMicros);
}

// CPU microseconds per frame of one ffmpeg x11grab run, or a negative value
// when ffmpeg could not run.
double ffmpegMicrosPerFrame(bool drawMouse) {
    const std::string display = std::getenv("DISPLAY");
    const std::string frames = std::to_string(kGrabFrames);
    const pid_t pid = fork();
    if (pid == 0) {
        // The grab paces itself to the rate; ask for more than it can do so
        // it grabs back to back and the run is short.
        execlp("ffmpeg", "ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-f", "x11grab",
               "-draw_mouse", drawMouse ? "1" : "0", "-framerate", "1000", "-video_size", "1920x1080", "-i",
               display.c_str(), "-frames:v", frames.c_str(), "-f", "null", "-", static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (pid < 0 || wait4(pid, &status, 0, &usage) < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    const double cpu = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e6 + usage.ru_utime.tv_usec +
                       usage.ru_stime.tv_usec;
    return cpu / kGrabFrames;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    // The ring's trace line would flood the terminal; it is still formatted.
    EMLog::setEchoToStderr(false);

    WatermarkModel model;
    model.watermarkType = 0;
    model.textWatermarkFont = QFont("DejaVu Sans", 28);
    model.textWatermarkColor = QColor(255, 255, 255);
    model.watermarkAlpha = 0.8f;
    model.timeFramStyles = {"YYYY-MM-dd HH:mm:ss"};
    model.watermarkImage = model.saveImageWithText("FrameDeck");
    WatermarkState watermark(model, {0.85f, 0.08f, 1.0f});

    std::printf("Frame decorations, %dx%d frame, %d frames (a click every %d frames)\n", kWidth, kHeight,
                kFrames, kClickEvery);
    const Figure all = measureDecorations(watermark, {false, true, true});
    printFigure("cursor + click ring + text watermark", all);
    printFigure("  ... + highlight", measureDecorations(watermark, {true, true, true}));
    printFigure("text watermark alone", measureDecorations(watermark, {false, false, false}));
    WatermarkState none;
    const Figure cursorOnly = measureDecorations(none, {false, false, true});
    printFigure("cursor alone", cursorOnly);
    printFigure("cursor + click ring", measureDecorations(none, {false, true, true}));
    model.isTimeTextWatermark = true;
    watermark.setModel(model);
    printFigure("cursor + click ring + time watermark", measureDecorations(watermark, {false, true, true}));

    if (!std::getenv("DISPLAY")) {
        std::printf("\nPeer skipped: no X display (run inside scripts/test-desktop).\n");
        return 0;
    }
    // The pointer position each frame needs: one round trip to the X server.
    x11input::PointerReader pointer;
    if (pointer.isOpen()) {
        constexpr int kQueries = 2000;
        const auto start = std::chrono::steady_clock::now();
        const double cpuStart = threadCpuMicros();
        for (int i = 0; i < kQueries; ++i)
            pointer.position();
        const double cpu = (threadCpuMicros() - cpuStart) / kQueries;
        const double wall =
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count() /
            kQueries;
        printFigure("pointer query (xcb_query_pointer)", {wall, cpu});
    }

    // Put the pointer inside the grabbed area so that FFmpeg draws it.
    if (std::system("xdotool mousemove 960 540 >/dev/null 2>&1") != 0)
        std::printf("(xdotool missing: the pointer stays where it is)\n");
    std::vector<double> withCursor, without;
    for (int run = 0; run < kGrabRuns; ++run) {
        without.push_back(ffmpegMicrosPerFrame(false));
        withCursor.push_back(ffmpegMicrosPerFrame(true));
    }
    const double grab = median(without);
    const double grabWithCursor = median(withCursor);
    if (grab < 0 || grabWithCursor < 0) {
        std::printf("\nPeer skipped: ffmpeg x11grab did not run.\n");
        return 0;
    }
    const double cursorCost = std::max(0.0, grabWithCursor - grab);
    std::printf("\nFFmpeg x11grab, 1920x1080, %d frames per run, median of %d runs (cpu per frame)\n",
                kGrabFrames, kGrabRuns);
    std::printf("  %-44s %8.1f us/frame\n", "-draw_mouse 0", grab);
    std::printf("  %-44s %8.1f us/frame\n", "-draw_mouse 1", grabWithCursor);
    std::printf("  %-44s %8.1f us/frame  %5.2f %% of a 25 fps frame\n", "its cursor drawing (difference)",
                cursorCost, 100.0 * cursorCost / kBudgetMicros);
    if (cursorCost > 0) {
        std::printf("\nRatio FrameDeck / FFmpeg, cursor drawing alone:                %6.2f\n",
                    cursorOnly.cpuMicros / cursorCost);
        std::printf("Ratio FrameDeck cursor + ring + text watermark / FFmpeg cursor: %6.2f\n",
                    all.cpuMicros / cursorCost);
    }
    return 0;
}
