// Cutting text into grapheme clusters and counting code points; declared in Unicode.h.
#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <algorithm>
#include <memory>

#include "core/base/Unicode.h"

namespace quillon::unicode {

namespace {

bool isContinuationByte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

std::vector<std::size_t> graphemeBoundaries(std::string_view text) {
    std::vector<std::size_t> result{0};
    if (text.empty()) return result;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UText, decltype(&utext_close)> utext(
        utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status), &utext_close);
    std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_SUCCESS(status) && iterator) iterator->setText(utext.get(), status);
    if (U_FAILURE(status) || !iterator) {
        // Without ICU's data, code points are the closest safe unit.
        for (std::size_t i = 1; i <= text.size(); ++i) {
            if (i == text.size() || !isContinuationByte(text[i])) result.push_back(i);
        }
        return result;
    }
    for (int32_t boundary = iterator->next(); boundary != icu::BreakIterator::DONE;
         boundary = iterator->next()) {
        result.push_back(static_cast<std::size_t>(boundary));
    }
    if (result.back() != text.size()) result.push_back(text.size());
    return result;
}

std::vector<std::string_view> graphemes(std::string_view text) {
    const auto cuts = graphemeBoundaries(text);
    std::vector<std::string_view> result;
    result.reserve(cuts.size() - 1);
    for (std::size_t i = 0; i + 1 < cuts.size(); ++i)
        result.push_back(text.substr(cuts[i], cuts[i + 1] - cuts[i]));
    return result;
}

bool hasGraphemePrefix(std::string_view text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    if (prefix.empty() || prefix.size() == text.size()) return true;
    // Only the text around the end of the prefix decides; a grapheme is far shorter than this.
    const std::size_t from = prefix.size() > 64 ? prefix.size() - 64 : 0;
    std::size_t start = from;
    while (start > 0 && isContinuationByte(text[start])) --start;
    const auto window = text.substr(start, std::min(text.size(), prefix.size() + 64) - start);
    const auto cuts = graphemeBoundaries(window);
    return std::binary_search(cuts.begin(), cuts.end(), prefix.size() - start);
}

std::size_t codePointCount(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !isContinuationByte(byte); }));
}

std::size_t byteOffsetOfCodePoint(std::string_view text, std::size_t index) {
    std::size_t seen = 0;
    for (std::size_t offset = 0; offset < text.size(); ++offset) {
        if (isContinuationByte(text[offset])) continue;
        if (seen == index) return offset;
        ++seen;
    }
    return text.size();
}

std::size_t codePointOffsetOfByte(std::string_view text, std::size_t byteOffset) {
    return codePointCount(text.substr(0, std::min(byteOffset, text.size())));
}

}  // namespace quillon::unicode
