#pragma once

#include "engine/capture/CaptureTypes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// The arithmetic of a portal screen cast, kept apart from D-Bus and PipeWire
// so it can be tested without a desktop. Pure functions, any thread.
namespace portalcapture {

// The object path of the Request a portal call will answer through, which
// must be subscribed to before the call: the caller's unique bus name without
// its colon and with its dots as underscores, then the call's handle_token.
// ":1.42" and "framedeck1" give /org/freedesktop/portal/desktop/request/1_42/framedeck1.
std::string requestPath(const std::string& uniqueName, const std::string& token);

// The portal's cursor modes (AvailableCursorModes is a bit set of them).
enum CursorMode : uint32_t { kCursorHidden = 1, kCursorEmbedded = 2, kCursorMetadata = 4 };
// Metadata where the portal offers it, so FrameDeck draws its own cursor;
// otherwise the compositor's cursor inside the picture; hidden as a last resort.
uint32_t chooseCursorMode(uint32_t available);

// A rectangle of stream pixels.
struct StreamArea {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const StreamArea&) const = default;
};

// Where `captureRect` (monitor pixels, zero = the whole monitor) lies in a
// stream of the monitor that is streamWidth x streamHeight: the rectangle is
// scaled when the stream's size differs from the monitor's (a scaled output),
// and kept inside the stream. A monitor of unknown size counts as the
// stream's size. Empty (zero width) when nothing of it is inside.
StreamArea streamAreaFor(const RVScreen& screen, const RVRect& captureRect, int streamWidth,
                         int streamHeight);

// The pointer at stream pixel (x, y), in the root coordinates the source's
// frames are placed in: the monitor's origin plus the stream position. A
// frame's origin is the monitor's origin plus its crop in stream pixels, so
// pointer minus origin is the pointer's pixel in the frame, also on a scaled
// monitor. Nothing when the pointer is off the stream.
std::optional<std::pair<int, int>> pointerInRoot(const RVScreen& screen, int x, int y, int streamWidth,
                                                 int streamHeight);

// The main output's part (the primary one, else the first) of a picture
// of the whole desktop that is pictureWidth x pictureHeight: the outputs'
// bounding box fills the picture, scaled when the portal took it at another
// scale. The whole picture without outputs; empty when the output lies
// outside it.
StreamArea mainOutputIn(int pictureWidth, int pictureHeight, const std::vector<RVScreen>& outputs);

} // namespace portalcapture
