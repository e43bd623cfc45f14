#pragma once

#include "selection/WindowServer.h"

// The window server of a Wayland session, as far as a client may see it:
// the outputs as Qt lists them (the first primary one counts as primary), no
// window list, no window icons, and no picture of the screen (reading the
// screen goes through the desktop portal, which may ask the user). Window
// recordings and window snapping are therefore not offered here; areas and
// full screens are.
//
// Main thread only; needs a QGuiApplication.
class WaylandWindowServer : public WindowServer {
public:
    std::vector<DisplayInfo> displays() override;
    std::vector<WindowInfo> onScreenWindows() override { return {}; }
    std::optional<std::uint32_t> mainDisplayId() override { return std::nullopt; }
    // Where Qt last saw the pointer over one of our windows: a Wayland client
    // learns nothing of it elsewhere.
    PointD mouseLocationInWindowList() override;
    QImage windowIcon(std::uint32_t) override { return {}; }
    QImage captureRect(const RectD&, const std::vector<std::uint32_t>&) override { return {}; }
    PointD primaryOriginOnDesktop() override;
};
