// The capture sessions of the recording controller: switching the screen,
// camera and audio sources on and off, and what happens when one fails.
#include "core/EMLog.h"
#include "engine/EncodeManager.h"
#include "engine/controller/RVRecordManager.h"

namespace {

// The device check runs once a second, often enough to notice a headset
// being plugged in before the user starts talking.
constexpr std::chrono::milliseconds kDeviceCheckInterval{1000};
// The server's name for "the monitor of the default sink": what the
// speakers play, the system audio when no routing chose a device.
constexpr const char* kDefaultMonitor = "@DEFAULT_MONITOR@";

} // namespace

CaptureSourceId RVRecordManager::runningSource(CaptureSourceKind kind) const {
    const Session& s = session(kind);
    return {kind, s.source ? s.serial : 0};
}

bool RVRecordManager::run(CaptureSourceKind kind, std::unique_ptr<CaptureSource> source, std::string& error) {
    const CaptureSourceId id{kind, nextSerial_++};
    std::weak_ptr<bool> alive = alive_;
    source->setFailureCallback([this, alive, id](const std::string& message) {
        // From the source's thread; the handling belongs to the main thread,
        // so without a way there it is only logged.
        if (!host_.runOnMainThread) {
            EMLog::showMessage("%s %d error:%s", "captureSessionRuntimeErrorNotification", __LINE__,
                               message.c_str());
            return;
        }
        post([this, alive, id, message] {
            if (auto living = alive.lock(); living && *living)
                captureSessionRuntimeErrorNotification(id, message);
        });
    });
    if (!source->start(error)) {
        lastCaptureError = error;
        return false;
    }
    session(kind) = {std::move(source), id.serial};
    captureSessionDidStartRunningNotification(id);
    return true;
}

void RVRecordManager::stopSession(CaptureSourceKind kind) {
    Session& s = session(kind);
    if (!s.source)
        return;
    const CaptureSourceId id{kind, s.serial};
    s.source->stop();
    s.source.reset();
    captureSessionStoppedRunningNotification(id);
}

void RVRecordManager::captrueScreenInputEnable(bool enable) {
    stopSession(CaptureSourceKind::Screen);
    if (!enable)
        return;
    clock.reset();
    EMLog::showMessage("%s %d screen %u %s %dx%d at %d,%d", __func__, __LINE__, screenNumber_,
                       screen_.name.c_str(), screen_.width, screen_.height, screen_.x, screen_.y);
    const float sessionFps = encodeManager().fps;
    const double rate = sessionFps > 0 ? sessionFps : fps.load();
    std::unique_ptr<CaptureSource> source;
    if (recordVideoType == RecordVideoType::AppWindow) {
        WindowCaptureRequest request;
        request.window = request_.selectedWindowNumber;
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
    if (std::string error; !run(CaptureSourceKind::Screen, std::move(source), error))
        EMLog::showMessage("%s %d error:%s", __func__, __LINE__, error.c_str());
}

void RVRecordManager::captrueVideoInputEnable(bool enable) {
    stopSession(CaptureSourceKind::Camera);
    if (!enable)
        return;
    CameraCaptureRequest request;
    request.device = selectedVideoDevice;
    auto source = factory_->createCameraSource(request);
    if (!source)
        return;
    source->setVideoCallback([this](const VideoFramePtr& frame) { compositor_->cameraFrame(frame); });
    CaptureSource& camera = *source;
    if (std::string error; !run(CaptureSourceKind::Camera, std::move(source), error)) {
        EMLog::showMessage("videoInputError == %s", error.c_str());
        return;
    }
    // The camera decides the picture of a camera recording; the size is
    // known once the device is open, before its first frame.
    if (recordVideoType == RecordVideoType::Camera && status == RecordingStatus::Idle) {
        std::lock_guard lock(compositor_->sessionConfigMutex());
        encodeManager().setImageSize(
            {static_cast<double>(camera.frameWidth()), static_cast<double>(camera.frameHeight())});
        encodeManager().setVideoBitrate(cameraVideoBitrate);
        encodeManager().setFps(static_cast<float>(fps.load()));
    }
}

AudioCaptureRequest RVRecordManager::setupAudioSettings() {
    EncodeManager& session = encodeManager();
    if (session.audioBitrate == 0)
        session.setAudioBitrate(12800);
    if (session.audioSamples == 0)
        session.setAudioSamples(44100);
    if (session.audioChannels == 0)
        session.setAudioChannels(2);
    EMLog::showMessage("%s %d %d", __func__, session.audioSamples.load(), session.audioChannels.load());
    AudioCaptureRequest request;
    request.sampleRate = session.audioSamples;
    request.channels = session.audioChannels;
    return request;
}

std::string RVRecordManager::audioInputDevice(RecordAudioType type) const {
    if (!request_.audioDevice.empty())
        return request_.audioDevice;
    if (routing_.inputDeviceName)
        return routing_.inputDeviceName(type);
    // Without routing, system audio is what the default sink plays and
    // everything else the default source (a mix of both needs the routing's
    // aggregate input).
    return type == RecordAudioType::System ? kDefaultMonitor : "";
}

void RVRecordManager::captrueAudioInputEnable(bool enable) {
    if (!enable) {
        checkAudioDeviceTimer.invalidate();
        if (!hasAudioSession())
            EMLog::showMessage("get deview input with device failed");
        stopSession(CaptureSourceKind::Audio);
        return;
    }
    stopSession(CaptureSourceKind::Audio);
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
    if (recordAudioType == RecordAudioType::None)
        return;
    auto source = factory_->createAudioSource(request);
    if (!source) {
        EMLog::showMessage("get deview input with device failed");
        return;
    }
    source->setAudioCallback([this](const AudioSampleBuffer& buffer, double captureTime) {
        compositor_->audioBuffer(buffer, captureTime);
    });
    if (std::string error; !run(CaptureSourceKind::Audio, std::move(source), error)) {
        EMLog::showMessage("add audio input to session failed");
        EMLog::showMessage("%s %d error:%s", __func__, __LINE__, error.c_str());
    }
}

void RVRecordManager::captureSessionRuntimeErrorNotification(CaptureSourceId source,
                                                             const std::string& message) {
    EMLog::showMessage("%s %d error:%s", __func__, __LINE__, message.c_str());
    // A source that was already replaced or stopped may still report its
    // end; only the running one is let go.
    if (runningSource(source.kind) != source) {
        EMLog::showMessage("%s %d a %s source that is no longer running: ignored", __func__, __LINE__,
                           captureSourceName(source.kind));
        return;
    }
    // The failed source has ended its thread; let it go. The others (video
    // when audio failed) keep recording.
    stopSession(source.kind);
    if (source.kind == CaptureSourceKind::Audio) {
        prepareDevice();
        if (routing_.switchRecordType)
            routing_.switchRecordType(recordAudioType);
        if (status != RecordingStatus::Idle && recordAudioType != RecordAudioType::None && !isAudioLost()) {
            audioLostSince_ = now_();
            std::weak_ptr<bool> alive = alive_;
            audioRetryTimer.start(kAudioRetryInterval, [this, alive] {
                post([this, alive] {
                    if (auto living = alive.lock(); living && *living)
                        retryLostAudio();
                });
            });
        }
    }
    if (host_.sourceFailed)
        host_.sourceFailed(source.kind, message);
}

void RVRecordManager::retryLostAudio() {
    if (!isAudioLost())
        return;
    if (status == RecordingStatus::Idle || recordAudioType == RecordAudioType::None) {
        endAudioRetry();
        return;
    }
    // A restarted server has none of the application's devices; they come
    // back before the capture opens on them.
    if (routing_.restoreDevices)
        routing_.restoreDevices();
    if (routing_.switchRecordType)
        routing_.switchRecordType(recordAudioType);
    const double lostFor = now_() - audioLostSince_;
    captrueAudioInputEnable(true);
    if (!hasAudioSession())
        return;
    EMLog::showMessage("%s %d audio capture back after %.1f s", __func__, __LINE__, lostFor);
    endAudioRetry();
}

void RVRecordManager::endAudioRetry() {
    audioLostSince_ = 0;
    audioRetryTimer.invalidate();
}

void RVRecordManager::captureSessionDidStartRunningNotification(CaptureSourceId source) {
    EMLog::showMessage("%s %d error:%s", __func__, __LINE__, captureSourceName(source.kind));
    // Unlike a failure this does not re-route the devices: starting the
    // audio capture is itself what a routing change does, and the routing
    // hears of device changes from the sound server directly.
    if (host_.sourceStarted)
        host_.sourceStarted(source.kind);
}

void RVRecordManager::captureSessionStoppedRunningNotification(CaptureSourceId source) {
    EMLog::showMessage("%s %d %s", __func__, __LINE__, captureSourceName(source.kind));
    if (host_.sourceStopped)
        host_.sourceStopped(source.kind);
}
