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
    SettingsManager makeSettings() { return SettingsManager(store_, loginItem_, log_.logger(LogCategory::settings)); }

    ManualScheduler queue_;
    testing::TestLog log_{queue_};
    testing::FakeKeyValueStore store_;
    testing::FakeLoginItem loginItem_;
};

TEST_F(SettingsManagerTest, FreshUserReadsEveryDefaultWithoutWritingOne) {
    auto settings = makeSettings();
    int changes = 0;
    settings.onChange = [&] { ++changes; };

    EXPECT_EQ(settings.hotkeyModeRawValue(), "standard");
    EXPECT_EQ(settings.hotkeyMode(), HotkeyMode::standard);
    EXPECT_EQ(settings.hotkeyKeyCode(), 0);
    EXPECT_EQ(settings.hotkeyModifiers(), modifier::control | modifier::super);
    EXPECT_DOUBLE_EQ(settings.doubleTapThreshold(), 0.3);
    EXPECT_EQ(settings.inputDeviceUID(), "System Default");
    EXPECT_DOUBLE_EQ(settings.maxRecordingDuration(), 300.0);
    EXPECT_EQ(settings.transcriptionGlossary(), "");
    EXPECT_EQ(settings.transcriptionCorrections(), "");
    EXPECT_TRUE(settings.appendSpaceAfterInsertion());
    EXPECT_FALSE(settings.appendNewlineAfterInsertion());
    EXPECT_TRUE(settings.soundFeedbackEnabled());
    EXPECT_FALSE(settings.isLearnModeActive());
    // The hotkey works at once: a modifier-only chord, with nothing stored.
    EXPECT_EQ(settings.effectiveHotkeyTrigger(), (HotkeyTrigger{0, modifier::control | modifier::super}));

    EXPECT_EQ(store_.writes(), 0);
    EXPECT_EQ(changes, 0);
}

TEST_F(SettingsManagerTest, UnknownHotkeyModeReadsAsStandard) {
    auto settings = makeSettings();
    for (std::string raw : {"", "capslock", "CapsLock", "fn", "capsLock "}) {
        store_.seed("hotkeyMode", raw);
        EXPECT_EQ(settings.hotkeyMode(), HotkeyMode::standard) << raw;
        EXPECT_EQ(settings.hotkeyModeRawValue(), raw) << "the stored text is kept as it is";
    }
    store_.seed("hotkeyMode", std::int64_t{1});
    EXPECT_EQ(settings.hotkeyMode(), HotkeyMode::standard) << "a value of another type reads as the default";
    store_.seed("hotkeyMode", std::string("capsLock"));
    EXPECT_EQ(settings.hotkeyMode(), HotkeyMode::capsLock);
}

TEST_F(SettingsManagerTest, CapsLockModeOverridesTheTriggerButKeepsTheStoredKeys) {
    auto settings = makeSettings();
    settings.setHotkeyKeyCode(30);
    settings.setHotkeyModifiers(modifier::alt | modifier::shift);
    settings.setHotkeyModeRawValue("capsLock");

    EXPECT_EQ(settings.effectiveHotkeyTrigger(), (HotkeyTrigger{SettingsManager::capsLockSurrogateKeyCode, 0}));
    EXPECT_EQ(settings.hotkeyKeyCode(), 30);
    EXPECT_EQ(settings.hotkeyModifiers(), modifier::alt | modifier::shift);

    settings.setHotkeyModeRawValue("standard");
    EXPECT_EQ(settings.effectiveHotkeyTrigger(), (HotkeyTrigger{30, modifier::alt | modifier::shift}));
    EXPECT_EQ(store_.writes(), 4);
}

TEST_F(SettingsManagerTest, ValuesAreReadAtTheMomentOfUse) {
    auto settings = makeSettings();
    store_.seed("transcriptionCorrections", std::string("a -> b"));
    store_.seed("maxRecordingDuration", std::int64_t{60});  // integers read as seconds too
    store_.seed("doubleTapThreshold", std::string("fast"));  // a hand-edited value of the wrong type
    store_.seed("appendSpaceAfterInsertion", std::int64_t{0});
    EXPECT_EQ(settings.transcriptionCorrections(), "a -> b");
    EXPECT_DOUBLE_EQ(settings.maxRecordingDuration(), 60.0);
    EXPECT_DOUBLE_EQ(settings.doubleTapThreshold(), 0.3);
    EXPECT_FALSE(settings.appendSpaceAfterInsertion());
}

TEST_F(SettingsManagerTest, OpenAtLoginFollowsTheSystemAndFallsBackToItOnFailure) {
    loginItem_.enabled = true;
    auto settings = makeSettings();
    EXPECT_TRUE(settings.openAtLogin()) << "read from the system at start";

    settings.setOpenAtLogin(false);
    EXPECT_FALSE(settings.openAtLogin());
    EXPECT_FALSE(loginItem_.enabled);

    loginItem_.failure = "autostart directory is read-only";
    int changes = 0;
    settings.onChange = [&] { ++changes; };
    settings.setOpenAtLogin(true);
    EXPECT_FALSE(settings.openAtLogin()) << "the toggle falls back to the truth";
    EXPECT_EQ(changes, 1);
    EXPECT_TRUE(log_.output.contains(LogLevel::error, "Failed to update login item: autostart directory is read-only"));

    // The system changed behind our back and the next attempt fails: the truth wins again.
    loginItem_.enabled = true;
    settings.setOpenAtLogin(false);
    EXPECT_TRUE(settings.openAtLogin());
    EXPECT_EQ(store_.writes(), 0) << "the login item is not a stored preference";
}

}  // namespace
}  // namespace quillon
