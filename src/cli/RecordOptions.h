#pragma once

#include "engine/RecordRequest.h"
#include "engine/capture/CaptureTypes.h"

#include <optional>
#include <string>
#include <vector>

// The flags of `framedeck record`, as given. Absent flags stay empty so the
// stored settings decide.
struct RecordOptions {
    std::optional<RecordVideoType> recordVideoType; // --mode full|area|window|camera|audio
    std::optional<RVRect> area;                     // --area X,Y,W,H
    std::optional<unsigned long long> window;
    std::optional<unsigned> screen;
    std::optional<RecordAudioType> recordAudioType; // --audio system|mic|both|none
    std::optional<std::string> format;              // without the dot
    std::optional<double> fps;
    std::optional<int> quality; // 0 original, 1 hd, 2 sd
    std::optional<double> seconds;
    std::optional<int> splitTime;
    std::optional<int> splitSize;
    std::optional<std::string> output;
    std::optional<std::string> backend; // --backend x11|portal
    bool help = false;
};

// Pure functions, any thread.
// Parses the arguments after "record". Returns the options, or nullopt with
// a message naming the bad flag.
std::optional<RecordOptions> parseRecordOptions(const std::vector<std::string>& args, std::string& error);

// True for the containers of video recordings ("mov" ...) and of audio-only ones.
bool isVideoFormat(const std::string& format);
bool isAudioFormat(const std::string& format);
