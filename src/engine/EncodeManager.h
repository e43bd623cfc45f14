#pragma once

#include "MediaEncoder.h"
#include "core/SampleBuffers.h"
#include "engine/RecordRequest.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

class KeyValueStore;

// Width and height of the recorded picture, in pixels (fractions are dropped
// when handed to the encoder library).
struct EncodeImageSize {
    double width = 0;
    double height = 0;
};

// One encoder session over libMediaEncoder. It lives as long as the recording
// controller and is reused for every recording: initHandle() takes a fresh
// library handle at each start, stopEncoderEncode() closes it.
//
// The only caller of the encoder library's C interface. Library failures are
// logged ("错误码:%d ->描述：..." through EMLog) and never end a recording.
//
// Threads: configuration, start, stop and the getters run on the main thread
// (recording controller, dialogs). encoderPushVideo() runs on the screen or
// camera output queue, encoderPushAudio() on the audio output queue, while the
// main thread may be stopping: isWorking and handle are atomic, and the
// library accepts pushes racing with a stop. What the capture threads read
// or write themselves is safe from any thread: the image size (read by the
// screen thread for every frame, set by the camera thread before a camera
// recording), the frame rate, the video bit rate and the audio layout (read
// by a push that may still run while the main thread sets up the next
// recording).
class EncodeManager {
public:
    // `settings` is read by setSplit() ("SplitType") and must outlive the
    // session. Creates the first library handle (initHandle()).
    explicit EncodeManager(KeyValueStore& settings);
    ~EncodeManager();
    EncodeManager(const EncodeManager&) = delete;
    EncodeManager& operator=(const EncodeManager&) = delete;

    // Main thread. Takes a new library handle; the previous one, if any, is closed.
    void initHandle();

    // Main thread. Stores the path and hands it to the library at once.
    void setOutputPath(const std::string& path);
    // Main thread. Store only; the library hears of them in setUp*Settings and setSplit.
    // Any thread.
    void setImageSize(EncodeImageSize size);
    EncodeImageSize imageSize() const;
    void setSplitTime(int32_t value) { splitTime = value; }
    void setSplitSize(int32_t value) { splitSize = value; }
    void setFps(float value) { fps = value; }
    void setVideoBitrate(int64_t value) { videoBitrate = value; }
    void setAudioBitrate(int32_t value) { audioBitrate = value; }
    void setAudioChannels(int32_t value) { audioChannels = value; }
    void setAudioSamples(int32_t value) { audioSamples = value; }

    // Main thread, before startEncoderEncode().
    void setUpVideoSettings();
    void setUpAudioSettings();
    void setSplit();
    // Main thread: setSplit(), then starts encoding; isWorking on success.
    // False when the library refused to start (the output cannot be made).
    bool startEncoderEncode();

    // Screen / camera output queue. `frame` is built and freed by the caller;
    // `pts` is the frame's time in milliseconds.
    void encoderPushVideo(const EncoderVideoFrame* frame, double pts);
    // Audio output queue. Planar buffers are interleaved before the push.
    void encoderPushAudio(const AudioSampleBuffer& buffer);

    // Main thread (once-a-second clock).
    double filesize();
    double countRecordedDuration();

    // Main thread.
    void stopEncoderVideo();
    void stopEncoderAudio();
    // Main thread: trailers, waits until the library is done, closes. Blocks.
    void stopEncoderEncode();
    // Main thread: the same stop without the wait. The trailers are pushed
    // and the handle is handed to a thread of its own ("EncoderFinisher"),
    // which waits while the library finishes the file, closes the handle and
    // then calls `finished` (on that thread). The next initHandle(), a
    // blocking stop and the destructor wait for it, so a file is always
    // complete before anything else touches the session.
    void stopEncoderEncodeInBackground(std::function<void()> finished);
    // Main thread: returns once no file is being finished.
    void waitForFinish();
    bool isFinishing() const { return finishing_; }

    // Properties, in the order the recording controller knows them.
    std::atomic<bool> isWorking{false};
    int32_t splitTime = 0;
    int32_t splitSize = 0;
    std::atomic<float> fps{0};
    int32_t audioBitrate = 0;
    std::atomic<int32_t> audioChannels{0};
    std::atomic<int32_t> audioSamples{0};
    // Bytes of audio pushed: 64-bit, so that hours of audio cannot wrap it.
    std::atomic<int64_t> nTotalAudiosize{0};
    std::atomic<void*> handle{nullptr};
    std::string outputPath;
    std::atomic<int64_t> videoBitrate{0};

    // Set by the recording controller: its video record type, read by
    // countRecordedDuration(). Absent means "not audio only".
    std::function<RecordVideoType()> recordVideoTypeProvider;

    // Set by the recording controller before a recording starts. Called once
    // per recording, on the thread whose push failed, when the library says
    // the output cannot be written any more (a full disk, the folder or the
    // file gone): the file holds what was written until then, and the
    // recording has to stop.
    std::function<void()> outputFailed;
    // Any thread: calls outputFailed unless this recording already did.
    void reportOutputFailure();

private:
    void checkPush(int32_t ret);
    // Pushes the trailers and takes the handle out of the session; null when
    // nothing was recording.
    void* endEncoding();
    static void finishAndClose(void* h);
    std::thread finisher_;
    std::atomic<bool> finishing_{false};
    std::atomic<bool> outputFailureReported_{false};
    std::atomic<bool> videoPushSkipped_{false};
    KeyValueStore& settings_;
    mutable std::mutex imageSizeMutex_;
    EncodeImageSize imageSize_;
};
