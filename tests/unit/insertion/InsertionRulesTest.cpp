#include <gtest/gtest.h>

#include "InsertionWorld.h"
#include "core/insertion/AccessibilityPermission.h"
#include "core/insertion/GhostText.h"
#include "fakes/FakeUrlOpener.h"

namespace quillon {
namespace {

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

TEST(AccessibilityPermissionTest, OpeningSettingsSwitchesTheServiceOnElseOpensTheDesktopsPage) {
    struct Case {
        const char* name;
        std::optional<std::string> enableFailure;
        bool enableSwitchesOn;
        bool granted;
        std::vector<std::string> opened;
    };
    const std::vector<Case> cases{
        {"no bus to ask", "The accessibility bus could not be reached", true, false, {"settings://accessibility"}},
        {"switched on but still refused", std::nullopt, false, false, {"settings://accessibility"}},
    };
    for (const Case& c : cases) {
        testing::InsertionWorld world;
        testing::FakeUrlOpener urls;
        world.accessibility.trusted = false;
        world.accessibility.enableFailure = c.enableFailure;
        world.accessibility.enableSwitchesOn = c.enableSwitchesOn;
        AccessibilityPermission permission(world.accessibility, urls, world.log.logger(LogCategory::app));
        std::vector<bool> published;
        permission.onChange = [&](bool granted) { published.push_back(granted); };
        permission.openSystemSettings();
        EXPECT_EQ(permission.accessibilityPermissionGranted(), c.granted) << c.name;
        EXPECT_EQ(urls.opened, c.opened) << c.name;
        EXPECT_EQ(published, c.granted ? std::vector<bool>{true} : std::vector<bool>{}) << c.name;
    }
}

}  // namespace
}  // namespace quillon
