#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

// Calls a function at a fixed interval on a thread of its own until stopped
// or destroyed. Used for the once-a-second audio device check, whose tick
// hops to the main thread through the host.
class RepeatingTimer {
public:
    RepeatingTimer() = default;
    ~RepeatingTimer() { invalidate(); }
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

    // Main thread. Restarts the timer if it runs.
    void start(std::chrono::milliseconds interval, std::function<void()> tick);
    // Main thread. Returns once no tick runs any more.
    void invalidate();
    bool isValid() const { return thread_.joinable(); }

private:
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::thread thread_;
};
