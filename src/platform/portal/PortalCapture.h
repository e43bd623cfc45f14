#pragma once

#include "engine/capture/CaptureSource.h"
#include "engine/capture/CaptureTypes.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

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

// Where the portal's restore token is kept between recordings.
struct RestoreTokenStore {
    std::function<std::string()> load;
    std::function<void(const std::string& token)> save;
};

// "ScreenOutputQueue": the monitor the portal hands over (asked once; later
// sessions restore the choice with the stored token), `captureRect` of it
// cropped out of the stream. A picture goes out every 1/fps seconds, the
// newest one the stream brought: the stream sends pictures only when the
// screen changes, and a still screen must still fill the recording.
//
// start() waits for the portal's answer, the user's choice included, on a
// thread of its own, but blocks its caller meanwhile; it needs a
// QCoreApplication.
std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request,
                                                  RestoreTokenStore tokens);

// A small file in the application's settings folder
// ($XDG_CONFIG_HOME/FrameDeck/screencast-restore-token).
RestoreTokenStore fileTokenStore();

} // namespace portalcapture
