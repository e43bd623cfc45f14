#include "engine/controller/RVRecordManager.h"

#include "core/EMLog.h"
#include "core/KeyValueStore.h"
#include "engine/EncodeManager.h"
#include "engine/controller/RecordingRules.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace {

// Areas wider than this are unusual enough to be worth a line in the log.
constexpr double kWideCaptureRect = 1440;

std::atomic<RVRecordManager*> g_shared{nullptr};

} // namespace

RVRecordManager* RVRecordManager::sharedInstance() {
    return g_shared.load();
}

const char* captureSourceName(CaptureSourceKind kind) {
    switch (kind) {
    case CaptureSourceKind::Screen:
        return "screen";
    case CaptureSourceKind::Camera:
        return "camera";
    case CaptureSourceKind::Audio:
        return "audio";
    }
    return "?";
}

RVRecordManager::RVRecordManager(Collaborators collaborators)
    : factory_(std::move(collaborators.captureFactory)),
      encodeManager_(std::move(collaborators.encodeManager)), settings_(collaborators.settings),
      now_(std::move(collaborators.clock)) {
    if (!factory_)
        throw std::invalid_argument("the recording controller needs a capture factory");
    if (!now_)
        now_ = captureClockNow;
    RVRecordManager* expected = nullptr;
    g_shared.compare_exchange_strong(expected, this);
    compositor_ = std::make_unique<FrameCompositor>(*this, encodeManager(), now_);
    setCompositorHooks({});
    encodeManager().recordVideoTypeProvider = [this] {
        return recordVideoType.load();
    };
    prepareDevice();
}

RVRecordManager::~RVRecordManager() {
    *alive_ = false;
    checkAudioDeviceTimer.invalidate();
    audioRetryTimer.invalidate();
    // A file still being finished is completed before anything it reports
    // to goes away.
    if (encodeManager_)
        encodeManager_->waitForFinish();
    for (Session& s : sessions_)
        s.source.reset();
    if (encodeManager_ && encodeManager_->isWorking)
        encodeManager_->stopEncoderEncode();
    compositor_.reset();
    RVRecordManager* self = this;
    g_shared.compare_exchange_strong(self, nullptr);
}

EncodeManager& RVRecordManager::encodeManager() {
    if (!encodeManager_) {
        static MemoryKeyValueStore emptySettings;
        encodeManager_ = std::make_unique<EncodeManager>(settings_ ? *settings_ : emptySettings);
    }
    return *encodeManager_;
}

void RVRecordManager::trace(const char* function, int line) const {
    EMLog::showMessage("%s %d", function, line);
}

void RVRecordManager::post(std::function<void()> task) {
    if (host_.runOnMainThread)
        host_.runOnMainThread(std::move(task));
    else
        task();
}

void RVRecordManager::setCompositorHooks(FrameCompositor::Hooks hooks) {
    auto& h = compositor_->hooks();
    h.appendMouseCursor = std::move(hooks.appendMouseCursor);
    h.decorationSignature = std::move(hooks.decorationSignature);
    h.cameraPreview = std::move(hooks.cameraPreview);
    h.audioVolum = std::move(hooks.audioVolum);
}

void RVRecordManager::setStatus(RecordingStatus value) {
    status = value;
    if (host_.statusChanged)
        host_.statusChanged(value);
}

void RVRecordManager::configure(const RecordRequest& request) {
    trace(__func__, __LINE__);
    request_ = request;
    recordVideoType = request.recordVideoType;
    recordAudioType = request.recordAudioType;
    screenNumber_ = request.screenNumber;
    const auto screens = factory_->screens();
    if (request.screenNumber < screens.size())
        screen_ = screens[request.screenNumber];
    else
        screen_ = {};
    setCaptureRect(request.captureRect);
    selectedVideoDevice = request.cameraDevice;
    isCaptrueMirrored = request.isCaptrueMirrored;
    cameraVideoBitrate = request.videoBitrate;
    fps = request.fps;
    EncodeManager& session = encodeManager();
    session.setFps(static_cast<float>(request.fps));
    session.setVideoBitrate(request.videoBitrate);
    session.setSplitTime(request.splitTime);
    session.setSplitSize(request.splitSize);
}

void RVRecordManager::prepareDevice() {
    if (routing_.prepareDevice)
        routing_.prepareDevice();
}

void RVRecordManager::setCaptureRect(const RVRect& rect) {
    if (rect.width > kWideCaptureRect)
        EMLog::showMessage("%s", __func__);
    captureRect = rect;
}

void RVRecordManager::startCapture() {
    trace(__func__, __LINE__);
    captrueAudioInputEnable(recordAudioType != RecordAudioType::None);
}

bool RVRecordManager::wantsScreenInput() const {
    return screenInputWanted_;
}

void RVRecordManager::startRecording() {
    trace(__func__, __LINE__);
    if (host_.recordingStarting)
        host_.recordingStarting();
    isWorking = true;
    clock.reset();
    droppedAtStart_ = compositor_->droppedFrames();
    lastCaptureError.clear();
    EncodeManager& session = encodeManager();
    session.initHandle();

    const auto permitted = [](const auto& check, auto... args) {
        return !check || check(args...);
    };
    screenInputWanted_ = false;
    if (recordVideoType == RecordVideoType::Camera) {
        captrueScreenInputEnable(false);
        captrueVideoInputEnable(true);
    } else {
        // The grab's area is fixed when it starts, so the screen input is
        // started below, once the area (a window's, evened) is known.
        if (permitted(host_.checkCaptureAudio))
            screenInputWanted_ = recordVideoType != RecordVideoType::AudioOnly;
        if (permitted(host_.checkCapture, 0))
            captrueVideoInputEnable(request_.isCaptrue);
    }

    const std::string& outputPath = request_.outputPath;
    session.setOutputPath(outputPath);

    onScreenWindows = factory_->onScreenWindows();
    desktopElements = onScreenWindows;

    if (recordVideoType != RecordVideoType::Camera)
        chooseImageSize();

    clock.reset();
    status = RecordingStatus::Recording;

    {
        std::lock_guard lock(compositor_->sessionConfigMutex());
        if (recordAudioType != RecordAudioType::None)
            session.setUpAudioSettings();
        if (recordVideoType != RecordVideoType::AudioOnly)
            session.setUpVideoSettings();
    }
    session.setOutputPath(outputPath);
    // Told on the main thread, after the start has finished, so that whoever
    // stops the recording stops one that has properly begun.
    const auto reportOutputFailed = [this, outputPath] {
        post([this, outputPath] {
            if (status != RecordingStatus::Idle && host_.outputFailed)
                host_.outputFailed(outputPath);
        });
    };
    session.outputFailed = reportOutputFailed;
    if (!session.startEncoderEncode())
        reportOutputFailed();
    if (host_.recordingStarted)
        host_.recordingStarted();
    setStatus(RecordingStatus::Recording);
}

void RVRecordManager::chooseImageSize() {
    EncodeManager& session = encodeManager();
    // A window the user picks in the desktop's own dialog (Wayland): nothing
    // is known of it until its stream starts.
    const bool desktopPicksWindow =
        recordVideoType == RecordVideoType::AppWindow && request_.selectedWindowNumber == 0;
    if (desktopPicksWindow)
        captureRect = RVRect{};
    const RVRect rect = captureRect;
    if (rect.isZero()) {
        session.setImageSize({static_cast<double>(screen_.width), static_cast<double>(screen_.height)});
    } else if (recordVideoType != RecordVideoType::AppWindow) {
        session.setImageSize({rect.width, rect.height});
    } else {
        if (auto bounds = RecordingRules::walkDesktopElements(desktopElements, request_.selectedWindowNumber,
                                                              request_.selectedWindowName))
            captureRect = *bounds;
        const RVRect evened = captureRect;
        session.setImageSize({evened.width, evened.height});
    }
    // The crop: the screen input starts now with the area settled.
    if (!wantsScreenInput())
        return;
    captrueScreenInputEnable(true);
    // A whole screen is recorded at the size it comes in: the desktop's own
    // share dialog (Wayland) may have shared another monitor than the one
    // chosen here, of another size.
    const CaptureSource* screen = this->session(CaptureSourceKind::Screen).source.get();
    if (desktopPicksWindow) {
        if (screen && screen->frameWidth() > 0) {
            EMLog::showMessage("%s %d the window comes as %dx%d", __func__, __LINE__, screen->frameWidth(),
                               screen->frameHeight());
            session.setImageSize(
                {static_cast<double>(screen->frameWidth()), static_cast<double>(screen->frameHeight())});
        }
        return;
    }
    const bool wholeScreen = rect.isZero() || (rect.x == 0 && rect.y == 0 && rect.width == screen_.width &&
                                               rect.height == screen_.height);
    if (wholeScreen && recordVideoType != RecordVideoType::AppWindow && screen && screen->frameWidth() > 0 &&
        (screen->frameWidth() != screen_.width || screen->frameHeight() != screen_.height)) {
        EMLog::showMessage("%s %d the screen comes as %dx%d, not %dx%d: recording it at that size", __func__,
                           __LINE__, screen->frameWidth(), screen->frameHeight(), screen_.width,
                           screen_.height);
        session.setImageSize(
            {static_cast<double>(screen->frameWidth()), static_cast<double>(screen->frameHeight())});
    }
}

void RVRecordManager::pauseRecording() {
    trace(__func__, __LINE__);
    isWorking = false;
    clock.pause(now_());
    setStatus(RecordingStatus::Paused);
}

void RVRecordManager::resumeRecording() {
    trace(__func__, __LINE__);
    clock.resume(now_());
    isWorking = true;
    setStatus(RecordingStatus::Resumed);
}

void RVRecordManager::beginStop() {
    trace(__func__, __LINE__);
    isWorking = false;
    onScreenWindows.clear();
    desktopElements.clear();
    status = RecordingStatus::Idle;
    endAudioRetry();
    // A screen that stood still until now has its last picture last until now.
    compositor_->holdLastPictureUntil(now_());
    // Frames accepted before the stop are still on their way; they belong in
    // the file, ahead of the trailers.
    compositor_->drain();
}

void RVRecordManager::stopRecording() {
    beginStop();
    encodeManager().stopEncoderEncode();
    captrueScreenInputEnable(false);
    if (host_.recordingStopped)
        host_.recordingStopped();
    setStatus(RecordingStatus::Idle);
    trace(__func__, __LINE__);
}

void RVRecordManager::stopRecordingInBackground(std::function<void()> finished) {
    if (!host_.runOnMainThread) {
        stopRecording();
        if (finished)
            finished();
        return;
    }
    beginStop();
    std::weak_ptr<bool> alive = alive_;
    encodeManager().stopEncoderEncodeInBackground([this, alive, finished = std::move(finished)] {
        post([this, alive, finished] {
            if (auto living = alive.lock(); !living || !*living)
                return;
            trace("stopRecording", __LINE__);
            if (host_.recordingStopped)
                host_.recordingStopped();
            if (finished)
                finished();
        });
    });
    // The grab ends now: nothing it takes would reach the file.
    captrueScreenInputEnable(false);
    setStatus(RecordingStatus::Idle);
}

void RVRecordManager::stopCapture() {
    isWorking = false;
}

void RVRecordManager::timerDurationTimeOut() {
    EncodeManager& session = encodeManager();
    RecordingProgress progress;
    double recordedMs = session.countRecordedDuration();
    // A still screen reaches the encoder only now and then (a keyframe every
    // two seconds), yet its last picture lasts in the file until the stop:
    // what has been recorded is the clock's time.
    if (recordedMs >= 0 && recordVideoType != RecordVideoType::AudioOnly)
        recordedMs = std::max(recordedMs, recordedSeconds() * 1000);
    progress.seconds = static_cast<long long>(recordedMs / 1000);
    if (progress.seconds < 0) {
        EMLog::showMessage("get error record duration= %d", static_cast<int>(progress.seconds));
        return;
    }
    progress.bytes = session.filesize();
    progress.droppedFrames = compositor_->droppedFrames() - droppedAtStart_;
    if (host_.clockTick)
        host_.clockTick(progress);
    // Writes into a file whose name was deleted (or whose folder was) still
    // succeed, into a file nobody can reach: stop rather than record on into
    // nothing.
    std::error_code error;
    if (session.isWorking && !request_.outputPath.empty() &&
        !std::filesystem::exists(request_.outputPath, error))
        session.reportOutputFailure();
}

void RVRecordManager::switchRecordType(RecordAudioType type) {
    EMLog::showMessage("switchRecordType name = %d,", static_cast<int>(toInt(type)));
    recordAudioType = type;
    if (type != RecordAudioType::None) {
        EncodeManager& session = encodeManager();
        session.setAudioBitrate(12800);
        session.setAudioSamples(44100);
        session.setAudioChannels(2);
        session.setUpAudioSettings();
    }
    if (routing_.switchRecordType)
        routing_.switchRecordType(type);
    // The capture follows the new input; during a recording the stream keeps
    // running, since a gap would shift the audio against the video.
    if (status == RecordingStatus::Idle && hasAudioSession()) {
        captrueAudioInputEnable(false);
        captrueAudioInputEnable(type != RecordAudioType::None);
    }
}

void RVRecordManager::startRecordScreen() {
    trace(__func__, __LINE__);
    // X11 needs no camera permission.
    readyToRecordScreen();
}

void RVRecordManager::readyToRecordScreen() {
    if (status != RecordingStatus::Idle)
        return;
    trace(__func__, __LINE__);
    isDisableChangeScreen = false;
    arrayRect = factory_->onScreenWindows();
    if (host_.selectionRequested)
        host_.selectionRequested(arrayRect);
}
