#pragma once

#include <string>
#include <string_view>

namespace quillon {

// The one rule for joining transcript pieces: `text` is trimmed; nothing is added after
// white space or before one of ",.!?;:)…"; otherwise one blank separates the two.
std::string appendingTranscript(std::string_view receiver, std::string_view text);

// The same rule for a suffix that keeps its own spacing: `suffix` is not trimmed, and a suffix
// that starts with white space is joined directly.
std::string appendingTranscriptSuffix(std::string_view suffix, std::string_view base);

}  // namespace quillon
