#include "HotKeyMapping.h"

#include <QStringList>

#include <array>

namespace kestrabel::app {

namespace {

// Virtual key codes of the stored form and the X keysyms they stand for. Key code 0 (the A key)
// cannot be offered: a code below 1 means no hot key.
constexpr std::array kKeys{
    HotKeyKey{53, "Escape", 0xff1b},
    HotKeyKey{122, "F1", 0xffbe},
    HotKeyKey{120, "F2", 0xffbf},
    HotKeyKey{99, "F3", 0xffc0},
    HotKeyKey{118, "F4", 0xffc1},
    HotKeyKey{96, "F5", 0xffc2},
    HotKeyKey{97, "F6", 0xffc3},
    HotKeyKey{98, "F7", 0xffc4},
    HotKeyKey{100, "F8", 0xffc5},
    HotKeyKey{101, "F9", 0xffc6},
    HotKeyKey{109, "F10", 0xffc7},
    HotKeyKey{103, "F11", 0xffc8},
    HotKeyKey{111, "F12", 0xffc9},
    HotKeyKey{49, "Space", 0x0020},
    HotKeyKey{36, "Return", 0xff0d},
    HotKeyKey{48, "Tab", 0xff09},
    HotKeyKey{51, "Backspace", 0xff08},
    HotKeyKey{117, "Delete", 0xffff},
    HotKeyKey{115, "Home", 0xff50},
    HotKeyKey{119, "End", 0xff57},
    HotKeyKey{116, "Page Up", 0xff55},
    HotKeyKey{121, "Page Down", 0xff56},
    HotKeyKey{123, "Left", 0xff51},
    HotKeyKey{124, "Right", 0xff53},
    HotKeyKey{125, "Down", 0xff54},
    HotKeyKey{126, "Up", 0xff52},
    HotKeyKey{29, "0", 0x0030},
    HotKeyKey{18, "1", 0x0031},
    HotKeyKey{19, "2", 0x0032},
    HotKeyKey{20, "3", 0x0033},
    HotKeyKey{21, "4", 0x0034},
    HotKeyKey{23, "5", 0x0035},
    HotKeyKey{22, "6", 0x0036},
    HotKeyKey{26, "7", 0x0037},
    HotKeyKey{28, "8", 0x0038},
    HotKeyKey{25, "9", 0x0039},
    HotKeyKey{11, "B", 0x0062},
    HotKeyKey{8, "C", 0x0063},
    HotKeyKey{2, "D", 0x0064},
    HotKeyKey{14, "E", 0x0065},
    HotKeyKey{3, "F", 0x0066},
    HotKeyKey{5, "G", 0x0067},
    HotKeyKey{4, "H", 0x0068},
    HotKeyKey{34, "I", 0x0069},
    HotKeyKey{38, "J", 0x006a},
    HotKeyKey{40, "K", 0x006b},
    HotKeyKey{37, "L", 0x006c},
    HotKeyKey{46, "M", 0x006d},
    HotKeyKey{45, "N", 0x006e},
    HotKeyKey{31, "O", 0x006f},
    HotKeyKey{35, "P", 0x0070},
    HotKeyKey{12, "Q", 0x0071},
    HotKeyKey{15, "R", 0x0072},
    HotKeyKey{1, "S", 0x0073},
    HotKeyKey{17, "T", 0x0074},
    HotKeyKey{32, "U", 0x0075},
    HotKeyKey{9, "V", 0x0076},
    HotKeyKey{13, "W", 0x0077},
    HotKeyKey{7, "X", 0x0078},
    HotKeyKey{16, "Y", 0x0079},
    HotKeyKey{6, "Z", 0x007a},
};

// The Command key is the Super key on X11, Option is Alt.
constexpr std::array kModifiers{
    HotKeyModifier{0, "None", 0},
    HotKeyModifier{kCommandKeyBit, "Super", 0x40},
    HotKeyModifier{kShiftKeyBit, "Shift", 0x01},
    HotKeyModifier{kOptionKeyBit, "Alt", 0x08},
    HotKeyModifier{kControlKeyBit, "Control", 0x04},
};

} // namespace

std::span<const HotKeyKey> hotKeyKeys()
{
    return kKeys;
}

std::span<const HotKeyModifier> hotKeyModifiers()
{
    return kModifiers;
}

const HotKeyKey *hotKeyKeyForCode(int keyCode)
{
    for (const HotKeyKey &key : kKeys) {
        if (key.keyCode == keyCode)
            return &key;
    }
    return nullptr;
}

uint32_t hotKeyModifierMask(int modifier1, int modifier2)
{
    const uint32_t shift1 = static_cast<uint32_t>(modifier1) % 32u;
    const uint32_t shift2 = static_cast<uint32_t>(modifier2) % 32u;
    return (1u << shift1) | (1u << shift2);
}

uint16_t x11ModifiersForMask(uint32_t mask)
{
    uint16_t modifiers = 0;
    for (const HotKeyModifier &modifier : kModifiers) {
        if (modifier.bit > 0 && (mask & (1u << modifier.bit)))
            modifiers |= modifier.x11Mask;
    }
    return modifiers;
}

QString hotKeyDescription(int keyCode, uint32_t mask)
{
    QStringList parts;
    for (const HotKeyModifier &modifier : kModifiers) {
        if (modifier.bit > 0 && (mask & (1u << modifier.bit)))
            parts.append(QString::fromLatin1(modifier.name));
    }
    const HotKeyKey *key = hotKeyKeyForCode(keyCode);
    parts.append(key ? QString::fromLatin1(key->name) : QStringLiteral("key %1").arg(keyCode));
    return parts.join(QLatin1Char('+'));
}

} // namespace kestrabel::app
