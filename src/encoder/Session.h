#pragma once

#include "AudioPath.h"
#include "ContainerChoice.h"
#include "MediaEncoder.h"
#include "SplitMuxer.h"
#include "VideoPath.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace me {

// Fixed-capacity FIFO; never allocates.
template <class T, std::size_t N> class Ring {
public:
    bool empty() const { return count_ == 0; }
    bool push(const T& v) {
        if (count_ == N)
            return false;
        items_[(head_ + count_++) % N] = v;
        return true;
    }
    T pop() {
        T v = items_[head_];
        head_ = (head_ + 1) % N;
        --count_;
        return v;
    }

private:
    std::array<T, N> items_{};
    std::size_t head_ = 0;
    std::size_t count_ = 0;
};

// One recording: the settings, the bounded queues between the pushing
// threads and the encode thread, and that thread.
//
// Overflow policy (the encoder falls behind): a push first waits, up to
// kPushWait, for the encode thread to free a slot, so that media pushed
// faster than real time is all kept. Only then:
//  - video: a push that finds no free frame of the pool is dropped and
//    counted (ME_DROPPED); the previous picture stands in for it, so the file
//    keeps its length;
//  - audio: a push that finds no free chunk is counted and becomes silence
//    of the same length, inserted before the next accepted chunk, so the
//    audio timeline (its sample count) never shifts against the video.
// Drops are logged on the first one and then at most once a second.
//
// Setters: any thread, before start(). Pushes, trailers and getters: any
// thread, concurrently. close(): any thread but the encode thread.
class Session {
public:
    // 8 frames waiting, one being encoded and the last one kept for repeats:
    // about a quarter of a second at 30 fps, enough to ride out x264's
    // occasional slow frame without holding much memory at 4K.
    static constexpr int kVideoPoolFrames = 10;
    // Capture sources deliver 10-25 ms per buffer: several seconds of audio.
    static constexpr int kAudioPoolChunks = 512;
    // How long a push waits for a free slot. Longer than x264's slowest frame
    // and a disk's pause at the end of a fragment, so that a file pushed
    // faster than real time keeps every frame; short enough that a capture
    // thread is never held up for long by an encoder that cannot keep up
    // (the engine's own queue then decides what to drop, and shows it).
    static constexpr std::chrono::milliseconds kPushWait{500};
    // A timestamp this far past the latest one is a broken clock; anything
    // shorter is a real gap (a machine that slept, a stalled grab).
    static constexpr int64_t kMaxTimestampJumpMs = int64_t{7} * 24 * 3600 * 1000;
    // Gaps between pushed pictures: where the container has a constant rate
    // (AVI) the last picture is repeated in every frame of the gap, which
    // x264 stores as skipped blocks. Where each picture carries its time, a
    // picture that did not change is not stored again; only so much of it is
    // repeated that a picture comes at least every kMaxPictureGapMs (players
    // and editors seek to pictures) and that a split by time cuts on time.
    // Gaps longer than kMaxRepeatedGapMs (a machine that slept) are left as
    // one long frame either way, rather than encoding hours of copies.
    static constexpr int64_t kMaxRepeatedGapMs = 10000;
    static constexpr int64_t kMaxPictureGapMs = 1000;
    // Pictures stored at the full rate at the start, changed or not.
    static constexpr int64_t kFullRateLeadFrames = 3;

    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    int setOutputPath(const char* path);
    int setImageSize(int32_t width, int32_t height);
    int setImageFormat(int32_t format);
    int setOutputSize(int32_t width, int32_t height);
    int setFps(double fps);
    int setVideoBitrate(double kbps);
    int setAudioSource(int32_t channels, int32_t rate, int32_t format);
    int setAudioBitrate(double tensOfBits);
    int setAudioEncode(int32_t channels, int32_t rate);
    int setLimitTime(uint32_t seconds);
    int setLimitSize(uint32_t megabytes);

    int start();
    int pushVideo(const EncoderVideoFrame* frame, int64_t timestampMs);
    int pushAudio(const EncoderAudioFrame* frame);
    int endVideo();
    int endAudio();
    int isDone();
    int64_t encodedMs() const { return muxer_.encodedMs(); }
    int64_t fileSize() const { return muxer_.currentFileSize(); }
    int close();

private:
    enum class State { Configuring, Running, Closed };
    struct VideoItem {
        int slot = -1;
        int64_t ms = 0;
    };
    struct AudioChunk {
        std::vector<uint8_t> bytes;
        int frames = 0;
        int64_t silenceBefore = 0; // frames dropped on overflow just before this chunk
    };

    int openEncoders(const ContainerChoice& choice);
    int acceptVideo(const EncoderVideoFrame* frame, int64_t timestampMs, std::unique_lock<std::mutex>& lock);
    void run();
    void processVideo(const VideoItem& item);
    void fillGap(int64_t index);
    void encodeVideo(int slot, int64_t index);
    int64_t lastKeyframe() const; // index of the last keyframe asked for or given
    void releaseVideoSlot(int slot);
    void logSummary();

    std::mutex mutex_; // guards everything below up to the worker's own state
    std::condition_variable wake_;
    std::condition_variable slotFreed_; // a pool slot came back, or the session ends
    State state_ = State::Configuring;
    std::string path_;
    int width_ = 0, height_ = 0, outWidth_ = 0, outHeight_ = 0;
    double fps_ = 0, videoKbps_ = 0, audioBitrate_ = 12800;
    int srcChannels_ = 0, srcRate_ = 0, encChannels_ = 0, encRate_ = 0;
    SplitLimits limits_;
    bool hasVideo_ = false, hasAudio_ = false;
    bool variableFrameRate_ = false;
    bool videoEnded_ = false, audioEnded_ = false;
    std::vector<int> freeVideo_;
    std::vector<int> freeAudio_;
    Ring<VideoItem, kVideoPoolFrames> readyVideo_;
    Ring<int, kAudioPoolChunks> readyAudio_;
    int64_t pendingSilence_ = 0;
    int64_t lastTimestampMs_ = -1;
    uint64_t droppedVideo_ = 0, droppedAudio_ = 0;
    std::chrono::steady_clock::time_point lastDropLog_{};

    // Pool storage: a slot belongs to whoever took it from a free list.
    VideoFramePool pool_;
    std::array<AudioChunk, kAudioPoolChunks> chunks_;

    // Encode thread only (after start()).
    VideoEncoder video_;
    AudioEncoder audio_;
    SplitMuxer muxer_;
    std::array<int, kAudioPoolChunks> audioBatch_{};
    bool haveBase_ = false;
    int64_t baseMs_ = 0;
    int64_t nextIndex_ = 0;
    int lastSlot_ = -1;
    int64_t lastForcedKeyframe_ = 0; // index of the last keyframe asked for
    uint64_t repeatedFrames_ = 0, lateFrames_ = 0;

    std::thread worker_;
    std::atomic<bool> done_{false};
    int finishStatus_ = ME_OK;
};

} // namespace me
