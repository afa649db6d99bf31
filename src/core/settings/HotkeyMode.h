#pragma once

#include <string>
#include <string_view>

namespace quillon {

enum class HotkeyMode { standard, capsLock };

inline std::string_view rawValue(HotkeyMode mode) { return mode == HotkeyMode::capsLock ? "capsLock" : "standard"; }

// Any text but "capsLock" reads as standard.
inline HotkeyMode hotkeyModeFromRawValue(std::string_view raw) {
    return raw == "capsLock" ? HotkeyMode::capsLock : HotkeyMode::standard;
}

// Modifier bits, in the one encoding stored on every platform.
namespace modifier {
inline constexpr int capsLock = 0x10000;
inline constexpr int shift = 0x20000;
inline constexpr int control = 0x40000;
inline constexpr int alt = 0x80000;
inline constexpr int super = 0x100000;
inline constexpr int function = 0x800000;
}  // namespace modifier

// The key and modifiers of the hotkey. Key codes are evdev codes; 0 means "modifiers only".
struct HotkeyTrigger {
    int keyCode = 0;
    int modifiers = 0;
    bool operator==(const HotkeyTrigger&) const = default;
};

}  // namespace quillon
