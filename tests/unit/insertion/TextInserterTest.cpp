#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "InsertionWorld.h"
#include "core/insertion/BackgroundTextInserter.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using testing::FakeElement;
using testing::InsertionWorld;
using Role = AccessibilityRole;
using ::testing::ElementsAre;

class TextInserterTest : public ::testing::Test {
protected:
    std::shared_ptr<FakeElement> focusField(std::string content, Role role = Role::textField) {
        auto field = FakeElement::textField("field", std::move(content), role);
        world.focus(field);
        return field;
    }

    InsertionWorld world;
};

// --- The accessibility path ---

TEST_F(TextInserterTest, InsertionPositionComesFromSelectionThenSelectedTextThenInsertionPoint) {
    struct Case {
        std::string name;
        std::optional<TextRange> range;
        std::optional<std::string> selectedText;
        std::optional<long> insertionPoint;
        std::string expected;
    };
    const std::vector<Case> cases{
        {"range", TextRange{2, 0}, std::nullopt, std::nullopt, "abXcdef"},
        {"range past the end is clamped", TextRange{99, 0}, std::nullopt, std::nullopt, "abcdefX"},
        {"range before the start is clamped", TextRange{-4, 0}, std::nullopt, std::nullopt, "Xabcdef"},
        {"selected text found", std::nullopt, "de", 9, "abcXdef"},
        {"selected text not found keeps the end", std::nullopt, "zz", 1, "abcdefX"},
        {"insertion point", std::nullopt, "", 1, "aXbcdef"},
        {"negative insertion point", std::nullopt, std::nullopt, -5, "Xabcdef"},
        {"nothing known appends", std::nullopt, std::nullopt, std::nullopt, "abcdefX"},
    };
    for (const Case& c : cases) {
        InsertionWorld w;
        auto field = FakeElement::textField("field", "abcdef");
        field->selection = c.range;
        field->selectedText = c.selectedText;
        field->insertionPoint = c.insertionPoint;
        field->selectedTextSettable = false;  // the whole-value write shows the position plainly
        w.focus(field);
        ASSERT_TRUE(w.inserter.insertText("X")) << c.name;
        EXPECT_EQ(field->value, c.expected) << c.name;
    }
}

TEST_F(TextInserterTest, PositionCountsCodePointsLikeTheBus) {
    auto field = focusField("a😀b");
    field->selection = TextRange{2, 0};  // after the emoji
    field->selectedTextSettable = false;
    ASSERT_TRUE(world.inserter.insertText("é"));
    EXPECT_EQ(field->value, "a😀éb");
    EXPECT_EQ(field->selection, (TextRange{3, 0}));
}

TEST_F(TextInserterTest, RefusedSelectedTextFallsBackToTheWholeValue) {
    auto field = focusField("one three");
    field->selection = TextRange{4, 0};
    field->acceptsSelectedText = false;
    ASSERT_TRUE(world.inserter.insertText("two "));
    EXPECT_EQ(field->value, "one two three");
    EXPECT_EQ(field->selection, (TextRange{8, 0}));
    EXPECT_THAT(world.accessibility.writes, ElementsAre("setSelectedText field", "setValue field", "setRange field 8"));
}

TEST_F(TextInserterTest, LastResortActivatesFocusesPressesAndTypes) {
    auto field = focusField("abc");
    field->ignoresWrites = true;  // attribute writes do nothing
    field->focused = false;
    field->actions = {ElementAction::press};
    world.applications.frontmost = 100;
    // Typing does reach the field.
    world.keyboard.onType = [&](const std::string& text) {
        field->ignoresWrites = false;
        field->typeAtCaret(text);
    };
    ASSERT_TRUE(world.inserter.insertText("d"));
    EXPECT_EQ(field->value, "abcd");
    EXPECT_THAT(world.applications.activated, ElementsAre(100));
    EXPECT_THAT(world.accessibility.writes,
                ElementsAre("setSelectedText field", "setValue field", "setRange field 4", "focus field", "press field"));
    EXPECT_THAT(world.keyboard.events, ElementsAre("type d"));
}

TEST_F(TextInserterTest, AllMethodsFailingIsAnInsertionFailure) {
    auto field = focusField("abc");
    field->ignoresWrites = true;
    world.typingTarget = nullptr;
    const auto result = world.inserter.insertText("d");
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), TextInsertionError::insertionFailed);
    EXPECT_EQ(field->value, "abc");
}

TEST_F(TextInserterTest, VerificationAllowsOneSwallowedCharacter) {
    // Writing over a selection shortens the field by what was selected: one character is within
    // the slack and ends the call, two are not and the whole value is written as well.
    for (const long selected : {1L, 2L}) {
        InsertionWorld w;
        auto field = FakeElement::textField("field", "abcd");
        field->selection = TextRange{1, selected};
        w.focus(field);
        ASSERT_TRUE(w.inserter.insertText("XY"));
        EXPECT_EQ(w.accessibility.writes.size() == 1, selected == 1) << selected << " selected: " << field->value.value_or("");
    }
}

// --- Choosing the path ---

TEST_F(TextInserterTest, EventPathIsChosenForPlaceholdersWebAreasGroupsAndListedApps) {
    struct Case {
        std::string name;
        std::function<void(InsertionWorld&, FakeElement&)> setUp;
        bool eventPath;
    };
    const std::vector<Case> cases{
        {"plain field", [](InsertionWorld&, FakeElement&) {}, false},
        {"placeholder", [](InsertionWorld&, FakeElement& f) { f.placeholder = "Message"; }, true},
        {"empty placeholder", [](InsertionWorld&, FakeElement& f) { f.placeholder = ""; }, false},
        {"web area", [](InsertionWorld&, FakeElement& f) { f.role = Role::webArea; }, true},
        {"group", [](InsertionWorld&, FakeElement& f) { f.role = Role::group; }, true},
        {"unreadable role", [](InsertionWorld&, FakeElement& f) { f.role.reset(); }, false},
        {"listed application",
         [](InsertionWorld& w, FakeElement&) { w.applications.applications[100].flatpakId = "com.discordapp.Discord"; },
         true},
    };
    for (const Case& c : cases) {
        InsertionWorld w;
        auto field = FakeElement::textField("field", "");
        w.application->processIdentifier = 100;
        w.focus(field);
        c.setUp(w, *field);
        ASSERT_TRUE(w.inserter.insertText("hi")) << c.name;
        const bool typed = !w.keyboard.events.empty();
        EXPECT_EQ(typed, c.eventPath) << c.name;
        EXPECT_EQ(field->value, "hi") << c.name;
    }
}

TEST_F(TextInserterTest, PasswordFieldIsTypedIntoAndNeverRead) {
    auto field = focusField("secret", Role::passwordField);
    ASSERT_TRUE(world.inserter.insertText("more"));
    EXPECT_EQ(world.accessibility.valueReads["field"], 0);
    EXPECT_THAT(world.keyboard.events, ElementsAre("type more"));
}

// --- The event path ---

TEST_F(TextInserterTest, SelectionIsCollapsedBeforeTyping) {
    auto field = focusField("abcdef", Role::webArea);
    field->selection = TextRange{1, 3};
    ASSERT_TRUE(world.inserter.insertText("X"));
    EXPECT_THAT(world.keyboard.events, ElementsAre("key right", "type X"));
    EXPECT_THAT(world.pacer.pauses, ElementsAre(20ms));
}

TEST_F(TextInserterTest, PerCharacterTypingSendsGraphemesAtItsPaceAndSubmitsWithReturn) {
    world.applications.applications[100].localizedName = "Discord";
    world.application->processIdentifier = 100;
    world.settings.setAppendSpaceAfterInsertion(true);
    world.settings.setAppendNewlineAfterInsertion(true);
    focusField("", Role::group);
    ASSERT_TRUE(world.inserter.insertText("hé👍🏽"));
    EXPECT_THAT(world.keyboard.events, ElementsAre("type h", "type é", "type 👍🏽", "type  ", "key return"));
    EXPECT_THAT(world.pacer.pauses, ElementsAre(6ms, 6ms, 6ms, 6ms, 30ms));
}

}  // namespace
}  // namespace quillon
