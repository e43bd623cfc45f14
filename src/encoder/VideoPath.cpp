#include "VideoPath.h"

#include "Log.h"
#include "MediaEncoder.h"
#include "PacketSink.h"

#include <algorithm>
#include <cmath>
#include <libyuv/convert_from_argb.h>
#include <thread>

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

int VideoFramePool::allocate(int count, int width, int height) {
    frames_.clear();
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

int convertBgraToI420(const uint8_t* bgra, int bytesPerRow, AVFrame* frame) {
    // The encoder may still hold a reference to this buffer from an earlier
    // use of the slot; then a private copy is made rather than overwriting it.
    if (av_frame_make_writable(frame) < 0)
        return ME_ERR_ENCODER;
    const int ret = libyuv::ARGBToI420(bgra, bytesPerRow, frame->data[0], frame->linesize[0], frame->data[1],
                                       frame->linesize[1], frame->data[2], frame->linesize[2], frame->width,
                                       frame->height);
    return ret == 0 ? ME_OK : ME_ERR_ARGUMENT;
}

} // namespace me
