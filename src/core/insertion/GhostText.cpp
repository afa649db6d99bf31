#include "core/insertion/GhostText.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace quillon {

namespace {

bool isZeroWidth(UChar32 c) { return c == 0x200B || c == 0x200C || c == 0x200D || c == 0xFEFF; }

}  // namespace

std::string GhostText::normalizePlaceholderComparisonText(std::string_view text) {
    std::string kept;
    kept.reserve(text.size());
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    // Byte ranges of the first and last code point that is not white space.
    std::size_t first = std::string::npos;
    std::size_t lastEnd = 0;
    for (int32_t offset = 0; offset < length;) {
        const int32_t start = offset;
        UChar32 c = 0;
        U8_NEXT(bytes, offset, length, c);
        if (c >= 0 && isZeroWidth(c)) continue;
        const std::size_t keptStart = kept.size();
        kept.append(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(offset - start)));
        if (c < 0 || !u_isUWhiteSpace(c)) {
            if (first == std::string::npos) first = keptStart;
            lastEnd = kept.size();
        }
    }
    if (first == std::string::npos) return {};
    return kept.substr(first, lastEnd - first);
}

bool GhostText::isLikelyGhostText(std::string_view value, std::string_view placeholderText) {
    if (value == placeholderText) return true;
    const std::string normalizedValue = normalizePlaceholderComparisonText(value);
    const std::string normalizedPlaceholder = normalizePlaceholderComparisonText(placeholderText);
    if (normalizedValue.empty() || normalizedPlaceholder.empty()) return false;
    return normalizedValue.starts_with(normalizedPlaceholder) || normalizedValue.ends_with(normalizedPlaceholder);
}

std::string GhostText::resolvedCurrentText(std::optional<std::string> rawValue,
                                           const std::optional<std::string>& placeholderText) {
    if (!rawValue) return {};
    if (placeholderText && isLikelyGhostText(*rawValue, *placeholderText)) return {};
    return std::move(*rawValue);
}

}  // namespace quillon
