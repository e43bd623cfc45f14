#include "overlays/FrameDecorator.h"

#include "core/EMLog.h"
#include "overlays/ArrowCursor.h"
#include "overlays/PictureBlend.h"

#include <cmath>

bool framesCarryDecorations(RecordVideoType recordVideoType) {
    return recordVideoType != RecordVideoType::AppWindow;
}

FrameDecorator::FrameDecorator(CursorClickState& clicks, const WatermarkState& watermark,
                               WatermarkRenderer::Clock now)
    : clicks_(clicks), watermark_(watermark, std::move(now)) {
}

void FrameDecorator::appendMouseCursor(const PixelBufferView& frame, const FrameDecorationInput& input) {
    if (!frame.data || frame.width <= 0 || frame.height <= 0)
        return;

    // Where the cursor picture goes: its hot spot on the pointer, in whole
    // points relative to the captured area. The hot spot is counted from the
    // picture's top, the position from the frame's bottom.
    const ArrowCursor& arrow = arrowCursor();
    const double pointerX = std::trunc(input.pointer.x);
    const double pointerY = std::trunc(input.pointer.y);
    const int cursorWidth = arrow.image.width();
    const int cursorHeight = arrow.image.height();
    const double x = std::trunc(pointerX - input.captureRect.x - arrow.hotSpot.x());
    const double y = std::trunc(pointerY - input.captureRect.y - (cursorHeight - arrow.hotSpot.y()));

    // Highlight and click ring share the centre of the cursor picture.
    const ScreenPoint centre{x + cursorWidth / 2.0, y + cursorHeight / 2.0};
    auto [values, generation] = clicks_.loadWithGeneration();
    const CursorEffectsStep step =
        stepCursorEffects(values, centre, input.flags.isMouseHight, input.flags.isMouseClickEffect);
    // Only the click ring changes the click state.
    if (input.flags.isMouseClickEffect)
        clicks_.commit(values, generation);

    if (step.drawHighlight) {
        const double half = CursorEffectPictures::kHighlightSize / 2.0;
        blendPicture(frame, pictures_.highlight(),
                     pixelTopFor({centre.x - half, centre.y - half}, CursorEffectPictures::kHighlightSize,
                                 frame.height));
    }
    if (step.drawRing) {
        EMLog::showMessage("self.cursorEffectWidth:%f", static_cast<double>(step.ringWidth));
        blendPicture(frame, pictures_.ring(step.ringWidth),
                     pixelTopFor(step.ringOrigin, CursorEffectPictures::kRingBoxSize, frame.height));
    }

    // The arrow, whatever the desktop's cursor looks like.
    if (input.flags.isShowMouse)
        blendPicture(frame, arrow.image, pixelTopFor({x, y}, cursorHeight, frame.height));

    // The watermark on top.
    watermark_.draw(frame);
}
