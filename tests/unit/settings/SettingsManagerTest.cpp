#include "core/settings/SettingsManager.h"

#include <gtest/gtest.h>

#include "core/base/ManualScheduler.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

class SettingsManagerTest : public ::testing::Test {
protected:
    ManualScheduler queue_;
    testing::TestLog log_{queue_};
    testing::FakeKeyValueStore store_;
    testing::FakeLoginItem loginItem_;
    SettingsManager settings_{store_, loginItem_, log_.logger(LogCategory::settings)};
};

TEST_F(SettingsManagerTest, StoredValuesAreReadAtUseAndForeignOnesReadAsTheDefault) {
    for (std::string raw : {"", "capslock", "CapsLock", "fn", "capsLock "}) {
        store_.seed("hotkeyMode", raw);
        EXPECT_EQ(settings_.hotkeyMode(), HotkeyMode::standard) << raw;
        EXPECT_EQ(settings_.hotkeyModeRawValue(), raw) << "the stored text is kept as it is";
    }
    store_.seed("hotkeyMode", std::int64_t{1});
    EXPECT_EQ(settings_.hotkeyMode(), HotkeyMode::standard) << "a value of another type reads as the default";
    store_.seed("maxRecordingDuration", std::int64_t{60});  // integers read as seconds too
    store_.seed("doubleTapThreshold", std::string("fast"));
    store_.seed("appendSpaceAfterInsertion", std::int64_t{0});
    EXPECT_DOUBLE_EQ(settings_.maxRecordingDuration(), 60.0);
    EXPECT_DOUBLE_EQ(settings_.doubleTapThreshold(), 0.3);
    EXPECT_FALSE(settings_.appendSpaceAfterInsertion());
}

TEST_F(SettingsManagerTest, CapsLockModeOverridesTheTriggerButKeepsTheStoredKeys) {
    int changes = 0;
    settings_.onChange = [&] { ++changes; };
    settings_.setHotkeyKeyCode(30);
    settings_.setHotkeyModifiers(modifier::alt | modifier::shift);
    settings_.setHotkeyModeRawValue("capsLock");
    EXPECT_EQ(settings_.effectiveHotkeyTrigger(), (HotkeyTrigger{SettingsManager::capsLockSurrogateKeyCode, 0}));
    settings_.setHotkeyModeRawValue("standard");
    EXPECT_EQ(settings_.effectiveHotkeyTrigger(), (HotkeyTrigger{30, modifier::alt | modifier::shift}));
    EXPECT_EQ(changes, 4);
}

TEST_F(SettingsManagerTest, OpenAtLoginFollowsTheSystemAndFallsBackToItOnFailure) {
    loginItem_.enabled = true;
    SettingsManager settings(store_, loginItem_, log_.logger(LogCategory::settings));
    EXPECT_TRUE(settings.openAtLogin()) << "read from the system at start";
    settings.setOpenAtLogin(false);
    EXPECT_FALSE(settings.openAtLogin() || loginItem_.enabled);

    loginItem_.failure = "autostart directory is read-only";
    int changes = 0;
    settings.onChange = [&] { ++changes; };
    settings.setOpenAtLogin(true);
    EXPECT_FALSE(settings.openAtLogin()) << "the toggle falls back to the truth";
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(log_.output.messages(LogLevel::error).size(), 1u);
    // The system changed behind our back and the next attempt fails: the truth wins again.
    loginItem_.enabled = true;
    settings.setOpenAtLogin(false);
    EXPECT_TRUE(settings.openAtLogin());
    EXPECT_EQ(store_.writes(), 0) << "the login item is not a stored preference";
}

}  // namespace
}  // namespace quillon
