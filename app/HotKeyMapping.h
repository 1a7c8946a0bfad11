// The hot key as it is stored (a virtual key code and two modifier bit numbers) and its meaning on
// X11: the keysym of the key and the X modifier mask.
#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <span>

namespace kestrabel::app {

struct HotKeyKey {
    int keyCode;
    const char *name;
    uint32_t keysym;
};

struct HotKeyModifier {
    int bit;
    const char *name;
    uint16_t x11Mask;
};

inline constexpr int kEscapeKeyCode = 53;
inline constexpr int kCommandKeyBit = 8;
inline constexpr int kShiftKeyBit = 9;
inline constexpr int kOptionKeyBit = 11;
inline constexpr int kControlKeyBit = 12;

// Keys offered in the preferences, in menu order.
std::span<const HotKeyKey> hotKeyKeys();
// Modifiers offered in the preferences; bit 0 stands for none.
std::span<const HotKeyModifier> hotKeyModifiers();

const HotKeyKey *hotKeyKeyForCode(int keyCode);

// 1 shifted left by each modifier, the shift counts taken modulo 32.
uint32_t hotKeyModifierMask(int modifier1, int modifier2);
// The X modifiers of a mask; bits without an X meaning (bit 0 among them) add nothing.
uint16_t x11ModifiersForMask(uint32_t mask);
// "Super+Escape" and the like, for messages.
QString hotKeyDescription(int keyCode, uint32_t mask);

} // namespace kestrabel::app
