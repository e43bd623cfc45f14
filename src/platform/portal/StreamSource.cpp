#include "platform/portal/StreamSource.h"

#include "core/EMLog.h"
#include "platform/portal/CursorMeta.h"
#include "platform/portal/HeldPicture.h"
#include "platform/portal/PipeWireStream.h"
#include "platform/portal/PortalRules.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace portalcapture {
namespace {

// Frames in flight, as for the X11 grab: one being filled, the push queue's
// four, one being encoded.
constexpr int kPoolFrames = 6;
// The portal's stream agrees on its format within a few round trips; longer
// means it never will.
constexpr std::chrono::seconds kFormatTimeout{10};
// A window's stream sends its first picture as soon as it runs; without one
// by then the stream's own size stands for the window's.
constexpr std::chrono::seconds kFirstPictureTimeout{5};

class StreamScreenSource : public CaptureSource {
public:
    StreamScreenSource(const ScreenCaptureRequest& request, std::shared_ptr<PointerFeed> pointer,
                       ScreenOpener open)
        : request_(request), pointer_(std::move(pointer)), open_(std::move(open)),
          fps_(request.fps > 0 ? request.fps : 25) {}
    // A window: all of the stream, nothing of the pointer.
    StreamScreenSource(const WindowCaptureRequest& request, ScreenOpener open)
        : window_(true), windowWidth_(request.width), windowHeight_(request.height), open_(std::move(open)),
          fps_(request.fps > 0 ? request.fps : 25) {}
    ~StreamScreenSource() override { stop(); }

    bool start(std::string& error) override {
        std::optional<SharedScreen> shared = open_(error);
        if (!shared)
            return false;
        keepAlive_ = std::move(shared->keepAlive);
        screen_ = request_.screen;
        RVRect captureRect = request_.captureRect;
        if (shared->monitor && (shared->monitor->x != screen_.x || shared->monitor->y != screen_.y)) {
            // The user shared another monitor in the desktop's dialog: that
            // one is recorded, an area taken from it at the same place. A
            // monitor at the same place but of another size is the same one
            // in other units (a scaled monitor), and stays as it is.
            EMLog::showMessage(
                "%s %d the desktop shared the monitor at %d,%d (%dx%d), not %s at %d,%d; recording "
                "the shared one",
                __func__, __LINE__, shared->monitor->x, shared->monitor->y, shared->monitor->width,
                shared->monitor->height, screen_.name.c_str(), screen_.x, screen_.y);
            // The whole of the chosen monitor means the whole shared one.
            if (captureRect == RVRect{0, 0, double(screen_.width), double(screen_.height)})
                captureRect = {};
            screen_ = *shared->monitor;
        }
        const bool cursorMetadata = shared->cursorMetadata && !window_;
        node_ = shared->node;
        PipeWireStream::Callbacks callbacks;
        callbacks.onPicture = [this](const StreamPicture& picture) {
            pictureArrived(picture);
        };
        if (cursorMetadata && pointer_) {
            // From here on the decorations take the pointer from the stream
            // only; until its first position they draw no cursor.
            pointer_->activate();
            callbacks.onCursor = [this](const CursorUpdate& update) {
                cursorMoved(update);
            };
        }
        callbacks.onFailure = [this](const std::string& message) {
            streamFailed(message);
        };
        stream_ = PipeWireStream::connect(std::move(shared->remote), node_, cursorMetadata,
                                          std::move(callbacks), error);
        int streamWidth = 0;
        int streamHeight = 0;
        if (!stream_ || !stream_->waitForFormat(kFormatTimeout, streamWidth, streamHeight, error)) {
            release();
            return false;
        }
        streamWidth_ = streamWidth;
        streamHeight_ = streamHeight;
        if (window_) {
            // The window's size comes with its first picture (GNOME sends a
            // window inside a frame of the monitor's size, the window's part
            // named in each picture): that picture is held from the start,
            // a still window may send no other.
            std::unique_lock lock(mutex_);
            wake_.wait_for(lock, kFirstPictureTimeout, [this] { return held_ || !failure_.empty(); });
            if (!held_)
                holdWindow(streamWidth, streamHeight);
            stopping_ = false;
        } else {
            area_ = streamAreaFor(screen_, captureRect, streamWidth, streamHeight);
            if (area_.width <= 0) {
                error = "the capture area lies outside the screen";
                release();
                return false;
            }
            std::lock_guard lock(mutex_);
            held_ = std::make_unique<HeldPicture>(area_);
            stopping_ = false;
        }
        pool_ = FramePool::create(area_.width, area_.height, kPoolFrames);
        EMLog::showMessage("%s %d %s cast: node %u, %dx%d stream, area %d,%d %dx%d, cursor as %s", __func__,
                           __LINE__, window_ ? "window" : "screen", node_, streamWidth, streamHeight, area_.x,
                           area_.y, area_.width, area_.height, cursorMetadata ? "metadata" : "pixels");
        thread_ = std::thread([this] { run(); });
        return true;
    }

    void stop() override {
        {
            std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        if (thread_.joinable())
            thread_.join();
        release();
    }

    CaptureCapabilities capabilities() const override { return {true, false, window_}; }
    int frameWidth() const override { return area_.width; }
    int frameHeight() const override { return area_.height; }

private:
    // A window is recorded at the size asked for, or else at the size its
    // stream starts with, evened for the encoder.
    StreamArea windowArea(int streamWidth, int streamHeight) const {
        const int width = windowWidth_ > 0 ? windowWidth_ : streamWidth;
        const int height = windowHeight_ > 0 ? windowHeight_ : streamHeight;
        return {0, 0, std::max(2, width & ~1), std::max(2, height & ~1)};
    }

    // Under mutex_: the window's picture is held at this size from now on.
    void holdWindow(int width, int height) {
        area_ = windowArea(width, height);
        held_ = std::make_unique<HeldPicture>(area_, HeldPicture::OtherSizes::FitTopLeft);
    }

    // PipeWire thread.
    void pictureArrived(const StreamPicture& picture) {
        const double arrival = captureClockNow();
        const uint8_t* pixels = picture.pixels;
        int width = picture.width;
        int height = picture.height;
        std::optional<RowBands> changedRows = picture.changedRows;
        if (window_ && picture.crop) {
            const StreamArea& crop = *picture.crop;
            pixels +=
                static_cast<std::size_t>(crop.y) * picture.stride + static_cast<std::size_t>(crop.x) * 4;
            width = crop.width;
            height = crop.height;
            if (changedRows) {
                RowBands inCrop;
                for (const RowBands::Band& band : changedRows->bands())
                    inCrop.add(band.first - crop.y, band.end - crop.y, crop.height);
                changedRows = std::move(inCrop);
            }
        }
        std::lock_guard lock(mutex_);
        if (window_ && !held_) {
            holdWindow(width, height);
            wake_.notify_all();
        }
        if (held_)
            held_->store(pixels, picture.stride, width, height, arrival, changedRows);
    }

    // PipeWire thread. The stream's size is read as the format agreed it
    // (a later renegotiation does not move the monitor's origin).
    void cursorMoved(const CursorUpdate& update) {
        const std::optional<std::pair<int, int>> at = cursor_.apply(update);
        std::optional<PointerFeed::Position> root;
        if (at)
            if (const auto p =
                    pointerInRoot(screen_, at->first, at->second, streamWidth_.load(), streamHeight_.load()))
                root = PointerFeed::Position{p->first, p->second};
        pointer_->set(root);
    }

    // PipeWire thread: handed to the screen thread, which reports it.
    void streamFailed(const std::string& message) {
        {
            std::lock_guard lock(mutex_);
            failure_ = message.empty() ? "the screen cast ended" : message;
        }
        wake_.notify_all();
    }

    // Main thread, with the screen thread ended: the stream first, so no
    // picture arrives into a closed session.
    void release() {
        stream_.reset();
        keepAlive_.reset();
        if (pointer_)
            pointer_->reset();
    }

    // "ScreenOutputQueue": one picture every 1/fps on fixed deadlines, the
    // newest the stream brought, or the one before when nothing changed.
    void run() {
        nameCurrentThread("ScreenOutputQueue");
        using Clock = std::chrono::steady_clock;
        const auto period =
            std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / fps_));
        auto next = Clock::now();
        uint64_t skipped = 0;
        std::unique_lock lock(mutex_);
        while (true) {
            wake_.wait_until(lock, next, [this] { return stopping_ || !failure_.empty(); });
            if (stopping_)
                return;
            if (!failure_.empty()) {
                const std::string message = failure_;
                lock.unlock();
                deliverFailure(message);
                return;
            }
            lock.unlock();
            sendHeldPicture(skipped);
            lock.lock();
            next += period;
            const auto now = Clock::now();
            if (next < now)
                next += period * ((now - next) / period + 1);
        }
    }

    void sendHeldPicture(uint64_t& skipped) {
        VideoFramePtr frame = pool_->acquire();
        if (!frame) {
            if (++skipped == 1 || skipped % 100 == 0)
                EMLog::showMessage("%s %d screen frames skipped (encoder behind): %llu", __func__, __LINE__,
                                   static_cast<unsigned long long>(skipped));
            return;
        }
        std::optional<HeldPicture::Copied> copied = held_->copyTo(frame->pixels, frame->drawnRows);
        if (!copied)
            return; // nothing has arrived yet
        frame->drawnRows.clear();
        frame->changedRows = std::move(copied->changedRows);
        // A new picture keeps the time it arrived; a repeated one is what the
        // screen showed now.
        frame->captureTime = copied->arrival.value_or(captureClockNow());
        // A repeat is pushed only when its decorations changed.
        frame->pictureChanged = copied->arrival.has_value();
        frame->originX = screen_.x + area_.x;
        frame->originY = screen_.y + area_.y;
        deliverVideo(frame);
    }

    const ScreenCaptureRequest request_;
    const bool window_ = false;
    const int windowWidth_ = 0;
    const int windowHeight_ = 0;
    // The monitor recorded: the request's, or the one the desktop shared
    // instead (none for a window). Set by start() before the stream runs.
    RVScreen screen_;
    const std::shared_ptr<PointerFeed> pointer_;
    const ScreenOpener open_;
    const double fps_;
    CursorState cursor_; // PipeWire thread
    std::atomic<int> streamWidth_{0};
    std::atomic<int> streamHeight_{0};
    std::shared_ptr<void> keepAlive_;
    uint32_t node_ = 0;
    std::unique_ptr<PipeWireStream> stream_;
    StreamArea area_;
    std::shared_ptr<FramePool> pool_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::unique_ptr<HeldPicture> held_; // set under mutex_ before the thread starts
    bool stopping_ = false;
    std::string failure_;
    std::thread thread_;
};

} // namespace

std::unique_ptr<CaptureSource> createStreamSource(const ScreenCaptureRequest& request,
                                                  std::shared_ptr<PointerFeed> pointer, ScreenOpener open) {
    return std::make_unique<StreamScreenSource>(request, std::move(pointer), std::move(open));
}

std::unique_ptr<CaptureSource> createWindowStreamSource(const WindowCaptureRequest& request,
                                                        ScreenOpener open) {
    return std::make_unique<StreamScreenSource>(request, std::move(open));
}

} // namespace portalcapture
