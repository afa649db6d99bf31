#include "core/base/Unicode.h"

#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>

namespace quillon::unicode {

namespace {

// Most transcript text never needs the full segmentation rules. Between two code points A and B
// there is certainly a grapheme boundary when B is an ordinary character (break class Other, not
// pictographic) and A is not one of the classes that can glue to what follows (Prepend, Extend,
// ZWJ, SpacingMark). No rule of the extended grapheme cluster algorithm joins such a pair, and no
// rule that looks further back reaches across it, so each stretch between two such boundaries can
// be segmented on its own. Only stretches with combining marks, joiners, emoji sequences, Hangul
// jamo and the like go to ICU. The same holds before a control character, except CR before LF.

enum Flag : std::uint8_t {
    plainAfter = 1,   // a boundary is certain before this code point when the one before allows it
    plainBefore = 2,  // a boundary is certain after this code point when the next one allows it
    control = 4,      // Control, CR or LF: a boundary on both sides (bar CR LF)
};

std::uint8_t classify(UChar32 c) {
    if (c < 0) return plainAfter | plainBefore;  // an ill-formed byte stands alone, as U+FFFD does
    const auto breakClass = static_cast<UGraphemeClusterBreak>(u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK));
    switch (breakClass) {
        case U_GCB_CONTROL:
        case U_GCB_CR:
        case U_GCB_LF:
            return control | plainBefore;
        case U_GCB_OTHER:
            return u_hasBinaryProperty(c, UCHAR_EXTENDED_PICTOGRAPHIC) ? plainBefore : (plainAfter | plainBefore);
        case U_GCB_PREPEND:
        case U_GCB_EXTEND:
        case U_GCB_ZWJ:
        case U_GCB_SPACING_MARK:
            return 0;
        default:  // Hangul syllables and jamo, regional indicators
            return plainBefore;
    }
}

// The flags of the Basic Multilingual Plane, looked up once; the other planes ask ICU each time.
const std::array<std::uint8_t, 0x10000>& basicPlaneFlags() {
    static const auto table = [] {
        auto flags = std::make_unique<std::array<std::uint8_t, 0x10000>>();
        for (UChar32 c = 0; c < 0x10000; ++c) (*flags)[static_cast<std::size_t>(c)] = classify(c);
        return flags;
    }();
    return *table;
}

std::uint8_t flagsOf(UChar32 c) {
    if (c >= 0 && c < 0x10000) return basicPlaneFlags()[static_cast<std::size_t>(c)];
    return classify(c);
}

// Whether a boundary is certain between code points with flags `before` and `after`;
// `crBeforeLf` marks the one pair of controls that stays together.
bool certainBoundary(std::uint8_t before, std::uint8_t after, bool crBeforeLf) {
    if (crBeforeLf) return false;
    if (after & control) return true;
    if (before & control) return true;
    return (before & plainBefore) && (after & plainAfter);
}

bool isAscii(std::string_view text) {
    const char* data = text.data();
    std::size_t size = text.size();
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, data + i, 8);
        if (word & 0x8080808080808080ULL) return false;
    }
    for (; i < size; ++i) {
        if (static_cast<unsigned char>(data[i]) & 0x80) return false;
    }
    return true;
}

std::size_t countCrLf(std::string_view text) {
    std::size_t count = 0;
    const char* data = text.data();
    const char* end = data + text.size();
    while (data < end) {
        const void* found = std::memchr(data, '\r', static_cast<std::size_t>(end - data));
        if (!found) break;
        const char* cr = static_cast<const char*>(found);
        if (cr + 1 < end && cr[1] == '\n') ++count;
        data = cr + 1;
    }
    return count;
}

UChar32 decodeAt(std::string_view text, std::size_t& index) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int32_t>(text.size());
    auto i = static_cast<std::int32_t>(index);
    UChar32 c;
    U8_NEXT(bytes, i, length, c);
    index = static_cast<std::size_t>(i);
    return c;
}

// The code point that ends at `index`, moving `index` to its start. A byte that does not end a
// well-formed sequence stands alone, as it does when decoding forwards.
UChar32 decodeBefore(std::string_view text, std::size_t& index) {
    const std::size_t end = index;
    std::size_t start = end - 1;
    while (start > 0 && end - start < 4 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
    for (; start < end; ++start) {
        std::size_t next = start;
        const UChar32 c = decodeAt(text, next);
        if (next == end) {
            index = start;
            return c;
        }
    }
    index = end - 1;
    return -1;
}

// A character break iterator per thread, made once: creating one costs far more than using it.
// The text is attached as a UTF-8 UText, so native indices are byte offsets and nothing is copied.
class GraphemeIterator {
public:
    GraphemeIterator() {
        UErrorCode status = U_ZERO_ERROR;
        iterator_.reset(icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status)) iterator_.reset();
    }
    ~GraphemeIterator() { utext_close(&text_); }
    GraphemeIterator(const GraphemeIterator&) = delete;
    GraphemeIterator& operator=(const GraphemeIterator&) = delete;

    // Attaches `text`; false if ICU could not give an iterator (then callers fall back to code points).
    bool attach(std::string_view text) {
        if (!iterator_) return false;
        UErrorCode status = U_ZERO_ERROR;
        utext_openUTF8(&text_, text.data(), static_cast<std::int64_t>(text.size()), &status);
        if (U_FAILURE(status)) return false;
        iterator_->setText(&text_, status);
        return U_SUCCESS(status);
    }

    icu::BreakIterator& operator*() { return *iterator_; }
    icu::BreakIterator* operator->() { return iterator_.get(); }

private:
    std::unique_ptr<icu::BreakIterator> iterator_;
    UText text_ = UTEXT_INITIALIZER;
};

GraphemeIterator& threadIterator(int which) {
    thread_local GraphemeIterator iterators[2];
    return iterators[which];
}

std::size_t countCodePoints(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size();) {
        decodeAt(text, i);
        ++count;
    }
    return count;
}

// Clusters in a stretch that has no certain boundary inside.
std::size_t countWithIcu(std::string_view stretch) {
    if (stretch == "\r\n") return 1;
    auto& iterator = threadIterator(0);
    if (!iterator.attach(stretch)) return countCodePoints(stretch);
    std::size_t count = 0;
    iterator->first();
    while (iterator->next() != icu::BreakIterator::DONE) ++count;
    return count;
}

bool isBoundaryWithIcu(std::string_view text, std::size_t offset, int which) {
    auto& iterator = threadIterator(which);
    if (!iterator.attach(text)) return true;
    return iterator->isBoundary(static_cast<std::int32_t>(offset));
}

// Whether `offset` (a code point start, not 0, not the end) is a grapheme boundary of `text`.
bool isBoundary(std::string_view text, std::size_t offset, int which) {
    std::size_t before = offset;
    const UChar32 previous = decodeBefore(text, before);
    std::size_t after = offset;
    const UChar32 next = decodeAt(text, after);
    if (certainBoundary(flagsOf(previous), flagsOf(next), previous == '\r' && next == '\n')) return true;
    return isBoundaryWithIcu(text, offset, which);
}

bool isContinuationByte(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

bool isWhitespace(UChar32 c) { return c >= 0 && u_isUWhiteSpace(c); }

}  // namespace

std::size_t graphemeCount(std::string_view text) {
    if (isAscii(text)) return text.size() - countCrLf(text);

    std::size_t count = 0;
    std::size_t stretchStart = 0;
    std::size_t stretchCodePoints = 0;
    std::uint8_t previousFlags = 0;
    UChar32 previous = -1;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t start = i;
        const UChar32 c = decodeAt(text, i);
        const std::uint8_t flags = flagsOf(c);
        if (start > 0 && certainBoundary(previousFlags, flags, previous == '\r' && c == '\n')) {
            count += stretchCodePoints == 1 ? 1 : countWithIcu(text.substr(stretchStart, start - stretchStart));
            stretchStart = start;
            stretchCodePoints = 0;
        }
        ++stretchCodePoints;
        previousFlags = flags;
        previous = c;
    }
    if (stretchCodePoints > 0) {
        count += stretchCodePoints == 1 ? 1 : countWithIcu(text.substr(stretchStart));
    }
    return count;
}

std::size_t commonPrefixLength(std::string_view a, std::string_view b) {
    const std::size_t shorter = std::min(a.size(), b.size());
    std::size_t offset =
        static_cast<std::size_t>(std::mismatch(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(shorter), b.begin()).first -
                                 a.begin());
    if (offset == a.size() && offset == b.size()) return offset;

    // Back off to the start of a code point in both texts; before `offset` they are the same bytes.
    auto startsCodePoint = [](std::string_view text, std::size_t at) {
        return at == text.size() || !isContinuationByte(text[at]);
    };
    while (offset > 0 && !(startsCodePoint(a, offset) && startsCodePoint(b, offset))) --offset;

    // Then to a grapheme boundary of both. ICU looks only at the text around `offset`.
    while (offset > 0) {
        const bool inA = offset == a.size() || isBoundary(a, offset, 0);
        const bool inB = offset == b.size() || isBoundary(b, offset, 1);
        if (inA && inB) return offset;
        auto& iterator = threadIterator(inA ? 1 : 0);
        if (!iterator.attach(inA ? b : a)) return 0;
        const std::int32_t previous = iterator->preceding(static_cast<std::int32_t>(offset));
        offset = previous == icu::BreakIterator::DONE ? 0 : static_cast<std::size_t>(previous);
    }
    return 0;
}

std::string_view trimmed(std::string_view text) {
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t next = start;
        if (!isWhitespace(decodeAt(text, next))) break;
        start = next;
    }
    std::size_t end = text.size();
    while (end > start) {
        std::size_t previous = end;
        if (!isWhitespace(decodeBefore(text, previous))) break;
        end = previous;
    }
    return text.substr(start, end - start);
}

bool startsWithWhitespace(std::string_view text) {
    if (text.empty()) return false;
    std::size_t index = 0;
    return isWhitespace(decodeAt(text, index));
}

bool endsWithWhitespace(std::string_view text) {
    if (text.empty()) return false;
    std::size_t index = text.size();
    return isWhitespace(decodeBefore(text, index));
}

std::string_view firstGrapheme(std::string_view text) {
    if (text.empty()) return text;
    std::size_t first = 0;
    const UChar32 c = decodeAt(text, first);
    if (first == text.size()) return text;
    std::size_t second = first;
    const UChar32 next = decodeAt(text, second);
    if (certainBoundary(flagsOf(c), flagsOf(next), c == '\r' && next == '\n')) return text.substr(0, first);
    auto& iterator = threadIterator(0);
    if (!iterator.attach(text)) return text.substr(0, first);
    iterator->first();
    const std::int32_t end = iterator->next();
    return end == icu::BreakIterator::DONE ? text : text.substr(0, static_cast<std::size_t>(end));
}

}  // namespace quillon::unicode
