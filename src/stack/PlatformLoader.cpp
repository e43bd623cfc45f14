#include "stack/PlatformLoader.h"

#include "app/SettingsStore.h"
#include "core/EMLog.h"
#include "platform/portal/GlobalShortcuts.h"
#include "platform/portal/PortalCapture.h"
#include "platform/portal/PortalRules.h"
#include "platform/pulse/PulseSoundServer.h"
#include "platform/pulsecapture/PulseCapture.h"
#include "platform/testpattern/TestPatternCamera.h"
#include "platform/v4l2/V4l2Camera.h"
#include "platform/x11capture/X11Capture.h"

#include <QObject>
#include <cstdlib>
#include <cstring>

namespace {

class X11PulseV4l2Factory : public CaptureFactory {
public:
    std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request) override {
        return x11capture::createScreenSource(request);
    }
    std::unique_ptr<CaptureSource> createWindowSource(const WindowCaptureRequest& request) override {
        return x11capture::createWindowSource(request);
    }
    std::unique_ptr<CaptureSource> createCameraSource(const CameraCaptureRequest& request) override {
        if (testpattern::requestedByEnvironment())
            return testpattern::createCamera();
        return v4l2camera::createCamera(request);
    }
    std::unique_ptr<CaptureSource> createAudioSource(const AudioCaptureRequest& request) override {
        return pulsecapture::createAudioSource(request);
    }
    std::vector<RVScreen> screens() override { return x11capture::listMonitors(); }
    std::vector<CaptureWindowInfo> onScreenWindows() override { return x11capture::listWindows(); }
    std::vector<CameraInfo> cameras() override {
        if (testpattern::requestedByEnvironment())
            return {{testpattern::kDeviceName, "Test pattern"}};
        return v4l2camera::listCameras();
    }
};

// The portal's restore tokens, one for each monitor, kept with the user's
// settings so that a monitor shared once is shared again without asking.
// Read and written on the main thread, through a store of its own on the
// same file (QSettings merges the keys each one changed).
std::string restoreTokenKey(const std::string& monitor) {
    return "ScreenCastRestoreToken_" + monitor;
}

portalcapture::RestoreTokenStore settingsTokenStore() {
    portalcapture::RestoreTokenStore store;
    store.load = [](const std::string& monitor) {
        return SettingsStore().stringForKey(restoreTokenKey(monitor));
    };
    store.save = [](const std::string& monitor, const std::string& token) {
        SettingsStore settings;
        settings.setString(restoreTokenKey(monitor), token);
        if (!settings.synchronize())
            EMLog::showMessage("%s %d cannot keep the screen-cast choice in %s", __func__, __LINE__,
                               settings.fileName().toLocal8Bit().constData());
    };
    return store;
}

// A Wayland session: the screen and windows through the portal, the
// monitors from the compositor, no window list; sound and cameras as
// everywhere. The broker,
// when given, must outlive the factory.
class PortalPulseV4l2Factory : public X11PulseV4l2Factory {
public:
    PortalPulseV4l2Factory(std::shared_ptr<PointerFeed> pointer, portalcapture::ScreenShareBroker* share)
        : pointer_(std::move(pointer)), share_(share) {}
    std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request) override {
        return portalcapture::createScreenSource(request, {settingsTokenStore(), pointer_, share_});
    }
    // The window is picked in the desktop's own dialog: Wayland shows a
    // client no other windows.
    std::unique_ptr<CaptureSource> createWindowSource(const WindowCaptureRequest& request) override {
        return portalcapture::createWindowSource(request, share_);
    }
    std::vector<RVScreen> screens() override { return portalcapture::listOutputs(); }
    std::vector<CaptureWindowInfo> onScreenWindows() override { return {}; }

private:
    std::shared_ptr<PointerFeed> pointer_;
    portalcapture::ScreenShareBroker* share_;
};

class PortalScreenShare : public PlatformLoader::ScreenShare {
public:
    void request(bool window, const RVScreen& monitor,
                 std::function<void(const std::string& error)> done) override {
        broker_.request(window, monitor, std::move(done));
    }
    void cancel() override { broker_.cancel(); }
    void askWindowSharing(std::function<void(bool offered)> done) override {
        portalcapture::readSourceTypes(
            &context_, [done = std::move(done)](uint32_t types, const std::string& error) {
                if (!error.empty())
                    EMLog::showMessage("%s %d %s", __func__, __LINE__, error.c_str());
                EMLog::showMessage("%s %d the desktop's screen-cast portal offers source types %u", __func__,
                                   __LINE__, types);
                done((types & portalcapture::kSourceTypeWindow) != 0);
            });
    }
    portalcapture::ScreenShareBroker& broker() { return broker_; }

private:
    portalcapture::ScreenShareBroker broker_{settingsTokenStore()};
    QObject context_; // the portal's answers are dropped with it
};

} // namespace

namespace PlatformLoader {

bool screenShareDeclined(const std::string& error) {
    return portalcapture::isCancellation(error);
}

ScreenBackend chooseScreenBackend(const char* waylandDisplay, const char* sessionType) {
    const bool wayland =
        (waylandDisplay && *waylandDisplay) || (sessionType && std::strcmp(sessionType, "wayland") == 0);
    return wayland ? ScreenBackend::Portal : ScreenBackend::X11;
}

ScreenBackend sessionScreenBackend() {
    return chooseScreenBackend(std::getenv("WAYLAND_DISPLAY"), std::getenv("XDG_SESSION_TYPE"));
}

std::optional<ScreenBackend> screenBackendNamed(const std::string& name) {
    if (name == "x11")
        return ScreenBackend::X11;
    if (name == "portal")
        return ScreenBackend::Portal;
    return std::nullopt;
}

Backends backends(ScreenBackend backend) {
    Backends result;
    if (backend == ScreenBackend::Portal) {
        auto share = std::make_unique<PortalScreenShare>();
        result.pointer = std::make_shared<PointerFeed>();
        result.factory = std::make_unique<PortalPulseV4l2Factory>(result.pointer, &share->broker());
        result.share = std::move(share);
    } else {
        result.factory = std::make_unique<X11PulseV4l2Factory>();
    }
    return result;
}

std::unique_ptr<CaptureFactory> captureFactory(ScreenBackend backend) {
    if (backend == ScreenBackend::Portal)
        return std::make_unique<PortalPulseV4l2Factory>(nullptr, nullptr);
    return std::make_unique<X11PulseV4l2Factory>();
}

std::unique_ptr<SoundServer> soundServer() {
    return std::make_unique<PulseSoundServer>();
}

bool displayAvailable(std::string* error) {
    return displayAvailable(sessionScreenBackend(), error);
}

bool displayAvailable(ScreenBackend backend, std::string* error) {
    if (backend == ScreenBackend::Portal)
        return portalcapture::sessionAvailable(error);
    return x11capture::displayAvailable(error);
}

bool soundServerAvailable(std::string* error) {
    return pulsecapture::serverAvailable(error);
}

namespace {

QImage mainOutputOf(const QImage& desktop) {
    if (desktop.isNull())
        return desktop;
    const portalcapture::StreamArea main =
        portalcapture::mainOutputIn(desktop.width(), desktop.height(), portalcapture::listOutputs());
    return desktop.copy(main.x, main.y, main.width, main.height);
}

} // namespace

void portalMainDisplayScreenshot(QObject* context,
                                 std::function<void(const QImage& image, const std::string& error)> done) {
    portalcapture::takeScreenshot(context,
                                  [done = std::move(done)](const QImage& desktop, const std::string& error) {
                                      done(mainOutputOf(desktop), error);
                                  });
}

void portalDesktopScreenshot(QObject* context,
                             std::function<void(const QImage& image, const std::string& error)> done) {
    portalcapture::takeScreenshot(context, std::move(done));
}

QImage portalMainDisplayScreenshot(std::string& error) {
    return mainOutputOf(portalcapture::takeScreenshot(error));
}

namespace {

class PortalHotkeysImpl : public PortalHotkeys {
public:
    explicit PortalHotkeysImpl(QObject* context) : shortcuts(context) {}
    portalcapture::GlobalShortcuts shortcuts;
};

} // namespace

std::unique_ptr<PortalHotkeys> bindPortalHotkeys(QObject* context, std::vector<HotkeyName> names,
                                                 std::function<void(const std::string& id)> activated,
                                                 std::function<void(const std::string& error)> bound) {
    auto hotkeys = std::make_unique<PortalHotkeysImpl>(context);
    std::vector<portalcapture::GlobalShortcuts::Shortcut> shortcuts;
    for (HotkeyName& name : names)
        shortcuts.push_back({std::move(name.id), std::move(name.description)});
    hotkeys->shortcuts.bind(std::move(shortcuts), std::move(activated), std::move(bound));
    return hotkeys;
}

std::optional<RVScreen> primaryScreen(CaptureFactory& factory) {
    const std::vector<RVScreen> screens = factory.screens();
    for (const RVScreen& s : screens)
        if (s.primary)
            return s;
    if (screens.empty())
        return std::nullopt;
    return screens.front();
}

} // namespace PlatformLoader
