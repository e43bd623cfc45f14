#pragma once

#include "platform/x11/X11Connection.h"

#include <QImage>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace x11 {

// One RandR monitor, in root coordinates (y down, origin at the root's top left).
struct Monitor {
    // The monitor's first output, or its name atom when it has none.
    std::uint32_t id = 0;
    std::string name; // RandR's name for it ("DP-1", "screen")
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool primary = false;
    // From the EDID monitor-name descriptor; absent when the display gives none.
    std::optional<std::string> productName;
};

enum class WindowKind { Normal, Desktop, Dock };

// One viewable top-level window, in root coordinates.
struct TopLevelWindow {
    std::uint32_t id = 0;
    std::uint32_t pid = 0; // _NET_WM_PID; 0 when unset
    // WM_CLASS's class part (the instance part when the class is empty).
    std::optional<std::string> wmClass;
    std::string title;  // _NET_WM_NAME, else WM_NAME
    double opacity = 1; // _NET_WM_WINDOW_OPACITY scaled to 0..1
    // The frame, decorations included (x11::windowFrame in WindowFrame.h).
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    WindowKind kind = WindowKind::Normal;
};

// The displays and windows of one X server. Each call asks the server
// afresh; nothing is cached but atoms. Use from the connection's thread.
class Inventory {
public:
    explicit Inventory(Connection& connection) : c_(connection) {}

    // RandR monitors in the server's order; with no RandR 1.5, one monitor
    // covering the root window.
    std::vector<Monitor> monitors();
    // Viewable windows, front to back: the window manager's
    // _NET_CLIENT_LIST_STACKING when it keeps one, else the root's mapped
    // children that a window manager would manage (no override-redirect).
    std::vector<TopLevelWindow> windowsFrontToBack();
    // The _NET_WM_ICON image of the size nearest to `preferredSide` from
    // above (else the largest); null when the window has none.
    QImage windowIcon(std::uint32_t window, int preferredSide);
    // The pointer in root coordinates.
    std::optional<std::pair<int, int>> pointer();
    // _NET_ACTIVE_WINDOW, when a window manager sets it.
    std::optional<std::uint32_t> activeWindow();
    // The frame of one window (as in TopLevelWindow); nullopt if it is gone.
    std::optional<TopLevelWindow> describe(std::uint32_t window);

private:
    std::vector<std::uint32_t> cardinals(std::uint32_t window, std::uint32_t property, std::uint32_t type,
                                         std::uint32_t maxLongs);
    std::optional<std::string> text(std::uint32_t window, std::uint32_t property);

    Connection& c_;
};

// The pixels of a root area as ARGB32 premultiplied (BGRA in memory), alpha
// opaque. Parts outside the root window are black. Null on failure.
QImage grabRootArea(Connection& connection, int x, int y, int width, int height);

} // namespace x11
