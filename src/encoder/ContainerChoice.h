#pragma once

#include <string>

namespace me {

enum class AudioCodec { None, Aac, Mp3, Pcm16 };

// What the output path's extension asks for.
struct ContainerChoice {
    const char* muxerName = nullptr; // libavformat short name
    bool hasVideo = false;           // H.264 video when true
    // False where the container has no composition times (AVI), and where
    // pictures come only when something changed: a B-frame there would wait
    // for its next reference picture for seconds, and be reordered across them.
    bool allowBFrames = true;
    // Every picture carries its own time (MPEG-4 family, FLV): a picture that
    // did not change is not stored again. AVI has a constant rate instead.
    bool variableFrameRate = false;
    AudioCodec audio = AudioCodec::None;
    // MPEG-4 family: written as 1 s fragments while recording (a killed process
    // leaves a playable file) and indexed as an ordinary file when finished.
    bool fragmented = false;
    // WAV: the RIFF and data sizes are rewritten at every flush so the header
    // stays valid while the file grows.
    bool patchWavHeader = false;
};

// Pure functions, any thread.
// Null muxerName when the extension is not one of ours. Case-insensitive.
ContainerChoice chooseContainer(const std::string& path);

// "dir/name.ext" + 2 -> "dir/name_2.ext"; part 0 is the path itself.
std::string partPath(const std::string& path, int part);

} // namespace me
