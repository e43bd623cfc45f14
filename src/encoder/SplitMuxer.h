#pragma once

#include "ContainerChoice.h"
#include "OutputFile.h"
#include "PacketSink.h"

#include <atomic>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace me {

struct SplitLimits {
    uint32_t seconds = 0;   // 0 = no split by time
    uint32_t megabytes = 0; // 0 = no split by size (units of 1,000,000 bytes)
};

// Routes the encoders' packets into the output file, starting a new part
// whenever a split limit is reached. Everything but the two getters runs on
// the encode thread.
//
// A split is cut on a video keyframe: the encode thread asks
// startsNewPart() before each video frame; when it says yes, that frame is
// encoded as an IDR and becomes the first picture of the next part. The cut
// frame is chosen ahead (the boundary for time limits; for size limits the
// next frame not earlier than the audio already written), and audio packets at
// or after it are held back until the IDR comes out of the encoder, then
// written to the next part. Every part is shifted to start at 0. Recordings
// without video cut on any audio packet.
//
// Size limits are met by projecting, before each video frame is encoded, how
// large the part would end if that frame were its last: the bytes given to it,
// the frames still inside the encoder at their recent average size, the audio
// up to the cut at its bit rate, and the container's own bytes. The cut falls
// on the first frame that would carry the projection past the limit, so a
// part ends just under it, off by the error of the estimate (a few frames'
// worth), whatever the limit and the bit rate. Audio past the last cut that
// keeps the part under the limit waits for the video: sound encoded ahead of
// the pictures would otherwise move the earliest cut past the limit between
// two frames.
class SplitMuxer : public PacketSink {
public:
    // Container bytes per packet beyond its payload: sample tables, fragment
    // headers, FLV tags or AVI chunk headers and index entries. Measured
    // between 20 and 40 on our files; the upper end keeps parts under.
    static constexpr int64_t kContainerBytesPerPacket = 40;
    // The final index's boxes and the trailer, beyond the per-packet entries.
    static constexpr int64_t kContainerTrailerBytes = 2048;
    // Recent predicted frames weigh in their average size for about half a
    // second of video: about what is inside the encoder at any time, and
    // short enough to follow the rate control as it settles.
    static constexpr double kFrameAverageSeconds = 0.5;
    // Keyframes are rarer: each new one counts for a quarter.
    static constexpr double kKeyframeWeight = 0.25;
    // Before the first keyframe came out: a keyframe of screen content is
    // typically several predicted frames' worth.
    static constexpr double kKeyframeToFrameGuess = 4.0;
    // Audio held while waiting for the cut's keyframe. Far more than the
    // encoder's delay; when it overflows (video stalled) the cut happens at
    // once and the new part skips video until its first keyframe.
    static constexpr std::size_t kMaxHeldAudioPackets = 512;
    // How far ahead of the video the last cut under a size limit is looked
    // for; audio past it waits for the video.
    static constexpr double kAudioHoldAheadSeconds = 2.0;

    SplitMuxer() = default;
    SplitMuxer(const SplitMuxer&) = delete;
    SplitMuxer& operator=(const SplitMuxer&) = delete;
    ~SplitMuxer() override;

    int open(const std::string& path, const ContainerChoice& choice, const AVCodecContext* video,
             const AVCodecContext* audio, SplitLimits limits, int64_t audioBitsPerSecond);
    bool startsNewPart(int64_t videoIndex);
    int writeVideoPacket(AVPacket* packet) override;
    int writeAudioPacket(AVPacket* packet) override;
    // Writes what is held, finishes the last part, and waits until every part
    // is final (fast-start rewrites included).
    int finish();

    // The frame a pending split cuts on, or -1.
    int64_t pendingCutIndex() const { return splitPending_ && video_ ? splitVideoIndex_ : -1; }
    // The index of the last keyframe the video encoder gave back, or -1.
    int64_t lastKeyframeIndex() const { return lastKeyframeIndex_; }

    // Any thread.
    int64_t currentFileSize() const { return fileSize_.load(); }
    int64_t encodedMs() const { return encodedUs_.load() / 1000; }
    bool failed() const { return failed_.load(); }

private:
    FinishJob finishJob() const;
    void armTimeSplit();
    void armSplit(int64_t videoIndex);
    bool sizeLimitReached(int64_t videoIndex);
    int64_t projectedPartBytes(int64_t videoIndex, int64_t cut) const;
    int64_t audioEndFrame() const;
    // Writes the held audio that ends by sample (that starts before it, when
    // not wholePackets) to the current part.
    int writeAudioUpTo(int64_t sample, bool wholePackets = true);
    bool audioSizeLimitReached(const AVPacket* packet) const;
    int64_t projectedContainerBytes(int64_t morePackets) const;
    int64_t partEndUs() const;
    bool timeLimitReached(int64_t us) const;
    int rotate();
    int writeToPart(AVPacket* packet, bool isVideo);
    void noteEncoded(const AVPacket* packet, AVRational timeBase);
    int releaseHeld();

    std::string basePath_;
    ContainerChoice choice_;
    const AVCodecContext* video_ = nullptr;
    const AVCodecContext* audio_ = nullptr;
    SplitLimits limits_;
    int64_t audioBytesPerSecond_ = 0;
    double averageFrameBytes_ = 0; // predicted frames
    double averageKeyframeBytes_ = 0;
    int64_t framesSinceKeyframe_ = 0; // video packets since the last keyframe
    int64_t lastKeyframeIndex_ = -1;
    int64_t framesSent_ = 0;      // frames handed to the video encoder
    int64_t videoPacketsOut_ = 0; // video packets it gave back
    int64_t partPackets_ = 0;     // packets given to the current part
    int64_t partHeaderBytes_ = 0; // the part's size right after it was opened
    OutputFile file_;
    int part_ = 0;
    int64_t videoOffset_ = 0; // in the video encoder's time base
    int64_t audioOffset_ = 0; // in samples
    bool splitPending_ = false;
    int64_t splitVideoIndex_ = 0;
    int64_t splitAudioSample_ = 0;
    // Audio from here on waits for the video (size limits; max when none).
    int64_t holdAudioFrom_ = std::numeric_limits<int64_t>::max();
    bool keyframeForced_ = false;
    bool needKeyframe_ = false;
    int64_t partPayload_ = 0;     // bytes of packets given to the current part
    int64_t audioWrittenEnd_ = 0; // end of the audio written so far, in samples
    std::vector<AVPacket*> held_;
    std::vector<std::thread> finishers_; // fast-start rewrites of finished parts
    std::atomic<int64_t> fileSize_{0};
    std::atomic<int64_t> encodedUs_{0};
    std::atomic<bool> failed_{false};
};

} // namespace me
