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
        {HotkeyMode::standard, 88, 0, "F12"},
        {HotkeyMode::standard, 87, 0, "F11"},  // F11 and F12 leave the row of F1 to F10
        {HotkeyMode::standard, 60, 0, "F2"},
        {HotkeyMode::standard, 1, 0, "Escape"},
        {HotkeyMode::standard, 29, 0, "Key 29"},  // a modifier's own key is no key
        {HotkeyMode::standard, 188, 0, "F18"},
        {HotkeyMode::standard, 105, control, "Ctrl Key 105"},
        // Caps Lock's own bit is no modifier of a hotkey.
        {HotkeyMode::standard, 30, capsLock, "A"},
        {HotkeyMode::capsLock, 188, control, "Caps Lock"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(formatHotkey(c.mode, c.keyCode, c.modifiers), c.text) << c.keyCode << " " << c.modifiers;
    }
}

}  // namespace
}  // namespace quillon
