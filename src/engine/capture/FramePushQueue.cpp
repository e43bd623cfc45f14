#include "engine/capture/FramePushQueue.h"

#include "core/EMLog.h"
#include "engine/capture/CaptureSource.h"

FramePushQueue::FramePushQueue(PushFunction push) : push_(std::move(push)) {
    thread_ = std::thread([this] { run(); });
}

FramePushQueue::~FramePushQueue() {
    stop();
}

bool FramePushQueue::offer(VideoFramePtr frame, double timestampMs) {
    {
        std::lock_guard lock(mutex_);
        if (stopping_ || items_.size() >= kMaxQueuedFrames) {
            const uint64_t dropped = ++dropped_;
            // Once at the first drop and then every 100, so a struggling
            // machine is visible in the log without flooding it.
            if (dropped == 1 || dropped % 100 == 0)
                EMLog::showMessage("%s %d video frames dropped: %llu", __func__, __LINE__,
                                   static_cast<unsigned long long>(dropped));
            return false;
        }
        items_.push_back({std::move(frame), timestampMs});
    }
    wake_.notify_one();
    return true;
}

void FramePushQueue::drain() {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [this] { return items_.empty() && !busy_; });
}

void FramePushQueue::stop() {
    {
        std::lock_guard lock(mutex_);
        if (stopping_ && !thread_.joinable())
            return;
        stopping_ = true;
    }
    wake_.notify_one();
    if (thread_.joinable())
        thread_.join();
}

void FramePushQueue::run() {
    nameCurrentThread("VideoPushQueue");
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !items_.empty(); });
        if (items_.empty()) {
            idle_.notify_all();
            if (stopping_)
                return;
            continue;
        }
        Item item = std::move(items_.front());
        items_.pop_front();
        busy_ = true;
        lock.unlock();
        push_(*item.frame, item.timestampMs);
        ++pushed_;
        // The frame goes back to its pool here, before the next wait.
        item.frame.reset();
        lock.lock();
        busy_ = false;
        if (items_.empty())
            idle_.notify_all();
    }
}
