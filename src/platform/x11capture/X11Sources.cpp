#include "core/EMLog.h"
#include "platform/x11/WindowFrame.h"
#include "platform/x11capture/X11Capture.h"
#include "platform/x11capture/XcbHandles.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <thread>
#include <unordered_map>
#include <utility>
#include <xcb/damage.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

namespace x11capture {
namespace {

// One frame's shared-memory segment, attached to the X server. It holds the
// connection, so a frame still queued for the encoder keeps it valid after
// its source has stopped.
class ShmStorage : public FrameStorage {
public:
    static std::unique_ptr<ShmStorage> create(const XcbConnectionPtr& c, int width, int height) {
        const std::size_t bytes = static_cast<std::size_t>(width) * height * 4;
        const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
        if (id < 0)
            return nullptr;
        void* address = shmat(id, nullptr, 0);
        if (address == reinterpret_cast<void*>(-1)) {
            shmctl(id, IPC_RMID, nullptr);
            return nullptr;
        }
        const xcb_shm_seg_t segment = xcb_generate_id(c.get());
        XcbReply<xcb_generic_error_t> error(xcb_request_check(
            c.get(), xcb_shm_attach_checked(c.get(), segment, static_cast<uint32_t>(id), 0)));
        // Marked for removal at once: the kernel frees it when the last
        // attachment (ours or the server's) goes, even after a crash.
        shmctl(id, IPC_RMID, nullptr);
        if (error) {
            shmdt(address);
            return nullptr;
        }
        return std::unique_ptr<ShmStorage>(new ShmStorage(c, segment, address, width, height));
    }
    ~ShmStorage() override {
        xcb_shm_detach(connection_.get(), segment_);
        xcb_flush(connection_.get());
        shmdt(address_);
    }
    PixelBufferView view() override { return {static_cast<uint8_t*>(address_), width_, height_, width_ * 4}; }
    xcb_shm_seg_t segment() const { return segment_; }

private:
    ShmStorage(XcbConnectionPtr c, xcb_shm_seg_t segment, void* address, int width, int height)
        : connection_(std::move(c)), segment_(segment), address_(address), width_(width), height_(height) {}
    XcbConnectionPtr connection_;
    xcb_shm_seg_t segment_;
    void* address_;
    int width_;
    int height_;
};

// Grabs the root window's area at (x, y) into the segment, `offset` bytes in.
bool grabInto(xcb_connection_t* c, xcb_window_t root, ShmStorage& storage, int x, int y, int width,
              int height, uint32_t offset = 0) {
    XcbReply<xcb_generic_error_t> error;
    xcb_generic_error_t* raw = nullptr;
    XcbReply<xcb_shm_get_image_reply_t> reply(
        xcb_shm_get_image_reply(c,
                                xcb_shm_get_image(c, root, static_cast<int16_t>(x), static_cast<int16_t>(y),
                                                  static_cast<uint16_t>(width), static_cast<uint16_t>(height),
                                                  ~0u, XCB_IMAGE_FORMAT_Z_PIXMAP, storage.segment(), offset),
                                &raw));
    error.reset(raw);
    return reply && !error;
}

// What changed on the root window, through XDamage: the server collects the
// damaged area, and each look moves it into an XFixes region and reads it
// back (one round trip). Works under a compositing manager too, whose
// painting of the screen is itself damage on the root window.
class DamageWatch {
public:
    // False when the server lacks DAMAGE or XFIXES; everything then counts
    // as changed every time.
    bool start(xcb_connection_t* c, xcb_window_t root) {
        const xcb_query_extension_reply_t* damage = xcb_get_extension_data(c, &xcb_damage_id);
        const xcb_query_extension_reply_t* xfixes = xcb_get_extension_data(c, &xcb_xfixes_id);
        if (!damage || !damage->present || !xfixes || !xfixes->present)
            return false;
        // Both must be told the version we speak before their first request.
        XcbReply<xcb_xfixes_query_version_reply_t>(
            xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 2, 0), nullptr));
        XcbReply<xcb_damage_query_version_reply_t>(
            xcb_damage_query_version_reply(c, xcb_damage_query_version(c, 1, 1), nullptr));
        damage_ = xcb_generate_id(c);
        region_ = xcb_generate_id(c);
        // Non-empty: one notification per look at most; the area itself is
        // read from the region, so the events are only drained.
        XcbReply<xcb_generic_error_t> e1(xcb_request_check(
            c, xcb_damage_create_checked(c, damage_, root, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY)));
        XcbReply<xcb_generic_error_t> e2(
            xcb_request_check(c, xcb_xfixes_create_region_checked(c, region_, 0, nullptr)));
        connection_ = c;
        active_ = !e1 && !e2;
        return active_;
    }
    ~DamageWatch() {
        if (connection_ && active_) {
            xcb_damage_destroy(connection_, damage_);
            xcb_xfixes_destroy_region(connection_, region_);
            xcb_flush(connection_);
        }
    }
    bool active() const { return active_; }

    // The rows of the area (x, y, width x height) damaged since the last
    // call, in the area's own rows. False when the server did not answer.
    bool collect(int x, int y, int width, int height, RowBands& rows) {
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection_))
            std::free(event);
        xcb_damage_subtract(connection_, damage_, XCB_NONE, region_);
        XcbReply<xcb_xfixes_fetch_region_reply_t> reply(xcb_xfixes_fetch_region_reply(
            connection_, xcb_xfixes_fetch_region(connection_, region_), nullptr));
        if (!reply)
            return false;
        const xcb_rectangle_t* rects = xcb_xfixes_fetch_region_rectangles(reply.get());
        const int count = xcb_xfixes_fetch_region_rectangles_length(reply.get());
        for (int i = 0; i < count; ++i) {
            const xcb_rectangle_t& r = rects[i];
            if (r.x + r.width <= x || r.x >= x + width)
                continue;
            rows.add(r.y - y, r.y + r.height - y, height);
        }
        return true;
    }

private:
    xcb_connection_t* connection_ = nullptr;
    xcb_damage_damage_t damage_ = 0;
    xcb_xfixes_region_t region_ = 0;
    bool active_ = false;
};

bool checkServer(const XcbDisplay& display, std::string& error) {
    const xcb_query_extension_reply_t* shm = xcb_get_extension_data(display.connection.get(), &xcb_shm_id);
    if (!shm || !shm->present) {
        error = "the X server has no MIT-SHM extension";
        return false;
    }
    if (display.screen->root_depth != 24 && display.screen->root_depth != 32) {
        error = "the X screen is not 24 or 32 bits deep";
        return false;
    }
    return true;
}

// Frames in flight: one being grabbed, the push queue's four, one being
// encoded. A seventh would only wait behind a full queue.
constexpr int kPoolFrames = 6;
// Separate bands of rows brought up to date in one frame, each one request
// to the server; closer bands are joined beyond that.
constexpr std::size_t kMaxGrabBands = 8;

// The grab loop shared by the screen and the window source.
class X11Source : public CaptureSource {
public:
    X11Source(double fps, int width, int height) : width_(width), height_(height), fps_(fps > 0 ? fps : 25) {}
    ~X11Source() override { stop(); }

    bool start(std::string& error) override {
        display_ = connectDisplay(error);
        if (!display_.connection || !checkServer(display_, error))
            return false;
        if (!prepare(error))
            return false;
        if (width_ <= 0 || height_ <= 0) {
            error = "nothing to capture: the area is empty";
            return false;
        }
        auto connection = display_.connection;
        pool_ = FramePool::create(width_, height_, kPoolFrames, [connection](int w, int h) {
            return ShmStorage::create(connection, w, h);
        });
        if (pool_->size() == 0) {
            error = "cannot create shared memory for the screen grab";
            return false;
        }
        damage_ = std::make_unique<DamageWatch>();
        if (!damage_->start(display_.connection.get(), root()))
            EMLog::showMessage("%s %d no XDamage on this display: every frame is grabbed whole", __func__,
                               __LINE__);
        stale_.clear();
        changedSinceDelivery_.addAll(height_);
        haveOrigin_ = false;
        stopping_ = false;
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
    }

    CaptureCapabilities capabilities() const override { return {true, false, followsWindow()}; }
    int frameWidth() const override { return width_; }
    int frameHeight() const override { return height_; }

protected:
    // Main thread, in start(): settle the picture size. False with `error` to refuse.
    virtual bool prepare(std::string& error) = 0;
    // Capture thread: where the next picture's top-left lies in the root
    // window; false when the target is gone.
    virtual bool origin(int& x, int& y) = 0;
    virtual bool followsWindow() const { return false; }

    int rootWidth() const { return display_.screen->width_in_pixels; }
    int rootHeight() const { return display_.screen->height_in_pixels; }
    xcb_connection_t* connection() const { return display_.connection.get(); }
    xcb_window_t root() const { return display_.screen->root; }

    int width_;
    int height_;

private:
    void run() {
        nameCurrentThread("ScreenOutputQueue");
        using Clock = std::chrono::steady_clock;
        const auto period =
            std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / fps_));
        auto deadline = Clock::now();
        uint64_t skipped = 0;
        std::unique_lock lock(mutex_);
        while (!stopping_) {
            if (wake_.wait_until(lock, deadline, [this] { return stopping_; }))
                break;
            lock.unlock();
            const bool alive = grabOne(skipped);
            lock.lock();
            if (!alive)
                break;
            // Deadlines are fixed points 1/fps apart; a late grab does not
            // shift the ones after it, and missed ones are skipped, not caught up.
            deadline += period;
            const auto now = Clock::now();
            if (deadline < now)
                deadline += period * ((now - deadline) / period + 1);
        }
    }

    bool grabOne(uint64_t& skipped) {
        int x = 0;
        int y = 0;
        if (!origin(x, y)) {
            EMLog::showMessage("%s %d the captured window is gone", __func__, __LINE__);
            deliverFailure("the captured window was closed");
            return false;
        }
        x = std::clamp(x, 0, std::max(0, rootWidth() - width_));
        y = std::clamp(y, 0, std::max(0, rootHeight() - height_));
        noteChanges(x, y);
        // The buffer that is quickest to bring up to date: usually the one
        // that went back to the pool last, untouched.
        VideoFramePtr frame = pool_->acquire([this](const VideoFrame& f) {
            const auto it = stale_.find(f.storage);
            return (it == stale_.end() ? height_ : it->second.rowCount()) + f.drawnRows.rowCount();
        });
        if (!frame) {
            if (++skipped == 1 || skipped % 100 == 0)
                EMLog::showMessage("%s %d screen grabs skipped (encoder behind): %llu", __func__, __LINE__,
                                   static_cast<unsigned long long>(skipped));
            return true;
        }
        if (!refresh(*frame, x, y)) {
            if (xcb_connection_has_error(connection())) {
                deliverFailure("the connection to the X server was lost");
                return false;
            }
            return true;
        }
        frame->captureTime = captureClockNow();
        frame->originX = x;
        frame->originY = y;
        frame->pictureChanged = !changedSinceDelivery_.empty();
        frame->changedRows = std::exchange(changedSinceDelivery_, {});
        deliverVideo(frame);
        return true;
    }

    // The rows that changed on screen since the last look go stale in every
    // buffer; a moved area (a window that moved) or a display without
    // XDamage makes everything stale.
    void noteChanges(int x, int y) {
        RowBands fresh;
        const bool moved = !haveOrigin_ || x != lastX_ || y != lastY_;
        if (moved || !damage_->active() || !damage_->collect(x, y, width_, height_, fresh))
            fresh.addAll(height_);
        haveOrigin_ = true;
        lastX_ = x;
        lastY_ = y;
        if (fresh.empty())
            return;
        changedSinceDelivery_.add(fresh, height_);
        for (auto& [storage, rows] : stale_)
            rows.add(fresh, height_);
    }

    // Grabs the buffer's stale rows, and the rows drawn on since its last
    // grab, in bands of whole rows straight into its shared memory.
    bool refresh(VideoFrame& frame, int x, int y) {
        // A buffer not used before shows nothing yet.
        auto [it, unused] = stale_.try_emplace(frame.storage);
        RowBands& rows = it->second;
        if (unused)
            rows.addAll(height_);
        rows.add(frame.drawnRows, height_);
        frame.drawnRows.clear();
        rows.limitTo(kMaxGrabBands);
        auto* storage = static_cast<ShmStorage*>(frame.storage);
        const auto rowBytes = static_cast<uint32_t>(width_) * 4;
        for (const RowBands::Band& band : rows.bands()) {
            if (!grabInto(connection(), root(), *storage, x, y + band.first, width_, band.end - band.first,
                          static_cast<uint32_t>(band.first) * rowBytes))
                return false; // the rows stay stale for the next try
        }
        rows.clear();
        return true;
    }

    double fps_;
    XcbDisplay display_;
    std::shared_ptr<FramePool> pool_;
    // Capture thread (set up in start()).
    std::unique_ptr<DamageWatch> damage_;
    std::unordered_map<const FrameStorage*, RowBands> stale_; // rows of each buffer not showing the screen
    RowBands changedSinceDelivery_; // rows changed on screen since the last frame delivered
    bool haveOrigin_ = false;
    int lastX_ = 0;
    int lastY_ = 0;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::thread thread_;
};

class ScreenSource : public X11Source {
public:
    explicit ScreenSource(const ScreenCaptureRequest& request)
        : X11Source(request.fps, 0, 0), request_(request) {}

protected:
    bool prepare(std::string& error) override {
        RVScreen screen = request_.screen;
        if (!screen.isValid())
            screen = {"root", 0, 0, rootWidth(), rootHeight()};
        const RVRect& r = request_.captureRect;
        if (r.isZero()) {
            x_ = screen.x;
            y_ = screen.y;
            width_ = screen.width;
            height_ = screen.height;
        } else {
            x_ = screen.x + static_cast<int>(r.x);
            y_ = screen.y + static_cast<int>(r.y);
            width_ = static_cast<int>(r.width);
            height_ = static_cast<int>(r.height);
        }
        if (x_ < 0 || y_ < 0 || x_ + width_ > rootWidth() || y_ + height_ > rootHeight()) {
            error = "the capture area lies outside the screen";
            return false;
        }
        return true;
    }
    bool origin(int& x, int& y) override {
        x = x_;
        y = y_;
        return true;
    }

private:
    ScreenCaptureRequest request_;
    int x_ = 0;
    int y_ = 0;
};

class WindowSource : public X11Source {
public:
    explicit WindowSource(const WindowCaptureRequest& request)
        : X11Source(request.fps, request.width, request.height),
          window_(static_cast<xcb_window_t>(request.window)) {}

protected:
    bool prepare(std::string& error) override {
        atoms_ = x11::FrameAtoms::intern(connection());
        // The frame window a window manager put the client in is looked up
        // once, so that each picture costs one round trip. A window moved
        // into another frame while it is recorded is followed no further.
        ancestor_ = x11::topLevelAncestor(connection(), root(), window_);
        int x = 0;
        int y = 0;
        if (!ancestor_ || !origin(x, y)) {
            error = "the window to record does not exist";
            return false;
        }
        width_ = std::min(width_, rootWidth());
        height_ = std::min(height_, rootHeight());
        return true;
    }
    // The frame's top left: the same rectangle the window list gave the
    // recording (and the overlay highlighted), wherever the window is now.
    bool origin(int& x, int& y) override {
        const std::optional<x11::FrameRect> frame =
            x11::frameWithAncestor(connection(), window_, ancestor_, atoms_);
        if (!frame)
            return false;
        x = frame->x;
        y = frame->y;
        return true;
    }
    bool followsWindow() const override { return true; }

private:
    xcb_window_t window_;
    xcb_window_t ancestor_ = XCB_WINDOW_NONE;
    x11::FrameAtoms atoms_;
};

class ShmGrabber : public Grabber {
public:
    bool init(int width, int height, std::string& error) {
        display_ = connectDisplay(error);
        if (!display_.connection || !checkServer(display_, error))
            return false;
        storage_ = ShmStorage::create(display_.connection, width, height);
        if (!storage_) {
            error = "cannot create shared memory";
            return false;
        }
        width_ = width;
        height_ = height;
        return true;
    }
    bool grab(int x, int y) override {
        return grabInto(display_.connection.get(), display_.screen->root, *storage_, x, y, width_, height_);
    }
    PixelBufferView pixels() override { return storage_->view(); }

private:
    XcbDisplay display_;
    std::unique_ptr<ShmStorage> storage_;
    int width_ = 0;
    int height_ = 0;
};

} // namespace

std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request) {
    return std::make_unique<ScreenSource>(request);
}

std::unique_ptr<CaptureSource> createWindowSource(const WindowCaptureRequest& request) {
    return std::make_unique<WindowSource>(request);
}

std::unique_ptr<Grabber> Grabber::open(int width, int height, std::string& error) {
    auto grabber = std::make_unique<ShmGrabber>();
    if (!grabber->init(width, height, error))
        return nullptr;
    return grabber;
}

} // namespace x11capture
