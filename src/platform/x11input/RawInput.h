#pragma once

// What the two desktop-wide listeners (clicks, keys) share: a connection of
// their own, XInput2 raw events selected on the root window, and a poll()
// on that connection plus an eventfd that stops them. Internal to
// src/platform/x11input.
#include "platform/x11input/ClickListener.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <xcb/xcb.h>

namespace x11input {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
// An XCB reply or event, freed with free().
template <class T> using Reply = std::unique_ptr<T, FreeDeleter>;

// One X connection and its default screen's root window.
struct Connection {
    explicit Connection(const char* display);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    std::optional<RootPointer> queryPointer() const;

    xcb_connection_t* conn = nullptr;
    xcb_window_t root = 0;
};

// Checks for XInput 2 and selects `eventMask` (XCB_INPUT_XI_EVENT_MASK_*
// bits) on the root window for the master devices, so that each press
// arrives once whichever physical (or XTEST) device made it. Returns the
// extension's opcode, or nothing (logged, ending with `consequence`, e.g.
// "clicks will not be shown").
std::optional<uint8_t> selectRawEvents(const Connection& connection, uint32_t eventMask,
                                       const char* consequence);

// A non-blocking eventfd for stop() to write; -1 (logged) on failure.
int makeWakeFd();
// Writes the eventfd once.
void wake(int wakeFd);

// Sleeps until the connection has something to read (true) or the eventfd
// was written or the connection broke (false; a break is logged with
// `consequence`). Call it only once xcb_poll_for_event() has run dry.
bool waitForEvents(xcb_connection_t* conn, int wakeFd, const char* consequence);

} // namespace x11input
