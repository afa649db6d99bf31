#pragma once

#include <functional>
#include <string>

namespace quillon {

enum class KeyEventType { keyDown, keyUp, flagsChanged };

// One key event of the whole desktop. `keyCode` is an evdev code (0 when none); `flags` are the
// modifier and lock bits held after the event, in the stored hotkey encoding (Caps Lock 0x10000,
// Shift 0x20000, Control 0x40000, Alt 0x80000, Super 0x100000, Fn 0x800000). A modifier key or
// Caps Lock going down or up is a flagsChanged event carrying that key's code.
struct KeyEvent {
    KeyEventType type = KeyEventType::keyDown;
    int keyCode = 0;
    int flags = 0;
};

enum class KeyEventDisposition { pass, swallow };

// The keys the source keeps from the focused application.
struct SwallowedKeys {
    // The Caps Lock key and its F18 surrogate, with any modifiers.
    bool capsLockKey = false;
    // Otherwise this key with exactly these modifiers; key code 0 is a modifier-only chord: its
    // last modifier pressed while the others are held, and any key struck while all are held.
    int keyCode = 0;
    int modifiers = 0;
    bool operator==(const SwallowedKeys&) const = default;
};

// Every key event of the desktop, delivered on the main queue, each answered with pass or swallow.
// A source that cannot hold an event back at the moment it is delivered (X11 decides delivery in
// the server) swallows `SwallowedKeys` instead, which matches the answers of the hotkey logic.
class KeyEventSource {
public:
    virtual ~KeyEventSource() = default;

    // Starts delivering events and keeping `keys`; called again, changes the keys kept.
    // A failure, now or later, arrives through onUnavailable.
    virtual void start(SwallowedKeys keys) = 0;
    // Stops delivering and releases the keys. Safe when not started.
    virtual void stop() = 0;

    std::function<KeyEventDisposition(const KeyEvent&)> onKeyEvent;
    // `reason` says what could not be taken, in words for the user ("Control+Super is held by
    // another program"); the source delivers no events afterwards until started again.
    std::function<void(const std::string& reason)> onUnavailable;
};

}  // namespace quillon
