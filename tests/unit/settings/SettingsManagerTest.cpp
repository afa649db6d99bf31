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

}  // namespace
}  // namespace quillon
