#include <gtest/gtest.h>

#include "core/insertion/EventPathApplications.h"
#include "core/insertion/GhostText.h"

namespace quillon {
namespace {

using enum EventInsertionStrategy;

TEST(GhostTextTest, PlaceholderEchoesAreRecognised) {
    struct Case {
        std::string value, placeholder;
        bool ghost;
    };
    const std::vector<Case> cases{
        {"\u200BMessage\u200D #general\uFEFF \n", "Message #general", true},
        {"Message #general and my words", "Message #general", true},  // mistaken for ghost text
        {"\u200B", "\u200B", true},   // equal before normalising
        {"\u200B ", "\u200B", false},  // both empty once normalised
        {"Messages", "Message #general", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(GhostText::isLikelyGhostText(c.value, c.placeholder), c.ghost) << c.value << " / " << c.placeholder;
    }
    EXPECT_EQ(GhostText::normalizePlaceholderComparisonText("\u00A0\u200B Search\u200C …\t\n"), "Search …");
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
        {{"", "DISCORD", "", ""}, true, perCharacterTyping},
        {{"", "Codex", "", ""}, true, unicodeTyping},
        {{"", "", "com.discordapp.Discord", ""}, true, perCharacterTyping},
        {{"", "", "", "Discord"}, true, perCharacterTyping},
        {{"", "", "", "cursor"}, true, unicodeTyping},
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

}  // namespace
}  // namespace quillon
