#include <gtest/gtest.h>

#include "DesktopWorld.h"

namespace quillon {
namespace {

using QtInsertionTest = testing::DesktopWorldTest;

// A line edit at its caret, a text edit in the middle of a line with the space after, and a line
// edit with a placeholder, which is typed into.
TEST_F(QtInsertionTest, EachTextWidgetTakesTheTextAtItsCaret) {
    struct Case {
        std::string contents, widget;
        int caret;
        std::string text;
        bool appendSpace;
        std::string expected;
    };
    for (const auto& c : std::vector<Case>{
             {"plain=Hello world", "plain", 5, ", dear", false, "Hello, dear world"},
             {"notes=one\\ntwo three", "notes", 8, "Straße 日本語", true, "one\\ntwo Straße 日本語 three"},
             {"", "hint", 0, "é ß 😀", false, "é ß 😀"},
         }) {
        SCOPED_TRACE(c.widget);
        // The fixture skips an argument without a widget's name, as the empty one is.
        auto app = startFixture("quillon_qt_text_fixture", {c.contents}, c.widget);
        ASSERT_TRUE(app);
        app->ask("caret " + c.widget + " " + std::to_string(c.caret));
        ASSERT_TRUE(world.waitForFocusedField(app->pid()));
        world.settings.setAppendSpaceAfterInsertion(c.appendSpace);
        ASSERT_TRUE(world.inserter.insertText(c.text));
        EXPECT_TRUE(testing::serveEventsUntil([&] { return contents(*app, c.widget) == c.expected; }))
            << contents(*app, c.widget);
    }
}

}  // namespace
}  // namespace quillon
