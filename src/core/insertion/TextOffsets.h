#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillon::textoffsets {

// UTF-8 text measured the two ways insertion needs: code points (the unit of offsets on the
// accessibility bus) and grapheme clusters (what a user calls a character).

std::size_t codePointCount(std::string_view text);

// The byte offset at which code point `index` starts; the text's size when it has fewer.
std::size_t byteOffsetOfCodePoint(std::string_view text, std::size_t index);

// The number of code points before `byteOffset`.
std::size_t codePointOffsetOfByte(std::string_view text, std::size_t byteOffset);

std::vector<std::string_view> graphemes(std::string_view text);
std::size_t graphemeCount(std::string_view text);

// The first `count` code points of `text` (all of it when shorter).
std::string_view prefixOfCodePoints(std::string_view text, std::size_t count);

}  // namespace quillon::textoffsets
