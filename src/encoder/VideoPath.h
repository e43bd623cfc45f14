#pragma once

#include "FfmpegPtr.h"

#include <cstdint>
#include <vector>

namespace me {

class PacketSink;

// The x264 preset of every recording. Screen recorders in common use default
// to it; the benchmark runs the ffmpeg command line with the same one.
inline constexpr const char* kX264Preset = "veryfast";

struct VideoParams {
    int width = 0;  // even output width (the source may be one wider)
    int height = 0; // even output height
    double fps = 0;
    int64_t bitRate = 0; // bit/s
    bool allowBFrames = true;
    bool globalHeader = false;
    // Every picture leaves the encoder as soon as it is encoded: no
    // look-ahead, and threads that share a picture (slices) rather than hold
    // several. For pictures that come only when the screen changes, where a
    // look-ahead of ten pictures could hold one for ten seconds.
    bool noDelay = false;
};

// libx264 through libavcodec. Owned and used by the encode thread, except
// that open() runs on the thread starting the session.
class VideoEncoder {
public:
    int open(const VideoParams& params);
    AVCodecContext* context() const { return ctx_.get(); }
    AVRational timeBase() const { return ctx_->time_base; }
    // Encodes `frame` as output frame number `index`; `keyframe` forces an IDR.
    int encode(AVFrame* frame, int64_t index, bool keyframe, PacketSink& sink);
    // Drains the encoder at the end of the stream.
    int flush(PacketSink& sink);

private:
    int drain(PacketSink& sink);
    CodecContextPtr ctx_;
    PacketPtr packet_;
};

// The fixed set of I420 frames that pushes convert into, so that steady-state
// pushes allocate nothing. allocate() runs when the session starts; a frame is
// then touched only by whoever holds its slot (a pushing thread while it
// converts, the encode thread while it encodes).
class VideoFramePool {
public:
    int allocate(int count, int width, int height);
    AVFrame* frame(int slot) const { return frames_[static_cast<std::size_t>(slot)].get(); }
    int size() const { return static_cast<int>(frames_.size()); }

private:
    std::vector<FramePtr> frames_;
};

// BGRA (B, G, R, A bytes) -> I420 with libyuv, on the pushing thread. Converts
// the top-left frame->width x frame->height area of the source.
int convertBgraToI420(const uint8_t* bgra, int bytesPerRow, AVFrame* frame);

} // namespace me
