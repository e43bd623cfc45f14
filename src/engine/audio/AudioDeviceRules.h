#pragma once

#include "engine/RecordRequest.h"
#include "engine/audio/EZAudioDevice.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The pure rules of the audio routing: which device is the microphone, which
// the output, which devices the application built itself, and which audio
// kind is still possible with the devices there are. No server access; any
// thread.
namespace AudioDeviceRules {

// The loop-back device, as a user sees it and as the server names it.
inline constexpr std::string_view kLoopbackName = "BlackHole 2ch";
inline constexpr std::string_view kLoopbackUID = "BlackHole2ch_UID";
// The aggregates; their name and their UID are the same.
inline constexpr std::string_view kInputAggregateName = "MR-InputDevice";
inline constexpr std::string_view kOutputAggregateName = "MR-OutputDevice";
inline constexpr std::string_view kBuiltInSpeakerUID = "BuiltInSpeakerDevice";

// Results of the loading steps.
enum ResultCode : int {
    kResultOK = 0,
    kResultNoMicrophone = 80,
    kResultNoLoopbackInput = 81,
    kResultInputAggregateFailed = 82,
    kResultNoBuiltInOutput = 90,
    kResultOutputAggregateFailed = 91,
};

bool startsWith(std::string_view text, std::string_view prefix);
bool endsWith(std::string_view text, std::string_view suffix);

// The loop-back device or one of the aggregates: never a user's microphone
// or speaker, never something to restore at quit.
bool isAppDevice(const EZAudioDevice& device);

// The input name to build the routing with, and, when the name comes from a
// microphone found by its name, that device (kept as the chosen input).
// An empty name: no microphone at all.
struct InputChoice {
    std::string name;
    std::optional<EZAudioDevice> microphone;
};
// `current`: the chosen input so far (the system's input at start-up).
InputChoice chooseInputName(const std::vector<EZAudioDevice>& inputs,
                            const std::optional<EZAudioDevice>& current);
// The output name; empty when none was found.
std::string chooseOutputName(const std::vector<EZAudioDevice>& outputs,
                             const std::optional<EZAudioDevice>& current);

// The audio kind that is possible: asking for a microphone without one
// falls back to system audio (or none without the loop-back device), "both"
// without the input aggregate to the microphone alone.
RecordAudioType consistentAudioType(RecordAudioType requested, bool hasMicrophone, bool hasLoopbackInput,
                                    bool hasInputAggregate);

// The audio kind chosen by the main window's two pop-ups (item 1 on, item 2
// off, item 0 the title): system only 0, microphone only 1, both 2,
// anything else 3.
RecordAudioType recordAudioTypeForItems(long systemItem, long microphoneItem);

} // namespace AudioDeviceRules
