#include "core/codex/GraphemeText.h"

#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <memory>

namespace quillon {

std::vector<std::size_t> GraphemeText::boundaries(std::string_view text) {
    std::vector<std::size_t> result{0};
    if (text.empty()) return result;
    UErrorCode status = U_ZERO_ERROR;
    UText* utext = utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status);
    std::unique_ptr<icu::BreakIterator> iterator(icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_SUCCESS(status)) iterator->setText(utext, status);
    if (U_FAILURE(status)) {
        // Without ICU's rules every byte stands alone; the text is still cut consistently.
        utext_close(utext);
        for (std::size_t i = 1; i <= text.size(); ++i) result.push_back(i);
        return result;
    }
    for (int32_t boundary = iterator->next(); boundary != icu::BreakIterator::DONE; boundary = iterator->next()) {
        result.push_back(static_cast<std::size_t>(boundary));
    }
    utext_close(utext);
    if (result.back() != text.size()) result.push_back(text.size());
    return result;
}

std::size_t GraphemeText::count(std::string_view text) { return boundaries(text).size() - 1; }

std::string_view GraphemeText::droppingPrefix(std::string_view text, std::size_t characters) {
    const auto cuts = boundaries(text);
    if (characters >= cuts.size() - 1) return {};
    return text.substr(cuts[characters]);
}

bool GraphemeText::hasPrefix(std::string_view text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    if (prefix.empty() || prefix.size() == text.size()) return true;
    // The prefix must end where a character of the text ends, not inside it ("e" is no prefix of "é"
    // written as e and a combining accent).
    const auto cuts = boundaries(text.substr(0, std::min(text.size(), prefix.size() + 64)));
    for (const auto cut : cuts) {
        if (cut == prefix.size()) return true;
        if (cut > prefix.size()) break;
    }
    return false;
}

}  // namespace quillon
