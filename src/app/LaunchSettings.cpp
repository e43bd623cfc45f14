#include "app/LaunchSettings.h"

#include "app/IndexTables.h"
#include "app/LanguageManager.h"
#include "app/SettingsSchema.h"
#include "core/EMLog.h"
#include "core/Saturating.h"
#include "engine/RecordRequest.h"

namespace S = SettingsKeys;

namespace {

constexpr long long kDefaultAutoStopSeconds = 600;
constexpr long long kDefaultAutoStopMegabytes = 100;
constexpr int kDefaultWatermarkFontSize = 20;
// A named font without a stored size gets the desktop's usual text size.
constexpr int kFallbackFontPointSize = 12;

void writeDefault(SettingsStore& store, const SettingSpec& spec, const QString& appName) {
    const SettingDefault& d = spec.firstRun;
    switch (d.kind) {
    case SettingDefault::Kind::None:
        return;
    case SettingDefault::Kind::Text:
        store.setString(spec.key, d.text);
        return;
    case SettingDefault::Kind::LocalizedAppName:
        store.setString(spec.key, appName.toStdString());
        return;
    case SettingDefault::Kind::Triple:
        store.setColorTriple(spec.key, d.triple);
        return;
    case SettingDefault::Kind::Number:
        switch (spec.type) {
        case SettingType::Bool:
            store.setBool(spec.key, d.number != 0);
            return;
        case SettingType::Float:
        case SettingType::Double:
            store.setDouble(spec.key, d.number);
            return;
        default:
            store.setInteger(spec.key, static_cast<long long>(d.number));
            return;
        }
    }
}

} // namespace

void readWatermarkProperties(const SettingsStore& store, AppProperties& p) {
    // Text watermark font.
    p.watermarkFontName.clear();
    p.watermarkFontSize = kDefaultWatermarkFontSize;
    if (store.hasKey(S::WatermarkFontName)) {
        p.watermarkFontName = store.qstringForKey(S::WatermarkFontName);
        p.watermarkFontSize = static_cast<int>(store.integerForKey(S::WatermarkPointSize));
        if (p.watermarkFontSize <= 0)
            p.watermarkFontSize = kFallbackFontPointSize;
    }
    // Text watermark colour. Blue is read from the green slot: existing
    // users' watermarks look the way they always have, so keep it.
    if (const auto rgb = store.colorTripleForKey(S::WatermarkColor))
        p.textWatermarkColor = {(*rgb)[0], (*rgb)[1], (*rgb)[1], 1.0};
    else
        p.textWatermarkColor = {0, 0, 0, 1.0};
    p.timeFramStyleIndex = store.integerForKey(S::TimeFramStyleIndex);
    p.watermarkAlpha = saturatingFloat(store.doubleForKey(S::WatermarkAlpha));
    p.isWatermarkShadow = store.boolForKey(S::WatermarkIsShow);
    p.watermarkTextString = store.qstringForKey(S::WatermarkTextString);
    p.watermarkType = static_cast<unsigned>(store.integerForKey(S::WatermarkType));
}

void writeFirstRunDefaults(SettingsStore& store, const QString& appName) {
    for (const SettingSpec& spec : settingsSchema())
        writeDefault(store, spec, appName);
}

SplitLengths launchSplitLengths(const KeyValueStore& store) {
    SplitLengths lengths;
    if (const auto time = store.integerForKey(S::SplitTime); time != 0)
        lengths.splitTime = static_cast<int>(time);
    if (const auto size = store.integerForKey(S::SplitSize); size != 0)
        lengths.splitSize = static_cast<int>(size);
    return lengths;
}

AppProperties loadAtLaunch(SettingsStore& store, const LanguageManager& language, const LaunchHooks& hooks) {
    const QString appName = language.localizedStringForKey("Meun_App");

    // 1. A custom watermark text does not survive a restart.
    store.setString(S::WatermarkTextString, appName.toStdString());

    // 2. First run.
    if (!store.boolForKey(S::IsFirstRun)) {
        EMLog::showMessage("%s %d first run: writing default settings", __func__, __LINE__);
        writeFirstRunDefaults(store, appName);
    }

    // 3. Settings from a version without the annotation hotkey gain it.
    if (!store.hasKey(S::EventShowDrawToolChar)) {
        store.setString(S::EventShowDrawToolChar, "⌘ 5");
        store.setInteger(S::EventShowDrawTool, 23);
    }

    // 4. The controller's properties.
    AppProperties p;

    // 5. Auto stop.
    p.recordEndTimeDuration = store.integerForKey(S::AutoStopTime);
    if (p.recordEndTimeDuration == 0)
        p.recordEndTimeDuration = kDefaultAutoStopSeconds;
    p.recordEndFileSize = store.integerForKey(S::AutoStopFileSize);
    if (p.recordEndFileSize == 0)
        p.recordEndFileSize = kDefaultAutoStopMegabytes;
    p.isRecordEndSizeType = store.boolForKey(S::AutoStopType);
    p.everyTime = store.boolForKey(S::AutoStopEveryTime);
    p.finshpopIndex = store.integerForKey(S::AutoStopFinshIndex);
    p.autoStop_withTime = p.everyTime;
    if (p.finshpopIndex == 0)
        p.finshpopIndex = 1;

    // 6. The recording controller: full screen, and the stored audio kind,
    //    unless it asks for a microphone that is not there.
    p.recordVideoType = 0;
    p.recordAudioType = IndexTables::audioKindOrDefault(store.integerForKey(S::RecordAudioType));
    if (p.recordAudioType == toInt(RecordAudioType::Microphone) && hooks.hasUsableMicrophone &&
        !hooks.hasUsableMicrophone()) {
        EMLog::showMessage("%s %d no microphone found, recording system audio instead", __func__, __LINE__);
        p.recordAudioType = toInt(RecordAudioType::System);
    }
    if (hooks.applyRecordTypes)
        hooks.applyRecordTypes(p.recordVideoType, p.recordAudioType);

    // 7. Video choices.
    p.framItemIndex = store.integerForKey(S::FramItemIndex);
    p.fpsItemIndex = store.integerForKey(S::FpsItemIndex);
    p.videoTypeBoxIndex = store.integerForKey(S::VideoTypeIndex);
    p.isMouseHight = store.boolForKey(S::IsMouseHighlight);
    p.isShowMouse = store.boolForKey(S::IsShowMouse);
    p.isMouseClickEffect = store.boolForKey(S::IsMouseClickEffect);
    p.isShowReverseTime = store.boolForKey(S::IsShowReverseTime);

    // 8. The duration limit starts unset on every launch, whatever step 5 read.
    p.recordEndTimeDuration = 0;

    // 9.-11. The watermark.
    readWatermarkProperties(store, p);
    p.endTimeType = 0;
    p.isResetEventMonitor = false;
    p.audioExtensionIndex = store.integerForKey(S::AudioTypeIndex);
    p.isCaptrueMirror = store.boolForKey(S::IsCaptrueMirrored);

    // 12. The fixed lists; the time formats follow the interface language.
    p.audioExtensions = IndexTables::audioExtensions();
    p.videoTypes = IndexTables::videoTypes();
    p.fpsTitles = IndexTables::fpsTitles();
    p.timeFramStyles = IndexTables::timeFramStyles(language.isEnglishLanguage());
    p.fps = IndexTables::fpsForIndex(p.fpsItemIndex);
    return p;
}
