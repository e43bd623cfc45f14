#include "platform/x11input/ClickListener.h"

#include "EventLog.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace {

using x11input::ClickListener;
using x11input::PointerReader;
using x11input::RootPointer;

struct Click {
    int button;
    std::optional<RootPointer> at;
};

using ClickLog = EventLog<Click>;

// Injects pointer moves and clicks through XTEST, as xdotool does.
struct FakeInput {
    FakeInput() : conn(xcb_connect(nullptr, nullptr)) {
        root = xcb_setup_roots_iterator(xcb_get_setup(conn)).data->root;
    }
    ~FakeInput() { xcb_disconnect(conn); }
    void moveTo(int x, int y) {
        xcb_test_fake_input(conn, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root, static_cast<int16_t>(x),
                            static_cast<int16_t>(y), 0);
        sync();
    }
    void click(uint8_t button) {
        xcb_test_fake_input(conn, XCB_BUTTON_PRESS, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_test_fake_input(conn, XCB_BUTTON_RELEASE, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        sync();
    }
    void sync() { std::free(xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr)); }

    xcb_connection_t* conn;
    xcb_window_t root;
};

class ClickListenerOnDesktop : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::getenv("DISPLAY"))
            GTEST_SKIP() << "needs an X display: run inside scripts/test-desktop";
    }
};

TEST_F(ClickListenerOnDesktop, ReportsInjectedClicksWithThePointerPositionButNotTheWheel) {
    ClickLog log;
    ClickListener listener([&](int button, std::optional<RootPointer> at) { log.add({button, at}); });
    ASSERT_TRUE(listener.start());

    FakeInput input;
    input.moveTo(321, 234);
    input.click(4); // a wheel notch
    input.click(1);
    const Click first = log.waitFor(1);
    EXPECT_EQ(first.button, 1);
    ASSERT_TRUE(first.at);
    EXPECT_EQ(first.at->x, 321);
    EXPECT_EQ(first.at->y, 234);

    input.moveTo(1500, 900);
    input.click(3);
    const Click second = log.waitFor(2);
    EXPECT_EQ(second.button, 3);
    ASSERT_TRUE(second.at);
    EXPECT_EQ(second.at->x, 1500);
    EXPECT_EQ(second.at->y, 900);

    PointerReader reader;
    ASSERT_TRUE(reader.isOpen());
    const auto now = reader.position();
    ASSERT_TRUE(now);
    EXPECT_EQ(now->x, 1500);
    EXPECT_EQ(now->y, 900);

    listener.stop();
    EXPECT_FALSE(listener.isRunning());
    input.click(1);
    std::lock_guard lock(log.mutex);
    EXPECT_EQ(log.events.size(), 2u) << "no reports after stop";
}

TEST_F(ClickListenerOnDesktop, FailsCleanlyWithoutADisplay) {
    ClickListener listener([](int, std::optional<RootPointer>) {});
    EXPECT_FALSE(listener.start(":4711"));
    EXPECT_FALSE(listener.isRunning());
    EXPECT_FALSE(PointerReader(":4711").isOpen());
}

} // namespace
