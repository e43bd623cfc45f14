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

// Keysyms are written as numbers here (X11's keysymdef.h values), so a
// wrong constant in the table is caught rather than repeated.
TEST(VirtualKeyCodes, KeysymsMapToTheStoredKeyCodes) {
    const struct {
        uint32_t keysym;
        uint16_t code;
    } cases[] = {
        // clang-format off
        // The digit row: the numbering is not in key order.
        {0x31, 18}, {0x32, 19}, {0x33, 20}, {0x34, 21}, {0x35, 23}, {0x36, 22}, {0x37, 26},
        {0x38, 28}, {0x39, 25}, {0x30, 29},
        // Letters, both cases.
        {0x61, 0}, {0x41, 0}, {0x73, 1}, {0x62, 11}, {0x42, 11}, {0x71, 12}, {0x74, 17},
        {0x6f, 31}, {0x75, 32}, {0x69, 34}, {0x70, 35}, {0x6c, 37}, {0x6a, 38}, {0x6b, 40},
        {0x6e, 45}, {0x6d, 46}, {0x7a, 6}, {0x5a, 6},
        // Punctuation: = - ] [ ' ; \ , / . `
        {0x3d, 24}, {0x2d, 27}, {0x5d, 30}, {0x5b, 33}, {0x27, 39}, {0x3b, 41}, {0x5c, 42},
        {0x2c, 43}, {0x2f, 44}, {0x2e, 47}, {0x60, 50},
        // Return, Tab, space, BackSpace, Escape, Delete.
        {0xff0d, 36}, {0xff09, 48}, {0x20, 49}, {0xff08, 51}, {0xff1b, 53}, {0xffff, 117},
        // F1 ... F12.
        {0xffbe, 122}, {0xffbf, 120}, {0xffc0, 99}, {0xffc1, 118}, {0xffc2, 96}, {0xffc3, 97}, {0xffc4, 98},
        {0xffc5, 100}, {0xffc6, 101}, {0xffc7, 109}, {0xffc8, 103}, {0xffc9, 111},
        // Arrows: left, right, down, up.
        {0xff51, 123}, {0xff53, 124}, {0xff54, 125}, {0xff52, 126},
        // Keypad 1, Enter; modifiers: Super, Shift, Alt, Control, right Control.
        {0xffb1, 83}, {0xff8d, 76}, {0xffeb, 55}, {0xffe1, 56}, {0xffe9, 58}, {0xffe3, 59}, {0xffe4, 62},
        // clang-format on
    };
    for (const auto& c : cases)
        EXPECT_EQ(virtualKeyCodeFromKeysym(c.keysym), c.code) << std::hex << "keysym 0x" << c.keysym;

    // No code: é, !, the Print key, a keysym of nothing.
    for (const uint32_t keysym : {0xe9u, 0x21u, 0xff61u, 0u})
        EXPECT_FALSE(virtualKeyCodeFromKeysym(keysym)) << std::hex << "keysym 0x" << keysym;
}

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

TEST(Hotkeys, FirstRunKeysOneToFiveRunTheirActions) {
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

TEST(Hotkeys, NothingRunsWhileADialogIsOpenOrANewKeyIsRecorded) {
    const HotkeyCodes codes = firstRunCodes();
    for (const uint16_t code : {18, 19, 20, 21, 23}) {
        EXPECT_TRUE(hotkeyActionsFor(codes, code, false, false).empty());
        EXPECT_TRUE(hotkeyActionsFor(codes, code, true, true).empty());
    }
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

TEST(Hotkeys, ModifierTextsOfARecordedShortcut) {
    std::string texts;
    for (const uint16_t code : {55, 56, 58, 59, 63, 54, 57, 60, 61, 62, 40})
        texts += "[" + std::string(hotkeyModifierText(code)) + "]";
    // Command, Shift, Option, Control, fn; the right-hand keys and K have none.
    EXPECT_EQ(texts, "[⌘ ][⇧ ][Alt ][^ ][fn ][][][][][][]");
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
