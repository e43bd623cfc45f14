#include "FakeWindowServer.h"
#include "selection/RVGlobalMonitor.h"

#include <QRectF>
#include <gtest/gtest.h>

namespace {
WindowInfo window(std::uint32_t number, int pid, const char* owner, RectD bounds, double alpha = 1) {
    WindowInfo w;
    w.number = number;
    w.ownerPid = pid;
    if (owner)
        w.ownerName = QString(owner);
    w.bounds = bounds;
    w.alpha = alpha;
    return w;
}
} // namespace

TEST(RVGlobalMonitor, MonitorRecordsHoldANameOnlyWhenThereIsOne) {
    FakeWindowServer server;
    server.displayList = {DisplayInfo{7, {0, 0, 1920, 1080}, std::nullopt, true},
                          DisplayInfo{9, {1920, 0, 1280, 1024}, QString("DELL P1917S"), false}};
    const QVariantList list = RVGlobalMonitor::monitorList();
    ASSERT_EQ(list.size(), 2);
    const QVariantMap first = list[0].toMap();
    EXPECT_EQ(first.keys(), QStringList{"MonitorId"});
    EXPECT_EQ(first["MonitorId"].toULongLong(), 7u);
    EXPECT_EQ(list[1].toMap()["MonitorName"].toString(), "DELL P1917S");
    EXPECT_EQ(RVGlobalMonitor::monitorFrame(9), (RectD{1920, 0, 1280, 1024}));
    EXPECT_EQ(RVGlobalMonitor::monitorFrame(8), RectD{});

    server.displayList.assign(17, DisplayInfo{1, {0, 0, 10, 10}, std::nullopt, false});
    EXPECT_EQ(RVGlobalMonitor::monitorList().size(), 16);
}

TEST(RVGlobalMonitor, ApplicationListSkipsAndKeepsFrontmostOrder) {
    FakeWindowServer server;
    server.displayList = {DisplayInfo{1, {0, 0, 1920, 1080}, std::nullopt, true}};
    server.windowList = {
        window(1, 300, "Invisible", {}, 0),         // alpha 0
        window(2, 200, "Editor", {}),               // frontmost of pid 200
        window(3, server.selfPid, "FrameDeck", {}), // ourselves
        window(4, 100, "Dock", {}),                 // the desktop's own
        window(5, 150, nullptr, {}),                // no owner name
        window(6, 100, "Terminal", {}),             // pid 100 under another name
        window(7, 200, "Editor", {}),               // second window of pid 200
        window(8, 300, "Invisible", {}, 0.5),       // now visible
    };
    const QVariantList apps = RVGlobalMonitor::applicationList();
    ASSERT_EQ(apps.size(), 3);
    EXPECT_EQ(apps[0].toMap()["AppId"].toInt(), 200);
    EXPECT_EQ(apps[0].toMap()["AppName"].toString(), "Editor");
    EXPECT_EQ(apps[1].toMap()["AppId"].toInt(), 100);
    EXPECT_EQ(apps[1].toMap()["AppName"].toString(), "Terminal");
    EXPECT_EQ(apps[2].toMap()["AppId"].toInt(), 300);
}

TEST(RVGlobalMonitor, WindowFramesAreFlippedAgainstTheMainScreen) {
    FakeWindowServer server;
    server.displayList = {DisplayInfo{1, {0, 0, 1920, 1080}, std::nullopt, true},
                          DisplayInfo{2, {-1280, -200, 1280, 1440}, std::nullopt, false}};
    server.mainId = 2;
    server.windowList = {window(11, 42, "Viewer", {-1000, 100, 400, 300}, 0),
                         window(12, 43, "Other", {0, 0, 10, 10}), window(13, 42, "Viewer", {10, 20, 30, 40})};
    const QVariantList list = RVGlobalMonitor::windowsForPid(42);
    ASSERT_EQ(list.size(), 2); // alpha 0 is listed here
    EXPECT_EQ(list[0].toMap()["WinFrame"].toRectF(), QRectF(-1000, 1040, 400, 300));
    EXPECT_EQ(list[1].toMap()["WinFrame"].toRectF(), QRectF(10, 1380, 30, 40));
}
