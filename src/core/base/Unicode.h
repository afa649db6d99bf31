#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillon::unicode {

// Text is UTF-8; "characters" are extended grapheme clusters.

// The number of grapheme clusters in `text`.
std::size_t graphemeCount(std::string_view text);

// The byte length of the longest common prefix of `a` and `b` that ends on a grapheme boundary
// of both.
std::size_t commonPrefixLength(std::string_view a, std::string_view b);

// The byte length of the longest common suffix of `a` and `b` that starts on a grapheme boundary
// of both and reaches no further into either text than `excludingPrefix` bytes from its start.
std::size_t commonSuffixLength(std::string_view a, std::string_view b, std::size_t excludingPrefix = 0);

// White space and newlines (Unicode White_Space) at the start and end removed.
std::string_view trimmed(std::string_view text);

// Whether the first code point of `text` is white space or a newline.
bool startsWithWhitespace(std::string_view text);
// Whether the last code point of `text` is white space or a newline.
bool endsWithWhitespace(std::string_view text);

// The first grapheme cluster of `text` (empty for empty text).
std::string_view firstGrapheme(std::string_view text);

// Byte offsets of every grapheme boundary of `text`, 0 and text.size() included.
std::vector<std::size_t> graphemeBoundaries(std::string_view text);
// The grapheme clusters of `text`, in order.
std::vector<std::string_view> graphemes(std::string_view text);
// Whether `text` begins with `prefix` and the prefix ends on a grapheme boundary of `text` ("e" is
// no such prefix of "é" written as e and a combining accent).
bool hasGraphemePrefix(std::string_view text, std::string_view prefix);

// Code points: the unit of offsets on the accessibility bus.
std::size_t codePointCount(std::string_view text);
// The byte offset at which code point `index` starts; the text's size when it has fewer.
std::size_t byteOffsetOfCodePoint(std::string_view text, std::size_t index);
// The number of code points before `byteOffset`.
std::size_t codePointOffsetOfByte(std::string_view text, std::size_t byteOffset);

}  // namespace quillon::unicode
