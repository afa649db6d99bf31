#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "core/base/ManualScheduler.h"
#include "core/hotkey/CapsLockRemapManager.h"
#include "core/hotkey/HotkeyCapture.h"
#include "core/hotkey/HotkeyManager.h"
#include "fakes/FakeKeyEventSource.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeKeyboardMapping.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakeSessionEvents.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using Type = KeyEventType;

// evdev codes and flag bits the cases use.
constexpr int keyA = 30, keyK = 37, keyF5 = 63, leftCtrl = 29, leftShift = 42, leftMeta = 125, capsKey = 58, f18 = 188;
constexpr int ctrl = modifier::control, super = modifier::super, shift = modifier::shift, caps = modifier::capsLock,
              fn = modifier::function;
using Entries = std::vector<KeyMappingEntry>;
constexpr KeyMappingEntry ours = CapsLockRemapManager::managedEntry;
constexpr KeyMappingEntry capsToControl{58, 29};
constexpr KeyMappingEntry otherKey{100, 97};
constexpr KeyMappingEntry noSource{std::nullopt, 188};

// One thing that happens to the hotkey: a key event, time passing, or the coordinator's reset.
struct Step {
    enum class Op { event, wait, reset } op = Op::event;
    KeyEvent event{};
    std::chrono::milliseconds wait{};
};
Step down(int key, int flags = 0) { return {Step::Op::event, {Type::keyDown, key, flags}, {}}; }
Step up(int key, int flags = 0) { return {Step::Op::event, {Type::keyUp, key, flags}, {}}; }
Step flagsTo(int key, int flags) { return {Step::Op::event, {Type::flagsChanged, key, flags}, {}}; }
Step wait(std::chrono::milliseconds time) { return {Step::Op::wait, {}, time}; }
Step reset() { return {Step::Op::reset, {}, {}}; }

struct Transition {
    const char* name;
    std::string mode = "standard";
    int keyCode = keyF5;
    int modifiers = 0;
    std::vector<Step> steps;
    // Signals in order: "start", "tap" (mode changed to tap-to-toggle), "stop".
    std::string signals;
    // One letter per key event: S swallowed, P passed.
    std::string answers;
    HotkeyState finalState;
    bool learnMode = false;
};

const HotkeyState idle = HotkeyState::idle(), undecided = HotkeyState::recording(false),
                  hold = HotkeyState::recording(true), transcribing = HotkeyState::transcribing();

std::vector<Transition> transitions() {
    return {
        // A key hotkey, through each row of the transitions.
        {.name = "HeldPastTheThresholdIsHoldAndTheReleaseStops",
         .steps = {down(keyF5), wait(400ms), up(keyF5)},
         .signals = "start stop", .answers = "SS", .finalState = transcribing},
        {.name = "ShortPressTurnsIntoTapToToggleAndTheNextPressStops",
         .steps = {down(keyF5), wait(100ms), up(keyF5), wait(5s), down(keyF5)},
         .signals = "start tap stop", .answers = "SSS", .finalState = transcribing},
        {.name = "TheSecondPressSwallowsItsKeyUpAfterTheReset",
         .steps = {down(keyF5), up(keyF5), down(keyF5), reset(), up(keyF5)},
         .signals = "start tap stop", .answers = "SSSS", .finalState = idle},
        {.name = "AutoRepeatIsAbsorbedBeforeAndAfterTheThreshold",
         .steps = {down(keyF5), down(keyF5), down(keyF5), wait(400ms), down(keyF5), down(keyF5), up(keyF5)},
         .signals = "start stop", .answers = "SSSSSS", .finalState = transcribing},
        {.name = "AKeyStillRepeatingAfterTheResetStartsAgain",
         .steps = {down(keyF5), wait(400ms), reset(), down(keyF5)},
         .signals = "start start", .answers = "SS", .finalState = undecided},
        {.name = "PressesWhileTranscribingAreSwallowedAndIgnored",
         .steps = {down(keyF5), wait(400ms), up(keyF5), down(keyF5), wait(400ms), up(keyF5)},
         .signals = "start stop", .answers = "SSSS", .finalState = transcribing},
        {.name = "ThresholdPassingWithTheKeyUpKeepsTapToToggle",
         .steps = {down(keyF5), wait(100ms), up(keyF5), wait(400ms)},
         .signals = "start tap", .answers = "SS", .finalState = undecided},
        {.name = "LearnModeSeesNothingAndSwallowsNothing",
         .steps = {down(keyF5), wait(400ms), up(keyF5)},
         .signals = "", .answers = "PP", .finalState = idle, .learnMode = true},
        {.name = "CapsLockEngagedInStandardModeDoesNotMatch",
         .steps = {down(keyF5, caps), up(keyF5, caps)},
         .signals = "", .answers = "PP", .finalState = idle},
        {.name = "AnExtraModifierOrAnotherKeyDoesNotMatch",
         .modifiers = ctrl,
         .steps = {down(keyF5, ctrl | shift), down(keyA, ctrl), down(keyF5), flagsTo(leftCtrl, ctrl)},
         .signals = "", .answers = "PPPP", .finalState = idle},
        {.name = "DeviceBitsBelowTheModifiersAreIgnored",
         .modifiers = ctrl,
         .steps = {down(keyF5, ctrl | 0x2001), up(keyF5, ctrl | 0x2001)},
         .signals = "start tap", .answers = "SS", .finalState = undecided},

        // The default modifier-only chord, Control+Super.
        {.name = "ChordHeldIsHoldAndLettingGoOfAModifierStops",
         .keyCode = 0, .modifiers = ctrl | super,
         .steps = {flagsTo(leftCtrl, ctrl), flagsTo(leftMeta, ctrl | super), wait(400ms), flagsTo(leftMeta, ctrl),
                   flagsTo(leftCtrl, 0)},
         .signals = "start stop", .answers = "PSSP", .finalState = transcribing},
        {.name = "ChordShortPressReportsNoTapAndBecomesHoldAtTheThreshold",
         .keyCode = 0, .modifiers = ctrl | super,
         .steps = {flagsTo(leftCtrl, ctrl), flagsTo(leftMeta, ctrl | super), flagsTo(leftMeta, ctrl),
                   flagsTo(leftCtrl, 0), wait(400ms), flagsTo(leftMeta, ctrl | super), flagsTo(leftMeta, ctrl)},
         .signals = "start stop", .answers = "PSPPSS", .finalState = transcribing},
        {.name = "ChordPressedAgainStopsWithoutStartingAnotherRecording",
         .keyCode = 0, .modifiers = ctrl | super,
         .steps = {flagsTo(leftCtrl, ctrl), flagsTo(leftMeta, ctrl | super), flagsTo(leftMeta, ctrl),
                   flagsTo(leftCtrl, 0), wait(400ms), flagsTo(leftCtrl, ctrl), reset(),
                   flagsTo(leftMeta, ctrl | super), flagsTo(leftMeta, ctrl), flagsTo(leftCtrl, 0), wait(400ms)},
         .signals = "start stop", .answers = "PSPPSSPP", .finalState = idle},
        {.name = "AnyKeyStruckWhileTheChordIsHeldIsTheHotkey",
         .keyCode = 0, .modifiers = ctrl | super,
         .steps = {down(keyA, ctrl | super), up(keyA, ctrl | super), down(keyA, ctrl), down(keyA, ctrl | super | shift)},
         .signals = "start tap", .answers = "SSPP", .finalState = undecided},

        // Caps Lock mode: the F18 surrogate and the physical key's flag, merged.
        {.name = "SurrogateHeldIsHold",
         .mode = "capsLock",
         .steps = {down(f18), down(f18), wait(400ms), up(f18)},
         .signals = "start stop", .answers = "SSS", .finalState = transcribing},
        {.name = "PhysicalFlagCountsOnlyItsChanges",
         .mode = "capsLock",
         .steps = {flagsTo(capsKey, caps), flagsTo(capsKey, caps | shift), down(capsKey, caps), flagsTo(capsKey, 0)},
         .signals = "start tap", .answers = "SSSS", .finalState = undecided},
        {.name = "PhysicalFirstOwnsThePressAndTheSurrogateIsSwallowed",
         .mode = "capsLock",
         .steps = {flagsTo(capsKey, caps), down(f18), up(f18), wait(400ms), flagsTo(capsKey, 0)},
         .signals = "start stop", .answers = "SSSS", .finalState = transcribing},
        {.name = "SurrogateFirstOwnsThePressAndThePhysicalFlagIsSwallowed",
         .mode = "capsLock",
         .steps = {down(f18), flagsTo(capsKey, caps), up(f18), flagsTo(capsKey, 0)},
         .signals = "start tap", .answers = "SSSS", .finalState = undecided},
        {.name = "OtherKeysPassAndTheStoredHotkeyIsNotUsed",
         .mode = "capsLock", .keyCode = keyF5,
         .steps = {down(keyF5), down(keyA, caps), flagsTo(leftCtrl, ctrl)},
         .signals = "", .answers = "PPP", .finalState = idle},
    };
}

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

class HotkeyManagerTest : public CapsLockRemapManagerTest {
protected:
    HotkeyManagerTest() {
        hotkey_.onStartRecording = [this] { signals_ += " start"; };
        hotkey_.onRecordingModeChanged = [this](bool tap) { signals_ += tap ? " tap" : " hold"; };
        hotkey_.onStopRecording = [this] { signals_ += " stop"; };
    }

    void configure(const std::string& mode, int keyCode, int modifiers) {
        store_.seed("hotkeyMode", mode);
        store_.seed("hotkeyKeyCode", std::int64_t{keyCode});
        store_.seed("hotkeyModifiers", std::int64_t{modifiers});
    }

    std::string signals() const { return signals_.empty() ? "" : signals_.substr(1); }

    testing::FakeKeyEventSource source_;
    HotkeyManager hotkey_{main_, source_, settings_, log_.logger(LogCategory::hotkey)};
    std::string signals_;
};

TEST_F(HotkeyManagerTest, FollowsEveryTransitionAndEdgeCase) {
    for (const auto& test : transitions()) {
        SCOPED_TRACE(test.name);
        hotkey_.stop();
        hotkey_.resetToIdle();
        signals_.clear();
        configure(test.mode, test.keyCode, test.modifiers);
        settings_.setLearnModeActive(test.learnMode);
        hotkey_.start();

        std::string answers;
        for (const auto& step : test.steps) {
            switch (step.op) {
                case Step::Op::event:
                    answers += source_.deliver(step.event.type, step.event.keyCode, step.event.flags) ==
                                       KeyEventDisposition::swallow
                                   ? 'S'
                                   : 'P';
                    break;
                case Step::Op::wait: main_.advance(step.wait); break;
                case Step::Op::reset: hotkey_.resetToIdle(); break;
            }
        }
        EXPECT_EQ(signals(), test.signals);
        EXPECT_EQ(answers, test.answers);
        EXPECT_EQ(hotkey_.state(), test.finalState);
    }
}

// Taking the keys again for a changed hotkey, and a failure told and stopping the hotkey, are the
// X11 test's: here what is not tried again.
TEST_F(HotkeyManagerTest, TakesItsKeysOnceAndAgainOnlyWhenTheyChangeWhileStarted) {
    hotkey_.start();
    hotkey_.start();
    main_.runUntilIdle();
    EXPECT_EQ(source_.swallowed, (SwallowedKeys{.capsLockKey = false, .keyCode = 0, .modifiers = ctrl | super}));
    EXPECT_EQ(source_.starts, 1);
    settings_.setHotkeyModeRawValue("capsLock");
    hotkey_.settingsDidChange();
    hotkey_.settingsDidChange();
    EXPECT_EQ(source_.swallowed, (SwallowedKeys{.capsLockKey = true}));
    EXPECT_EQ(source_.starts, 2);
    EXPECT_EQ(source_.deliver(Type::keyDown, f18, 0), KeyEventDisposition::swallow);

    source_.fail("Caps Lock is held by another program.");
    main_.runUntilIdle();
    EXPECT_FALSE(source_.swallowed);
    hotkey_.settingsDidChange();
    EXPECT_EQ(source_.starts, 2) << "the same keys are not tried again by themselves";

    hotkey_.start();
    hotkey_.stop();
    hotkey_.stop();
    main_.runUntilIdle();
    EXPECT_FALSE(source_.swallowed);
    EXPECT_EQ(source_.deliver(Type::keyDown, f18, 0), KeyEventDisposition::pass) << "stopped: nothing is seen";
    settings_.setHotkeyModeRawValue("standard");
    hotkey_.settingsDidChange();
    EXPECT_EQ(source_.starts, 3) << "a stopped hotkey stays stopped";
}

// The hotkey and its capture in the settings window, over the remap.
class HotkeyCaptureTest : public CapsLockRemapManagerTest {
protected:
    HotkeyCaptureTest() {
        settings_.onChange = [this] { hotkeys_.settingsDidChange(); };
        hotkeys_.start();
    }

    void press(const std::vector<Step>& steps) {
        for (const auto& step : steps) EXPECT_TRUE(capture_.handleKeyEvent(step.event));
        main_.runUntilIdle();
    }

    testing::FakeKeyEventSource keys_;
    HotkeyManager hotkeys_{main_, keys_, settings_, log_.logger(LogCategory::hotkey)};
    HotkeyCapture capture_{main_, settings_, remap_, hotkeys_, log_.logger(LogCategory::hotkey)};
};

TEST_F(HotkeyCaptureTest, CapturedKeysShowAsTheyArePressedAndApplyAsShown) {
    struct Case {
        const char* shown;
        int keyCode;
        int modifiers;
        std::vector<Step> events;
    };
    const std::vector<Case> cases = {
        // A modifier chord survives its release (the settings window's test, with Ctrl Shift);
        // letting go of one leaves the others.
        {"Ctrl",
         0,
         ctrl,
         {flagsTo(leftCtrl, ctrl), flagsTo(leftShift, ctrl | shift), flagsTo(leftShift, ctrl), flagsTo(leftCtrl, 0)}},
        {"Fn Shift", 0, fn | shift, {flagsTo(0, fn), flagsTo(leftShift, fn | shift), flagsTo(0, 0)}},
        // A key counts while held; released, it leaves its modifiers.
        {"Ctrl K", keyK, ctrl, {flagsTo(leftCtrl, ctrl), down(keyK, ctrl)}},
        {"Ctrl", 0, ctrl, {flagsTo(leftCtrl, ctrl), down(keyK, ctrl), up(keyK, ctrl)}},
        {"F5", keyF5, 0, {down(0x10000 | keyF5, 0x1234)}},  // the high bits of codes and flags are masked
        // Caps Lock arrives as its surrogate and sets Caps Lock mode.
        {"Caps Lock", f18, 0, {flagsTo(leftCtrl, ctrl), down(f18, ctrl), up(f18, ctrl), flagsTo(leftCtrl, 0)}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.shown);
        capture_.startCapturing();
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
        EXPECT_FALSE(capture_.handleKeyEvent(down(keyK).event)) << "keys go to the desktop again";
    }
}

TEST_F(HotkeyCaptureTest, TheHotkeyStandsDownWhileCapturingAndCancelKeepsTheStoredHotkey) {
    settings_.setHotkeyModeRawValue("capsLock");
    settings_.setHotkeyKeyCode(f18);
    capture_.startCapturing();
    EXPECT_EQ(remap_.captureSessionDepth, 1);
    int recordings = 0;
    hotkeys_.onStartRecording = [&] { ++recordings; };
    EXPECT_EQ(hotkeys_.handleKeyEvent(down(f18).event), KeyEventDisposition::pass);
    press({down(keyF5)});
    EXPECT_EQ(recordings, 0);

    capture_.cancelCapturing();
    EXPECT_FALSE(settings_.isLearnModeActive());
    EXPECT_EQ(settings_.hotkeyKeyCode(), SettingsManager::capsLockSurrogateKeyCode);
    EXPECT_EQ(remap_.captureSessionDepth, 0);
    EXPECT_EQ(mapping_.entries, Entries{ours}) << "Caps Lock mode keeps its remap";

    // A step posted before the cancel finds the capture ended; the next capture starts afresh.
    capture_.startCapturing();
    capture_.handleKeyEvent(down(keyK, ctrl).event);
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
