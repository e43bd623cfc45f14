#include "SplitMuxer.h"

#include "Log.h"
#include "MediaEncoder.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

namespace me {

SplitMuxer::~SplitMuxer() {
    for (AVPacket*& p : held_)
        av_packet_free(&p);
    for (std::thread& t : finishers_) {
        if (t.joinable())
            t.join();
    }
}

int SplitMuxer::open(const std::string& path, const ContainerChoice& choice, const AVCodecContext* video,
                     const AVCodecContext* audio, SplitLimits limits, int64_t audioBitsPerSecond) {
    basePath_ = path;
    choice_ = choice;
    video_ = video;
    audio_ = audio;
    limits_ = limits;
    audioBytesPerSecond_ = audioBitsPerSecond / 8;
    if (video) {
        // Until the encoder has given packets, assume its configured rate.
        const double fps = video->framerate.num > 0 ? av_q2d(video->framerate) : 30.0;
        averageFrameBytes_ = static_cast<double>(video->bit_rate) / 8.0 / fps;
        averageKeyframeBytes_ = averageFrameBytes_ * kKeyframeToFrameGuess;
    }
    held_.reserve(kMaxHeldAudioPackets);
    const int ret = file_.open(path, choice, video, audio);
    fileSize_ = file_.size();
    partHeaderBytes_ = file_.size();
    armTimeSplit();
    return ret;
}

FinishJob SplitMuxer::finishJob() const {
    FinishJob job;
    job.path = file_.path();
    job.muxerName = choice_.muxerName;
    // Only the first part starts with the encoder's priming; later parts
    // start mid-stream.
    job.audioPrimingSamples = part_ == 0 && audio_ ? audio_->initial_padding : 0;
    job.audioSampleRate = audio_ ? audio_->sample_rate : 0;
    job.videoPackets = file_.videoPackets();
    job.audioPackets = file_.audioPackets();
    return job;
}

int64_t SplitMuxer::projectedContainerBytes(int64_t morePackets) const {
    return partHeaderBytes_ + kContainerTrailerBytes +
           (partPackets_ + morePackets) * kContainerBytesPerPacket;
}

int64_t SplitMuxer::audioEndFrame() const {
    return audio_ ? av_rescale_q_rnd(audioWrittenEnd_, audio_->time_base, video_->time_base, AV_ROUND_UP) : 0;
}

int64_t SplitMuxer::projectedPartBytes(int64_t videoIndex, int64_t cut) const {
    // Frames inside the encoder (this one included) and those up to the cut.
    const int64_t framesToCome = (framesSent_ - videoPacketsOut_) + (cut - videoIndex - 1);
    // They come out as predicted frames, and as a keyframe where the
    // encoder's interval puts one.
    double videoToCome = static_cast<double>(framesToCome) * averageFrameBytes_;
    if (video_->gop_size > 0 && framesSinceKeyframe_ + framesToCome >= video_->gop_size)
        videoToCome += std::max(0.0, averageKeyframeBytes_ - averageFrameBytes_);
    int64_t audioToCome = 0;
    int64_t audioPacketsToCome = 0;
    if (audio_) {
        const int64_t cutSample = av_rescale_q(cut, video_->time_base, audio_->time_base);
        const int64_t samples = std::max<int64_t>(0, cutSample - audioWrittenEnd_);
        audioToCome = audioBytesPerSecond_ * samples / std::max(1, audio_->sample_rate);
        audioPacketsToCome = audio_->frame_size > 0 ? samples / audio_->frame_size + 1 : 1;
    }
    return partPayload_ + static_cast<int64_t>(videoToCome) + audioToCome +
           projectedContainerBytes(framesToCome + audioPacketsToCome);
}

bool SplitMuxer::sizeLimitReached(int64_t videoIndex) {
    if (limits_.megabytes == 0)
        return false;
    const int64_t limit = static_cast<int64_t>(limits_.megabytes) * 1000000;
    // Left uncut, this frame joins the part, and the next cut is after it
    // and after the audio already in the part.
    const int64_t nextCut = std::max(videoIndex + 1, audioEndFrame());
    // Never cut before half the limit: a part is never a handful of frames,
    // however wrong the estimate at the start.
    if (projectedPartBytes(videoIndex, nextCut) > limit)
        return partPayload_ >= limit / 2;
    // The last cut that keeps the part under the limit. Audio past it waits:
    // audio encodes far ahead of video at times, and once written it would
    // push the earliest cut, and the part, past the limit before the next
    // frame is looked at.
    const double fps = video_->framerate.num > 0 ? av_q2d(video_->framerate) : 30.0;
    const auto lookAhead = static_cast<int64_t>(std::ceil(fps * kAudioHoldAheadSeconds));
    holdAudioFrom_ = std::numeric_limits<int64_t>::max();
    if (audio_ && projectedPartBytes(videoIndex, nextCut + lookAhead) > limit) {
        int64_t lastCut = nextCut;
        while (projectedPartBytes(videoIndex, lastCut + 1) <= limit)
            ++lastCut;
        holdAudioFrom_ = av_rescale_q(lastCut, video_->time_base, audio_->time_base);
    }
    writeAudioUpTo(holdAudioFrom_); // a failed write leaves failed_ set
    return false;
}

bool SplitMuxer::audioSizeLimitReached(const AVPacket* packet) const {
    if (limits_.megabytes == 0)
        return false;
    const int64_t limit = static_cast<int64_t>(limits_.megabytes) * 1000000;
    // Audio comes out of its encoder at once: this packet is all there is.
    return partPayload_ + packet->size + projectedContainerBytes(1) > limit;
}

// Time limits end parts at whole multiples of the limit from the start of the
// recording, not of the part: a part can only end on a frame or a packet, and
// counting from each part's start would add that rounding up part after part.
int64_t SplitMuxer::partEndUs() const {
    return (part_ + 1) * static_cast<int64_t>(limits_.seconds) * 1000000;
}

bool SplitMuxer::timeLimitReached(int64_t us) const {
    return limits_.seconds != 0 && us >= partEndUs();
}

void SplitMuxer::armTimeSplit() {
    if (!video_ || limits_.seconds == 0)
        return;
    // The cut falls on the first frame at or after the boundary. Frames are
    // placed at a constant rate, so that frame is known now, and audio past it
    // is held back from the moment it is encoded.
    armSplit(std::max(videoOffset_ + 1,
                      av_rescale_q_rnd(partEndUs(), AV_TIME_BASE_Q, video_->time_base, AV_ROUND_UP)));
}

void SplitMuxer::armSplit(int64_t videoIndex) {
    splitPending_ = true;
    keyframeForced_ = false;
    splitVideoIndex_ = videoIndex;
    splitAudioSample_ = audio_ ? av_rescale_q(videoIndex, video_->time_base, audio_->time_base) : 0;
    // Audio before the cut that waited belongs to this part; written now, it
    // stays in order with what comes before the cut from here on.
    writeAudioUpTo(splitAudioSample_, false);
}

bool SplitMuxer::startsNewPart(int64_t videoIndex) {
    if (!video_ || failed_)
        return false;
    ++framesSent_;
    if (!splitPending_ && videoIndex > videoOffset_ && sizeLimitReached(videoIndex)) {
        // Not before audio that is already in this part.
        armSplit(std::max(videoIndex, audioEndFrame()));
    }
    if (!splitPending_ || keyframeForced_ || videoIndex < splitVideoIndex_)
        return false;
    if (videoIndex > splitVideoIndex_)
        armSplit(videoIndex);
    keyframeForced_ = true;
    return true;
}

int SplitMuxer::writeVideoPacket(AVPacket* packet) {
    noteEncoded(packet, video_->time_base);
    ++videoPacketsOut_;
    // Keyframes and predicted frames are averaged apart: a part is usually
    // shorter than the keyframe interval, so its last frames are predicted
    // ones, several times smaller than its first.
    const double fps = video_->framerate.num > 0 ? av_q2d(video_->framerate) : 30.0;
    if (packet->flags & AV_PKT_FLAG_KEY) {
        framesSinceKeyframe_ = 0;
        lastKeyframeIndex_ = packet->pts;
        averageKeyframeBytes_ += kKeyframeWeight * (packet->size - averageKeyframeBytes_);
    } else {
        ++framesSinceKeyframe_;
        const double weight = 1.0 / std::max(1.0, fps * kFrameAverageSeconds);
        averageFrameBytes_ += weight * (packet->size - averageFrameBytes_);
    }
    if (splitPending_ && (packet->flags & AV_PKT_FLAG_KEY) && packet->pts >= splitVideoIndex_) {
        const int ret = rotate();
        if (ret < 0)
            return ret;
    }
    if (needKeyframe_) {
        if (!(packet->flags & AV_PKT_FLAG_KEY))
            return ME_OK; // a part never starts with a picture it cannot decode
        needKeyframe_ = false;
    }
    return writeToPart(packet, true);
}

int SplitMuxer::writeAudioPacket(AVPacket* packet) {
    noteEncoded(packet, audio_->time_base);
    if (!video_) {
        const int64_t us = av_rescale_q(packet->pts, audio_->time_base, AV_TIME_BASE_Q);
        if (packet->pts > audioOffset_ && (timeLimitReached(us) || audioSizeLimitReached(packet))) {
            splitAudioSample_ = packet->pts;
            const int ret = rotate();
            if (ret < 0)
                return ret;
        }
        return writeToPart(packet, false);
    }
    const bool waits = splitPending_ ? packet->pts >= splitAudioSample_
                                     : !held_.empty() || packet->pts + packet->duration > holdAudioFrom_;
    if (waits) {
        if (held_.size() < kMaxHeldAudioPackets) {
            AVPacket* copy = av_packet_alloc();
            if (!copy)
                return ME_ERR_ENCODER;
            av_packet_move_ref(copy, packet);
            held_.push_back(copy);
            return ME_OK;
        }
        if (splitPending_) {
            log("no keyframe came for the split; cutting %s without it", basePath_.c_str());
            needKeyframe_ = true;
            const int ret = rotate();
            if (ret < 0)
                return ret;
        } else {
            // Video stalled before reaching the cut: the audio goes on in
            // this part, and the cut falls after it.
            holdAudioFrom_ = std::numeric_limits<int64_t>::max();
            const int ret = writeAudioUpTo(holdAudioFrom_);
            if (ret < 0)
                return ret;
        }
    }
    // A packet from before the cut that comes out after it belonged to the
    // previous part, which is closed.
    if (part_ > 0 && packet->pts < audioOffset_)
        return ME_OK;
    audioWrittenEnd_ = std::max(audioWrittenEnd_, packet->pts + packet->duration);
    return writeToPart(packet, false);
}

int SplitMuxer::rotate() {
    holdAudioFrom_ = std::numeric_limits<int64_t>::max();
    const int finished = file_.finish();
    if (finished == ME_OK && choice_.fragmented)
        finishers_.emplace_back(finishFragmentedFile, finishJob());
    ++part_;
    splitPending_ = false;
    partPayload_ = 0;
    partPackets_ = 0;
    videoOffset_ = splitVideoIndex_;
    audioOffset_ = splitAudioSample_;
    const int ret = file_.open(partPath(basePath_, part_), choice_, video_, audio_);
    fileSize_ = file_.size();
    partHeaderBytes_ = file_.size();
    if (ret < 0) {
        failed_ = true;
        return ret;
    }
    armTimeSplit();
    return releaseHeld();
}

int SplitMuxer::writeAudioUpTo(int64_t sample, bool wholePackets) {
    std::size_t n = 0;
    int ret = ME_OK;
    for (; n < held_.size() && ret == ME_OK; ++n) {
        AVPacket* p = held_[n];
        if ((wholePackets ? p->pts + p->duration : p->pts + 1) > sample)
            break;
        audioWrittenEnd_ = std::max(audioWrittenEnd_, p->pts + p->duration);
        ret = writeToPart(p, false);
        av_packet_free(&p);
    }
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(n));
    return ret;
}

int SplitMuxer::releaseHeld() {
    int ret = ME_OK;
    for (AVPacket*& p : held_) {
        if (ret == ME_OK && p->pts >= audioOffset_) {
            audioWrittenEnd_ = std::max(audioWrittenEnd_, p->pts + p->duration);
            ret = writeToPart(p, false);
        }
        av_packet_free(&p);
    }
    held_.clear();
    return ret;
}

int SplitMuxer::writeToPart(AVPacket* packet, bool isVideo) {
    const int64_t offset = isVideo ? videoOffset_ : audioOffset_;
    partPayload_ += packet->size;
    ++partPackets_;
    if (packet->pts != AV_NOPTS_VALUE)
        packet->pts -= offset;
    if (packet->dts != AV_NOPTS_VALUE)
        packet->dts -= offset;
    const int ret = file_.write(packet, isVideo, isVideo ? video_->time_base : audio_->time_base);
    fileSize_ = file_.size();
    if (ret < 0)
        failed_ = true;
    return ret;
}

void SplitMuxer::noteEncoded(const AVPacket* packet, AVRational timeBase) {
    if (packet->pts == AV_NOPTS_VALUE)
        return;
    const int64_t endUs = av_rescale_q(packet->pts + packet->duration, timeBase, AV_TIME_BASE_Q);
    if (endUs > encodedUs_.load())
        encodedUs_ = endUs;
}

int SplitMuxer::finish() {
    int ret = file_.isOpen() ? releaseHeld() : ME_OK;
    const int finished = file_.finish();
    if (finished < 0)
        ret = finished;
    else if (choice_.fragmented && !failed_)
        finishFragmentedFile(finishJob());
    for (std::thread& t : finishers_) {
        if (t.joinable())
            t.join();
    }
    finishers_.clear();
    std::error_code error;
    const auto finalSize = std::filesystem::file_size(file_.path(), error);
    fileSize_ = error ? file_.size() : static_cast<int64_t>(finalSize);
    return failed_ ? ME_ERR_IO : ret;
}

} // namespace me
