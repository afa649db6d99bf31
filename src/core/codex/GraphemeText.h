#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace quillon {

// Counting and cutting UTF-8 text by characters as a reader sees them (extended grapheme clusters).
class GraphemeText {
public:
    // Byte offsets of every character boundary of `text`, 0 and text.size() included.
    static std::vector<std::size_t> boundaries(std::string_view text);

    static std::size_t count(std::string_view text);

    // `text` without its first `characters` characters (empty when it has no more).
    static std::string_view droppingPrefix(std::string_view text, std::size_t characters);

    // Whether `text` begins with the whole characters of `prefix`.
    static bool hasPrefix(std::string_view text, std::string_view prefix);
};

}  // namespace quillon
