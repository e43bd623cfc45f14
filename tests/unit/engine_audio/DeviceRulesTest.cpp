#include "engine/audio/AudioDeviceRules.h"

#include <gtest/gtest.h>

using namespace AudioDeviceRules;

namespace {

EZAudioDevice dev(std::uint32_t id, std::string name, std::string uid = "", bool builtIn = false) {
    EZAudioDevice d;
    d.deviceID = id;
    d.name = std::move(name);
    d.UID = uid.empty() ? "uid-" + std::to_string(id) : uid;
    d.inputChannelCount = 2;
    d.builtIn = builtIn;
    return d;
}

} // namespace

TEST(DeviceRules, InputChoice) {
    const auto usb = dev(5, "USB Headset", "usb");
    const std::vector<EZAudioDevice> laptop = {dev(4, "BlackHole 2ch", "BlackHole2ch_UID.input"), usb,
                                               dev(6, "Built-in Audio Analog Stereo", "pci", true)};
    EXPECT_EQ(chooseInputName(laptop, usb).name, "USB Headset");
    EXPECT_EQ(chooseInputName(laptop, dev(99, "", "usb")).name, "USB Headset"); // plugged back: new id
    // Gone, or the application's own: the built-in input.
    EXPECT_EQ(chooseInputName(laptop, dev(98, "Gone")).name, "Built-in Audio Analog Stereo");
    EXPECT_EQ(chooseInputName(laptop, dev(4, "MR-InputDevice")).name, "Built-in Audio Analog Stereo");

    struct Case {
        std::vector<EZAudioDevice> inputs;
        std::string name;
        bool isMicrophone;
    };
    const Case cases[] = {
        // Exact well-known names before the suffix scan.
        {{dev(1, "Headset Microphone"), dev(2, "External Microphone")}, "External Microphone", false},
        {{dev(1, "Line In"), dev(2, "内建麦克风")}, "内建麦克风", false},
        {{dev(1, "Line In"), dev(2, "Desk Microphone"), dev(3, "Room Microphone")}, "Desk Microphone", true},
        {{dev(1, "MacBook Pro Mic")}, "MacBook Pro Mic", true},
        {{dev(1, "USB 麦克风")}, "USB 麦克风", true},
        {{dev(1, "USB 咪高風")}, "USB 咪高風", true},
        {{dev(1, "BlackHole 2ch", "BlackHole2ch_UID"), dev(2, "Desk Microphone")}, "BlackHole 2ch", false},
        // The loop-back input stands in for a missing microphone only.
        {{dev(1, "BlackHole 2ch", "BlackHole2ch_UID.input"), dev(2, "Desk Microphone")},
         "Desk Microphone",
         true},
        {{dev(1, "BlackHole 2ch", "BlackHole2ch_UID.input"), dev(2, "Line In")}, "BlackHole 2ch", false},
        {{dev(1, "Desk microphone")}, "", false}, // the suffix is case-sensitive
    };
    for (const auto& c : cases) {
        const auto choice = chooseInputName(c.inputs, std::nullopt);
        EXPECT_EQ(choice.name, c.name);
        EXPECT_EQ(choice.microphone.has_value(), c.isMicrophone) << c.name;
    }
}

TEST(DeviceRules, OutputChoice) {
    const auto hdmi = dev(3, "HDMI Output", "hdmi");
    EXPECT_EQ(chooseOutputName({hdmi, dev(4, "Speakers", "spk", true)}, hdmi), "HDMI Output");
    EXPECT_EQ(chooseOutputName({hdmi, dev(4, "Speakers", "spk", true)}, std::nullopt), "Speakers");
    EXPECT_EQ(chooseOutputName({dev(1, "MR-OutputDevice", "MR-OutputDevice", true), hdmi}, std::nullopt), "");
    EXPECT_EQ(chooseOutputName({hdmi, dev(2, "USB Headphones")}, std::nullopt), "USB Headphones");
    EXPECT_EQ(chooseOutputName({hdmi, dev(2, "内建输出")}, std::nullopt), "内建输出");
    EXPECT_EQ(chooseOutputName({hdmi, dev(2, "Lautsprecher", "BuiltInSpeakerDevice")}, std::nullopt),
              "Lautsprecher");
}

TEST(DeviceRules, AudioKinds) {
    // requested, microphone, loop-back, input aggregate
    EXPECT_EQ(consistentAudioType(RecordAudioType::Both, true, true, true), RecordAudioType::Both);
    EXPECT_EQ(consistentAudioType(RecordAudioType::Both, true, true, false), RecordAudioType::Microphone);
    EXPECT_EQ(consistentAudioType(RecordAudioType::Both, false, true, true), RecordAudioType::System);
    EXPECT_EQ(consistentAudioType(RecordAudioType::Microphone, false, false, false), RecordAudioType::None);
    EXPECT_EQ(consistentAudioType(RecordAudioType::System, true, false, false), RecordAudioType::None);
    // The main window's pop-ups: item 1 on, item 2 off.
    EXPECT_EQ(recordAudioTypeForItems(1, 2), RecordAudioType::System);
    EXPECT_EQ(recordAudioTypeForItems(1, 1), RecordAudioType::Both);
    EXPECT_EQ(recordAudioTypeForItems(2, 1), RecordAudioType::Microphone);
    EXPECT_EQ(recordAudioTypeForItems(2, 2), RecordAudioType::None);
    EXPECT_EQ(recordAudioTypeForItems(0, 1), RecordAudioType::None);
}
