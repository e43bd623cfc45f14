#include "engine/capture/FrameCompositor.h"

#include "core/EMLog.h"
#include "engine/EncodeManager.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace {

// A rescaled picture is held only until its push: two cover one queued and
// one being drawn; more would only mean the queue is already dropping.
constexpr int kScaledFrames = FramePushQueue::kMaxQueuedFrames + 2;

} // namespace

FrameCompositor::FrameCompositor(CompositorState& state, EncodeManager& session, std::function<double()> now)
    : state_(state), session_(session), now_(std::move(now)) {
    pushQueue_ = std::make_unique<FramePushQueue>([this](const VideoFrame& frame, double timestampMs) {
        EncoderVideoFrame record{};
        record.pixelFormat = ME_PIXEL_FORMAT_BGRA;
        record.width = static_cast<uint32_t>(frame.pixels.width);
        record.height = static_cast<uint32_t>(frame.pixels.height);
        record.bytesPerRow = static_cast<uint32_t>(frame.pixels.stride);
        record.data = frame.pixels.data;
        record.dataLength = static_cast<uint32_t>(frame.pixels.byteLength());
        record.changedRows = changedRowsSincePush(frame);
        session_.encoderPushVideo(&record, timestampMs);
    });
}

FrameCompositor::~FrameCompositor() {
    pushQueue_->stop();
}

bool FrameCompositor::isRecordingStatus() const {
    return ::isRecordingStatus(state_.status);
}

void FrameCompositor::screenFrame(const VideoFramePtr& frame) {
    if (!frame)
        return;
    // What changed since the last push, counted also while nothing is
    // pushed (paused, or frames the queue refused).
    if (!frame->changedRows || frame->pixels.height != pendingRowsHeight_)
        pendingRows_.reset();
    else if (pendingRows_)
        pendingRows_->add(*frame->changedRows, frame->pixels.height);
    pendingRowsHeight_ = frame->pixels.height;
    if (!isRecordingStatus() || !session_.isWorking)
        return;
    const RecordVideoType kind = state_.recordVideoType;
    if (kind == RecordVideoType::AudioOnly)
        return;
    const bool decorated = kind != RecordVideoType::AppWindow && hooks_.appendMouseCursor;
    const RVRect rect = state_.captureRect;
    if (!showsSomethingNew(*frame, decorated, rect)) {
        // The encoder holds the last picture on screen until the next one.
        ++unchangedFrames_;
        return;
    }
    if (decorated)
        hooks_.appendMouseCursor(*frame, rect);
    frame->changedRows = pendingRows_;
    double timestampMs = 0;
    VideoFramePtr pushed = stampAndPush(frame, timestampMs);
    // A frame the queue had no room for: the next one must go, whatever it shows.
    if (!pushed)
        havePushedScreen_ = false;
    else
        pendingRows_.emplace();
    std::lock_guard lock(lastScreenMutex_);
    lastScreenFrame_ = std::move(pushed);
    lastScreenTimestampMs_ = timestampMs;
}

bool FrameCompositor::showsSomethingNew(const VideoFrame& frame, bool decorated, const RVRect& captureRect) {
    if (state_.clock.startDate() == 0) {
        // A new recording starts with a picture.
        havePushedScreen_ = false;
        std::lock_guard lock(lastScreenMutex_);
        lastScreenFrame_.reset();
    }
    const uint64_t signature =
        decorated && hooks_.decorationSignature ? hooks_.decorationSignature(frame, captureRect) : 0;
    // A still screen is still pushed now and then, so the file gets a
    // picture at least that often while it is being written.
    const bool due = frame.captureTime - lastPushCaptureTime_ >= kStillPictureSeconds;
    const bool push = frame.pictureChanged || !havePushedScreen_ || signature != lastSignature_ || due;
    havePushedScreen_ = true;
    lastSignature_ = signature;
    if (push)
        lastPushCaptureTime_ = frame.captureTime;
    return push;
}

void FrameCompositor::holdLastPictureUntil(double now) {
    VideoFramePtr last;
    double lastMs = 0;
    {
        std::lock_guard lock(lastScreenMutex_);
        last = std::move(lastScreenFrame_);
        lastMs = lastScreenTimestampMs_;
    }
    if (!last || state_.clock.startDate() == 0)
        return;
    const double fps = state_.fps > 0 ? double(state_.fps) : 30.0;
    const double nowMs = std::max(state_.clock.timestamp(now) * 1000.0, lastTimestampMs_.load());
    if (nowMs - lastMs < 1000.0 / fps)
        return;
    lastTimestampMs_ = nowMs;
    pushQueue_->offer(std::move(last), nowMs);
}

void FrameCompositor::cameraFrame(const VideoFramePtr& frame) {
    if (!frame)
        return;
    if (state_.isCaptrueMirrored)
        mirrorHorizontally(frame->pixels);
    const bool cameraMode = state_.recordVideoType == RecordVideoType::Camera;
    if (state_.status == RecordingStatus::Idle && cameraMode) {
        // Before the first recorded frame the camera decides the picture.
        std::lock_guard lock(sessionConfigMutex_);
        session_.setVideoBitrate(state_.cameraVideoBitrate);
        session_.setImageSize(
            {static_cast<double>(frame->pixels.width), static_cast<double>(frame->pixels.height)});
        session_.setFps(static_cast<float>(state_.fps.load()));
    }
    if (hooks_.cameraPreview)
        hooks_.cameraPreview(frame->pixels);
    if (cameraMode && isRecordingStatus() && session_.isWorking) {
        double timestampMs = 0;
        stampAndPush(frame, timestampMs);
    }
}

void FrameCompositor::audioBuffer(const AudioSampleBuffer& buffer, double captureTime) {
    // The encoder places audio by its sample count; the capture time starts
    // the clock of an audio-only recording and measures lost sound.
    ++audioBuffersReceived_;
    if (!state_.isWorking)
        return;
    if (hooks_.audioVolum)
        hooks_.audioVolum(buffer);
    // Without pictures the first sound starts the recording clock.
    const double when = captureTime > 0 ? captureTime : now_();
    if (state_.recordVideoType == RecordVideoType::AudioOnly)
        state_.clock.firstFrame(when);
    // Before the first frame the clock has nothing to measure sound against.
    const double stretch = state_.clock.startDate();
    if (stretch == 0) {
        session_.encoderPushAudio(buffer);
        return;
    }
    const double recorded = state_.clock.timestamp(when);
    const int64_t silence = timeline_.place(stretch, recorded, buffer.frames, buffer.sampleRate);
    if (silence > 0)
        pushSilence(silence, buffer.channels, buffer.sampleRate);
    if (timeline_.anchoredAfresh())
        drift_.restartStream();
    const double ratio = drift_.update(timeline_.leadSeconds(recorded),
                                       static_cast<double>(buffer.frames) / buffer.sampleRate);
    const AudioSampleBuffer corrected = drift_.resample(buffer, ratio);
    timeline_.adjust(corrected.frames - buffer.frames);
    if (corrected.frames > 0)
        session_.encoderPushAudio(corrected);
}

void FrameCompositor::pushSilence(int64_t frames, int channels, int sampleRate) {
    EMLog::showMessage("%s %d audio gap of %lld ms filled with silence", __func__, __LINE__,
                       static_cast<long long>(frames * 1000 / sampleRate));
    // In one-second buffers: the encoder takes buffers of ordinary size only,
    // and a long outage would otherwise need one enormous allocation.
    const int chunk = sampleRate;
    std::vector<int32_t> zeros(static_cast<std::size_t>(chunk) * static_cast<std::size_t>(channels), 0);
    for (int64_t done = 0; done < frames && state_.isWorking;) {
        AudioSampleBuffer silence;
        silence.data = zeros.data();
        silence.channels = channels;
        silence.sampleRate = sampleRate;
        silence.frames = static_cast<int>(std::min<int64_t>(chunk, frames - done));
        session_.encoderPushAudio(silence);
        done += silence.frames;
    }
}

VideoFramePtr FrameCompositor::stampAndPush(const VideoFramePtr& frame, double& timestampMsOut) {
    const double when = frame->captureTime > 0 ? frame->captureTime : now_();
    if (state_.clock.startDate() == 0)
        lastTimestampMs_ = 0;
    state_.clock.firstFrame(when);
    // A frame grabbed just before a resume but handled after it would land
    // before the end of the previous stretch; it then takes that end instead,
    // so timestamps never go backwards.
    const double timestampMs = std::max(state_.clock.timestamp(when) * 1000.0, lastTimestampMs_.load());
    lastTimestampMs_ = timestampMs;
    const EncodeImageSize size = session_.imageSize();
    const auto width = static_cast<int>(size.width);
    const auto height = static_cast<int>(size.height);
    VideoFramePtr sized = pixelBufferFromCGImage(frame, width, height);
    timestampMsOut = timestampMs;
    if (sized && pushQueue_->offer(sized, timestampMs))
        return sized;
    return nullptr;
}

VideoFramePtr FrameCompositor::pixelBufferFromCGImage(const VideoFramePtr& frame, int width, int height) {
    if (width <= 0 || height <= 0)
        return nullptr;
    const PixelBufferView& src = frame->pixels;
    if (src.width == width && src.height == height)
        return frame;
    if (!scalePool_ || scalePool_->width() != width || scalePool_->height() != height)
        scalePool_ = FramePool::create(width, height, kScaledFrames);
    VideoFramePtr out = scalePool_->acquire();
    if (!out)
        return nullptr;
    out->captureTime = frame->captureTime;
    out->changedRows.reset();
    // Nearest-neighbour: this path only runs for a window that changed size
    // during the recording, where speed matters more than smoothness.
    PixelBufferView& dst = out->pixels;
    for (int y = 0; y < height; ++y) {
        const int sy = static_cast<int>(static_cast<long long>(y) * src.height / height);
        const auto* srcRow = reinterpret_cast<const uint32_t*>(src.row(sy));
        auto* dstRow = reinterpret_cast<uint32_t*>(dst.row(y));
        for (int x = 0; x < width; ++x)
            dstRow[x] = srcRow[static_cast<long long>(x) * src.width / width];
    }
    return out;
}

uint32_t FrameCompositor::changedRowsSincePush(const VideoFrame& frame) {
    const int height = frame.pixels.height;
    std::optional<RowBands> rows = frame.changedRows;
    // The decorations of this picture and of the one before differ from
    // the screen beneath them.
    if (rows && previousDrawnRows_ && height == previousHeight_) {
        rows->add(frame.drawnRows, height);
        rows->add(*previousDrawnRows_, height);
    } else {
        rows.reset();
    }
    previousDrawnRows_ = frame.drawnRows;
    previousHeight_ = height;
    if (!rows || height > ME_CHANGED_ROWS_MAX)
        return 0;
    if (rows->empty())
        return ME_CHANGED_ROWS(0, 0);
    return ME_CHANGED_ROWS(rows->bands().front().first, rows->bands().back().end);
}

void FrameCompositor::mirrorHorizontally(PixelBufferView& frame) {
    for (int y = 0; y < frame.height; ++y) {
        auto* row = reinterpret_cast<uint32_t*>(frame.row(y));
        std::reverse(row, row + frame.width);
    }
}
