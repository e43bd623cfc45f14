#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class KeyValueStore;

// The hotkey rules, without a keyboard: which stored key runs which action.
// Keys are virtual key codes (18 is the 1 key); the desktop's key listener
// translates presses into them.

// The five actions, in the order a press is matched against them.
enum class HotkeyAction {
    StartOrStop,
    ShowDrawTool,
    OnOrOffCaptrue,
    ResumeOrPause,
    Screenshot,
};

struct HotkeyBinding {
    HotkeyAction action;
    // The settings key of its virtual key code, and of the text its button
    // shows (e.g. "⌘ 1").
    std::string_view codeKey;
    std::string_view textKey;
    // How the preferences window's shortcut rows name the action while a
    // new key is recorded; 0: the drawing tools have no row.
    int recordingTag;
    // The action's name for a desktop that binds shortcuts itself (the
    // Wayland portal): stable, since the desktop keeps the user's keys under it.
    std::string_view desktopId;
    // Its description there: the shortcut row's localisation key.
    std::string_view titleKey;
};

// In matching order.
extern const std::array<HotkeyBinding, 5> kHotkeyBindings;

// The action bound under `desktopId`; nothing for an id of no action.
std::optional<HotkeyAction> hotkeyActionForDesktopId(std::string_view desktopId);

// The stored code of each action, in kHotkeyBindings order; nothing where
// the key is absent, so that an absent key does not silently mean code 0
// (the A key).
using HotkeyCodes = std::array<std::optional<uint16_t>, 5>;
HotkeyCodes readHotkeyCodes(const KeyValueStore& store);

// The actions a press of `pressedCode` runs, in order; none while
// `isCanKeyEvent` is off (a modal dialog is open) or `isResetEventMonitor`
// is on (the preferences window records a new key). Only the code is
// compared, never the modifiers: the plain 1 key starts and stops as "⌘ 1"
// does. Several actions on one key all run. The caller runs pause/resume
// only if a recording is under way when its turn comes (an earlier action
// on the same key may just have started one).
std::vector<HotkeyAction> hotkeyActionsFor(const HotkeyCodes& codes, uint16_t pressedCode, bool isCanKeyEvent,
                                           bool isResetEventMonitor);

// The text a held modifier key puts before the key's own when a new
// shortcut is recorded: 55 (Command) "⌘ ", 56 (Shift) "⇧ ", 58 (Option)
// "Alt ", 59 (Control) "^ ", 63 (Function) "fn "; "" for any other code
// (a key without one of these held is not accepted as a shortcut).
std::string_view hotkeyModifierText(uint16_t modifierCode);

// Recording a new key for one of the four shortcut rows of the preferences
// window, without a keyboard: the window feeds it the modifier changes, key
// presses and releases it sees, as virtual key codes.
//
// Main thread only (it lives in the preferences window).
class ShortcutRecorder {
public:
    // What a recorded key stores: its code under `codeKey` (as an unsigned
    // 16-bit number) and its button's title under `textKey`.
    struct Write {
        std::string_view codeKey;
        std::string_view textKey;
        uint16_t code = 0;
        std::string text;
    };

    // The row whose set button was clicked (its tag: 100 start/stop, 200
    // pause/resume, 300 camera, 400 screenshot); false for any other tag.
    bool resetEventAction(int tag);
    // The held modifier changed: the modifier key's code, or nothing when
    // the last one was released. Any modifier without a text in the table
    // leaves none.
    void flagsChanged(std::optional<uint16_t> modifierCode);
    // A key went down. With a row being recorded and a modifier held, the
    // key is accepted: the write is returned (and stored in `store`);
    // otherwise nothing happens. `keyText` is the key's own text in upper
    // case ("K").
    std::optional<Write> keyDown(uint16_t code, const std::string& keyText, KeyValueStore& store);
    // A key went up: both texts are forgotten.
    void keyUp();
    // The window closed: nothing is being recorded any more.
    void reset();

    bool isRecording() const { return eventResetTag != 0; }

    // The modifier's text ("^ ") and the key's text ("K"), as they stand.
    std::string firstKey;
    std::string lastKey;
    int eventResetTag = 0;
};
