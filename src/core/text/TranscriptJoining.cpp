#include "core/text/TranscriptJoining.h"

#include <array>

#include "core/base/Unicode.h"

namespace quillon {

namespace {

// Punctuation that attaches to the text before it; compared as whole characters, so a mark
// carrying a combining accent does not count.
bool attachesToPrevious(std::string_view text) {
    static constexpr std::array<std::string_view, 8> marks{",", ".", "!", "?", ";", ":", ")", "…"};
    const std::string_view first = unicode::firstGrapheme(text);
    for (std::string_view mark : marks) {
        if (first == mark) return true;
    }
    return false;
}

std::string concatenated(std::string_view first, std::string_view separator, std::string_view second) {
    std::string out;
    out.reserve(first.size() + separator.size() + second.size());
    out.append(first).append(separator).append(second);
    return out;
}

}  // namespace

std::string appendingTranscript(std::string_view receiver, std::string_view text) {
    const std::string_view piece = unicode::trimmed(text);
    if (piece.empty()) return std::string(receiver);
    if (receiver.empty()) return std::string(piece);
    if (unicode::endsWithWhitespace(receiver) || attachesToPrevious(piece)) return concatenated(receiver, "", piece);
    return concatenated(receiver, " ", piece);
}

std::string appendingTranscriptSuffix(std::string_view suffix, std::string_view base) {
    if (suffix.empty()) return std::string(base);
    if (base.empty() || unicode::endsWithWhitespace(base) || unicode::startsWithWhitespace(suffix) ||
        attachesToPrevious(suffix)) {
        return concatenated(base, "", suffix);
    }
    return concatenated(base, " ", suffix);
}

}  // namespace quillon
