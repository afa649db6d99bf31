#include <csignal>

#include <gtest/gtest.h>

#include "DesktopWorld.h"
#include "core/insertion/AccessibilityPermission.h"
#include "fakes/FakeSyntheticKeyboard.h"
#include "fakes/FakeUrlOpener.h"
#include "platform/linux/accessibility/AccessibilityBusStatus.h"

namespace quillon {
namespace {

using namespace std::chrono;
using DesktopFailureTest = testing::DesktopWorldTest;

TEST_F(DesktopFailureTest, ZenityEntryGetsTheTextItPrintsOnReturn) {
    auto zenity = world.launch("zenity", {"--entry", "--title=Quillon", "--text=Say something"}, false);
    ASSERT_TRUE(zenity);
    ASSERT_TRUE(world.waitForFocusedField(zenity->pid(), AccessibilityRole::textField));
    ASSERT_TRUE(world.inserter.insertText("Grüße aus 日本"));
    ASSERT_TRUE(world.keyboard.pressKey(SyntheticKey::returnKey));
    EXPECT_EQ(zenity->readLine(seconds(10)), "Grüße aus 日本");
}

TEST_F(DesktopFailureTest, AccessibilitySwitchedOffRefusesAndGrantingSwitchesItOn) {
    auto app = startGtk({}, "plain");
    ASSERT_TRUE(app);
    ASSERT_TRUE(world.waitForFocusedField(app->pid()));
    testing::FakeUrlOpener settingsPages;
    AccessibilityPermission permission(world.accessibility, settingsPages, world.log.logger(LogCategory::app));

    ASSERT_EQ(AccessibilityBusStatus::setEnabled(false), std::nullopt);
    permission.checkAccessibilityPermission();
    EXPECT_FALSE(permission.accessibilityPermissionGranted());
    const auto refused = world.inserter.insertText("x");
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), TextInsertionError::accessibilityNotGranted);
    EXPECT_EQ(world.inserter.captureFocusedTextTarget().error(), TextInsertionError::accessibilityNotGranted);

    permission.openSystemSettings();
    EXPECT_TRUE(permission.accessibilityPermissionGranted());
    EXPECT_TRUE(settingsPages.opened.empty()) << "switching the service on was enough";
    EXPECT_TRUE(world.inserter.insertText("x"));
}

// What the time-outs cost is measured by bench/insertion; here, that a hung application fails
// the insertion and is then skipped.
TEST_F(DesktopFailureTest, HungApplicationFailsTheInsertionAndIsSkippedAfterwards) {
    auto app = startGtk({}, "plain");
    ASSERT_TRUE(app);
    ASSERT_TRUE(world.waitForFocusedField(app->pid()));
    const auto target = world.inserter.captureFocusedTextTarget();
    ASSERT_TRUE(target);

    app->signal(SIGSTOP);
    const std::string timeOut = "to answer the accessibility bus; skipping it for a while";
    EXPECT_FALSE(world.inserter.insertText("stuck"));
    EXPECT_EQ(world.log.output.countContaining(timeOut), 1u);
    EXPECT_FALSE(world.accessibility.value(target->element));
    EXPECT_EQ(world.log.output.countContaining(timeOut), 1u) << "an unresponsive application is skipped without waiting again";
    app->signal(SIGCONT);
}

TEST_F(DesktopFailureTest, PasteFallBackInsertsAndGivesTheClipboardBack) {
    auto app = startGtk({}, "hint");
    ASSERT_TRUE(app);
    ASSERT_TRUE(world.waitForFocusedField(app->pid()));
    ASSERT_TRUE(world.pasteboard.setString("the user's clipboard"));

    // A keyboard that cannot type leaves the paste action as the only way in.
    testing::FakeSyntheticKeyboard brokenKeyboard;
    brokenKeyboard.failTyping = true;
    TextInserter inserter{world.accessibility, brokenKeyboard,   world.pasteboard,
                          world.applications,  world.pacer,      world.mainQueue,
                          world.settings,      world.log.logger(LogCategory::insertion)};
    ASSERT_TRUE(inserter.insertText("pasted 日本語"));
    EXPECT_TRUE(world.log.output.contains(LogLevel::info, "Inserted via AXPaste action"));
    EXPECT_TRUE(testing::serveEventsUntil([&] { return app->ask("dump hint") == "hint=pasted 日本語"; }));

    world.mainQueue.advance(milliseconds(100));
    EXPECT_EQ(world.pasteboard.string(), "the user's clipboard");
}

}  // namespace
}  // namespace quillon
