#pragma once

#include "engine/capture/VideoFrame.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

// Hands composed video frames from a capture thread to the encoder on a
// thread of its own ("VideoPushQueue"), so a grab never waits for the
// encoder's colour conversion. Frames keep their order, and with it the order
// of their timestamps.
//
// Overflow: at most kMaxQueuedFrames wait. A frame offered to a full queue is
// dropped and counted; the encoder repeats the previous picture for that
// slot, so an overloaded machine shows a short freeze instead of a growing
// delay and memory use.
class FramePushQueue {
public:
    // Four frames are 130 ms at 30 fps: enough to ride out a slow encode,
    // small enough that 1080p frames (8 MB each) stay cheap.
    static constexpr std::size_t kMaxQueuedFrames = 4;

    using PushFunction = std::function<void(const VideoFrame& frame, double timestampMs)>;

    explicit FramePushQueue(PushFunction push);
    ~FramePushQueue();
    FramePushQueue(const FramePushQueue&) = delete;
    FramePushQueue& operator=(const FramePushQueue&) = delete;

    // Capture threads. False when the frame was dropped (queue full or stopped).
    bool offer(VideoFramePtr frame, double timestampMs);
    // Any thread: returns once every frame offered before the call is pushed.
    void drain();
    // Main thread: drains and ends the thread; later offers are dropped.
    void stop();

    uint64_t droppedFrames() const { return dropped_.load(); }
    uint64_t pushedFrames() const { return pushed_.load(); }

private:
    void run();

    struct Item {
        VideoFramePtr frame;
        double timestampMs;
    };
    PushFunction push_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable idle_;
    std::deque<Item> items_;
    bool busy_ = false;
    bool stopping_ = false;
    std::atomic<uint64_t> dropped_{0};
    std::atomic<uint64_t> pushed_{0};
    std::thread thread_;
};
