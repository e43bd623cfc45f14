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

// Rows [first, end) of a picture; empty when first >= end.
struct RowSpan {
    int first = 0;
    int end = 0;
    bool empty() const { return first >= end; }
    void join(const RowSpan& other);
};

// The fixed set of I420 frames that pushes convert into, so that steady-state
// pushes allocate nothing. allocate() runs when the session starts; a frame is
// then touched only by whoever holds its slot (a pushing thread while it
// converts, the encode thread while it encodes).
//
// Each frame keeps the picture of the push it was last converted from, so
// it remembers the rows where that picture may differ from the newest push
// (its stale rows): a push into it converts those rows alone. A screen that
// changes in a few rows then costs a few rows of conversion, not a frame.
// The stale rows are guarded by the session's lock.
class VideoFramePool {
public:
    int allocate(int count, int width, int height);
    AVFrame* frame(int slot) const { return frames_[static_cast<std::size_t>(slot)].get(); }
    int size() const { return static_cast<int>(frames_.size()); }

    // A new push differs from the one before in `changed` (every row when unknown).
    void pictureChanged(const RowSpan& changed);
    void forgetPictures() { pictureChanged(allRows()); }
    // The rows to convert into `slot`, which from then on holds the newest picture.
    RowSpan takeStaleRows(int slot);
    void forgetPicture(int slot) { stale_[static_cast<std::size_t>(slot)] = allRows(); }
    RowSpan allRows() const { return {0, height_}; }

private:
    std::vector<FramePtr> frames_;
    std::vector<RowSpan> stale_;
    int height_ = 0;
};

// The rows a pushed frame record says may have changed; every row when it
// does not say. `height` is the picture's.
RowSpan changedRowsOf(uint32_t changedRows, int height);

// BGRA (B, G, R, A bytes) -> I420 with libyuv, on the pushing thread. Converts
// the top-left frame->width wide area of the source's rows [rows.first,
// rows.end), widened to whole chroma rows.
int convertBgraToI420(const uint8_t* bgra, int bytesPerRow, AVFrame* frame, RowSpan rows);

} // namespace me
