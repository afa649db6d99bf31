#include "core/base/Unicode.h"

#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

namespace quillon::unicode {

namespace {

// Most transcript text never needs the full segmentation rules. Each code point gets a kind (its
// grapheme cluster break class, with pictographs and Indic consonants told apart), and for most
// pairs of kinds no rule of the extended grapheme cluster algorithm can join them: a boundary
// between them is certain. No rule that looks further back reaches across such a boundary either
// (those rules pass backwards only through extenders, joiners and regional indicators), so each
// stretch between two certain boundaries can be segmented on its own. Short stretches of common
// shapes (a letter with its accents, an emoji sequence, a flag) are counted here; the rest goes to
// ICU. Pairs whose rules differ between Unicode versions (Indic conjuncts) are never certain.

enum class Kind : std::uint8_t {
    other,
    indicConsonant,  // may join a preceding virama in newer Unicode versions
    pictographic,
    control,
    cr,
    lf,
    prepend,
    extend,
    zwj,
    spacingMark,
    hangulL,
    hangulV,
    hangulT,
    hangulLV,
    hangulLVT,
    regionalIndicator,
};
constexpr std::size_t kindCount = 16;

constexpr bool isControl(Kind k) { return k == Kind::control || k == Kind::cr || k == Kind::lf; }
constexpr bool isExtender(Kind k) { return k == Kind::extend || k == Kind::zwj || k == Kind::spacingMark; }

constexpr bool certainPair(Kind a, Kind b) {
    if (a == Kind::cr && b == Kind::lf) return false;
    if (isControl(a) || isControl(b)) return true;
    if (a == Kind::prepend || isExtender(b)) return false;
    if (a == Kind::extend || a == Kind::spacingMark) return b != Kind::indicConsonant;
    if (a == Kind::zwj) return b != Kind::indicConsonant && b != Kind::pictographic;
    switch (b) {
        case Kind::regionalIndicator: return a != Kind::regionalIndicator;
        case Kind::hangulL: return a != Kind::hangulL;
        case Kind::hangulV: return a != Kind::hangulL && a != Kind::hangulV && a != Kind::hangulLV;
        case Kind::hangulT:
            return a != Kind::hangulV && a != Kind::hangulT && a != Kind::hangulLV && a != Kind::hangulLVT;
        case Kind::hangulLV:
        case Kind::hangulLVT: return a != Kind::hangulL;
        default: return true;
    }
}

constexpr auto certainPairs = [] {
    std::array<std::array<bool, kindCount>, kindCount> table{};
    for (std::size_t a = 0; a < kindCount; ++a) {
        for (std::size_t b = 0; b < kindCount; ++b) table[a][b] = certainPair(static_cast<Kind>(a), static_cast<Kind>(b));
    }
    return table;
}();

bool certainBoundary(Kind a, Kind b) { return certainPairs[static_cast<std::size_t>(a)][static_cast<std::size_t>(b)]; }

Kind kindOfBreakClass(std::uint32_t breakClass) {
    switch (static_cast<UGraphemeClusterBreak>(breakClass)) {
        case U_GCB_CONTROL: return Kind::control;
        case U_GCB_CR: return Kind::cr;
        case U_GCB_LF: return Kind::lf;
        case U_GCB_PREPEND: return Kind::prepend;
        case U_GCB_EXTEND: return Kind::extend;
        case U_GCB_ZWJ: return Kind::zwj;
        case U_GCB_SPACING_MARK: return Kind::spacingMark;
        case U_GCB_L: return Kind::hangulL;
        case U_GCB_V: return Kind::hangulV;
        case U_GCB_T: return Kind::hangulT;
        case U_GCB_LV: return Kind::hangulLV;
        case U_GCB_LVT: return Kind::hangulLVT;
        case U_GCB_REGIONAL_INDICATOR: return Kind::regionalIndicator;
        default: return Kind::other;
    }
}

// Devanagari to Sinhala: a superset of the scripts with conjunct rules.
constexpr bool inIndicBlocks(UChar32 c) { return c >= 0x0900 && c <= 0x0DFF; }

Kind classify(UChar32 c) {
    if (c < 0) return Kind::other;  // an ill-formed byte stands alone, as U+FFFD does
    const Kind kind = kindOfBreakClass(static_cast<std::uint32_t>(u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK)));
    if (kind != Kind::other) return kind;
    if (u_hasBinaryProperty(c, UCHAR_EXTENDED_PICTOGRAPHIC)) return Kind::pictographic;
    return inIndicBlocks(c) ? Kind::indicConsonant : Kind::other;
}

// The kinds of the first two planes (every script in use, and the emoji) are remembered as they
// are met, so the first call pays only for the code points it sees. Zero means "not yet known";
// racing threads store the same value, so relaxed order is enough.
constexpr UChar32 rememberedCodePoints = 0x20000;
constinit std::array<std::atomic<std::uint8_t>, rememberedCodePoints> knownKinds{};

inline Kind kindOf(UChar32 c) {
    if (c < 0 || c >= rememberedCodePoints) return classify(c);
    auto& slot = knownKinds[static_cast<std::size_t>(c)];
    if (const std::uint8_t known = slot.load(std::memory_order_relaxed)) return static_cast<Kind>(known - 1);
    const Kind kind = classify(c);
    slot.store(static_cast<std::uint8_t>(static_cast<std::uint8_t>(kind) + 1), std::memory_order_relaxed);
    return kind;
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

inline UChar32 decodeAt(std::string_view text, std::size_t& index) {
    const auto lead = static_cast<unsigned char>(text[index]);
    if (lead < 0x80) {
        ++index;
        return lead;
    }
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

// The clusters of a stretch of common shape, without ICU: a character with its extenders (a
// letter with accents, a keycap), an emoji sequence joined by ZWJ, or a run of regional indicators
// (flags are pairs). Absent for any other shape.
std::optional<std::size_t> countCommonShape(std::string_view stretch) {
    std::size_t index = 0;
    const Kind first = kindOf(decodeAt(stretch, index));
    bool withExtenders = true;    // anything, then extenders other than ZWJ
    bool emoji = first == Kind::pictographic;  // pictograph (extend* ZWJ pictograph)* extend*
    bool afterJoiner = false;
    bool flags = first == Kind::regionalIndicator;
    std::size_t codePoints = 1;
    while (index < stretch.size()) {
        const Kind kind = kindOf(decodeAt(stretch, index));
        ++codePoints;
        withExtenders = withExtenders && (kind == Kind::extend || kind == Kind::spacingMark);
        if (emoji) {
            if (afterJoiner) {
                emoji = kind == Kind::pictographic;
                afterJoiner = false;
            } else if (kind == Kind::zwj) {
                afterJoiner = true;
            } else {
                emoji = kind == Kind::extend;
            }
        }
        flags = flags && kind == Kind::regionalIndicator;
    }
    if (withExtenders || (emoji && !afterJoiner)) return 1;
    if (flags) return (codePoints + 1) / 2;
    return std::nullopt;
}

std::size_t countCodePoints(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size();) {
        decodeAt(text, i);
        ++count;
    }
    return count;
}

// The clusters of a stretch by ICU. A stretch lies between certain boundaries, so its clusters
// do not depend on the text around it, and the same few stretches recur all through a transcript
// (the conjuncts of an Indic script, say): short ones are remembered, per thread.
std::size_t countWithIcu(std::string_view stretch) {
    constexpr std::size_t rememberedLength = 48;
    constexpr std::size_t rememberedCount = 4096;
    thread_local std::unordered_map<std::string, std::size_t> remembered;
    const bool rememberable = stretch.size() <= rememberedLength;
    if (rememberable) {
        thread_local std::string key;
        key.assign(stretch);
        if (auto found = remembered.find(key); found != remembered.end()) return found->second;
    }

    auto& iterator = threadIterator(0);
    std::size_t clusters = 0;
    if (iterator.attach(stretch)) {
        iterator->first();
        while (iterator->next() != icu::BreakIterator::DONE) ++clusters;
    } else {
        clusters = countCodePoints(stretch);
    }
    if (rememberable) {
        if (remembered.size() >= rememberedCount) remembered.clear();
        remembered.emplace(stretch, clusters);
    }
    return clusters;
}

std::size_t countStretch(std::string_view stretch) {
    if (auto counted = countCommonShape(stretch)) return *counted;
    return countWithIcu(stretch);
}

// Whether `offset` (a code point start, not 0, not the end) is a grapheme boundary of `text`.
bool isBoundary(std::string_view text, std::size_t offset, int which) {
    std::size_t before = offset;
    const UChar32 previous = decodeBefore(text, before);
    std::size_t after = offset;
    const UChar32 next = decodeAt(text, after);
    if (certainBoundary(kindOf(previous), kindOf(next))) return true;
    auto& iterator = threadIterator(which);
    if (!iterator.attach(text)) return true;
    return iterator->isBoundary(static_cast<std::int32_t>(offset));
}

// The offset of the first byte where `a` and `b` differ (or the shorter length), eight bytes a step.
std::size_t firstDifference(std::string_view a, std::string_view b) {
    const std::size_t shorter = std::min(a.size(), b.size());
    std::size_t i = 0;
    for (; i + 8 <= shorter; i += 8) {
        std::uint64_t x;
        std::uint64_t y;
        std::memcpy(&x, a.data() + i, 8);
        std::memcpy(&y, b.data() + i, 8);
        if (x != y) break;
    }
    while (i < shorter && a[i] == b[i]) ++i;
    return i;
}

bool isContinuationByte(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

bool isWhitespace(UChar32 c) { return c >= 0 && u_isUWhiteSpace(c); }

}  // namespace

std::size_t graphemeCount(std::string_view text) {
    if (isAscii(text)) return text.size() - countCrLf(text);

    std::size_t count = 0;
    std::size_t stretchStart = 0;
    std::size_t stretchCodePoints = 0;
    Kind previous = Kind::control;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t start = i;
        const auto lead = static_cast<unsigned char>(text[i]);
        Kind kind;
        if (lead >= 0x20 && lead < 0x7F) {  // printable ASCII, the bulk of most transcripts
            kind = Kind::other;
            ++i;
        } else {
            kind = kindOf(decodeAt(text, i));
        }
        if (start > 0 && certainBoundary(previous, kind)) {
            count += stretchCodePoints == 1 ? 1 : countStretch(text.substr(stretchStart, start - stretchStart));
            stretchStart = start;
            stretchCodePoints = 0;
        }
        ++stretchCodePoints;
        previous = kind;
    }
    if (stretchCodePoints > 0) count += stretchCodePoints == 1 ? 1 : countStretch(text.substr(stretchStart));
    return count;
}

std::size_t commonPrefixLength(std::string_view a, std::string_view b) {
    std::size_t offset = firstDifference(a, b);
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

std::size_t commonSuffixLength(std::string_view a, std::string_view b, std::size_t excludingPrefix) {
    const std::size_t limit = std::min(a.size(), b.size()) - std::min({excludingPrefix, a.size(), b.size()});
    std::size_t length = 0;
    while (length < limit && a[a.size() - 1 - length] == b[b.size() - 1 - length]) ++length;

    // Move the start forward to a code point start in both texts, then to a grapheme boundary of both.
    auto startsCodePoint = [](std::string_view text, std::size_t at) {
        return at == text.size() || !isContinuationByte(text[at]);
    };
    while (length > 0 && !(startsCodePoint(a, a.size() - length) && startsCodePoint(b, b.size() - length))) --length;
    while (length > 0) {
        const std::size_t inA = a.size() - length;
        const std::size_t inB = b.size() - length;
        const bool boundaryA = inA == 0 || isBoundary(a, inA, 0);
        const bool boundaryB = inB == 0 || isBoundary(b, inB, 1);
        if (boundaryA && boundaryB) return length;
        const bool moveA = !boundaryA;
        auto& iterator = threadIterator(moveA ? 0 : 1);
        const std::string_view text = moveA ? a : b;
        if (!iterator.attach(text)) return 0;
        const std::int32_t next = iterator->following(static_cast<std::int32_t>(moveA ? inA : inB));
        if (next == icu::BreakIterator::DONE) return 0;
        length = text.size() - static_cast<std::size_t>(next);
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
    if (certainBoundary(kindOf(c), kindOf(next))) return text.substr(0, first);
    auto& iterator = threadIterator(0);
    if (!iterator.attach(text)) return text.substr(0, first);
    iterator->first();
    const std::int32_t end = iterator->next();
    return end == icu::BreakIterator::DONE ? text : text.substr(0, static_cast<std::size_t>(end));
}

}  // namespace quillon::unicode
