#include "overlays/Hotkeys.h"

#include "app/SettingsSchema.h"
#include "core/KeyValueStore.h"

namespace S = SettingsKeys;

const std::array<HotkeyBinding, 5> kHotkeyBindings{{
    {HotkeyAction::StartOrStop, S::EventStartOrStop, S::EventStartOrStopChar, 100},
    {HotkeyAction::ShowDrawTool, S::EventShowDrawTool, S::EventShowDrawToolChar, 0},
    {HotkeyAction::OnOrOffCaptrue, S::EventOnOrOffCaptrue, S::EventOnOrOffCaptrueChar, 300},
    {HotkeyAction::ResumeOrPause, S::EventResumeOrPause, S::EventResumeOrPauseChar, 200},
    {HotkeyAction::Screenshot, S::EventScreenshot, S::EventScreenshotChar, 400},
}};

HotkeyCodes readHotkeyCodes(const KeyValueStore& store) {
    HotkeyCodes codes;
    for (std::size_t i = 0; i < kHotkeyBindings.size(); ++i) {
        if (store.hasKey(kHotkeyBindings[i].codeKey))
            // Written as an unsigned 16-bit code.
            codes[i] = static_cast<uint16_t>(store.integerForKey(kHotkeyBindings[i].codeKey));
    }
    return codes;
}

std::vector<HotkeyAction> hotkeyActionsFor(const HotkeyCodes& codes, uint16_t pressedCode, bool isCanKeyEvent,
                                           bool isResetEventMonitor) {
    std::vector<HotkeyAction> actions;
    if (!isCanKeyEvent || isResetEventMonitor)
        return actions;
    for (std::size_t i = 0; i < kHotkeyBindings.size(); ++i)
        if (codes[i] == pressedCode)
            actions.push_back(kHotkeyBindings[i].action);
    return actions;
}

std::string_view hotkeyModifierText(uint16_t modifierCode) {
    switch (modifierCode) {
    case 55:
        return "⌘ ";
    case 56:
        return "⇧ ";
    case 58:
        return "Alt ";
    case 59:
        return "^ ";
    case 63:
        return "fn ";
    default:
        return "";
    }
}
