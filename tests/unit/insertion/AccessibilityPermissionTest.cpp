#include "core/insertion/AccessibilityPermission.h"

#include <gtest/gtest.h>

#include "core/base/ManualScheduler.h"
#include "fakes/FakeAccessibility.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

class AccessibilityPermissionTest : public ::testing::Test {
protected:
    ManualScheduler queue;
    testing::TestLog log{queue};
    testing::FakeAccessibility accessibility;
    AccessibilityPermission permission{accessibility, log.logger(LogCategory::app)};
};

TEST_F(AccessibilityPermissionTest, EachCheckStoresAndLogsTheState) {
    std::vector<bool> changes;
    permission.onChange = [&](bool granted) { changes.push_back(granted); };
    accessibility.trusted = false;
    permission.checkAccessibilityPermission();
    EXPECT_FALSE(permission.accessibilityPermissionGranted());
    EXPECT_TRUE(log.output.contains(LogLevel::error, "Accessibility permission not granted"));

    accessibility.trusted = true;
    permission.checkAccessibilityPermission();
    permission.checkAccessibilityPermission();
    EXPECT_TRUE(permission.accessibilityPermissionGranted());
    EXPECT_EQ(log.output.count("Accessibility permission granted"), 2u);
    EXPECT_EQ(changes, std::vector<bool>{true});
}

TEST_F(AccessibilityPermissionTest, GrantingSwitchesTheServiceOnOrSaysWhyNot) {
    accessibility.trusted = false;
    permission.openSystemSettings();
    EXPECT_TRUE(permission.accessibilityPermissionGranted());

    accessibility.trusted = false;
    accessibility.canEnable = false;
    permission.openSystemSettings();
    EXPECT_FALSE(permission.accessibilityPermissionGranted());
    EXPECT_TRUE(log.output.contains(LogLevel::error,
                                    "Failed to open accessibility settings: The accessibility bus does not answer"));
}

}  // namespace
}  // namespace quillon
