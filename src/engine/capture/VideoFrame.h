#pragma once

#include "core/SampleBuffers.h"
#include "engine/capture/RowBands.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

// One captured picture: 32-bit BGRA pixels plus the moment it was taken on
// the capture clock (monotonic seconds). The frame is owned by a FramePool
// and goes back to it when the last shared_ptr drops, so a picture can be
// decorated and pushed straight from the memory the grab wrote into, with
// no copy in between.
struct FrameStorage;
struct VideoFrame {
    PixelBufferView pixels;
    double captureTime = 0;
    // Where the picture's top-left pixel was on the X root window (screen
    // grabs; 0, 0 for cameras), so pointer positions can be placed on it.
    int originX = 0;
    int originY = 0;
    // The memory behind `pixels` (an X shared-memory segment, a heap block).
    FrameStorage* storage = nullptr;
    // False when the source knows the picture is the same as in the frame it
    // delivered before (nothing on screen changed); the compositor then needs
    // to push it only if its decorations differ.
    bool pictureChanged = true;
    // The rows that can differ from the frame the source delivered before,
    // when the source knows them (screen grabs that follow XDamage). The
    // encoder then converts those rows alone.
    std::optional<RowBands> changedRows;
    // Rows something was drawn on after the grab (the cursor, the
    // watermark): set by whoever draws, read by the source when it takes the
    // buffer again, since those rows no longer show the screen.
    RowBands drawnRows;
};
using VideoFramePtr = std::shared_ptr<VideoFrame>;

// Storage behind the frames of one source. Sources with special memory
// (X shared-memory segments, camera mmaps) bring their own allocator.
struct FrameStorage {
    virtual ~FrameStorage() = default;
    virtual PixelBufferView view() = 0;
};

// A fixed set of equally sized frame buffers. acquire() hands out a free one
// or nothing: when every buffer is still on its way to the encoder, the
// source drops that grab instead of allocating, which bounds the memory one
// recording can hold and keeps a slow encoder from stalling the capture.
//
// Thread-safe: acquire() runs on the capture thread, the release on the push
// thread.
class FramePool : public std::enable_shared_from_this<FramePool> {
public:
    using Allocator = std::function<std::unique_ptr<FrameStorage>(int width, int height)>;

    // Heap memory, rows of width * 4 bytes.
    static std::shared_ptr<FramePool> create(int width, int height, int count);
    // Memory from `allocate` (returns null on failure; the pool then holds fewer buffers).
    static std::shared_ptr<FramePool> create(int width, int height, int count, const Allocator& allocate);

    // A free frame, or null when all are in use.
    VideoFramePtr acquire();
    // The free frame for which `cost` is lowest (the one that needs least
    // work to be brought up to date), or null when all are in use. `cost`
    // runs under the pool's lock: keep it short.
    VideoFramePtr acquire(const std::function<int64_t(const VideoFrame&)>& cost);

    int width() const { return width_; }
    int height() const { return height_; }
    std::size_t size() const { return buffers_.size(); }
    // Blocks until every frame has come back (stop of a source whose
    // storage must not vanish under a push).
    void waitAllReturned();

private:
    FramePool(int width, int height) : width_(width), height_(height) {}
    void release(std::size_t index);

    int width_;
    int height_;
    std::vector<std::unique_ptr<FrameStorage>> buffers_;
    std::vector<VideoFrame> frames_;
    std::vector<bool> inUse_;
    std::mutex mutex_;
    std::condition_variable returned_;
};
