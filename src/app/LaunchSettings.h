#pragma once

#include "app/SettingsStore.h"

#include <QString>
#include <QStringList>
#include <functional>

class LanguageManager;

// The settings the application controller copies into itself at start.
// Names are the controller's property names.
struct AppProperties {
    // Auto stop.
    long long recordEndTimeDuration = 0;
    long long recordEndFileSize = 0;
    bool isRecordEndSizeType = false;
    bool everyTime = false;
    long long finshpopIndex = 0;
    bool autoStop_withTime = false;
    // What is recorded (mirrored into the recording controller).
    int recordVideoType = 0;
    unsigned recordAudioType = 0;
    // Video.
    long long framItemIndex = 0;
    long long fpsItemIndex = 0;
    long long videoTypeBoxIndex = 0;
    double fps = 0;
    bool isMouseHight = false;
    bool isShowMouse = false;
    bool isMouseClickEffect = false;
    bool isShowReverseTime = false;
    bool isCaptrueMirror = false;
    long long audioExtensionIndex = 0;
    // Text watermark. An empty font name means the desktop's default font.
    QString watermarkFontName;
    int watermarkFontSize = 20;
    RGBAColor textWatermarkColor{1, 0, 0, 1};
    long long timeFramStyleIndex = 0;
    float watermarkAlpha = 1;
    bool isWatermarkShadow = false;
    QString watermarkTextString;
    unsigned watermarkType = 0;
    int endTimeType = 0;
    bool isResetEventMonitor = false;
    // Hotkeys answer only while true; modal dialogs switch it off.
    bool isCanKeyEvent = true;
    // The fixed lists.
    QStringList audioExtensions;
    QStringList videoTypes;
    QStringList fpsTitles;
    QStringList timeFramStyles;
};

// Where the launch load reaches beyond the settings. Each hook may be empty
// (tests, tools), which skips it.
struct LaunchHooks {
    // Is there a microphone the "microphone only" mode can use?
    // Empty: assume there is.
    std::function<bool()> hasUsableMicrophone;
    // Hands the recording kinds to the recording controller.
    std::function<void(int recordVideoType, unsigned recordAudioType)> applyRecordTypes;
};

// Steps 9-11 of the launch load for the watermark alone: font, colour (blue
// from the green slot), alpha, text, kind. Reads only.
void readWatermarkProperties(const SettingsStore& store, AppProperties& properties);

// The split lengths a session starts with: "SplitTime" (seconds) and
// "SplitSize" (megabytes), 20 and 10 where they are 0 or absent.
struct SplitLengths {
    int splitTime = 20;
    int splitSize = 10;
};
SplitLengths launchSplitLengths(const KeyValueStore& store);

// The first-run defaults, written in table order. `appName` is the
// localised application name used as the default watermark text.
void writeFirstRunDefaults(SettingsStore& store, const QString& appName);

// The start-up load, once per process, in its fixed order:
//  1. reset the watermark text to the application name (every launch);
//  2. first-run defaults when "IsFirstRun" is not set;
//  3. upgrade: settings without the annotation hotkey gain it;
//  4.-12. copy the keys into the controller's properties (see the .cpp).
AppProperties loadAtLaunch(SettingsStore& store, const LanguageManager& language, const LaunchHooks& hooks);
