#pragma once

namespace quillon {

// Quillon's own synthetic key presses are bracketed by two property changes on the root window,
// made on the typing connection before the first and after the last of its XTest events. The X
// server orders them with those events, so a client watching the root window's properties (the
// hotkey) sees every key event and modifier change of the burst between the two marks, and can
// tell them from the user's own keys however late it reads its queue.
inline constexpr const char* syntheticInputBeginAtom = "_QUILLON_SYNTHETIC_INPUT_BEGIN";
inline constexpr const char* syntheticInputEndAtom = "_QUILLON_SYNTHETIC_INPUT_END";

}  // namespace quillon
