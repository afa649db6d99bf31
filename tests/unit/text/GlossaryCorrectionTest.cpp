#include "core/text/GlossaryCorrection.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "core/text/GlossaryContext.h"
#include "core/text/GlossaryCorrectionEntry.h"

namespace quillon {
namespace {

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
    EXPECT_TRUE(rows[0].id != rows[1].id && rows[1].id != rows[2].id);
    EXPECT_NE(GlossaryCorrectionEntry::parse("a -> b")[0].id, GlossaryCorrectionEntry::parse("a -> b")[0].id);
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

TEST(GlossaryCorrectionTest, GlossaryTermsAreTrimmedKeptInOrderAndNotDeduplicated) {
    auto context = analysisContext("  Quillon \r\nPocketSphinx\n\n\xE2\x80\xA8Quillon\n \t \n");
    EXPECT_EQ(context.contextualStrings,
              (std::map<std::string, std::vector<std::string>>{{"general", {"Quillon", "PocketSphinx", "Quillon"}}}));
    EXPECT_TRUE(analysisContext(" \n \t\r\n\xE3\x80\x80").contextualStrings.empty()) << "blank lines set nothing";
}

}  // namespace
}  // namespace quillon
