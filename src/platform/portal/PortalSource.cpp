#include "core/EMLog.h"
#include "platform/portal/CursorMeta.h"
#include "platform/portal/HeldPicture.h"
#include "platform/portal/PipeWireStream.h"
#include "platform/portal/PortalCapture.h"
#include "platform/portal/PortalRules.h"
#include "platform/portal/ScreenCastSession.h"

#include <QObject>
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

class PortalScreenSource : public CaptureSource {
public:
    PortalScreenSource(const ScreenCaptureRequest& request, PortalScreenOptions options)
        : request_(request), options_(std::move(options)), fps_(request.fps > 0 ? request.fps : 25) {}
    ~PortalScreenSource() override { stop(); }

    bool start(std::string& error) override {
        if (options_.share)
            session_ = options_.share->take();
        if (!session_) {
            const RestoreTokenStore& tokens = options_.tokens;
            ScreenCastRequest castRequest;
            if (tokens.load)
                castRequest.restoreToken = tokens.load();
            session_ = ScreenCastSession::open(castRequest, error);
            if (!session_)
                return false;
            // A token is good for one restore; the portal hands out the next.
            if (tokens.save && !session_->restoreToken().empty())
                tokens.save(session_->restoreToken());
        }
        const bool cursorMetadata = session_->cursorMode() == kCursorMetadata;
        PipeWireStream::Callbacks callbacks;
        callbacks.onPicture = [this](const StreamPicture& picture) {
            pictureArrived(picture);
        };
        if (cursorMetadata && options_.pointer) {
            // From here on the decorations take the pointer from the stream
            // only; until its first position they draw no cursor.
            options_.pointer->activate();
            callbacks.onCursor = [this](const CursorUpdate& update) {
                cursorMoved(update);
            };
        }
        callbacks.onFailure = [this](const std::string& message) {
            streamFailed(message);
        };
        stream_ = PipeWireStream::connect(session_->takePipeWireFd(), session_->node(), cursorMetadata,
                                          std::move(callbacks), error);
        int streamWidth = 0;
        int streamHeight = 0;
        if (!stream_ || !stream_->waitForFormat(kFormatTimeout, streamWidth, streamHeight, error)) {
            release();
            return false;
        }
        area_ = streamAreaFor(request_.screen, request_.captureRect, streamWidth, streamHeight);
        streamWidth_ = streamWidth;
        streamHeight_ = streamHeight;
        if (area_.width <= 0) {
            error = "the capture area lies outside the screen";
            release();
            return false;
        }
        {
            std::lock_guard lock(mutex_);
            held_ = std::make_unique<HeldPicture>(area_);
            stopping_ = false;
        }
        pool_ = FramePool::create(area_.width, area_.height, kPoolFrames);
        EMLog::showMessage("%s %d screen cast: node %u, %dx%d stream, area %d,%d %dx%d, cursor mode %u",
                           __func__, __LINE__, session_->node(), streamWidth, streamHeight, area_.x, area_.y,
                           area_.width, area_.height, session_->cursorMode());
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

    CaptureCapabilities capabilities() const override { return {true, false, false}; }
    int frameWidth() const override { return area_.width; }
    int frameHeight() const override { return area_.height; }

private:
    // PipeWire thread.
    void pictureArrived(const StreamPicture& picture) {
        const double arrival = captureClockNow();
        std::lock_guard lock(mutex_);
        if (held_)
            held_->store(picture.pixels, picture.stride, picture.width, picture.height, arrival);
    }

    // PipeWire thread. The stream's size is read as the format agreed it
    // (a later renegotiation does not move the monitor's origin).
    void cursorMoved(const CursorUpdate& update) {
        const std::optional<std::pair<int, int>> at = cursor_.apply(update);
        std::optional<PointerFeed::Position> root;
        if (at)
            if (const auto p = pointerInRoot(request_.screen, at->first, at->second, streamWidth_.load(),
                                             streamHeight_.load()))
                root = PointerFeed::Position{p->first, p->second};
        options_.pointer->set(root);
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
        session_.reset();
        if (options_.pointer)
            options_.pointer->reset();
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
        const std::optional<HeldPicture::Copied> copied = held_->copyTo(frame->pixels);
        if (!copied)
            return; // nothing has arrived yet
        // A new picture keeps the time it arrived; a repeated one is what the
        // screen showed now.
        frame->captureTime = copied->arrival.value_or(captureClockNow());
        // A repeat is pushed only when its decorations changed.
        frame->pictureChanged = copied->arrival.has_value();
        frame->originX = request_.screen.x + area_.x;
        frame->originY = request_.screen.y + area_.y;
        deliverVideo(frame);
    }

    const ScreenCaptureRequest request_;
    PortalScreenOptions options_;
    const double fps_;
    CursorState cursor_; // PipeWire thread
    std::atomic<int> streamWidth_{0};
    std::atomic<int> streamHeight_{0};
    std::unique_ptr<ScreenCastSession> session_;
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

std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request,
                                                  PortalScreenOptions options) {
    return std::make_unique<PortalScreenSource>(request, std::move(options));
}

ScreenShareBroker::ScreenShareBroker(RestoreTokenStore tokens)
    : tokens_(std::move(tokens)), context_(std::make_unique<QObject>()) {
}

ScreenShareBroker::~ScreenShareBroker() = default;

void ScreenShareBroker::request(std::function<void(const std::string& error)> done) {
    if (ready_) {
        done({});
        return;
    }
    waiters_.push_back(std::move(done));
    if (waiters_.size() > 1)
        return; // the portal is asked already
    ScreenCastRequest castRequest;
    if (tokens_.load)
        castRequest.restoreToken = tokens_.load();
    ScreenCastSession::openAsync(
        castRequest, context_.get(),
        [this](std::unique_ptr<ScreenCastSession> session, const std::string& error) {
            if (session && tokens_.save && !session->restoreToken().empty())
                tokens_.save(session->restoreToken());
            ready_ = std::move(session);
            if (!error.empty())
                EMLog::showMessage("%s %d the screen was not shared: %s", __func__, __LINE__, error.c_str());
            // A waiter may ask again from its callback.
            const auto waiters = std::exchange(waiters_, {});
            for (const auto& waiter : waiters)
                waiter(error);
        });
}

std::unique_ptr<ScreenCastSession> ScreenShareBroker::take() {
    return std::move(ready_);
}

} // namespace portalcapture
