#pragma once

#include "engine/capture/RowBands.h"
#include "platform/portal/PortalRules.h"

#include <optional>
#include <utility>

struct spa_buffer;

// What a stream buffer says besides its picture: where the pointer is, and
// which rows changed.
namespace portalcapture {

// What one stream buffer says about the pointer, read from its cursor
// metadata (SPA_META_Cursor). Only the position and whether the pointer is
// shown are read: FrameDeck draws its own arrow, so the desktop's cursor
// picture is never needed.
struct CursorUpdate {
    enum class Visibility { Unchanged, Shown, Hidden };
    // Stream pixels, from the picture's top-left corner.
    int x = 0;
    int y = 0;
    // Hidden: the desktop sent an empty cursor picture (the pointer left the
    // monitor or an application hid it). Unchanged: no picture this time.
    Visibility visibility = Visibility::Unchanged;
};

// Nothing when the buffer carries no cursor metadata or says nothing new
// (cursor id 0). Any thread.
std::optional<CursorUpdate> readCursorMeta(const spa_buffer& buffer);

// The rows of a `height`-row picture that its buffer's damage metadata
// (SPA_META_VideoDamage) says changed since the stream's picture before.
// Nothing when the buffer carries none, or names no region: not known.
std::optional<RowBands> readDamageRows(const spa_buffer& buffer, int height);

// The part of a width x height picture that its buffer's crop metadata
// (SPA_META_VideoCrop) says holds the picture, kept inside it: GNOME sends a
// window as a monitor-sized picture with the window at its top left and the
// window's size as the crop. Nothing when the buffer carries none, or an
// empty one.
std::optional<StreamArea> readCropArea(const spa_buffer& buffer, int width, int height);

// The pointer as the stream last described it, across buffers that each
// carry a part of it. One thread (the stream's).
class CursorState {
public:
    // Applies one buffer's update; returns the pointer in stream pixels, or
    // nothing while it is hidden or before the first position.
    std::optional<std::pair<int, int>> apply(const CursorUpdate& update);
    std::optional<std::pair<int, int>> current() const;

private:
    std::optional<std::pair<int, int>> position_;
    bool hidden_ = false;
};

} // namespace portalcapture
