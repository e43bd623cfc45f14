#include "selection/X11WindowServer.h"

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Inventory.h"

#include <algorithm>
#include <climits>

namespace {
// Window-list layers: the desktop lies below
// everything, normal windows at 0, docks and panels above.
constexpr int kDesktopLayer = INT_MIN + 20;
constexpr int kDockLayer = 20;
// Icons are shown at 18 points in the application list.
constexpr int kIconSide = 18;
} // namespace

X11WindowServer::X11WindowServer() = default;
X11WindowServer::~X11WindowServer() = default;

bool X11WindowServer::ensureConnected() {
    if (!connection_)
        connection_ = std::make_unique<x11::Connection>();
    return connection_->isOpen();
}

PointD X11WindowServer::primaryOriginOnDesktop() {
    if (!ensureConnected())
        return {};
    x11::Inventory inventory(*connection_);
    const std::vector<x11::Monitor> monitors = inventory.monitors();
    for (const x11::Monitor& m : monitors) {
        if (m.primary)
            return {double(m.x), double(m.y)};
    }
    return monitors.empty() ? PointD{} : PointD{double(monitors.front().x), double(monitors.front().y)};
}

std::vector<DisplayInfo> X11WindowServer::displays() {
    std::vector<DisplayInfo> result;
    if (!ensureConnected())
        return result;
    x11::Inventory inventory(*connection_);
    std::vector<x11::Monitor> monitors = inventory.monitors();
    // Without a primary monitor the first one plays its part.
    const bool anyPrimary = std::any_of(monitors.begin(), monitors.end(), [](auto& m) { return m.primary; });
    if (!anyPrimary && !monitors.empty())
        monitors.front().primary = true;
    PointD origin;
    for (const x11::Monitor& m : monitors) {
        if (m.primary)
            origin = {double(m.x), double(m.y)};
    }
    for (const x11::Monitor& m : monitors) {
        DisplayInfo d;
        d.id = m.id;
        d.bounds = {m.x - origin.x, m.y - origin.y, double(m.width), double(m.height)};
        if (m.productName)
            d.productName = QString::fromStdString(*m.productName);
        d.primary = m.primary;
        result.push_back(d);
    }
    return result;
}

std::vector<WindowInfo> X11WindowServer::onScreenWindows() {
    std::vector<WindowInfo> result;
    if (!ensureConnected())
        return result;
    const PointD origin = primaryOriginOnDesktop();
    x11::Inventory inventory(*connection_);
    for (const x11::TopLevelWindow& w : inventory.windowsFrontToBack()) {
        WindowInfo info;
        info.number = w.id;
        info.ownerPid = static_cast<int>(w.pid);
        if (w.wmClass)
            info.ownerName = QString::fromStdString(*w.wmClass);
        info.name = QString::fromStdString(w.title);
        info.alpha = w.opacity;
        info.bounds = {w.x - origin.x, w.y - origin.y, double(w.width), double(w.height)};
        info.layer = w.kind == x11::WindowKind::Desktop ? kDesktopLayer
                     : w.kind == x11::WindowKind::Dock  ? kDockLayer
                                                        : 0;
        result.push_back(info);
    }
    return result;
}

std::optional<std::uint32_t> X11WindowServer::mainDisplayId() {
    if (!ensureConnected())
        return std::nullopt;
    x11::Inventory inventory(*connection_);
    const std::optional<std::uint32_t> active = inventory.activeWindow();
    if (!active)
        return std::nullopt;
    const std::optional<x11::TopLevelWindow> w = inventory.describe(*active);
    if (!w)
        return std::nullopt;
    const int cx = w->x + w->width / 2;
    const int cy = w->y + w->height / 2;
    for (const x11::Monitor& m : inventory.monitors()) {
        if (cx >= m.x && cx < m.x + m.width && cy >= m.y && cy < m.y + m.height)
            return m.id;
    }
    return std::nullopt;
}

PointD X11WindowServer::mouseLocationInWindowList() {
    if (!ensureConnected())
        return {};
    x11::Inventory inventory(*connection_);
    const auto p = inventory.pointer();
    if (!p)
        return {};
    const PointD origin = primaryOriginOnDesktop();
    return {p->first - origin.x, p->second - origin.y};
}

QImage X11WindowServer::windowIcon(std::uint32_t windowNumber) {
    if (!ensureConnected())
        return {};
    x11::Inventory inventory(*connection_);
    return inventory.windowIcon(windowNumber, kIconSide);
}

QImage X11WindowServer::captureRect(const RectD& rect, const std::vector<std::uint32_t>&) {
    if (!ensureConnected())
        return {};
    const RectD onDesktop = windowListToDesktop(rect);
    return x11::grabRootArea(*connection_, int(onDesktop.x), int(onDesktop.y), int(onDesktop.width),
                             int(onDesktop.height));
}
