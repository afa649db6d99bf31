#include "core/hotkey/CapsLockRemapManager.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "core/base/ManualScheduler.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeKeyboardMapping.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakeSessionEvents.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using Entries = std::vector<KeyMappingEntry>;

constexpr KeyMappingEntry ours = CapsLockRemapManager::managedEntry;
constexpr KeyMappingEntry otherKey{100, 97};
constexpr KeyMappingEntry noSource{std::nullopt, 188};

class CapsLockRemapManagerTest : public ::testing::Test {
protected:
    ManualScheduler main_;
    testing::TestLog log_{main_};
    testing::FakeKeyValueStore store_;
    testing::FakeLoginItem loginItem_;
    SettingsManager settings_{store_, loginItem_, log_.logger(LogCategory::settings)};
    testing::FakeKeyboardMapping mapping_;
    testing::FakeSessionEvents session_;
    CapsLockRemapManager remap_{mapping_, session_, settings_, log_.logger(LogCategory::hotkey)};
};

// A user's Control on Caps Lock refused and left alone, a second enable changing nothing and the
// remap healed after a keyboard change are the X11 test's.
TEST_F(CapsLockRemapManagerTest, EnableAppendsItsEntryRemoveTakesOutEveryCopyAndARefusedWriteIsReported) {
    mapping_.entries = {otherKey, noSource};
    EXPECT_TRUE(remap_.ensureRemapEnabled());
    EXPECT_EQ(mapping_.entries, (Entries{otherKey, noSource, ours}));
    mapping_.entries = {ours, otherKey, ours, noSource};
    EXPECT_TRUE(remap_.removeManagedRemap());
    EXPECT_EQ(mapping_.entries, (Entries{otherKey, noSource}));
    EXPECT_EQ(mapping_.writes, 2);
    EXPECT_EQ(mapping_.capsLockClears, 2) << "the latch is cleared whenever a call succeeds";

    mapping_.refuseWrites = true;
    EXPECT_FALSE(remap_.ensureRemapEnabled());
    mapping_.entries = {ours};
    EXPECT_FALSE(remap_.removeManagedRemap());
    EXPECT_EQ(mapping_.capsLockClears, 2);
}

TEST_F(CapsLockRemapManagerTest, WakeAndSessionSwitchHealTheRemapOnlyWhenItIsWanted) {
    const std::vector<std::pair<const char*, std::function<void()>>> triggers = {
        {"wake", [this] { session_.wake(); }},
        {"session active", [this] { session_.becomeActive(); }},
    };
    for (const auto& [reason, trigger] : triggers) {
        SCOPED_TRACE(reason);
        // Standard mode without a capture open: nothing is touched.
        settings_.setHotkeyModeRawValue("standard");
        remap_.captureSessionDepth = 0;
        mapping_.entries = {otherKey};
        trigger();
        EXPECT_EQ(mapping_.entries, Entries{otherKey});

        for (const bool capsLockMode : {true, false}) {
            settings_.setHotkeyModeRawValue(capsLockMode ? "capsLock" : "standard");
            remap_.captureSessionDepth = capsLockMode ? 0 : 1;
            mapping_.entries = {otherKey};
            trigger();
            EXPECT_EQ(mapping_.entries, (Entries{otherKey, ours}));
        }
    }
}

TEST_F(CapsLockRemapManagerTest,
       TheLastCaptureToEndKeepsOrRemovesTheRemapByTheModeAndDepthNeverGoesNegative) {
    struct Case {
        const char* name;
        const char* mode;
        int depth;
        bool keepRemap;
        int depthAfter;
        Entries after;
    };
    const std::vector<Case> cases = {
        {"OtherCapturesStillOpenChangeNothing", "standard", 2, false, 1, {otherKey}},
        {"LastCaptureInStandardModeRemoves", "standard", 1, false, 0, {otherKey}},
        {"LastCaptureKeepingTheRemapEnables", "standard", 1, true, 0, {otherKey, ours}},
        {"LastCaptureInCapsLockModeEnables", "capsLock", 1, false, 0, {otherKey, ours}},
        {"EndingWithNoneOpenStaysAtZero", "standard", 0, false, 0, {otherKey}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        settings_.setHotkeyModeRawValue(test.mode);
        mapping_.entries = test.depth == 2 ? Entries{otherKey} : Entries{otherKey, ours};
        if (test.depth == 0) mapping_.entries = {otherKey};
        remap_.captureSessionDepth = test.depth;
        remap_.endCaptureSession(test.keepRemap);
        EXPECT_EQ(remap_.captureSessionDepth, test.depthAfter);
        EXPECT_EQ(mapping_.entries, test.after);
    }
}

}  // namespace
}  // namespace quillon
