#include "core/settings/HotkeyFormat.h"

#include <gtest/gtest.h>

namespace quillon {
namespace {

TEST(HotkeyFormat, NamesModifiersInOrderThenTheKey) {
    using namespace modifier;
    struct Case {
        HotkeyMode mode;
        int keyCode;
        int modifiers;
        const char* text;
    };
    const Case cases[] = {
        {HotkeyMode::standard, 0, 0, "No key"},
        {HotkeyMode::standard, 0, control | super, "Ctrl Super"},
        // Every modifier at once, in their fixed order whatever the bits.
        {HotkeyMode::standard, 37, super | shift | alt | control | function, "Fn Ctrl Alt Shift Super K"},
        {HotkeyMode::standard, 0, function | shift, "Fn Shift"},
        {HotkeyMode::standard, 57, alt, "Alt Space"},
        {HotkeyMode::standard, 88, 0, "F12"},
        {HotkeyMode::standard, 188, 0, "F18"},
        {HotkeyMode::standard, 14, control, "Ctrl Backspace"},
        {HotkeyMode::standard, 105, 0, "Key 105"},
        {HotkeyMode::standard, 105, control, "Ctrl Key 105"},
        // Caps Lock's own bit is no modifier of a hotkey.
        {HotkeyMode::standard, 30, capsLock, "A"},
        {HotkeyMode::capsLock, 188, control, "Caps Lock"},
        {HotkeyMode::capsLock, 0, 0, "Caps Lock"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(formatHotkey(c.mode, c.keyCode, c.modifiers), c.text) << c.keyCode << " " << c.modifiers;
    }
}

TEST(HotkeyFormat, KnowsTheLettersFunctionKeysAndEditingKeysByTheirEvdevCodes) {
    const char* letters = "QWERTYUIOPASDFGHJKLZXCVBNM";
    // evdev codes follow the rows of the keyboard.
    const int codes[] = {16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 30, 31, 32,
                         33, 34, 35, 36, 37, 38, 44, 45, 46, 47, 48, 49, 50};
    for (int i = 0; i < 26; ++i)
        EXPECT_EQ(keyCodeToCharacter(codes[i]), std::string(1, letters[i])) << codes[i];
    for (int f = 1; f <= 10; ++f) EXPECT_EQ(keyCodeToCharacter(58 + f), "F" + std::to_string(f));
    EXPECT_EQ(keyCodeToCharacter(87), "F11");
    EXPECT_EQ(keyCodeToCharacter(1), "Escape");
    EXPECT_EQ(keyCodeToCharacter(15), "Tab");
    EXPECT_EQ(keyCodeToCharacter(28), "Return");
    EXPECT_EQ(keyCodeToCharacter(111), "Delete");
    for (int unnamed : {0, 2, 29, 42, 58, 89, 125, 189})
        EXPECT_EQ(keyCodeToCharacter(unnamed), std::nullopt) << unnamed;
}

}  // namespace
}  // namespace quillon
