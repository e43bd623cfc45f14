#include "platform/x11/WindowFrame.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Inventory.h"
#include "platform/x11capture/X11Capture.h"
#include "platform/x11capture/XcbHandles.h"

#include <QImage>
#include <algorithm>
#include <cstring>

// The recording's view of the desktop is the selection overlay's: monitors,
// windows and window frames all come from x11::Inventory and x11::windowFrame,
// so what the overlay highlights is what a recording captures.
namespace x11capture {

XcbDisplay connectDisplay(std::string& error) {
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) {
        error = "no X display (DISPLAY is not set)";
        return {};
    }
    int screenNumber = 0;
    XcbConnectionPtr c(xcb_connect(name, &screenNumber), XcbDisconnect());
    if (xcb_connection_has_error(c.get())) {
        error = std::string("cannot connect to the X display ") + name;
        return {};
    }
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c.get()));
    for (int i = 0; i < screenNumber && it.rem; ++i)
        xcb_screen_next(&it);
    if (!it.rem) {
        error = "the X display has no screen";
        return {};
    }
    return {c, it.data};
}

bool displayAvailable(std::string* error) {
    std::string message;
    const bool ok = connectDisplay(message).connection != nullptr;
    if (error)
        *error = message;
    return ok;
}

std::vector<RVScreen> listMonitors() {
    x11::Connection connection;
    if (!connection.isOpen())
        return {};
    std::vector<RVScreen> screens;
    for (const x11::Monitor& m : x11::Inventory(connection).monitors()) {
        RVScreen screen;
        screen.name = m.name;
        screen.x = m.x;
        screen.y = m.y;
        screen.width = m.width;
        screen.height = m.height;
        screen.primary = m.primary;
        screens.push_back(std::move(screen));
    }
    return screens;
}

std::vector<CaptureWindowInfo> listWindows() {
    x11::Connection connection;
    if (!connection.isOpen())
        return {};
    std::vector<CaptureWindowInfo> windows;
    for (const x11::TopLevelWindow& w : x11::Inventory(connection).windowsFrontToBack()) {
        CaptureWindowInfo info;
        info.number = w.id;
        info.ownerName = w.wmClass.value_or(std::string());
        info.name = w.title;
        // Not evened: the recording's start evens the size it is handed.
        info.bounds = {double(w.x), double(w.y), double(w.width), double(w.height)};
        windows.push_back(std::move(info));
    }
    return windows;
}

CapturedImage getCapturedImage(uint64_t window) {
    x11::Connection connection;
    if (!connection.isOpen())
        return {};
    x11::FrameAtoms atoms;
    atoms.frameExtents = connection.atom("_NET_FRAME_EXTENTS");
    const std::optional<x11::FrameRect> frame =
        x11::windowFrame(connection.get(), connection.root(), static_cast<std::uint32_t>(window), atoms);
    if (!frame)
        return {};
    const int x0 = std::max(frame->x, 0);
    const int y0 = std::max(frame->y, 0);
    const int x1 = std::min(frame->x + frame->width, connection.rootWidth());
    const int y1 = std::min(frame->y + frame->height, connection.rootHeight());
    if (x1 <= x0 || y1 <= y0)
        return {};
    const QImage image = x11::grabRootArea(connection, x0, y0, x1 - x0, y1 - y0);
    if (image.isNull())
        return {};
    CapturedImage result;
    result.width = image.width();
    result.height = image.height();
    const std::size_t rowBytes = static_cast<std::size_t>(result.width) * 4;
    result.bgra.resize(rowBytes * result.height);
    for (int row = 0; row < result.height; ++row)
        std::memcpy(result.bgra.data() + rowBytes * row, image.constScanLine(row), rowBytes);
    return result;
}

} // namespace x11capture
