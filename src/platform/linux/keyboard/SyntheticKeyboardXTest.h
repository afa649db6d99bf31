#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/ports/SyntheticKeyboard.h"

typedef struct _XDisplay Display;

namespace quillon {

// Synthetic key presses through the XTest extension.
//
// A character on the keyboard map is typed with its own key (and Shift where needed). Any
// other character of any script is typed by binding its keysym (Unicode keysyms for what has no
// legacy name) to a spare keycode, one that has no symbols, and pressing that. Bindings stay
// while typing goes on and are removed `restoreAfter` after the last press, so the keyboard is
// left as it was found. A spare keycode is only rebound `settle` after its last press, because
// applications read the new map when they handle the press, not when it is sent.
//
// A line break in the text is typed as Shift+Return, which adds a line where the field has lines
// and submits nothing; pressKey(returnKey) is the real Return.
//
// Modifiers the user holds (the dictation hotkey, say) are lifted for the presses and put back
// after, and Caps Lock is unlocked meanwhile, so typed text arrives as written. Each burst of
// presses is marked on the root window (SyntheticInputMarks.h), so the hotkey does not take the
// lifted modifiers for the user letting go of the keys.
//
// Threads: any. `mutex_` guards the display and the bindings; the restorer thread takes it too.
class SyntheticKeyboardXTest final : public SyntheticKeyboard {
public:
    struct Options {
        std::chrono::milliseconds settle{60};
        std::chrono::milliseconds restoreAfter{400};
    };

    explicit SyntheticKeyboardXTest(const char* displayName = nullptr);
    SyntheticKeyboardXTest(const char* displayName, Options options);
    ~SyntheticKeyboardXTest() override;
    SyntheticKeyboardXTest(const SyntheticKeyboardXTest&) = delete;
    SyntheticKeyboardXTest& operator=(const SyntheticKeyboardXTest&) = delete;

    // Whether the display and its XTest extension are there.
    bool isAvailable() const { return display_ != nullptr; }

    bool typeText(const std::string& text) override;
    bool pressKey(SyntheticKey key) override;

    // How many keycodes are free for binding, and how many are bound now (for tests).
    std::size_t spareKeycodeCount();
    std::size_t boundKeycodeCount();

private:
    using Clock = std::chrono::steady_clock;
    struct Stroke {
        unsigned char keycode;
        bool shift;
    };
    struct HeldState {
        std::vector<unsigned char> releasedKeys;
        bool capsLockWasOn = false;
    };

    void takeMappingChanges();
    std::optional<Stroke> strokeFor(unsigned long keysym, std::unique_lock<std::mutex>& lock);
    std::optional<unsigned char> bind(unsigned long keysym, std::unique_lock<std::mutex>& lock);
    void press(Stroke stroke);
    HeldState liftHeldModifiers();
    void restoreHeldModifiers(const HeldState& state);
    // Brackets a burst of presses for the hotkey (see SyntheticInputMarks.h).
    void markSyntheticInput(unsigned long atom);
    void restoreBindings();
    void restorer(std::stop_token stop);

    Options options_;
    Display* display_ = nullptr;
    std::mutex mutex_;
    std::condition_variable_any wake_;
    std::vector<unsigned char> spare_;
    std::map<unsigned long, unsigned char> bound_;  // keysym -> keycode
    std::map<unsigned char, Clock::time_point> lastPress_;
    unsigned char shiftKeycode_ = 0;
    // Xlib's XModifierKeymap (an unnamed struct, so it cannot be declared here): which keycodes
    // are modifiers. Read on first use and dropped when the mapping changes.
    void* modifiers_ = nullptr;
    std::optional<Clock::time_point> restoreAt_;
    unsigned long beginMark_ = 0;  // Atoms
    unsigned long endMark_ = 0;
    std::jthread restorer_;
};

}  // namespace quillon
