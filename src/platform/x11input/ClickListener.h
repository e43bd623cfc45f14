#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

// Mouse clicks anywhere on the X desktop, and the pointer position.
//
// Clicks come from XInput2 raw button events selected on the root window:
// they reach us whichever window is under the pointer and whoever grabbed
// it, for real devices and for XTEST-injected clicks alike. The pointer
// position is asked for with a pointer query, since absolute moves injected
// through XTEST produce no raw motion events to follow.
namespace x11input {

// A pointer position in root-window coordinates (origin top left, y down).
struct RootPointer {
    int x = 0;
    int y = 0;
};

struct Connection;

// Owns a file descriptor.
class UniqueFd {
public:
    explicit UniqueFd(int fd = -1) : fd_(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    int get() const { return fd_; }
    void reset(int fd = -1);

private:
    int fd_;
};

// Reads the pointer position on a connection of its own.
// One thread at a time (the screen thread, per frame).
class PointerReader {
public:
    // Opens `display`, or $DISPLAY when null; check isOpen().
    explicit PointerReader(const char* display = nullptr);
    ~PointerReader();
    PointerReader(const PointerReader&) = delete;
    PointerReader& operator=(const PointerReader&) = delete;

    bool isOpen() const;
    // One round trip to the server; nothing when the connection is gone.
    std::optional<RootPointer> position();

private:
    std::unique_ptr<Connection> connection_;
};

// Listens for mouse button presses on its own thread ("ClickListener") and
// calls back for each one: buttons 1-3 and the extra buttons, not the wheel
// (4-7), which scrolls rather than clicks.
class ClickListener {
public:
    // Called on the listener thread with the pressed button and the pointer
    // position right after the press (nothing if the query failed). Keep it
    // short: the recording controller sets its click state here.
    using ClickCallback = std::function<void(int button, std::optional<RootPointer> at)>;

    // Main thread.
    explicit ClickListener(ClickCallback onClick);
    // Stops the thread.
    ~ClickListener();
    ClickListener(const ClickListener&) = delete;
    ClickListener& operator=(const ClickListener&) = delete;

    // Main thread. Connects to `display` (or $DISPLAY), selects the raw
    // button events and starts the thread. Once it returns true, every later
    // click is reported. False (logged) without a display or without
    // XInput 2; clicks then simply draw no ring.
    bool start(const char* display = nullptr);
    // Main thread. Returns once the thread has ended; no callback after that.
    void stop();
    bool isRunning() const { return thread_.joinable(); }

private:
    void run();

    ClickCallback onClick_;
    std::unique_ptr<Connection> connection_;
    uint8_t xinputOpcode_ = 0;
    UniqueFd wakeFd_;
    std::thread thread_;
};

} // namespace x11input
