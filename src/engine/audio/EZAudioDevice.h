#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class SoundServer;

// One audio device of the machine. On a PulseAudio (or PipeWire-pulse)
// server a sink is an output device and a source an input device; the
// monitors of sinks are not listed.
//
// A plain value: copy it freely, from any thread.
struct EZAudioDevice {
    // The sound server's index. Sinks and sources count separately, so an
    // input and an output may share an id; devices are only ever compared
    // within one direction.
    std::uint32_t deviceID = 0;
    std::string manufacturer;
    // What the user sees (the device description).
    std::string name;
    // Persistent across runs (the sound server's device name).
    std::string UID;
    long inputChannelCount = 0;
    long outputChannelCount = 0;
    // Sits on the machine's internal bus: the built-in transport.
    bool builtIn = false;

    // "EZAudioDevice { deviceID: …, manufacturer: …, name: …, UID: …,
    // inputChannelCount: …, outputChannelCount: … }" for the trace.
    std::string description() const;

    bool operator==(const EZAudioDevice& other) const { return deviceID == other.deviceID; }

    // The class operations, over the given server. Main thread only (they
    // wait for the server). An unreachable server gives empty results.
    static std::vector<EZAudioDevice> devices(SoundServer& server);
    static std::vector<EZAudioDevice> inputDevices(SoundServer& server);
    static std::vector<EZAudioDevice> outputDevices(SoundServer& server);
    static std::optional<EZAudioDevice> currentInputDevice(SoundServer& server);
    static std::optional<EZAudioDevice> currentOutputDevice(SoundServer& server);
    static bool isBuiltInDevice(const EZAudioDevice& device) { return device.builtIn; }

    // Filters of an already fetched list, so that one server round trip
    // serves both directions.
    static std::vector<EZAudioDevice> inputsOf(const std::vector<EZAudioDevice>& all);
    static std::vector<EZAudioDevice> outputsOf(const std::vector<EZAudioDevice>& all);
};
