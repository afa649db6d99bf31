#include "core/base/Unicode.h"

#include <gtest/gtest.h>
#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <memory>
#include <random>
#include <set>
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

std::size_t referencePrefix(std::string_view a, std::string_view b) {
    auto inA = referenceBoundaries(a);
    auto inB = referenceBoundaries(b);
    std::set<std::size_t> both;
    for (auto at : inA) {
        if (std::find(inB.begin(), inB.end(), at) != inB.end() && a.substr(0, at) == b.substr(0, at)) both.insert(at);
    }
    return both.empty() ? 0 : *both.rbegin();
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

TEST(GraphemeCountTest, CountsClustersNotCodePoints) {
    struct Case {
        std::string text;
        std::size_t expected;
    };
    const std::vector<Case> cases{
        {"", 0},
        {"hello", 5},
        {"a\r\nb", 3},                                           // CR LF is one character
        {"\r\r\n\n", 3},
        {"e\xCC\x81t\xC3\xA9", 3},                                // decomposed and composed é
        {"\xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD!", 2},                 // thumbs up with a skin tone
        {"\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB", 1},     // woman technologist (ZWJ)
        {"\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7\xF0\x9F\x87\xA9", 2}, // flag FR then a lone indicator
        {"#\xEF\xB8\x8F\xE2\x83\xA3", 1},                         // keycap number sign
        {"\xE1\x84\x80\xE1\x85\xA1\xE1\x86\xA8", 1},              // Hangul jamo L V T
        {"\xE0\xA4\x95\xE0\xA4\xBF", 1},                          // Devanagari ka with vowel sign i
        {"a\xFF" "b", 3},                                         // an ill-formed byte is one character
    };
    for (const auto& c : cases) {
        EXPECT_EQ(graphemeCount(c.text), c.expected) << c.text;
        EXPECT_EQ(graphemeCount(c.text), referenceBoundaries(c.text).size() - 1)
            << "disagrees with ICU: " << c.text;
    }
}

TEST(GraphemeCountTest, AgreesWithIcuOnRandomMixes) {
    std::mt19937 random(20261122);
    for (int round = 0; round < 2000; ++round) {
        const std::string text = randomText(random, 1 + round % 40);
        ASSERT_EQ(graphemeCount(text), referenceBoundaries(text).size() - 1) << "round " << round;
    }
}

TEST(CommonPrefixTest, EndsOnABoundaryOfBothTexts) {
    struct Case {
        std::string a;
        std::string b;
        std::size_t expected;
    };
    const std::vector<Case> cases{
        {"", "", 0},
        {"same", "same", 4},
        {"hello world", "hello there", 6},
        {"abc", "abcdef", 3},
        {"abcdef", "abc", 3},
        {"cafe", "cafe\xCC\x81", 3},                     // the accent joins the e: "caf" is common
        {"cafe\xCC\x81s", "cafe\xCC\x81t", 6},
        {"caf\xC3\xA9", "caf\xC3\xA8", 3},               // é and è share their lead byte
        {"\xF0\x9F\x91\x8D", "\xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD", 0},  // a skin tone joins the thumb
        {"\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7", "\xF0\x9F\x87\xAB\xF0\x9F\x87\xA9", 0},  // FR against FD
        {"x\r", "x\r\n", 1},                              // CR LF is one character
        {"a\xE2\x80\x8D\xF0\x9F\x91\x8D", "a\xE2\x80\x8D" "b", 4},  // ZWJ after a letter joins nothing
        {"\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB", "\xF0\x9F\x91\xA9\xE2\x80\x8D" "b", 0},  // but after an emoji
    };
    for (const auto& c : cases) {
        EXPECT_EQ(commonPrefixLength(c.a, c.b), c.expected) << c.a << " | " << c.b;
        EXPECT_EQ(commonPrefixLength(c.b, c.a), c.expected) << "not symmetric: " << c.a << " | " << c.b;
    }
}

TEST(CommonPrefixTest, FindsTheFirstDifferenceAtAnyOffset) {
    const std::string a(40, 'a');
    for (std::size_t at = 0; at < a.size(); ++at) {
        std::string b = a;
        b[at] = 'b';
        EXPECT_EQ(commonPrefixLength(a, b), at);
        EXPECT_EQ(commonPrefixLength(a, a.substr(0, at)), at);
    }
}

TEST(CommonPrefixTest, AgreesWithIcuOnRandomMixes) {
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        const std::string common = randomText(random, round % 12);
        const std::string a = common + randomText(random, 1 + round % 5);
        const std::string b = common + randomText(random, round % 3);
        ASSERT_EQ(commonPrefixLength(a, b), referencePrefix(a, b)) << "round " << round;
    }
}

TEST(WhitespaceTest, TrimsUnicodeWhiteSpaceAndNewlines) {
    struct Case {
        std::string text;
        std::string expected;
    };
    const std::vector<Case> cases{
        {"", ""},
        {"  \t\r\n", ""},
        {" a b ", "a b"},
        {"\xC2\xA0no-break\xE3\x80\x80", "no-break"},          // U+00A0 and the ideographic space
        {"\xC2\x85line\xE2\x80\xA8", "line"},                  // NEL and the line separator
        {"\xE2\x80\x8Bzero-width\xE2\x80\x8B", "\xE2\x80\x8Bzero-width\xE2\x80\x8B"},  // U+200B is not space
        {"\xFF ", "\xFF"},                                     // an ill-formed byte is kept
    };
    for (const auto& c : cases) EXPECT_EQ(trimmed(c.text), c.expected) << c.text;

    EXPECT_TRUE(startsWithWhitespace("\xE2\x80\x83x"));  // em space
    EXPECT_FALSE(startsWithWhitespace("x "));
    EXPECT_FALSE(startsWithWhitespace(""));
    EXPECT_TRUE(endsWithWhitespace("x\n"));
    EXPECT_TRUE(endsWithWhitespace("x\xE3\x80\x80"));
    EXPECT_FALSE(endsWithWhitespace(" \xCC\x81"));  // a combining mark on a blank is not white space
    EXPECT_FALSE(endsWithWhitespace(""));
}

TEST(FirstGraphemeTest, TakesTheWholeCluster) {
    EXPECT_EQ(firstGrapheme(""), "");
    EXPECT_EQ(firstGrapheme("ab"), "a");
    EXPECT_EQ(firstGrapheme(".\xCC\x81x"), ".\xCC\x81");
    EXPECT_EQ(firstGrapheme("\r\nx"), "\r\n");
    EXPECT_EQ(firstGrapheme("\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBBz"), "\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB");
    EXPECT_EQ(firstGrapheme("\xE2\x80\xA6"), "\xE2\x80\xA6");
}

}  // namespace
}  // namespace quillon
