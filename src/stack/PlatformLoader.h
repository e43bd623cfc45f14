#pragma once

#include "core/PointerFeed.h"
#include "engine/audio/SoundServer.h"
#include "engine/capture/CaptureFactory.h"

#include <QImage>
#include <functional>
#include <memory>
#include <optional>
#include <string>

// Chooses the backends of this session, above the engine so that the engine
// only ever sees its interfaces: X11 (XCB + MIT-SHM) for the screen and its
// windows, or in a Wayland session the desktop portal's screen cast (no
// window recordings there: Wayland lists no windows to a client); PulseAudio's client API (served by
// PulseAudio or PipeWire) for sound, V4L2 for cameras. With FRAMEDECK_TEST_CAMERA=1 in the environment the
// only camera is a test pattern (test desktops have no camera); it is never chosen otherwise.
//
// Main thread, like the factory it returns.
namespace PlatformLoader {

enum class ScreenBackend { X11, Portal };

// A Wayland session (WAYLAND_DISPLAY set, or XDG_SESSION_TYPE "wayland")
// records through the portal, anything else through X11. Pure.
ScreenBackend chooseScreenBackend(const char* waylandDisplay, const char* sessionType);
// The choice for this process's environment.
ScreenBackend sessionScreenBackend();
// "x11" or "portal".
std::optional<ScreenBackend> screenBackendNamed(const std::string& name);

// Whether a ScreenShare's error means the user declined (the desktop's
// dialog was cancelled), not that sharing failed.
bool screenShareDeclined(const std::string& error);

// Asking the desktop for the screen before a recording starts, where it has
// to be asked (a Wayland portal may show a picker and wait for the user):
// the recording's start then finds the screen shared and does not wait.
// Main thread.
class ScreenShare {
public:
    virtual ~ScreenShare() = default;
    // `done` runs on the main thread once the desktop has answered, with an
    // empty error when `monitor` (with `window`: one window, which the
    // desktop lets the user pick) is shared. A monitor shared once is shared
    // again without asking.
    virtual void request(bool window, const RVScreen& monitor,
                         std::function<void(const std::string& error)> done) = 0;
    // Gives up waiting for the answer: the desktop's question is withdrawn
    // and `done` of the requests waiting never runs; the next request asks
    // afresh.
    virtual void cancel() = 0;
    // Whether the desktop would share a single window (not only whole
    // monitors); `done` runs on the main thread, false also when it cannot
    // tell.
    virtual void askWindowSharing(std::function<void(bool offered)> done) = 0;
};

// The capture backends of one recording stack.
struct Backends {
    std::unique_ptr<CaptureFactory> factory;
    // Null where the screen needs no asking (X11).
    std::unique_ptr<ScreenShare> share;
    // Where the screen source reports the pointer when only it knows where
    // the pointer is (a portal's cursor metadata); read by the decorations.
    std::shared_ptr<PointerFeed> pointer;
};
Backends backends(ScreenBackend backend = sessionScreenBackend());

// The capture backends for the recording controller, without the rest.
std::unique_ptr<CaptureFactory> captureFactory(ScreenBackend backend = sessionScreenBackend());

// The sound server for the audio routing (loop-back and aggregate devices).
std::unique_ptr<SoundServer> soundServer();

// True when the display accepts a connection (the X server, or the Wayland
// compositor for the portal); `error` says why not.
bool displayAvailable(std::string* error = nullptr);
bool displayAvailable(ScreenBackend backend, std::string* error);
// True when a sound server answers; `error` says why not. Blocks until it does.
bool soundServerAvailable(std::string* error = nullptr);

// A picture of the main display (the primary monitor, else the first) taken
// through the desktop portal, for Wayland sessions, where no client reads
// the screen itself. `done` runs on `context`'s thread with the picture, or
// a null one and why; the wait for the portal does not block it.
void portalMainDisplayScreenshot(QObject* context,
                                 std::function<void(const QImage& image, const std::string& error)> done);
// The same, blocking the caller (the command line).
QImage portalMainDisplayScreenshot(std::string& error);
// The whole desktop, every monitor where the compositor puts it, the same way.
void portalDesktopScreenshot(QObject* context,
                             std::function<void(const QImage& image, const std::string& error)> done);

// Global hotkeys where no client may listen to the keyboard (Wayland): the
// desktop portal's GlobalShortcuts, where the desktop offers it. Dropping
// the object gives the shortcuts back.
class PortalHotkeys {
public:
    virtual ~PortalHotkeys() = default;
};
struct HotkeyName {
    std::string id;          // what comes back on a press
    std::string description; // what the desktop shows the user
};
// Main thread; `context` must outlive the result. `bound` runs on the main
// thread once the desktop has answered (empty error: bound); `activated`
// then runs there with the id of each shortcut pressed.
std::unique_ptr<PortalHotkeys> bindPortalHotkeys(QObject* context, std::vector<HotkeyName> names,
                                                 std::function<void(const std::string& id)> activated,
                                                 std::function<void(const std::string& error)> bound);

// The primary monitor (the first one when none is marked primary): the
// origin of the decoration space. Null without a display.
std::optional<RVScreen> primaryScreen(CaptureFactory& factory);

} // namespace PlatformLoader
