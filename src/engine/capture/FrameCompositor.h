#pragma once

#include "core/SampleBuffers.h"
#include "engine/capture/AudioDrift.h"
#include "engine/capture/AudioTimeline.h"
#include "engine/capture/CompositorState.h"
#include "engine/capture/FramePushQueue.h"
#include "engine/capture/VideoFrame.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

class EncodeManager;

// The receiving end of every capture source: stamps screen and camera frames
// with the recording clock and hands them to the encoder session, and pushes
// audio. Frames that arrive while the
// recording is idle or paused are dropped.
//
// Screen frames are decorated (cursor, click ring, watermark) in the memory
// the grab wrote into, then pushed from that same memory: no copies unless
// the picture must be rescaled to the recorded size.
//
// Threads: screenFrame() on "ScreenOutputQueue", cameraFrame() on
// "VideoOutputQueue", audioBuffer() on "AudioDataOutputQueue"; the pushes of
// video frames run on the push queue's thread. Hooks are set on the main
// thread while no source runs.
class FrameCompositor {
public:
    // The longest a still screen goes without a pushed picture: players and
    // editors seek to pictures, and a recording cut short by a crash keeps
    // its picture up to about then. A little under the encoder's own second
    // (it stores a picture at least that often), so the encoder never adds
    // one just before ours.
    static constexpr double kStillPictureSeconds = 0.9;

    struct Hooks {
        // Draws the cursor effects and the watermark into a screen frame, in
        // place (frame.pixels; frame.originX/Y is its top-left on the root
        // window). Null draws nothing. Screen thread; never for windows.
        std::function<void(VideoFrame& frame, const RVRect& captureRect)> appendMouseCursor;
        // What the decorations of this frame would look like, as a value
        // that changes whenever the pixels drawn would (the pointer moved,
        // the ring grew, the time watermark ticked). Called just before
        // appendMouseCursor for the same frame, and for frames that are then
        // not kept: a screen frame whose picture did not change is pushed
        // only when this value did. Null: every frame is pushed.
        std::function<uint64_t(const VideoFrame& frame, const RVRect& captureRect)> decorationSignature;
        // Shows a camera picture (main window or floating camera window).
        // Camera thread; the picture is valid only during the call.
        std::function<void(const PixelBufferView& frame)> cameraPreview;
        // The input level meter. Audio thread.
        std::function<void(const AudioSampleBuffer& buffer)> audioVolum;
    };

    // `now` is the clock used when a source gives no capture time (tests
    // pass a fake one).
    FrameCompositor(CompositorState& state, EncodeManager& session, std::function<double()> now);
    ~FrameCompositor();

    void setHooks(Hooks hooks) { hooks_ = std::move(hooks); }
    Hooks& hooks() { return hooks_; }

    void screenFrame(const VideoFramePtr& frame);
    void cameraFrame(const VideoFramePtr& frame);
    void audioBuffer(const AudioSampleBuffer& buffer, double captureTime);

    // A picture of exactly width x height: the frame itself when it has that
    // size, otherwise a scaled copy (the recorded size is fixed when encoding
    // starts; a window that was resized still has to fit it).
    VideoFramePtr pixelBufferFromCGImage(const VideoFramePtr& frame, int width, int height);

    // Main thread, at the stop, once the status says so: pushes the last
    // screen picture again at `now` when it was pushed more than a frame ago
    // (the screen stood still), so the video lasts until the stop.
    void holdLastPictureUntil(double now);
    // Main thread: waits until every frame accepted so far reached the
    // encoder (before its trailers are pushed).
    void drain() { pushQueue_->drain(); }
    // Screen frames that were not pushed because neither the picture nor its
    // decorations had changed.
    uint64_t unchangedFrames() const { return unchangedFrames_.load(); }
    uint64_t droppedFrames() const { return pushQueue_->droppedFrames(); }
    uint64_t pushedFrames() const { return pushQueue_->pushedFrames(); }
    // Audio buffers that arrived, pushed or not (a sound source that is
    // flowing, before a recording starts).
    uint64_t audioBuffersReceived() const { return audioBuffersReceived_.load(); }

    // Held while the camera branch sets the session's picture parameters;
    // the controller holds it while it hands them to the encoder.
    std::mutex& sessionConfigMutex() { return sessionConfigMutex_; }

    // Mirrors a picture left to right, in place.
    static void mirrorHorizontally(PixelBufferView& frame);

private:
    bool isRecordingStatus() const;
    // Screen thread: whether this frame shows anything the last one pushed
    // did not.
    bool showsSomethingNew(const VideoFrame& frame, bool decorated, const RVRect& captureRect);
    // The frame as pushed (rescaled to the recorded size), or null when it
    // was not; its timestamp in `timestampMs`.
    VideoFramePtr stampAndPush(const VideoFramePtr& frame, double& timestampMs);
    // Push thread: the record's changedRows for `frame`, against the frame
    // pushed before it.
    uint32_t changedRowsSincePush(const VideoFrame& frame);
    // Audio thread: `frames` of silence for sound that never arrived.
    void pushSilence(int64_t frames, int channels, int sampleRate);

    CompositorState& state_;
    EncodeManager& session_;
    std::function<double()> now_;
    Hooks hooks_;
    std::unique_ptr<FramePushQueue> pushQueue_;
    std::shared_ptr<FramePool> scalePool_;
    std::atomic<double> lastTimestampMs_{0};
    std::atomic<uint64_t> audioBuffersReceived_{0};
    std::atomic<uint64_t> unchangedFrames_{0};
    // The last screen frame pushed and its timestamp, for the stop.
    std::mutex lastScreenMutex_;
    VideoFramePtr lastScreenFrame_;
    double lastScreenTimestampMs_ = 0;
    // Screen thread.
    bool havePushedScreen_ = false;
    double lastPushCaptureTime_ = 0;
    uint64_t lastSignature_ = 0;
    std::optional<RowBands> pendingRows_; // screen rows changed since the last push; unknown when empty
    int pendingRowsHeight_ = 0;
    // Push thread.
    std::optional<RowBands> previousDrawnRows_;
    int previousHeight_ = 0;
    AudioTimeline timeline_;    // audio thread
    AudioDriftCorrector drift_; // audio thread
    std::mutex sessionConfigMutex_;
};
