#include "engine/controller/RepeatingTimer.h"

void RepeatingTimer::start(std::chrono::milliseconds interval, std::function<void()> tick) {
    invalidate();
    stopping_ = false;
    thread_ = std::thread([this, interval, tick = std::move(tick)] {
        auto deadline = std::chrono::steady_clock::now() + interval;
        std::unique_lock lock(mutex_);
        while (!wake_.wait_until(lock, deadline, [this] { return stopping_; })) {
            lock.unlock();
            tick();
            lock.lock();
            deadline += interval;
        }
    });
}

void RepeatingTimer::invalidate() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable())
        thread_.join();
}
