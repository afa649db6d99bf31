#pragma once

#include <string_view>

namespace quillon {

enum class EventInsertionStrategy { unicodeTyping, perCharacterTyping };

constexpr std::string_view strategyName(EventInsertionStrategy strategy) {
    return strategy == EventInsertionStrategy::perCharacterTyping ? "perCharacterTyping" : "unicodeTyping";
}

}  // namespace quillon
