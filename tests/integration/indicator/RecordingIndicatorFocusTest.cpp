// The recording indicator on a real X server: it appears, animates, changes mode and fades away
// while a GTK text field keeps the keyboard focus and still takes typing.
#include "DesktopWorld.h"
#include "ui/RecordingIndicatorQt.h"

namespace quillon::testing {
namespace {

class RecordingIndicatorFocus : public DesktopWorldTest {};

TEST_F(RecordingIndicatorFocus, GtkFieldKeepsTheFocusWhileThePillShowsAnimatesAndHides) {
    auto gtk = startGtk({}, "plain");
    ASSERT_TRUE(gtk);
    ASSERT_TRUE(world.waitForFocusedField(gtk->pid()));

    AudioLevels levels;
    levels.levels = {0.2f, 0.6f, 1.0f, 0.4f, 0.0f};
    levels.peak = 1.0f;
    RecordingIndicatorQt indicator([&levels] { return levels; });
    indicator.setMode(RecordingIndicatorMode::recording);
    indicator.show();
    indicator.show();  // a second show makes no second window
    const auto framesDrawn = [&] { return indicator.framesDrawn(); };
    QWidget* pill = indicator.window();
    ASSERT_TRUE(pill);
    EXPECT_TRUE(serveEventsUntil([&] { return framesDrawn() >= 10; }));

    EXPECT_TRUE(pill->isVisible());
    EXPECT_FALSE(pill->isActiveWindow());
    EXPECT_EQ(world.applications.frontmostProcessIdentifier(), gtk->pid());
    EXPECT_TRUE(world.waitForFocusedField(gtk->pid()));

    indicator.setMode(RecordingIndicatorMode::transcribing);
    EXPECT_TRUE(
        serveEventsUntil([&] { return indicator.shownMode() == RecordingIndicatorMode::transcribing; }));
    const int frames = framesDrawn();
    EXPECT_TRUE(serveEventsUntil([&] { return framesDrawn() >= frames + 10; }));

    indicator.hide();
    indicator.hide();
    indicator.show();  // during the fade-out: lost
    EXPECT_TRUE(serveEventsUntil([&] { return indicator.window() == nullptr; }));
    EXPECT_FALSE(indicator.isAnimating());
    EXPECT_FALSE(indicator.isVisible());

    // The field still has the keyboard: typed keys land in it.
    EXPECT_EQ(world.applications.frontmostProcessIdentifier(), gtk->pid());
    ASSERT_TRUE(world.waitForFocusedField(gtk->pid()));
    ASSERT_TRUE(world.keyboard.typeText("ok"));
    EXPECT_TRUE(serveEventsUntil([&] { return contents(*gtk, "plain") == "ok"; }));
}

}  // namespace
}  // namespace quillon::testing
