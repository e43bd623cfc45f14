#pragma once

#include "engine/capture/CaptureSource.h"
#include "engine/capture/CaptureTypes.h"

#include <memory>
#include <string>
#include <vector>

// Screen and window capture on an X server: MIT-SHM grabs of the root window,
// without the cursor (the compositor draws its own). Frames are 32 bits per
// pixel, B, G, R and a padding byte in memory (treat them as opaque).
//
// Everything here opens its own connection to $DISPLAY. Monitors, windows
// and window frames come from platform/x11's inventory, the one the
// selection overlay shows, so a window recording captures the rectangle the
// overlay highlighted (x11::windowFrame). Qt appears only inside, as QImage
// for a one-off grab; nothing here needs a QGuiApplication.
// The free functions may be called from any thread; sources follow the
// CaptureSource rules (start/stop on the main thread, frames on their own).
namespace x11capture {

// True when $DISPLAY names an X server that accepts a connection.
bool displayAvailable(std::string* error = nullptr);

// The RandR monitors in the server's order, with RandR's primary flag, or
// the whole root window as one (primary) monitor where RandR reports none.
// Empty without a display.
std::vector<RVScreen> listMonitors();

// Top-level windows that are shown, front to back, with their frames'
// geometry in root coordinates, not evened: the window manager's stacking
// list (_NET_CLIENT_LIST_STACKING) when there is one, else the root's
// children that are not override-redirect.
std::vector<CaptureWindowInfo> listWindows();

// "ScreenOutputQueue": grabs `captureRect` of the monitor (all of it when
// zero) every 1/fps seconds on a fixed schedule.
std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request);

// "ScreenOutputQueue": grabs the window's area as it is on screen (windows in
// front of it included), following it when it moves. The picture keeps the
// size of the request; a window that reaches past the screen edge is
// captured from the part that is on screen. A window that disappears ends
// the capture with a failure notice.
std::unique_ptr<CaptureSource> createWindowSource(const WindowCaptureRequest& request);

// The window's picture as it is on screen now (its frame's area of the root
// window, the part inside the screen): a one-off grab for callers outside a
// recording (previews, the selection overlay). Empty when the window is gone.
struct CapturedImage {
    std::vector<uint8_t> bgra;
    int width = 0;
    int height = 0;
};
CapturedImage getCapturedImage(uint64_t window);

// A reusable shared-memory grabber, for tools (the capture benchmark).
class Grabber {
public:
    // Opens $DISPLAY and a segment for width x height pictures.
    static std::unique_ptr<Grabber> open(int width, int height, std::string& error);
    virtual ~Grabber() = default;
    // Grabs the root window's area at (x, y) into the segment; false on error.
    virtual bool grab(int x, int y) = 0;
    virtual PixelBufferView pixels() = 0;
};

} // namespace x11capture
