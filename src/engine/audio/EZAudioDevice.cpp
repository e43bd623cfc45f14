#include "engine/audio/EZAudioDevice.h"

#include "engine/audio/SoundServer.h"

#include <cstdio>

std::string EZAudioDevice::description() const {
    char head[96];
    std::snprintf(head, sizeof head,
                  "EZAudioDevice { deviceID: %i, manufacturer: ", static_cast<int>(deviceID));
    return head + manufacturer + ", name: " + name + ", UID: " + UID +
           ", inputChannelCount: " + std::to_string(inputChannelCount) +
           ", outputChannelCount: " + std::to_string(outputChannelCount) + " }";
}

std::vector<EZAudioDevice> EZAudioDevice::inputsOf(const std::vector<EZAudioDevice>& all) {
    std::vector<EZAudioDevice> out;
    for (const auto& d : all)
        if (d.inputChannelCount >= 1)
            out.push_back(d);
    return out;
}

std::vector<EZAudioDevice> EZAudioDevice::outputsOf(const std::vector<EZAudioDevice>& all) {
    std::vector<EZAudioDevice> out;
    for (const auto& d : all)
        if (d.outputChannelCount >= 1)
            out.push_back(d);
    return out;
}

std::vector<EZAudioDevice> EZAudioDevice::devices(SoundServer& server) {
    return server.listDevices();
}

std::vector<EZAudioDevice> EZAudioDevice::inputDevices(SoundServer& server) {
    return inputsOf(server.listDevices());
}

std::vector<EZAudioDevice> EZAudioDevice::outputDevices(SoundServer& server) {
    return outputsOf(server.listDevices());
}

namespace {
std::optional<EZAudioDevice> byUID(const std::vector<EZAudioDevice>& list, const std::string& uid) {
    if (uid.empty())
        return std::nullopt;
    for (const auto& d : list)
        if (d.UID == uid)
            return d;
    return std::nullopt;
}
} // namespace

std::optional<EZAudioDevice> EZAudioDevice::currentInputDevice(SoundServer& server) {
    return byUID(inputDevices(server), server.defaultInputUID());
}

std::optional<EZAudioDevice> EZAudioDevice::currentOutputDevice(SoundServer& server) {
    return byUID(outputDevices(server), server.defaultOutputUID());
}
