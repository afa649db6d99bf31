#include "core/base/Unicode.h"

#include <gtest/gtest.h>
#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

namespace quillon {
namespace {

using namespace unicode;

// Byte offsets of the grapheme boundaries of `text`, by ICU over the whole text: the reference the
// fast paths must agree with.
std::vector<std::size_t> referenceBoundaries(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    UText utext = UTEXT_INITIALIZER;
    utext_openUTF8(&utext, text.data(), static_cast<std::int64_t>(text.size()), &status);
    iterator->setText(&utext, status);
    std::vector<std::size_t> boundaries;
    for (auto at = iterator->first(); at != icu::BreakIterator::DONE; at = iterator->next()) {
        boundaries.push_back(static_cast<std::size_t>(at));
    }
    utext_close(&utext);
    EXPECT_TRUE(U_SUCCESS(status));
    return boundaries;
}

// The longest common prefix of `a` and `b` that ends on a boundary of both, by the reference.
std::size_t referencePrefix(std::string_view a, std::string_view b) {
    const auto inA = referenceBoundaries(a);
    const auto inB = referenceBoundaries(b);
    std::size_t best = 0;
    for (auto at : inA) {
        if (std::ranges::find(inB, at) != inB.end() && a.substr(0, at) == b.substr(0, at)) best = std::max(best, at);
    }
    return best;
}

// Pieces chosen to meet every rule that joins code points: CR LF, combining marks, spacing marks,
// prepended marks, Hangul jamo, regional indicator pairs, emoji with skin tones and joiners,
// keycaps, variation selectors, controls, and an ill-formed byte.
const std::vector<std::string> tricky{
    "a",      "Z",          " ",         "\r",         "\n",          "\t",        ".",
    "\xCC\x81" /* U+0301 */, "e\xCC\x81", "\xE0\xA4\x95" /* क */, "\xE0\xA4\xBF" /* ि spacing */,
    "\xE0\xA5\x8D" /* virama */,         "\xD8\x80" /* U+0600 prepend */,        "\xE1\x84\x80" /* L */,
    "\xE1\x85\xA1" /* V */,              "\xE1\x86\xA8" /* T */,   "\xEA\xB0\x80" /* LV */,
    "\xF0\x9F\x87\xAB" /* RI F */,       "\xF0\x9F\x87\xB7" /* RI R */, "\xF0\x9F\x91\x8D" /* 👍 */,
    "\xF0\x9F\x8F\xBD" /* skin tone */,  "\xE2\x80\x8D" /* ZWJ */, "\xE2\x9D\xA4" /* ❤ */,
    "\xEF\xB8\x8F" /* VS16 */,           "#",          "\xE2\x83\xA3" /* keycap */, "\xC2\xA9" /* © */,
    "\xE6\x97\xA5" /* 日 */,              "\xD0\xB6" /* ж */,       "\xC2\x85" /* NEL */, "\x7F",
    "\xFF" /* ill-formed */,             "\xE2\x80\xA8" /* U+2028 */,
};

std::string randomText(std::mt19937& random, std::size_t pieces) {
    std::uniform_int_distribution<std::size_t> pick(0, tricky.size() - 1);
    std::string text;
    for (std::size_t i = 0; i < pieces; ++i) text += tricky[pick(random)];
    return text;
}

TEST(UnicodeTest, ClustersAgreeWithIcuOnChosenAndRandomTexts) {
    // The chosen pieces meet every rule in random order: sequences such as a ZWJ emoji, a keycap,
    // a flag, Hangul L V T or a Devanagari conjunct all come up.
    std::vector<std::string> texts{""};
    std::mt19937 random(20261122);
    for (int round = 0; round < 2000; ++round) texts.push_back(randomText(random, 1 + round % 40));
    for (const auto& text : texts) {
        const auto boundaries = referenceBoundaries(text);
        ASSERT_EQ(graphemeCount(text), boundaries.size() - 1) << text;
        ASSERT_EQ(firstGrapheme(text), text.substr(0, boundaries.size() > 1 ? boundaries[1] : 0)) << text;
    }
}

TEST(UnicodeTest, CommonPrefixEndsOnABoundaryOfBothTexts) {
    struct Case {
        std::string a;
        std::string b;
        std::size_t expected;
    };
    const std::vector<Case> cases{
        {"cafe", "cafe\xCC\x81", 3},                                  // the accent joins the e
        {"caf\xC3\xA9", "caf\xC3\xA8", 3},                            // é and è share their lead byte
        {"\xF0\x9F\x91\x8D", "\xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD", 0},  // a skin tone joins the thumb
        {"\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7", "\xF0\x9F\x87\xAB\xF0\x9F\x87\xA9", 0},  // FR against FD
        {"x\r", "x\r\n", 1},
        {"a\xE2\x80\x8D\xF0\x9F\x91\x8D", "a\xE2\x80\x8D" "b", 4},   // ZWJ after a letter joins nothing
        {"\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB", "\xF0\x9F\x91\xA9\xE2\x80\x8D" "b", 0},  // but after an emoji
    };
    for (const auto& c : cases) {
        EXPECT_EQ(commonPrefixLength(c.a, c.b), c.expected) << c.a << " | " << c.b;
        EXPECT_EQ(commonPrefixLength(c.b, c.a), c.expected) << "not symmetric: " << c.a << " | " << c.b;
    }
    const std::string plain(40, 'a');  // compared several bytes a step: a difference at any offset
    for (std::size_t at = 0; at < plain.size(); ++at) {
        EXPECT_EQ(commonPrefixLength(plain, plain.substr(0, at) + "b"), at);
        EXPECT_EQ(commonPrefixLength(plain, plain.substr(0, at)), at);
    }
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        const std::string common = randomText(random, round % 12);
        const std::string a = common + randomText(random, 1 + round % 5);
        const std::string b = common + randomText(random, round % 3);
        ASSERT_EQ(commonPrefixLength(a, b), referencePrefix(a, b)) << "round " << round;
    }
}

TEST(UnicodeTest, TrimsUnicodeWhiteSpaceAndNewlines) {
    struct Case {
        std::string text;
        std::string trimmed;
        bool starts;
        bool ends;
    };
    const std::vector<Case> cases{
        {"", "", false, false},
        {" \t\r\n", "", true, true},
        {"\xE2\x80\x83no-break\xC2\xA0", "no-break", true, true},        // em space, U+00A0
        {"\xC2\x85line\xE3\x80\x80", "line", true, true},                 // NEL, ideographic space
        {"\xE2\x80\x8Bzero\xE2\x80\x8B", "\xE2\x80\x8Bzero\xE2\x80\x8B", false, false},  // U+200B is not space
        {"x \xCC\x81", "x \xCC\x81", false, false},                        // nor is an accent on a blank
        {"\xFF\xE2\x80\xA8", "\xFF", false, true},                         // an ill-formed byte is kept
    };
    for (const auto& c : cases) {
        EXPECT_EQ(trimmed(c.text), c.trimmed) << c.text;
        EXPECT_EQ(startsWithWhitespace(c.text), c.starts) << c.text;
        EXPECT_EQ(endsWithWhitespace(c.text), c.ends) << c.text;
    }
}

}  // namespace
}  // namespace quillon
