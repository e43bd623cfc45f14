#include "AudioPath.h"

#include "Log.h"
#include "MediaEncoder.h"
#include "PacketSink.h"

#include <algorithm>
#include <cstdlib>

extern "C" {
#include <libavutil/opt.h>
}

namespace me {

namespace {

// Raw PCM has no natural frame; 1024 samples keeps packets near AAC's.
constexpr int kPcmFrameSamples = 1024;
// Silence is fed through the normal path in chunks of this many frames.
constexpr int kSilenceChunkFrames = 1024;

const AVCodec* findCodec(AudioCodec codec) {
    switch (codec) {
    case AudioCodec::Aac:
        return avcodec_find_encoder(AV_CODEC_ID_AAC);
    case AudioCodec::Mp3:
        return avcodec_find_encoder_by_name("libmp3lame");
    case AudioCodec::Pcm16:
        return avcodec_find_encoder(AV_CODEC_ID_PCM_S16LE);
    case AudioCodec::None:
        break;
    }
    return nullptr;
}

int nearestRate(const AVCodec* codec, int wanted) {
    if (!codec->supported_samplerates)
        return wanted;
    int best = codec->supported_samplerates[0];
    for (const int* r = codec->supported_samplerates; *r; ++r) {
        if (std::abs(*r - wanted) < std::abs(best - wanted))
            best = *r;
    }
    return best;
}

} // namespace

int AudioEncoder::open(const AudioParams& params) {
    const AVCodec* codec = findCodec(params.codec);
    if (!codec) {
        log("no encoder for the audio of this container");
        return ME_ERR_UNSUPPORTED;
    }
    ctx_.reset(avcodec_alloc_context3(codec));
    packet_.reset(av_packet_alloc());
    frame_.reset(av_frame_alloc());
    if (!ctx_ || !packet_ || !frame_)
        return ME_ERR_ENCODER;
    AVCodecContext* c = ctx_.get();
    c->sample_fmt = codec->sample_fmts ? codec->sample_fmts[0] : AV_SAMPLE_FMT_S16;
    c->sample_rate = nearestRate(codec, params.rate);
    if (c->sample_rate != params.rate)
        log("audio rate %d Hz is not possible here, using %d Hz", params.rate, c->sample_rate);
    av_channel_layout_default(&c->ch_layout, params.channels);
    c->time_base = AVRational{1, c->sample_rate};
    if (params.codec == AudioCodec::Mp3)
        c->bit_rate = std::min<int64_t>(params.bitRate, 320000);
    else if (params.codec == AudioCodec::Aac)
        c->bit_rate = params.bitRate;
    if (params.globalHeader)
        c->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (avcodec_open2(c, codec, nullptr) < 0) {
        log("cannot open the audio encoder (%d ch, %d Hz)", params.channels, c->sample_rate);
        return ME_ERR_ENCODER;
    }
    frameSize_ = c->frame_size > 0 ? c->frame_size : kPcmFrameSamples;
    sourceChannels_ = params.sourceChannels;

    AVChannelLayout inLayout{};
    av_channel_layout_default(&inLayout, params.sourceChannels);
    SwrContext* swr = nullptr;
    const int swrRet = swr_alloc_set_opts2(&swr, &c->ch_layout, c->sample_fmt, c->sample_rate, &inLayout,
                                           AV_SAMPLE_FMT_S32, params.sourceRate, 0, nullptr);
    av_channel_layout_uninit(&inLayout);
    swr_.reset(swr);
    if (swrRet < 0 || swr_init(swr_.get()) < 0)
        return ME_ERR_ENCODER;

    fifo_.reset(av_audio_fifo_alloc(c->sample_fmt, c->ch_layout.nb_channels, frameSize_ * 4));
    frame_->format = c->sample_fmt;
    frame_->nb_samples = frameSize_;
    frame_->sample_rate = c->sample_rate;
    if (!fifo_ || av_channel_layout_copy(&frame_->ch_layout, &c->ch_layout) < 0 ||
        av_frame_get_buffer(frame_.get(), 0) < 0)
        return ME_ERR_ENCODER;
    silence_.assign(static_cast<std::size_t>(kSilenceChunkFrames) * 4 * params.sourceChannels, 0);
    return growBuffer(4096);
}

void AudioEncoder::freeBuffer() {
    if (converted_)
        av_freep(&converted_[0]);
    av_freep(&converted_);
    convertedCapacity_ = 0;
}

int AudioEncoder::growBuffer(int frames) {
    if (frames <= convertedCapacity_)
        return ME_OK;
    freeBuffer();
    if (av_samples_alloc_array_and_samples(&converted_, nullptr, ctx_->ch_layout.nb_channels, frames,
                                           ctx_->sample_fmt, 0) < 0)
        return ME_ERR_ENCODER;
    convertedCapacity_ = frames;
    return ME_OK;
}

int AudioEncoder::encodeInterleaved(const uint8_t* data, int frames, PacketSink& sink) {
    const int capacity = swr_get_out_samples(swr_.get(), frames);
    if (capacity < 0 || growBuffer(capacity) != ME_OK)
        return ME_ERR_ENCODER;
    const uint8_t* in[1] = {data};
    const int converted = swr_convert(swr_.get(), converted_, convertedCapacity_, in, frames);
    if (converted < 0)
        return ME_ERR_ENCODER;
    if (av_audio_fifo_write(fifo_.get(), reinterpret_cast<void**>(converted_), converted) < converted)
        return ME_ERR_ENCODER;
    return drainFifo(false, sink);
}

int AudioEncoder::encodeSilence(int64_t frames, PacketSink& sink) {
    while (frames > 0) {
        const int n = static_cast<int>(std::min<int64_t>(frames, kSilenceChunkFrames));
        const int ret = encodeInterleaved(silence_.data(), n, sink);
        if (ret < 0)
            return ret;
        frames -= n;
    }
    return ME_OK;
}

int AudioEncoder::flush(PacketSink& sink) {
    if (!ctx_)
        return ME_OK;
    // What the resampler still holds, then the last short frame, then the
    // encoder's own delay.
    const int converted = swr_convert(swr_.get(), converted_, convertedCapacity_, nullptr, 0);
    if (converted > 0)
        av_audio_fifo_write(fifo_.get(), reinterpret_cast<void**>(converted_), converted);
    int ret = drainFifo(true, sink);
    avcodec_send_frame(ctx_.get(), nullptr);
    const int drained = drainPackets(sink);
    return ret < 0 ? ret : drained;
}

int AudioEncoder::drainFifo(bool final, PacketSink& sink) {
    for (;;) {
        const int available = av_audio_fifo_size(fifo_.get());
        if (available == 0 || (available < frameSize_ && !final))
            return ME_OK;
        const int n = std::min(available, frameSize_);
        if (av_frame_make_writable(frame_.get()) < 0)
            return ME_ERR_ENCODER;
        frame_->nb_samples = n;
        if (av_audio_fifo_read(fifo_.get(), reinterpret_cast<void**>(frame_->data), n) < n)
            return ME_ERR_ENCODER;
        frame_->pts = nextPts_;
        nextPts_ += n;
        if (avcodec_send_frame(ctx_.get(), frame_.get()) < 0)
            return ME_ERR_ENCODER;
        const int ret = drainPackets(sink);
        if (ret < 0)
            return ret;
    }
}

int AudioEncoder::drainPackets(PacketSink& sink) {
    for (;;) {
        const int ret = avcodec_receive_packet(ctx_.get(), packet_.get());
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
            return ME_OK;
        if (ret < 0)
            return ME_ERR_ENCODER;
        const int written = sink.writeAudioPacket(packet_.get());
        av_packet_unref(packet_.get());
        if (written < 0)
            return written;
    }
}

} // namespace me
