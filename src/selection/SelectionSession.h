#pragma once

#include "selection/RVRecordScreenWindowController.h"
#include "selection/RVRecordScreenWindowControllerDelegate.h"
#include "selection/RegionSelection.h"

#include <QImage>
#include <QObject>
#include <memory>
#include <vector>

class KeyValueStore;

// The region-selection part of a recording: opens one overlay per screen,
// keeps them in recordWindowControllerArray, and hands the chosen region to
// the recording controller through its signals. The recording controller
// holds one session and calls readyToRecordScreen() when a screen kind is
// started; then pauseRecording / resumeRecording / stopRecording.
//
// Main thread only.
class SelectionSession : public QObject, public RVRecordScreenWindowControllerDelegate {
    Q_OBJECT
public:
    struct Options {
        int recordVideoType = 1; // 0 full screen, 1 area, 2 window
        bool isShowReverseTime = false;
        // Full screen with several screens: the home window's pop-up index
        // into the screen list; -1 (or out of range) means the screen under
        // the pointer.
        int fullScreenIndex = -1;
    };

    // `settings` gives "RECORDTIME_DURATION"; it outlives the session.
    explicit SelectionSession(KeyValueStore& settings, QObject* parent = nullptr);
    ~SelectionSession() override;

    void setOptions(const Options& options) { options_ = options; }
    const Options& options() const { return options_; }

    // Opens the overlays, only while `recordingStatus` is 0 (idle): the
    // screens are photographed and the window list taken first, then each
    // screen gets its overlay and the one under the pointer is made key.
    // `desktop`, when given, is a picture of the whole desktop taken for
    // the overlays where the window server cannot take one (a Wayland
    // client reads the screen through the desktop portal only).
    void readyToRecordScreen(int recordingStatus = 0, const QImage& desktop = {});
    // Closes every overlay and frame.
    void clearRecordWindowControllerArray();
    const std::vector<std::unique_ptr<RVRecordScreenWindowController>>& recordWindowControllerArray() const {
        return controllers_;
    }
    RVRecordScreenWindowController* activeController() const { return active_; }

    // What the recording controller reads back.
    RectD captureRect() const { return selection_.captureRect; }
    const ScreenInfo& screen() const { return screen_; }
    std::uint32_t screenNumber() const { return screenNumber_; }
    std::uint32_t selectedWindowNumber() const { return selectedWindowNumber_; }
    QString selectedWindowName() const { return selectedWindowName_; }

    // RVRecordScreenWindowControllerDelegate
    void recordScreenWindowControllerDidSelectRegion(RVRecordScreenWindowController* controller) override;
    void recordScreenWindowControllerDidCancel(RVRecordScreenWindowController* controller) override;
    void recordScreenWindowControllerRemoveEventMonitor(RVRecordScreenWindowController* controller) override;
    void recordScreenWindowControllerFinishRecord(RVRecordScreenWindowController* controller,
                                                  const QString& fileName, bool saveToLocal) override;
    int recordVideoType() const override { return options_.recordVideoType; }
    bool isShowReverseTime() const override { return options_.isShowReverseTime; }
    bool isDisableChangeScreen() const override { return isDisableChangeScreen_; }
    void setIsDisableChangeScreen(bool disable) override { isDisableChangeScreen_ = disable; }
    std::optional<ScreenInfo> chosenFullScreen() const override;
    void changeKeyWindowWithScreen(const ScreenInfo& screen) override;
    void setScreen(const ScreenInfo& screen) override { screen_ = screen; }
    void setScreenNumber(std::uint32_t number) override { screenNumber_ = number; }
    void setSelectedWindow(std::uint32_t number, const QString& name) override;
    void startRecording(RVRecordScreenWindowController* controller) override;
    void timerDurationTimeOut() override { emit timerDurationTick(); }

public slots:
    void pauseRecording();
    void resumeRecording();
    void stopRecording();

signals:
    // The user pressed start (before the countdown).
    void regionSelected(const RegionSelection& selection);
    // The countdown is over and the overlay has left the screen: start
    // recording `selection` now.
    void recordingShouldStart(const RegionSelection& selection);
    // Escape, cancel or a right click: nothing will be recorded.
    void selectionCancelled();
    // Every 0.5 s while recording (the recording controller's timerDurationTimeOut).
    void timerDurationTick();
    void recordingFinished(const QString& fileName, bool saveToLocal);

private:
    KeyValueStore& settings_;
    Options options_;
    std::vector<std::unique_ptr<RVRecordScreenWindowController>> controllers_;
    RVRecordScreenWindowController* active_ = nullptr;
    RegionSelection selection_;
    ScreenInfo screen_;
    std::uint32_t screenNumber_ = 0;
    std::uint32_t selectedWindowNumber_ = 0;
    QString selectedWindowName_;
    bool isDisableChangeScreen_ = false;
};
