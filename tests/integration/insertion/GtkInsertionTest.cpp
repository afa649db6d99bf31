#include <gtest/gtest.h>
#include <QCoreApplication>

#include <atomic>
#include <thread>

#include "DesktopWorld.h"
#include "SpeechTestFiles.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using testing::DesktopWorld;
using testing::TestApplication;

class GtkInsertionTest : public testing::DesktopTest {
protected:
    std::unique_ptr<TestApplication> start(const std::vector<std::string>& arguments,
                                           const std::string& focus) {
        return startFixture("quillon_gtk_text_fixture", arguments, focus);
    }
};

TEST_F(GtkInsertionTest, EntryTakesTextThroughTheAccessibilityPathAndReadsBack) {
    auto app = start({"plain=Hello "}, "plain");
    ASSERT_TRUE(app);
    app->ask("caret plain 6");
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::textField));

    const auto target = world.inserter.captureFocusedTextTarget();
    ASSERT_TRUE(target);
    EXPECT_EQ(target->processIdentifier, app->pid());

    ASSERT_TRUE(world.inserter.insertText("wörld"));
    EXPECT_EQ(contents(*app, "plain"), "Hello wörld");
    EXPECT_TRUE(
        world.log.output.contains(LogLevel::info,
                                  "Insertion target app=quillon_gtk_text_fixture bundle= role=textField "
                                  "eventPath=false placeholder=<none>"))
        << "the process name stands in for the name of an application without a desktop file";
    EXPECT_TRUE(world.inserter.isSameElement(target->element, world.inserter.focusedInsertionElement()));
}

// Quillon's UI thread runs the default GLib main context all day, and libatspi hooks its
// connection to each application into that context. Every answer must still reach the call on
// the accessibility thread that waits for it, instead of being read on the UI thread.
TEST_F(GtkInsertionTest, AnswersReachTheCallerWhileTheUiThreadRunsTheDefaultMainContext) {
    auto app = start({"plain=steady"}, "plain");
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
    auto app = start({"notes=first line\\nsecond line"}, "notes");
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

TEST_F(GtkInsertionTest, PlaceholderEntryIsTypedIntoWithAnyScript) {
    auto app = start({}, "hint");
    ASSERT_TRUE(app);
    const auto field = world.waitForFocusedField(app->pid(), AccessibilityRole::textField);
    ASSERT_TRUE(field);
    EXPECT_EQ(world.accessibility.placeholder(field), "Type a message");

    world.settings.setAppendSpaceAfterInsertion(true);
    ASSERT_TRUE(world.inserter.insertText("Café ß 日本語 😀"));
    EXPECT_TRUE(testing::waitUntil([&] { return contents(*app, "hint") == "Café ß 日本語 😀 "; }))
        << contents(*app, "hint");
    EXPECT_TRUE(world.log.output.contains(LogLevel::info, "Inserted via event-based strategy unicodeTyping"));
    // Borrowed keycodes go back once typing has stopped.
    EXPECT_TRUE(testing::waitUntil([&] { return world.keyboard.boundKeycodeCount() == 0; }));
}

TEST_F(GtkInsertionTest, PasswordFieldIsTypedIntoAndNeverLogged) {
    auto app = start({"secret=hunter2"}, "secret");
    ASSERT_TRUE(app);
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::passwordField));
    ASSERT_TRUE(world.inserter.insertText("Xy"));
    EXPECT_TRUE(testing::waitUntil([&] { return contents(*app, "secret") == "hunter2Xy"; }));
    for (const auto& entry : world.log.output.entries()) {
        EXPECT_EQ(entry.message.find("hunter2"), std::string::npos) << entry.message;
    }
}

TEST_F(GtkInsertionTest, ButtonsRowsAndLabelsAreNoTextFields) {
    auto app = start({}, "plain");
    ASSERT_TRUE(app);
    // GTK 3 shows a button without children, a list row with its label child, and a selectable
    // label with a caret of its own.
    for (const std::string widget : {"button", "row", "label"}) {
        SCOPED_TRACE(widget);
        app->ask("focus " + widget);
        ASSERT_TRUE(testing::waitUntil([&] {
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
    auto app = start({}, "hint");
    ASSERT_TRUE(app);
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::textField));
    world.settings.setAppendNewlineAfterInsertion(true);
    ASSERT_TRUE(world.inserter.insertText("one"));  // typed: the entry has a placeholder
    // Key events are handled in order: once the full stop is in, so is the line break.
    ASSERT_TRUE(world.keyboard.typeText("."));
    EXPECT_TRUE(testing::waitUntil([&] { return contents(*app, "hint") == "one."; }))
        << contents(*app, "hint");

    app->ask("focus notes");
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::textArea));
    ASSERT_TRUE(world.keyboard.typeText("two\nthree\n."));
    EXPECT_TRUE(testing::waitUntil([&] { return contents(*app, "notes") == "two\\nthree\\n."; }))
        << contents(*app, "notes");
    EXPECT_EQ(contents(*app, "button"), "0") << "a typed line break submitted the window";

    app->ask("focus plain");
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::textField));
    ASSERT_TRUE(world.keyboard.pressKey(SyntheticKey::returnKey));
    EXPECT_TRUE(testing::waitUntil([&] { return contents(*app, "button") == "1"; })) << "Return submits";
}

TEST_F(GtkInsertionTest, MegabyteDocumentTakesTheTextAtTheCaret) {
    const testing::ScratchDirectory scratch;
    const auto path = scratch / "megabyte.txt";
    std::ofstream document(path);
    for (int i = 0; i < 10486; ++i) document << std::string(99, 'x') << '\n';
    document.close();
    auto app = start({}, "notes");
    ASSERT_TRUE(app);
    app->ask("load notes " + path.string());
    app->ask("caret notes 50");
    ASSERT_TRUE(world.waitForFocusedField(app->pid(), AccessibilityRole::textArea));
    ASSERT_TRUE(world.inserter.insertText("INSERTED"));
    const std::string text = contents(*app, "notes");
    EXPECT_EQ(text.substr(45, 18), "xxxxxINSERTEDxxxxx");
    EXPECT_EQ(text.size(), 10486u * 101u + 8u);  // every line feed dumped as two characters
}

}  // namespace
}  // namespace quillon
