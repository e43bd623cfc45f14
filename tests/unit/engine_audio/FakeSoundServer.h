#pragma once

#include "engine/audio/SoundServer.h"

#include <algorithm>

// An in-memory sound server: what the routing builds shows up in the device
// list as a real server would show it.
class FakeSoundServer : public SoundServer {
public:
    std::vector<EZAudioDevice> devices;
    std::string defaultInput, defaultOutput;
    std::vector<AggregateDescription> created;
    std::vector<std::string> destroyed;
    int createStatus = 0;
    bool loopbackLoads = true;

    void add(const std::string& name, const std::string& uid, bool input, bool builtIn = false) {
        EZAudioDevice d;
        d.deviceID = nextId_++;
        d.name = name;
        d.UID = uid;
        (input ? d.inputChannelCount : d.outputChannelCount) = 2;
        d.builtIn = builtIn;
        devices.push_back(d);
    }
    void remove(const std::string& uid) {
        std::erase_if(devices, [&](const EZAudioDevice& d) { return d.UID == uid; });
    }
    long count(const std::string& name) const {
        return std::count_if(devices.begin(), devices.end(),
                             [&](const EZAudioDevice& d) { return d.name == name; });
    }

    std::vector<EZAudioDevice> listDevices() override { return devices; }
    std::string defaultInputUID() override { return defaultInput; }
    std::string defaultOutputUID() override { return defaultOutput; }
    int createAggregateDevice(const AggregateDescription& description) override {
        created.push_back(description);
        if (createStatus == 0)
            add(description.name, description.uid, !description.stacked);
        return createStatus;
    }
    int destroyAggregateDevice(const EZAudioDevice& device) override {
        destroyed.push_back(device.UID);
        remove(device.UID);
        return 0;
    }
    int loadLoopbackDevice() override {
        if (!loopbackLoads)
            return 1;
        add("BlackHole 2ch", "BlackHole2ch_UID", false);
        add("BlackHole 2ch", "BlackHole2ch_UID.input", true);
        return 0;
    }
    int unloadLoopbackDevice() override {
        std::erase_if(devices, [](const EZAudioDevice& d) { return d.UID.starts_with("BlackHole2ch_UID"); });
        return 0;
    }
    int setDefaultInput(const EZAudioDevice& device) override {
        defaultInput = device.UID;
        return 0;
    }
    int setDefaultOutput(const EZAudioDevice& device) override {
        defaultOutput = device.UID;
        return 0;
    }
    void setDevicesChangedHandler(std::function<void()>) override {}

private:
    std::uint32_t nextId_ = 1;
};
