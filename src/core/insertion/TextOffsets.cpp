#include "core/insertion/TextOffsets.h"

#include <memory>

#include <unicode/brkiter.h>
#include <unicode/utext.h>

namespace quillon::textoffsets {

namespace {

bool isContinuationByte(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace

std::size_t codePointCount(std::string_view text) {
    std::size_t count = 0;
    for (char byte : text) {
        if (!isContinuationByte(byte)) ++count;
    }
    return count;
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

std::vector<std::string_view> graphemes(std::string_view text) {
    std::vector<std::string_view> result;
    if (text.empty()) return result;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UText, decltype(&utext_close)> utext(
        utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status), &utext_close);
    std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status) || !iterator) {
        // Without ICU's data, code points are the closest safe unit.
        for (std::size_t start = 0; start < text.size();) {
            std::size_t end = start + 1;
            while (end < text.size() && isContinuationByte(text[end])) ++end;
            result.push_back(text.substr(start, end - start));
            start = end;
        }
        return result;
    }
    iterator->setText(utext.get(), status);
    int32_t start = iterator->first();
    for (int32_t end = iterator->next(); end != icu::BreakIterator::DONE; start = end, end = iterator->next()) {
        result.push_back(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)));
    }
    return result;
}

std::size_t graphemeCount(std::string_view text) { return graphemes(text).size(); }

std::string_view prefixOfCodePoints(std::string_view text, std::size_t count) {
    return text.substr(0, byteOffsetOfCodePoint(text, count));
}

}  // namespace quillon::textoffsets
