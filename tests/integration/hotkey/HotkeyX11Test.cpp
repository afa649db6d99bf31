// The hotkey and the Caps Lock remap on a real X server, typed on through XTest, with a real GTK
// field holding the focus to prove that the hotkey never reaches it.
#include <gtest/gtest.h>

#include <X11/XKBlib.h>
#include <X11/Xlib.h>

#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "DesktopPrograms.h"
#include "DesktopSession.h"
#include "SpeechTestFiles.h"
#include "XTestKeys.h"
#include "core/base/ManualScheduler.h"
#include "core/hotkey/HotkeyManager.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"
#include "platform/linux/apps/RunningApplicationsX11.h"
#include "platform/linux/hotkey/HotkeysX11.h"
#include "platform/linux/keyboard/SyntheticKeyboardXTest.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using testing::TestApplication;

constexpr KeyCode capsLockKeycode = 66;  // evdev KEY_CAPSLOCK + 8

// Checks `condition` until it holds, running `main`'s due tasks meanwhile; for other processes'
// events and the adapters' threads.
bool waitUntil(ManualScheduler& main, const std::function<bool()>& condition, std::chrono::seconds timeout = 10s) {
    return testing::pollUntil(
        [&] {
            main.runUntilIdle();
            return condition();
        },
        timeout);
}

bool run(const std::string& command) { return std::system(command.c_str()) == 0; }

// The test's own view of the X server: XTest key presses and the keyboard map as it is now.
class Keyboard : public testing::XTestKeys {
public:
    void press(KeySym symbol) { key(symbol, true); }
    void release(KeySym symbol) { key(symbol, false); }

    KeySym capsLockKeySymbol() {
        int perKeycode = 0;
        KeySym* symbols = XGetKeyboardMapping(display(), capsLockKeycode, 1, &perKeycode);
        const KeySym symbol = symbols ? symbols[0] : NoSymbol;
        if (symbols) XFree(symbols);
        return symbol;
    }
    bool capsLockKeyIsLock() {
        XModifierKeymap* map = XGetModifierMapping(display());
        bool found = false;
        for (int i = 0; i < map->max_keypermod; ++i) {
            found = found || map->modifiermap[LockMapIndex * map->max_keypermod + i] == capsLockKeycode;
        }
        XFreeModifiermap(map);
        return found;
    }
    bool capsLockIsLatched() {
        XkbStateRec state;
        XkbGetState(display(), XkbUseCoreKbd, &state);
        return (state.locked_mods & LockMask) != 0;
    }
    // Holds `keycode` with no modifiers as another program would, so that no one else can grab it.
    void grabAsAnotherProgram(KeySym symbol) {
        XGrabKey(display(), XKeysymToKeycode(display(), symbol), 0, DefaultRootWindow(display()), False, GrabModeAsync,
                 GrabModeAsync);
        XSync(display(), False);
    }
};

class HotkeyX11Test : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto why = testing::sessionLacks({"X server"}); !why.empty()) GTEST_SKIP() << why;
        ASSERT_TRUE(keyboard_.ready());
        hotkey_.onStartRecording = [this] { signals_ += " start"; };
        hotkey_.onRecordingModeChanged = [this](bool tap) { signals_ += tap ? " tap" : " hold"; };
        hotkey_.onStopRecording = [this] { signals_ += " stop"; };
        hotkey_.onHotkeyUnavailable = [this](const std::string& message) { unavailable_ = message; };
    }

    void TearDown() override {
        hotkey_.stop();
        // The keyboard as the session started it, for the tests that come after.
        run("setxkbmap -layout us -option ''");
    }

    // A GTK window with an empty entry that has the keyboard focus.
    std::unique_ptr<TestApplication> focusedField() {
        auto field = std::make_unique<TestApplication>(QUILLON_GTK_FIXTURE, std::vector<std::string>{});
        if (field->readLine(60s) != "ready") return nullptr;
        const int pid = field->pid();
        if (!waitUntil(main_, [&] { return applications_.activate(pid); }, 60s)) return nullptr;
        if (!waitUntil(main_, [&] { return applications_.frontmostProcessIdentifier() == pid; })) return nullptr;
        if (field->ask("focus plain") != "ok") return nullptr;
        return field;
    }

    std::string text(TestApplication& field) {
        const auto line = field.ask("dump plain");
        return line ? line->substr(6) : "<no answer>";
    }

    // Starts the hotkey and waits until a key event came through: from then on its keys are grabbed.
    void startHotkey() {
        hotkey_.start();
        events_ = 0;
        auto handle = source_.onKeyEvent;
        source_.onKeyEvent = [this, handle](const KeyEvent& event) {
            ++events_;
            return handle(event);
        };
        ASSERT_TRUE(waitUntil(main_, [&] {
            keyboard_.press(XK_Shift_L);
            keyboard_.release(XK_Shift_L);
            return events_ > 0;
        }));
        events_ = 0;
    }

    bool waitForSignals(const std::string& expected) {
        return waitUntil(main_, [&] { return signals_ == " " + expected; });
    }

    ManualScheduler main_;
    testing::TestLog log_{main_};
    testing::FakeKeyValueStore store_;
    testing::FakeLoginItem loginItem_;
    SettingsManager settings_{store_, loginItem_, log_.logger(LogCategory::settings)};
    HotkeysX11 source_{main_, log_.logger(LogCategory::hotkey)};
    HotkeyManager hotkey_{main_, source_, settings_, log_.logger(LogCategory::hotkey)};
    Keyboard keyboard_;
    RunningApplicationsX11 applications_;
    std::string signals_;
    std::string unavailable_;
    int events_ = 0;
};

// Dictation types phrases while the chord is still held: the typing lifts Control and Super for
// its keys and presses them again after, which must neither turn the letters into shortcuts nor
// look like the user letting go. A key struck with the whole chord held is the hotkey's.
TEST_F(HotkeyX11Test, TheDefaultChordHoldsThroughTypedPhrasesAndSwallowsKeysStruckWhileItIsHeld) {
    auto field = focusedField();
    ASSERT_TRUE(field);
    startHotkey();  // Control+Super, nothing stored
    SyntheticKeyboardXTest typist;

    keyboard_.press(XK_Control_L);
    keyboard_.press(XK_Super_L);
    ASSERT_TRUE(waitForSignals("start"));
    main_.advance(400ms);
    ASSERT_TRUE(typist.typeText("hello there"));
    ASSERT_TRUE(typist.typeText(" again"));
    EXPECT_TRUE(waitUntil(main_, [&] { return text(*field) == "hello there again"; })) << text(*field);
    main_.runUntilIdle();
    EXPECT_EQ(signals_, " start");
    keyboard_.press(XK_b);
    keyboard_.release(XK_b);
    keyboard_.release(XK_Super_L);
    ASSERT_TRUE(waitForSignals("start stop"));
    keyboard_.release(XK_Control_L);

    // Other keys still reach the field once the chord is let go.
    keyboard_.press(XK_c);
    keyboard_.release(XK_c);
    EXPECT_TRUE(waitUntil(main_, [&] { return text(*field) == "hello there againc"; })) << text(*field);
}

// A plain key is grabbed and tapped; one another program holds is refused in the user's words. A
// new hotkey taken without a restart is the settings window's test.
TEST_F(HotkeyX11Test, AKeyAnotherProgramHoldsIsReported) {
    keyboard_.grabAsAnotherProgram(XK_F7);
    settings_.setHotkeyKeyCode(66);  // F8
    settings_.setHotkeyModifiers(0);
    startHotkey();
    keyboard_.press(XK_F8);
    keyboard_.release(XK_F8);
    ASSERT_TRUE(waitForSignals("start tap")) << signals_;

    settings_.setHotkeyKeyCode(65);  // F7, which the other program holds
    hotkey_.settingsDidChange();
    ASSERT_TRUE(waitUntil(main_, [&] { return !unavailable_.empty(); }));
    EXPECT_EQ(unavailable_, "The hotkey cannot be used: F7 is taken by another program.");
    EXPECT_FALSE(hotkey_.isStarted());
}

// Pressed through Quillon, the key never latches Caps Lock; the user's setxkbmap puts Caps Lock
// back and the remap heals itself; the session's quit (SIGTERM, which takes the same way out as
// the other signals) gives the key back.
TEST_F(HotkeyX11Test, QuillonInCapsLockModeRemapsWhileItRunsHealsSetxkbmapAndRestoresOnQuitBySignal) {
    testing::ScratchDirectory home;
    testing::QuillonRun quillon(QUILLON_BINARY, home.path(), "hotkeyMode=capsLock\n");
    const auto log = [&] { return ::testing::PrintToString(quillon.log()); };
    ASSERT_TRUE(quillon.waitForLog("Hotkey manager started with hotkey: mode=capsLock")) << log();
    EXPECT_EQ(keyboard_.capsLockKeySymbol(), XK_F18);
    // Its keyboard thread may still be starting: tap until a tap is seen.
    bool tapped = false;
    for (int attempt = 0; attempt < 100 && !tapped; ++attempt) {
        keyboard_.send(capsLockKeycode, true);
        keyboard_.send(capsLockKeycode, false);
        tapped = quillon.waitForLog("Short press released; continuing in tap-to-toggle mode", 100ms);
    }
    EXPECT_TRUE(tapped) << log();
    EXPECT_FALSE(keyboard_.capsLockIsLatched());

    ASSERT_TRUE(run("setxkbmap -layout us"));
    EXPECT_TRUE(waitUntil(main_, [&] { return keyboard_.capsLockKeySymbol() == XK_F18; })) << log();
    EXPECT_TRUE(waitUntil(main_, [&] { return !keyboard_.capsLockKeyIsLock(); }));

    quillon.process().signal(SIGTERM);
    EXPECT_EQ(quillon.process().waitForExit(30s), 0);
    EXPECT_EQ(keyboard_.capsLockKeySymbol(), XK_Caps_Lock);
    EXPECT_TRUE(keyboard_.capsLockKeyIsLock());
}

}  // namespace
}  // namespace quillon
