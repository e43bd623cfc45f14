#include "stack/RecordingStack.h"

#include "core/EMLog.h"
#include "engine/EncodeManager.h"
#include "engine/audio/SoundServer.h"
#include "overlays/FrameDecorator.h"
#include "overlays/RecordingDecorations.h"
#include "stack/PlatformLoader.h"

#include <stdexcept>

RecordingStack::RecordingStack(RecordingStackOptions options, RecordingStackHost host)
    : host_(std::move(host)) {
    if (!host_.runOnMainThread)
        throw std::invalid_argument("the recording stack needs a way to the main thread");
    if (!host_.schedule)
        host_.schedule = [post = host_.runOnMainThread](std::chrono::milliseconds,
                                                        std::function<void()> task) {
            post(std::move(task));
        };
    if (options.audioRouting)
        buildAudioRouting();
    PlatformLoader::Backends backends =
        PlatformLoader::backends(options.screenBackend.value_or(PlatformLoader::sessionScreenBackend()));
    share_ = std::move(backends.share);
    if (options.decorations) {
        watermark_.setModel(std::move(options.watermark));
        watermark_.setPlacement(options.watermarkPlacement);
        decorations_ = std::make_unique<RecordingDecorations>(watermark_, backends.pointer);
    }

    RVRecordManager::Collaborators collaborators;
    collaborators.captureFactory = std::move(backends.factory);
    collaborators.settings = options.settings;
    manager_ = std::make_unique<RVRecordManager>(std::move(collaborators));
    if (routing_) {
        RVAudioRoutingHooks engineRouting;
        engineRouting.prepareDevice = [this] {
            routing_->prepareDevice();
        };
        engineRouting.switchRecordType = [this](RecordAudioType kind) {
            routedInput_ = routing_->switchRecordType(kind);
        };
        engineRouting.inputDeviceName = [this](RecordAudioType) {
            return routedInput_ ? routedInput_->UID : std::string();
        };
        engineRouting.restoreDevices = [this] {
            routing_->restoreDevices();
        };
        engineRouting.checkAudioDevice = [this] {
            routing_->checkAudioDevice();
        };
        manager_->setAudioRouting(std::move(engineRouting));
    }
    setHost({});
    setCompositorHooks({});
}

RecordingStack::~RecordingStack() {
    if (soundServer_)
        soundServer_->setDevicesChangedHandler({});
    if (manager_ && manager_->status != RecordingStatus::Idle)
        manager_->stopRecording();
    // The controller stops its sources first: no frame is decorated after.
    manager_.reset();
    decorations_.reset();
}

void RecordingStack::buildAudioRouting() {
    soundServer_ = PlatformLoader::soundServer();
    RVAudioRouting::Hooks hooks;
    hooks.schedule = host_.schedule;
    hooks.showMicrophoneAlert = host_.showMicrophoneAlert;
    hooks.audioRoutingChanged = [this](RecordAudioType kind, const std::optional<EZAudioDevice>& input) {
        routedInput_ = input;
        if (manager_) {
            manager_->recordAudioType = kind;
            manager_->captrueAudioInputEnable(kind != RecordAudioType::None);
        }
        if (host_.audioRoutingChanged)
            host_.audioRoutingChanged(kind);
    };
    routing_ = std::make_unique<RVAudioRouting>(*soundServer_, hooks);
    routing_->init();
    // From the sound server's thread; the routing belongs to the main thread.
    soundServer_->setDevicesChangedHandler(
        [this, post = host_.runOnMainThread, alive = std::weak_ptr(alive_)] {
            post([this, alive] {
                if (alive.lock() && routing_)
                    routing_->checkAudioDevice();
            });
        });
}

void RecordingStack::setHost(RVRecordHost host) {
    events_ = std::move(host);
    RVRecordHost wired = events_;
    wired.runOnMainThread = host_.runOnMainThread;
    wired.recordingStarting = [this] {
        prepareDecorations();
        if (events_.recordingStarting)
            events_.recordingStarting();
    };
    manager_->setHost(std::move(wired));
}

void RecordingStack::setCompositorHooks(FrameCompositor::Hooks hooks) {
    if (decorations_) {
        hooks.appendMouseCursor = decorations_->hook();
        hooks.decorationSignature = decorations_->signatureHook();
    }
    manager_->setCompositorHooks(std::move(hooks));
}

void RecordingStack::prepareDecorations() {
    if (!decorations_)
        return;
    const CursorEffectFlags flags = host_.cursorEffectFlags ? host_.cursorEffectFlags() : CursorEffectFlags{};
    QRect primary;
    if (const auto screen = PlatformLoader::primaryScreen(captureFactory()))
        primary = QRect(screen->x, screen->y, screen->width, screen->height);
    const bool decorate = framesCarryDecorations(manager_->recordVideoType.load());
    decorations_->prepare(flags, primary, decorate);
}

bool RecordingStack::hasUsableMicrophone() const {
    return !routing_ || routing_->hasUsableMicrophone();
}

void RecordingStack::destroyDevicesAtQuit() {
    if (routing_)
        routing_->destroyDevicesAtQuit();
}
