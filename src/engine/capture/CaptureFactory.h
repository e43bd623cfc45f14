#pragma once

#include "engine/capture/CaptureSource.h"
#include "engine/capture/CaptureTypes.h"

#include <memory>
#include <vector>

// Makes the capture sources of a recording and answers the inventory
// questions the controller asks (monitors, windows, cameras). The platform
// loader (src/stack) picks the backends and hands a factory to the
// controller; tests hand it fakes.
//
// Main thread only. A create* call that cannot even try (no display) returns
// null; device errors show up in the source's start().
class CaptureFactory {
public:
    virtual ~CaptureFactory() = default;

    virtual std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request) = 0;
    virtual std::unique_ptr<CaptureSource> createWindowSource(const WindowCaptureRequest& request) = 0;
    virtual std::unique_ptr<CaptureSource> createCameraSource(const CameraCaptureRequest& request) = 0;
    virtual std::unique_ptr<CaptureSource> createAudioSource(const AudioCaptureRequest& request) = 0;

    // Monitors, in RandR order (the index is the screen number).
    virtual std::vector<RVScreen> screens() = 0;
    // The on-screen windows, front to back.
    virtual std::vector<CaptureWindowInfo> onScreenWindows() = 0;
    // Cameras for the camera pop-up; empty on machines without one.
    virtual std::vector<CameraInfo> cameras() = 0;
};
