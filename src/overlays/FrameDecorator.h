#pragma once

#include "core/SampleBuffers.h"
#include "engine/RecordRequest.h"
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
    // Advances the click ring by one frame.
    void appendMouseCursor(const PixelBufferView& frame, const FrameDecorationInput& input);

private:
    CursorClickState& clicks_;
    CursorEffectPictures pictures_;
    WatermarkRenderer watermark_;
};
