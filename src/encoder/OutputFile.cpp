#include "OutputFile.h"

#include "Log.h"
#include "MediaEncoder.h"

#include <chrono>
#include <cstdio>
#include <vector>

namespace me {

namespace {

// Above this size the second pass of a fast-start rewrite costs more than the
// reserved index space wastes (at most a few tenths of a percent of the file).
constexpr int64_t kOnePassAboveBytes = 64 * 1000 * 1000;

// Audio and video packets arrive at different delays (the video encoder looks
// ahead). A bound of one second on the interleaving keeps a stalled stream
// from holding the other one in memory, out of reach of a crash-safe flush.
constexpr int64_t kMaxInterleaveUs = 1000000;

// Until both streams have given a packet, the muxer waits for the missing one
// whatever the distance, so that the first packet written is the earliest of
// both: the codecs start at different delays, and a muxer that saw one stream
// first would shift by it and clamp (MP4) or refuse (FLV) the other's earlier
// packets. Four seconds cover the video encoder's own delay at the lowest
// frame rates; a stream that has not started by then (a sound source that
// failed) stops the wait, which holds the only media a kill could lose.
constexpr int64_t kMaxWaitForOtherStreamUs = 4000000;

int addStream(AVFormatContext* ctx, const AVCodecContext* enc) {
    AVStream* st = avformat_new_stream(ctx, nullptr);
    if (!st || avcodec_parameters_from_context(st->codecpar, enc) < 0)
        return -1;
    st->time_base = enc->time_base;
    return st->index;
}

} // namespace

int OutputFile::open(const std::string& path, const ContainerChoice& choice, const AVCodecContext* video,
                     const AVCodecContext* audio) {
    choice_ = choice;
    path_ = path;
    videoIndex_ = audioIndex_ = -1;
    lastFlushUs_ = 0;
    firstEndUs_ = INT64_MAX;
    videoPackets_ = audioPackets_ = 0;
    AVFormatContext* raw = nullptr;
    if (avformat_alloc_output_context2(&raw, nullptr, choice.muxerName, path.c_str()) < 0 || !raw)
        return ME_ERR_ENCODER;
    ctx_.reset(raw);
    if (video && (videoIndex_ = addStream(raw, video)) < 0)
        return ME_ERR_ENCODER;
    if (audio && (audioIndex_ = addStream(raw, audio)) < 0)
        return ME_ERR_ENCODER;
    raw->max_interleave_delta = videoIndex_ >= 0 && audioIndex_ >= 0 ? 0 : kMaxInterleaveUs;
    if (avio_open(&raw->pb, path.c_str(), AVIO_FLAG_WRITE) < 0) {
        log("cannot create %s", path.c_str());
        ctx_.reset();
        return ME_ERR_IO;
    }
    Dictionary options;
    if (choice.fragmented) {
        options.set("movflags", "+frag_keyframe+empty_moov+default_base_moof");
        options.set("frag_duration", std::to_string(kFragmentUs).c_str());
    }
    if (avformat_write_header(raw, options.get()) < 0) {
        log("cannot write the header of %s", path.c_str());
        ctx_.reset();
        return ME_ERR_IO;
    }
    wavDataStart_ = avio_tell(raw->pb);
    avio_flush(raw->pb);
    size_ = avio_tell(raw->pb);
    return raw->pb->error < 0 ? ME_ERR_IO : ME_OK;
}

int OutputFile::write(AVPacket* packet, bool isVideo, AVRational timeBase) {
    if (!ctx_ || failed_) {
        av_packet_unref(packet);
        return ME_ERR_IO;
    }
    const int index = isVideo ? videoIndex_ : audioIndex_;
    if (index < 0) {
        av_packet_unref(packet);
        return ME_OK;
    }
    const int64_t endUs = av_rescale_q(packet->pts + packet->duration, timeBase, AV_TIME_BASE_Q);
    AVStream* st = ctx_->streams[index];
    av_packet_rescale_ts(packet, timeBase, st->time_base);
    packet->stream_index = index;
    ++(isVideo ? videoPackets_ : audioPackets_);
    if (ctx_->max_interleave_delta == 0) {
        firstEndUs_ = std::min(firstEndUs_, endUs);
        if ((videoPackets_ > 0 && audioPackets_ > 0) || endUs - firstEndUs_ > kMaxWaitForOtherStreamUs)
            ctx_->max_interleave_delta = kMaxInterleaveUs;
    }
    const int ret = av_interleaved_write_frame(ctx_.get(), packet);
    if (ret < 0 || ctx_->pb->error < 0) {
        markFailed("write", ret < 0 ? ret : ctx_->pb->error);
        return ME_ERR_IO;
    }
    if (endUs - lastFlushUs_ >= kFlushIntervalUs)
        flushToDisk(endUs);
    size_ = avio_tell(ctx_->pb);
    return ME_OK;
}

void OutputFile::flushToDisk(int64_t mediaUs) {
    lastFlushUs_ = mediaUs;
    if (choice_.patchWavHeader)
        patchWavHeader();
    avio_flush(ctx_->pb);
    if (ctx_->pb->error < 0)
        markFailed("flush", ctx_->pb->error);
}

void OutputFile::patchWavHeader() {
    AVIOContext* pb = ctx_->pb;
    const int64_t end = avio_tell(pb);
    if (end <= wavDataStart_ || end - 8 > UINT32_MAX)
        return;
    avio_seek(pb, 4, SEEK_SET);
    avio_wl32(pb, static_cast<unsigned>(end - 8));
    avio_seek(pb, wavDataStart_ - 4, SEEK_SET);
    avio_wl32(pb, static_cast<unsigned>(end - wavDataStart_));
    avio_seek(pb, end, SEEK_SET);
}

void OutputFile::markFailed(const char* what, int err) {
    if (!failed_) {
        char text[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(err, text, sizeof text);
        log("%s of %s failed (%s); the file ends here", what, path_.c_str(), text);
    }
    failed_ = true;
}

int OutputFile::finish() {
    if (!ctx_)
        return ME_OK;
    // A full disk surfaces here at the latest; what was written stays, and
    // the trailer is still attempted so the muxer ends as cleanly as it can.
    if (av_write_trailer(ctx_.get()) < 0 || ctx_->pb->error < 0)
        markFailed("trailer", ctx_->pb->error);
    avio_flush(ctx_->pb);
    size_ = avio_tell(ctx_->pb);
    ctx_.reset();
    return failed_ ? ME_ERR_IO : ME_OK;
}

int rewriteAsFastStart(const FinishJob& job) {
    const std::string& path = job.path;
    using Clock = std::chrono::steady_clock;
    const auto started = Clock::now();
    const auto slash = path.find_last_of('/');
    const std::string dir = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
    const std::string temp =
        dir + "." + path.substr(slash == std::string::npos ? 0 : slash + 1) + ".faststart";

    AVFormatContext* rawIn = nullptr;
    if (avformat_open_input(&rawIn, path.c_str(), nullptr, nullptr) < 0)
        return ME_ERR_IO;
    InputContextPtr in(rawIn);
    AVFormatContext* rawOut = nullptr;
    if (avformat_alloc_output_context2(&rawOut, nullptr, job.muxerName, temp.c_str()) < 0 || !rawOut)
        return ME_ERR_ENCODER;
    OutputContextPtr out(rawOut);
    for (unsigned i = 0; i < in->nb_streams; ++i) {
        AVStream* st = avformat_new_stream(rawOut, nullptr);
        if (!st || avcodec_parameters_copy(st->codecpar, in->streams[i]->codecpar) < 0)
            return ME_ERR_ENCODER;
        st->codecpar->codec_tag = 0;
        st->time_base = in->streams[i]->time_base;
    }
    if (avio_open(&rawOut->pb, temp.c_str(), AVIO_FLAG_WRITE) < 0)
        return ME_ERR_IO;
    const int64_t total = avio_size(in->pb);
    Dictionary options;
    if (total > kOnePassAboveBytes) {
        // Worst-case index bytes per sample: video 8 (stts) + 8 (ctts) + 4 (stsz)
        // + 4 (stss) + 20 (a chunk per sample) + 1 (sdtp); audio 4 (stsz) + 20.
        const int64_t reserve = 65536 + 48 * job.videoPackets + 24 * job.audioPackets;
        options.set("moov_size", std::to_string(reserve).c_str());
    } else {
        options.set("movflags", "+faststart");
    }
    bool ok = avformat_write_header(rawOut, options.get()) >= 0;

    int lastDecile = 0;
    // A fragment index written before any sample cannot carry edit lists, so
    // the fragmented file starts the video at its first composition offset and
    // plays the codec's priming samples. Here both are put back where they
    // belong: the first picture at 0, the priming before 0 (hidden by an edit
    // list), which starts audio and video together.
    std::vector<int64_t> shift(in->nb_streams, AV_NOPTS_VALUE);
    PacketPtr packet(av_packet_alloc());
    while (ok && packet && av_read_frame(in.get(), packet.get()) >= 0) {
        const int s = packet->stream_index;
        const AVStream* ist = in->streams[s];
        if (shift[s] == AV_NOPTS_VALUE) {
            if (ist->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
                shift[s] = packet->pts != AV_NOPTS_VALUE ? packet->pts : 0;
            else
                shift[s] = av_rescale_q(job.audioPrimingSamples, AVRational{1, ist->codecpar->sample_rate},
                                        ist->time_base);
        }
        if (packet->pts != AV_NOPTS_VALUE)
            packet->pts -= shift[s];
        if (packet->dts != AV_NOPTS_VALUE)
            packet->dts -= shift[s];
        av_packet_rescale_ts(packet.get(), ist->time_base, rawOut->streams[s]->time_base);
        packet->pos = -1;
        ok = av_interleaved_write_frame(rawOut, packet.get()) >= 0;
        const int decile = total > 0 ? static_cast<int>(10 * avio_tell(in->pb) / total) : 0;
        if (decile > lastDecile && Clock::now() - started > std::chrono::seconds(1)) {
            lastDecile = decile;
            log("finishing %s: %d%%", path.c_str(), decile * 10);
        }
    }
    ok = ok && av_write_trailer(rawOut) >= 0 && rawOut->pb->error >= 0;
    out.reset();
    if (!ok || std::rename(temp.c_str(), path.c_str()) != 0) {
        std::remove(temp.c_str());
        log("could not finish %s as a fast-start file; it stays fragmented", path.c_str());
        return ME_ERR_IO;
    }
    return ME_OK;
}

int finishFragmentedFile(const FinishJob& job) {
    const int ret = writeIndexAtEnd(job);
    if (ret != ME_ERR_ENCODER)
        return ret;
    return rewriteAsFastStart(job);
}

} // namespace me
