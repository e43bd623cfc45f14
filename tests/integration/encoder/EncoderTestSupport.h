#pragma once

// Synthetic media for the encoder tests, a driver for the C interface, and
// the probes of the recording tests' MediaProbe that ask the real ffprobe /
// ffmpeg what a file holds.

#include "MediaEncoder.h"
#include "integration/recording/MediaProbe.h"

#include <cstdint>
#include <string>
#include <vector>

namespace enctest {

using probe::decodeAll;
using probe::decodedVideoFrames;
using probe::lastPacketEnd;
using probe::PacketInfo;
using probe::run;
using probe::videoPackets;

// A 32-bit BGRA picture whose content changes with `index` (a moving bar over
// a gradient, or noise when `noise` is set: noise defeats compression, which
// is what the size-split tests need).
class SyntheticVideo {
public:
    SyntheticVideo(int width, int height, bool noise = false);
    // Fills the picture for frame `index` and returns a record pointing at it.
    EncoderVideoFrame frame(int index);

private:
    int width_, height_;
    bool noise_;
    uint32_t seed_ = 12345;
    std::vector<uint8_t> pixels_;
};

// A sine tone as interleaved signed 32-bit samples.
class SyntheticAudio {
public:
    SyntheticAudio(int channels, int rate, double hz = 440.0);
    // The next `frames` sample frames.
    EncoderAudioFrame next(int frames);

private:
    int channels_, rate_;
    double hz_;
    int64_t position_ = 0;
    std::vector<int32_t> samples_;
};

struct RecordingOptions {
    int width = 320;
    int height = 240;
    double fps = 30;
    double videoKbps = 3000;
    bool video = true;
    bool audio = true;
    int channels = 2;
    int sampleRate = 44100;
    double seconds = 2.0;
    uint32_t limitSeconds = 0;
    uint32_t limitMegabytes = 0;
    bool noise = false;
    // Audio pushed in bursts reaching this far ahead of the video, as from a
    // capture whose pictures wait in a queue while the sound does not.
    double audioAheadSeconds = 0;
};

// Creates, configures and starts a session the way the application does.
// Returns the handle, or null (with a gtest failure) when a step failed.
void* startRecording(const std::string& path, const RecordingOptions& o);
// The application's stop: both trailers, a wait until the encoder is done,
// the close; returns the close's status.
int32_t finishRecording(void* h);
// Pushes `o.seconds` of frames and audio (interleaved in time, as fast as the
// library takes them), then the trailers, waits for done and closes.
void recordFile(const std::string& path, const RecordingOptions& o);

// A folder under the build tree, emptied at creation.
std::string freshDir(const std::string& name);

// The four-letter types of the boxes at the top of an MPEG-4 file, in order
// ("ftyp mdat moov"); what is cut short at the end is left out.
std::string topLevelBoxes(const std::string& path);

} // namespace enctest
