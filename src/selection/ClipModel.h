#pragma once

#include "selection/ClipGeometry.h"
#include "selection/Geometry.h"

#include <functional>
#include <optional>

// What the selection view does with the mouse, without the view: the
// clipState / dragMode / dragState machines, moving and resizing the frame
// with its handles, and what the view must tell its delegate. RVClipView
// feeds it points in view coordinates (origin bottom left, y up) and draws
// what it holds.
//
// Main thread only (it lives inside RVClipView).
class ClipModel {
public:
    enum class Event {
        MouseDoubleClick,  // clipViewMouseDoubleClick
        ClipCurrentWindow, // clipViewClipCurrentWindow: select the hovered window
        ClipFullScreen,    // clipViewClipFullScreen
        MouseMoved,        // clipViewMouseMoved: look for the window under the mouse
        ShowToolbar,       // show the toolbar next to the selection
        StartNow,          // window mode: press start without waiting for the user
    };
    using Listener = std::function<void(Event)>;

    // `type` 0 selects a window on a plain click. `recordVideoType` is the
    // recording kind (0 full screen, 1 area, 2 window).
    ClipModel(SizeD overlay, int type, int recordVideoType);

    void setListener(Listener listener) { listener_ = std::move(listener); }
    // With a water image the selection keeps its aspect and may be smaller.
    void setWaterImageSize(std::optional<SizeD> size) { waterImage_ = size; }
    bool hasWaterImage() const { return waterImage_.has_value(); }

    // Mouse input; `now` in seconds on any steady clock.
    void mouseDown(PointD p, int clickCount, double now);
    void mouseDragged(PointD p);
    void mouseUp(PointD p, double now);
    void mouseMoved(PointD p, double now);

    // Shows `rect` as the selection (setFrameForContentView).
    void setFrameForContentView(const RectD& rect);
    // Applies a border frame: the selection becomes it less the outset.
    void resetFramesToThisOne(const RectD& borderFrame);

    double minimumSide() const;
    SizeD overlaySize() const { return overlay_; }
    int type() const { return type_; }
    int recordVideoType() const { return recordVideoType_; }

    // State, named as the view's fields.
    bool onlyClipCurrentWindow = false;
    bool rectDrawing = false;
    int clipState = 0; // 0 nothing, 1 pressed, 2 drawing, 3 chosen
    int dragState = 0; // see ClipGeometry::dragStateForAnchor
    int dragMode = 0;  // 0 none, 1 resize, 2 move
    PointD theAnchor;
    PointD startPoint;
    ClipGeometry::ResizeMultiplyer resizeMultiplyer;
    PointD rectBeginPoint;
    PointD rectEndPoint;
    RectD contentFrame; // the border view's frame
    RectD contentRect;  // the selection
    RectD lastContentRect;
    double lastDate = 0;

private:
    void notify(Event e) {
        if (listener_)
            listener_(e);
    }
    void moveWithTouchPoint(PointD p);
    void resizeWithTouchPoint(PointD p);
    RectD keepAspect(const RectD& frame) const;

    SizeD overlay_;
    int type_ = 0;
    int recordVideoType_ = 0;
    std::optional<SizeD> waterImage_;
    Listener listener_;
};
