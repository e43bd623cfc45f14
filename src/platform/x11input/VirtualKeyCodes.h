#pragma once

#include <cstdint>
#include <optional>
#include <span>

// Stored hotkeys are virtual key codes in the numbering of Apple's ANSI
// keyboard: numbers that name a key by its place (18 is the 1 key, 0 the A
// key, 49 the space bar), the same on every machine. X11 names keys by
// keysym, what the key means in the current layout, so each press goes
// through this table on its way to the hotkey rules. Pure: no X connection
// needed.
namespace x11input {

// The modifier keys' virtual codes. The Super ("Windows") key stands in for
// Command, Alt for Option, as on Linux desktops running on Apple keyboards.
namespace vk {
inline constexpr uint16_t Command = 55;
inline constexpr uint16_t Shift = 56;
inline constexpr uint16_t CapsLock = 57;
inline constexpr uint16_t Option = 58;
inline constexpr uint16_t Control = 59;
inline constexpr uint16_t RightCommand = 54;
inline constexpr uint16_t RightShift = 60;
inline constexpr uint16_t RightOption = 61;
inline constexpr uint16_t RightControl = 62;
inline constexpr uint16_t Function = 63;
} // namespace vk

// The virtual code of one keysym; nothing for keysyms that have none (most
// of them: accented letters, shifted symbols, multimedia keys).
std::optional<uint16_t> virtualKeyCodeFromKeysym(uint32_t keysym);

// The virtual code of a key, given the keysyms the keyboard mapping lists
// for it (plain, shifted, ...). The plain keysym decides; the shifted one is
// the fall-back for keys whose plain meaning has no code: the digit row of a
// French layout gives "&" plain and "1" shifted, the keypad gives KP_End
// plain and KP_1 with Num Lock.
std::optional<uint16_t> virtualKeyCodeFromKeysyms(std::span<const uint32_t> keysymsOfKey);

// Modifier keys held at a key press, as bits.
enum ModifierFlag : unsigned {
    ModifierShift = 1u << 0,
    ModifierControl = 1u << 1,
    ModifierOption = 1u << 2,
    ModifierCommand = 1u << 3,
};

// The flag a modifier key's virtual code stands for (left or right key
// alike); 0 for every other key, Caps Lock included (it locks, it is not
// held).
unsigned modifierFlagOfVirtualKey(uint16_t code);

} // namespace x11input
