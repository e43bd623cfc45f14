#include "ContainerChoice.h"

#include "core/SplitNaming.h"

#include <algorithm>
#include <cctype>

namespace me {

namespace {

std::string lowerExtension(const std::string& path) {
    const auto slash = path.find_last_of('/');
    const auto dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return {};
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    return ext;
}

} // namespace

ContainerChoice chooseContainer(const std::string& path) {
    const std::string ext = lowerExtension(path);
    ContainerChoice c;
    if (ext == "mp4" || ext == "m4v" || ext == "mov") {
        // .m4v must not reach libavformat's guess, which is the raw MPEG-4 stream.
        c.muxerName = ext == "mov" ? "mov" : "mp4";
        c.hasVideo = true;
        c.audio = AudioCodec::Aac;
        c.fragmented = true;
        c.variableFrameRate = true;
        c.allowBFrames = false;
    } else if (ext == "flv") {
        c.muxerName = "flv";
        c.hasVideo = true;
        c.audio = AudioCodec::Aac;
        c.variableFrameRate = true;
        c.allowBFrames = false;
    } else if (ext == "avi") {
        // AVI stores no composition times; many players mis-time B-frames in it.
        c.muxerName = "avi";
        c.hasVideo = true;
        c.allowBFrames = false;
        c.audio = AudioCodec::Mp3;
    } else if (ext == "mp3") {
        c.muxerName = "mp3";
        c.audio = AudioCodec::Mp3;
    } else if (ext == "wav") {
        c.muxerName = "wav";
        c.audio = AudioCodec::Pcm16;
        c.patchWavHeader = true;
    } else if (ext == "m4a") {
        c.muxerName = "ipod";
        c.audio = AudioCodec::Aac;
        c.fragmented = true;
    }
    return c;
}

std::string partPath(const std::string& path, int part) {
    return splitPartPath(path, part);
}

} // namespace me
