#pragma once

#include "engine/capture/CaptureFactory.h"
#include "engine/capture/CompositorState.h"
#include "engine/capture/FrameCompositor.h"
#include "engine/controller/RecordRequest.h"
#include "engine/controller/RepeatingTimer.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class EncodeManager;
class KeyValueStore;

// Receives the recorded duration. The member is optional: an empty function
// is a delegate that does not answer to it. Called on the capture threads.
struct RVRecordAudioManagerDelegate {
    std::function<void(long seconds)> recordScreenTimeDuration;
};

// What the recording controller asks of the application controller and its
// windows. Every hook may be empty; the comment says what an empty one means.
// Hooks are called on the main thread unless they say otherwise.
struct RVRecordHost {
    std::function<void(bool recording)> setRecording;
    std::function<void()> refreshStateMenuItem;
    // Re-enables the timed-recording button (stop).
    std::function<void()> enableTimeSetsBtn;
    // Removes the recording view from its window and hides the window (stop).
    std::function<void()> hideRecordView;
    // Permission checks; empty: granted (X11 asks for none).
    std::function<bool()> checkCaptureAudio;
    std::function<bool(int)> checkCapture;
    // The camera switch that adds the camera to a screen recording; empty: off.
    std::function<bool()> isCaptrue;
    // The application's current output path; empty: the request's.
    std::function<std::string()> currentOutputPath;
    // The window chosen in the selection overlay (window recordings).
    std::function<uint64_t()> selectedWindowNumber;
    std::function<std::string()> selectedWindowName;
    // The duration and size labels; called on the main thread.
    std::function<void(const std::string& timeText, const std::string& sizeText)> showDuration;
    std::function<std::string()> systemFreeSpace;
    // Runs `task` on the main thread later (capture failures, device-check
    // ticks come from other threads). Empty: runs it at once on the calling
    // thread, which suits tools without an event loop only.
    std::function<void(std::function<void()> task)> runOnMainThread;
    // Opens the region-selection windows, one per screen, with the window
    // list taken for them (readyToRecordScreen).
    std::function<void(const std::vector<CaptureWindowInfo>& arrayRect)> openSelectionWindows;
    // Told after the controller handled a capture failure (the alert, the
    // audio-mode pop-up). `source` is "screen", "camera" or "audio".
    std::function<void(const std::string& source, const std::string& message)> captureSessionRuntimeError;
    // A capture session started or stopped ("screen", "camera", "audio"):
    // the main window refreshes its audio pop-up and level meter.
    std::function<void(const std::string& source)> captureSessionDidStartRunning;
    std::function<void(const std::string& source)> captureSessionStoppedRunning;
};

// What the audio-device routing offers the controller. Empty hooks: no
// routing, the default devices are used.
struct RVAudioRoutingHooks {
    // Enumerates and chooses the devices.
    std::function<void()> prepareDevice;
    // switchRecordType's routing: build the output aggregate when missing,
    // select and make default the input and output for `recordAudioType`.
    std::function<void(unsigned recordAudioType)> switchRecordType;
    // The sound-server source to record for `recordAudioType`.
    std::function<std::string(unsigned recordAudioType)> inputDeviceName;
    // The once-a-second device check while audio capture runs.
    std::function<void()> checkAudioDevice;
};

// The one recording controller: what is recorded (area, screen, sources),
// the recording's life (start, pause, resume, stop), the clock every frame is
// stamped with, and the capture sources that feed the encoder session.
//
// Threads: every member function runs on the main thread unless it says
// otherwise. The capture threads read the members inherited from
// CompositorState (status, isWorking, captureRect, clock, click state), all
// atomic.
class RVRecordManager : public CompositorState {
public:
    struct Collaborators {
        // Null: the X11 / PulseAudio / V4L2 factory.
        std::unique_ptr<CaptureFactory> captureFactory;
        // Null: a session over `settings`, created on first use.
        std::unique_ptr<EncodeManager> encodeManager;
        // Settings ("SplitType", quality); must outlive the controller.
        KeyValueStore* settings = nullptr;
        // Null: the capture clock.
        std::function<double()> clock;
    };

    // The shared controller: the first one constructed, or (when none was)
    // one over the default collaborators and an in-memory store. Any thread;
    // created once.
    static RVRecordManager* sharedInstance();

    explicit RVRecordManager(Collaborators collaborators);
    ~RVRecordManager();
    RVRecordManager(const RVRecordManager&) = delete;
    RVRecordManager& operator=(const RVRecordManager&) = delete;

    void setHost(RVRecordHost host) { host_ = std::move(host); }
    void setAudioRouting(RVAudioRoutingHooks routing) { routing_ = std::move(routing); }
    // Decorations of screen frames, camera preview, level meter. Set while idle.
    void setCompositorHooks(FrameCompositor::Hooks hooks);
    RVRecordAudioManagerDelegate* delegate = nullptr;

    // The session, created with its first handle on first use.
    EncodeManager& encodeManager();
    CaptureFactory& captureFactory() { return *factory_; }

    // Applies a request: record types, screen and area, window, camera, the
    // session's frame rate, bit rate, split and output path.
    void configure(const RecordRequest& request);

    void prepareDevice();
    void setScreen(const RVScreen& screen) { screen_ = screen; }
    void setScreenNumber(unsigned number) { screenNumber_ = number; }
    // Stores the area; a width above 1440 is only logged.
    void setCaptureRect(const RVRect& rect);
    void startCapture();
    void startRecording();
    void pauseRecording();
    void resumeRecording();
    void stopRecording();
    void stopCapture();
    void timerDurationTimeOut();
    void switchRecordType(unsigned recordAudioType);
    void startRecordScreen();
    void readyToRecordScreen();

    // The three capture sessions (the names are spelled so on purpose).
    void captrueScreenInputEnable(bool enable);
    void captrueVideoInputEnable(bool enable);
    void captrueAudioInputEnable(bool enable);
    // Fills in the audio defaults and returns the capture layout.
    AudioCaptureRequest setupAudioSettings();

    // The sessions' notifications, on the main thread: a source failed while
    // running, started, or stopped.
    void captureSessionRuntimeErrorNotification(const std::string& source, const std::string& message);
    void captureSessionDidStartRunningNotification(const std::string& source);
    void captureSessionStoppedRunningNotification(const std::string& source);

    // Properties.
    double startDate() const { return clock.startDate(); }
    std::shared_ptr<const RecordingClock::Durations> fileTimes() const { return clock.fileTimes(); }
    const RVScreen& screen() const { return screen_; }
    unsigned screenNumber() const { return screenNumber_; }
    bool hasScreenSession() const { return captureScreenSession_ != nullptr; }
    bool hasVideoSession() const { return captureVideoSession_ != nullptr; }
    bool hasAudioSession() const { return captureAudioSession_ != nullptr; }
    FrameCompositor& compositor() { return *compositor_; }

    std::atomic<bool> isDisableChangeScreen{false};
    std::atomic<float> volum{0};
    RepeatingTimer checkAudioDeviceTimer;
    std::vector<uint64_t> exceptWinodwArray;
    std::vector<CaptureWindowInfo> arrayRect;
    std::vector<CaptureWindowInfo> desktopElements;
    std::vector<CaptureWindowInfo> onScreenWindows;
    std::string selectedVideoDevice;
    std::string selectInputDevice;
    // Last start failure of a source ("" when all started), for callers that
    // must tell the user (the CLI).
    std::string lastCaptureError;

private:
    void trace(const char* function, int line) const;
    void post(std::function<void()> task);
    void watch(CaptureSource& source, const char* name);
    bool wantsScreenInput() const;
    void chooseImageSize();
    std::string audioInputDevice(unsigned recordAudioType) const;

    std::unique_ptr<CaptureFactory> factory_;
    std::unique_ptr<EncodeManager> encodeManager_;
    KeyValueStore* settings_;
    std::function<double()> now_;
    RVRecordHost host_;
    RVAudioRoutingHooks routing_;
    std::unique_ptr<FrameCompositor> compositor_;
    std::unique_ptr<CaptureSource> captureScreenSession_;
    std::unique_ptr<CaptureSource> captureVideoSession_;
    std::unique_ptr<CaptureSource> captureAudioSession_;
    RVScreen screen_;
    unsigned screenNumber_ = 0;
    RecordRequest request_;
    bool screenInputWanted_ = false;
    // Lives as long as the controller: capture-failure tasks posted to the
    // main thread check it before touching a controller that is gone.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};
