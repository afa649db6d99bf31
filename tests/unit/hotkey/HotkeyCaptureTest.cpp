#include "core/hotkey/HotkeyCapture.h"

#include <gtest/gtest.h>

#include <vector>

#include "core/base/ManualScheduler.h"
#include "fakes/FakeKeyEventSource.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeKeyboardMapping.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakeSessionEvents.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using Type = KeyEventType;
using Entries = std::vector<KeyMappingEntry>;

constexpr int keyK = 37, keyF5 = 63, leftCtrl = 29, leftShift = 42, f18 = 188;
constexpr int ctrl = modifier::control, shift = modifier::shift, fn = modifier::function;
constexpr KeyMappingEntry ours = CapsLockRemapManager::managedEntry;
constexpr KeyMappingEntry capsToControl{58, 29};

class HotkeyCaptureTest : public ::testing::Test {
protected:
    HotkeyCaptureTest() {
        settings_.onChange = [this] { hotkeys_.settingsDidChange(); };
        hotkeys_.start();
    }

    void press(const std::vector<KeyEvent>& events) {
        for (const auto& event : events) EXPECT_TRUE(capture_.handleKeyEvent(event));
        main_.runUntilIdle();
    }

    ManualScheduler main_;
    testing::TestLog log_{main_};
    testing::FakeKeyValueStore store_;
    testing::FakeLoginItem loginItem_;
    SettingsManager settings_{store_, loginItem_, log_.logger(LogCategory::settings)};
    testing::FakeKeyboardMapping mapping_;
    testing::FakeSessionEvents session_;
    CapsLockRemapManager remap_{mapping_, session_, settings_, log_.logger(LogCategory::hotkey)};
    testing::FakeKeyEventSource keys_;
    HotkeyManager hotkeys_{main_, keys_, settings_, log_.logger(LogCategory::hotkey)};
    HotkeyCapture capture_{main_, settings_, remap_, hotkeys_, log_.logger(LogCategory::hotkey)};
};

TEST_F(HotkeyCaptureTest, CapturedKeysShowAsTheyArePressedAndApplyAsShown) {
    struct Case {
        const char* name;
        std::vector<KeyEvent> events;
        const char* shown;
        HotkeyMode mode;
        int keyCode;
        int modifiers;
    };
    const std::vector<Case> cases = {
        {"ModifierChordSurvivesItsRelease",
         {{Type::flagsChanged, leftCtrl, ctrl},
          {Type::flagsChanged, leftShift, ctrl | shift},
          {Type::flagsChanged, leftShift, 0}},
         "Ctrl Shift",
         HotkeyMode::standard,
         0,
         ctrl | shift},
        {"LettingGoOfOneModifierLeavesTheOthers",
         {{Type::flagsChanged, leftCtrl, ctrl},
          {Type::flagsChanged, leftShift, ctrl | shift},
          {Type::flagsChanged, leftShift, ctrl},
          {Type::flagsChanged, leftCtrl, 0}},
         "Ctrl",
         HotkeyMode::standard,
         0,
         ctrl},
        {"FnAndShiftAreAPureModifierHotkey",
         {{Type::flagsChanged, 0, fn},
          {Type::flagsChanged, leftShift, fn | shift},
          {Type::flagsChanged, 0, 0}},
         "Fn Shift",
         HotkeyMode::standard,
         0,
         fn | shift},
        {"AKeyCountsWhileHeld",
         {{Type::flagsChanged, leftCtrl, ctrl}, {Type::keyDown, keyK, ctrl}},
         "Ctrl K",
         HotkeyMode::standard,
         keyK,
         ctrl},
        {"AReleasedKeyLeavesItsModifiers",
         {{Type::flagsChanged, leftCtrl, ctrl}, {Type::keyDown, keyK, ctrl}, {Type::keyUp, keyK, ctrl}},
         "Ctrl",
         HotkeyMode::standard,
         0,
         ctrl},
        {"LowBitsOfCodesAndFlagsAreMasked",
         {{Type::keyDown, 0x10000 | keyF5, 0x1234}},
         "F5",
         HotkeyMode::standard,
         keyF5,
         0},
        {"CapsLockArrivesAsItsSurrogate",
         {{Type::flagsChanged, leftCtrl, ctrl},
          {Type::keyDown, f18, ctrl},
          {Type::keyUp, f18, ctrl},
          {Type::flagsChanged, leftCtrl, 0}},
         "Caps Lock",
         HotkeyMode::capsLock,
         f18,
         0},
        {"AnUnnamedKeyShowsItsNumber", {{Type::keyDown, 105, 0}}, "Key 105", HotkeyMode::standard, 105, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        capture_.startCapturing();
        EXPECT_EQ(capture_.displayText(), "No key");
        EXPECT_FALSE(capture_.hasCapturedHotkey());
        press(c.events);
        EXPECT_EQ(capture_.displayText(), c.shown);
        ASSERT_TRUE(capture_.hasCapturedHotkey());

        const int startsBefore = keys_.starts;
        capture_.applyCapturedHotkey();
        EXPECT_FALSE(capture_.isCapturing());
        EXPECT_FALSE(settings_.isLearnModeActive());
        EXPECT_EQ(capture_.displayText(), c.shown);
        EXPECT_EQ(settings_.hotkeyMode(), c.mode);
        EXPECT_EQ(settings_.hotkeyKeyCode(), c.keyCode);
        EXPECT_EQ(settings_.hotkeyModifiers(), c.modifiers);
        EXPECT_GT(keys_.starts, startsBefore) << "the hotkey is taken again";
        EXPECT_EQ(remap_.captureSessionDepth, 0);
        EXPECT_EQ(mapping_.entries, c.mode == HotkeyMode::capsLock ? Entries{ours} : Entries{});
        EXPECT_FALSE(capture_.handleKeyEvent({Type::keyDown, keyK, 0})) << "keys go to the desktop again";
    }
}

TEST_F(HotkeyCaptureTest, TheHotkeyStandsDownWhileCapturingAndCancelKeepsTheStoredHotkey) {
    settings_.setHotkeyModeRawValue("capsLock");
    settings_.setHotkeyKeyCode(f18);
    capture_.startCapturing();
    EXPECT_EQ(remap_.captureSessionDepth, 1);
    EXPECT_EQ(mapping_.entries, Entries{ours});
    int recordings = 0;
    hotkeys_.onStartRecording = [&] { ++recordings; };
    EXPECT_EQ(hotkeys_.handleKeyEvent({Type::keyDown, f18, 0}), KeyEventDisposition::pass);
    press({{Type::keyDown, keyF5, 0}});
    EXPECT_EQ(recordings, 0);

    capture_.cancelCapturing();
    EXPECT_FALSE(settings_.isLearnModeActive());
    EXPECT_EQ(capture_.displayText(), "Caps Lock");
    EXPECT_EQ(settings_.hotkeyKeyCode(), SettingsManager::capsLockSurrogateKeyCode);
    EXPECT_EQ(remap_.captureSessionDepth, 0);
    EXPECT_EQ(mapping_.entries, Entries{ours}) << "Caps Lock mode keeps its remap";

    // A step posted before the cancel finds the capture ended; the next capture starts afresh.
    capture_.startCapturing();
    capture_.handleKeyEvent({Type::keyDown, keyK, ctrl});
    capture_.cancelCapturing();
    main_.runUntilIdle();
    EXPECT_EQ(capture_.displayText(), "Caps Lock");
    EXPECT_EQ(capture_.capturedKeyCode(), SettingsManager::capsLockSurrogateKeyCode);
    capture_.startCapturing();
    EXPECT_EQ(capture_.displayText(), "No key");
    capture_.cancelCapturing();
    settings_.setHotkeyModeRawValue("standard");
    capture_.startCapturing();
    capture_.cancelCapturing();
    EXPECT_EQ(mapping_.entries, Entries{}) << "standard mode lets the remap go";
}

TEST_F(HotkeyCaptureTest, SomeoneElsesCapsLockMappingIsReportedAndNeverOverridden) {
    mapping_.entries = {capsToControl};
    capture_.startCapturing();
    EXPECT_EQ(capture_.hotkeyErrorMessage(), std::string(HotkeyCapture::capsLockUnavailableText));
    press({{Type::keyDown, keyF5, 0}});
    EXPECT_EQ(capture_.displayText(), "F5") << "other keys are captured all the same";

    press({{Type::keyDown, f18, 0}});
    capture_.applyCapturedHotkey();
    EXPECT_EQ(capture_.hotkeyErrorMessage(), std::string(HotkeyCapture::capsLockFailedText));
    EXPECT_EQ(settings_.hotkeyMode(), HotkeyMode::standard);
    EXPECT_EQ(capture_.displayText(), "Ctrl Super") << "the stored default stands";
    EXPECT_EQ(remap_.captureSessionDepth, 0);
    EXPECT_EQ(mapping_.entries, Entries{capsToControl});

    capture_.startCapturing();
    EXPECT_EQ(capture_.hotkeyErrorMessage(), std::string(HotkeyCapture::capsLockUnavailableText));
    mapping_.entries.clear();
    capture_.cancelCapturing();
    capture_.startCapturing();
    EXPECT_EQ(capture_.hotkeyErrorMessage(), std::nullopt);
}

}  // namespace
}  // namespace quillon
