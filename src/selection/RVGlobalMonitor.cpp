#include "selection/RVGlobalMonitor.h"

#include "selection/SnipUtil.h"
#include "selection/WindowServer.h"

#include <QImage>
#include <QRectF>
#include <QSet>
#include <array>

namespace {
// The display pop-up lists at most sixteen displays; a seventeenth is never listed.
constexpr std::size_t kMaxDisplays = 16;
// Owner names that belong to the desktop itself rather than to an application.
constexpr std::array<const char*, 4> kSystemOwners{"SystemUIServer", "Window Server", "Main Menu", "Dock"};
constexpr int kIconSide = 18;
} // namespace

QVariantList RVGlobalMonitor::monitorList() {
    QVariantList result;
    const std::vector<DisplayInfo> displays = WindowServer::shared().displays();
    for (std::size_t i = 0; i < displays.size() && i < kMaxDisplays; ++i) {
        QVariantMap record;
        record.insert("MonitorId", QVariant::fromValue<qulonglong>(displays[i].id));
        if (displays[i].productName)
            record.insert("MonitorName", *displays[i].productName);
        result.append(record);
    }
    return result;
}

RectD RVGlobalMonitor::monitorFrame(std::uint32_t displayId) {
    for (const DisplayInfo& d : WindowServer::shared().displays()) {
        if (d.id == displayId)
            return d.bounds;
    }
    return {};
}

QVariantList RVGlobalMonitor::applicationList() {
    WindowServer& server = WindowServer::shared();
    const int self = server.currentProcessId();
    QVariantList result;
    QSet<int> taken;
    for (const WindowInfo& w : server.onScreenWindows()) {
        if (w.alpha == 0 || w.ownerPid == self || !w.ownerName || taken.contains(w.ownerPid))
            continue;
        const bool system = std::any_of(kSystemOwners.begin(), kSystemOwners.end(), [&](const char* name) {
            return *w.ownerName == QLatin1String(name);
        });
        if (system)
            continue;
        QVariantMap record;
        record.insert("AppId", w.ownerPid);
        record.insert("AppName", *w.ownerName);
        QImage icon = server.windowIcon(w.number);
        if (!icon.isNull() && (icon.width() != kIconSide || icon.height() != kIconSide))
            icon = icon.scaled(kIconSide, kIconSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        record.insert("icon_18", icon);
        result.append(record);
        taken.insert(w.ownerPid);
    }
    return result;
}

QVariantList RVGlobalMonitor::windowsForPid(int pid) {
    WindowServer& server = WindowServer::shared();
    QVariantList result;
    for (const WindowInfo& w : server.onScreenWindows()) {
        if (w.ownerPid != pid)
            continue;
        const std::optional<ScreenInfo> main = server.mainScreen();
        const RectD frame = SnipUtil::flipRect(w.bounds, main ? main->frame.height : 0);
        QVariantMap record;
        record.insert("WinName", w.ownerName.value_or(QString()));
        record.insert("WinNumber", pid);
        record.insert("WinFrame", QRectF(frame.x, frame.y, frame.width, frame.height));
        result.append(record);
    }
    return result;
}
