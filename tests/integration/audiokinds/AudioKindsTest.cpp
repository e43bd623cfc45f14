// `framedeck record --audio system|mic|both|none` on the test desktop: a
// 1 kHz tone played to the default output stands for what the computer plays,
// a 440 Hz tone fed into the fake microphone for the user's voice. Each file
// must hold what its kind asks for and nothing else, and the sound server must
// be left as it was found.
#include "integration/pulse/TonePlayer.h"
#include "integration/recording/MediaProbe.h"

#include <QTemporaryDir>
#include <chrono>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <sstream>
#include <thread>

using namespace std::chrono_literals;

namespace {

const std::string kFramedeck = FRAMEDECK_BINARY_DIR "/bin/framedeck";
constexpr int kRate = 48000;
// TonePlayer plays at 0.3 of full scale, and a routed tone arrives at about
// that level; mixing may halve it. A tone that leaked through a wrong route
// would still be far above the absent limit (silence measures about 1e-6).
constexpr double kPresentAmplitude = 0.1;
constexpr double kAbsentAmplitude = 0.003;

struct Tones {
    double at440 = 0, at1000 = 0, rms = 0;
    // Share of the signal's power the two tones account for.
    double toneShare() const { return rms > 0 ? (at440 * at440 + at1000 * at1000) / 2 / (rms * rms) : 0; }
};

// The tones in the last `seconds` of the file's sound, mixed down to mono.
Tones lastSecondsOf(const std::string& file, double seconds) {
    const std::string bytes =
        probe::run("ffmpeg -v error -i " + probe::quote(file) + " -vn -f s16le -ac 1 -ar 48000 -");
    const std::size_t count = bytes.size() / 2, keep = static_cast<std::size_t>(seconds * kRate);
    std::vector<double> samples;
    double power = 0;
    for (std::size_t i = count > keep ? count - keep : 0; i < count; ++i) {
        int16_t v;
        std::memcpy(&v, bytes.data() + i * 2, 2);
        samples.push_back(v / 32768.0);
        power += samples.back() * samples.back();
    }
    if (samples.empty())
        return {};
    return {toneAmplitude(samples, 440), toneAmplitude(samples, 1000),
            std::sqrt(power / static_cast<double>(samples.size()))};
}

struct Kind {
    const char* name;
    bool system, mic;
};

class AudioKinds : public ::testing::TestWithParam<Kind> {
protected:
    void SetUp() override {
        if (probe::env("FRAMEDECK_DESKTOP_DIR").empty())
            GTEST_SKIP() << "not on the test desktop (scripts/test-desktop run -- ctest …)";
        ASSERT_TRUE(dir.isValid());
        sinkBefore = pactl("get-default-sink");
        sourceBefore = pactl("get-default-source");
        ASSERT_FALSE(sinkBefore.empty());
        EXPECT_EQ(ourModules(), "") << "left over from an earlier run";
    }
    std::string path(const std::string& name) const {
        return dir.filePath(QString::fromStdString(name)).toStdString();
    }
    static std::string pactl(const std::string& args) {
        std::string out = probe::run("pactl " + args);
        while (!out.empty() && out.back() == '\n')
            out.pop_back();
        return out;
    }
    // The module lines that belong to the recorder's routing.
    static std::string ourModules() {
        std::istringstream lines(pactl("list short modules"));
        std::string found;
        for (std::string line; std::getline(lines, line);)
            for (const char* mark : {"BlackHole2ch_UID", "MR-InputDevice", "MR-OutputDevice"})
                if (line.find(mark) != std::string::npos) {
                    found += line + "\n";
                    break;
                }
        return found;
    }
    // The sound server as the recorder left it while recording, for failures.
    static std::string serverState() {
        return "modules:\n" + pactl("list short modules") + "\nsinks:\n" + pactl("list short sinks") +
               "\nsources:\n" + pactl("list short sources") + "\ndefaults: " + pactl("get-default-sink") +
               " / " + pactl("get-default-source") + "\n";
    }

    QTemporaryDir dir;
    std::string sinkBefore, sourceBefore;
};

TEST_P(AudioKinds, RecordsItsSourcesOnlyAndLeavesTheServerAsFound) {
    const Kind kind = GetParam();
    const bool audio = kind.system || kind.mic;
    // With no sound an audio-only file has nothing to hold: that kind records
    // the screen instead.
    const std::string out = path(audio ? "out.wav" : "out.mp4");
    const std::string log = path("record.log");
    std::vector<std::string> argv{kFramedeck,  "record", "--audio",  kind.name,
                                  "--seconds", "4",      "--output", out};
    if (audio)
        argv.insert(argv.end(), {"--mode", "audio", "--format", "wav"});
    else
        argv.insert(argv.end(), {"--mode", "full", "--fps", "10"});

    TonePlayer voice(probe::env("FRAMEDECK_DESKTOP_MIC_FEED"), 440);
    probe::Child recorder(argv, {}, log);
    ASSERT_TRUE(probe::waitForLog(recorder, log)) << probe::readFile(log);
    std::string during;
    {
        // Opened after the start, on the default output, as an application
        // would: the routing has made that the output aggregate by now.
        TonePlayer played("", 1000);
        std::this_thread::sleep_for(1s);
        during = serverState();
        ASSERT_EQ(recorder.wait(), 0) << probe::readFile(log);
        EXPECT_FALSE(played.failed());
    }
    EXPECT_FALSE(voice.failed());
    const std::string context =
        "recorder log:\n" + probe::readFile(log) + "\nduring the recording:\n" + during;

    const probe::Media media = probe::probe(out);
    if (!audio) {
        EXPECT_TRUE(media.stream("video")) << context;
        EXPECT_FALSE(media.stream("audio")) << context;
    } else {
        ASSERT_TRUE(media.stream("audio")) << context;
        EXPECT_FALSE(media.stream("video")) << context;
        EXPECT_NEAR(media.duration, 4, 0.25) << context;
        // The tone starts a little after the encoder; the end is all tone.
        const Tones tones = lastSecondsOf(out, 2);
        SCOPED_TRACE("440 Hz " + std::to_string(tones.at440) + ", 1 kHz " + std::to_string(tones.at1000) +
                     ", rms " + std::to_string(tones.rms) + "\n" + context);
        for (const auto& [tone, level, wanted] :
             {std::tuple{"1 kHz", tones.at1000, kind.system}, {"440 Hz", tones.at440, kind.mic}}) {
            if (wanted)
                EXPECT_GT(level, kPresentAmplitude) << tone;
            else
                EXPECT_LT(level, kAbsentAmplitude) << tone;
        }
        // Whatever else is in there (noise, a wrong device) stays small.
        EXPECT_GT(tones.toneShare(), 0.9);
    }

    EXPECT_EQ(ourModules(), "") << context;
    EXPECT_EQ(pactl("get-default-sink"), sinkBefore) << context;
    EXPECT_EQ(pactl("get-default-source"), sourceBefore) << context;
}

INSTANTIATE_TEST_SUITE_P(EachKind, AudioKinds,
                         ::testing::Values(Kind{"system", true, false}, Kind{"mic", false, true},
                                           Kind{"both", true, true}, Kind{"none", false, false}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
