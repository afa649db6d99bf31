#include <gtest/gtest.h>
#include <QCoreApplication>

#include <atomic>
#include <thread>

#include "DesktopWorld.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;

using GtkInsertionTest = testing::DesktopWorldTest;

// Quillon's UI thread runs the default GLib main context all day, and libatspi hooks its
// connection to each application into that context. Every answer must still reach the call on
// the accessibility thread that waits for it, instead of being read on the UI thread.
TEST_F(GtkInsertionTest, AnswersReachTheCallerWhileTheUiThreadRunsTheDefaultMainContext) {
    auto app = startGtk({"plain=steady"}, "plain");
    ASSERT_TRUE(app);
    const auto field = world.waitForFocusedField(app->pid(), AccessibilityRole::textField);
    ASSERT_TRUE(field);
    // The calls come from a worker, as the dictation's do, while this thread runs Qt's loop.
    std::atomic<int> unanswered = 0;
    std::atomic<bool> done = false;
    std::jthread caller([&] {
        for (int call = 0; call < 1000; ++call) {
            if (world.accessibility.value(field) != "steady") ++unanswered;
        }
        done = true;
    });
    // Busy, as it is while the recording indicator animates: always about to look at the sockets.
    while (!done) QCoreApplication::processEvents();
    EXPECT_EQ(unanswered, 0);
}

TEST_F(GtkInsertionTest, TextViewInsertsAtTheCaretAndKeepsASelection) {
    auto app = startGtk({"notes=first line\\nsecond line"}, "notes");
    ASSERT_TRUE(app);
    app->ask("caret notes 6");
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::textArea));
    ASSERT_TRUE(world.inserter.insertText("new"));
    EXPECT_EQ(contents(*app, "notes"), "first newline\\nsecond line");

    // A selection is written over, read back as a failure and written again whole, so the
    // text ends up in front of the selection and nothing the user had is lost.
    app->ask("select notes 0 5");
    ASSERT_TRUE(world.inserter.insertText("日本語 "));
    EXPECT_EQ(contents(*app, "notes"), "日本語 first newline\\nsecond line");
}

TEST_F(GtkInsertionTest, PasswordFieldIsTypedIntoAndNeverLogged) {
    auto app = startGtk({"secret=hunter2"}, "secret");
    ASSERT_TRUE(app);
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::passwordField));
    ASSERT_TRUE(world.inserter.insertText("Xy"));
    EXPECT_TRUE(testing::serveEventsUntil([&] { return contents(*app, "secret") == "hunter2Xy"; }));
    for (const auto& entry : world.log.output.entries()) {
        EXPECT_EQ(entry.message.find("hunter2"), std::string::npos) << entry.message;
    }
}

TEST_F(GtkInsertionTest, ButtonsAndSelectableLabelsAreNoTextFields) {
    auto app = startGtk({}, "plain");
    ASSERT_TRUE(app);
    // GTK 3 shows a button without children and a selectable label with a caret of its own.
    for (const std::string widget : {"button", "label"}) {
        SCOPED_TRACE(widget);
        app->ask("focus " + widget);
        ASSERT_TRUE(testing::serveEventsUntil([&] {
            const ElementRef focused = world.accessibility.systemWideFocusedElement();
            const auto role = focused ? world.accessibility.role(focused) : std::nullopt;
            return role && role != AccessibilityRole::textField;
        })) << "the focus never left the entry";
        EXPECT_EQ(world.inserter.focusedInsertionElement(), nullptr);
        const auto target = world.inserter.captureFocusedTextTarget();
        ASSERT_FALSE(target);
        EXPECT_EQ(target.error(), TextInsertionError::noFocusedElement);
    }
}

// The line break of "append a new line" is typed as Shift+Return: a line in a multi-line view,
// nothing in a single-line entry, and never the Return that submits a form or a dialog. Only
// pressKey(returnKey) submits.
TEST_F(GtkInsertionTest, TypedLineBreakAddsALineAndSubmitsNothing) {
    auto app = startGtk({}, "hint");
    ASSERT_TRUE(app);
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::textField));
    world.settings.setAppendNewlineAfterInsertion(true);
    ASSERT_TRUE(world.inserter.insertText("one"));  // typed: the entry has a placeholder
    // Key events are handled in order: once the full stop is in, so is the line break.
    ASSERT_TRUE(world.keyboard.typeText("."));
    EXPECT_TRUE(testing::serveEventsUntil([&] { return contents(*app, "hint") == "one."; }))
        << contents(*app, "hint");

    app->ask("focus notes");
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::textArea));
    ASSERT_TRUE(world.keyboard.typeText("two\nthree\n."));
    EXPECT_TRUE(testing::serveEventsUntil([&] { return contents(*app, "notes") == "two\\nthree\\n."; }))
        << contents(*app, "notes");
    EXPECT_EQ(contents(*app, "button"), "0") << "a typed line break submitted the window";

    app->ask("focus plain");
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::textField));
    ASSERT_TRUE(world.keyboard.pressKey(SyntheticKey::returnKey));
    EXPECT_TRUE(testing::serveEventsUntil([&] { return contents(*app, "button") == "1"; }))
        << "Return submits";
}

}  // namespace
}  // namespace quillon
