#pragma once

#include <condition_variable>
#include <mutex>
#include <vector>

// Collects what a listener thread reports, for the test thread to wait on.
template <class Event> struct EventLog {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Event> events;

    void add(const Event& event) {
        std::lock_guard lock(mutex);
        events.push_back(event);
        changed.notify_all();
    }
    // Waits for the n-th event; a listener that never reports one is caught
    // by the test's own time-out.
    Event waitFor(std::size_t n) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return events.size() >= n; });
        return events[n - 1];
    }
};
