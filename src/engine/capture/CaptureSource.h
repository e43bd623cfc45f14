#pragma once

#include "core/SampleBuffers.h"
#include "engine/capture/VideoFrame.h"

#include <functional>
#include <string>

// What a source can do, so the controller can tell a screen from a camera
// without knowing the backend.
struct CaptureCapabilities {
    bool video = false;
    bool audio = false;
    // The picture follows one window as it moves (window recordings).
    bool followsWindow = false;
};

// One capture backend: the X11 screen or window grab, a PulseAudio record
// stream, a V4L2 or test-pattern camera. A source runs its own thread, named
// after its queue ("ScreenOutputQueue", "VideoOutputQueue",
// "AudioDataOutputQueue"), and calls the callbacks on it, in capture order.
//
// Callbacks are set before start() and not changed while running. stop()
// returns only after the thread has ended, so no callback runs afterwards.
// A source that breaks while running (window closed, sound server gone)
// calls the failure callback once and stops delivering; it never throws.
class CaptureSource {
public:
    using VideoCallback = std::function<void(const VideoFramePtr& frame)>;
    // `captureTime` is when the newest sample of the buffer was recorded, on
    // the capture clock (monotonic seconds).
    using AudioCallback = std::function<void(const AudioSampleBuffer& buffer, double captureTime)>;
    using FailureCallback = std::function<void(const std::string& message)>;

    virtual ~CaptureSource() = default;

    // Main thread. Opens the device and starts the thread. On failure returns
    // false with a message for the log or the user, and nothing runs.
    virtual bool start(std::string& error) = 0;
    // Main thread. Idempotent.
    virtual void stop() = 0;
    virtual CaptureCapabilities capabilities() const = 0;
    // Main thread, after a successful start: the picture size every frame
    // will have (video sources), so the encoder can be set up before the
    // first frame arrives.
    virtual int frameWidth() const { return 0; }
    virtual int frameHeight() const { return 0; }

    void setVideoCallback(VideoCallback callback) { videoCallback_ = std::move(callback); }
    void setAudioCallback(AudioCallback callback) { audioCallback_ = std::move(callback); }
    void setFailureCallback(FailureCallback callback) { failureCallback_ = std::move(callback); }

protected:
    // For implementations, on their capture thread.
    void deliverVideo(const VideoFramePtr& frame) const {
        if (videoCallback_)
            videoCallback_(frame);
    }
    void deliverAudio(const AudioSampleBuffer& buffer, double captureTime) const {
        if (audioCallback_)
            audioCallback_(buffer, captureTime);
    }
    void deliverFailure(const std::string& message) const {
        if (failureCallback_)
            failureCallback_(message);
    }

private:
    VideoCallback videoCallback_;
    AudioCallback audioCallback_;
    FailureCallback failureCallback_;
};

// The one capture clock: monotonic seconds, shared by every source and the
// recording controller so that frames, audio and pauses are measured alike.
double captureClockNow();

// Names the calling thread after its queue, cut to the 15 characters the
// kernel keeps ("ScreenOutputQueue" shows as "ScreenOutputQue").
void nameCurrentThread(const char* queueName);
