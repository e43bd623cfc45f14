#pragma once

#include "engine/capture/CaptureSource.h"
#include "engine/capture/CaptureTypes.h"

#include <memory>
#include <string>

// Audio capture through the PulseAudio client API (PulseAudio or PipeWire's
// PulseAudio server).
namespace pulsecapture {

// "AudioDataOutputQueue": a record stream of signed 32-bit samples at the
// request's rate and channels from the named source (the default source when
// the name is empty; "@DEFAULT_MONITOR@" is what the default sink plays).
// Buffers arrive every ~20 ms as planar sample buffers. A device that
// disappears or a server that goes away gives one failure notice; the
// source then delivers nothing more.
std::unique_ptr<CaptureSource> createAudioSource(const AudioCaptureRequest& request);

// True when a sound server accepts a connection (PULSE_SERVER or the
// session's default). Any thread; blocks until the server answers.
bool serverAvailable(std::string* error = nullptr);

} // namespace pulsecapture
