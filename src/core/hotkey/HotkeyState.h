#pragma once

namespace quillon {

// Where the hotkey stands: idle, recording (undecided or tap-to-toggle, or past the hold
// threshold) or transcribing (a stop was signalled and the coordinator has not yet reset it).
struct HotkeyState {
    enum class Kind { idle, recording, transcribing };

    static constexpr HotkeyState idle() { return {Kind::idle, false}; }
    static constexpr HotkeyState recording(bool holdMode) { return {Kind::recording, holdMode}; }
    static constexpr HotkeyState transcribing() { return {Kind::transcribing, false}; }

    Kind kind = Kind::idle;
    bool holdMode = false;

    bool operator==(const HotkeyState&) const = default;
};

}  // namespace quillon
