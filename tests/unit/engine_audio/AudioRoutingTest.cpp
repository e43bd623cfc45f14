#include "FakeSoundServer.h"
#include "core/EMLog.h"
#include "engine/audio/RVAudioRouting.h"

#include <gtest/gtest.h>

using Strings = std::vector<std::string>;

namespace {

// A laptop: built-in microphone and speakers, a USB microphone, nothing of
// the application's yet.
class AudioRoutingTest : public ::testing::Test {
protected:
    void SetUp() override {
        EMLog::setEchoToStderr(false);
        server.add("Speakers", "speakers", false, true);
        server.add("HDMI", "hdmi", false);
        server.add("Built-in Audio", "mic", true, true);
        server.add("USB Microphone", "usbmic", true);
        server.defaultInput = "mic";
        server.defaultOutput = "speakers";
        hooks.showMicrophoneAlert = [this] {
            ++alerts;
        };
        hooks.audioRoutingChanged = [this](RecordAudioType type, const std::optional<EZAudioDevice>& input) {
            changes.emplace_back(type, input ? input->UID : "");
        };
    }
    void TearDown() override { EMLog::setEchoToStderr(true); }

    FakeSoundServer server;
    RVAudioRouting::Hooks hooks;
    int alerts = 0;
    std::vector<std::pair<RecordAudioType, std::string>> changes;
};

} // namespace

TEST_F(AudioRoutingTest, InitBuildsTheLoopbackAndBothAggregates) {
    RVAudioRouting routing(server, hooks);
    routing.init();
    EXPECT_TRUE(routing.hasInstallSoundFlower());
    EXPECT_TRUE(routing.hasUsableMicrophone());
    ASSERT_EQ(server.created.size(), 2u);
    const auto& in = server.created[0];
    EXPECT_EQ(in.name + in.uid + in.master, "MR-InputDeviceMR-InputDevicemic");
    EXPECT_EQ(in.subdevices, (Strings{"mic", "BlackHole2ch_UID.input"}));
    EXPECT_FALSE(in.stacked.has_value());
    const auto& out = server.created[1];
    EXPECT_EQ(out.uid, "MR-OutputDevice");
    EXPECT_EQ(out.subdevices, (Strings{"speakers", "BlackHole2ch_UID"}));
    EXPECT_EQ(out.stacked, 1);
    ASSERT_TRUE(routing.aggregateInputDevcie && routing.aggregateOutputDevice);
}

// What a crash left behind: the aggregates, one of them the default input.
TEST_F(AudioRoutingTest, StaleAggregatesAreDestroyedFirstAndNeverRestoredAsDefaults) {
    server.add("MR-InputDevice", "MR-InputDevice", true);
    server.add("MR-OutputDevice", "MR-OutputDevice", false);
    server.defaultInput = "MR-InputDevice";
    // A suffixed loop-back device is the loop-back device.
    server.add("BlackHole 2ch (2)", "bh", false);
    server.add("BlackHole 2ch (2)", "bh.in", true);
    RVAudioRouting routing(server, hooks);
    routing.init();
    EXPECT_EQ(server.destroyed, (Strings{"MR-InputDevice", "MR-OutputDevice"}));
    EXPECT_EQ(routing.builtInputDevice->UID, "mic");
    EXPECT_EQ(server.created[0].subdevices[1], "bh.in");
    EXPECT_EQ(routing.prepareDevice(), 0);
    EXPECT_EQ(server.count("MR-InputDevice"), 1);
    EXPECT_EQ(server.count("MR-OutputDevice"), 1);
    routing.switchRecordType(RecordAudioType::System);
    routing.destroyDevicesAtQuit();
    EXPECT_EQ(server.defaultInput, "bh.in"); // untouched; a real server falls back
}

TEST_F(AudioRoutingTest, ResultCodes) {
    RVAudioRouting routing(server, hooks);
    EXPECT_EQ(routing.prepareDevice("", "Speakers"), 80);
    EXPECT_EQ(routing.prepareDevice("Built-in Audio", ""), 80);
    EXPECT_EQ(routing.loadEZAudioInputDevice("Built-in Audio"), 81); // no loop-back yet
    EXPECT_EQ(routing.loadEZAudioOutputDevice("Speakers"), 90);
    server.loadLoopbackDevice();
    EXPECT_EQ(routing.loadEZAudioInputDevice("No Such Mic"), 80);
    EXPECT_EQ(routing.loadEZAudioOutputDevice("No Such Output"), 90);
    server.createStatus = 5;
    EXPECT_EQ(routing.loadEZAudioInputDevice("Built-in Audio"), 82);
    EXPECT_EQ(routing.loadEZAudioOutputDevice("Speakers"), 91);
    EXPECT_FALSE(routing.aggregateInputDevcie || routing.aggregateOutputDevice);
}

TEST_F(AudioRoutingTest, WithoutMicrophones) {
    server.remove("mic");
    server.remove("usbmic");
    {
        // Nor a loop-back device: the loop-back UID stands in as a name, 80.
        server.loopbackLoads = false;
        RVAudioRouting routing(server, hooks);
        routing.init();
        EXPECT_EQ(routing.prepareDevice(), 80);
        EXPECT_TRUE(server.created.empty());
    }
    // The loop-back input stands in: system audio is still routed.
    server.loopbackLoads = true;
    RVAudioRouting routing(server, hooks);
    routing.init();
    EXPECT_EQ(routing.prepareDevice(), 0);
    EXPECT_FALSE(routing.hasUsableMicrophone());
    EXPECT_EQ(routing.switchRecordType(RecordAudioType::System)->UID, "BlackHole2ch_UID.input");
    EXPECT_EQ(server.defaultOutput, "MR-OutputDevice");
}

TEST_F(AudioRoutingTest, SwitchRecordTypeSetsTheDefaults) {
    RVAudioRouting routing(server, hooks);
    routing.init();
    const std::pair<RecordAudioType, std::string> expected[] = {
        {RecordAudioType::System, "BlackHole2ch_UID.input"},
        {RecordAudioType::Microphone, "mic"},
        {RecordAudioType::Both, "MR-InputDevice"},
        {RecordAudioType::None, "MR-InputDevice"}};
    for (const auto& [type, uid] : expected) {
        const auto input = routing.switchRecordType(type);
        ASSERT_TRUE(input);
        EXPECT_EQ(input->UID + server.defaultInput + server.defaultOutput, uid + uid + "MR-OutputDevice");
    }
}

TEST_F(AudioRoutingTest, FollowUpLoadsRunLaterAndNotAfterTheRoutingIsGone) {
    std::vector<std::pair<std::chrono::milliseconds, RVAudioRouting::Task>> queued;
    hooks.schedule = [&](std::chrono::milliseconds delay, RVAudioRouting::Task task) {
        queued.emplace_back(delay, std::move(task));
    };
    {
        RVAudioRouting routing(server, hooks);
        routing.init();
        ASSERT_EQ(queued.size(), 2u);
        EXPECT_EQ(queued[0].first, std::chrono::milliseconds(500));
        EXPECT_FALSE(routing.aggregateInputDevcie || routing.aggregateOutputDevice);
        for (auto& [delay, task] : queued)
            task();
        EXPECT_TRUE(routing.aggregateInputDevcie && routing.aggregateOutputDevice);
        // Asked for before the follow-ups ran, the aggregates are found too.
        routing.prepareDevice();
        EXPECT_EQ(routing.switchRecordType(RecordAudioType::Both)->UID, "MR-InputDevice");
        EXPECT_EQ(server.defaultOutput, "MR-OutputDevice");
    }
    for (auto& [delay, task] : queued)
        task(); // the routing is gone: nothing happens
}

TEST_F(AudioRoutingTest, DeviceChangesKeepAConsistentMode) {
    server.remove("usbmic");
    RVAudioRouting routing(server, hooks);
    routing.init();
    routing.switchRecordType(RecordAudioType::Both);
    routing.checkAudioDevice(); // the application's own devices are no change
    EXPECT_TRUE(changes.empty());

    server.remove("mic");
    routing.checkAudioDevice();
    EXPECT_EQ(alerts, 1);
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0], std::make_pair(RecordAudioType::System, std::string("BlackHole2ch_UID.input")));
    EXPECT_EQ(server.count("MR-InputDevice"), 1);

    // A microphone plugged in later is taken over the loop-back input.
    server.add("Desk Microphone", "desk", true);
    routing.checkAudioDevice();
    EXPECT_EQ(alerts, 1);
    EXPECT_EQ(changes.size(), 2u);
    EXPECT_EQ(routing.builtInputDevice->UID, "desk");
    EXPECT_EQ(server.created[server.created.size() - 2].subdevices[0], "desk");
}
