#include "platform/x11input/ClickListener.h"

#include "EventLog.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace {

using x11input::ClickListener;
using x11input::PointerReader;
using x11input::RootPointer;

struct Click {
    int button;
    std::optional<RootPointer> at;
};

using ClickLog = EventLog<Click>;

// Pointer moves and clicks through XTEST, played with xdotool.
void xdotool(const std::string& args) {
    ASSERT_EQ(std::system(("xdotool " + args).c_str()), 0) << args;
}

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

    xdotool("mousemove 321 234");
    xdotool("click 4"); // a wheel notch
    xdotool("click 1");
    const Click first = log.waitFor(1);
    EXPECT_EQ(first.button, 1);
    ASSERT_TRUE(first.at);
    EXPECT_EQ(first.at->x, 321);
    EXPECT_EQ(first.at->y, 234);

    xdotool("mousemove 1500 900");
    xdotool("click 3");
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
    xdotool("click 1");
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
