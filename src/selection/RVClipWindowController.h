#pragma once

#include "selection/RVClipView.h"
#include "selection/ScreenInfo.h"
#include "selection/WindowServer.h"

#include <QImage>
#include <QObject>
#include <QPointer>
#include <memory>
#include <vector>

class RVClipWindowController;

// What a region-screenshot overlay tells its owner (RVClipScreenManager) and
// asks of it. Called on the main thread.
class RVClipWindowControllerDelegate {
public:
    virtual ~RVClipWindowControllerDelegate() = default;
    // clipWindowController:didClipedWithImage: — the user took `image`, the
    // selection's part of the frozen screen.
    virtual void clipWindowController(RVClipWindowController* controller, const QImage& image) = 0;
    // Escape, the cancel button or a right click: nothing is taken.
    virtual void clipWindowControllerDidCancel(RVClipWindowController* controller) = 0;
    // The windows on screen when the capture started, front to back, for
    // the hover highlight.
    virtual const std::vector<WindowInfo>& windowsOnScreen() const = 0;
    // The pointer went over another screen: give that screen's overlay the keyboard.
    virtual void changeKeyWindowWithScreen(const ScreenInfo& screen) = 0;
};

// One screen's overlay for a region screenshot: a frameless window over the
// screen showing its frozen picture in the selection view (hover highlight
// of windows, drag to draw, handles, Escape), with a toolbar whose capture
// button, Return or a double click in the selection takes the region.
//
// Main thread only. Created and kept by RVClipScreenManager, one per screen.
class RVClipWindowController : public QObject, public RVClipViewDelegate {
    Q_OBJECT
public:
    // initWithDelegate: — the delegate outlives the controller.
    explicit RVClipWindowController(RVClipWindowControllerDelegate* delegate);
    ~RVClipWindowController() override;

    void setScreen(const ScreenInfo& target) { screen = target; }
    // Covers `target` with the overlay showing `frozen`, the screen's picture
    // taken before any overlay appeared.
    void startCaptureWithScreen(const ScreenInfo& target, const QImage& frozen);
    // Takes the overlay off the screen; nothing is reported afterwards.
    void cleanup();
    // Brings the overlay to the front and gives it the keyboard.
    void makeKeyWindow();
    // Highlights the window under `mouse` (screen space).
    void ChooseWindowRectInScreen(PointD mouse);
    // Hands the selection's picture to the delegate; ignored without one.
    void takeSelection();

    ScreenInfo screen;
    // The hovered window, in this overlay's view coordinates, cut to the screen.
    RectD lastWindowRect;
    RVClipView* clipView() const { return clipView_; }
    QWidget* window() const { return window_; }

    // RVClipViewDelegate
    void clipViewMouseDoubleClick(RVClipView*) override;
    void clipViewClipCurrentWindow(RVClipView*) override;
    void clipViewCancleSelected(RVClipView*) override;
    void clipViewMouseMoved(RVClipView*) override;
    void clipViewStartNote(RVClipView*) override;
    void clipViewCancel(RVClipView*) override;

public slots:
    void ChangeLoanguage();

private:
    class KeyMonitor;
    bool onKey(int key);
    bool hasSelection() const;
    void cancel();

    RVClipWindowControllerDelegate* delegate_;
    std::vector<ScreenInfo> screens_;
    double referenceHeight_ = 0;
    PointD primaryOrigin_;
    QPointer<QWidget> window_;
    QPointer<RVClipView> clipView_;
    std::unique_ptr<KeyMonitor> eventMonitor_;
    // Set once the overlay has reported (taken or cancelled): later clicks
    // and keys that were already queued do nothing.
    bool finished_ = false;
};
