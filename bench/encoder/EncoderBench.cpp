// Encoder benchmark.
//
// Default mode: pushes 1920x1080 BGRA frames and stereo audio through the C
// interface as fast as the library accepts them, then encodes the same raw
// frames and audio with the ffmpeg command line (rawvideo bgra in, libx264
// with the same preset and bit rate, AAC), and prints frames per second and
// CPU seconds per frame of both, and their ratios.
//
// --long-run [minutes]: pushes that much media (default 60 minutes, 640x360)
// with a jittering capture clock and reports the audio/video offset at the
// end, as FFmpeg reads the file, and how long finishing the file took.

#include "MediaEncoder.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace {

constexpr double kFps = 30;
constexpr int kRate = 44100;
constexpr int kVideoKbps = 5000;
constexpr const char* kPreset = "veryfast"; // the library's x264 preset

double cpuSeconds(int who) {
    rusage u{};
    getrusage(who, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// A few distinct screens: a gradient with moving text-like blocks.
std::vector<std::vector<uint8_t>> makeFrames(int width, int height, int count) {
    std::vector<std::vector<uint8_t>> frames(static_cast<std::size_t>(count));
    std::mt19937 rng(7);
    for (int n = 0; n < count; ++n) {
        auto& f = frames[static_cast<std::size_t>(n)];
        f.resize(static_cast<std::size_t>(width) * height * 4);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                uint8_t* p = &f[(static_cast<std::size_t>(y) * width + x) * 4];
                const bool block = ((x / 8 + n) % 13 == 0) && ((y / 16) % 3 != 0) && (rng() % 4 != 0);
                p[0] = block ? 20 : static_cast<uint8_t>(200 + x * 40 / width);
                p[1] = block ? 20 : static_cast<uint8_t>(210 + y * 30 / height);
                p[2] = block ? 20 : static_cast<uint8_t>(220 + (n * 2) % 30);
                p[3] = 255;
            }
        }
    }
    return frames;
}

std::vector<int32_t> tone(int64_t frames, int64_t start) {
    std::vector<int32_t> s(static_cast<std::size_t>(frames) * 2);
    for (int64_t i = 0; i < frames; ++i) {
        const auto v =
            static_cast<int32_t>(1e9 * std::sin(2 * M_PI * 440 * static_cast<double>(start + i) / kRate));
        s[static_cast<std::size_t>(2 * i)] = v;
        s[static_cast<std::size_t>(2 * i + 1)] = v;
    }
    return s;
}

void* openSession(const std::string& path, int width, int height) {
    void* h = apiEncoderCreate();
    apiEncoderSetOutputPath(h, path.c_str());
    apiEncoderSetAudioSrcContext(h, 2, kRate, ME_SAMPLE_FORMAT_S32);
    apiEncoderSetAudioBitrate(h, 12800);
    apiEncoderSetAudioEncodeContext(h, 2, kRate);
    apiEncoderSetImageSize(h, width, height);
    apiEncoderSetImageFormat(h, ME_IMAGE_FORMAT_BGRA);
    apiEncoderSetOutputSize(h, width, height);
    apiEncoderSetFps(h, kFps);
    apiEncoderSetVideoBitrate(h, kVideoKbps);
    if (apiEncoderEncode(h) != ME_OK) {
        std::fprintf(stderr, "cannot start encoding %s\n", path.c_str());
        std::exit(1);
    }
    return h;
}

// Trailers, wait, close; returns the seconds the finishing took.
double finish(void* h) {
    const double t0 = now();
    apiEncodePushVideoTrailer(h);
    apiEncodePushAudioTrailer(h);
    while (apiEncodeIsDone(h) != 1)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    apiEncoderClose(h);
    return now() - t0;
}

void pushVideo(void* h, const std::vector<uint8_t>& pixels, int width, int height, int64_t ms) {
    EncoderVideoFrame f{};
    f.pixelFormat = ME_PIXEL_FORMAT_BGRA;
    f.width = static_cast<uint32_t>(width);
    f.height = static_cast<uint32_t>(height);
    f.bytesPerRow = static_cast<uint32_t>(width * 4);
    f.data = pixels.data();
    f.dataLength = static_cast<uint32_t>(pixels.size());
    // As fast as it accepts them: a full queue is waited out, not dropped.
    while (apiEncoderPushVideo(h, &f, ms) == ME_DROPPED)
        std::this_thread::sleep_for(std::chrono::microseconds(500));
}

void pushAudio(void* h, const std::vector<int32_t>& samples) {
    EncoderAudioFrame a{};
    a.data = reinterpret_cast<const uint8_t*>(samples.data());
    a.dataLength = static_cast<uint32_t>(samples.size() * 4);
    while (apiEncoderPushAudio(h, &a) == ME_DROPPED)
        std::this_thread::sleep_for(std::chrono::microseconds(500));
}

std::string probeField(const std::string& path, const char* stream, const char* entry) {
    const std::string cmd = std::string("ffprobe -v error -select_streams ") + stream + " -show_entries " +
                            entry + " -of csv=p=0 '" + path + "' 2>/dev/null | tail -1";
    std::string out;
    if (FILE* p = popen(cmd.c_str(), "r")) {
        char buf[256];
        while (std::fgets(buf, sizeof buf, p))
            out += buf;
        pclose(p);
    }
    while (!out.empty() && (out.back() == '\n' || out.back() == ','))
        out.pop_back();
    return out;
}

int compareWithFfmpeg(int frameCount) {
    const int width = 1920, height = 1080;
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "framedeck-encoder-bench";
    std::filesystem::create_directories(dir);
    const auto frames = makeFrames(width, height, 30);
    const int64_t samplesPerFrame = kRate / static_cast<int64_t>(kFps);
    const auto audio = tone(samplesPerFrame * frameCount, 0);
    std::printf("%d frames of %dx%d BGRA at %.0f fps, x264 preset %s, %d kbit/s, stereo AAC 128 kbit/s\n",
                frameCount, width, height, kFps, kPreset, kVideoKbps);

    // Ours.
    const std::string ours = (dir / "ours.mp4").string();
    double cpu0 = cpuSeconds(RUSAGE_SELF);
    double t0 = now();
    void* h = openSession(ours, width, height);
    for (int i = 0; i < frameCount; ++i) {
        pushVideo(h, frames[static_cast<std::size_t>(i % 30)], width, height, std::llround(i * 1000 / kFps));
        pushAudio(h, std::vector<int32_t>(audio.begin() + 2 * samplesPerFrame * i,
                                          audio.begin() + 2 * samplesPerFrame * (i + 1)));
    }
    const double finishSeconds = finish(h);
    const double oursWall = now() - t0;
    const double oursCpu = cpuSeconds(RUSAGE_SELF) - cpu0;

    // The ffmpeg command line on the same frames and audio.
    const std::string audioFile = (dir / "tone.s32le").string();
    if (FILE* f = std::fopen(audioFile.c_str(), "wb")) {
        std::fwrite(audio.data(), 4, audio.size(), f);
        std::fclose(f);
    }
    char cmd[1024];
    std::snprintf(cmd, sizeof cmd,
                  "ffmpeg -nostdin -v error -y -f rawvideo -pix_fmt bgra -s %dx%d -r %.0f -i - "
                  "-f s32le -ar %d -ac 2 -i '%s' -c:v libx264 -preset %s -b:v %dk -pix_fmt yuv420p "
                  "-c:a aac -b:a 128k '%s'",
                  width, height, kFps, kRate, audioFile.c_str(), kPreset, kVideoKbps,
                  (dir / "ffmpeg.mp4").string().c_str());
    const double child0 = cpuSeconds(RUSAGE_CHILDREN);
    t0 = now();
    FILE* pipe = popen(cmd, "w");
    if (!pipe)
        return 1;
    for (int i = 0; i < frameCount; ++i) {
        const auto& f = frames[static_cast<std::size_t>(i % 30)];
        std::fwrite(f.data(), 1, f.size(), pipe);
    }
    pclose(pipe);
    const double ffWall = now() - t0;
    const double ffCpu = cpuSeconds(RUSAGE_CHILDREN) - child0;

    std::printf("%-22s %10s %16s %12s %16s\n", "", "fps", "CPU s/frame", "size (MB)", "frames in file");
    const auto size = [&](const char* name) {
        return std::filesystem::file_size(dir / name) / 1e6;
    };
    // Every pushed frame must be in the file: a push waits for the encoder
    // rather than dropping, however fast it comes.
    const auto framesIn = [&](const char* name) {
        return std::atoi(
            probeField((dir / name).string(), "v:0", "stream=nb_read_packets -count_packets").c_str());
    };
    const int oursFrames = framesIn("ours.mp4");
    std::printf("%-22s %10.1f %16.5f %12.2f %16d\n", "libMediaEncoder", frameCount / oursWall,
                oursCpu / frameCount, size("ours.mp4"), oursFrames);
    std::printf("%-22s %10.1f %16.5f %12.2f %16d\n", "ffmpeg command line", frameCount / ffWall,
                ffCpu / frameCount, size("ffmpeg.mp4"), framesIn("ffmpeg.mp4"));
    std::printf("frames lost by libMediaEncoder: %d of %d\n", frameCount - oursFrames, frameCount);
    std::printf("ratio: %.2fx the frame rate, %.2fx less CPU per frame (ffmpeg / ours)\n",
                (frameCount / oursWall) / (frameCount / ffWall), ffCpu / oursCpu);
    std::printf("finishing our file (trailers to done) took %.3f s\n", finishSeconds);
    std::filesystem::remove_all(dir);
    return 0;
}

int longRun(double minutes, int width, int height) {
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "framedeck-encoder-longrun";
    std::filesystem::create_directories(dir);
    const std::string path = (dir / "long.mp4").string();
    const auto frames = makeFrames(width, height, 30);
    const int64_t totalFrames = std::llround(minutes * 60 * kFps);
    std::printf("long run: %.0f min of %dx%d at %.0f fps with stereo audio\n", minutes, width, height, kFps);
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> jitter(-4, 4);
    std::uniform_int_distribution<int> chunk(400, 1100);
    const double t0 = now();
    void* h = openSession(path, width, height);
    int64_t samples = 0;
    for (int64_t i = 0; i < totalFrames; ++i) {
        // Capture clocks jitter by a few milliseconds around the frame period.
        const int64_t ms = std::max<int64_t>(0, std::llround(i * 1000 / kFps) + (i ? jitter(rng) : 0));
        pushVideo(h, frames[static_cast<std::size_t>(i % 30)], width, height, ms);
        const int64_t due = std::llround((i + 1) * kRate / kFps);
        while (samples < due) {
            const int64_t n = std::min<int64_t>(chunk(rng), due - samples);
            pushAudio(h, tone(n, samples));
            samples += n;
        }
        if (i % static_cast<int64_t>(kFps * 600) == 0 && i)
            std::printf("  %.0f min pushed, encoded %lld ms\n", static_cast<double>(i) / kFps / 60,
                        static_cast<long long>(apiEncoderGetEncodedTimestamp(h)));
    }
    const double finishSeconds = finish(h);
    const double wall = now() - t0;
    const double videoEnd = std::atof(probeField(path, "v:0", "stream=duration").c_str());
    const double audioEnd = std::atof(probeField(path, "a:0", "stream=duration").c_str());
    const double videoStart = std::atof(probeField(path, "v:0", "stream=start_time").c_str());
    const double audioStart = std::atof(probeField(path, "a:0", "stream=start_time").c_str());
    std::printf("pushed %.3f s of video and %.3f s of audio in %.0f s\n", totalFrames / kFps,
                static_cast<double>(samples) / kRate, wall);
    std::printf("file: video %.3f..%.3f s, audio %.3f..%.3f s\n", videoStart, videoStart + videoEnd,
                audioStart, audioStart + audioEnd);
    std::printf("A/V offset at the start %+.1f ms, at the end %+.1f ms (audio minus video)\n",
                (audioStart - videoStart) * 1000, (audioStart + audioEnd - videoStart - videoEnd) * 1000);
    std::printf(
        "finishing the file (trailers to done, fast-start rewrite included) took %.3f s for %.1f MB\n",
        finishSeconds, std::filesystem::file_size(path) / 1e6);
    std::filesystem::remove_all(dir);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "--help") == 0) {
        std::printf(
            "usage: encoder_bench [frames]            compare with the ffmpeg command line (default 300)\n"
            "       encoder_bench --long-run [minutes] [WxH]  A/V offset after a long recording "
            "(default 60, 640x360)\n");
        return 0;
    }
    if (argc > 1 && std::strcmp(argv[1], "--long-run") == 0) {
        const double minutes = argc > 2 ? std::atof(argv[2]) : 60;
        int w = 640, h = 360;
        if (argc > 3)
            std::sscanf(argv[3], "%dx%d", &w, &h);
        return longRun(minutes, w, h);
    }
    return compareWithFfmpeg(argc > 1 ? std::atoi(argv[1]) : 300);
}
