#pragma once

#include "core/SampleBuffers.h"
#include "engine/capture/RowBands.h"
#include "platform/portal/PortalRules.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace portalcapture {

// The newest picture of the stream, cropped to the recorded area, kept so
// that it can be sent again while the screen does not change: a screen cast
// sends frames only when something on screen moves, but a recording needs a
// picture for every frame time, also after the last change.
//
// Where the stream says which rows changed (its damage), only those rows are
// copied, into the held picture and into each frame buffer it fills: a still
// desktop then costs no copying at all.
//
// Thread-safe: store() runs on the PipeWire thread, copyTo() on the screen
// thread.
class HeldPicture {
public:
    // What becomes of a stream picture that does not reach the area's far
    // corner: a monitor's stream sends one while it renegotiates its size,
    // and it is ignored; a window's stream sends one when the window was
    // resized, and it is placed at the area's top left, cut to the area or
    // filled out in black.
    enum class OtherSizes { Ignore, FitTopLeft };
    explicit HeldPicture(StreamArea area, OtherSizes otherSizes = OtherSizes::Ignore);

    // Copies `area` out of a stream picture (4 bytes a pixel, rows `stride`
    // bytes apart) that arrived at `arrival` on the capture clock.
    // `changedRows`: the stream picture's rows that differ from the stream's
    // picture before (nothing: not known, all of them). A pointer at no
    // pixels is ignored.
    void store(const uint8_t* pixels, int stride, int width, int height, double arrival,
               const std::optional<RowBands>& changedRows = std::nullopt);

    struct Copied {
        // When the copied picture arrived; unset when it was copied before.
        std::optional<double> arrival;
        // The rows, in the area, that differ from the picture copied before
        // (nothing: not known).
        std::optional<RowBands> changedRows;
    };
    // Brings `target` (the area's size) up to the held picture: the rows
    // that changed since this buffer was filled last, plus `drawnRows`
    // (rows something was drawn on since); all rows of a buffer not seen
    // before. Nothing when no picture has arrived yet.
    std::optional<Copied> copyTo(PixelBufferView& target, const RowBands& drawnRows = {});

    int width() const { return area_.width; }
    int height() const { return area_.height; }

private:
    void noteChange(const std::optional<RowBands>& rows);

    const StreamArea area_;
    const OtherSizes otherSizes_;
    std::mutex mutex_;
    std::vector<uint8_t> pixels_; // rows of area_.width * 4 bytes
    bool have_ = false;
    bool fresh_ = false;
    double arrival_ = 0;
    int streamWidth_ = 0;
    int streamHeight_ = 0;
    // Area rows changed since the last copyTo (nothing: all of them).
    std::optional<RowBands> changed_;
    // Rows of each frame buffer (by its pixels) that lag the held picture.
    std::map<const uint8_t*, RowBands> staleIn_;
};

} // namespace portalcapture
