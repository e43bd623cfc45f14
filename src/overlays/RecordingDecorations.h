#pragma once

#include "core/PointerFeed.h"
#include "engine/capture/CaptureTypes.h"
#include "engine/capture/VideoFrame.h"
#include "overlays/CursorEffects.h"
#include "overlays/FrameDecorator.h"
#include "overlays/Watermark.h"
#include "platform/x11input/ClickListener.h"

#include <QRect>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

// Puts the cursor, its highlight, the click ring and the watermark into every
// screen frame: owns the click listener, the shared click state, and the
// per-recording decorator used on the screen thread. The main window and
// `framedeck record` both use it, so their recordings look the same.
class RecordingDecorations {
public:
    // Main thread. Starts listening for clicks on $DISPLAY. `watermark`
    // must outlive this object. `pointer`, when given and active, tells where
    // the pointer is instead of the X server (a Wayland screen cast).
    explicit RecordingDecorations(WatermarkState& watermark, std::shared_ptr<PointerFeed> pointer = nullptr);
    // Main thread, once no screen source runs any more.
    ~RecordingDecorations();

    // Main thread, before each recording: the switches and the primary
    // monitor (its bottom-left corner is the origin of the decoration space).
    void prepare(const CursorEffectFlags& flags, const QRect& primaryInRoot, bool decorate);
    // Main thread: the compositor hooks (FrameCompositor::Hooks::appendMouseCursor
    // and decorationSignature); the hooks themselves run on the screen thread.
    std::function<void(VideoFrame&, const RVRect&)> hook();
    std::function<uint64_t(const VideoFrame&, const RVRect&)> signatureHook();

private:
    FrameDecorationInput inputFor(const VideoFrame& frame);
    void ensureDecorator();
    void decorate(VideoFrame& frame);
    uint64_t planFor(const VideoFrame& frame);

    WatermarkState& watermark_;
    CursorClickState clicks_;
    std::unique_ptr<x11input::ClickListener> listener_;
    std::mutex frameMutex_; // the screen thread's per-recording objects
    std::unique_ptr<FrameDecorator> decorator_;
    // The plan made for the frame the compositor asked about, drawn if it
    // decides to keep that frame.
    std::optional<DecorationPlan> plannedFrame_;
    const VideoFrame* plannedFor_ = nullptr;
    std::unique_ptr<x11input::PointerReader> pointer_;
    const std::shared_ptr<PointerFeed> feed_;
    CursorEffectFlags flags_;
    ScreenRect primary_;
    std::atomic<bool> enabled_{false};
};
