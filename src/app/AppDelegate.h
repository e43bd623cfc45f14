#pragma once

#include "app/LanguageManager.h"
#include "app/LaunchSettings.h"
#include "app/SettingsStore.h"
#include "engine/RecordRequest.h"

#include <QDateTime>
#include <QObject>
#include <functional>
#include <memory>

class RVRecordManager;

// The one application controller. Its first use loads the settings into its
// properties (AppProperties); it owns the settings store and the language
// manager, and offers the naming and storage helpers as class methods.
//
// Main thread only.
class AppDelegate : public QObject, public AppProperties {
    Q_OBJECT
public:
    // The shared controller over the user's own settings, created and loaded
    // on first use.
    static AppDelegate* sharedInstance();
    // A controller over the given store and resources (tests, tools). The
    // first one constructed becomes the shared instance until destroyed.
    AppDelegate(std::unique_ptr<SettingsStore> store, const QString& resourceDir,
                const LaunchHooks& hooks = {});
    ~AppDelegate() override;

    SettingsStore& settings() { return *store_; }
    LanguageManager& language() { return *language_; }

    // The language menu's action: store, switch tables, notify, re-title.
    void setLange(int language);
    // Re-reads everything language-dependent that the controller owns.
    void changeLanguage();

    // The extension of an audio-only recording: the entry the audio-format
    // pop-up shows. Until a window sets it, the stored "AudioTypeIndex".
    QString audioExtensionTitle() const;
    void setAudioExtensionTitle(const QString& title) { audioExtensionTitle_ = title; }

    // Output naming and storage.
    // The folder + date-time name + extension; creates the folder.
    static QString createoutputPath(bool isVideo);
    static QString getFileNameForNowTime();
    static QString dateToString(const QDateTime& date);
    // ~/.cache/org.framedeck.FrameDeck/filelist.plist; creates the folder and
    // an empty list when missing.
    static QString plistPath();
    static QString timeFromString(qulonglong seconds);
    static QString timeFrom_String(qulonglong seconds);
    // Seconds since the epoch, microsecond resolution.
    static double getNowTimeTimestamp();

    // Free space of the cache folder's file system, in decimal gigabytes.
    void generateMemoryInfo();
    QString systemFreeSpace() const;
    double freeSpace = 0;
    double totalSpace = 0;

    // --- The recording road (AppDelegateRoad.cpp) ---
    // The recording controller; set once by whoever builds the engine.
    RVRecordManager* recordManager = nullptr;
    void setRecordManager(RVRecordManager* manager) { recordManager = manager; }

    QString outputPath;
    double fileDuration = 0; // seconds
    double fileSize = 0;     // bytes, as the encoder session reports them
    bool isAutoStop = false;
    bool isAutoStopOnce = false;
    bool isAutoSplitOnce = false;
    double autoStop_StartTime = 0;
    double autoStop_Duration = 0;
    bool isCaptrue = false;
    quint64 selectedWindowNumber = 0;
    QString selectedWindowName;
    QString selectedCamera;
    // Whether a camera exists; set by whoever lists the cameras.
    std::function<bool()> hasCamera;
    // Asks the desktop for the screen before a screen recording starts,
    // where it has to be asked (a Wayland portal, which may wait for the
    // user); set by whoever builds the engine, empty where no asking is
    // needed. `done` runs on the main thread, with an empty error once the
    // screen numbered `screenNumber` (with `window`: the window the user
    // picks in the desktop's dialog) is shared.
    std::function<void(bool window, unsigned screenNumber, std::function<void(const QString& error)> done)>
        shareScreen;
    // Withdraws the question shareScreen asked; its `done` may then never run.
    std::function<void()> cancelShareScreen;
    // Between a screen recording's request and the desktop's answer.
    bool isWaitingForScreen() const { return waitingForScreen_; }
    // The user gives up waiting for the desktop (the cancel button, or the
    // start/stop press of the tray or a hotkey): the question is withdrawn,
    // nothing starts, a later press asks again. Nothing while not waiting.
    void cancelWaitingForScreen();
    // Where single windows cannot be recorded (a Wayland desktop): the
    // localisation key saying why, empty where they can. A window kind
    // chosen meanwhile falls back to full screen.
    const char* windowKindUnavailableKey() const { return windowKindUnavailableKey_; }
    void setWindowKindUnavailable(const char* reasonKey);
    // No global hotkeys in this session (a Wayland desktop that offers no
    // shortcuts portal, or refused ours); set by whoever listens for keys.
    bool globalHotkeysUnavailable() const { return globalHotkeysUnavailable_; }
    void setGlobalHotkeysUnavailable(bool unavailable) {
        if (unavailable == globalHotkeysUnavailable_)
            return;
        globalHotkeysUnavailable_ = unavailable;
        emit globalHotkeysChanged();
    }

    // Modal dialogs switch the hotkeys off while they are open.
    void setIsCanKeyEvent(bool enabled) { isCanKeyEvent = enabled; }

    // The record button, the tray's first item and the start/stop hotkey.
    void recordScreenClicked();
    // Starts while idle, stops while recording.
    void recordAfterScreenClicked();
    void pauseOrResumeAction();
    // The countdown items: 3, 5 or 10 seconds.
    void countDownAction(int seconds);
    // The start pull-down (stop-after while recording); items count from 1.
    void startSetsItemChangeAction(int item);
    // The duration-limit and auto-split buttons: ask for their dialogs.
    void timeSetsAction();
    void autoSplitSetsAction();
    // The auto-stop submenu: item 1 starts recording first, then both open
    // the auto-stop dialog.
    void autoStopSetsAction(int item);
    // Main window choices; each writes its key.
    void areaChangeAction(int kind);
    void frameChangeAction(int index);
    void fpsChangeAction(int index);
    void videoTypeChangeAction(int index);
    void audioExpChangeAction(int index);
    // The two audio on/off pop-ups (item 1 on, 2 off).
    void systemAudioBoxChange(int item);
    void micphoneBoxChange(int item);
    int systemAudioItem() const {
        const RecordAudioType kind = recordAudioTypeFromInt(recordAudioType);
        return kind == RecordAudioType::System || kind == RecordAudioType::Both ? 1 : 2;
    }
    int micphoneItem() const {
        const RecordAudioType kind = recordAudioTypeFromInt(recordAudioType);
        return kind == RecordAudioType::Microphone || kind == RecordAudioType::Both ? 1 : 2;
    }
    // X11 lets any client read the screen.
    bool canRecordScreen() const { return true; }
    // A chosen area or window is ready and the countdown is over: record it.
    void recordSelectedRegion(const RecordRequest& region);
    // Refreshes fileDuration and fileSize from the session.
    void updateRecordingProgress();
    // Every tick of the recording clock, after the labels: the progress,
    // then the auto stop (the menu's delay, the armed duration or size),
    // which stops through the user's own stop.
    void recordScreenTimeDuration(long long seconds, double bytes);
    // The request the main window's choices make.
    RecordRequest currentRequest() const;

signals:
    // Emitted by changeLanguage() after the controller's own texts are updated.
    void languageApplied();
    void recordingStarted();
    void recordingStopped(const QString& path);
    // The recording has stopped and its file is being finished; recordingStopped
    // follows once it is complete.
    void recordingFinishing(const QString& path);
    void recordingPaused(bool paused);
    // The desktop is being asked for the screen (true) or has answered.
    void waitingForScreenChanged(bool waiting);
    // The desktop did not share the screen (refused, cancelled, no portal):
    // no recording starts.
    void screenShareFailed(const QString& error);
    // The user gave up waiting for the desktop: no recording starts.
    void screenShareCancelled();
    void globalHotkeysChanged();
    // windowKindUnavailableKey() changed; so may have recordVideoType.
    void windowKindAvailabilityChanged();
    void alertRequested(const QString& message);
    // The screen kinds: show the selection overlays (and countdown).
    void regionSelectionRequested();
    void fileListRequested();
    void screenshotRequested();
    // The three timed-recording dialogs: duration limit, auto stop, auto split.
    void timeSetsDialogRequested();
    void autoStopDialogRequested();
    void autoSplitDialogRequested();
    void quitRequested();
    void durationTextsChanged(const QString& time, const QString& size);

private:
    void recordAudio();
    void recordVideo();
    void startRecordingTo(bool isVideo, const RecordRequest& request);
    void stopRoad();
    void applyAudioItems(int systemItem, int micphoneItem);
    void setWaitingForScreen(bool waiting);
    // The window kind where it cannot be recorded becomes full screen; true
    // when it did.
    bool leaveUnavailableWindowKind();
    int progressCount_ = 0;
    bool waitingForScreen_ = false;
    // Counts the questions to the desktop, so that the answer to one given
    // up is not taken for the answer to the next.
    unsigned screenQuestion_ = 0;
    bool globalHotkeysUnavailable_ = false;
    const char* windowKindUnavailableKey_ = "";

private:
    std::unique_ptr<SettingsStore> store_;
    std::unique_ptr<LanguageManager> language_;
    QString audioExtensionTitle_;
};
