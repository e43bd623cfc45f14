#include "DesktopHelpers.h"
#include "selection/RVGlobalMonitor.h"
#include "selection/WindowServer.h"

#include <QGuiApplication>
#include <QRectF>
#include <xcb/xcb.h>

namespace {

int pidOf(const QVariant& record) {
    return record.toMap()["AppId"].toInt();
}

// Keeps the applications of the given processes, in list order.
QVariantList appsOf(const std::vector<int>& pids) {
    QVariantList kept;
    for (const QVariant& app : RVGlobalMonitor::applicationList()) {
        if (std::find(pids.begin(), pids.end(), pidOf(app)) != pids.end())
            kept.append(app);
    }
    return kept;
}

// Plays a window manager's part: the stacking list, bottom to top.
void setStacking(const std::vector<std::uint32_t>& bottomToTop) {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const char* name = "_NET_CLIENT_LIST_STACKING";
    xcb_intern_atom_reply_t* a =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::uint16_t(strlen(name)), name), nullptr);
    if (bottomToTop.empty())
        xcb_delete_property(c, root, a->atom);
    else
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, root, a->atom, XCB_ATOM_WINDOW, 32,
                            std::uint32_t(bottomToTop.size()), bottomToTop.data());
    free(a);
    free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    xcb_disconnect(c);
}

const auto* const kApp = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QGuiApplication>);

} // namespace

TEST(Inventory, TheVirtualDisplayHasNoProductName) {
    const QVariantList monitors = RVGlobalMonitor::monitorList();
    ASSERT_EQ(monitors.size(), 1);
    const QVariantMap only = monitors[0].toMap();
    EXPECT_EQ(only.keys(), QStringList{"MonitorId"});
    EXPECT_EQ(RVGlobalMonitor::monitorFrame(std::uint32_t(only["MonitorId"].toULongLong())),
              (RectD{0, 0, 1920, 1080}));
}

TEST(Inventory, ApplicationsAndWindowsOfOtherProcesses) {
    XWindows first(
        {"100,120,402,301,FdTestA,Alpha one,ff0000", "600,200,300,200,FdTestA,Alpha two,00ff00,1,icon"});
    XWindows second({"900,500,200,150,FdTestB,Beta,0000ff"});
    XWindows hidden({"50,700,100,100,FdTestC,Hidden,ffffff,0"});
    const std::vector<int> pids{first.pid(), second.pid(), hidden.pid()};

    // Front to back: the hidden window, Beta, Alpha two, Alpha one.
    QVariantList apps = appsOf(pids);
    ASSERT_EQ(apps.size(), 2);
    EXPECT_EQ(pidOf(apps[0]), second.pid());
    EXPECT_EQ(apps[0].toMap()["AppName"].toString(), "FdTestB");
    EXPECT_EQ(pidOf(apps[1]), first.pid());
    const QImage icon = apps[1].toMap()["icon_18"].value<QImage>();
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.size(), QSize(18, 18));
    EXPECT_EQ(QColor(icon.pixel(9, 9)), QColor(Qt::red));

    const QVariantList windows = RVGlobalMonitor::windowsForPid(first.pid());
    ASSERT_EQ(windows.size(), 2);
    const QVariantMap alphaOne = windows[1].toMap();
    EXPECT_EQ(alphaOne["WinNumber"].toInt(), first.pid());
    EXPECT_EQ(alphaOne["WinName"].toString(), "FdTestA");
    EXPECT_EQ(alphaOne["WinFrame"].toRectF(), QRectF(100, 1080 - 120 - 301, 402, 301));
    EXPECT_EQ(RVGlobalMonitor::windowsForPid(hidden.pid()).size(), 1);

    // With a window manager's stacking list, its order counts.
    setStacking({second.ids[0], first.ids[1], first.ids[0], hidden.ids[0]});
    apps = appsOf(pids);
    setStacking({});
    ASSERT_EQ(apps.size(), 2);
    EXPECT_EQ(pidOf(apps[0]), first.pid());
    EXPECT_EQ(pidOf(apps[1]), second.pid());
}
