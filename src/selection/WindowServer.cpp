#include "selection/WindowServer.h"

#include "core/EMLog.h"
#include "selection/WaylandWindowServer.h"
#include "selection/X11WindowServer.h"

#include <QGuiApplication>
#include <memory>
#include <unistd.h>

namespace {
WindowServer* g_override = nullptr;
} // namespace

int WindowServer::currentProcessId() const {
    return static_cast<int>(::getpid());
}

std::vector<ScreenInfo> WindowServer::screens() {
    const std::vector<DisplayInfo> list = displays();
    // Window-list space has its origin at the primary display's top left, so
    // the primary display's height is the mirror line for every screen.
    double primaryHeight = 0;
    for (const DisplayInfo& d : list) {
        if (d.primary) {
            primaryHeight = d.bounds.height;
            break;
        }
    }
    if (primaryHeight == 0 && !list.empty())
        primaryHeight = list.front().bounds.height;
    std::vector<ScreenInfo> result;
    result.reserve(list.size());
    for (const DisplayInfo& d : list) {
        ScreenInfo s;
        s.screenNumber = d.id;
        s.name = d.productName.value_or(QString());
        s.frame = {d.bounds.x, primaryHeight - d.bounds.y - d.bounds.height, d.bounds.width, d.bounds.height};
        result.push_back(s);
    }
    return result;
}

std::optional<ScreenInfo> WindowServer::mainScreen() {
    const std::vector<ScreenInfo> list = screens();
    if (list.empty())
        return std::nullopt;
    if (const std::optional<std::uint32_t> id = mainDisplayId()) {
        for (const ScreenInfo& s : list) {
            if (s.screenNumber == *id)
                return s;
        }
    }
    const std::vector<DisplayInfo> ds = displays();
    for (std::size_t i = 0; i < ds.size() && i < list.size(); ++i) {
        if (ds[i].primary)
            return list[i];
    }
    return list.front();
}

PointD WindowServer::mouseLocation() {
    const PointD p = mouseLocationInWindowList();
    double primaryHeight = 0;
    for (const ScreenInfo& s : screens()) {
        if (static_cast<long long>(s.frame.x) == 0 && static_cast<long long>(s.frame.y) == 0)
            primaryHeight = s.frame.height;
    }
    // A point has no height: only the mirror line matters.
    return {p.x, primaryHeight - p.y};
}

RectD WindowServer::desktopToWindowList(const RectD& rect) {
    const PointD o = primaryOriginOnDesktop();
    return rect.offsetBy(-o.x, -o.y);
}

RectD WindowServer::windowListToDesktop(const RectD& rect) {
    const PointD o = primaryOriginOnDesktop();
    return rect.offsetBy(o.x, o.y);
}

RectD WindowServer::screenToDesktop(const RectD& rect) {
    const std::vector<ScreenInfo> list = screens();
    const std::optional<ScreenInfo> main = mainScreen();
    const double height = ScreenGeometry::primaryReferenceHeight(list, main ? &*main : nullptr);
    return windowListToDesktop({rect.x, height - rect.y - rect.height, rect.width, rect.height});
}

RectD WindowServer::desktopToScreen(const RectD& rect) {
    const std::vector<ScreenInfo> list = screens();
    const std::optional<ScreenInfo> main = mainScreen();
    const double height = ScreenGeometry::primaryReferenceHeight(list, main ? &*main : nullptr);
    const RectD r = desktopToWindowList(rect);
    return {r.x, height - r.y - r.height, r.width, r.height};
}

WindowServer& WindowServer::shared() {
    if (g_override)
        return *g_override;
    // Qt's own platform decides: an application on XWayland is an X11
    // client, and may read the screen as one.
    if (QGuiApplication::platformName().startsWith("wayland")) {
        static WaylandWindowServer wayland;
        return wayland;
    }
    static X11WindowServer server;
    return server;
}

void WindowServer::setShared(WindowServer* server) {
    g_override = server;
}

std::optional<ScreenInfo> currentScreenForMouseLocation() {
    EMLog::showMessage("%s", __PRETTY_FUNCTION__);
    WindowServer& server = WindowServer::shared();
    const std::vector<ScreenInfo> list = server.screens();
    const ScreenInfo* s = ScreenGeometry::screenContaining(list, server.mouseLocation());
    return s ? std::optional<ScreenInfo>(*s) : std::nullopt;
}
