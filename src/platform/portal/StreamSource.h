#pragma once

#include "core/PointerFeed.h"
#include "engine/capture/CaptureSource.h"
#include "engine/capture/CaptureTypes.h"
#include "platform/portal/ScreenCastSession.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace portalcapture {

// A screen that something has shared with this process as a PipeWire
// stream: the remote to connect to, the node to read, and whatever must
// stay alive while it is read (the portal's session: dropping it ends the
// cast).
struct SharedScreen {
    UniqueFd remote;
    uint32_t node = 0;
    // The stream carries the pointer as metadata instead of in its pictures.
    bool cursorMetadata = false;
    // Where the shared monitor lies on the desktop, when the sharer says.
    // The desktop's own dialog may have shared another monitor than the one
    // chosen in FrameDeck.
    std::optional<RVScreen> monitor;
    std::shared_ptr<void> keepAlive;
};

// Asked once, by start() on the main thread; nothing and why when the
// screen cannot be had.
using ScreenOpener = std::function<std::optional<SharedScreen>(std::string& error)>;

// "ScreenOutputQueue" over a shared screen stream: `captureRect` of the
// monitor cropped out of it, one picture every 1/fps seconds, the newest one
// the stream brought (a screen cast sends pictures only when the screen
// changes, and a still screen must still fill the recording). Where the
// stream carries the pointer as metadata, its positions go to `pointer`
// (null: not reported).
std::unique_ptr<CaptureSource> createStreamSource(const ScreenCaptureRequest& request,
                                                  std::shared_ptr<PointerFeed> pointer, ScreenOpener open);

// The same over a shared window's stream: the whole stream, at the
// request's size (none: the stream's when it starts, evened), later pictures
// of another size placed at the top left, cut or filled out in black.
std::unique_ptr<CaptureSource> createWindowStreamSource(const WindowCaptureRequest& request,
                                                        ScreenOpener open);

} // namespace portalcapture
