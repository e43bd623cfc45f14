#include "selection/SnipUtil.h"

#include "core/EMLog.h"
#include "selection/WindowServer.h"

#include <QWidget>
#include <cmath>

bool SnipUtil::isPointInRect(PointD point, const RectD& rect) {
    return point.x >= rect.minX() && point.x < rect.maxX() && point.y >= rect.minY() && point.y < rect.maxY();
}

double SnipUtil::pointDistanceToPoint(PointD a, PointD b) {
    const double dx = a.x - b.x;
    const double dy = a.y - b.y;
    return dx * dx + dy * dy;
}

RectD SnipUtil::uniformRect(const RectD& rect) {
    RectD r = rect;
    if (r.width < 0) {
        r.x += r.width;
        r.width = -r.width;
    }
    if (r.height < 0) {
        r.y += r.height;
        r.height = -r.height;
    }
    return r;
}

RectD SnipUtil::rectToZero(const RectD& rect) {
    return {0, 0, rect.width, rect.height};
}

RectD SnipUtil::flipRect(const RectD& rect, double referenceHeight) {
    return {rect.x, referenceHeight - rect.y - rect.height, rect.width, rect.height};
}

RectD SnipUtil::cgWindowRectToScreenRect(const RectD& rect) {
    WindowServer& server = WindowServer::shared();
    const std::vector<ScreenInfo> screens = server.screens();
    const std::optional<ScreenInfo> main = server.mainScreen();
    return flipRect(rect, ScreenGeometry::primaryReferenceHeight(screens, main ? &*main : nullptr));
}

QImage SnipUtil::screenShot(const QWidget* window) {
    WindowServer& server = WindowServer::shared();
    // Qt reports the frame y-down on the desktop; rule A turns it into
    // screen space for the log, and the capture takes it in window-list space.
    RectD frameInList;
    if (window) {
        const QRect g = window->frameGeometry();
        frameInList =
            server.desktopToWindowList({double(g.x()), double(g.y()), double(g.width()), double(g.height())});
    }
    const RectD rect = cgWindowRectToScreenRect(frameInList);
    EMLog::showMessage("screenShot: {{%g, %g}, {%g, %g}}", rect.x, rect.y, rect.width, rect.height);
    std::vector<std::uint32_t> none;
    return server.captureRect(frameInList, none);
}
