// The capture sessions of the recording controller: switching the screen,
// camera and audio sources on and off, and what happens when one fails.
#include "core/EMLog.h"
#include "engine/EncodeManager.h"
#include "engine/controller/RVRecordManager.h"

namespace {

constexpr unsigned kAudioTypeSystem = 0;
constexpr unsigned kAudioTypeNone = 3;
constexpr unsigned kVideoTypeWindow = 2;
// The device check runs once a second, often enough to notice a headset
// being plugged in before the user starts talking.
constexpr std::chrono::milliseconds kDeviceCheckInterval{1000};
// The server's name for "the monitor of the default sink": what the
// speakers play, the system audio when no routing chose a device.
constexpr const char* kDefaultMonitor = "@DEFAULT_MONITOR@";

} // namespace

void RVRecordManager::watch(CaptureSource& source, const char* name) {
    std::weak_ptr<bool> alive = alive_;
    source.setFailureCallback([this, alive, name = std::string(name)](const std::string& message) {
        // From the source's thread; the handling belongs to the main thread,
        // so without a way there it is only logged.
        if (!host_.runOnMainThread) {
            EMLog::showMessage("%s %d error:%s", "captureSessionRuntimeErrorNotification", __LINE__,
                               message.c_str());
            return;
        }
        post([this, alive, name, message] {
            if (auto living = alive.lock(); living && *living)
                captureSessionRuntimeErrorNotification(name, message);
        });
    });
}

void RVRecordManager::captrueScreenInputEnable(bool enable) {
    if (!enable) {
        if (captureScreenSession_) {
            captureScreenSession_->stop();
            captureScreenSession_.reset();
            captureSessionStoppedRunningNotification("screen");
        }
        return;
    }
    cursorEffectWidth = 0;
    isCursorClick = false;
    clock.reset();
    captrueScreenInputEnable(false);
    EMLog::showMessage("%s %d screen %u %s %dx%d at %d,%d", __func__, __LINE__, screenNumber_,
                       screen_.name.c_str(), screen_.width, screen_.height, screen_.x, screen_.y);
    const double rate = encodeManager().fps > 0 ? encodeManager().fps : fps.load();
    std::unique_ptr<CaptureSource> source;
    if (recordVideoType == kVideoTypeWindow) {
        WindowCaptureRequest request;
        request.window =
            host_.selectedWindowNumber ? host_.selectedWindowNumber() : request_.selectedWindowNumber;
        const RVRect rect = captureRect;
        request.width = static_cast<int>(rect.width);
        request.height = static_cast<int>(rect.height);
        request.fps = rate;
        source = factory_->createWindowSource(request);
    } else {
        ScreenCaptureRequest request;
        request.screen = screen_;
        request.captureRect = captureRect;
        request.fps = rate;
        source = factory_->createScreenSource(request);
    }
    if (!source)
        return;
    source->setVideoCallback([this](const VideoFramePtr& frame) { compositor_->screenFrame(frame); });
    watch(*source, "screen");
    std::string error;
    if (!source->start(error)) {
        EMLog::showMessage("%s %d error:%s", __func__, __LINE__, error.c_str());
        lastCaptureError = error;
        return;
    }
    captureScreenSession_ = std::move(source);
    captureSessionDidStartRunningNotification("screen");
}

void RVRecordManager::captrueVideoInputEnable(bool enable) {
    if (captureVideoSession_) {
        captureVideoSession_->stop();
        captureVideoSession_.reset();
        captureSessionStoppedRunningNotification("camera");
    }
    if (!enable)
        return;
    CameraCaptureRequest request;
    request.device = selectedVideoDevice;
    auto source = factory_->createCameraSource(request);
    if (!source)
        return;
    source->setVideoCallback([this](const VideoFramePtr& frame) { compositor_->cameraFrame(frame); });
    watch(*source, "camera");
    std::string error;
    if (!source->start(error)) {
        EMLog::showMessage("videoInputError == %s", error.c_str());
        lastCaptureError = error;
        return;
    }
    // The camera decides the picture of a camera recording; the size is
    // known once the device is open, before its first frame.
    if (recordVideoType == 3 && status == 0) {
        std::lock_guard lock(compositor_->sessionConfigMutex());
        encodeManager().setImageSize(
            {static_cast<double>(source->frameWidth()), static_cast<double>(source->frameHeight())});
        encodeManager().setVideoBitrate(cameraVideoBitrate);
        encodeManager().setFps(static_cast<float>(fps.load()));
    }
    captureVideoSession_ = std::move(source);
    captureSessionDidStartRunningNotification("camera");
}

AudioCaptureRequest RVRecordManager::setupAudioSettings() {
    EncodeManager& session = encodeManager();
    if (session.audioBitrate == 0)
        session.setAudioBitrate(12800);
    if (session.audioSamples == 0)
        session.setAudioSamples(44100);
    if (session.audioChannels == 0)
        session.setAudioChannels(2);
    EMLog::showMessage("%s %d %d", __func__, session.audioSamples, session.audioChannels);
    AudioCaptureRequest request;
    request.sampleRate = session.audioSamples;
    request.channels = session.audioChannels;
    return request;
}

std::string RVRecordManager::audioInputDevice(unsigned type) const {
    if (!request_.audioDevice.empty())
        return request_.audioDevice;
    if (routing_.inputDeviceName)
        return routing_.inputDeviceName(type);
    // Without routing, system audio is what the default sink plays and
    // everything else the default source (a mix of both needs the routing's
    // aggregate input).
    return type == kAudioTypeSystem ? kDefaultMonitor : "";
}

void RVRecordManager::captrueAudioInputEnable(bool enable) {
    if (!enable) {
        checkAudioDeviceTimer.invalidate();
        if (!captureAudioSession_) {
            EMLog::showMessage("get deview input with device failed");
            return;
        }
        captureAudioSession_->stop();
        captureAudioSession_.reset();
        captureSessionStoppedRunningNotification("audio");
        return;
    }
    if (captureAudioSession_) {
        captureAudioSession_->stop();
        captureAudioSession_.reset();
        captureSessionStoppedRunningNotification("audio");
    }
    if (routing_.checkAudioDevice) {
        std::weak_ptr<bool> alive = alive_;
        checkAudioDeviceTimer.start(kDeviceCheckInterval, [this, alive] {
            post([this, alive] {
                if (auto living = alive.lock(); living && *living && routing_.checkAudioDevice)
                    routing_.checkAudioDevice();
            });
        });
    }
    AudioCaptureRequest request = setupAudioSettings();
    request.device = audioInputDevice(recordAudioType);
    selectInputDevice = request.device;
    EMLog::showMessage("%s %d %s", __func__, __LINE__,
                       request.device.empty() ? "default" : request.device.c_str());
    if (recordAudioType == kAudioTypeNone)
        return;
    auto source = factory_->createAudioSource(request);
    if (!source) {
        EMLog::showMessage("get deview input with device failed");
        return;
    }
    source->setAudioCallback([this](const AudioSampleBuffer& buffer, double captureTime) {
        compositor_->audioBuffer(buffer, captureTime);
    });
    watch(*source, "audio");
    std::string error;
    if (!source->start(error)) {
        EMLog::showMessage("add audio input to session failed");
        EMLog::showMessage("%s %d error:%s", __func__, __LINE__, error.c_str());
        lastCaptureError = error;
        return;
    }
    captureAudioSession_ = std::move(source);
    captureSessionDidStartRunningNotification("audio");
}

void RVRecordManager::captureSessionRuntimeErrorNotification(const std::string& source,
                                                             const std::string& message) {
    EMLog::showMessage("%s %d error:%s", __func__, __LINE__, message.c_str());
    // The failed source has ended its thread; let it go. The others (video
    // when audio failed) keep recording.
    std::unique_ptr<CaptureSource>* failed = source == "audio"    ? &captureAudioSession_
                                             : source == "camera" ? &captureVideoSession_
                                                                  : &captureScreenSession_;
    if (*failed) {
        (*failed)->stop();
        failed->reset();
        captureSessionStoppedRunningNotification(source);
    }
    if (source == "audio") {
        prepareDevice();
        if (routing_.switchRecordType)
            routing_.switchRecordType(recordAudioType);
    }
    if (host_.captureSessionRuntimeError)
        host_.captureSessionRuntimeError(source, message);
}

void RVRecordManager::captureSessionDidStartRunningNotification(const std::string& source) {
    EMLog::showMessage("%s %d error:%s", __func__, __LINE__, source.c_str());
    // Unlike a failure this does not re-route the devices: starting the
    // audio capture is itself what a routing change does, and the routing
    // hears of device changes from the sound server directly.
    if (host_.captureSessionDidStartRunning)
        host_.captureSessionDidStartRunning(source);
}

void RVRecordManager::captureSessionStoppedRunningNotification(const std::string& source) {
    EMLog::showMessage("%s %d %s", __func__, __LINE__, source.c_str());
    if (host_.captureSessionStoppedRunning)
        host_.captureSessionStoppedRunning(source);
}
