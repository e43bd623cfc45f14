#include "TonePlayer.h"
#include "core/EMLog.h"
#include "engine/audio/AudioDeviceRules.h"
#include "engine/audio/RVAudioRouting.h"
#include "integration/recording/MediaProbe.h"
#include "platform/pulse/PulseSoundServer.h"

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <gtest/gtest.h>
#include <mutex>
#include <set>

namespace {

using probe::env;

EZAudioDevice withUID(const std::string& uid) {
    EZAudioDevice d;
    d.UID = uid;
    return d;
}

// Every test leaves the desktop's server as it found it: modules loaded
// meanwhile are unloaded, the defaults set back.
class PulseRoutingTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (env("FRAMEDECK_DESKTOP_DIR").empty())
            GTEST_SKIP() << "not on the test desktop (scripts/test-desktop run -- ctest …)";
        modulesBefore = moduleIndexes();
        ASSERT_FALSE(modulesBefore.empty());
        sourceBefore = server.defaultInputUID();
        sinkBefore = server.defaultOutputUID();
    }
    void TearDown() override {
        if (modulesBefore.empty())
            return;
        auto modules = server.listModules();
        std::sort(modules.begin(), modules.end(), [](auto& a, auto& b) { return a.index > b.index; });
        for (const auto& m : modules)
            if (!modulesBefore.contains(m.index))
                server.unloadModule(m.index);
        server.setDefaultInput(withUID(sourceBefore));
        server.setDefaultOutput(withUID(sinkBefore));
    }
    std::set<uint32_t> moduleIndexes() {
        std::set<uint32_t> out;
        for (const auto& m : server.listModules())
            out.insert(m.index);
        return out;
    }
    void expectOneOfEach() {
        const auto all = server.listDevices();
        for (const auto& [name, input] : {std::pair{"BlackHole 2ch", true},
                                          {"BlackHole 2ch", false},
                                          {"MR-InputDevice", true},
                                          {"MR-OutputDevice", false}})
            EXPECT_EQ(
                std::count_if(all.begin(), all.end(),
                              [&](auto& d) { return d.name == name && (d.inputChannelCount > 0) == input; }),
                1)
                << name;
    }

    PulseSoundServer server;
    std::set<uint32_t> modulesBefore;
    std::string sourceBefore, sinkBefore;
    const std::string mic = env("FRAMEDECK_DESKTOP_MIC"), sink = env("FRAMEDECK_DESKTOP_SINK");
};

} // namespace

TEST_F(PulseRoutingTest, ListsTheDesktopDevices) {
    const auto speakers = EZAudioDevice::currentOutputDevice(server);
    ASSERT_TRUE(speakers);
    EXPECT_EQ(speakers->UID + "/" + speakers->name, sink + "/Speakers");
    EXPECT_TRUE(EZAudioDevice::isBuiltInDevice(*speakers));
    EXPECT_EQ(speakers->inputChannelCount, 0);
    const auto microphone = EZAudioDevice::currentInputDevice(server);
    ASSERT_TRUE(microphone);
    EXPECT_EQ(microphone->UID + "/" + microphone->name, mic + "/Fake microphone");
    EXPECT_TRUE(EZAudioDevice::isBuiltInDevice(*microphone));
    for (const auto& d : EZAudioDevice::inputDevices(server)) // monitors are no inputs
        EXPECT_EQ(d.UID.find(".monitor"), std::string::npos) << d.description();
}

TEST_F(PulseRoutingTest, LeftoversOfACrashAreReplacedAndQuitRemovesEverything) {
    {
        RVAudioRouting crashed(server); // never quits
        crashed.init();
        crashed.switchRecordType(RecordAudioType::Both);
    }
    RVAudioRouting routing(server);
    routing.init();
    expectOneOfEach();
    EXPECT_EQ(routing.builtInputDevice->UID + routing.builtOutputDevice->UID, mic + sink);
    routing.destroyDevicesAtQuit();
    for (const auto& d : server.listDevices())
        EXPECT_FALSE(AudioDeviceRules::isAppDevice(d)) << d.description();
    EXPECT_EQ(moduleIndexes(), modulesBefore);
}

// 440 Hz in the microphone; 1 kHz of system audio played to the default
// output, which the routing made the output aggregate. The quit gives back
// the defaults of start-up.
TEST_F(PulseRoutingTest, EachAudioKindHearsWhatItMustAndQuitGivesBackTheDefaults) {
    RVAudioRouting routing(server);
    routing.init();
    routing.switchRecordType(RecordAudioType::System);
    TonePlayer microphone(env("FRAMEDECK_DESKTOP_MIC_FEED"), 440);
    TonePlayer system("", 1000);
    // A clean tone measures 0.3; a busy machine drops pieces of it.
    constexpr double present = 0.03, absent = 0.01, seconds = 15;
    struct Kind {
        RecordAudioType type;
        bool hears440, hears1000;
    };
    for (const Kind kind :
         {Kind{RecordAudioType::System, false, true}, Kind{RecordAudioType::Microphone, true, false},
          Kind{RecordAudioType::Both, true, true}}) {
        const auto input = routing.switchRecordType(kind.type);
        ASSERT_TRUE(input);
        ToneLevels last;
        EXPECT_TRUE(recordUntil(
            input->UID, seconds,
            [&](const ToneLevels& l) {
                return (kind.hears440 ? l.at440 > present : l.at440 < absent) &&
                       (kind.hears1000 ? l.at1000 > present : l.at1000 < absent);
            },
            last))
            << "kind " << toInt(kind.type) << " from " << input->UID << ": 440 Hz " << last.at440
            << ", 1 kHz " << last.at1000;
    }
    // The user still hears system audio.
    ToneLevels last;
    EXPECT_TRUE(recordUntil(
        sink + ".monitor", seconds, [&](auto& l) { return l.at1000 > present; }, last));
    EXPECT_FALSE(microphone.failed() || system.failed());
    EXPECT_EQ(server.defaultInputUID() + server.defaultOutputUID(), "MR-InputDeviceMR-OutputDevice");
    routing.destroyDevicesAtQuit();
    EXPECT_EQ(server.defaultInputUID() + server.defaultOutputUID(), mic + sink);
    EXPECT_EQ(moduleIndexes(), modulesBefore);
}

TEST_F(PulseRoutingTest, AVanishedMicrophoneLeavesAConsistentMode) {
    // A microphone of this test's own; the desktop's stays for the others.
    uint32_t feed = 0, source = 0;
    ASSERT_EQ(server.loadModule("module-null-sink", "sink_name=fdtest_feed", &feed), 0);
    ASSERT_EQ(
        server.loadModule("module-remap-source",
                          "master=fdtest_feed.monitor source_name=fdtest_mic source_properties=\"device."
                          "description='Test Microphone' device.form_factor=internal\"",
                          &source),
        0);
    ASSERT_EQ(server.setDefaultInput(withUID("fdtest_mic")), 0);
    std::mutex mutex;
    std::condition_variable changed;
    bool event = false;
    server.setDevicesChangedHandler([&] {
        std::lock_guard lock(mutex);
        event = true;
        changed.notify_all();
    });
    std::vector<std::pair<RecordAudioType, std::string>> routed;
    RVAudioRouting::Hooks hooks;
    hooks.showMicrophoneAlert = [] {
        ADD_FAILURE() << "another microphone is there";
    };
    hooks.audioRoutingChanged = [&](RecordAudioType type, const std::optional<EZAudioDevice>& input) {
        routed.emplace_back(type, input ? input->UID : "");
    };
    RVAudioRouting routing(server, hooks);
    routing.init();
    ASSERT_EQ(routing.builtInputDevice->UID, "fdtest_mic");
    routing.switchRecordType(RecordAudioType::Both);
    {
        std::lock_guard lock(mutex);
        event = false; // events of the routing's own loads came before the replies
    }
    ASSERT_EQ(server.unloadModule(source), 0);
    ASSERT_EQ(server.unloadModule(feed), 0);
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return event; });
    }
    server.setDevicesChangedHandler({});
    routing.checkAudioDevice();

    // The desktop's microphone takes over; the kind stays "both".
    EXPECT_EQ(routed, (decltype(routed){{RecordAudioType::Both, "MR-InputDevice"}}));
    EXPECT_EQ(routing.builtInputDevice->UID, mic);
    EXPECT_EQ(server.defaultInputUID(), "MR-InputDevice");
    expectOneOfEach();
    routing.destroyDevicesAtQuit();
}

// Needs no desktop: nothing listens on the socket.
TEST(PulseUnreachable, IsAnErrorCodeNotAHang) {
    const std::string saved = env("PULSE_SERVER");
    setenv("PULSE_SERVER", "unix:/nonexistent/framedeck-test/native", 1);
    EMLog::setEchoToStderr(false);
    {
        PulseSoundServer server;
        EXPECT_TRUE(server.listDevices().empty());
        EXPECT_NE(server.loadLoopbackDevice(), 0);
        RVAudioRouting routing(server);
        routing.init();
        EXPECT_EQ(routing.prepareDevice(), AudioDeviceRules::kResultNoMicrophone);
        EXPECT_FALSE(routing.switchRecordType(RecordAudioType::System));
        routing.destroyDevicesAtQuit();
    }
    EMLog::setEchoToStderr(true);
    saved.empty() ? unsetenv("PULSE_SERVER") : setenv("PULSE_SERVER", saved.c_str(), 1);
}
