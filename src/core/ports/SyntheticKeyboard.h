#pragma once

#include <string>

namespace quillon {

enum class SyntheticKey { rightArrow, returnKey };

// Key presses posted as if the user typed them, delivered to whatever has the keyboard focus.
// Threads: any thread; the adapter serialises calls.
class SyntheticKeyboard {
public:
    virtual ~SyntheticKeyboard() = default;

    // Types `text` (UTF-8, any script) as key presses, in order, without modifiers held by the
    // user interfering. False when the presses could not be made; some may have gone out.
    virtual bool typeText(const std::string& text) = 0;

    // Presses and releases one key with no modifier.
    virtual bool pressKey(SyntheticKey key) = 0;
};

}  // namespace quillon
