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

RowBands FrameDecorator::appendMouseCursor(const PixelBufferView& frame, const FrameDecorationInput& input) {
    if (!frame.data || frame.width <= 0 || frame.height <= 0)
        return {};
    return draw(frame, plan(input, frame.height));
}

DecorationPlan FrameDecorator::plan(const FrameDecorationInput& input, int frameHeight) {
    DecorationPlan plan;
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
        plan.drawHighlight = true;
        plan.highlightTop = pixelTopFor({centre.x - half, centre.y - half},
                                        CursorEffectPictures::kHighlightSize, frameHeight);
    }
    if (step.drawRing) {
        plan.drawRing = true;
        plan.ringWidth = step.ringWidth;
        plan.ringTop = pixelTopFor(step.ringOrigin, CursorEffectPictures::kRingBoxSize, frameHeight);
    }
    // The arrow, whatever the desktop's cursor looks like.
    if (input.flags.isShowMouse) {
        plan.drawCursor = true;
        plan.cursorTop = pixelTopFor({x, y}, cursorHeight, frameHeight);
    }
    plan.watermark = watermark_.signature();
    return plan;
}

RowBands FrameDecorator::draw(const PixelBufferView& frame, const DecorationPlan& plan) {
    RowBands drawn;
    if (!frame.data || frame.width <= 0 || frame.height <= 0)
        return drawn;
    const auto put = [&](const QImage& picture, PixelPosition top) {
        blendPicture(frame, picture, top);
        drawn.add(top.row, top.row + picture.height(), frame.height);
    };
    if (plan.drawHighlight)
        put(pictures_.highlight(), plan.highlightTop);
    if (plan.drawRing) {
        EMLog::showMessage("self.cursorEffectWidth:%f", static_cast<double>(plan.ringWidth));
        put(pictures_.ring(plan.ringWidth), plan.ringTop);
    }
    if (plan.drawCursor)
        put(arrowCursor().image, plan.cursorTop);
    // The watermark on top.
    if (const auto rows = watermark_.draw(frame))
        drawn.add(rows->first, rows->second, frame.height);
    return drawn;
}

uint64_t DecorationPlan::signature() const {
    // FNV-1a over the fields that decide the pixels.
    uint64_t h = 1469598103934665603ull;
    const auto mix = [&h](int64_t v) {
        for (int i = 0; i < 8; ++i) {
            h ^= static_cast<uint64_t>(v >> (8 * i)) & 0xff;
            h *= 1099511628211ull;
        }
    };
    mix(drawCursor ? 1 + cursorTop.column * 65536LL + cursorTop.row : 0);
    mix(drawHighlight ? 1 + highlightTop.column * 65536LL + highlightTop.row : 0);
    mix(drawRing ? 1 + ringTop.column * 65536LL + ringTop.row : 0);
    mix(drawRing ? static_cast<int64_t>(ringWidth * 1000) : 0);
    mix(static_cast<int64_t>(watermark.generation));
    mix(watermark.second);
    return h;
}
