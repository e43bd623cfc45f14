#pragma once

#include "selection/Geometry.h"

#include <QVariantList>
#include <QVariantMap>
#include <cstdint>

// The inventory of displays and applications, as records with fixed keys:
//  display:     "MonitorId" (unsigned long), "MonitorName" (QString, only
//               when the display reports a product name);
//  application: "AppId" (int pid), "AppName" (QString), "icon_18" (QImage);
//  window:      "WinName" (QString owner name), "WinNumber" (int: the pid
//               that was asked for, not the window's number — callers must
//               not use it to tell windows apart), "WinFrame" (QRectF in
//               screen space, by the main screen's height).
//
// Stateless; each call asks the shared WindowServer afresh. Main thread only
// (called by the home window's pop-ups and the selection code).
class RVGlobalMonitor {
public:
    static QVariantList monitorList();
    static QVariantList applicationList();
    // The display's bounds in window-list space; zero when it is unknown.
    static RectD monitorFrame(std::uint32_t displayId);
    static QVariantList windowsForPid(int pid);
};
