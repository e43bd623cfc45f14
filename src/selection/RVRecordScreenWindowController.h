#pragma once

#include "selection/RVClipView.h"
#include "selection/RVRecordScreenWindowControllerDelegate.h"
#include "selection/RegionSelection.h"
#include "selection/ScreenInfo.h"
#include "selection/WindowServer.h"
#include "timing/CircleCounterView.h"

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <memory>
#include <vector>

class KeyValueStore;
class RecordingFrameWindow;

// One screen's overlay: a frameless window over the whole screen showing
// the frozen picture of it, in which the user chooses the area or window to
// record, then the countdown, then the frame around the recorded area.
//
// Main thread only. Created and kept by SelectionSession (one per screen).
class RVRecordScreenWindowController : public QObject,
                                       public RVClipViewDelegate,
                                       public CircleCounterViewDelegate {
    Q_OBJECT
public:
    // initWithDelegate: — the delegate outlives the controller.
    RVRecordScreenWindowController(RVRecordScreenWindowControllerDelegate* delegate, KeyValueStore& settings);
    ~RVRecordScreenWindowController() override;

    // Covers `screen` with the overlay. `frozen` is the screen's picture taken
    // before any overlay was shown; `windows` the window list of that moment,
    // front to back, for the hover highlight.
    void startRecorderScreen(const ScreenInfo& screen, const QImage& frozen, std::vector<WindowInfo> windows);
    void removeEventMonitor();
    // Takes the overlay and the frame off the screen and drops the view.
    void cleanup();
    // Highlights the window under `mouse` (screen space).
    void ChooseWindowRectInScreen(PointD mouse);
    void cancelClip();
    // The start button: fixes the region, tells the delegate, counts down.
    void recordStartNote();
    void showCircleDownCounter();
    // The overlay leaves the screen, the frame appears, then the delegate
    // is told to record.
    void startRecording();
    void pauseRecording();
    void resumeRecording();
    void stopRecording();
    void timerDurationTimeOut();
    // Brings this overlay to the front and gives it the keyboard.
    void makeKeyWindow();

    ScreenInfo screen;
    // 0 choosing, 1 counting down, 2 recording, 3 paused.
    int status = 0;
    RectD lastWindowRect;
    RegionSelection selectedRegion;
    QString recordFileName;
    RVClipView* recordScreenView() const { return recordScreenView_; }
    QWidget* window() const { return window_; }
    RecordingFrameWindow* frameWindow() const { return frameWindow_.get(); }
    QTimer* timerDuration() const { return timerDuration_.get(); }

    // RVClipViewDelegate
    void clipViewMouseDoubleClick(RVClipView*) override;
    void clipViewClipCurrentWindow(RVClipView*) override;
    void clipViewClipFullScreen(RVClipView*) override;
    void clipViewCancleSelected(RVClipView*) override;
    void clipViewMouseMoved(RVClipView*) override;
    void recordViewDidShowToolBar(RVClipView*) override;
    void clipViewStartNote(RVClipView*) override;
    void clipViewCancel(RVClipView*) override;
    // CircleCounterViewDelegate
    void counterDownFinished(CircleCounterView* view) override;

    // How long the overlay is given to leave the screen before the first
    // frame may be taken.
    static constexpr int kOverlayGoneMilliseconds = 150;

private:
    class KeyMonitor;
    RectD selectionOnDesktop() const;
    void onEscape();
    void startClockTimer();

    RVRecordScreenWindowControllerDelegate* delegate_;
    KeyValueStore& settings_;
    std::vector<WindowInfo> windows_;
    std::vector<ScreenInfo> screens_;
    double referenceHeight_ = 0;
    PointD primaryOrigin_;
    QPointer<QWidget> window_;
    QPointer<RVClipView> recordScreenView_;
    std::unique_ptr<KeyMonitor> eventMonitor_;
    std::unique_ptr<RecordingFrameWindow> frameWindow_;
    std::unique_ptr<QTimer> timerDuration_;
};
