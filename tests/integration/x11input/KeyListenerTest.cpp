#include "platform/x11input/KeyListener.h"

#include "EventLog.h"
#include "platform/x11input/VirtualKeyCodes.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace {

using namespace x11input;

using KeyLog = EventLog<KeyPress>;

void run(const std::string& command) {
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

// Keys typed with xdotool (XTEST) on the test desktop, where no window of
// ours exists, let alone has the focus.
TEST(KeyListenerOnDesktop, ReportsDesktopKeysAsVirtualCodesWithTheHeldModifiers) {
    if (!std::getenv("DISPLAY"))
        GTEST_SKIP() << "needs an X display: run inside scripts/test-desktop";
    KeyLog log;
    KeyListener listener([&](const KeyPress& press) { log.add(press); });
    ASSERT_TRUE(listener.start());

    run("xdotool key 1");
    KeyPress press = log.waitFor(1);
    EXPECT_EQ(press.keyCode, 18);
    EXPECT_EQ(press.modifiers, 0u);

    // The modifier key is reported too (the shortcut recorder needs it),
    // then the key with the modifier held.
    run("xdotool key ctrl+2");
    press = log.waitFor(2);
    EXPECT_EQ(press.keyCode, vk::Control);
    press = log.waitFor(3);
    EXPECT_EQ(press.keyCode, 19);
    EXPECT_EQ(press.modifiers, unsigned(ModifierControl));

    // Released modifiers are no longer held.
    run("xdotool key k");
    press = log.waitFor(4);
    EXPECT_EQ(press.keyCode, 40);
    EXPECT_EQ(press.modifiers, 0u);

    // A new keyboard mapping is followed: F13 on a keycode that had nothing.
    run("xmodmap -e 'keycode 200 = F13'");
    run("xdotool key F13");
    press = log.waitFor(5);
    run("xmodmap -e 'keycode 200 ='");
    EXPECT_EQ(press.keyCode, 105);

    listener.stop();
    EXPECT_FALSE(listener.isRunning());
    run("xdotool key 1");
    std::lock_guard lock(log.mutex);
    EXPECT_EQ(log.events.size(), 5u) << "no reports after stop";
}

TEST(KeyListenerOnDesktop, FailsCleanlyWithoutADisplay) {
    KeyListener listener([](const KeyPress&) {});
    EXPECT_FALSE(listener.start(":4711"));
    EXPECT_FALSE(listener.isRunning());
}

} // namespace
