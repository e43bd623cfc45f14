// The X11 listeners on the test desktop, fed with XTEST input played by
// xdotool: clicks with the pointer's position, and keys typed where no window
// of ours exists, let alone has the focus. What a click does to the recorded
// frames is checked through `framedeck record` in decorations/.
#include "platform/x11input/ClickListener.h"
#include "platform/x11input/KeyListener.h"
#include "platform/x11input/VirtualKeyCodes.h"

#include <condition_variable>
#include <cstdlib>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

namespace {

using namespace x11input;

// Collects what a listener thread reports, for the test thread to wait on.
template <class Event> struct EventLog {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Event> events;

    void add(const Event& event) {
        std::lock_guard lock(mutex);
        events.push_back(event);
        changed.notify_all();
    }
    // Waits for the n-th event; a listener that never reports one is caught
    // by the test's own time-out.
    Event waitFor(std::size_t n) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return events.size() >= n; });
        return events[n - 1];
    }
    std::size_t size() {
        std::lock_guard lock(mutex);
        return events.size();
    }
};

void run(const std::string& command) {
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

class ListenerOnDesktop : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::getenv("DISPLAY"))
            GTEST_SKIP() << "needs an X display: run inside scripts/test-desktop";
    }
};

TEST_F(ListenerOnDesktop, ClicksComeWithThePointerPositionButNotTheWheel) {
    struct Click {
        int button;
        std::optional<RootPointer> at;
    };
    EventLog<Click> log;
    ClickListener listener([&](int button, std::optional<RootPointer> at) { log.add({button, at}); });
    ASSERT_TRUE(listener.start());

    run("xdotool mousemove 321 234 click 4"); // a wheel notch
    const struct { int button, x, y; } clicks[] = {{1, 321, 234}, {3, 1500, 900}};
    for (std::size_t i = 0; i < std::size(clicks); ++i) {
        const auto& c = clicks[i];
        run("xdotool mousemove " + std::to_string(c.x) + " " + std::to_string(c.y) + " click " +
            std::to_string(c.button));
        const Click seen = log.waitFor(i + 1);
        EXPECT_EQ(seen.button, c.button);
        ASSERT_TRUE(seen.at);
        EXPECT_EQ(seen.at->x, c.x);
        EXPECT_EQ(seen.at->y, c.y);
    }

    PointerReader reader;
    ASSERT_TRUE(reader.isOpen());
    const auto now = reader.position();
    ASSERT_TRUE(now);
    EXPECT_EQ(now->x, 1500);
    EXPECT_EQ(now->y, 900);

    listener.stop();
    EXPECT_FALSE(listener.isRunning());
    run("xdotool click 1");
    EXPECT_EQ(log.size(), 2u) << "no reports after stop";
}

TEST_F(ListenerOnDesktop, KeysComeAsVirtualCodesWithTheHeldModifiers) {
    EventLog<KeyPress> log;
    KeyListener listener([&](const KeyPress& press) { log.add(press); });
    ASSERT_TRUE(listener.start());

    // Each step's keys, waited for before the next step: the modifier key is
    // reported too (the shortcut recorder needs it), then the key with the
    // modifier held; a released modifier is no longer held; and a new
    // keyboard mapping is followed (F13 on a keycode that had nothing).
    constexpr unsigned kAny = ~0u;
    const struct {
        const char* command;
        std::vector<std::pair<int, unsigned>> presses; // key code, modifiers
    } steps[] = {{"xdotool key 1", {{18, 0u}}},
                 {"xdotool key ctrl+2", {{vk::Control, kAny}, {19, unsigned(ModifierControl)}}},
                 {"xdotool key k", {{40, 0u}}},
                 {"xmodmap -e 'keycode 200 = F13' && xdotool key F13", {{105, kAny}}}};
    std::size_t n = 0;
    for (const auto& step : steps) {
        SCOPED_TRACE(step.command);
        run(step.command);
        for (const auto& [code, modifiers] : step.presses) {
            const KeyPress press = log.waitFor(++n);
            EXPECT_EQ(press.keyCode, code);
            if (modifiers != kAny) {
                EXPECT_EQ(press.modifiers, modifiers);
            }
        }
    }
    run("xmodmap -e 'keycode 200 ='");

    listener.stop();
    EXPECT_FALSE(listener.isRunning());
    run("xdotool key 1");
    EXPECT_EQ(log.size(), 5u) << "no reports after stop";
}

TEST(ListenerWithoutADisplay, FailsCleanly) {
    ClickListener clicks([](int, std::optional<RootPointer>) {});
    EXPECT_FALSE(clicks.start(":4711"));
    EXPECT_FALSE(clicks.isRunning());
    EXPECT_FALSE(PointerReader(":4711").isOpen());
    KeyListener keys([](const KeyPress&) {});
    EXPECT_FALSE(keys.start(":4711"));
    EXPECT_FALSE(keys.isRunning());
}

} // namespace
