#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/base/ManualScheduler.h"
#include "core/insertion/AccessibilityPermission.h"
#include "core/insertion/GhostText.h"
#include "core/insertion/TextInserter.h"
#include "core/settings/SettingsManager.h"
#include "fakes/FakeAccessibility.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakePacer.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeRunningApplications.h"
#include "fakes/FakeSyntheticKeyboard.h"
#include "fakes/FakeUrlOpener.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using testing::FakeElement;
using Role = AccessibilityRole;
using ::testing::ElementsAre;

// A fake desktop with one application (pid 100) and the inserter wired to it. Typed text reaches
// whatever `typingTarget` names, as key presses reach the focused field.
struct InsertionWorld {
    InsertionWorld() {
        application->children = std::vector<ElementRef>{};
        accessibility.focusedApp = application;
        accessibility.applications[100] = application;
        applications.applications[100] = RunningApplication{100, "Text Editor", "org.example.Editor", "", "editor"};
        keyboard.onType = [this](const std::string& text) {
            if (typingTarget) typingTarget->typeAtCaret(text);
        };
        settings.setAppendSpaceAfterInsertion(false);
    }

    // Makes `field` the focus of the desktop and the receiver of typed text.
    void focus(const std::shared_ptr<FakeElement>& field) {
        accessibility.systemFocus = field;
        application->focusedElement = field;
        typingTarget = field;
    }

    ManualScheduler mainQueue;
    testing::TestLog log{mainQueue};
    testing::FakeKeyValueStore store;
    testing::FakeLoginItem loginItem;
    SettingsManager settings{store, loginItem, log.logger(LogCategory::settings)};
    testing::FakeAccessibility accessibility;
    testing::FakeSyntheticKeyboard keyboard;
    testing::FakePasteboard pasteboard;
    testing::FakeRunningApplications applications;
    testing::FakePacer pacer;
    std::shared_ptr<FakeElement> application = std::make_shared<FakeElement>("app", Role::application);
    std::shared_ptr<FakeElement> typingTarget;
    TextInserter inserter{accessibility, keyboard,  pasteboard, applications, pacer,
                          mainQueue,     settings,  log.logger(LogCategory::insertion)};
};

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

// A field with a placeholder, typed into, is the GTK test's.
TEST_F(TextInserterTest, EventPathIsChosenForPlaceholdersWebAreasGroupsAndListedApps) {
    struct Case {
        std::string name;
        std::function<void(InsertionWorld&, FakeElement&)> setUp;
        bool eventPath;
    };
    const std::vector<Case> cases{
        {"plain field", [](InsertionWorld&, FakeElement&) {}, false},
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
}

TEST_F(TextInserterTest, PerCharacterTypingSendsGraphemesAndSubmitsWithReturn) {
    world.applications.applications[100].localizedName = "Discord";
    world.application->processIdentifier = 100;
    world.settings.setAppendSpaceAfterInsertion(true);
    world.settings.setAppendNewlineAfterInsertion(true);
    focusField("", Role::group);
    ASSERT_TRUE(world.inserter.insertText("hé👍🏽"));
    EXPECT_THAT(world.keyboard.events, ElementsAre("type h", "type é", "type 👍🏽", "type  ", "key return"));
}

TEST(GhostTextTest, PlaceholderEchoesAreRecognised) {
    struct Case {
        std::string value, placeholder;
        bool ghost;
    };
    const std::vector<Case> cases{
        {"\u200BMessage\u200D #general\uFEFF \n", "Message #general", true},
        {"\u200B", "\u200B", true},   // equal before normalising
        {"\u200B ", "\u200B", false},  // both empty once normalised
        {"Messages", "Message #general", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(GhostText::isLikelyGhostText(c.value, c.placeholder), c.ghost) << c.value << " / " << c.placeholder;
    }
}

// Switching the service on is the desktop test's; here the two ways it can fail to.
TEST(AccessibilityPermissionTest, OpeningSettingsThatCannotSwitchTheServiceOnOpensTheDesktopsPage) {
    for (const bool busReachable : {false, true}) {
        SCOPED_TRACE(busReachable ? "switched on but still refused" : "no bus to ask");
        InsertionWorld world;
        testing::FakeUrlOpener urls;
        world.accessibility.trusted = false;
        if (!busReachable) world.accessibility.enableFailure = "The accessibility bus could not be reached";
        world.accessibility.enableSwitchesOn = !busReachable;
        AccessibilityPermission permission(world.accessibility, urls, world.log.logger(LogCategory::app));
        bool published = false;
        permission.onChange = [&](bool) { published = true; };
        permission.openSystemSettings();
        EXPECT_FALSE(permission.accessibilityPermissionGranted());
        EXPECT_EQ(urls.opened, std::vector<std::string>{"settings://accessibility"});
        EXPECT_FALSE(published);
    }
}

std::shared_ptr<FakeElement> container(std::string id, std::optional<Role> role, std::vector<ElementRef> children = {}) {
    auto element = std::make_shared<FakeElement>(std::move(id), role);
    element->children = std::move(children);
    return element;
}

std::string idOf(const ElementRef& element) { return element ? testing::FakeAccessibility::of(element).id : "<null>"; }

class FocusedElementSearchTest : public ::testing::Test {
protected:
    InsertionWorld world;
    FocusedElementSearch search{world.accessibility, world.applications};
};

TEST_F(FocusedElementSearchTest, FocusResolvesToTheFieldItHoldsOrStandsFor) {
    auto editableGroup = container("group", Role::group, {container("label", Role::other), FakeElement::textField("area", "", Role::textArea)});
    editableGroup->value = "";
    auto anonymous = std::make_shared<FakeElement>("anonymous");  // role unreadable, value readable
    anonymous->value = "text";
    const std::vector<std::pair<std::shared_ptr<FakeElement>, std::string>> cases{
        {editableGroup, "area"},
        {container("window", Role::window, {container("panel", Role::group, {FakeElement::textField("entry", "")})}), "entry"},
        {anonymous, "anonymous"},
    };
    for (const auto& [focus, expected] : cases) {
        world.focus(focus);
        EXPECT_EQ(idOf(search.focusedInsertionElement()), expected);
        EXPECT_EQ(idOf(search.resolveInsertionElement()), expected);
    }
}

TEST_F(FocusedElementSearchTest, FailedSystemWideReadFallsBackToTheFocusedApplication) {
    world.focus(FakeElement::textField("entry", ""));
    world.accessibility.systemFocus = nullptr;
    EXPECT_EQ(idOf(search.focusedInsertionElement()), "entry");
    world.accessibility.focusedApp = nullptr;
    EXPECT_EQ(search.focusedInsertionElement(), nullptr);
}

// Capture refused without accessibility is the desktop test's.
TEST_F(FocusedElementSearchTest, CaptureNeedsAProcess) {
    auto entry = FakeElement::textField("entry", "");
    world.focus(entry);
    for (std::optional<int> pid : {std::optional<int>(0), std::optional<int>(-3), std::optional<int>()}) {
        entry->processIdentifier = pid;
        EXPECT_EQ(world.inserter.captureFocusedTextTarget().error(), TextInsertionError::noFocusedElement);
    }
}

// Text bound to a field at the start goes in only while that field of that process has the focus.
TEST_F(FocusedElementSearchTest, TheBoundFieldHasTheFocusOnlyAsTheSameElementOfTheSameProcess) {
    world.focus(FakeElement::textField("entry", ""));
    const auto target = world.inserter.captureFocusedTextTarget();
    ASSERT_TRUE(target);
    struct Case {
        const char* id;
        std::optional<int> process;  // absent: it can no longer be read (it quit)
        bool focus;
    };
    for (const auto& c : {Case{"entry", 100, true}, Case{"search", 100, false}, Case{"entry", 999, false},
                          Case{"entry", std::nullopt, false}}) {
        auto focused = FakeElement::textField(c.id, "");  // another reference, made anew
        focused->processIdentifier = c.process;
        world.focus(focused);
        EXPECT_EQ(world.inserter.hasFocus(*target), c.focus) << c.id << " of " << c.process.value_or(-1);
    }
    world.focus(nullptr);
    EXPECT_FALSE(world.inserter.hasFocus(*target));
}

}  // namespace
}  // namespace quillon
