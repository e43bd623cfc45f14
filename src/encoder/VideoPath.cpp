#include "VideoPath.h"

#include "Log.h"
#include "MediaEncoder.h"
#include "PacketSink.h"

#include <algorithm>
#include <cmath>
#include <libyuv/convert_from_argb.h>
#include <thread>
#include <utility>

extern "C" {
#include <libavutil/opt.h>
}

namespace me {

int VideoEncoder::open(const VideoParams& params) {
    const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
    if (!codec) {
        log("libx264 is not available");
        return ME_ERR_UNSUPPORTED;
    }
    ctx_.reset(avcodec_alloc_context3(codec));
    packet_.reset(av_packet_alloc());
    if (!ctx_ || !packet_)
        return ME_ERR_ENCODER;
    AVCodecContext* c = ctx_.get();
    c->width = params.width;
    c->height = params.height;
    c->pix_fmt = AV_PIX_FMT_YUV420P;
    c->framerate = av_d2q(params.fps, 100000);
    c->time_base = av_inv_q(c->framerate);
    c->bit_rate = params.bitRate;
    // A keyframe every two seconds keeps seeking and split points close
    // without costing much on mostly static screen content.
    c->gop_size = std::max(1, static_cast<int>(std::lround(params.fps * 2)));
    if (!params.allowBFrames)
        c->max_b_frames = 0;
    // libyuv's ARGBToI420 produces BT.601 limited-range YUV; say so in the stream.
    c->colorspace = AVCOL_SPC_SMPTE170M;
    c->color_primaries = AVCOL_PRI_SMPTE170M;
    c->color_trc = AVCOL_TRC_SMPTE170M;
    c->color_range = AVCOL_RANGE_MPEG;
    if (params.globalHeader)
        c->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_opt_set(c->priv_data, "preset", kX264Preset, 0);
    av_opt_set_int(c->priv_data, "forced-idr", 1, 0);
    // Every frame thread and every look-ahead frame is a frame held inside the
    // encoder, lost if the process dies. Bounding both keeps that under about
    // 0.8 s at 20 fps on any machine (the preset's own values at 30 fps on
    // up to four cores), leaving room in the crash-safety budget for a fragment.
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    c->thread_count = static_cast<int>(std::min(6u, (cores * 3 + 1) / 2));
    if (params.noDelay) {
        av_opt_set_int(c->priv_data, "rc-lookahead", 0, 0);
        av_opt_set_int(c->priv_data, "mbtree", 0, 0);
        av_opt_set(c->priv_data, "x264-params", "sliced-threads=1:sync-lookahead=0", 0);
    } else {
        av_opt_set_int(c->priv_data, "rc-lookahead", std::clamp(std::lround(params.fps / 3), 5L, 10L), 0);
    }
    const int ret = avcodec_open2(c, codec, nullptr);
    if (ret < 0) {
        log("cannot open libx264 for %dx%d at %.2f fps (%d)", params.width, params.height, params.fps, ret);
        return ME_ERR_ENCODER;
    }
    return ME_OK;
}

int VideoEncoder::encode(AVFrame* frame, int64_t index, bool keyframe, PacketSink& sink) {
    frame->pts = index;
    frame->pict_type = keyframe ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    const int ret = avcodec_send_frame(ctx_.get(), frame);
    if (ret < 0)
        return ME_ERR_ENCODER;
    return drain(sink);
}

int VideoEncoder::flush(PacketSink& sink) {
    if (!ctx_)
        return ME_OK;
    avcodec_send_frame(ctx_.get(), nullptr);
    return drain(sink);
}

int VideoEncoder::drain(PacketSink& sink) {
    for (;;) {
        const int ret = avcodec_receive_packet(ctx_.get(), packet_.get());
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
            return ME_OK;
        if (ret < 0)
            return ME_ERR_ENCODER;
        // A picture lasts until the next one, which the muxer measures; the
        // last one of the file lasts one frame, whatever the gap before it.
        if (packet_->duration <= 0)
            packet_->duration = 1;
        const int written = sink.writeVideoPacket(packet_.get());
        av_packet_unref(packet_.get());
        if (written < 0)
            return written;
    }
}

void RowSpan::join(const RowSpan& other) {
    if (other.empty())
        return;
    if (empty()) {
        *this = other;
        return;
    }
    first = std::min(first, other.first);
    end = std::max(end, other.end);
}

RowSpan changedRowsOf(uint32_t changedRows, int height) {
    if (!(changedRows & 0x80000000u))
        return {0, height};
    const int first = static_cast<int>(changedRows & 0x7FFFu);
    const int end = static_cast<int>((changedRows >> 15) & 0x7FFFu);
    if (first == end)
        return {};
    // A band that makes no sense is no reason to trust part of it.
    if (first > end || end > height)
        return {0, height};
    return {first, end};
}

void VideoFramePool::pictureChanged(const RowSpan& changed) {
    for (RowSpan& rows : stale_)
        rows.join(changed);
}

RowSpan VideoFramePool::takeStaleRows(int slot) {
    return std::exchange(stale_[static_cast<std::size_t>(slot)], RowSpan{});
}

int VideoFramePool::allocate(int count, int width, int height) {
    frames_.clear();
    height_ = height;
    // Nothing converted yet: every row of every frame is to be filled.
    stale_.assign(static_cast<std::size_t>(count), RowSpan{0, height});
    for (int i = 0; i < count; ++i) {
        FramePtr f(av_frame_alloc());
        if (!f)
            return ME_ERR_ENCODER;
        f->format = AV_PIX_FMT_YUV420P;
        f->width = width;
        f->height = height;
        if (av_frame_get_buffer(f.get(), 0) < 0)
            return ME_ERR_ENCODER;
        frames_.push_back(std::move(f));
    }
    return ME_OK;
}

int convertBgraToI420(const uint8_t* bgra, int bytesPerRow, AVFrame* frame, RowSpan rows) {
    // Chroma rows cover two picture rows each: convert whole pairs.
    const int first = std::max(0, rows.first) & ~1;
    const int end = std::min(frame->height, rows.end + (rows.end & 1));
    if (first >= end)
        return ME_OK;
    // The encoder may still hold a reference to this buffer from an earlier
    // use of the slot; then a private copy (of the whole picture) is made
    // rather than overwriting it.
    if (av_frame_make_writable(frame) < 0)
        return ME_ERR_ENCODER;
    const auto at = [frame](int plane, int row) {
        return frame->data[plane] + static_cast<std::ptrdiff_t>(row) * frame->linesize[plane];
    };
    const int ret = libyuv::ARGBToI420(bgra + static_cast<std::ptrdiff_t>(first) * bytesPerRow, bytesPerRow,
                                       at(0, first), frame->linesize[0], at(1, first / 2), frame->linesize[1],
                                       at(2, first / 2), frame->linesize[2], frame->width, end - first);
    return ret == 0 ? ME_OK : ME_ERR_ARGUMENT;
}

} // namespace me
