#include "engine/audio/AudioDeviceRules.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace AudioDeviceRules {

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

bool isAppDevice(const EZAudioDevice& device) {
    return startsWith(device.name, kLoopbackName) || startsWith(device.name, kInputAggregateName) ||
           startsWith(device.name, kOutputAggregateName) || startsWith(device.UID, kLoopbackUID);
}

namespace {

// The chosen device again, by its id; a device that was unplugged and
// plugged back gets a new id from the server but keeps its UID.
std::optional<EZAudioDevice> sameDevice(const std::vector<EZAudioDevice>& list,
                                        const std::optional<EZAudioDevice>& current) {
    if (!current || isAppDevice(*current))
        return std::nullopt;
    for (const auto& d : list)
        if (d == *current)
            return d;
    for (const auto& d : list)
        if (!current->UID.empty() && d.UID == current->UID)
            return d;
    return std::nullopt;
}

std::optional<EZAudioDevice> firstBuiltIn(const std::vector<EZAudioDevice>& list) {
    for (const auto& d : list)
        if (EZAudioDevice::isBuiltInDevice(d) && !isAppDevice(d))
            return d;
    return std::nullopt;
}

std::string lowered(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

} // namespace

InputChoice chooseInputName(const std::vector<EZAudioDevice>& inputs,
                            const std::optional<EZAudioDevice>& current) {
    // 1. The chosen input, or else the machine's built-in input: Linux
    //    device names follow no fixed pattern, the bus does.
    if (auto d = sameDevice(inputs, current))
        return {d->name, std::nullopt};
    if (auto d = firstBuiltIn(inputs))
        return {d->name, std::nullopt};
    // 2. Well-known microphone names.
    static constexpr std::array<std::string_view, 4> known = {"外置麦克风", "External Microphone",
                                                              "Built-in Microphone", "内建麦克风"};
    for (const auto& d : inputs)
        if (std::find(known.begin(), known.end(), d.name) != known.end())
            return {d.name, std::nullopt};
    // 3. The first device that is the loop-back device or looks like a
    //    microphone.
    for (const auto& d : inputs) {
        if (d.UID == kLoopbackUID)
            return {d.name, std::nullopt};
        if (endsWith(d.name, "Microphone") || startsWith(lowered(d.name), "macbook") ||
            endsWith(d.name, "麦克风") || endsWith(d.name, "咪高風"))
            return {d.name, d};
    }
    // 4. No microphone: the loop-back input stands in, so that system audio
    //    is still routed. Its UID only starts with the loop-back UID (a sound
    //    server cannot give a sink and a source the same name), and it comes
    //    last so that a microphone plugged in later still wins.
    for (const auto& d : inputs)
        if (startsWith(d.UID, kLoopbackUID))
            return {d.name, std::nullopt};
    return {};
}

std::string chooseOutputName(const std::vector<EZAudioDevice>& outputs,
                             const std::optional<EZAudioDevice>& current) {
    if (auto d = sameDevice(outputs, current))
        return d->name;
    if (auto d = firstBuiltIn(outputs))
        return d->name;
    for (const auto& d : outputs)
        if (endsWith(d.name, "耳机") || endsWith(d.name, "耳筒") || endsWith(d.name, "Headphones") ||
            d.name == "Built-in Output" || d.name == "内建输出")
            return d.name;
    for (const auto& d : outputs)
        if (d.UID == kBuiltInSpeakerUID)
            return d.name;
    return {};
}

RecordAudioType consistentAudioType(RecordAudioType requested, bool hasMicrophone, bool hasLoopbackInput,
                                    bool hasInputAggregate) {
    const RecordAudioType withoutMicrophone =
        hasLoopbackInput ? RecordAudioType::System : RecordAudioType::None;
    switch (requested) {
    case RecordAudioType::System:
        return withoutMicrophone;
    case RecordAudioType::Microphone:
        return hasMicrophone ? RecordAudioType::Microphone : withoutMicrophone;
    case RecordAudioType::Both:
        if (!hasMicrophone)
            return withoutMicrophone;
        return hasInputAggregate && hasLoopbackInput ? RecordAudioType::Both : RecordAudioType::Microphone;
    default:
        return RecordAudioType::None;
    }
}

RecordAudioType recordAudioTypeForItems(long systemItem, long microphoneItem) {
    constexpr long on = 1, off = 2;
    if (systemItem == on && microphoneItem == off)
        return RecordAudioType::System;
    if (systemItem == on && microphoneItem == on)
        return RecordAudioType::Both;
    if (systemItem == off && microphoneItem == on)
        return RecordAudioType::Microphone;
    return RecordAudioType::None;
}

} // namespace AudioDeviceRules
