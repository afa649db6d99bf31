#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/settings/HotkeyMode.h"

namespace quillon {

// The name of an evdev key code as the settings window shows it: the letters, Return, Tab,
// Space, Backspace, Delete, Escape, F1 to F12 and F18. Other keys have no name.
std::optional<std::string_view> keyCodeToCharacter(int keyCode);

// A hotkey in the user's words: "Caps Lock" in Caps Lock mode; otherwise its modifiers in the
// order Fn, Ctrl, Alt, Shift, Super, then its key ("Key 105" for a key without a name), joined by
// blanks; "No key" when there is neither.
std::string formatHotkey(HotkeyMode mode, int keyCode, int modifiers);

}  // namespace quillon
