#include "TempHome.h"
#include "app/AppDelegate.h"
#include "app/IndexTables.h"
#include "app/LaunchSettings.h"
#include "app/SettingsSchema.h"
#include "app/SettingsStore.h"
#include "core/EMLog.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <gtest/gtest.h>

namespace S = SettingsKeys;

namespace {

struct Fixture : ::testing::Test {
    TempHome home;
    QString iniPath() const { return home.path() + "/settings.conf"; }
    std::unique_ptr<SettingsStore> store() { return std::make_unique<SettingsStore>(iniPath()); }
    AppProperties load(SettingsStore& s, LaunchHooks hooks = {}) {
        LanguageManager language(s, FRAMEDECK_RESOURCE_DIR, [] { return QStringList{"en-US"}; });
        return loadAtLaunch(s, language, hooks);
    }
};

} // namespace

TEST_F(Fixture, FreshStoreHoldsExactlyTheFirstRunTable) {
    auto s = store();
    const AppProperties p = load(*s);
    s->synchronize();

    QSettings raw(iniPath(), QSettings::IniFormat);
    QStringList expected;
    for (const SettingSpec& spec : settingsSchema())
        if (spec.firstRun.kind != SettingDefault::Kind::None)
            expected << QString::fromUtf8(spec.key.data(), spec.key.size());
    QStringList actual = raw.allKeys();
    expected.sort();
    actual.sort();
    EXPECT_EQ(actual, expected);

    // Values read back with their types.
    EXPECT_TRUE(s->boolForKey(S::IsCaptrueMirrored));
    EXPECT_FALSE(s->boolForKey(S::IsMouseHighlight));
    EXPECT_EQ(s->colorTripleForKey(S::WatermarkColor), (std::array<double, 3>{1, 0, 0}));
    // And the properties that follow from them.
    EXPECT_DOUBLE_EQ(p.fps, 25.0);
    EXPECT_EQ(p.watermarkType, 2u);
    EXPECT_EQ(p.textWatermarkColor, (RGBAColor{1, 0, 0, 1}));
}

TEST_F(Fixture, UpgradeAddsOnlyTheAnnotationHotkey) {
    {
        auto s = store();
        s->setBool(S::IsFirstRun, true);
        s->setInteger(S::EventStartOrStop, 30);
        s->synchronize();
    }
    auto s = store();
    load(*s);
    s->synchronize();
    EXPECT_EQ(s->stringForKey(S::EventShowDrawToolChar), "⌘ 5");
    EXPECT_EQ(s->integerForKey(S::EventShowDrawTool), 23);
    EXPECT_EQ(s->integerForKey(S::EventStartOrStop), 30);
    QSettings raw(iniPath(), QSettings::IniFormat);
    QStringList keys = raw.allKeys();
    keys.sort();
    EXPECT_EQ(keys, (QStringList{"EventShowDrawTool", "EventShowDrawToolChar", "EventStartOrStop",
                                 "IsFirstRun", "Watermark_textString"}));
}

TEST_F(Fixture, LaunchQuirksAreKept) {
    auto s = store();
    s->setBool(S::IsFirstRun, true);
    s->setString(S::EventShowDrawToolChar, "⌘ 5");
    s->setString(S::WatermarkTextString, "my own text");
    s->setDouble(S::AutoStopTime, 45);
    s->setDouble(S::AutoStopFileSize, 0);
    s->setInteger(S::AutoStopFinshIndex, 0);
    s->setColorTriple(S::WatermarkColor, {0.2, 0.4, 0.9});
    s->setInteger(S::FpsItemIndex, 1);
    s->setInteger(S::FramItemIndex, 7);
    s->setString(S::WatermarkFontName, "DejaVu Sans Mono");
    s->setInteger(S::WatermarkPointSize, 33);

    const AppProperties p = load(*s);
    EXPECT_EQ(p.watermarkTextString, "FrameDeck"); // custom text does not survive a restart
    EXPECT_EQ(p.recordEndFileSize, 100);
    EXPECT_EQ(p.recordEndTimeDuration, 0); // a stored limit never survives a restart
    EXPECT_EQ(p.finshpopIndex, 1);
    EXPECT_EQ(p.textWatermarkColor, (RGBAColor{0.2, 0.4, 0.4, 1})); // blue from the green slot
    EXPECT_NEAR(p.fps, 23.976, 1e-4);
    EXPECT_EQ(IndexTables::videoBitrateForQuality(p.framItemIndex), 3000);
    EXPECT_EQ(p.watermarkFontName, "DejaVu Sans Mono");
    EXPECT_EQ(p.watermarkFontSize, 33);

    // A double stored where an integer is read is truncated, not lost.
    s->setDouble(S::AutoStopFileSize, 250.7);
    EXPECT_EQ(load(*s).recordEndFileSize, 250);
}

TEST_F(Fixture, MicrophoneOnlyFallsBackWithoutAMicrophone) {
    auto s = store();
    s->setBool(S::IsFirstRun, true);
    s->setInteger(S::RecordAudioType, 1);
    int appliedVideo = -1;
    unsigned appliedAudio = 99;
    LaunchHooks hooks;
    hooks.applyRecordTypes = [&](int v, unsigned a) {
        appliedVideo = v, appliedAudio = a;
    };

    hooks.hasUsableMicrophone = [] {
        return true;
    };
    EXPECT_EQ(load(*s, hooks).recordAudioType, 1u);
    EXPECT_EQ(appliedAudio, 1u);

    hooks.hasUsableMicrophone = [] {
        return false;
    };
    EXPECT_EQ(load(*s, hooks).recordAudioType, 0u);
    EXPECT_EQ(appliedVideo, 0);
    EXPECT_EQ(appliedAudio, 0u);
    // The stored choice stays: the microphone may be back next time.
    EXPECT_EQ(s->integerForKey(S::RecordAudioType), 1);
}

TEST_F(Fixture, CorruptOrUnreadableFileStartsFromDefaultsAndKeepsTheFile) {
    QFile f(iniPath());
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("[General]\nFpsItemIndex=5\n[Broken\n\x01\x02\xff\xfe garbage = = =\n");
    f.close();
    auto s = store();
    const AppProperties p = load(*s);
    EXPECT_TRUE(s->synchronize());
    EXPECT_EQ(p.fpsItemIndex, 3); // defaults, not half of a broken file
    const QStringList aside = QDir(home.path()).entryList({"settings.conf.corrupt-*"});
    EXPECT_EQ(aside.size(), 1);

    // A file the user cannot read: the application still starts.
    QFile::setPermissions(iniPath(), QFileDevice::Permissions{});
    if (!QFile(iniPath()).open(QIODevice::ReadOnly)) { // root reads anything
        auto locked = store();
        EXPECT_EQ(load(*locked).fpsItemIndex, 3);
    }
    QFile::setPermissions(iniPath(), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

TEST(IndexTables, OutOfRangeIndicesFallBack) {
    EXPECT_DOUBLE_EQ(IndexTables::fpsForIndex(-1), 25.0);
    EXPECT_DOUBLE_EQ(IndexTables::fpsForIndex(6), 25.0);
    EXPECT_EQ(IndexTables::videoBitrateForQuality(-3), 3000);
    EXPECT_EQ(IndexTables::videoTypeForIndex(9), ".mov");
    EXPECT_EQ(IndexTables::audioKindOrDefault(4), 0u);
    // A Chinese-interface index past the end of the English list.
    const QStringList english = IndexTables::timeFramStyles(true);
    EXPECT_EQ(IndexTables::timeFramStyleForIndex(english, 4), english.first());
    EXPECT_EQ(IndexTables::timeFramStyleForIndex(IndexTables::timeFramStyles(false), 4),
              "YYYY年MM月dd日 HH时mm分");
}
