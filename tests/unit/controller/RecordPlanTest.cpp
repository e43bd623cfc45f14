#include "cli/OverlayKeyValueStore.h"
#include "cli/RecordCommand.h"

#include <gtest/gtest.h>

namespace {

std::optional<RecordOptions> parse(std::vector<std::string> args, std::string* error = nullptr) {
    std::string message;
    auto options = parseRecordOptions(args, message);
    if (error)
        *error = message;
    return options;
}

} // namespace

TEST(RecordOptions, BadFlagsAreRefusedWithTheirName) {
    std::string error;
    EXPECT_FALSE(parse({"--bogus", "1"}, &error));
    EXPECT_NE(error.find("--bogus"), std::string::npos);
    EXPECT_FALSE(parse({"--mode"}, &error));
    EXPECT_NE(error.find("needs a value"), std::string::npos);
    EXPECT_FALSE(parse({"--mode", "screen"}));
    EXPECT_FALSE(parse({"--area", "1,2,3"}));
    EXPECT_FALSE(parse({"--area", "1,2,3,4,5"}));
    EXPECT_FALSE(parse({"--area", "0,0,1,10"})) << "a one-pixel-wide area";
    EXPECT_FALSE(parse({"--fps", "0"}));
    EXPECT_FALSE(parse({"--seconds", "-1"}));
    EXPECT_FALSE(parse({"--format", "mkv"}));
    EXPECT_FALSE(parse({"--split-time", "10", "--split-size", "5"}));
    EXPECT_FALSE(parse({"stray"}));
    EXPECT_FALSE(parse({"--backend", "wayland"}, &error));
    EXPECT_NE(error.find("x11 or portal"), std::string::npos);
    EXPECT_EQ(*parse({"--backend", "portal"})->backend, "portal");

    auto ok = parse({"--area", "10,20,300,200", "--window", "0x1a00003", "--fps", "12.5"});
    ASSERT_TRUE(ok);
    EXPECT_EQ(*ok->area, (RVRect{10, 20, 300, 200}));
    EXPECT_EQ(*ok->window, 0x1a00003u);
    EXPECT_DOUBLE_EQ(*ok->fps, 12.5);
}

TEST(RecordPlan, StoredSettingsApplyAndFlagsOverrideWithoutWritingBack) {
    MemoryKeyValueStore user;
    user.setInteger("FpsItemIndex", 0);   // 20 fps
    user.setInteger("FramItemIndex", 2);  // 3000
    user.setInteger("VideoTypeIndex", 1); // .mp4
    user.setInteger("RecordAudioType", 1);
    OverlayKeyValueStore settings(user);

    RecordPlan plan;
    std::string error;
    ASSERT_TRUE(buildRecordPlan(*parse({}), settings, plan, error)) << error;
    EXPECT_EQ(plan.request.recordVideoType, RecordVideoType::FullScreen);
    EXPECT_EQ(plan.request.recordAudioType, RecordAudioType::Microphone);
    EXPECT_DOUBLE_EQ(plan.request.fps, 20);
    EXPECT_EQ(plan.request.videoBitrate, 3000);
    EXPECT_EQ(plan.extension, ".mp4");

    RecordPlan flagged;
    ASSERT_TRUE(buildRecordPlan(*parse({"--area", "0,0,64,48", "--quality", "original", "--fps", "30",
                                        "--split-time", "60", "--audio", "none", "--format", "mov"}),
                                settings, flagged, error))
        << error;
    EXPECT_EQ(flagged.request.recordVideoType, RecordVideoType::CustomArea) << "--area implies the area kind";
    EXPECT_EQ(flagged.request.videoBitrate, 8000);
    EXPECT_DOUBLE_EQ(flagged.request.fps, 30);
    EXPECT_EQ(flagged.request.splitTime, 60);
    EXPECT_EQ(settings.integerForKey("SplitType"), 1);
    EXPECT_FALSE(user.hasKey("SplitType")) << "a flag reached the user's settings";
    EXPECT_EQ(flagged.extension, ".mov");
}

TEST(RecordPlan, ContainerMustFitTheKind) {
    MemoryKeyValueStore user;
    OverlayKeyValueStore settings(user);
    RecordPlan plan;
    std::string error;
    EXPECT_FALSE(buildRecordPlan(*parse({"--format", "mp3"}), settings, plan, error));
    EXPECT_FALSE(buildRecordPlan(*parse({"--mode", "audio", "--format", "mp4"}), settings, plan, error));
    EXPECT_FALSE(buildRecordPlan(*parse({"--mode", "audio", "--audio", "none"}), settings, plan, error));
    EXPECT_FALSE(buildRecordPlan(*parse({"--output", "/tmp/a.wav", "--format", "mp3", "--mode", "audio"}),
                                 settings, plan, error));
    EXPECT_FALSE(buildRecordPlan(*parse({"--mode", "area"}), settings, plan, error));

    ASSERT_TRUE(
        buildRecordPlan(*parse({"--mode", "audio", "--output", "/tmp/x/a.WAV"}), settings, plan, error))
        << error;
    EXPECT_EQ(plan.extension, ".wav");
    EXPECT_FALSE(plan.isVideo);
    EXPECT_EQ(plan.request.outputPath, "/tmp/x/a.WAV");
}
