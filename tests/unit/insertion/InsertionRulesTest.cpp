#include <gtest/gtest.h>

#include "core/insertion/EventPathApplications.h"
#include "core/insertion/GhostText.h"
#include "core/insertion/TextOffsets.h"

namespace quillon {
namespace {

using enum EventInsertionStrategy;

TEST(GhostTextTest, PlaceholderEchoesAreRecognised) {
    struct Case {
        std::string value, placeholder;
        bool ghost;
    };
    const std::vector<Case> cases{
        {"Message #general", "Message #general", true},
        {"\u200BMessage\u200D #general\uFEFF \n", "Message #general", true},
        {"Message #general and my words", "Message #general", true},  // mistaken for ghost text
        {"my words Message #general", "Message #general", true},
        {"\u200B", "\u200B", true},   // equal before normalising
        {"\u200B ", "\u200B", false},  // both empty once normalised
        {"hello", "", false},
        {"", "Search", false},
        {"Messages", "Message #general", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(GhostText::isLikelyGhostText(c.value, c.placeholder), c.ghost) << c.value << " / " << c.placeholder;
    }
    EXPECT_EQ(GhostText::normalizePlaceholderComparisonText("\u00A0\u200B Search\u200C …\t\n"), "Search …");
}

TEST(GhostTextTest, CurrentTextIsEmptyForMissingValuesAndGhosts) {
    EXPECT_EQ(GhostText::resolvedCurrentText(std::nullopt, std::string("Search")), "");
    EXPECT_EQ(GhostText::resolvedCurrentText(std::string("Search"), std::string("Search")), "");
    EXPECT_EQ(GhostText::resolvedCurrentText(std::string("Search"), std::nullopt), "Search");
    EXPECT_EQ(GhostText::resolvedCurrentText(std::string("cats"), std::string("Search")), "cats");
}

TEST(EventPathApplicationsTest, MacAndLinuxIdentitiesOfTheListedApplications) {
    struct Case {
        TargetApplicationInfo info;
        bool eventPath;
        EventInsertionStrategy strategy;
    };
    const std::vector<Case> cases{
        {{"com.hnc.Discord", "", "", ""}, true, perCharacterTyping},
        {{"com.todesktop.230313mzl4w4u92", "", "", ""}, true, unicodeTyping},
        {{"com.cursor.Cursor", "", "", ""}, true, unicodeTyping},
        {{"com.openai.codex", "", "", ""}, true, unicodeTyping},
        {{"com.openai.chat", "", "", ""}, true, unicodeTyping},
        {{"", "DISCORD", "", ""}, true, perCharacterTyping},
        {{"", "Cursor", "", ""}, true, unicodeTyping},
        {{"", "Codex", "", ""}, true, unicodeTyping},
        {{"discord", "", "", ""}, true, perCharacterTyping},
        {{"", "", "com.discordapp.Discord", ""}, true, perCharacterTyping},
        {{"", "", "", "Discord"}, true, perCharacterTyping},
        {{"cursor", "", "", ""}, true, unicodeTyping},
        {{"", "", "", "cursor"}, true, unicodeTyping},
        {{"", "", "", "codex"}, true, unicodeTyping},
        {{"org.gnome.TextEditor", "Text Editor", "org.gnome.TextEditor", "gnome-text-editor"}, false, unicodeTyping},
        {{"", "Discord Helper", "", ""}, false, unicodeTyping},
    };
    for (const Case& c : cases) {
        const std::optional<TargetApplicationInfo> info = c.info;
        EXPECT_EQ(EventPathApplications::shouldUseEventBasedInsertion(info), c.eventPath) << c.info.bundleIdentifier
                                                                                           << c.info.localizedName;
        EXPECT_EQ(EventPathApplications::eventInsertionStrategy(info), c.strategy) << c.info.bundleIdentifier
                                                                                   << c.info.localizedName;
    }
    EXPECT_FALSE(EventPathApplications::shouldUseEventBasedInsertion(std::nullopt));
    EXPECT_EQ(EventPathApplications::eventInsertionStrategy(std::nullopt), unicodeTyping);
}

TEST(TextOffsetsTest, CodePointsAndGraphemes) {
    const std::string text = "e\u0301ß日👨‍👩‍👧!";
    EXPECT_EQ(textoffsets::graphemeCount(text), 5u);
    EXPECT_EQ(textoffsets::codePointCount(text), 10u);
    EXPECT_EQ(textoffsets::graphemes(text)[0], "e\u0301");
    EXPECT_EQ(textoffsets::graphemes(text)[3], "👨‍👩‍👧");
    EXPECT_EQ(textoffsets::prefixOfCodePoints(text, 4), "e\u0301ß日");
    EXPECT_EQ(textoffsets::byteOffsetOfCodePoint(text, 100), text.size());
    EXPECT_EQ(textoffsets::codePointOffsetOfByte(text, textoffsets::byteOffsetOfCodePoint(text, 7)), 7u);
    EXPECT_TRUE(textoffsets::graphemes("").empty());
}

}  // namespace
}  // namespace quillon
