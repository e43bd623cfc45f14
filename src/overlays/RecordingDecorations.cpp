#include "overlays/RecordingDecorations.h"

#include "core/EMLog.h"

RecordingDecorations::RecordingDecorations(WatermarkState& watermark, std::shared_ptr<PointerFeed> pointer)
    : watermark_(watermark), feed_(std::move(pointer)) {
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

std::function<uint64_t(const VideoFrame&, const RVRect&)> RecordingDecorations::signatureHook() {
    return [this](const VideoFrame& frame, const RVRect&) {
        return planFor(frame);
    };
}

void RecordingDecorations::ensureDecorator() {
    if (!decorator_)
        decorator_ = std::make_unique<FrameDecorator>(clicks_, watermark_);
    if (!pointer_)
        pointer_ = std::make_unique<x11input::PointerReader>();
}

FrameDecorationInput RecordingDecorations::inputFor(const VideoFrame& frame) {
    FrameDecorationInput input;
    input.flags = flags_;
    const ScreenRect area{double(frame.originX), double(frame.originY), double(frame.pixels.width),
                          double(frame.pixels.height)};
    input.captureRect = screenRectFromRoot(area, primary_);
    std::optional<ScreenPoint> at;
    if (feed_ && feed_->active()) {
        if (const auto p = feed_->position())
            at = screenPointFromRoot(p->x, p->y, primary_);
    } else if (pointer_->isOpen()) {
        if (const auto p = pointer_->position())
            at = screenPointFromRoot(p->x, p->y, primary_);
    }
    // Nobody knows where the pointer is (a screen cast whose pictures show
    // the desktop's own cursor, or one hidden): no arrow, highlight or ring
    // drawn in a corner; the watermark stays.
    if (at)
        input.pointer = *at;
    else
        input.flags = {};
    return input;
}

uint64_t RecordingDecorations::planFor(const VideoFrame& frame) {
    if (!enabled_)
        return 0;
    std::lock_guard lock(frameMutex_);
    ensureDecorator();
    plannedFrame_ = decorator_->plan(inputFor(frame), frame.pixels.height);
    plannedFor_ = &frame;
    return plannedFrame_->signature();
}

void RecordingDecorations::decorate(VideoFrame& frame) {
    if (!enabled_)
        return;
    std::lock_guard lock(frameMutex_);
    ensureDecorator();
    // The plan the compositor judged this frame by, so that what was
    // compared is what is drawn; otherwise a fresh one.
    const DecorationPlan plan = plannedFrame_ && plannedFor_ == &frame
                                    ? *plannedFrame_
                                    : decorator_->plan(inputFor(frame), frame.pixels.height);
    plannedFrame_.reset();
    plannedFor_ = nullptr;
    frame.drawnRows.add(decorator_->draw(frame.pixels, plan), frame.pixels.height);
}
