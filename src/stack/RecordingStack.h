#pragma once

#include "engine/audio/RVAudioRouting.h"
#include "engine/controller/RVRecordManager.h"
#include "overlays/FrameDecorator.h"
#include "overlays/Watermark.h"
#include "stack/PlatformLoader.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class KeyValueStore;
class RecordingDecorations;
class SoundServer;

// What the process around the stack provides: its main thread, and what the
// user sees. The main window and `framedeck record` each give their own.
struct RecordingStackHost {
    // Required: runs `task` on the main thread later (capture failures,
    // device changes, device-check ticks come from other threads).
    std::function<void(std::function<void()> task)> runOnMainThread;
    // Runs `task` on the main thread after `delay` (the audio routing's
    // follow-ups). Empty: at the next turn of runOnMainThread.
    std::function<void(std::chrono::milliseconds delay, std::function<void()> task)> schedule;
    // A microphone mode was asked for and there is no microphone.
    std::function<void()> showMicrophoneAlert;
    // Devices came or went and the audio kind had to change; the stack has
    // already applied it to the controller and reopened the sound capture.
    std::function<void(RecordAudioType kind)> audioRoutingChanged;
    // The cursor switches of the recording about to start. Empty: all off.
    std::function<CursorEffectFlags()> cursorEffectFlags;
};

struct RecordingStackOptions {
    // The engine's settings ("SplitType", quality); must outlive the stack.
    KeyValueStore* settings = nullptr;
    // Route sound through the loop-back and aggregate devices (needed for
    // system audio and for "both"); off when a source is named directly.
    bool audioRouting = true;
    // Draw the cursor effects and the watermark into screen frames. Needs a
    // QGuiApplication (fonts, pictures).
    bool decorations = true;
    WatermarkModel watermark;
    WatermarkPlacement watermarkPlacement;
    // The screen backend; unset: the one the session calls for.
    std::optional<PlatformLoader::ScreenBackend> screenBackend;
};

// The one recording stack of the process: the recording controller with the
// capture backends the platform loader chose, the audio routing over the
// sound server, the decorations drawn into screen frames, and the encoder
// session the controller owns. The main window and `framedeck record` both
// build it here, so their recordings are made the same way.
//
// Main thread only. Destroy it before the QGuiApplication.
class RecordingStack {
public:
    RecordingStack(RecordingStackOptions options, RecordingStackHost host);
    ~RecordingStack();
    RecordingStack(const RecordingStack&) = delete;
    RecordingStack& operator=(const RecordingStack&) = delete;

    RVRecordManager& recordManager() { return *manager_; }
    // Null where the screen needs no asking before a recording (X11).
    PlatformLoader::ScreenShare* screenShare() { return share_.get(); }
    CaptureFactory& captureFactory() { return manager_->captureFactory(); }
    // Null when the stack was built without audio routing.
    RVAudioRouting* audioRouting() { return routing_.get(); }
    WatermarkState& watermark() { return watermark_; }

    // The controller's events for the host's windows. The stack keeps its
    // own part (preparing the decorations) in front of them.
    void setHost(RVRecordHost host);
    // The camera preview and level meter; the stack adds the decorations.
    void setCompositorHooks(FrameCompositor::Hooks hooks);

    // The routing's view of the microphone (true without routing: the
    // default source is used).
    bool hasUsableMicrophone() const;
    // Removes the loop-back and aggregate devices and restores the user's
    // default devices. Call once, at the end.
    void destroyDevicesAtQuit();

private:
    void buildAudioRouting();
    void prepareDecorations();

    RecordingStackHost host_;
    WatermarkState watermark_;
    std::unique_ptr<SoundServer> soundServer_;
    std::unique_ptr<RVAudioRouting> routing_;
    std::optional<EZAudioDevice> routedInput_;
    std::unique_ptr<RecordingDecorations> decorations_;
    // Before the controller, whose factory hands the share to its sources.
    std::unique_ptr<PlatformLoader::ScreenShare> share_;
    std::unique_ptr<RVRecordManager> manager_;
    RVRecordHost events_;
    // Work posted to the main thread checks it before touching the stack.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};
