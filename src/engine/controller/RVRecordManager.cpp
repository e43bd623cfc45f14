#include "engine/controller/RVRecordManager.h"

#include "core/EMLog.h"
#include "core/KeyValueStore.h"
#include "engine/EncodeManager.h"
#include "engine/controller/RecordingTexts.h"

#include <mutex>

namespace {

constexpr unsigned kStatusIdle = 0;
constexpr unsigned kStatusRecording = 1;
constexpr unsigned kStatusPaused = 2;
constexpr unsigned kStatusResumed = 3;
constexpr unsigned kVideoTypeWindow = 2;
constexpr unsigned kVideoTypeCamera = 3;
constexpr unsigned kVideoTypeAudioOnly = 4;
constexpr unsigned kAudioTypeNone = 3;
// Areas wider than this are unusual enough to be worth a line in the log.
constexpr double kWideCaptureRect = 1440;

std::atomic<RVRecordManager*> g_shared{nullptr};

} // namespace

RVRecordManager* RVRecordManager::sharedInstance() {
    if (RVRecordManager* existing = g_shared.load())
        return existing;
    static MemoryKeyValueStore fallbackSettings;
    static std::once_flag once;
    static std::unique_ptr<RVRecordManager> fallback;
    std::call_once(once, [] {
        if (g_shared.load())
            return;
        Collaborators c;
        c.settings = &fallbackSettings;
        fallback = std::make_unique<RVRecordManager>(std::move(c));
    });
    return g_shared.load();
}

RVRecordManager::RVRecordManager(Collaborators collaborators)
    : factory_(std::move(collaborators.captureFactory)),
      encodeManager_(std::move(collaborators.encodeManager)), settings_(collaborators.settings),
      now_(std::move(collaborators.clock)) {
    if (!factory_)
        factory_ = createDefaultCaptureFactory();
    if (!now_)
        now_ = captureClockNow;
    RVRecordManager* expected = nullptr;
    g_shared.compare_exchange_strong(expected, this);
    compositor_ = std::make_unique<FrameCompositor>(*this, encodeManager(), now_);
    setCompositorHooks({});
    encodeManager().recordVideoTypeProvider = [this] {
        return static_cast<int>(recordVideoType.load());
    };
    prepareDevice();
}

RVRecordManager::~RVRecordManager() {
    *alive_ = false;
    checkAudioDeviceTimer.invalidate();
    captureScreenSession_.reset();
    captureVideoSession_.reset();
    captureAudioSession_.reset();
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
    h.cameraPreview = std::move(hooks.cameraPreview);
    h.audioVolum = std::move(hooks.audioVolum);
    // The delegate report stays the controller's own.
    h.recordScreenTimeDuration = [this](long seconds) {
        if (delegate && delegate->recordScreenTimeDuration)
            delegate->recordScreenTimeDuration(seconds);
    };
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
    captrueAudioInputEnable(recordAudioType != kAudioTypeNone);
}

bool RVRecordManager::wantsScreenInput() const {
    return screenInputWanted_;
}

void RVRecordManager::startRecording() {
    trace(__func__, __LINE__);
    isWorking = true;
    clock.reset();
    lastCaptureError.clear();
    if (host_.setRecording)
        host_.setRecording(true);
    EncodeManager& session = encodeManager();
    session.initHandle();

    const auto permitted = [](const auto& check, auto... args) {
        return !check || check(args...);
    };
    screenInputWanted_ = false;
    if (recordVideoType == kVideoTypeCamera) {
        captrueScreenInputEnable(false);
        captrueVideoInputEnable(true);
    } else {
        // The grab's area is fixed when it starts, so the screen input is
        // started below, once the area (a window's, evened) is known.
        if (permitted(host_.checkCaptureAudio))
            screenInputWanted_ = recordVideoType != kVideoTypeAudioOnly;
        if (permitted(host_.checkCapture, 0))
            captrueVideoInputEnable(host_.isCaptrue ? host_.isCaptrue() : request_.isCaptrue);
    }

    const std::string outputPath = host_.currentOutputPath ? host_.currentOutputPath() : request_.outputPath;
    session.setOutputPath(outputPath);

    onScreenWindows = factory_->onScreenWindows();
    desktopElements = onScreenWindows;

    if (recordVideoType != kVideoTypeCamera)
        chooseImageSize();

    clock.reset();
    status = kStatusRecording;

    {
        std::lock_guard lock(compositor_->sessionConfigMutex());
        if (recordAudioType != kAudioTypeNone)
            session.setUpAudioSettings();
        if (recordVideoType != kVideoTypeAudioOnly)
            session.setUpVideoSettings();
    }
    session.setOutputPath(outputPath);
    session.startEncoderEncode();
    if (host_.refreshStateMenuItem)
        host_.refreshStateMenuItem();
}

void RVRecordManager::chooseImageSize() {
    EncodeManager& session = encodeManager();
    const RVRect rect = captureRect;
    if (rect.isZero()) {
        session.setImageSize({static_cast<double>(screen_.width), static_cast<double>(screen_.height)});
    } else if (recordVideoType != kVideoTypeWindow) {
        session.setImageSize({rect.width, rect.height});
    } else {
        const uint64_t number =
            host_.selectedWindowNumber ? host_.selectedWindowNumber() : request_.selectedWindowNumber;
        const std::string name =
            host_.selectedWindowName ? host_.selectedWindowName() : request_.selectedWindowName;
        if (auto bounds = RecordingRules::walkDesktopElements(desktopElements, number, name))
            captureRect = *bounds;
        const RVRect evened = captureRect;
        session.setImageSize({evened.width, evened.height});
    }
    // The crop: the screen input starts now with the area settled.
    if (wantsScreenInput())
        captrueScreenInputEnable(true);
}

void RVRecordManager::pauseRecording() {
    trace(__func__, __LINE__);
    isWorking = false;
    clock.pause(now_());
    status = kStatusPaused;
}

void RVRecordManager::resumeRecording() {
    trace(__func__, __LINE__);
    clock.resume(now_());
    isWorking = true;
    status = kStatusResumed;
}

void RVRecordManager::stopRecording() {
    trace(__func__, __LINE__);
    isWorking = false;
    if (host_.enableTimeSetsBtn)
        host_.enableTimeSetsBtn();
    if (host_.setRecording)
        host_.setRecording(false);
    trace(__func__, __LINE__);
    onScreenWindows.clear();
    desktopElements.clear();
    status = kStatusIdle;
    // Frames accepted before the stop are still on their way; they belong in
    // the file, ahead of the trailers.
    compositor_->drain();
    encodeManager().stopEncoderEncode();
    trace(__func__, __LINE__);
    if (host_.hideRecordView)
        host_.hideRecordView();
    if (host_.refreshStateMenuItem)
        host_.refreshStateMenuItem();
    captrueScreenInputEnable(false);
    trace(__func__, __LINE__);
}

void RVRecordManager::stopCapture() {
    isWorking = false;
}

void RVRecordManager::timerDurationTimeOut() {
    EncodeManager& session = encodeManager();
    const auto seconds = static_cast<long long>(session.countRecordedDuration() / 1000);
    if (seconds < 0) {
        EMLog::showMessage("get error record duration= %d", static_cast<int>(seconds));
        return;
    }
    const std::string timeText = RecordingRules::durationText(static_cast<uint64_t>(seconds));
    const std::string sizeText = RecordingRules::fileSizeText(
        session.filesize(), host_.systemFreeSpace ? host_.systemFreeSpace() : "");
    if (host_.showDuration)
        post([show = host_.showDuration, timeText, sizeText] { show(timeText, sizeText); });
}

void RVRecordManager::switchRecordType(unsigned type) {
    EMLog::showMessage("switchRecordType name = %d,", static_cast<int>(type));
    recordAudioType = type;
    if (type != kAudioTypeNone) {
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
    if (status == kStatusIdle && captureAudioSession_) {
        captrueAudioInputEnable(false);
        captrueAudioInputEnable(type != kAudioTypeNone);
    }
}

void RVRecordManager::startRecordScreen() {
    trace(__func__, __LINE__);
    // X11 needs no camera permission.
    readyToRecordScreen();
}

void RVRecordManager::readyToRecordScreen() {
    if (status != kStatusIdle)
        return;
    trace(__func__, __LINE__);
    isDisableChangeScreen = false;
    arrayRect = factory_->onScreenWindows();
    if (host_.openSelectionWindows)
        host_.openSelectionWindows(arrayRect);
}
