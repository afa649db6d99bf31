#include <gtest/gtest.h>

#include "InsertionWorld.h"

namespace quillon {
namespace {

using testing::FakeElement;
using testing::InsertionWorld;
using Role = AccessibilityRole;

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

TEST_F(FocusedElementSearchTest, FocusedFieldIsTakenAsItIs) {
    world.focus(FakeElement::textField("entry", "hello"));
    EXPECT_EQ(idOf(search.focusedInsertionElement()), "entry");
}

TEST_F(FocusedElementSearchTest, EditableGroupGivesWayToThePreferredElementInsideIt) {
    auto area = FakeElement::textField("area", "notes", Role::textArea);
    auto group = container("group", Role::group, {container("label", Role::other), area});
    group->value = "";  // editable itself
    world.focus(group);
    EXPECT_EQ(idOf(search.focusedInsertionElement()), "area");
    EXPECT_EQ(idOf(search.resolveInsertionElement()), "area");
}

TEST_F(FocusedElementSearchTest, NonEditableFocusSearchesItsChildrenForAField) {
    auto entry = FakeElement::textField("entry", "", Role::textField);
    world.focus(container("window", Role::window, {container("panel", Role::group, {container("button", Role::other), entry})}));
    EXPECT_EQ(idOf(search.focusedInsertionElement()), "entry");
}

TEST_F(FocusedElementSearchTest, FocusWithoutAnyFieldYieldsNothingAndTheCaptureFails) {
    world.focus(container("button", Role::other, {container("icon", Role::other)}));
    EXPECT_EQ(search.focusedInsertionElement(), nullptr);

    const auto target = world.inserter.captureFocusedTextTarget();
    ASSERT_FALSE(target);
    EXPECT_EQ(target.error(), TextInsertionError::noFocusedElement);
    EXPECT_TRUE(world.log.output.contains(LogLevel::error, "No focused text element found to bind the recording"));
}

TEST_F(FocusedElementSearchTest, ElementWithoutRoleThatAnswersAValueIsTheTarget) {
    auto anonymous = std::make_shared<FakeElement>("anonymous");
    anonymous->value = "text";
    world.focus(anonymous);
    EXPECT_EQ(idOf(search.focusedInsertionElement()), "anonymous");
    EXPECT_EQ(idOf(search.resolveInsertionElement()), "anonymous");
}

TEST_F(FocusedElementSearchTest, FailedSystemWideReadFallsBackToTheFocusedApplication) {
    world.focus(FakeElement::textField("entry", ""));
    world.accessibility.systemFocus = nullptr;
    EXPECT_EQ(idOf(search.focusedInsertionElement()), "entry");
    EXPECT_EQ(idOf(search.resolveInsertionElement()), "entry");

    world.accessibility.focusedApp = nullptr;
    EXPECT_EQ(search.focusedInsertionElement(), nullptr);
}

TEST_F(FocusedElementSearchTest, ElementListedAsChildAndContentIsWalkedOnce) {
    auto shared = container("shared", Role::other);
    auto root = container("root", Role::other, {shared});
    root->contents = std::vector<ElementRef>{shared};
    FocusedElementSearch::VisitedSet visited;
    EXPECT_EQ(search.findEditableElementInTree(root, visited), nullptr);
    EXPECT_EQ(world.accessibility.valueReads["shared"], 1);
    EXPECT_EQ(search.getChildElements(root).size(), 2u);
}

TEST_F(FocusedElementSearchTest, ParentIsChosenBeforeItsDescendants) {
    auto inner = FakeElement::textField("inner", "");
    auto outer = container("outer", Role::scrollArea, {inner});
    outer->value = "";
    FocusedElementSearch::VisitedSet visited;
    EXPECT_EQ(idOf(search.findEditableElementInTree(outer, visited)), "outer");
}

TEST_F(FocusedElementSearchTest, FocusedWindowIsTheFocusedOneElseTheFirst) {
    auto first = container("first", Role::window);
    auto second = container("second", Role::window);
    world.application->windows = std::vector<ElementRef>{first, second};
    EXPECT_EQ(idOf(search.findFocusedWindow()), "first");
    second->focused = true;
    EXPECT_EQ(idOf(search.findFocusedWindow()), "second");
    world.application->windows = std::vector<ElementRef>{};
    EXPECT_EQ(search.findFocusedWindow(), nullptr);
}

TEST_F(FocusedElementSearchTest, InsertionSearchFallsBackToTheFrontmostApplicationAndThenTheWindow) {
    world.accessibility.focusedApp = nullptr;
    auto other = container("other-app", Role::application);
    auto entry = FakeElement::textField("deep-entry", "");
    auto window = container("win", Role::window, {container("pane", Role::other, {entry})});
    other->windows = std::vector<ElementRef>{window};
    world.accessibility.applications[200] = other;
    world.applications.frontmost = 200;
    EXPECT_EQ(idOf(search.resolveInsertionElement()), "deep-entry");

    // A focused element that is not editable is still taken when nothing better exists.
    entry->value.reset();
    entry->selection.reset();
    entry->selectedTextSettable = false;
    auto button = container("button", Role::other);
    other->focusedElement = button;
    EXPECT_EQ(idOf(search.resolveInsertionElement()), "button");

    // Without any application the focused window of the focused application is searched.
    world.applications.frontmost.reset();
    auto field = FakeElement::textField("window-field", "");
    world.accessibility.focusedApp = world.application;
    world.application->focusedElement = nullptr;
    world.application->windows = std::vector<ElementRef>{container("w", Role::window, {field})};
    EXPECT_EQ(idOf(search.resolveInsertionElement()), "window-field");
}

TEST_F(FocusedElementSearchTest, InsertionSearchKeepsANonEditableFocusWithoutAField) {
    world.focus(container("canvas", Role::other));
    EXPECT_EQ(idOf(search.resolveInsertionElement()), "canvas");
    EXPECT_EQ(search.focusedInsertionElement(), nullptr);
}

TEST_F(FocusedElementSearchTest, CaptureBindsTheFieldAndItsProcess) {
    auto entry = FakeElement::textField("entry", "");
    entry->processIdentifier = 4242;
    world.focus(entry);
    const auto target = world.inserter.captureFocusedTextTarget();
    ASSERT_TRUE(target);
    EXPECT_EQ(target->processIdentifier, 4242);
    EXPECT_TRUE(world.inserter.isSameElement(target->element, world.inserter.focusedInsertionElement()));
    EXPECT_FALSE(world.inserter.isSameElement(target->element, nullptr));
}

TEST_F(FocusedElementSearchTest, CaptureFailsWithoutAProcessOrPermission) {
    auto entry = FakeElement::textField("entry", "");
    world.focus(entry);
    for (std::optional<int> pid : {std::optional<int>(0), std::optional<int>(-3), std::optional<int>()}) {
        entry->processIdentifier = pid;
        const auto target = world.inserter.captureFocusedTextTarget();
        ASSERT_FALSE(target);
        EXPECT_EQ(target.error(), TextInsertionError::noFocusedElement);
    }
    EXPECT_EQ(world.log.output.count("Could not identify the focused text element's application"), 3u);

    world.log.output.clear();
    world.accessibility.trusted = false;
    const auto target = world.inserter.captureFocusedTextTarget();
    ASSERT_FALSE(target);
    EXPECT_EQ(target.error(), TextInsertionError::accessibilityNotGranted);
    EXPECT_TRUE(world.log.output.entries().empty());
}

TEST_F(FocusedElementSearchTest, ApplicationInfoComesFromTheRunningApplication) {
    world.application->processIdentifier = 100;
    const auto info = search.currentFocusedApplicationInfo();
    ASSERT_TRUE(info);
    EXPECT_EQ(info->localizedName, "Text Editor");
    EXPECT_EQ(info->bundleIdentifier, "org.example.Editor");

    world.application->processIdentifier = 0;
    EXPECT_FALSE(search.currentFocusedApplicationInfo());
    world.application->processIdentifier = 555;  // not running any more
    EXPECT_FALSE(search.currentFocusedApplicationInfo());
}

}  // namespace
}  // namespace quillon
