#include "EncoderTestSupport.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

namespace enctest {

SyntheticVideo::SyntheticVideo(int width, int height, bool noise)
    : width_(width), height_(height), noise_(noise),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4) {
}

EncoderVideoFrame SyntheticVideo::frame(int index) {
    for (int y = 0; y < height_; ++y) {
        uint8_t* row = pixels_.data() + static_cast<std::size_t>(y) * width_ * 4;
        for (int x = 0; x < width_; ++x) {
            uint8_t* p = row + x * 4;
            if (noise_) {
                seed_ = seed_ * 1664525u + 1013904223u;
                p[0] = static_cast<uint8_t>(seed_ >> 24);
                p[1] = static_cast<uint8_t>(seed_ >> 16);
                p[2] = static_cast<uint8_t>(seed_ >> 8);
            } else {
                const bool bar = ((x + index * 4) % width_) < width_ / 8;
                p[0] = static_cast<uint8_t>(bar ? 255 : x * 255 / width_);
                p[1] = static_cast<uint8_t>(bar ? 255 : y * 255 / height_);
                p[2] = static_cast<uint8_t>(bar ? 255 : (index * 3) & 0xff);
            }
            p[3] = 255;
        }
    }
    EncoderVideoFrame f{};
    f.pixelFormat = ME_PIXEL_FORMAT_BGRA;
    f.width = static_cast<uint32_t>(width_);
    f.height = static_cast<uint32_t>(height_);
    f.bytesPerRow = static_cast<uint32_t>(width_ * 4);
    f.data = pixels_.data();
    f.dataLength = static_cast<uint32_t>(pixels_.size());
    return f;
}

SyntheticAudio::SyntheticAudio(int channels, int rate, double hz)
    : channels_(channels), rate_(rate), hz_(hz) {
}

EncoderAudioFrame SyntheticAudio::next(int frames) {
    samples_.resize(static_cast<std::size_t>(frames) * channels_);
    for (int i = 0; i < frames; ++i) {
        const double t = static_cast<double>(position_ + i) / rate_;
        const auto v = static_cast<int32_t>(std::sin(2 * M_PI * hz_ * t) * 0.5 * 2147483647.0);
        for (int c = 0; c < channels_; ++c)
            samples_[static_cast<std::size_t>(i) * channels_ + c] = v;
    }
    position_ += frames;
    EncoderAudioFrame a{};
    a.data = reinterpret_cast<const uint8_t*>(samples_.data());
    a.dataLength = static_cast<uint32_t>(samples_.size() * 4);
    return a;
}

void* startRecording(const std::string& path, const RecordingOptions& o) {
    void* h = apiEncoderCreate();
    EXPECT_NE(h, nullptr);
    EXPECT_EQ(apiEncoderSetOutputPath(h, path.c_str()), ME_OK);
    if (o.audio) {
        EXPECT_EQ(apiEncoderSetAudioSrcContext(h, o.channels, o.sampleRate, ME_SAMPLE_FORMAT_S32), ME_OK);
        EXPECT_EQ(apiEncoderSetAudioBitrate(h, 12800), ME_OK);
        EXPECT_EQ(apiEncoderSetAudioEncodeContext(h, std::min(o.channels, 2), o.sampleRate), ME_OK);
    }
    if (o.video) {
        EXPECT_EQ(apiEncoderSetImageSize(h, o.width, o.height), ME_OK);
        EXPECT_EQ(apiEncoderSetImageFormat(h, ME_IMAGE_FORMAT_BGRA), ME_OK);
        EXPECT_EQ(apiEncoderSetOutputSize(h, o.width, o.height), ME_OK);
        EXPECT_EQ(apiEncoderSetFps(h, o.fps), ME_OK);
        EXPECT_EQ(apiEncoderSetVideoBitrate(h, o.videoKbps), ME_OK);
    }
    EXPECT_EQ(apiEncoderSetLimitTime(h, o.limitSeconds), ME_LIMIT_OK);
    EXPECT_EQ(apiEncoderSetLimitSize(h, o.limitMegabytes), ME_LIMIT_OK);
    const int32_t started = apiEncoderEncode(h);
    EXPECT_EQ(started, ME_OK);
    if (started != ME_OK) {
        apiEncoderClose(h);
        return nullptr;
    }
    return h;
}

void recordFile(const std::string& path, const RecordingOptions& o) {
    void* h = startRecording(path, o);
    if (!h)
        return;
    SyntheticVideo video(o.width, o.height, o.noise);
    SyntheticAudio audio(o.channels, o.sampleRate);
    const int frames = static_cast<int>(std::lround(o.seconds * o.fps));
    const int64_t totalSamples = std::llround(o.seconds * o.sampleRate);
    constexpr int kChunk = 1024;
    int64_t samplesPushed = 0;
    for (int i = 0; i < frames || (o.audio && samplesPushed < totalSamples); ++i) {
        if (o.video && i < frames) {
            const EncoderVideoFrame f = video.frame(i);
            const auto ms = static_cast<int64_t>(std::llround(i * 1000.0 / o.fps));
            // As fast as it goes: the push itself waits for the encoder.
            ASSERT_EQ(apiEncoderPushVideo(h, &f, ms), ME_OK);
        }
        // Audio up to the time of the next frame, or a burst ahead of it.
        const auto due = std::llround((i + 1) * o.sampleRate / o.fps);
        const auto audioUntil =
            !o.video ? totalSamples
            : samplesPushed >= due
                ? samplesPushed
                : std::min<int64_t>(totalSamples, due + std::llround(o.audioAheadSeconds * o.sampleRate));
        while (o.audio && samplesPushed < audioUntil) {
            const int n = static_cast<int>(std::min<int64_t>(kChunk, audioUntil - samplesPushed));
            const EncoderAudioFrame a = audio.next(n);
            ASSERT_EQ(apiEncoderPushAudio(h, &a), ME_OK);
            samplesPushed += n;
        }
    }
    EXPECT_EQ(finishRecording(h), ME_OK);
}

int32_t finishRecording(void* h) {
    EXPECT_EQ(apiEncodePushVideoTrailer(h), ME_OK);
    EXPECT_EQ(apiEncodePushAudioTrailer(h), ME_OK);
    while (apiEncodeIsDone(h) != 1)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return apiEncoderClose(h);
}

std::string freshDir(const std::string& name) {
    const std::filesystem::path dir = std::filesystem::path(FRAMEDECK_BINARY_DIR) / "test-output" / name;
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir.string();
}

std::string topLevelBoxes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const uint64_t fileSize = std::filesystem::file_size(path);
    uint64_t pos = 0;
    std::string types;
    unsigned char head[16];
    while (in.read(reinterpret_cast<char*>(head), 8)) {
        uint64_t size = 0;
        for (int i = 0; i < 4; ++i)
            size = size << 8 | head[i];
        int header = 8;
        if (size == 1 && in.read(reinterpret_cast<char*>(head + 8), 8)) {
            size = 0;
            for (int i = 8; i < 16; ++i)
                size = size << 8 | head[i];
            header = 16;
        }
        if (size < static_cast<uint64_t>(header) || size > fileSize - pos)
            break;
        pos += size;
        types += (types.empty() ? "" : " ") + std::string(reinterpret_cast<char*>(head) + 4, 4);
        in.seekg(static_cast<std::streamoff>(size) - header, std::ios::cur);
    }
    return types;
}

} // namespace enctest
