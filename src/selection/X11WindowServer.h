#pragma once

#include "selection/WindowServer.h"

#include <memory>

namespace x11 {
class Connection;
}

// The window server of an X11 desktop: RandR monitors, the EWMH window list
// and root-window captures. Converts X11's root coordinates to window-list
// space (origin at the primary monitor's top left) and nothing else.
//
// Opens its own connection to $DISPLAY on first use; without a display
// every list is empty. Main thread only.
class X11WindowServer : public WindowServer {
public:
    X11WindowServer();
    ~X11WindowServer() override;

    std::vector<DisplayInfo> displays() override;
    std::vector<WindowInfo> onScreenWindows() override;
    std::optional<std::uint32_t> mainDisplayId() override;
    PointD mouseLocationInWindowList() override;
    QImage windowIcon(std::uint32_t windowNumber) override;
    // X11 composes no image from chosen windows: the area is read from the
    // screen as shown. Windows in `exceptWindows` are left out only by not
    // being mapped at that moment (the overlay takes its picture before it
    // shows itself).
    QImage captureRect(const RectD& rect, const std::vector<std::uint32_t>& exceptWindows) override;
    PointD primaryOriginOnDesktop() override;

private:
    bool ensureConnected();

    std::unique_ptr<x11::Connection> connection_;
};
