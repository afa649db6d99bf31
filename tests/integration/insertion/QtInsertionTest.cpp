#include <gtest/gtest.h>

#include "DesktopWorld.h"

namespace quillon {
namespace {

using testing::DesktopWorld;
using testing::TestApplication;

class QtInsertionTest : public testing::DesktopTest {
protected:
    std::unique_ptr<TestApplication> start(const std::vector<std::string>& arguments, const std::string& focus) {
        return startFixture("quillon_qt_text_fixture", arguments, focus);
    }
};

TEST_F(QtInsertionTest, LineEditTakesTextAtTheCaretAndReadsBack) {
    auto app = start({"plain=Hello world"}, "plain");
    ASSERT_TRUE(app);
    app->ask("caret plain 5");
    ASSERT_TRUE(world.waitForFocusedField(app->pid()));
    ASSERT_TRUE(world.inserter.insertText(", dear"));
    EXPECT_EQ(contents(*app, "plain"), "Hello, dear world");
    EXPECT_TRUE(world.log.output.contains(LogLevel::info, "Insertion target app=quillon_qt_text_fixture bundle= "
                                                          "role=textField eventPath=false placeholder=<none>"));
}

TEST_F(QtInsertionTest, TextEditTakesNonLatinTextInTheMiddleOfALine) {
    auto app = start({"notes=one\\ntwo three"}, "notes");
    ASSERT_TRUE(app);
    app->ask("caret notes 8");
    ASSERT_TRUE(world.waitForFocusedField(app->pid()));
    world.settings.setAppendSpaceAfterInsertion(true);
    ASSERT_TRUE(world.inserter.insertText("Straße 日本語"));
    EXPECT_EQ(contents(*app, "notes"), "one\\ntwo Straße 日本語 three");
}

TEST_F(QtInsertionTest, PlaceholderLineEditGetsTheTextEitherWay) {
    auto app = start({}, "hint");
    ASSERT_TRUE(app);
    ASSERT_TRUE(world.waitForFocusedField(app->pid()));
    ASSERT_TRUE(world.inserter.insertText("é ß 😀"));
    EXPECT_TRUE(testing::waitUntil([&] { return contents(*app, "hint") == "é ß 😀"; })) << contents(*app, "hint");
}

}  // namespace
}  // namespace quillon
