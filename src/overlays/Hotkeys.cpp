#include "overlays/Hotkeys.h"

#include "app/SettingsSchema.h"
#include "core/EMLog.h"
#include "core/KeyValueStore.h"

namespace S = SettingsKeys;

const std::array<HotkeyBinding, 5> kHotkeyBindings{{
    {HotkeyAction::StartOrStop, S::EventStartOrStop, S::EventStartOrStopChar, 100, "start-or-stop",
     "Pref_Shortcut_StartOrStop"},
    {HotkeyAction::ShowDrawTool, S::EventShowDrawTool, S::EventShowDrawToolChar, 0, "drawing-tools",
     "Pref_Shortcut_DrawTool"},
    {HotkeyAction::OnOrOffCaptrue, S::EventOnOrOffCaptrue, S::EventOnOrOffCaptrueChar, 300, "camera",
     "Pref_Shortcut_Camera"},
    {HotkeyAction::ResumeOrPause, S::EventResumeOrPause, S::EventResumeOrPauseChar, 200, "pause-or-resume",
     "Pref_Shortcut_ResumeOrPause"},
    {HotkeyAction::Screenshot, S::EventScreenshot, S::EventScreenshotChar, 400, "screenshot",
     "Pref_Shortcut_Screenshot"},
}};

std::optional<HotkeyAction> hotkeyActionForDesktopId(std::string_view desktopId) {
    for (const HotkeyBinding& binding : kHotkeyBindings)
        if (binding.desktopId == desktopId)
            return binding.action;
    return std::nullopt;
}

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

bool ShortcutRecorder::resetEventAction(int tag) {
    for (const HotkeyBinding& binding : kHotkeyBindings)
        if (binding.recordingTag != 0 && binding.recordingTag == tag) {
            eventResetTag = tag;
            return true;
        }
    return false;
}

void ShortcutRecorder::flagsChanged(std::optional<uint16_t> modifierCode) {
    firstKey.clear();
    if (modifierCode)
        firstKey = hotkeyModifierText(*modifierCode);
}

std::optional<ShortcutRecorder::Write> ShortcutRecorder::keyDown(uint16_t code, const std::string& keyText,
                                                                 KeyValueStore& store) {
    lastKey = keyText;
    EMLog::showMessage("%s:%d", keyText.c_str(), int(code));
    if (eventResetTag == 0 || firstKey.empty())
        return std::nullopt;
    for (const HotkeyBinding& binding : kHotkeyBindings) {
        if (binding.recordingTag != eventResetTag)
            continue;
        Write write{binding.codeKey, binding.textKey, code, firstKey + lastKey};
        store.setInteger(write.codeKey, write.code);
        store.setString(write.textKey, write.text);
        return write;
    }
    return std::nullopt;
}

void ShortcutRecorder::keyUp() {
    firstKey.clear();
    lastKey.clear();
}

void ShortcutRecorder::reset() {
    keyUp();
    eventResetTag = 0;
}
