// libMediaEncoder's C interface driven by a sequence of records.
//
// Input: a 6-byte header, then records of one opcode byte and its operands.
//   header: container, width, height, fps, audio layout, split length
//   0 video frame        delta-ms (1 byte), fill (1), shape (1)
//   1 audio buffer       frames (2, little endian), shape (1)
//   2 pause              pushes stop; the media clock stands still
//   3 resume
//   4 video, raw time    timestamp (2, signed: backwards and far jumps)
//   5 video trailer      6 audio trailer
//   7 close now          (skips the trailers and the wait)
// Sizes are bounded so one input stays small; errors are fine, a crash,
// leak or hang is not.
#include "FuzzSupport.h"
#include "MediaEncoder.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

namespace {

constexpr const char* kExtensions[] = {".mp4", ".mov", ".m4v", ".flv", ".avi",
                                       ".mp3", ".wav", ".m4a", ".xyz"};
constexpr int kSourceRates[] = {8000, 22050, 44100, 48000, 96000, 192000};
// One input is at most this many records: each frame costs an encode.
constexpr int kMaxRecords = 96;
constexpr int kMaxAudioFrames = 4096;

class Reader {
public:
    Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    bool more() const { return pos_ < size_; }
    uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    uint16_t word() {
        const uint16_t low = byte();
        return static_cast<uint16_t>(low | (byte() << 8));
    }

private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

struct Layout {
    int width = 0, height = 0, channels = 0;
};

int32_t pushVideo(void* handle, const Layout& layout, uint8_t fill, uint8_t shape, int64_t ms) {
    // Mostly well-formed frames; the shape byte also produces the malformed
    // ones a caller can get wrong: padding, short rows, a wrong size.
    const int pad = (shape & 3) * 4;
    const int width = (shape & 0x10) ? layout.width + 2 : layout.width;
    const int height = (shape & 0x20) ? std::max(1, layout.height - 1) : layout.height;
    uint32_t stride = static_cast<uint32_t>(width * 4 + pad);
    if (shape & 0x40)
        stride -= 1;
    std::vector<uint8_t> pixels(static_cast<size_t>(stride) * height, fill);
    uint32_t length = static_cast<uint32_t>(pixels.size());
    if (shape & 0x80)
        length = length / 2;
    EncoderVideoFrame frame{ME_PIXEL_FORMAT_BGRA,
                            static_cast<uint32_t>(width),
                            static_cast<uint32_t>(height),
                            stride,
                            pixels.data(),
                            length,
                            0};
    if ((shape & 0x0c) == 0x0c)
        frame.pixelFormat = 7;
    return apiEncoderPushVideo(handle, &frame, ms);
}

int32_t pushAudio(void* handle, const Layout& layout, uint16_t frames, uint8_t shape) {
    frames = static_cast<uint16_t>(frames % (kMaxAudioFrames + 1));
    const int channels = std::max(1, layout.channels);
    std::vector<uint8_t> samples(static_cast<size_t>(frames) * channels * 4);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<uint8_t>(i * shape);
    EncoderAudioFrame frame{samples.data(), static_cast<uint32_t>(samples.size()), 0};
    if ((shape & 1) && frame.dataLength > 0)
        frame.dataLength -= 1; // not a whole number of sample frames
    return apiEncoderPushAudio(handle, (shape & 2) && frames == 0 ? nullptr : &frame);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Reader in(data, size);
    const uint8_t container = in.byte();
    Layout layout;
    layout.width = 2 + in.byte() % 63;
    layout.height = 2 + in.byte() % 63;
    const double fps = 1 + in.byte() % 60;
    const uint8_t audio = in.byte();
    layout.channels = audio % 9; // 0: no audio source
    const uint8_t split = in.byte();

    void* handle = apiEncoderCreate();
    if (!handle)
        return 0;
    const QByteArray path =
        (fuzz::scratch().path() + "/out" + kExtensions[container % std::size(kExtensions)]).toUtf8();
    apiEncoderSetOutputPath(handle, path.constData());
    apiEncoderSetImageSize(handle, layout.width, layout.height);
    apiEncoderSetImageFormat(handle, ME_IMAGE_FORMAT_BGRA);
    apiEncoderSetOutputSize(handle, layout.width, layout.height);
    apiEncoderSetFps(handle, fps);
    apiEncoderSetVideoBitrate(handle, 300);
    if (layout.channels > 0) {
        apiEncoderSetAudioSrcContext(handle, layout.channels,
                                     kSourceRates[(audio >> 4) % std::size(kSourceRates)],
                                     ME_SAMPLE_FORMAT_S32);
        apiEncoderSetAudioBitrate(handle, 12800);
        apiEncoderSetAudioEncodeContext(handle, 1 + (audio >> 7), (audio & 0x40) ? 44100 : 48000);
    }
    if (split & 0x80)
        apiEncoderSetLimitSize(handle, 1);
    else
        apiEncoderSetLimitTime(handle, split % 3);

    bool closed = false;
    if (apiEncoderEncode(handle) == ME_OK) {
        int64_t mediaMs = 0;
        bool paused = false;
        for (int records = 0; in.more() && records < kMaxRecords && !closed; ++records) {
            switch (in.byte() % 8) {
            case 0: {
                const int64_t delta = in.byte() * 4;
                const uint8_t fill = in.byte();
                const uint8_t shape = in.byte();
                if (paused)
                    break;
                mediaMs += delta;
                pushVideo(handle, layout, fill, shape, mediaMs);
                break;
            }
            case 1: {
                const uint16_t frames = in.word();
                const uint8_t shape = in.byte();
                if (!paused)
                    pushAudio(handle, layout, frames, shape);
                break;
            }
            case 2:
                paused = true;
                break;
            case 3:
                paused = false;
                break;
            case 4: {
                const auto raw = static_cast<int16_t>(in.word());
                pushVideo(handle, layout, 0x80, 0, static_cast<int64_t>(raw) * 8);
                break;
            }
            case 5:
                apiEncodePushVideoTrailer(handle);
                break;
            case 6:
                apiEncodePushAudioTrailer(handle);
                break;
            case 7:
                closed = true;
                break;
            }
        }
        (void)apiEncoderGetEncodedTimestamp(handle);
        (void)apiEncoderGetFileSize(handle);
        if (!closed) {
            apiEncodePushVideoTrailer(handle);
            apiEncodePushAudioTrailer(handle);
            // A finished recording reports done; libFuzzer's -timeout turns a
            // session that never does into a reported hang.
            while (apiEncodeIsDone(handle) == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    apiEncoderClose(handle);
    // A closed handle is refused, never used.
    if (apiEncodeIsDone(handle) >= 0)
        __builtin_trap();
    fuzz::clearScratch();
    return 0;
}
