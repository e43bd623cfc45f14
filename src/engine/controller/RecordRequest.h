#pragma once

#include "engine/capture/CaptureTypes.h"

#include <cstdint>
#include <string>

// Everything one recording needs, as the main window, the hotkeys and
// `framedeck record` all build it. RVRecordManager::configure() applies it;
// startRecording() then runs as usual.
struct RecordRequest {
    // 0/1 screen or area, 2 one window, 3 camera, 4 audio only.
    unsigned recordVideoType = 0;
    // 0 system audio, 1 microphone, 2 both, 3 none.
    unsigned recordAudioType = 0;
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
    // The file to write ("" = ask the application controller).
    std::string outputPath;
    // Sound-server source to record ("" = what the audio routing selects).
    std::string audioDevice;
};
