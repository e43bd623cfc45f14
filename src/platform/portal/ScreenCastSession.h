#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

class QObject;

namespace portalcapture {

// A file descriptor, closed when dropped.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept;
    ~UniqueFd();
    int get() const { return fd_; }
    int release();

private:
    int fd_ = -1;
};

struct ScreenCastRequest {
    // From the last session; empty: the portal asks the user.
    std::string restoreToken;
    // How long the user may take to answer the portal's picker.
    int answerTimeoutMs = 120000;
    // One window, picked in the desktop's dialog, instead of a monitor. A
    // window is asked for afresh each time (no restore token): the window a
    // user wants changes from one recording to the next, and a window that
    // has closed cannot be restored anyway.
    bool window = false;
};

// One portal screen-cast session of one monitor or window: CreateSession,
// SelectSources (a monitor with the cursor as metadata where offered, the
// choice kept by the portal until revoked; or a window without the
// cursor), Start and OpenPipeWireRemote on
// org.freedesktop.portal.ScreenCast. Each step's answer comes through its
// Request object's Response signal, subscribed before the call.
//
// open() runs the exchange on a thread of its own, with a private bus
// connection and an event loop there, and blocks the caller until the portal
// has answered (the user's choice included, at most answerTimeoutMs). It
// needs a QCoreApplication. Dropping the session closes it on the portal.
// Main thread.
class ScreenCastSession {
public:
    static std::unique_ptr<ScreenCastSession> open(const ScreenCastRequest& request, std::string& error);

    // The same exchange without blocking the caller: `done` runs on
    // `context`'s thread (its event loop) once the portal has answered, with
    // the session, or null and why not. When `context` is gone by then, the
    // session is closed unseen.
    using Opened = std::function<void(std::unique_ptr<ScreenCastSession> session, const std::string& error)>;
    static void openAsync(const ScreenCastRequest& request, QObject* context, Opened done);
    // Gives up every openAsync() started with `context` and not yet
    // answered: the portal's open request is closed, so is the session made
    // so far (on the exchange's thread), and their `done` never runs.
    static void cancelOpening(QObject* context);
    ~ScreenCastSession();

    // The PipeWire remote to connect the stream to (taken once).
    UniqueFd takePipeWireFd() { return std::move(fd_); }
    uint32_t node() const { return node_; }
    // The stream's size as the portal reports it (0 when it does not).
    int width() const { return width_; }
    int height() const { return height_; }
    // Where the shared monitor lies on the desktop, in the desktop's logical
    // pixels, when the portal says (never for a window).
    std::optional<std::pair<int, int>> position() const { return position_; }
    bool window() const { return window_; }
    uint32_t cursorMode() const { return cursorMode_; }
    // To hand to the next session's request; empty when the portal gave none.
    const std::string& restoreToken() const { return restoreToken_; }

private:
    ScreenCastSession() = default;
    friend class ScreenCastExchange;

    std::string connectionName_;
    std::string sessionHandle_;
    UniqueFd fd_;
    uint32_t node_ = 0;
    int width_ = 0;
    int height_ = 0;
    std::optional<std::pair<int, int>> position_;
    uint32_t cursorMode_ = 0;
    bool window_ = false;
    std::string restoreToken_;
};

} // namespace portalcapture
