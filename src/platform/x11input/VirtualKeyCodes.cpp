#include "platform/x11input/VirtualKeyCodes.h"

#include <X11/XF86keysym.h>
#include <X11/keysym.h>

namespace x11input {

namespace {

struct KeysymCode {
    uint32_t keysym;
    uint16_t code;
};

// Letters come in both cases: a keyboard mapping lists the lower-case keysym
// plain, but a layout may put the capital first (or Caps Lock tools may).
// clang-format off
constexpr KeysymCode kKeysymCodes[] = {
    // Letters, in the keyboard's own odd order.
    {XK_a, 0}, {XK_s, 1}, {XK_d, 2}, {XK_f, 3}, {XK_h, 4}, {XK_g, 5}, {XK_z, 6}, {XK_x, 7}, {XK_c, 8},
    {XK_v, 9}, {XK_b, 11}, {XK_q, 12}, {XK_w, 13}, {XK_e, 14}, {XK_r, 15}, {XK_y, 16}, {XK_t, 17},
    {XK_o, 31}, {XK_u, 32}, {XK_i, 34}, {XK_p, 35}, {XK_l, 37}, {XK_j, 38}, {XK_k, 40}, {XK_n, 45},
    {XK_m, 46},
    {XK_A, 0}, {XK_S, 1}, {XK_D, 2}, {XK_F, 3}, {XK_H, 4}, {XK_G, 5}, {XK_Z, 6}, {XK_X, 7}, {XK_C, 8},
    {XK_V, 9}, {XK_B, 11}, {XK_Q, 12}, {XK_W, 13}, {XK_E, 14}, {XK_R, 15}, {XK_Y, 16}, {XK_T, 17},
    {XK_O, 31}, {XK_U, 32}, {XK_I, 34}, {XK_P, 35}, {XK_L, 37}, {XK_J, 38}, {XK_K, 40}, {XK_N, 45},
    {XK_M, 46},
    // The digit row.
    {XK_1, 18}, {XK_2, 19}, {XK_3, 20}, {XK_4, 21}, {XK_5, 23}, {XK_6, 22}, {XK_7, 26}, {XK_8, 28},
    {XK_9, 25}, {XK_0, 29},
    // Punctuation, unshifted, where an ANSI keyboard has it.
    {XK_equal, 24}, {XK_minus, 27}, {XK_bracketright, 30}, {XK_bracketleft, 33}, {XK_apostrophe, 39},
    {XK_semicolon, 41}, {XK_backslash, 42}, {XK_comma, 43}, {XK_slash, 44}, {XK_period, 47}, {XK_grave, 50},
    // Editing and navigation. BackSpace is the key this numbering calls
    // Delete; Delete is its forward delete; Insert sits where its Help key is.
    {XK_Return, 36}, {XK_Tab, 48}, {XK_space, 49}, {XK_BackSpace, 51}, {XK_Escape, 53}, {XK_Insert, 114},
    {XK_Home, 115}, {XK_Page_Up, 116}, {XK_Delete, 117}, {XK_End, 119}, {XK_Page_Down, 121}, {XK_Left, 123},
    {XK_Right, 124}, {XK_Down, 125}, {XK_Up, 126},
    // Function keys.
    {XK_F1, 122}, {XK_F2, 120}, {XK_F3, 99}, {XK_F4, 118}, {XK_F5, 96}, {XK_F6, 97}, {XK_F7, 98},
    {XK_F8, 100}, {XK_F9, 101}, {XK_F10, 109}, {XK_F11, 103}, {XK_F12, 111}, {XK_F13, 105}, {XK_F14, 107},
    {XK_F15, 113}, {XK_F16, 106}, {XK_F17, 64}, {XK_F18, 79}, {XK_F19, 80}, {XK_F20, 90},
    // The keypad (Num Lock sits where this numbering's Clear key is).
    {XK_KP_0, 82}, {XK_KP_1, 83}, {XK_KP_2, 84}, {XK_KP_3, 85}, {XK_KP_4, 86}, {XK_KP_5, 87}, {XK_KP_6, 88},
    {XK_KP_7, 89}, {XK_KP_8, 91}, {XK_KP_9, 92}, {XK_KP_Decimal, 65}, {XK_KP_Multiply, 67}, {XK_KP_Add, 69},
    {XK_Num_Lock, 71}, {XK_KP_Divide, 75}, {XK_KP_Enter, 76}, {XK_KP_Subtract, 78}, {XK_KP_Equal, 81},
    // Modifiers. AltGr (ISO_Level3_Shift) is the right Alt key of most
    // European layouts.
    {XK_Super_L, vk::Command}, {XK_Super_R, vk::RightCommand}, {XK_Shift_L, vk::Shift},
    {XK_Shift_R, vk::RightShift}, {XK_Caps_Lock, vk::CapsLock}, {XK_Alt_L, vk::Option},
    {XK_Alt_R, vk::RightOption}, {XK_ISO_Level3_Shift, vk::RightOption}, {XK_Control_L, vk::Control},
    {XK_Control_R, vk::RightControl},
    // Volume keys.
    {XF86XK_AudioRaiseVolume, 72}, {XF86XK_AudioLowerVolume, 73}, {XF86XK_AudioMute, 74},
};
// clang-format on

} // namespace

std::optional<uint16_t> virtualKeyCodeFromKeysym(uint32_t keysym) {
    for (const KeysymCode& entry : kKeysymCodes)
        if (entry.keysym == keysym)
            return entry.code;
    return std::nullopt;
}

std::optional<uint16_t> virtualKeyCodeFromKeysyms(std::span<const uint32_t> keysymsOfKey) {
    // Columns 0 and 1 are the plain and shifted meanings of the first group;
    // later columns (other groups, AltGr levels) would name other keys' codes.
    for (std::size_t column = 0; column < keysymsOfKey.size() && column < 2; ++column)
        if (const auto code = virtualKeyCodeFromKeysym(keysymsOfKey[column]))
            return code;
    return std::nullopt;
}

unsigned modifierFlagOfVirtualKey(uint16_t code) {
    switch (code) {
    case vk::Shift:
    case vk::RightShift:
        return ModifierShift;
    case vk::Control:
    case vk::RightControl:
        return ModifierControl;
    case vk::Option:
    case vk::RightOption:
        return ModifierOption;
    case vk::Command:
    case vk::RightCommand:
        return ModifierCommand;
    default:
        return 0;
    }
}

} // namespace x11input
