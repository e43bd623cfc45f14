#pragma once

#include <array>
#include <span>
#include <string_view>

// Every key of the per-user store, declared once. The first-run writer, the
// launch load and the tests all read this table, so a key, its type and its
// first-run default are never spelled twice.
//
// Key spellings ("Captrue", "Fram", "Finsh", "Alway") are the stored format:
// correcting them would orphan every existing user's settings.

enum class SettingType {
    Bool,
    Integer,
    UnsignedInteger,
    Float,
    Double,
    String,
    ColorTriple,
    ColorDictionary
};

struct SettingDefault {
    enum class Kind { None, Number, Text, Triple, LocalizedAppName };
    Kind kind = Kind::None;
    double number = 0;
    std::string_view text{};
    std::array<double, 3> triple{};
};

struct SettingSpec {
    std::string_view key;
    SettingType type;
    SettingDefault firstRun; // Kind::None: no first-run value, the key stays absent
};

// The rows with a first-run default come first, in the order the first-run
// writer stores them; the others follow in no particular order.
std::span<const SettingSpec> settingsSchema();

// The row of `key`, or nullptr for a key the application does not own.
const SettingSpec* findSetting(std::string_view key);

namespace SettingsKeys {
inline constexpr std::string_view IsFirstRun = "IsFirstRun";
inline constexpr std::string_view FramItemIndex = "FramItemIndex";
inline constexpr std::string_view FpsItemIndex = "FpsItemIndex";
inline constexpr std::string_view VideoTypeIndex = "VideoTypeIndex";
inline constexpr std::string_view AudioTypeIndex = "AudioTypeIndex";
inline constexpr std::string_view RecordAudioType = "RecordAudioType";
inline constexpr std::string_view IsCaptrueMirrored = "IsCaptrueMirrored";
inline constexpr std::string_view IsShowMouse = "IsShowMouse";
inline constexpr std::string_view IsMouseHighlight = "IsMouseHighlight";
inline constexpr std::string_view IsMouseClickEffect = "IsMouseClickEffect";
inline constexpr std::string_view IsShowReverseTime = "IsShowReverseTime";
inline constexpr std::string_view TimeFramStyleIndex = "TimeFramStyleIndex";
inline constexpr std::string_view WatermarkType = "Watermark_Type";
inline constexpr std::string_view WatermarkTextString = "Watermark_textString";
inline constexpr std::string_view WatermarkColor = "Watermark_color";
inline constexpr std::string_view WatermarkAlpha = "Watermark_alpha";
inline constexpr std::string_view WatermarkScale = "Watermark_scale";
inline constexpr std::string_view WatermarkCenterX = "Watermark_center_x";
inline constexpr std::string_view WatermarkCenterY = "Watermark_center_y";
inline constexpr std::string_view WatermarkImagePath = "Watermark_imagePath";
inline constexpr std::string_view WatermarkFontName = "Watermark_fontName";
inline constexpr std::string_view WatermarkPointSize = "Watermark_pointSize";
inline constexpr std::string_view WatermarkIsShow = "Watermark_isShow";
inline constexpr std::string_view WatermarkShadow = "Watermark_shadow";
inline constexpr std::string_view EventStartOrStop = "EventStartOrStop";
inline constexpr std::string_view EventResumeOrPause = "EventResumeOrPause";
inline constexpr std::string_view EventOnOrOffCaptrue = "EventOnOrOffCaptrue";
inline constexpr std::string_view EventScreenshot = "EventScreenshot";
inline constexpr std::string_view EventShowDrawTool = "EventShowDrawTool";
inline constexpr std::string_view EventStartOrStopChar = "EventStartOrStopChar";
inline constexpr std::string_view EventResumeOrPauseChar = "EventResumeOrPauseChar";
inline constexpr std::string_view EventOnOrOffCaptrueChar = "EventOnOrOffCaptrueChar";
inline constexpr std::string_view EventScreenshotChar = "EventScreenshotChar";
inline constexpr std::string_view EventShowDrawToolChar = "EventShowDrawToolChar";
inline constexpr std::string_view AutoStopTime = "AutoStop_Time";
inline constexpr std::string_view AutoStopFileSize = "AutoStop_FileSize";
inline constexpr std::string_view AutoStopType = "AutoStop_Type";
inline constexpr std::string_view AutoStopEveryTime = "AutoStop_EveryTime";
inline constexpr std::string_view AutoStopFinshIndex = "AutoStop_FinshIndex";
inline constexpr std::string_view IsAutoStop = "IsAutoStop";
inline constexpr std::string_view StartItemIndex = "StartItemIndex";
inline constexpr std::string_view RecordTimeDuration = "RECORDTIME_DURATION";
inline constexpr std::string_view SplitType = "SplitType";
inline constexpr std::string_view SplitTime = "SplitTime";
inline constexpr std::string_view SplitSize = "SplitSize";
inline constexpr std::string_view SplitAlway = "SplitAlway";
inline constexpr std::string_view AppLanguage = "AppLanguage";
inline constexpr std::string_view IsLanguageChanged = "isLanguageChanged";
inline constexpr std::string_view Linewidth = "Linewidth";
inline constexpr std::string_view LineColor = "LineColor";
inline constexpr std::string_view DrawTextFontName = "DrawTextFontName";
inline constexpr std::string_view DrawTextFontSize = "DrawTextFontSize";
// Not one of the application's own keys: the preferred-language list that
// the language switch writes and the language look-up reads.
inline constexpr std::string_view AppleLanguages = "AppleLanguages";
} // namespace SettingsKeys
