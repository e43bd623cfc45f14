#include "overlays/Hotkeys.h"

#include "TempHome.h"
#include "app/LaunchSettings.h"
#include "app/SettingsSchema.h"
#include "app/SettingsStore.h"
#include "platform/x11input/VirtualKeyCodes.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace S = SettingsKeys;
using x11input::virtualKeyCodeFromKeysym;
using x11input::virtualKeyCodeFromKeysyms;

namespace {

using A = HotkeyAction;

TEST(VirtualKeyCodes, AKeyIsNamedByItsPlainKeysymThenItsShiftedOne) {
    using Row = std::vector<uint32_t>;
    // US digit row: plain 1, shifted !.
    EXPECT_EQ(virtualKeyCodeFromKeysyms(Row{0x31, 0x21}), 18);
    // French digit row: plain &, shifted 1.
    EXPECT_EQ(virtualKeyCodeFromKeysyms(Row{0x26, 0x31}), 18);
    // Keypad without Num Lock: KP_End, then KP_1.
    EXPECT_EQ(virtualKeyCodeFromKeysyms(Row{0xff9c, 0xffb1}), 83);
    // A letter in a third column (another group) is another key's.
    EXPECT_FALSE(virtualKeyCodeFromKeysyms(Row{0xe9, 0xc9, 0x32}));
    EXPECT_FALSE(virtualKeyCodeFromKeysyms(Row{}));
}

// The codes a fresh installation stores.
HotkeyCodes firstRunCodes() {
    TempHome home;
    SettingsStore store(home.path() + "/settings.conf");
    writeFirstRunDefaults(store, "FrameDeck");
    return readHotkeyCodes(store);
}

TEST(Hotkeys, FirstRunKeysOneToFiveRunTheirActionsUnlessHeldOff) {
    const HotkeyCodes codes = firstRunCodes();
    // The 1 ... 5 keys as the listener reports them, from their keysyms.
    const auto actionsOf = [&](char digit) {
        return hotkeyActionsFor(codes, *virtualKeyCodeFromKeysym(uint32_t(digit)), true, false);
    };
    EXPECT_EQ(actionsOf('1'), std::vector{A::StartOrStop});
    EXPECT_EQ(actionsOf('2'), std::vector{A::ResumeOrPause});
    EXPECT_EQ(actionsOf('3'), std::vector{A::OnOrOffCaptrue});
    EXPECT_EQ(actionsOf('4'), std::vector{A::Screenshot});
    EXPECT_EQ(actionsOf('5'), std::vector{A::ShowDrawTool});
    // Other keys, and the A key (code 0), do nothing.
    EXPECT_TRUE(actionsOf('6').empty());
    EXPECT_TRUE(hotkeyActionsFor(codes, 0, true, false).empty());
    // None while a dialog is open or a new key is being recorded.
    for (const uint16_t code : {18, 19, 20, 21, 23}) {
        EXPECT_TRUE(hotkeyActionsFor(codes, code, false, false).empty());
        EXPECT_TRUE(hotkeyActionsFor(codes, code, true, true).empty());
    }
}

TEST(Hotkeys, OneKeyForSeveralActionsRunsThemAllInMatchingOrder) {
    MemoryKeyValueStore store;
    for (const HotkeyBinding& binding : kHotkeyBindings)
        store.setInteger(binding.codeKey, 40); // all on K
    EXPECT_EQ(
        hotkeyActionsFor(readHotkeyCodes(store), 40, true, false),
        (std::vector{A::StartOrStop, A::ShowDrawTool, A::OnOrOffCaptrue, A::ResumeOrPause, A::Screenshot}));

    store.setInteger(S::EventStartOrStop, 18);
    store.setInteger(S::EventShowDrawTool, 18);
    store.setInteger(S::EventScreenshot, 18);
    EXPECT_EQ(hotkeyActionsFor(readHotkeyCodes(store), 18, true, false),
              (std::vector{A::StartOrStop, A::ShowDrawTool, A::Screenshot}));

    // An absent key binds nothing, not the A key.
    store.removeKey(S::EventScreenshot);
    EXPECT_TRUE(hotkeyActionsFor(readHotkeyCodes(store), 0, true, false).empty());
}

// A desktop keeps the user's keys under these ids: each action has its own,
// and a press the desktop reports under an id comes back as that action.
TEST(Hotkeys, DesktopIdsNameEachActionOnce) {
    for (const HotkeyBinding& binding : kHotkeyBindings) {
        EXPECT_FALSE(binding.desktopId.empty());
        EXPECT_EQ(hotkeyActionForDesktopId(binding.desktopId), binding.action) << binding.desktopId;
    }
    EXPECT_EQ(hotkeyActionForDesktopId(""), std::nullopt);
    EXPECT_EQ(hotkeyActionForDesktopId("start"), std::nullopt);
}

TEST(ShortcutRecording, AKeyWithAHeldModifierIsStoredForTheRowBeingRecorded) {
    MemoryKeyValueStore store;
    ShortcutRecorder r;
    // Nothing is recorded before a row's set button is pressed.
    r.flagsChanged(59);
    EXPECT_FALSE(r.keyDown(40, "K", store));
    EXPECT_FALSE(store.hasKey(S::EventStartOrStop));
    // The drawing tools have no row; an unknown tag starts nothing.
    EXPECT_FALSE(r.resetEventAction(0));
    EXPECT_FALSE(r.resetEventAction(500));

    ASSERT_TRUE(r.resetEventAction(100));
    r.flagsChanged(59);
    const auto write = r.keyDown(40, "K", store);
    ASSERT_TRUE(write);
    EXPECT_EQ(write->text, "^ K");
    EXPECT_EQ(store.integerForKey(S::EventStartOrStop), 40);
    EXPECT_EQ(store.stringForKey(S::EventStartOrStopChar), "^ K");

    // Releasing the key forgets the modifier too: a second key needs it
    // pressed again.
    r.keyUp();
    EXPECT_FALSE(r.keyDown(38, "J", store));
    EXPECT_EQ(store.integerForKey(S::EventStartOrStop), 40);
    // A modifier without a text (Caps Lock) does not count as held.
    r.flagsChanged(57);
    EXPECT_FALSE(r.keyDown(38, "J", store));

    // Each row writes its own two keys.
    const std::pair<int, std::string_view> rows[] = {
        {200, S::EventResumeOrPause}, {300, S::EventOnOrOffCaptrue}, {400, S::EventScreenshot}};
    for (const auto& [tag, key] : rows) {
        r.resetEventAction(tag);
        r.flagsChanged(58);
        ASSERT_TRUE(r.keyDown(uint16_t(tag / 10), "X", store));
        EXPECT_EQ(store.integerForKey(key), tag / 10);
    }
    EXPECT_EQ(store.stringForKey(S::EventScreenshotChar), "Alt X");
    EXPECT_EQ(store.integerForKey(S::EventStartOrStop), 40);
}

} // namespace
