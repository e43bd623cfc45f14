#include "Session.h"

#include "Log.h"

#include <chrono>
#include <cmath>
#include <pthread.h>

namespace me {

namespace {

// Overflow is logged on the first drop and then at most once a second, with
// the running count, so a long stall does not flood the log.
bool shouldLogDrop(uint64_t count, std::chrono::steady_clock::time_point& last) {
    const auto now = std::chrono::steady_clock::now();
    if (count != 1 && now - last < std::chrono::seconds(1))
        return false;
    last = now;
    return true;
}

} // namespace

Session::~Session() {
    close();
}

// --- start ----------------------------------------------------------------

int Session::openEncoders(const ContainerChoice& choice) {
    const AVOutputFormat* format = av_guess_format(choice.muxerName, nullptr, nullptr);
    const bool globalHeader = format && (format->flags & AVFMT_GLOBALHEADER);
    int64_t audioBitsPerSecond = 0;
    if (hasVideo_) {
        VideoParams v;
        v.width = width_ & ~1;
        v.height = height_ & ~1;
        v.fps = fps_;
        v.bitRate = static_cast<int64_t>(videoKbps_ * 1000);
        v.allowBFrames = choice.allowBFrames;
        v.noDelay = choice.variableFrameRate;
        v.globalHeader = globalHeader;
        if (int ret = video_.open(v); ret < 0)
            return ret;
        if (int ret = pool_.allocate(kVideoPoolFrames, v.width, v.height); ret < 0)
            return ret;
    }
    if (hasAudio_) {
        AudioParams a;
        a.codec = choice.audio;
        a.sourceChannels = srcChannels_;
        a.sourceRate = srcRate_;
        a.channels = encChannels_ ? encChannels_ : std::min(srcChannels_, 2);
        a.rate = encRate_ ? encRate_ : srcRate_;
        a.bitRate = static_cast<int64_t>(audioBitrate_ * 10);
        a.globalHeader = globalHeader;
        if (int ret = audio_.open(a); ret < 0)
            return ret;
        const AVCodecContext* c = audio_.context();
        audioBitsPerSecond = c->bit_rate > 0 ? c->bit_rate
                                             : int64_t{c->sample_rate} * c->ch_layout.nb_channels *
                                                   av_get_bytes_per_sample(c->sample_fmt) * 8;
    }
    return muxer_.open(path_, choice, hasVideo_ ? video_.context() : nullptr,
                       hasAudio_ ? audio_.context() : nullptr, limits_, audioBitsPerSecond);
}

int Session::start() {
    setUpFfmpegLogging();
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    if (path_.empty())
        return ME_ERR_STATE;
    const ContainerChoice choice = chooseContainer(path_);
    const bool videoSet = width_ > 0 || fps_ > 0 || videoKbps_ > 0;
    if (choice.hasVideo && videoSet && (width_ <= 0 || fps_ <= 0 || videoKbps_ <= 0))
        return ME_ERR_STATE; // video half configured
    hasVideo_ = choice.hasVideo && videoSet;
    hasAudio_ = choice.audio != AudioCodec::None && srcChannels_ > 0;
    variableFrameRate_ = choice.variableFrameRate;
    if (!hasVideo_ && !hasAudio_)
        return ME_ERR_STATE;
    // A failed start stays configurable; the next start opens everything anew.
    if (int ret = openEncoders(choice); ret < 0)
        return ret;
    freeVideo_.clear();
    for (int i = pool_.size() - 1; i >= 0; --i)
        freeVideo_.push_back(i);
    freeAudio_.clear();
    for (int i = kAudioPoolChunks - 1; i >= 0; --i)
        freeAudio_.push_back(i);
    videoEnded_ = !hasVideo_;
    audioEnded_ = !hasAudio_;
    state_ = State::Running;
    worker_ = std::thread([this] { run(); });
    return ME_OK;
}

// --- pushes (any thread) ----------------------------------------------------

int Session::pushVideo(const EncoderVideoFrame* frame, int64_t timestampMs) {
    std::unique_lock lock(mutex_);
    const int ret = acceptVideo(frame, timestampMs, lock);
    // A refused record still counts as the previous push for the next
    // one's changed rows, but what it held is unknown.
    if (ret < 0 && ret != ME_ERR_STATE)
        pool_.forgetPictures();
    return ret;
}

// Called and returns with the lock held; lets it go while converting.
int Session::acceptVideo(const EncoderVideoFrame* frame, int64_t timestampMs,
                         std::unique_lock<std::mutex>& lock) {
    if (!frame)
        return ME_ERR_ARGUMENT;
    if (state_ != State::Running || !hasVideo_ || videoEnded_)
        return ME_ERR_STATE;
    if (muxer_.failed())
        return ME_ERR_IO;
    const uint64_t minRow = uint64_t{frame->width} * 4;
    const uint64_t needed = uint64_t{frame->bytesPerRow} * (frame->height - 1) + minRow;
    if (frame->pixelFormat != ME_PIXEL_FORMAT_BGRA || !frame->data || frame->width != uint32_t(width_) ||
        frame->height != uint32_t(height_) || frame->bytesPerRow < minRow || frame->bytesPerRow > INT32_MAX ||
        frame->dataLength < needed)
        return ME_ERR_ARGUMENT;
    if (timestampMs < 0 || (lastTimestampMs_ >= 0 && timestampMs > lastTimestampMs_ + kMaxTimestampJumpMs))
        return ME_ERR_ARGUMENT;
    lastTimestampMs_ = std::max(lastTimestampMs_, timestampMs);
    // Every held picture, dropped or not, now lags this one in these rows.
    pool_.pictureChanged(changedRowsOf(frame->changedRows, height_));
    slotFreed_.wait_for(lock, kPushWait,
                        [this] { return !freeVideo_.empty() || state_ != State::Running || videoEnded_; });
    if (state_ != State::Running || videoEnded_)
        return ME_ERR_STATE;
    if (freeVideo_.empty()) {
        if (shouldLogDrop(++droppedVideo_, lastDropLog_))
            log("encoder behind: video queue full, %llu frames dropped so far",
                static_cast<unsigned long long>(droppedVideo_));
        return ME_DROPPED;
    }
    const int slot = freeVideo_.back();
    freeVideo_.pop_back();
    const RowSpan rows = pool_.takeStaleRows(slot);
    lock.unlock();

    const int converted =
        convertBgraToI420(frame->data, static_cast<int>(frame->bytesPerRow), pool_.frame(slot), rows);

    lock.lock();
    if (converted < 0)
        pool_.forgetPicture(slot);
    if (converted < 0 || state_ != State::Running || videoEnded_) {
        freeVideo_.push_back(slot);
        return converted < 0 ? converted : ME_ERR_STATE;
    }
    readyVideo_.push(VideoItem{slot, timestampMs});
    wake_.notify_one();
    return ME_OK;
}

int Session::pushAudio(const EncoderAudioFrame* frame) {
    if (!frame)
        return ME_ERR_ARGUMENT;
    std::unique_lock lock(mutex_);
    if (state_ != State::Running || !hasAudio_ || audioEnded_)
        return ME_ERR_STATE;
    if (muxer_.failed())
        return ME_ERR_IO;
    const uint32_t frameBytes = static_cast<uint32_t>(srcChannels_) * 4;
    // More than ten seconds in one buffer is not a capture buffer.
    const uint64_t maxBytes = uint64_t{frameBytes} * static_cast<uint64_t>(srcRate_) * 10;
    if (!frame->data || frame->dataLength == 0 || frame->dataLength % frameBytes != 0 ||
        frame->dataLength > maxBytes)
        return ME_ERR_ARGUMENT;
    const int frames = static_cast<int>(frame->dataLength / frameBytes);
    slotFreed_.wait_for(lock, kPushWait,
                        [this] { return !freeAudio_.empty() || state_ != State::Running || audioEnded_; });
    if (state_ != State::Running || audioEnded_)
        return ME_ERR_STATE;
    if (freeAudio_.empty()) {
        pendingSilence_ += frames;
        if (shouldLogDrop(++droppedAudio_, lastDropLog_))
            log("encoder behind: audio queue full, %llu buffers replaced by silence so far",
                static_cast<unsigned long long>(droppedAudio_));
        return ME_DROPPED;
    }
    const int slot = freeAudio_.back();
    freeAudio_.pop_back();
    lock.unlock();

    AudioChunk& chunk = chunks_[static_cast<std::size_t>(slot)];
    chunk.bytes.assign(frame->data, frame->data + frame->dataLength); // reuses capacity
    chunk.frames = frames;

    lock.lock();
    if (state_ != State::Running || audioEnded_) {
        freeAudio_.push_back(slot);
        return ME_ERR_STATE;
    }
    chunk.silenceBefore = pendingSilence_;
    pendingSilence_ = 0;
    readyAudio_.push(slot);
    wake_.notify_one();
    return ME_OK;
}

int Session::endVideo() {
    std::lock_guard lock(mutex_);
    if (state_ != State::Running)
        return ME_ERR_STATE;
    videoEnded_ = true;
    wake_.notify_one();
    slotFreed_.notify_all();
    return ME_OK;
}

int Session::endAudio() {
    std::lock_guard lock(mutex_);
    if (state_ != State::Running)
        return ME_ERR_STATE;
    audioEnded_ = true;
    wake_.notify_one();
    slotFreed_.notify_all();
    return ME_OK;
}

int Session::isDone() {
    std::lock_guard lock(mutex_);
    if (state_ != State::Running)
        return 1;
    return done_ ? 1 : 0;
}

int Session::close() {
    std::unique_lock lock(mutex_);
    if (state_ == State::Closed)
        return ME_ERR_STATE;
    const bool running = state_ == State::Running;
    videoEnded_ = true;
    audioEnded_ = true;
    wake_.notify_one();
    slotFreed_.notify_all();
    lock.unlock();
    if (running && worker_.joinable())
        worker_.join();
    lock.lock();
    state_ = State::Closed;
    return running ? finishStatus_ : ME_OK;
}

// --- encode thread ----------------------------------------------------------

void Session::run() {
    pthread_setname_np(pthread_self(), "MediaEncoder");
    bool videoFlushed = !hasVideo_;
    bool audioFlushed = !hasAudio_;
    while (!videoFlushed || !audioFlushed) {
        VideoItem item;
        std::size_t audioCount = 0;
        bool flushVideo = false, flushAudio = false;
        int64_t finalSilence = 0;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [&] {
                return !readyVideo_.empty() || !readyAudio_.empty() || (videoEnded_ && !videoFlushed) ||
                       (audioEnded_ && !audioFlushed);
            });
            if (!readyVideo_.empty())
                item = readyVideo_.pop();
            while (!readyAudio_.empty())
                audioBatch_[audioCount++] = readyAudio_.pop();
            flushVideo = videoEnded_ && !videoFlushed && item.slot < 0 && readyVideo_.empty();
            flushAudio = audioEnded_ && !audioFlushed && audioCount == 0;
            if (flushAudio) {
                finalSilence = pendingSilence_;
                pendingSilence_ = 0;
            }
        }
        if (item.slot >= 0)
            processVideo(item);
        for (std::size_t i = 0; i < audioCount; ++i) {
            const AudioChunk& chunk = chunks_[static_cast<std::size_t>(audioBatch_[i])];
            if (!muxer_.failed()) {
                audio_.encodeSilence(chunk.silenceBefore, muxer_);
                audio_.encodeInterleaved(chunk.bytes.data(), chunk.frames, muxer_);
            }
        }
        if (flushVideo) {
            if (!muxer_.failed())
                video_.flush(muxer_);
            videoFlushed = true;
        }
        if (flushAudio) {
            if (!muxer_.failed()) {
                audio_.encodeSilence(finalSilence, muxer_);
                audio_.flush(muxer_);
            }
            audioFlushed = true;
        }
        std::lock_guard lock(mutex_);
        for (std::size_t i = 0; i < audioCount; ++i)
            freeAudio_.push_back(audioBatch_[i]);
        if (audioCount > 0)
            slotFreed_.notify_all();
    }
    finishStatus_ = muxer_.finish();
    logSummary();
    done_ = true;
}

void Session::processVideo(const VideoItem& item) {
    if (muxer_.failed()) {
        releaseVideoSlot(item.slot);
        return;
    }
    // The first frame is time 0 of the video, as the first sample is of the audio.
    if (!haveBase_) {
        baseMs_ = item.ms;
        haveBase_ = true;
    }
    const int64_t index = std::llround(static_cast<double>(item.ms - baseMs_) * fps_ / 1000.0);
    if (index < nextIndex_) {
        ++lateFrames_; // its output frame is already taken
        releaseVideoSlot(item.slot);
        return;
    }
    if (lastSlot_ >= 0) {
        fillGap(index);
        releaseVideoSlot(lastSlot_);
    }
    encodeVideo(item.slot, index);
    lastSlot_ = item.slot;
    nextIndex_ = index + 1;
}

void Session::fillGap(int64_t index) {
    const int64_t gap = index - nextIndex_;
    if (gap <= 0)
        return;
    if (double(gap) * 1000.0 / fps_ > double(kMaxRepeatedGapMs)) {
        log("%s: a gap of %lld ms in the picture is kept as one long frame", path_.c_str(),
            static_cast<long long>(double(gap) * 1000.0 / fps_));
        return;
    }
    if (!variableFrameRate_) {
        for (int64_t i = nextIndex_; i < index; ++i) {
            encodeVideo(lastSlot_, i);
            ++repeatedFrames_;
        }
        return;
    }
    const int64_t pictureGap = std::max<int64_t>(1, std::llround(fps_ * double(kMaxPictureGapMs) / 1000.0));
    for (int64_t last = nextIndex_ - 1;;) {
        // The first pictures come at the full rate, as in a constant-rate
        // file: readers take the nominal rate from the first steps.
        int64_t next = last < kFullRateLeadFrames - 1 ? last + 1 : last + pictureGap;
        // A part ends with a picture that lasts until its cut, and the next
        // one starts with one; keyframes keep to their interval of time.
        const int64_t cut = muxer_.pendingCutIndex();
        if (cut > last)
            next = std::min(next, cut - 1 > last ? cut - 1 : cut);
        const int64_t gop = video_.context()->gop_size;
        if (gop > 0)
            next = std::min(next, std::max(last + 1, lastKeyframe() + gop));
        if (next >= index)
            return;
        encodeVideo(lastSlot_, next);
        ++repeatedFrames_;
        last = next;
    }
}

int64_t Session::lastKeyframe() const {
    return std::max(lastForcedKeyframe_, muxer_.lastKeyframeIndex());
}

void Session::encodeVideo(int slot, int64_t index) {
    bool keyframe = muxer_.startsNewPart(index);
    // With pictures only where something changed, x264's own interval
    // (counted in pictures) could leave minutes between keyframes; keep them
    // on the usual interval of time.
    const int64_t gop = video_.context()->gop_size;
    if (variableFrameRate_ && gop > 0 && index - lastKeyframe() >= gop)
        keyframe = true;
    if (keyframe)
        lastForcedKeyframe_ = index;
    video_.encode(pool_.frame(slot), index, keyframe, muxer_);
}

void Session::releaseVideoSlot(int slot) {
    std::lock_guard lock(mutex_);
    freeVideo_.push_back(slot);
    slotFreed_.notify_all();
}

void Session::logSummary() {
    std::lock_guard lock(mutex_);
    if (repeatedFrames_ || lateFrames_ || droppedVideo_ || droppedAudio_)
        log("%s: %llu frames repeated, %llu late frames dropped, %llu frames and %llu audio buffers dropped "
            "on overflow",
            path_.c_str(), static_cast<unsigned long long>(repeatedFrames_),
            static_cast<unsigned long long>(lateFrames_), static_cast<unsigned long long>(droppedVideo_),
            static_cast<unsigned long long>(droppedAudio_));
}

} // namespace me
