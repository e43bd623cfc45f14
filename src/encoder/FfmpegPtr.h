#pragma once

// Owning wrappers for the FFmpeg objects the encoder keeps. Only this library
// includes FFmpeg headers.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

#include <memory>

namespace me {

struct FrameDeleter {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct PacketDeleter {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct CodecContextDeleter {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct SwrDeleter {
    void operator()(SwrContext* s) const { swr_free(&s); }
};
struct AudioFifoDeleter {
    void operator()(AVAudioFifo* f) const { av_audio_fifo_free(f); }
};
// Closes the file (if the context opened one) and frees the context.
struct OutputContextDeleter {
    void operator()(AVFormatContext* c) const {
        if (c->pb && !(c->oformat->flags & AVFMT_NOFILE))
            avio_closep(&c->pb);
        avformat_free_context(c);
    }
};
struct InputContextDeleter {
    void operator()(AVFormatContext* c) const { avformat_close_input(&c); }
};
struct DictionaryDeleter {
    void operator()(AVDictionary* d) const { av_dict_free(&d); }
};

using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using SwrPtr = std::unique_ptr<SwrContext, SwrDeleter>;
using AudioFifoPtr = std::unique_ptr<AVAudioFifo, AudioFifoDeleter>;
using OutputContextPtr = std::unique_ptr<AVFormatContext, OutputContextDeleter>;
using InputContextPtr = std::unique_ptr<AVFormatContext, InputContextDeleter>;

// AVDictionary is filled through a pointer-to-pointer; this keeps it owned.
class Dictionary {
public:
    Dictionary() = default;
    Dictionary(const Dictionary&) = delete;
    Dictionary& operator=(const Dictionary&) = delete;
    ~Dictionary() { av_dict_free(&dict_); }
    void set(const char* key, const char* value) { av_dict_set(&dict_, key, value, 0); }
    AVDictionary** get() { return &dict_; }

private:
    AVDictionary* dict_ = nullptr;
};

} // namespace me
