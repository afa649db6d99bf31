#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/ports/SyntheticKeyboard.h"

namespace quillon::testing {

// Records key presses; `onType` lets a test deliver typed text to a fake field.
class FakeSyntheticKeyboard final : public quillon::SyntheticKeyboard {
public:
    bool typeText(const std::string& text) override {
        events.push_back("type " + text);
        if (failTyping) return false;
        if (onType) onType(text);
        return true;
    }
    bool pressKey(quillon::SyntheticKey key) override {
        events.push_back(key == quillon::SyntheticKey::returnKey ? "key return" : "key right");
        return true;
    }

    std::vector<std::string> events;
    bool failTyping = false;
    std::function<void(const std::string&)> onType;
};

}  // namespace quillon::testing
