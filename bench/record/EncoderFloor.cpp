// The encoder alone: libx264 through libavcodec, with the settings the
// recorder's library gives it, on a scene's raw I420 frames, paced at the
// frame rate as a recording is. Only the encoder's work is counted: the
// frames are mapped from the file and faulted in before the clock starts,
// and the process CPU time is summed over the encode calls alone (sliced
// threads finish a picture inside the call), so reading the file costs
// nothing here, unlike `ffmpeg -f rawvideo -i file`, whose reads cost about
// as much as the encoder itself.
//
//   bench_encoder_floor RAW WIDTH HEIGHT FPS KBPS THREADS [--changed]
//
// --changed encodes only the pictures that differ from the one before, and
// one a second of a still picture: what a recording that follows the
// screen's changes gives the encoder. Prints "cpu_seconds frames_encoded".
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

double processCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

int fail(const char* what) {
    std::fprintf(stderr, "bench_encoder_floor: %s\n", what);
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 7)
        return fail("usage: RAW WIDTH HEIGHT FPS KBPS THREADS [--changed]");
    const int width = std::atoi(argv[2]), height = std::atoi(argv[3]), fps = std::atoi(argv[4]);
    const long kbps = std::atol(argv[5]);
    const int threads = std::atoi(argv[6]);
    const bool changedOnly = argc > 7 && std::string(argv[7]) == "--changed";
    if (width <= 0 || height <= 0 || fps <= 0 || kbps <= 0 || threads <= 0)
        return fail("bad numbers");

    const int fd = open(argv[1], O_RDONLY);
    struct stat st {};
    if (fd < 0 || fstat(fd, &st) != 0)
        return fail("cannot open the raw file");
    const std::size_t frameBytes = std::size_t(width) * height * 3 / 2;
    const std::size_t frames = std::size_t(st.st_size) / frameBytes;
    if (frames == 0)
        return fail("no frame in the raw file");
    // Faulted in now, outside the measurement.
    auto* raw = static_cast<const uint8_t*>(
        mmap(nullptr, frames * frameBytes, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0));
    if (raw == MAP_FAILED)
        return fail("cannot map the raw file");

    av_log_set_level(AV_LOG_ERROR);
    const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
    AVCodecContext* c = codec ? avcodec_alloc_context3(codec) : nullptr;
    if (!c)
        return fail("no libx264");
    c->width = width;
    c->height = height;
    c->pix_fmt = AV_PIX_FMT_YUV420P;
    c->time_base = AVRational{1, fps};
    c->framerate = AVRational{fps, 1};
    c->bit_rate = kbps * 1000;
    c->gop_size = fps * 2;
    c->max_b_frames = 0;
    c->thread_count = threads;
    av_opt_set(c->priv_data, "preset", "veryfast", 0);
    av_opt_set_int(c->priv_data, "forced-idr", 1, 0);
    av_opt_set_int(c->priv_data, "rc-lookahead", 0, 0);
    av_opt_set_int(c->priv_data, "mbtree", 0, 0);
    av_opt_set(c->priv_data, "x264-params", "sliced-threads=1:sync-lookahead=0", 0);
    if (avcodec_open2(c, codec, nullptr) < 0)
        return fail("cannot open libx264");

    AVFrame* frame = av_frame_alloc();
    AVPacket* packet = av_packet_alloc();
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = width;
    frame->height = height;
    frame->linesize[0] = width;
    frame->linesize[1] = frame->linesize[2] = width / 2;

    double cpu = 0;
    long encoded = 0;
    std::size_t previous = 0;
    long lastKept = -fps;
    const auto encode = [&](AVFrame* f) {
        const double before = processCpuSeconds();
        avcodec_send_frame(c, f);
        while (avcodec_receive_packet(c, packet) == 0)
            av_packet_unref(packet);
        cpu += processCpuSeconds() - before;
    };
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < frames; ++i) {
        std::this_thread::sleep_until(start + std::chrono::microseconds(int64_t(i) * 1000000 / fps));
        const uint8_t* picture = raw + i * frameBytes;
        if (changedOnly && i > 0 && long(i) - lastKept < fps &&
            std::memcmp(picture, raw + previous * frameBytes, frameBytes) == 0)
            continue;
        previous = i;
        lastKept = long(i);
        frame->data[0] = const_cast<uint8_t*>(picture);
        frame->data[1] = frame->data[0] + std::size_t(width) * height;
        frame->data[2] = frame->data[1] + std::size_t(width) * height / 4;
        frame->pts = int64_t(i);
        // A reference to the mapped picture, so that libavcodec takes it
        // as it takes the library's pool frames: without a copy.
        frame->buf[0] = av_buffer_create(
            frame->data[0], int(frameBytes), [](void*, uint8_t*) {}, nullptr, AV_BUFFER_FLAG_READONLY);
        encode(frame);
        av_buffer_unref(&frame->buf[0]);
        ++encoded;
    }
    encode(nullptr);
    std::printf("%.3f %ld\n", cpu, encoded);
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&c);
    munmap(const_cast<uint8_t*>(raw), frames * frameBytes);
    close(fd);
    return 0;
}
