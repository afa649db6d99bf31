#include "core/hotkey/HotkeyCapture.h"

#include <gtest/gtest.h>

#include <functional>
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
constexpr KeyMappingEntry otherKey{100, 97};
constexpr KeyMappingEntry noSource{std::nullopt, 188};

// The keyboard mapping with its Caps Lock remap, over the stored settings.
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

// ...and the hotkey and its capture in the settings window on top.
class HotkeyCaptureTest : public CapsLockRemapManagerTest {
protected:
    HotkeyCaptureTest() {
        settings_.onChange = [this] { hotkeys_.settingsDidChange(); };
        hotkeys_.start();
    }

    void press(const std::vector<KeyEvent>& events) {
        for (const auto& event : events) EXPECT_TRUE(capture_.handleKeyEvent(event));
        main_.runUntilIdle();
    }

    testing::FakeKeyEventSource keys_;
    HotkeyManager hotkeys_{main_, keys_, settings_, log_.logger(LogCategory::hotkey)};
    HotkeyCapture capture_{main_, settings_, remap_, hotkeys_, log_.logger(LogCategory::hotkey)};
};

const auto flags = [](int key, int modifiers) { return KeyEvent{Type::flagsChanged, key, modifiers}; };
const auto down = [](int key, int modifiers = 0) { return KeyEvent{Type::keyDown, key, modifiers}; };
const auto up = [](int key, int modifiers) { return KeyEvent{Type::keyUp, key, modifiers}; };

TEST_F(HotkeyCaptureTest, CapturedKeysShowAsTheyArePressedAndApplyAsShown) {
    struct Case {
        const char* shown;
        int keyCode;
        int modifiers;
        std::vector<KeyEvent> events;
    };
    const std::vector<Case> cases = {
        // A modifier chord survives its release (the settings window's test, with Ctrl Shift);
        // letting go of one leaves the others.
        {"Ctrl",
         0,
         ctrl,
         {flags(leftCtrl, ctrl), flags(leftShift, ctrl | shift), flags(leftShift, ctrl), flags(leftCtrl, 0)}},
        {"Fn Shift", 0, fn | shift, {flags(0, fn), flags(leftShift, fn | shift), flags(0, 0)}},
        // A key counts while held; released, it leaves its modifiers.
        {"Ctrl K", keyK, ctrl, {flags(leftCtrl, ctrl), down(keyK, ctrl)}},
        {"Ctrl", 0, ctrl, {flags(leftCtrl, ctrl), down(keyK, ctrl), up(keyK, ctrl)}},
        {"F5", keyF5, 0, {down(0x10000 | keyF5, 0x1234)}},  // the high bits of codes and flags are masked
        // Caps Lock arrives as its surrogate and sets Caps Lock mode.
        {"Caps Lock", f18, 0, {flags(leftCtrl, ctrl), down(f18, ctrl), up(f18, ctrl), flags(leftCtrl, 0)}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.shown);
        capture_.startCapturing();
        EXPECT_EQ(capture_.displayText(), "No key");
        press(c.events);
        EXPECT_EQ(capture_.displayText(), c.shown);

        const int startsBefore = keys_.starts;
        capture_.applyCapturedHotkey();
        const bool capsLock = c.keyCode == f18;
        EXPECT_FALSE(settings_.isLearnModeActive());
        EXPECT_EQ(settings_.hotkeyMode(), capsLock ? HotkeyMode::capsLock : HotkeyMode::standard);
        EXPECT_EQ(settings_.hotkeyKeyCode(), c.keyCode);
        EXPECT_EQ(settings_.hotkeyModifiers(), c.modifiers);
        EXPECT_GT(keys_.starts, startsBefore) << "the hotkey is taken again";
        EXPECT_EQ(remap_.captureSessionDepth, 0);
        EXPECT_EQ(mapping_.entries, capsLock ? Entries{ours} : Entries{});
        EXPECT_FALSE(capture_.handleKeyEvent(down(keyK))) << "keys go to the desktop again";
    }
}

TEST_F(HotkeyCaptureTest, TheHotkeyStandsDownWhileCapturingAndCancelKeepsTheStoredHotkey) {
    settings_.setHotkeyModeRawValue("capsLock");
    settings_.setHotkeyKeyCode(f18);
    capture_.startCapturing();
    EXPECT_EQ(remap_.captureSessionDepth, 1);
    int recordings = 0;
    hotkeys_.onStartRecording = [&] { ++recordings; };
    EXPECT_EQ(hotkeys_.handleKeyEvent(down(f18)), KeyEventDisposition::pass);
    press({down(keyF5)});
    EXPECT_EQ(recordings, 0);

    capture_.cancelCapturing();
    EXPECT_FALSE(settings_.isLearnModeActive());
    EXPECT_EQ(settings_.hotkeyKeyCode(), SettingsManager::capsLockSurrogateKeyCode);
    EXPECT_EQ(remap_.captureSessionDepth, 0);
    EXPECT_EQ(mapping_.entries, Entries{ours}) << "Caps Lock mode keeps its remap";

    // A step posted before the cancel finds the capture ended; the next capture starts afresh.
    capture_.startCapturing();
    capture_.handleKeyEvent(down(keyK, ctrl));
    capture_.cancelCapturing();
    main_.runUntilIdle();
    EXPECT_EQ(capture_.displayText(), "Caps Lock");
    capture_.startCapturing();
    EXPECT_EQ(capture_.displayText(), "No key");
}

TEST_F(HotkeyCaptureTest, SomeoneElsesCapsLockMappingIsReportedAndNeverOverridden) {
    mapping_.entries = {capsToControl};
    capture_.startCapturing();
    EXPECT_EQ(capture_.hotkeyErrorMessage(), std::string(HotkeyCapture::capsLockUnavailableText));
    press({down(keyF5)});
    EXPECT_EQ(capture_.displayText(), "F5") << "other keys are captured all the same";

    press({down(f18)});
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
