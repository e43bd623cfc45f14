#pragma once

#include "selection/Geometry.h"
#include "selection/ScreenInfo.h"

#include <QImage>
#include <QString>
#include <cstdint>
#include <optional>
#include <vector>

// One attached display, as the display services list it.
struct DisplayInfo {
    std::uint32_t id = 0;
    // Window-list space (origin top left of the primary display, y down).
    RectD bounds;
    // The product name from the display's EDID; absent when it reports none.
    std::optional<QString> productName;
    bool primary = false;
};

// One on-screen window, as the window list reports it.
struct WindowInfo {
    std::uint32_t number = 0; // the X window id
    int ownerPid = 0;         // 0 when the window does not say
    std::optional<QString> ownerName;
    QString name;     // the window title
    double alpha = 1; // 0 = fully transparent
    RectD bounds;     // window-list space
    int layer = 0;    // below 0: desktop; 0: normal windows; above: docks, panels
};

// What the selection code needs from the window server. X11WindowServer is
// the real one; tests install a fake with setShared().
//
// Main thread only.
class WindowServer {
public:
    virtual ~WindowServer() = default;

    // Active displays in the server's order.
    virtual std::vector<DisplayInfo> displays() = 0;
    // On-screen windows, front to back.
    virtual std::vector<WindowInfo> onScreenWindows() = 0;
    // The display holding the key (active) window, when known.
    virtual std::optional<std::uint32_t> mainDisplayId() = 0;
    // The pointer in window-list space.
    virtual PointD mouseLocationInWindowList() = 0;
    // The icon a window announces, any size; null when it has none.
    virtual QImage windowIcon(std::uint32_t windowNumber) = 0;
    // The pixels inside `rect` (window-list space), leaving out the listed
    // windows where the platform can (see the implementation); a null image
    // on failure. ARGB32 premultiplied.
    virtual QImage captureRect(const RectD& rect, const std::vector<std::uint32_t>& exceptWindows) = 0;
    // Whose windows never count as another application's.
    virtual int currentProcessId() const;
    // Where window-list space's origin (the primary display's top left) lies
    // in the desktop's own y-down coordinates, which Qt's global positions
    // use. (0, 0) unless the primary display is not the top-left one.
    virtual PointD primaryOriginOnDesktop() { return {}; }

    // Qt/X11 desktop coordinates (y down) to window-list space and back.
    RectD desktopToWindowList(const RectD& rect);
    RectD windowListToDesktop(const RectD& rect);
    // Screen space to the desktop's y-down coordinates and back (rule A's
    // reference height, then the primary display's place on the desktop).
    RectD screenToDesktop(const RectD& rect);
    RectD desktopToScreen(const RectD& rect);

    // The displays as screens, in the same order (screen space).
    std::vector<ScreenInfo> screens();
    // The main screen: the one with the key window, else the primary, else
    // the first; nullopt when there is none.
    std::optional<ScreenInfo> mainScreen();
    // The pointer in screen space.
    PointD mouseLocation();

    // The server the static helpers use; created for X11 on first use.
    static WindowServer& shared();
    // Replaces the shared server (tests); null restores the default.
    // The caller keeps ownership.
    static void setShared(WindowServer* server);
};

// The screen under the pointer, or nullopt.
std::optional<ScreenInfo> currentScreenForMouseLocation();
