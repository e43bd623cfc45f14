#pragma once

#include "engine/audio/SoundServer.h"
#include "platform/pulse/PulseConnection.h"

#include <cstdint>
#include <string>
#include <vector>

// SoundServer over the PulseAudio client API (PulseAudio itself or
// PipeWire's pulse server).
//
// Devices: a sink is an output, a source an input (monitors are left out);
// deviceID = index, name = description, UID = the server's name,
// manufacturer = device.vendor.name, channel counts from the channel map,
// built-in = device.form_factor "internal" or device.bus "pci"/"platform".
//
// What the application builds is loaded modules, every one of them naming
// the device it belongs to in its arguments, so a device and all its parts
// are found (and removed) by that name, also after a crash:
//  - "BlackHole 2ch": a null sink "BlackHole2ch_UID" and a remap source
//    "BlackHole2ch_UID.input" over its monitor, both described "BlackHole 2ch";
//  - an input aggregate: a null sink "<uid>.mix" fed by one loopback per
//    sub-device, and a remap source "<uid>" over its monitor;
//  - a stacked output aggregate: a combine sink "<uid>" over the sub-devices.
//
// Main thread only, like the interface; see SoundServer for the handler.
class PulseSoundServer final : public SoundServer {
public:
    explicit PulseSoundServer(std::chrono::milliseconds timeout = PulseConnection::kDefaultTimeout);
    ~PulseSoundServer() override;

    std::vector<EZAudioDevice> listDevices() override;
    std::string defaultInputUID() override;
    std::string defaultOutputUID() override;
    int createAggregateDevice(const AggregateDescription& description) override;
    int destroyAggregateDevice(const EZAudioDevice& device) override;
    int loadLoopbackDevice() override;
    int unloadLoopbackDevice() override;
    int setDefaultInput(const EZAudioDevice& device) override;
    int setDefaultOutput(const EZAudioDevice& device) override;
    void setDevicesChangedHandler(std::function<void()> handler) override;

    // The server's modules, for finding leftovers (and for tests).
    struct Module {
        uint32_t index = 0;
        std::string name;
        std::string argument;
    };
    // Empty with *ok false when the server cannot be asked.
    std::vector<Module> listModules(bool* ok = nullptr);
    // 0 or an error code; *index receives the new module's index.
    int loadModule(const std::string& name, const std::string& argument, uint32_t* index = nullptr);
    int unloadModule(uint32_t index);

    // The loop-back input's server name.
    static std::string loopbackInputUID();

private:
    // Unloads, newest first, every module whose arguments name `token` as a
    // whole device name (or its ".mix" / ".monitor" / ".input" part). The
    // number unloaded, or -1 when the modules could not be listed.
    int unloadModulesMentioning(const std::string& token);
    int error() const;
    int setDefault(const std::string& uid, bool input);
    // Until the device shows in the list, or the timeout.
    bool waitUntilListed(const std::string& uid, bool input);

    PulseConnection connection_;
};
