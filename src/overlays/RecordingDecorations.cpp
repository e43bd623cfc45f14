#include "overlays/RecordingDecorations.h"

#include "core/EMLog.h"

RecordingDecorations::RecordingDecorations(WatermarkState& watermark) : watermark_(watermark) {
    listener_ = std::make_unique<x11input::ClickListener>(
        [this](int, std::optional<x11input::RootPointer>) { clicks_.click(); });
    if (!listener_->start())
        EMLog::showMessage("clicks are not shown in recordings: no XInput 2 on this display");
}

RecordingDecorations::~RecordingDecorations() {
    listener_->stop();
}

void RecordingDecorations::prepare(const CursorEffectFlags& flags, const QRect& primaryInRoot,
                                   bool decorate) {
    std::lock_guard lock(frameMutex_);
    flags_ = flags;
    primary_ = {double(primaryInRoot.x()), double(primaryInRoot.y()), double(primaryInRoot.width()),
                double(primaryInRoot.height())};
    // A new recording starts with a fresh ring and fresh pictures.
    clicks_.reset();
    decorator_.reset();
    enabled_ = decorate;
}

std::function<void(VideoFrame&, const RVRect&)> RecordingDecorations::hook() {
    return [this](VideoFrame& frame, const RVRect&) {
        decorate(frame);
    };
}

void RecordingDecorations::decorate(VideoFrame& frame) {
    if (!enabled_)
        return;
    std::lock_guard lock(frameMutex_);
    if (!decorator_)
        decorator_ = std::make_unique<FrameDecorator>(clicks_, watermark_);
    if (!pointer_)
        pointer_ = std::make_unique<x11input::PointerReader>();
    FrameDecorationInput input;
    input.flags = flags_;
    const ScreenRect area{double(frame.originX), double(frame.originY), double(frame.pixels.width),
                          double(frame.pixels.height)};
    input.captureRect = screenRectFromRoot(area, primary_);
    if (pointer_->isOpen()) {
        if (const auto at = pointer_->position())
            input.pointer = screenPointFromRoot(at->x, at->y, primary_);
    }
    decorator_->appendMouseCursor(frame.pixels, input);
}
