#include "engine/capture/VideoFrame.h"

namespace {

struct HeapStorage : FrameStorage {
    HeapStorage(int width, int height)
        : bytes(static_cast<std::size_t>(width) * 4 * height), w(width), h(height) {}
    PixelBufferView view() override { return {bytes.data(), w, h, w * 4}; }
    std::vector<uint8_t> bytes;
    int w;
    int h;
};

} // namespace

std::shared_ptr<FramePool> FramePool::create(int width, int height, int count) {
    return create(width, height, count,
                  [](int w, int h) { return std::unique_ptr<FrameStorage>(new HeapStorage(w, h)); });
}

std::shared_ptr<FramePool> FramePool::create(int width, int height, int count, const Allocator& allocate) {
    std::shared_ptr<FramePool> pool(new FramePool(width, height));
    for (int i = 0; i < count; ++i) {
        auto storage = allocate(width, height);
        if (!storage)
            break;
        VideoFrame frame;
        frame.pixels = storage->view();
        frame.storage = storage.get();
        pool->buffers_.push_back(std::move(storage));
        pool->frames_.push_back(frame);
    }
    pool->inUse_.assign(pool->buffers_.size(), false);
    return pool;
}

VideoFramePtr FramePool::acquire() {
    return acquire([](const VideoFrame&) { return int64_t{0}; });
}

VideoFramePtr FramePool::acquire(const std::function<int64_t(const VideoFrame&)>& cost) {
    std::lock_guard lock(mutex_);
    std::size_t best = inUse_.size();
    int64_t bestCost = 0;
    for (std::size_t i = 0; i < inUse_.size(); ++i) {
        if (inUse_[i])
            continue;
        const int64_t c = cost(frames_[i]);
        if (best == inUse_.size() || c < bestCost) {
            best = i;
            bestCost = c;
        }
    }
    if (best == inUse_.size())
        return nullptr;
    inUse_[best] = true;
    // The frame keeps its pool alive, so a source may go away while its
    // last frames are still queued for the encoder.
    auto self = shared_from_this();
    return VideoFramePtr(&frames_[best], [self, best](VideoFrame*) { self->release(best); });
}

void FramePool::release(std::size_t index) {
    {
        std::lock_guard lock(mutex_);
        inUse_[index] = false;
    }
    returned_.notify_all();
}

void FramePool::waitAllReturned() {
    std::unique_lock lock(mutex_);
    returned_.wait(lock, [this] {
        for (bool used : inUse_)
            if (used)
                return false;
        return true;
    });
}
