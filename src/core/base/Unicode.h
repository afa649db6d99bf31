#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillon::unicode {

// Text is UTF-8; "characters" are extended grapheme clusters.

// The number of grapheme clusters in `text`.
std::size_t graphemeCount(std::string_view text);

// The byte length of the longest common prefix of `a` and `b` that ends on a grapheme boundary
// of both.
std::size_t commonPrefixLength(std::string_view a, std::string_view b);

// White space and newlines (Unicode White_Space) at the start and end removed.
std::string_view trimmed(std::string_view text);

// Whether the first code point of `text` is white space or a newline.
bool startsWithWhitespace(std::string_view text);
// Whether the last code point of `text` is white space or a newline.
bool endsWithWhitespace(std::string_view text);

// The first grapheme cluster of `text` (empty for empty text).
std::string_view firstGrapheme(std::string_view text);

}  // namespace quillon::unicode
