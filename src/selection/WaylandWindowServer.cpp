#include "selection/WaylandWindowServer.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

PointD WaylandWindowServer::primaryOriginOnDesktop() {
    const QScreen* primary = QGuiApplication::primaryScreen();
    if (!primary)
        return {};
    return {double(primary->geometry().x()), double(primary->geometry().y())};
}

std::vector<DisplayInfo> WaylandWindowServer::displays() {
    std::vector<DisplayInfo> result;
    const PointD origin = primaryOriginOnDesktop();
    const QScreen* primary = QGuiApplication::primaryScreen();
    std::uint32_t id = 0;
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect g = screen->geometry();
        DisplayInfo d;
        // Outputs have no numbers a client could see; their order serves.
        d.id = ++id;
        d.bounds = {g.x() - origin.x, g.y() - origin.y, double(g.width()), double(g.height())};
        if (!screen->model().isEmpty())
            d.productName = screen->model();
        d.primary = screen == primary;
        result.push_back(d);
    }
    return result;
}

PointD WaylandWindowServer::mouseLocationInWindowList() {
    const QPoint at = QCursor::pos();
    const PointD origin = primaryOriginOnDesktop();
    return {at.x() - origin.x, at.y() - origin.y};
}
