#include "app/IndexTables.h"
#include "app/SettingsSchema.h"
#include "cli/RecordCommand.h"

#include <QDir>
#include <QFileInfo>

namespace {

// The stored value, or the first-run default while the key was never written.
long long storedInteger(const KeyValueStore& settings, std::string_view key) {
    if (settings.hasKey(key))
        return settings.integerForKey(key);
    const SettingSpec* spec = findSetting(key);
    return spec && spec->firstRun.kind == SettingDefault::Kind::Number
               ? static_cast<long long>(spec->firstRun.number)
               : 0;
}

} // namespace

bool buildRecordPlan(const RecordOptions& options, KeyValueStore& settings, RecordPlan& plan,
                     std::string& error) {
    namespace K = SettingsKeys;
    RecordRequest& r = plan.request;
    r.recordAudioType =
        recordAudioTypeFromInt(IndexTables::audioKindOrDefault(storedInteger(settings, K::RecordAudioType)));
    r.fps = IndexTables::fpsForIndex(storedInteger(settings, K::FpsItemIndex));
    r.videoBitrate = IndexTables::videoBitrateForQuality(storedInteger(settings, K::FramItemIndex));
    r.isCaptrueMirrored = storedInteger(settings, K::IsCaptrueMirrored) != 0;
    r.splitTime = static_cast<int32_t>(settings.integerForKey(K::SplitTime));
    r.splitSize = static_cast<int32_t>(settings.integerForKey(K::SplitSize));

    // The kind: the flag, else what --area or --window imply, else full screen.
    r.recordVideoType = options.recordVideoType.value_or(options.window ? RecordVideoType::AppWindow
                                                         : options.area ? RecordVideoType::CustomArea
                                                                        : RecordVideoType::FullScreen);
    if (r.recordVideoType == RecordVideoType::CustomArea && !options.area)
        return error = "--mode area needs --area X,Y,W,H", false;
    if (options.area && r.recordVideoType != RecordVideoType::CustomArea)
        return error = "--area goes with --mode area", false;
    if (options.window && r.recordVideoType != RecordVideoType::AppWindow)
        return error = "--window goes with --mode window", false;
    if (options.area)
        r.captureRect = *options.area;
    if (options.window)
        r.selectedWindowNumber = *options.window;
    r.screenNumber = options.screen.value_or(0);
    if (options.recordAudioType)
        r.recordAudioType = *options.recordAudioType;
    if (options.fps)
        r.fps = *options.fps;
    if (options.quality)
        r.videoBitrate = IndexTables::videoBitrateForQuality(*options.quality);
    if (options.splitTime) {
        settings.setInteger(K::SplitType, static_cast<long long>(SplitType::ByTime));
        r.splitTime = *options.splitTime;
    } else if (options.splitSize) {
        settings.setInteger(K::SplitType, static_cast<long long>(SplitType::BySize));
        r.splitSize = *options.splitSize;
    }
    plan.isVideo = r.recordVideoType != RecordVideoType::AudioOnly;
    if (!plan.isVideo && r.recordAudioType == RecordAudioType::None)
        return error = "--mode audio with --audio none records nothing", false;

    // The container: the flag, else the output's extension, else the stored choice.
    std::string format = options.format.value_or("");
    if (options.output) {
        const std::string suffix =
            QFileInfo(QString::fromStdString(*options.output)).suffix().toLower().toStdString();
        if (format.empty())
            format = suffix;
        else if (suffix != format)
            return error = "the output's extension ." + suffix + " does not match --format " + format, false;
    }
    if (format.empty()) {
        const QString stored =
            plan.isVideo ? IndexTables::videoTypeForIndex(storedInteger(settings, K::VideoTypeIndex))
                         : IndexTables::audioExtensionForIndex(storedInteger(settings, K::AudioTypeIndex));
        format = stored.mid(1).toStdString();
    }
    if (plan.isVideo && !isVideoFormat(format))
        return error = "a video recording needs mov, mp4, m4v, flv or avi, not '" + format + "'", false;
    if (!plan.isVideo && !isAudioFormat(format))
        return error = "an audio recording needs mp3, wav or m4a, not '" + format + "'", false;
    plan.extension = "." + format;
    if (options.output)
        r.outputPath = QFileInfo(QString::fromStdString(*options.output)).absoluteFilePath().toStdString();
    plan.seconds = options.seconds.value_or(0);
    return true;
}
