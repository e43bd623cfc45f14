#include "app/SettingsSchema.h"

namespace {

using K = SettingDefault::Kind;
using T = SettingType;

constexpr SettingDefault none() {
    return {};
}
constexpr SettingDefault number(double v) {
    return {K::Number, v, {}, {}};
}
constexpr SettingDefault text(std::string_view v) {
    return {K::Text, 0, v, {}};
}
constexpr SettingDefault triple(double r, double g, double b) {
    return {K::Triple, 0, {}, {r, g, b}};
}
constexpr SettingDefault appName() {
    return {K::LocalizedAppName, 0, {}, {}};
}

namespace S = SettingsKeys;

constexpr std::array kSchema = {
    // First-run defaults, in the order they are written.
    SettingSpec{S::IsFirstRun, T::Bool, number(1)},
    SettingSpec{S::EventStartOrStop, T::Integer, number(18)},
    SettingSpec{S::EventResumeOrPause, T::Integer, number(19)},
    SettingSpec{S::EventOnOrOffCaptrue, T::Integer, number(20)},
    SettingSpec{S::EventScreenshot, T::Integer, number(21)},
    SettingSpec{S::EventShowDrawTool, T::Integer, number(23)},
    SettingSpec{S::EventStartOrStopChar, T::String, text("⌘ 1")},
    SettingSpec{S::EventResumeOrPauseChar, T::String, text("⌘ 2")},
    SettingSpec{S::EventOnOrOffCaptrueChar, T::String, text("⌘ 3")},
    SettingSpec{S::EventScreenshotChar, T::String, text("⌘ 4")},
    SettingSpec{S::EventShowDrawToolChar, T::String, text("⌘ 5")},
    SettingSpec{S::WatermarkColor, T::ColorTriple, triple(1, 0, 0)},
    SettingSpec{S::WatermarkAlpha, T::Float, number(1)},
    SettingSpec{S::WatermarkShadow, T::Bool, number(0)},
    SettingSpec{S::WatermarkScale, T::Float, number(1)},
    SettingSpec{S::WatermarkIsShow, T::Bool, number(0)},
    SettingSpec{S::WatermarkTextString, T::String, appName()},
    SettingSpec{S::TimeFramStyleIndex, T::Integer, number(0)},
    SettingSpec{S::IsShowMouse, T::Bool, number(1)},
    SettingSpec{S::IsMouseClickEffect, T::Bool, number(1)},
    SettingSpec{S::IsMouseHighlight, T::Bool, number(0)},
    SettingSpec{S::IsShowReverseTime, T::Bool, number(1)},
    SettingSpec{S::FramItemIndex, T::Integer, number(1)},
    SettingSpec{S::FpsItemIndex, T::Integer, number(3)},
    SettingSpec{S::VideoTypeIndex, T::Integer, number(0)},
    SettingSpec{S::AudioTypeIndex, T::Integer, number(0)},
    SettingSpec{S::RecordAudioType, T::UnsignedInteger, number(0)},
    SettingSpec{S::WatermarkType, T::UnsignedInteger, number(2)},
    SettingSpec{S::IsCaptrueMirrored, T::Bool, number(1)},
    // Keys without a first-run value: absent until something writes them.
    SettingSpec{S::WatermarkCenterX, T::Float, none()},
    SettingSpec{S::WatermarkCenterY, T::Float, none()},
    SettingSpec{S::WatermarkImagePath, T::String, none()},
    SettingSpec{S::WatermarkFontName, T::String, none()},
    SettingSpec{S::WatermarkPointSize, T::Integer, none()},
    SettingSpec{S::AutoStopTime, T::Double, none()},
    SettingSpec{S::AutoStopFileSize, T::Double, none()},
    SettingSpec{S::AutoStopType, T::Bool, none()},
    SettingSpec{S::AutoStopEveryTime, T::Bool, none()},
    SettingSpec{S::AutoStopFinshIndex, T::Integer, none()},
    SettingSpec{S::IsAutoStop, T::Bool, none()},
    SettingSpec{S::StartItemIndex, T::Integer, none()},
    SettingSpec{S::RecordTimeDuration, T::Integer, none()},
    SettingSpec{S::SplitType, T::Integer, none()},
    SettingSpec{S::SplitTime, T::Integer, none()},
    SettingSpec{S::SplitSize, T::Integer, none()},
    SettingSpec{S::SplitAlway, T::Bool, none()},
    SettingSpec{S::AppLanguage, T::Integer, none()},
    SettingSpec{S::IsLanguageChanged, T::Bool, none()},
    SettingSpec{S::Linewidth, T::Double, none()},
    SettingSpec{S::LineColor, T::ColorDictionary, none()},
    SettingSpec{S::DrawTextFontName, T::String, none()},
    SettingSpec{S::DrawTextFontSize, T::Float, none()},
};

} // namespace

std::span<const SettingSpec> settingsSchema() {
    return kSchema;
}

const SettingSpec* findSetting(std::string_view key) {
    for (const SettingSpec& spec : kSchema)
        if (spec.key == key)
            return &spec;
    return nullptr;
}
