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

TEST_F(FocusedElementSearchTest, ElementListedAsChildAndContentIsWalkedOnce) {
    auto shared = container("shared", Role::other);
    auto root = container("root", Role::other, {shared});
    root->contents = std::vector<ElementRef>{shared};
    FocusedElementSearch::VisitedSet visited;
    EXPECT_EQ(search.findEditableElementInTree(root, visited), nullptr);
    EXPECT_EQ(world.accessibility.valueReads["shared"], 1);
}

TEST_F(FocusedElementSearchTest, CaptureNeedsPermissionAndAProcess) {
    auto entry = FakeElement::textField("entry", "");
    world.focus(entry);
    for (std::optional<int> pid : {std::optional<int>(0), std::optional<int>(-3), std::optional<int>()}) {
        entry->processIdentifier = pid;
        EXPECT_EQ(world.inserter.captureFocusedTextTarget().error(), TextInsertionError::noFocusedElement);
    }

    entry->processIdentifier = 4242;
    const auto target = world.inserter.captureFocusedTextTarget();
    ASSERT_TRUE(target);
    EXPECT_EQ(target->processIdentifier, 4242);
    EXPECT_TRUE(world.inserter.isSameElement(target->element, world.inserter.focusedInsertionElement()));

    world.accessibility.trusted = false;
    EXPECT_EQ(world.inserter.captureFocusedTextTarget().error(), TextInsertionError::accessibilityNotGranted);
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
