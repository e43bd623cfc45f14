#pragma once

#include "engine/capture/CaptureTypes.h"

#include <cstdint>
#include <string>

// The numbers every part of FrameDeck shares. Settings store them and logs
// print them as the integers given here (toInt()); code compares the names.

// The recording controller's status.
enum class RecordingStatus : unsigned {
    Idle = 0,
    Recording = 1,
    Paused = 2,
    // Recording again after a resume.
    Resumed = 3,
};

// What is recorded, in the order of the main window's kind pop-up.
enum class RecordVideoType : unsigned {
    FullScreen = 0,
    CustomArea = 1,
    AppWindow = 2,
    Camera = 3,
    AudioOnly = 4,
};

// Which sound goes with it ("RecordAudioType").
enum class RecordAudioType : unsigned {
    System = 0,
    Microphone = 1,
    Both = 2,
    None = 3,
};

// How a recording is cut into files ("SplitType").
enum class SplitType : long long {
    None = 0,
    ByTime = 1,
    BySize = 2,
};

constexpr unsigned toInt(RecordingStatus v) {
    return static_cast<unsigned>(v);
}
constexpr unsigned toInt(RecordVideoType v) {
    return static_cast<unsigned>(v);
}
constexpr unsigned toInt(RecordAudioType v) {
    return static_cast<unsigned>(v);
}

// From a stored or typed integer; values out of range fall back to the
// first-run choice (full screen, system audio).
constexpr RecordVideoType recordVideoTypeFromInt(long long v) {
    return v >= 0 && v <= 4 ? static_cast<RecordVideoType>(v) : RecordVideoType::FullScreen;
}
constexpr RecordAudioType recordAudioTypeFromInt(long long v) {
    return v >= 0 && v <= 3 ? static_cast<RecordAudioType>(v) : RecordAudioType::System;
}

// Frames reach the encoder in these states only.
constexpr bool isRecordingStatus(RecordingStatus s) {
    return s == RecordingStatus::Recording || s == RecordingStatus::Resumed;
}

// The screen kinds: full screen, an area, one window.
constexpr bool recordsScreen(RecordVideoType t) {
    return t == RecordVideoType::FullScreen || t == RecordVideoType::CustomArea ||
           t == RecordVideoType::AppWindow;
}

// Everything one recording needs, as the main window, the hotkeys and
// `framedeck record` all build it. RVRecordManager::configure() applies it;
// startRecording() then runs as usual.
struct RecordRequest {
    RecordVideoType recordVideoType = RecordVideoType::FullScreen;
    RecordAudioType recordAudioType = RecordAudioType::System;
    // Monitor index (RandR order) and the area on it; zero rect = all of it.
    unsigned screenNumber = 0;
    RVRect captureRect;
    // Window recordings: the X window id and its title.
    uint64_t selectedWindowNumber = 0;
    std::string selectedWindowName;
    // Camera device ("" = the first camera); add the camera to a screen
    // recording (the camera switch).
    std::string cameraDevice;
    bool isCaptrue = false;
    bool isCaptrueMirrored = false;
    double fps = 25;
    int64_t videoBitrate = 3000;
    int32_t splitTime = 0;
    int32_t splitSize = 0;
    // The file to write.
    std::string outputPath;
    // Sound-server source to record ("" = what the audio routing selects).
    std::string audioDevice;
};
