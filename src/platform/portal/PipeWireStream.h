#pragma once

#include "platform/portal/CursorMeta.h"
#include "platform/portal/ScreenCastSession.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace portalcapture {

// A picture of the stream, valid only during the callback.
struct StreamPicture {
    const uint8_t* pixels = nullptr;
    int stride = 0;
    int width = 0;
    int height = 0;
    // The rows that differ from the picture handed on before, where the
    // stream says (its damage); nothing: not known.
    std::optional<RowBands> changedRows;
    // The part that holds the picture, where the stream says (a window's
    // stream on GNOME); nothing: all of it.
    std::optional<StreamArea> crop;
};

// A PipeWire video stream from a portal's remote: one thread of PipeWire's
// own ("PipeWireStream", a pw_thread_loop), shared-memory buffers only (no
// DMA-BUF: it needs a GPU to read), 32-bit BGRx or BGRA.
//
// connect() and the destructor: main thread. The callbacks run on the
// PipeWire thread: onPicture for every filled buffer, onCursor for every
// buffer whose cursor metadata says something new (with cursorMetadata; the
// desktop may send such buffers without a picture when only the pointer
// moved), onFailure once when the stream or its connection breaks.
class PipeWireStream {
public:
    using PictureCallback = std::function<void(const StreamPicture& picture)>;
    using CursorCallback = std::function<void(const CursorUpdate& update)>;
    using FailureCallback = std::function<void(const std::string& message)>;

    struct Callbacks {
        PictureCallback onPicture;
        CursorCallback onCursor;
        FailureCallback onFailure;
    };

    static std::unique_ptr<PipeWireStream> connect(UniqueFd remote, uint32_t node, bool cursorMetadata,
                                                   Callbacks callbacks, std::string& error);
    // Stops the thread first, so no callback runs once it returns.
    ~PipeWireStream();

    // Main thread: waits until the format is agreed (size known) or the
    // stream failed.
    bool waitForFormat(std::chrono::milliseconds timeout, int& width, int& height, std::string& error);

    struct Impl;

private:
    explicit PipeWireStream(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace portalcapture
