#pragma once

#include "core/SampleBuffers.h"
#include "platform/portal/PortalRules.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

namespace portalcapture {

// The newest picture of the stream, cropped to the recorded area, kept so
// that it can be sent again while the screen does not change: a screen cast
// sends frames only when something on screen moves, but a recording needs a
// picture for every frame time, also after the last change.
//
// Thread-safe: store() runs on the PipeWire thread, copyTo() on the screen
// thread.
class HeldPicture {
public:
    explicit HeldPicture(StreamArea area);

    // Copies `area` out of a stream picture (4 bytes a pixel, rows `stride`
    // bytes apart) that arrived at `arrival` on the capture clock. A picture
    // smaller than the area's far corner is ignored (a stream renegotiating
    // its size), and so is a pointer at no pixels.
    void store(const uint8_t* pixels, int stride, int width, int height, double arrival);

    struct Copied {
        // When the copied picture arrived; unset when it was copied before.
        std::optional<double> arrival;
    };
    // Copies the held picture into `target` (the area's size). Nothing when
    // no picture has arrived yet.
    std::optional<Copied> copyTo(PixelBufferView& target);

    int width() const { return area_.width; }
    int height() const { return area_.height; }

private:
    const StreamArea area_;
    std::mutex mutex_;
    std::vector<uint8_t> pixels_; // rows of area_.width * 4 bytes
    bool have_ = false;
    bool fresh_ = false;
    double arrival_ = 0;
};

} // namespace portalcapture
