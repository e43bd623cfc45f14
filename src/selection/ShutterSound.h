#pragma once

#include <cstdint>
#include <vector>

// The camera-shutter click played when a screenshot is taken: the sound
// resource "Capture" of type "wav". It is made in code rather than shipped as
// a file: two short clicks of filtered noise (the blades opening, then
// closing) over a low mechanical thump, about 150 ms of mono 16-bit PCM.
//
// Pure, any thread.
namespace ShutterSound {

inline constexpr const char* kName = "Capture";
inline constexpr const char* kType = "wav";
inline constexpr int kSampleRate = 44100;
inline constexpr int kChannels = 1;
inline constexpr int kMilliseconds = 150;

// The samples at `sampleRate` (mono). The same every time: the noise comes
// from a fixed seed, so the sound and its tests do not vary between runs.
std::vector<std::int16_t> synthesize(int sampleRate = kSampleRate);

} // namespace ShutterSound
