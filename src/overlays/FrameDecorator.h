#pragma once

#include "core/SampleBuffers.h"
#include "engine/RecordRequest.h"
#include "engine/capture/RowBands.h"
#include "overlays/CursorEffects.h"
#include "overlays/FlippedGeometry.h"
#include "overlays/WatermarkRenderer.h"

// The controller's switches read for every frame ("IsMouseHighlight",
// "IsShowMouse", "IsMouseClickEffect").
struct CursorEffectFlags {
    bool isMouseHight = false;
    bool isMouseClickEffect = false;
    bool isShowMouse = false;
};

// What one screen frame is decorated with, besides the shared click and
// watermark state. Both positions are in screen space (origin bottom left,
// y up; see screenPointFromRoot).
struct FrameDecorationInput {
    ScreenPoint pointer;
    ScreenRect captureRect;
    CursorEffectFlags flags;
};

// Whether frames of a recording kind get the cursor, its effects and the
// watermark: all screen kinds do, except one application window, whose
// picture is the window alone.
bool framesCarryDecorations(RecordVideoType recordVideoType);

// What one frame's decorations look like, worked out before any pixel is
// drawn: two frames with equal plans get the same pixels drawn on them, so a
// screen that did not change needs no new frame unless its plan did.
struct DecorationPlan {
    PixelPosition cursorTop; // where the arrow's top-left goes
    bool drawCursor = false;
    bool drawHighlight = false;
    PixelPosition highlightTop;
    bool drawRing = false;
    float ringWidth = 0;
    PixelPosition ringTop;
    WatermarkRenderer::Signature watermark;
    bool operator==(const DecorationPlan&) const = default;
    // A value that differs whenever the plans differ (but for collisions of a 64-bit hash).
    uint64_t signature() const;
};

// Draws, into each captured screen frame and in this order: the highlight
// under the cursor, the click ring, the arrow cursor, the watermark. The frame
// is drawn on where it lies; nothing is copied.
//
// One per recording, screen thread only. `clicks` and `watermark` must
// outlive it; they are shared with other threads (see their classes).
class FrameDecorator {
public:
    FrameDecorator(CursorClickState& clicks, const WatermarkState& watermark,
                   WatermarkRenderer::Clock now = {});

    // Screen thread: decorates `frame`, which shows `input.captureRect`.
    // Advances the click ring by one frame. Returns the rows drawn on.
    RowBands appendMouseCursor(const PixelBufferView& frame, const FrameDecorationInput& input);

    // The same in two steps. plan() advances the click ring by one frame,
    // whether the plan is drawn or not (the ring grows with time, not with
    // the frames stored); draw() returns the rows it drew on.
    DecorationPlan plan(const FrameDecorationInput& input, int frameHeight);
    RowBands draw(const PixelBufferView& frame, const DecorationPlan& plan);

private:
    CursorClickState& clicks_;
    CursorEffectPictures pictures_;
    WatermarkRenderer watermark_;
};
