#include "selection/ClipModel.h"

#include "core/EMLog.h"
#include "engine/RecordRequest.h"
#include "selection/SnipUtil.h"

#include <algorithm>
#include <cmath>

namespace {
// A press shorter than this that leaves a tiny selection was a click.
constexpr double kClickSeconds = 0.5;
} // namespace

ClipModel::ClipModel(SizeD overlay, int type, int recordVideoType)
    : overlay_(overlay), type_(type), recordVideoType_(recordVideoType) {
}

double ClipModel::minimumSide() const {
    return waterImage_ ? ClipGeometry::kMinimumSideWithWaterImage : ClipGeometry::kMinimumSide;
}

void ClipModel::setFrameForContentView(const RectD& rect) {
    resetFramesToThisOne(rect.insetBy(-ClipGeometry::kBorderOutset, -ClipGeometry::kBorderOutset));
}

void ClipModel::resetFramesToThisOne(const RectD& borderFrame) {
    contentFrame = borderFrame;
    contentRect = borderFrame.insetBy(ClipGeometry::kBorderOutset, ClipGeometry::kBorderOutset);
}

void ClipModel::mouseDown(PointD p, int clickCount, double now) {
    if (clickCount == 2) {
        notify(Event::MouseDoubleClick);
        return;
    }
    if (clipState == 0) {
        lastDate = now;
        clipState = 1;
        if (SnipUtil::isPointInRect(p, {0, 0, overlay_.width, overlay_.height}))
            rectBeginPoint = p;
    }
    const SizeD border = contentFrame.size();
    const PointD inBorder{p.x - contentFrame.x, p.y - contentFrame.y};
    const bool onHandle = ClipGeometry::isInResizeRect(inBorder, border);
    const bool inSelection = SnipUtil::isPointInRect(p, contentRect);
    if (inSelection && !onHandle) {
        dragMode = 2;
    } else if (onHandle || SnipUtil::isPointInRect(p, contentFrame)) {
        theAnchor = ClipGeometry::nearestHandle(inBorder, border);
        dragMode = 1;
        resizeMultiplyer = ClipGeometry::fillMultiplyer(theAnchor, border);
        const ClipGeometry::DragStateInfo state = ClipGeometry::dragStateForAnchor(theAnchor, border);
        dragState = state.dragState;
        EMLog::showMessage("%s", state.logText);
    } else {
        dragMode = 0;
    }
    startPoint = p;
    if (recordVideoTypeFromInt(recordVideoType_) == RecordVideoType::FullScreen)
        mouseUp(p, now);
}

void ClipModel::mouseDragged(PointD p) {
    if (recordVideoTypeFromInt(recordVideoType_) == RecordVideoType::AppWindow && !waterImage_)
        return;
    onlyClipCurrentWindow = false;
    if (clipState == 1 || clipState == 2) {
        clipState = 2;
        rectDrawing = true;
        rectEndPoint = p;
        if (waterImage_) {
            setFrameForContentView(contentRect);
        } else {
            setFrameForContentView({std::min(rectBeginPoint.x, p.x), std::min(rectBeginPoint.y, p.y),
                                    std::fabs(p.x - rectBeginPoint.x), std::fabs(p.y - rectBeginPoint.y)});
        }
        return;
    }
    if (dragMode == 2)
        moveWithTouchPoint(p);
    else if (dragMode == 1)
        resizeWithTouchPoint(p);
}

void ClipModel::moveWithTouchPoint(PointD p) {
    resetFramesToThisOne(contentFrame.offsetBy(p.x - startPoint.x, p.y - startPoint.y));
    startPoint = p;
}

void ClipModel::resizeWithTouchPoint(PointD p) {
    const double inset = ClipGeometry::kResizeInset;
    p.x = std::clamp(p.x, inset, std::max(inset, overlay_.width - inset));
    p.y = std::clamp(p.y, inset, std::max(inset, overlay_.height - inset));
    const ClipGeometry::ResizeMultiplyer& m = resizeMultiplyer;
    const double dx = m.xSize * (startPoint.x - p.x);
    const double dy = m.ySize * (p.y - startPoint.y);
    RectD frame{contentFrame.x - m.xOrigin * dx, contentFrame.y - m.yOrigin * dy, contentFrame.width + dx,
                contentFrame.height + dy};
    if (waterImage_) {
        frame = keepAspect(frame);
        // Holding back only the axis that got too small would stretch the
        // picture: a step that shrinks either side under the minimum is not
        // taken at all. A picture smaller than the minimum may still grow.
        const double minimumFrame = minimumSide() + 2 * ClipGeometry::kBorderOutset;
        const bool shrinksTooFar = (frame.width < minimumFrame && frame.width < contentFrame.width) ||
                                   (frame.height < minimumFrame && frame.height < contentFrame.height);
        if (shrinksTooFar)
            frame = contentFrame;
    } else {
        frame = ClipGeometry::preventTooSmall(frame, contentFrame, minimumSide());
    }
    resetFramesToThisOne(frame);
    startPoint = p;
}

RectD ClipModel::keepAspect(const RectD& frame) const {
    if (waterImage_->width <= 0 || waterImage_->height <= 0)
        return frame;
    // The image's aspect is kept by the selection, which is what gets drawn
    // into; the border frame is the selection plus the outset.
    const double ratio = waterImage_->width / waterImage_->height;
    const double outset = 2 * ClipGeometry::kBorderOutset;
    RectD r = frame;
    // The bottom corners set the width and the height follows. The top and
    // bottom handles set the height, the width follows and the box stays
    // centred horizontally; the left and right handles (and the top corners,
    // which share state 7) set the width, the height follows and the box
    // stays centred vertically.
    switch (dragState) {
    case 5:
    case 8:
        r.height = (r.width - outset) / ratio + outset;
        break;
    case 1:
    case 2:
        r.width = (r.height - outset) * ratio + outset;
        r.x = contentRect.midX() - r.width / 2;
        break;
    case 3:
    case 4:
    case 6:
    case 7:
        r.height = (r.width - outset) / ratio + outset;
        r.y = contentRect.midY() - r.height / 2;
        break;
    default:
        break;
    }
    return r;
}

void ClipModel::mouseUp(PointD, double now) {
    rectDrawing = false;
    if (clipState == 1 && type_ == 0) {
        notify(Event::ClipCurrentWindow);
    } else {
        notify(Event::ShowToolbar);
        const double minimum = minimumSide();
        if (now - lastDate < kClickSeconds && contentRect.width < minimum && contentRect.height < minimum)
            setFrameForContentView(lastContentRect);
        if (clipState == 2) {
            RectD r = contentRect;
            r.width = std::max(r.width, minimum);
            r.height = std::max(r.height, minimum);
            setFrameForContentView(r);
        }
    }
    // The overlay covers its screen, so a selection of the overlay's size
    // is the whole screen.
    if (contentRect == RectD{0, 0, overlay_.width, overlay_.height})
        notify(Event::ClipFullScreen);
    clipState = 3;
    if (recordVideoTypeFromInt(recordVideoType_) == RecordVideoType::AppWindow)
        notify(Event::StartNow);
}

void ClipModel::mouseMoved(PointD p, double now) {
    if (clipState == 0) {
        notify(Event::MouseMoved);
        lastContentRect = contentRect;
    }
    // Full screen needs no choice: the first move acts as the press.
    if (recordVideoTypeFromInt(recordVideoType_) == RecordVideoType::FullScreen && clipState != 3)
        mouseDown(p, 1, now);
}
