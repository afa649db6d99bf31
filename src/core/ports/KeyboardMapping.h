#pragma once

#include <functional>
#include <optional>
#include <vector>

namespace quillon {

// One entry of the keyboard's user mapping: the key with evdev code `source` reports the key
// `destination`. Either side is absent when the system names something that is not a key.
struct KeyMappingEntry {
    std::optional<int> source;
    std::optional<int> destination;
    bool operator==(const KeyMappingEntry&) const = default;
};

// The keyboard mapping as a list of entries, read and written whole. Main thread.
class KeyboardMapping {
public:
    virtual ~KeyboardMapping() = default;

    // The entries in force; empty when none or when the mapping cannot be read.
    virtual std::vector<KeyMappingEntry> currentMappings() = 0;
    // Replaces the entries; false when the system refused.
    virtual bool setMappings(const std::vector<KeyMappingEntry>& entries) = 0;
    // Turns the Caps Lock latch (and its light) off.
    virtual void clearCapsLockState() = 0;

    // The system changed the mapping behind our back (a new keyboard, another program). Main queue.
    std::function<void()> onMappingChanged;
};

}  // namespace quillon
