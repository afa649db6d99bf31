#include <gtest/gtest.h>
#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "core/base/ManualScheduler.h"
#include "core/base/Unicode.h"
#include "core/text/GlossaryCorrection.h"
#include "core/text/GlossaryCorrectionEntry.h"
#include "core/text/TranscriptCorrector.h"
#include "core/text/TranscriptJoining.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

class TranscriptCorrectorTest : public ::testing::Test {
protected:
    std::string correct(const std::string& setting, const std::string& text) {
        store_.seed("transcriptionCorrections", setting);
        return corrector_.applyingCorrections(text);
    }
    std::size_t skippedReports() const {
        return std::ranges::count_if(log_.output.messages(LogLevel::error),
                                     [](const auto& message) { return message.starts_with("Skipping correction"); });
    }

    ManualScheduler queue_;
    testing::TestLog log_{queue_};
    testing::FakeKeyValueStore store_;
    testing::FakeLoginItem loginItem_;
    SettingsManager settings_{store_, loginItem_, log_.logger(LogCategory::settings)};
    TranscriptCorrector corrector_{settings_, log_.logger(LogCategory::transcription)};
};

TEST_F(TranscriptCorrectorTest, AppliesWholeWordCaseInsensitiveCorrectionsInOrderAtEveryCall) {
    struct Case {
        std::string setting;
        std::string text;
        std::string expected;
    };
    const std::vector<Case> cases{
        {"", "Open AI's plan", "Open AI's plan"},
        {"open ai -> OpenAI", "OPEN AI's plan, reopen aid", "OpenAI's plan, reopen aid"},  // never inside a word
        {"ai -> AI", "ai_ai-ai.ai ai2 2ai", "AI_AI-AI.AI ai2 2ai"},  // underscore and punctuation bound words, digits do not
        {"naive -> naïve", "naiveté naive", "naiveté naïve"},        // an accented letter is a letter
        {"a -> b\nb -> c", "a", "c"},                                // each runs on the previous output
        {"hello -> $0$0", "Hello there", "HelloHello there"},       // "$0" is the matched text
        {"dollars -> $", "ten dollars", "ten $"},                    // a lone dollar sign is text
        {"tab -> a\\$0b", "tab", "a$0b"},                            // a backslash escapes
        {"straße -> Strasse", "STRASSE straße", "Strasse Strasse"},  // full case folding
        {"ǅemal -> Dzemal", "ǄEMAL", "Dzemal"},                       // title-case digraph
        // A source full of pattern characters matches literally.
        {"c++ -> C\na.b -> dot\n(x|y)* -> group\n[abc] -> set\n^$ -> anchors\n\\d{2} -> digits\n\\Q x \\E -> quoted",
         "c++ a.b axb (X|Y)* [abc] a ^$ $^ \\d{2} 42 \\q x \\e", "C dot axb group set a anchors $^ digits 42 quoted"},
    };
    for (const auto& c : cases) EXPECT_EQ(correct(c.setting, c.text), c.expected) << c.setting << " on " << c.text;
    EXPECT_EQ(skippedReports(), 0u);

    const std::string illFormed = "caf\xC3 \xFF end";  // text without a match comes back byte for byte
    EXPECT_EQ(correct("x -> y", illFormed), illFormed);
}

TEST_F(TranscriptCorrectorTest, ReplacementNamingAMissingGroupIsSkippedAndReportedOncePerSetting) {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(correct("alpha -> $1\nbeta -> B\ngamma -> $10 x", "alpha beta gamma"), "alpha B gamma");
    EXPECT_EQ(skippedReports(), 2u);
    EXPECT_EQ(correct("alpha -> $1 \nbeta -> b", "alpha beta"), "alpha b");
    EXPECT_EQ(skippedReports(), 3u);
}

TEST_F(TranscriptCorrectorTest, NormalizeCollapsesWhiteSpaceTrimsThenCorrects) {
    store_.seed("transcriptionCorrections", "open ai -> OpenAI");
    EXPECT_EQ(corrector_.normalize("  open\n\n   ai \r\nb\xE2\x80\xA8" "c\xC2\xA0\xC2\xA0" "d\t"), "OpenAI b c d");
    EXPECT_EQ(corrector_.normalize(" \n\t "), "");
    EXPECT_EQ(corrector_.normalize("\xE2\x80\x8B"), "\xE2\x80\x8B") << "a zero-width space is not white space";
}

TEST_F(TranscriptCorrectorTest, CallsFromSeveralThreadsShareTheCompiledRules) {
    store_.seed("transcriptionCorrections", "open ai -> OpenAI\nkube -> Kubernetes");
    std::atomic<int> wrong{0};
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                for (int i = 0; i < 200; ++i) wrong += corrector_.applyingCorrections("open ai on kube") != "OpenAI on Kubernetes";
            });
        }
    }
    EXPECT_EQ(wrong.load(), 0);
}

TEST(GlossaryCorrectionTest, SettingSplitsAtEveryLineBreakCharacterIntoNonEmptyLines) {
    const std::vector<std::pair<std::string, std::vector<std::string_view>>> cases{
        {"", {}},
        {"\n\na\r\nb\rc\vd\fe\n", {"a", "b", "c", "d", "e"}},
        {"a\xC2\x85" "b\xE2\x80\xA8" "c\xE2\x80\xA9" "d", {"a", "b", "c", "d"}},  // NEL, line and paragraph separators
        {"  \n b ", {"  ", " b "}},                                                // blank is not empty: callers trim
        {"\xC2\xA0x\xE2\x80\xA6", {"\xC2\xA0x\xE2\x80\xA6"}},  // no-break space and ellipsis share lead bytes with breaks
    };
    for (const auto& [text, lines] : cases) EXPECT_EQ(splitSettingLines(text), lines) << text;
}

TEST(GlossaryCorrectionTest, LineParsesAtItsOneSeparatorWithTwoNonEmptySides) {
    EXPECT_EQ(GlossaryCorrection::parse("  \t kube  →  Kubernetes \t"), (GlossaryCorrection{"kube", "Kubernetes"}));
    EXPECT_EQ(GlossaryCorrection::parse("open ai->OpenAI"), (GlossaryCorrection{"open ai", "OpenAI"}));
    // With "->" present an arrow is plain text.
    EXPECT_EQ(GlossaryCorrection::parse("x → y -> z"), (GlossaryCorrection{"x → y", "z"}));
    EXPECT_EQ(GlossaryCorrection::parse("a --> b"), (GlossaryCorrection{"a -", "b"}));
    for (const char* line : {"x -> y -> z", "x → y → z", "no separator", "   -> y", "nothing after → ", "a - > b"}) {
        EXPECT_EQ(GlossaryCorrection::parse(line), std::nullopt) << line;
    }
}

TEST(GlossaryCorrectionTest, EditorRowsKeepHalfRulesButTheSettingGetsOnlyWholeOnes) {
    auto rows = GlossaryCorrectionEntry::parse("open ai -> OpenAI\r\n -> lonely\nnot a rule\nx → y → z\nkube→ ");
    ASSERT_EQ(rows.size(), 3u);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].source + "|" + rows[i].replacement, (std::vector<std::string>{"open ai|OpenAI", "|lonely", "kube|"})[i]);
    }
    EXPECT_EQ(GlossaryCorrectionEntry::serialize(rows), "open ai → OpenAI");

    for (std::string_view nothing : {"", "just words"}) {
        auto blank = GlossaryCorrectionEntry::parse(nothing);
        ASSERT_EQ(blank.size(), 1u) << "one blank row to type in";
        EXPECT_TRUE(blank[0].source.empty() && blank[0].replacement.empty() && blank[0].id != Uuid{});
        EXPECT_EQ(GlossaryCorrectionEntry::serialize(blank), "");
    }
    const std::vector<GlossaryCorrectionEntry> edited{
        {Uuid::random(), " open ai ", "OpenAI "}, {Uuid::random(), "half", "  "}, {Uuid::random(), "x -> y", "z"}};
    EXPECT_EQ(GlossaryCorrectionEntry::serialize(edited), "open ai → OpenAI\nx -> y → z");
}

struct JoinCase {
    std::string receiver;
    std::string piece;
    std::string joined;  // by appendingTranscript
    std::string joinedAsSuffix;
};

TEST(TranscriptJoiningTest, OneBlankSeparatesPiecesUnlessWhiteSpaceOrClosingPunctuationIsThere) {
    const std::vector<JoinCase> cases{
        {"Hello", "world", "Hello world", "Hello world"},
        {"Hello ", "world", "Hello world", "Hello world"},
        {"x\xE3\x80\x80", "y", "x\xE3\x80\x80y", "x\xE3\x80\x80y"},     // ideographic space is white space
        {"Hello", " world ", "Hello world", "Hello world "},              // a suffix keeps its own spacing
        {"Hello", "   ", "Hello", "Hello   "},
        {"", "  bare text \n", "bare text", "  bare text \n"},
        {"Done", "  !", "Done!", "Done  !"},
        {"a", "-b", "a -b", "a -b"},
        {"a", ".\xCC\x81x", "a .\xCC\x81x", "a .\xCC\x81x"},              // a full stop with an accent is another character
    };
    for (const auto& c : cases) {
        EXPECT_EQ(appendingTranscript(c.receiver, c.piece), c.joined) << "\"" << c.receiver << "\" + \"" << c.piece << "\"";
        EXPECT_EQ(appendingTranscriptSuffix(c.piece, c.receiver), c.joinedAsSuffix) << c.receiver << " + " << c.piece;
    }
    for (std::string mark : {",", ".", "...", "!", "?", ";", ":", ")", "\xE2\x80\xA6"}) {
        EXPECT_EQ(appendingTranscript("a", mark + "b"), "a" + mark + "b") << mark;
        EXPECT_EQ(appendingTranscriptSuffix(mark + "b", "a"), "a" + mark + "b") << mark;
    }
}

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

TEST(UnicodeTest, ClustersAgreeWithIcuOnRandomTexts) {
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
