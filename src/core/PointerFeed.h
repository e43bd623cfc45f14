#pragma once

#include <mutex>
#include <optional>

// The pointer position as the screen source last saw it, for desktops where
// no client may ask where the pointer is (Wayland): the screen cast carries
// it alongside its pictures and the decorations read it here.
//
// Thread-safe: the source writes on its stream's thread, the decorations
// read on the screen thread.
class PointerFeed {
public:
    // A position in root coordinates (the desktop's pixels, origin top left).
    struct Position {
        int x = 0;
        int y = 0;
        bool operator==(const Position&) const = default;
    };

    // The source reports positions from now on (it read the first one, or it
    // knows it will): the decorations rely on this feed alone, and draw no
    // cursor while it holds no position.
    void activate() {
        std::lock_guard lock(mutex_);
        active_ = true;
    }
    // The pointer is at `at`, or off the recorded screen (nothing).
    void set(std::optional<Position> at) {
        std::lock_guard lock(mutex_);
        active_ = true;
        position_ = at;
    }
    // The source stopped: back to whatever else knows the pointer.
    void reset() {
        std::lock_guard lock(mutex_);
        active_ = false;
        position_.reset();
    }

    bool active() const {
        std::lock_guard lock(mutex_);
        return active_;
    }
    std::optional<Position> position() const {
        std::lock_guard lock(mutex_);
        return position_;
    }

private:
    mutable std::mutex mutex_;
    bool active_ = false;
    std::optional<Position> position_;
};
