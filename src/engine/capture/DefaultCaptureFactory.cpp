#include "engine/capture/CaptureFactory.h"
#include "platform/pulsecapture/PulseCapture.h"
#include "platform/testpattern/TestPatternCamera.h"
#include "platform/v4l2/V4l2Camera.h"
#include "platform/x11capture/X11Capture.h"

namespace {

class DefaultCaptureFactory : public CaptureFactory {
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

} // namespace

std::unique_ptr<CaptureFactory> createDefaultCaptureFactory() {
    return std::make_unique<DefaultCaptureFactory>();
}
