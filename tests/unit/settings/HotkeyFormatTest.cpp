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
        {HotkeyMode::standard, 29, 0, "Key 29"},  // a modifier's own key is no key
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
