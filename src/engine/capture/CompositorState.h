#pragma once

#include "engine/capture/CaptureTypes.h"
#include "engine/capture/RecordingClock.h"

#include <atomic>
#include <cstdint>

// The recording controller's state that the capture threads read on every
// frame. The controller owns it (and exposes the members under these names);
// the main thread writes, capture threads read, so every member is atomic.
struct CompositorState {
    // 0 idle, 1 recording, 2 paused, 3 recording after a resume.
    std::atomic<unsigned> status{0};
    // True while frames and audio are accepted (false while paused).
    std::atomic<bool> isWorking{false};
    // 2 one window, 3 camera, 4 audio only, anything else the screen.
    std::atomic<unsigned> recordVideoType{0};
    std::atomic<unsigned> recordAudioType{0};
    std::atomic<RVRect> captureRect{RVRect{}};
    RecordingClock clock;

    // Click state for the cursor effects: written by the click listener
    // (main thread) and by the screen thread while it draws the ring.
    std::atomic<bool> isCursorClick{false};
    std::atomic<float> cursorEffectWidth{0};
    std::atomic<RVPoint> cursorCenter{RVPoint{}};

    // Copied from the settings when a recording is configured, because the
    // settings store is main-thread only.
    std::atomic<bool> isCaptrueMirrored{false};
    std::atomic<int64_t> cameraVideoBitrate{3000};
    std::atomic<double> fps{25};
};
