#include "core/hotkey/HotkeyManager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "core/base/ManualScheduler.h"
#include "fakes/FakeKeyEventSource.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using Type = KeyEventType;

// evdev codes and flag bits the cases use.
constexpr int keyA = 30, keyF5 = 63, leftCtrl = 29, leftMeta = 125, capsKey = 58, f18 = 188;
constexpr int ctrl = modifier::control, super = modifier::super, shift = modifier::shift, caps = modifier::capsLock;

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

struct Case {
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

std::vector<Case> cases() {
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

class HotkeyManagerTest : public ::testing::Test {
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

    ManualScheduler main_;
    testing::TestLog log_{main_};
    testing::FakeKeyValueStore store_;
    testing::FakeLoginItem loginItem_;
    SettingsManager settings_{store_, loginItem_, log_.logger(LogCategory::settings)};
    testing::FakeKeyEventSource source_;
    HotkeyManager hotkey_{main_, source_, settings_, log_.logger(LogCategory::hotkey)};
    std::string signals_;
};

TEST_F(HotkeyManagerTest, FollowsEveryTransitionAndEdgeCase) {
    for (const auto& test : cases()) {
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

// Taking the keys again for a changed hotkey, and the words a failure is told in, are the X11
// test's: here what is not tried again.
TEST_F(HotkeyManagerTest, TakesItsKeysOnceAndAgainOnlyWhenTheyChangeWhileStarted) {
    bool told = false;
    hotkey_.onHotkeyUnavailable = [&](const std::string&) { told = true; };
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
    EXPECT_TRUE(told);
    EXPECT_FALSE(hotkey_.isStarted());
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

}  // namespace
}  // namespace quillon
