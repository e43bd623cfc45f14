#include "selection/Screenshot.h"

#include "selection/WindowServer.h"

#include <QGuiApplication>
#include <QScreen>
#include <algorithm>

namespace {

double mainScreenScale() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    return screen ? screen->devicePixelRatio() : 1.0;
}

QImage inPoints(QImage image) {
    if (!image.isNull())
        image.setDevicePixelRatio(mainScreenScale());
    return image;
}

std::optional<DisplayInfo> mainDisplay(WindowServer& server) {
    const std::vector<DisplayInfo> displays = server.displays();
    const std::optional<std::uint32_t> id = server.mainDisplayId();
    for (const DisplayInfo& d : displays) {
        if (id ? d.id == *id : d.primary)
            return d;
    }
    if (displays.empty())
        return std::nullopt;
    return displays.front();
}

} // namespace

QImage Screenshot::imageFullScreen() {
    WindowServer& server = WindowServer::shared();
    const std::vector<DisplayInfo> displays = server.displays();
    if (displays.empty())
        return {};
    double x0 = displays.front().bounds.minX();
    double y0 = displays.front().bounds.minY();
    double x1 = displays.front().bounds.maxX();
    double y1 = displays.front().bounds.maxY();
    for (const DisplayInfo& d : displays) {
        x0 = std::min(x0, d.bounds.minX());
        y0 = std::min(y0, d.bounds.minY());
        x1 = std::max(x1, d.bounds.maxX());
        y1 = std::max(y1, d.bounds.maxY());
    }
    return inPoints(server.captureRect({x0, y0, x1 - x0, y1 - y0}, {}));
}

QImage Screenshot::imageMainFullScreen() {
    WindowServer& server = WindowServer::shared();
    const std::optional<DisplayInfo> main = mainDisplay(server);
    return main ? inPoints(server.captureRect(main->bounds, {})) : QImage();
}

QImage Screenshot::imageMainScreenForRect(const RectD& rect) {
    WindowServer& server = WindowServer::shared();
    const std::optional<DisplayInfo> main = mainDisplay(server);
    if (!main)
        return {};
    return inPoints(server.captureRect(rect.offsetBy(main->bounds.x, main->bounds.y), {}));
}

QImage Screenshot::imageRectangleScreen(const RectD& rect, const std::vector<std::uint32_t>& exceptWinodws) {
    return inPoints(WindowServer::shared().captureRect(rect, exceptWinodws));
}
