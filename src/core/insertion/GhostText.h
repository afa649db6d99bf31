#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillon {

// Some fields report their placeholder as their value while they are empty. These rules tell
// such "ghost text" from what the user wrote.
class GhostText {
public:
    // Zero-width characters (U+200B, U+200C, U+200D, U+FEFF) removed, then white space and line
    // ends trimmed at both ends.
    static std::string normalizePlaceholderComparisonText(std::string_view text);

    static bool isLikelyGhostText(std::string_view value, std::string_view placeholderText);

    // The text a field really holds: its value, or empty when that is missing or ghost text.
    static std::string resolvedCurrentText(std::optional<std::string> rawValue,
                                           const std::optional<std::string>& placeholderText);
};

}  // namespace quillon
