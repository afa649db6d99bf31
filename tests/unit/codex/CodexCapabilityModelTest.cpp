#include <gtest/gtest.h>

#include "core/codex/CodexCapabilityModel.h"
#include "fakes/FakeHostEnvironment.h"

namespace quillon::testing {
namespace {

TEST(CodexCapabilityModelTest, TheAnswerChangesOnlyWhenAsked) {
    FakeHostEnvironment host;
    host.vars = {{"PATH", "/opt/codex/bin"}};
    CodexCapabilityModel capability(host);
    int changes = 0;
    capability.onChange = [&] { ++changes; };
    EXPECT_FALSE(capability.isAvailable());

    // Installed while the program runs: nothing moves until the user presses or looks again.
    host.executables = {"/opt/codex/bin/codex"};
    EXPECT_FALSE(capability.isAvailable());
    EXPECT_TRUE(capability.pressCleanup());
    EXPECT_TRUE(capability.isAvailable());
    EXPECT_EQ(changes, 1);

    // Removed: the press finds out and asks for the requirements instead of cleaning.
    host.executables.clear();
    EXPECT_FALSE(capability.pressCleanup());
    EXPECT_FALSE(capability.checkAgain());
    EXPECT_EQ(changes, 2) << "checking again with no change tells nobody";
}

}  // namespace
}  // namespace quillon::testing
