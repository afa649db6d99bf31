#include "core/text/GlossaryCorrection.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "core/text/AnalysisContext.h"
#include "core/text/GlossaryCorrectionEntry.h"

namespace quillon {
namespace {

TEST(SettingLinesTest, SplitsAtEveryLineBreakCharacterAndDropsEmptyPieces) {
    struct Case {
        std::string text;
        std::vector<std::string_view> expected;
    };
    const std::vector<Case> cases{
        {"", {}},
        {"one", {"one"}},
        {"a\nb\n", {"a", "b"}},
        {"a\r\nb\r\n", {"a", "b"}},             // CR LF gives the same lines as LF
        {"a\rb", {"a", "b"}},
        {"a\vb\fc", {"a", "b", "c"}},           // U+000B and U+000C end lines too
        {"a\xC2\x85" "b", {"a", "b"}},          // NEL
        {"a\xE2\x80\xA8" "b\xE2\x80\xA9" "c", {"a", "b", "c"}},  // line and paragraph separators
        {"\n\n\na\n\n", {"a"}},
        {"  \n b ", {"  ", " b "}},             // blank lines are not empty: callers trim
        {"\xC2\xA0x", {"\xC2\xA0x"}},           // a no-break space is not a line break
        {"\xE2\x80\xA6", {"\xE2\x80\xA6"}},     // nor is the ellipsis, which shares the lead byte
    };
    for (const auto& c : cases) EXPECT_EQ(splitSettingLines(c.text), c.expected) << c.text;
}

TEST(GlossaryCorrectionTest, ParsesOneSeparatorWithTwoNonEmptySides) {
    using Correction = std::optional<GlossaryCorrection>;
    struct Case {
        std::string line;
        Correction expected;
    };
    const std::vector<Case> cases{
        {"open ai -> OpenAI", GlossaryCorrection{"open ai", "OpenAI"}},
        {"open ai→OpenAI", GlossaryCorrection{"open ai", "OpenAI"}},
        {"  \t kube  →  Kubernetes \t", GlossaryCorrection{"kube", "Kubernetes"}},
        {"x → y -> z", GlossaryCorrection{"x → y", "z"}},  // with "->" present the arrow is text
        {"x -> y -> z", std::nullopt},
        {"x → y → z", std::nullopt},
        {"no separator", std::nullopt},
        {"-> nothing before", std::nullopt},
        {"nothing after ->", std::nullopt},
        {"   -> y", std::nullopt},
        {"->", std::nullopt},
        {"a - > b", std::nullopt},
        {"a --> b", GlossaryCorrection{"a -", "b"}},
        {"a >- b", std::nullopt},
        {"price -> $5", GlossaryCorrection{"price", "$5"}},
    };
    for (const auto& c : cases) EXPECT_EQ(GlossaryCorrection::parse(c.line), c.expected) << c.line;
}

TEST(GlossaryCorrectionEntryTest, ParseKeepsRowsWithAnEmptySideAndNeverReturnsNone) {
    auto rows = GlossaryCorrectionEntry::parse("open ai -> OpenAI\r\n -> lonely\nnot a rule\nx → y → z\nkube→ ");
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].source, "open ai");
    EXPECT_EQ(rows[0].replacement, "OpenAI");
    EXPECT_EQ(rows[1].source, "");
    EXPECT_EQ(rows[1].replacement, "lonely");
    EXPECT_EQ(rows[2].source, "kube");
    EXPECT_EQ(rows[2].replacement, "");
    EXPECT_NE(rows[0].id, rows[1].id);
    EXPECT_NE(rows[1].id, rows[2].id);

    for (std::string_view nothing : {"", "\n\n", "just words", "a -> b -> c"}) {
        auto blank = GlossaryCorrectionEntry::parse(nothing);
        ASSERT_EQ(blank.size(), 1u) << nothing;
        EXPECT_EQ(blank[0].source, "");
        EXPECT_EQ(blank[0].replacement, "");
        EXPECT_FALSE(blank[0].id.isNil());
    }

    // Each parse makes fresh identifiers.
    EXPECT_NE(GlossaryCorrectionEntry::parse("a -> b")[0].id, GlossaryCorrectionEntry::parse("a -> b")[0].id);
}

TEST(GlossaryCorrectionEntryTest, SerializeNormalisesToTheArrowAndDropsIncompleteRows) {
    const std::vector<GlossaryCorrectionEntry> rows{
        {Uuid::random(), " open ai ", "OpenAI "},
        {Uuid::random(), "", "lonely"},
        {Uuid::random(), "half", "  "},
        {Uuid::random(), "x -> y", "z"},
        {Uuid::random(), "kube", "Kubernetes"},
    };
    EXPECT_EQ(GlossaryCorrectionEntry::serialize(rows), "open ai → OpenAI\nx -> y → z\nkube → Kubernetes");
    EXPECT_EQ(GlossaryCorrectionEntry::serialize({}), "");
    EXPECT_EQ(GlossaryCorrectionEntry::serialize(GlossaryCorrectionEntry::parse("")), "");

    // An edited setting survives a round trip through the editor, apart from its separators.
    const std::string setting = "a -> b\r\nc→d\n\n -> gone\n";
    EXPECT_EQ(GlossaryCorrectionEntry::serialize(GlossaryCorrectionEntry::parse(setting)), "a → b\nc → d");
}

TEST(AnalysisContextTest, GlossaryTermsAreTrimmedKeptInOrderAndNotDeduplicated) {
    auto context = analysisContext("  Quillon \r\nPocketSphinx\n\n\xE2\x80\xA8Quillon\n \t \n");
    ASSERT_EQ(context.contextualStrings.size(), 1u);
    EXPECT_EQ(context.contextualStrings.at(AnalysisContext::generalTag),
              (std::vector<std::string>{"Quillon", "PocketSphinx", "Quillon"}));

    for (std::string blank : {"", " \n \t\r\n  ", "\xE3\x80\x80"}) {
        EXPECT_TRUE(analysisContext(blank).contextualStrings.empty()) << "a glossary of blank lines sets nothing";
    }
}

}  // namespace
}  // namespace quillon
