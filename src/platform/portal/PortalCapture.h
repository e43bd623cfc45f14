#pragma once

#include "core/PointerFeed.h"
#include "engine/capture/CaptureSource.h"
#include "engine/capture/CaptureTypes.h"

#include <QImage>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QObject;

// Screen capture in a Wayland session, where no client may read the screen
// itself: the desktop portal (org.freedesktop.portal.ScreenCast) lets the
// user pick a monitor and hands over a PipeWire stream of it. Frames are 32
// bits per pixel, B, G, R and a padding byte in memory, like the X11 grab's.
//
// Free functions: any thread. Sources follow the CaptureSource rules.
namespace portalcapture {

// True when a Wayland compositor accepts a connection ($WAYLAND_DISPLAY).
bool sessionAvailable(std::string* error = nullptr);

// The compositor's outputs (wl_output) in its order, sizes in pixels; the
// first one counts as primary. Empty without a compositor.
std::vector<RVScreen> listOutputs();

// The kinds of source the desktop's screen-cast portal offers (its
// AvailableSourceTypes property), read without blocking the caller: `done`
// runs on `context`'s thread with the bits, or 0 and why when no portal
// answers.
constexpr uint32_t kSourceTypeMonitor = 1;
constexpr uint32_t kSourceTypeWindow = 2;
void readSourceTypes(QObject* context, std::function<void(uint32_t types, const std::string& error)> done);

// Whether a portal error says the user (in the desktop's dialog) or
// FrameDeck gave the question up, rather than the portal failing.
bool isCancellation(const std::string& error);

// Where the portal's restore tokens are kept between recordings, one for
// each monitor, by where it lies on the desktop ("X_Y", monitorKey()): a
// token restores the share of one monitor, so the monitor chosen in
// FrameDeck picks the token, and a monitor shared once is shared again
// without asking.
struct RestoreTokenStore {
    std::function<std::string(const std::string& monitor)> load;
    std::function<void(const std::string& monitor, const std::string& token)> save;
};
std::string monitorKey(int x, int y);

class ScreenCastSession;

// Asks the portal for the screen ahead of a recording, without blocking the
// caller: the portal may wait for the user to pick a monitor, and a window
// must stay responsive meanwhile. The next screen source takes the shared
// screen and starts at once.
//
// Main thread only; needs a QCoreApplication.
class ScreenShareBroker {
public:
    explicit ScreenShareBroker(RestoreTokenStore tokens);
    // Closes a session asked for and never used; an answer still to come is
    // dropped.
    ~ScreenShareBroker();
    ScreenShareBroker(const ScreenShareBroker&) = delete;
    ScreenShareBroker& operator=(const ScreenShareBroker&) = delete;

    // `done` runs on the main thread once the portal has answered, with an
    // empty error when `monitor` (with `window`: one window, picked in the
    // desktop's dialog) is shared. A request for the same while one is
    // waiting gets its answer too; with it already shared, `done` runs at
    // once. A session shared for something else is closed.
    void request(bool window, const RVScreen& monitor, std::function<void(const std::string& error)> done);
    bool waiting() const { return !waiters_.empty(); }
    // Stops waiting: the portal's pending request is closed (with the
    // session it made so far), the waiters are dropped unanswered, and the
    // next request asks the portal afresh.
    void cancel();
    // The shared session of that kind, once; null when none is ready.
    std::unique_ptr<ScreenCastSession> take(bool window);

private:
    RestoreTokenStore tokens_;
    // What is asked for, or what was shared for: the monitor's key, or
    // kWindowShare.
    std::string asked_;
    std::unique_ptr<QObject> context_;
    std::unique_ptr<ScreenCastSession> ready_;
    std::vector<std::function<void(const std::string&)>> waiters_;
};

// What a portal screen source is handed besides its request.
struct PortalScreenOptions {
    RestoreTokenStore tokens;
    // Where the pointer is reported when the portal sends it as metadata
    // (null: not reported).
    std::shared_ptr<PointerFeed> pointer;
    // A screen already shared through it is used instead of asking again
    // (null: start() asks the portal itself).
    ScreenShareBroker* share = nullptr;
};

// One window, picked in the desktop's dialog each time (or taken from the
// broker), recorded at the size its stream has when it starts; later
// pictures of another size (the window resized) keep their top left corner
// there, cut to that size or filled out in black. No pointer, as for windows
// on X11.
std::unique_ptr<CaptureSource> createWindowSource(const WindowCaptureRequest& request,
                                                  ScreenShareBroker* share);

// "ScreenOutputQueue": the monitor the portal hands over (asked once; later
// sessions restore the choice with the stored token), `captureRect` of it
// cropped out of the stream. A picture goes out every 1/fps seconds, the
// newest one the stream brought: the stream sends pictures only when the
// screen changes, and a still screen must still fill the recording.
//
// Unless the broker has a session ready, start() waits for the portal's
// answer, the user's choice included, on a thread of its own, but blocks
// its caller meanwhile; it needs a QCoreApplication.
std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request,
                                                  PortalScreenOptions options);

// A picture of the whole desktop through the portal's Screenshot interface
// (interactive=false: no dialog, though a desktop may ask once whether
// FrameDeck may take screenshots), read from the file the portal names.
// `done` runs on `context`'s thread; the wait happens on a thread of its own.
void takeScreenshot(QObject* context,
                    std::function<void(const QImage& image, const std::string& error)> done);
// The same, blocking the caller until the portal answers (the command line).
QImage takeScreenshot(std::string& error);

} // namespace portalcapture
