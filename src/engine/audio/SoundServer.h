#pragma once

#include "engine/audio/EZAudioDevice.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

// What an aggregate device is built from. Mirrors the description the
// routing hands over: a name, a fixed uid, two sub-devices (by UID), the
// clock master, and "stacked" (set to 1 for an output that plays on every
// sub-device at once; absent for an input that mixes its sub-devices).
struct AggregateDescription {
    std::string name;
    std::string uid;
    std::vector<std::string> subdevices;
    std::string master;
    std::optional<int> stacked;
};

// The sound server as the routing needs it. Statuses are 0 on success and a
// positive server error code otherwise; a server that has gone away is a
// status (or an empty list), never an exception or an endless wait.
//
// Every member is called on the main thread, except where noted.
class SoundServer {
public:
    virtual ~SoundServer() = default;

    // All devices: outputs first, then inputs, each in the server's order.
    virtual std::vector<EZAudioDevice> listDevices() = 0;
    // UIDs of the current default input and output; "" when unknown.
    virtual std::string defaultInputUID() = 0;
    virtual std::string defaultOutputUID() = 0;

    // Builds the aggregate (removing any leftover of the same uid first).
    virtual int createAggregateDevice(const AggregateDescription& description) = 0;
    // Removes an aggregate and everything it was built from.
    virtual int destroyAggregateDevice(const EZAudioDevice& device) = 0;

    // The loop-back device "BlackHole 2ch" (an output and an input of that
    // name): created when missing; removed with everything built on it.
    virtual int loadLoopbackDevice() = 0;
    virtual int unloadLoopbackDevice() = 0;

    virtual int setDefaultInput(const EZAudioDevice& device) = 0;
    virtual int setDefaultOutput(const EZAudioDevice& device) = 0;

    // Called when an input or output device appears or vanishes. The
    // handler runs on the server's own thread and must not call back into
    // the server: post to the main thread. Empty to stop.
    virtual void setDevicesChangedHandler(std::function<void()> handler) = 0;
};
