#pragma once

#include "engine/RecordRequest.h"
#include "engine/capture/CaptureFactory.h"
#include "engine/capture/CompositorState.h"
#include "engine/capture/FrameCompositor.h"
#include "engine/controller/RepeatingTimer.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class EncodeManager;
class KeyValueStore;

// The three capture sessions of a recording.
enum class CaptureSourceKind { Screen, Camera, Audio };
// "screen", "camera", "audio": for logs and messages.
const char* captureSourceName(CaptureSourceKind kind);

// One run of one capture session: its kind, and which start of that kind it
// was. A notice that arrives late (a source failed just as it was replaced)
// carries the identity of the source it is about, so it never stops the
// replacement.
struct CaptureSourceId {
    CaptureSourceKind kind = CaptureSourceKind::Screen;
    uint64_t serial = 0;
    bool operator==(const CaptureSourceId&) const = default;
};

// What the clock tick reports once a second while recording.
struct RecordingProgress {
    // Whole seconds recorded (pauses left out); negative when the encoder
    // could not tell.
    long long seconds = 0;
    // Bytes written so far, as the encoder reports them.
    double bytes = 0;
    // Frames of this recording let go because the encoder could not keep up.
    uint64_t droppedFrames = 0;
};

// What the recording controller tells its host, and the little it asks.
// Events are named for what happened; the host decides which windows react.
// Every member may be empty. Events come on the main thread.
struct RVRecordHost {
    // Runs `task` on the main thread later (capture failures and device-check
    // ticks come from other threads). Empty: runs it at once on the calling
    // thread, which suits tools without an event loop only.
    std::function<void(std::function<void()> task)> runOnMainThread;
    // Permission checks; empty: granted (X11 asks for none).
    std::function<bool()> checkCaptureAudio;
    std::function<bool(int)> checkCapture;

    // startRecording() begins, before any source starts for it: the last
    // moment to prepare what draws into its frames.
    std::function<void()> recordingStarting;
    // The session is configured and encoding.
    std::function<void()> recordingStarted;
    // The file is written and closed.
    std::function<void()> recordingStopped;
    // The status changed (start, pause, resume, stop).
    std::function<void(RecordingStatus status)> statusChanged;
    // Once a second while recording (timerDurationTimeOut).
    std::function<void(const RecordingProgress& progress)> clockTick;
    // A region selection may begin: the window list taken for it
    // (readyToRecordScreen).
    std::function<void(const std::vector<CaptureWindowInfo>& arrayRect)> selectionRequested;
    // A capture source started, stopped, or broke while running (after the
    // controller let it go and, for audio, re-routed the devices).
    std::function<void(CaptureSourceKind kind)> sourceStarted;
    std::function<void(CaptureSourceKind kind)> sourceStopped;
    std::function<void(CaptureSourceKind kind, const std::string& message)> sourceFailed;
    // The output file cannot be written (a full disk, an unwritable or
    // vanished folder, the file deleted): the recording must be stopped, and
    // `outputPath` holds what was written until then (nothing, when it
    // failed at the start). Main thread, once per recording.
    std::function<void(const std::string& outputPath)> outputFailed;
};

// What the audio-device routing offers the controller. Empty hooks: no
// routing, the default devices are used.
struct RVAudioRoutingHooks {
    // Enumerates and chooses the devices.
    std::function<void()> prepareDevice;
    // switchRecordType's routing: build the output aggregate when missing,
    // select and make default the input and output for `recordAudioType`.
    std::function<void(RecordAudioType recordAudioType)> switchRecordType;
    // The sound-server source to record for `recordAudioType`.
    std::function<std::string(RecordAudioType recordAudioType)> inputDeviceName;
    // The once-a-second device check while audio capture runs.
    std::function<void()> checkAudioDevice;
    // The sound server came back (or never went) after the audio source
    // broke: load the application's devices again where they are missing.
    std::function<void()> restoreDevices;
};

// The one recording controller: what is recorded (area, screen, sources),
// the recording's life (start, pause, resume, stop), the clock every frame is
// stamped with, and the capture sources that feed the encoder session.
//
// Threads: every member function runs on the main thread unless it says
// otherwise. The capture threads read the members inherited from
// CompositorState (status, isWorking, captureRect, clock), all atomic.
class RVRecordManager : public CompositorState {
public:
    struct Collaborators {
        // Required: the capture backends, chosen by whoever builds the stack.
        std::unique_ptr<CaptureFactory> captureFactory;
        // Null: a session over `settings`, created on first use.
        std::unique_ptr<EncodeManager> encodeManager;
        // Settings ("SplitType", quality); must outlive the controller.
        KeyValueStore* settings = nullptr;
        // Null: the capture clock.
        std::function<double()> clock;
    };

    // The shared controller: the first one constructed and still alive (null
    // before the stack is built). Any thread.
    static RVRecordManager* sharedInstance();

    // Throws std::invalid_argument without a capture factory.
    explicit RVRecordManager(Collaborators collaborators);
    ~RVRecordManager();
    RVRecordManager(const RVRecordManager&) = delete;
    RVRecordManager& operator=(const RVRecordManager&) = delete;

    void setHost(RVRecordHost host) { host_ = std::move(host); }
    void setAudioRouting(RVAudioRoutingHooks routing) { routing_ = std::move(routing); }
    // Decorations of screen frames, camera preview, level meter. Set while idle.
    void setCompositorHooks(FrameCompositor::Hooks hooks);

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
    // Stops and returns once the file is complete (framedeck record, tests).
    void stopRecording();
    // Stops at once and finishes the file in the background, so that a long
    // recording never freezes the interface: when this returns the status
    // is idle and the capture has ended; `recordingStopped`, then `finished`,
    // follow on the main thread once the file is complete. Without a way to
    // the main thread it is the blocking stop.
    void stopRecordingInBackground(std::function<void()> finished);
    void stopCapture();
    void timerDurationTimeOut();
    void switchRecordType(RecordAudioType recordAudioType);
    void startRecordScreen();
    void readyToRecordScreen();

    // The three capture sessions (the names are spelled so on purpose).
    void captrueScreenInputEnable(bool enable);
    void captrueVideoInputEnable(bool enable);
    void captrueAudioInputEnable(bool enable);
    // Fills in the audio defaults and returns the capture layout.
    AudioCaptureRequest setupAudioSettings();

    // The sessions' notifications, on the main thread: a source failed while
    // running, started, or stopped. A failure of a source that is no longer
    // the running one of its kind is ignored.
    void captureSessionRuntimeErrorNotification(CaptureSourceId source, const std::string& message);
    void captureSessionDidStartRunningNotification(CaptureSourceId source);
    void captureSessionStoppedRunningNotification(CaptureSourceId source);
    // The identity of the running source of `kind`; serial 0 when none runs.
    CaptureSourceId runningSource(CaptureSourceKind kind) const;

    // While recording, sound that broke (the sound server restarted, the
    // device went) is tried again every kAudioRetryInterval until it runs;
    // the picture goes on meanwhile and the compositor fills the time
    // without sound with silence. This is the retry timer's tick.
    void retryLostAudio();
    bool isAudioLost() const { return audioLostSince_ > 0; }
    // A sound server that was killed is usually back within a second or two
    // (a service manager restarts it); more often would only cost log lines.
    static constexpr std::chrono::milliseconds kAudioRetryInterval{1000};

    // Seconds recorded so far, pauses left out (the recording clock).
    double recordedSeconds() const { return clock.elapsed(now_()); }

    // Properties.
    double startDate() const { return clock.startDate(); }
    std::shared_ptr<const RecordingClock::Durations> fileTimes() const { return clock.fileTimes(); }
    const RVScreen& screen() const { return screen_; }
    unsigned screenNumber() const { return screenNumber_; }
    bool hasScreenSession() const { return session(CaptureSourceKind::Screen).source != nullptr; }
    bool hasVideoSession() const { return session(CaptureSourceKind::Camera).source != nullptr; }
    bool hasAudioSession() const { return session(CaptureSourceKind::Audio).source != nullptr; }
    FrameCompositor& compositor() { return *compositor_; }

    std::atomic<bool> isDisableChangeScreen{false};
    RepeatingTimer checkAudioDeviceTimer;
    RepeatingTimer audioRetryTimer;
    std::vector<CaptureWindowInfo> arrayRect;
    std::vector<CaptureWindowInfo> desktopElements;
    std::vector<CaptureWindowInfo> onScreenWindows;
    std::string selectedVideoDevice;
    std::string selectInputDevice;
    // Last start failure of a source ("" when all started), for callers that
    // must tell the user (the CLI).
    std::string lastCaptureError;

private:
    struct Session {
        std::unique_ptr<CaptureSource> source;
        uint64_t serial = 0;
    };
    Session& session(CaptureSourceKind kind) { return sessions_[static_cast<int>(kind)]; }
    const Session& session(CaptureSourceKind kind) const { return sessions_[static_cast<int>(kind)]; }
    // Starts `source` as the running one of `kind`; false with `error` (and
    // nothing runs) when it does not start.
    bool run(CaptureSourceKind kind, std::unique_ptr<CaptureSource> source, std::string& error);
    void stopSession(CaptureSourceKind kind);
    void trace(const char* function, int line) const;
    void post(std::function<void()> task);
    void setStatus(RecordingStatus status);
    bool wantsScreenInput() const;
    void chooseImageSize();
    std::string audioInputDevice(RecordAudioType recordAudioType) const;
    void endAudioRetry();
    // The part of a stop before the file is finished.
    void beginStop();

    std::unique_ptr<CaptureFactory> factory_;
    std::unique_ptr<EncodeManager> encodeManager_;
    KeyValueStore* settings_;
    std::function<double()> now_;
    RVRecordHost host_;
    RVAudioRoutingHooks routing_;
    std::unique_ptr<FrameCompositor> compositor_;
    uint64_t droppedAtStart_ = 0; // the compositor counts for its whole life
    Session sessions_[3];
    uint64_t nextSerial_ = 1;
    RVScreen screen_;
    unsigned screenNumber_ = 0;
    RecordRequest request_;
    bool screenInputWanted_ = false;
    // When the sound was lost (capture clock), 0 while it runs.
    double audioLostSince_ = 0;
    // Lives as long as the controller: capture-failure tasks posted to the
    // main thread check it before touching a controller that is gone.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};
