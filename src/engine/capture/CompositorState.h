#pragma once

#include "engine/RecordRequest.h"
#include "engine/capture/CaptureTypes.h"
#include "engine/capture/RecordingClock.h"

#include <atomic>
#include <cstdint>

// The recording controller's state that the capture threads read on every
// frame. The controller owns it (and exposes the members under these names);
// the main thread writes, capture threads read, so every member is atomic.
struct CompositorState {
    std::atomic<RecordingStatus> status{RecordingStatus::Idle};
    // True while frames and audio are accepted (false while paused).
    std::atomic<bool> isWorking{false};
    std::atomic<RecordVideoType> recordVideoType{RecordVideoType::FullScreen};
    std::atomic<RecordAudioType> recordAudioType{RecordAudioType::System};
    std::atomic<RVRect> captureRect{RVRect{}};
    RecordingClock clock;

    // Copied from the settings when a recording is configured, because the
    // settings store is main-thread only.
    std::atomic<bool> isCaptrueMirrored{false};
    std::atomic<int64_t> cameraVideoBitrate{3000};
    std::atomic<double> fps{25};
};
