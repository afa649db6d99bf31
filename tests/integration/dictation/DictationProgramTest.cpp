// Dictation as a user meets it: the quillon program running on the desktop session, a GTK field
// with the focus, the Control+Super chord held (or tapped) through XTest, and speech played into
// the session's virtual microphone (the sink "microphone", whose monitor is the default source).
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "SpeechTestFiles.h"
#include "TestApplication.h"
#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"
#include "platform/linux/accessibility/AccessibilityAtspi.h"
#include "platform/linux/apps/RunningApplicationsX11.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using testing::ProcessResult;
using testing::runProcess;
using testing::TestApplication;

using testing::words;

// Word error rate of `heard` against `said`: the edit distance over words, per word said.
double wordErrorRate(const std::string& said, const std::string& heard) {
    const auto spoken = words(said);
    return static_cast<double>(testing::wordEditDistance(spoken, words(heard))) /
           static_cast<double>(std::max<std::size_t>(spoken.size(), 1));
}

// Debian's own decoder on the same file, the yardstick.
std::string referenceDecode(const std::filesystem::path& wav) {
    const std::string model = "/usr/share/pocketsphinx/model/en-us/";
    return runProcess({"pocketsphinx_continuous", "-infile", wav.string(), "-hmm", model + "en-us", "-lm",
                       model + "en-us.lm.bin", "-dict", model + "cmudict-en-us.dict", "-logfn", "/dev/null"})
        .out;
}

bool poll(const std::function<bool()>& condition, std::chrono::seconds timeout = 30s) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(20ms);
    }
    return true;
}

class DictationProgram : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::getenv("QUILLON_TEST_SESSION"))
            GTEST_SKIP() << "not inside tests/integration/desktop-session";
        if (const char* missing = std::getenv("QUILLON_SESSION_MISSING"); missing && *missing)
            GTEST_SKIP() << "the desktop session lacks: " << missing;
        display_ = XOpenDisplay(nullptr);
        ASSERT_NE(display_, nullptr);
        // The desktop's accessibility switched on, as a user of dictation has it.
        accessibility_.enableAccessibility();
        startSoundServer();
        if (HasFatalFailure()) return;

        field_ = std::make_unique<TestApplication>(QUILLON_GTK_FIXTURE, std::vector<std::string>{});
        ASSERT_EQ(field_->readLine(60s), "ready");

        // A runtime folder others may read is refused by Qt, which then takes a shared one: the
        // one-Quillon lock there would meet the Quillon of another test session.
        std::filesystem::permissions(home_.path(), std::filesystem::perms::owner_all);
        // A tap is a press shorter than this; long enough that a loaded machine's late key event
        // cannot turn the test's tap into a hold.
        std::filesystem::create_directories(home_.path() / "config" / "Quillon");
        std::ofstream(home_.path() / "config" / "Quillon" / "Quillon.conf")
            << "[General]\ndoubleTapThreshold=1.5\n";
        std::vector<std::string> command{"XDG_CONFIG_HOME=" + (home_.path() / "config").string(),
                                         "XDG_RUNTIME_DIR=" + home_.path().string()};
        for (const auto& [name, value] : soundServer_) command.push_back(name + "=" + value);
        command.push_back(QUILLON_BINARY);
        quillon_ = std::make_unique<TestApplication>("/usr/bin/env", command, true);
        // The model is read and a decoder made in the background after launch: a user may press
        // the hotkey meanwhile, but a test that does competes for the two cores with it.
        ASSERT_TRUE(waitForLog("Speech recognition is ready", 60s));
        focus("plain");
    }

    void TearDown() override {
        if (HasFailure()) {
            // What it logged after the last line waited for too.
            while (quillon_) {
                auto line = quillon_->readLine(500ms);
                if (!line) break;
                seen_.push_back(*line);
            }
            for (const auto& line : seen_) std::fprintf(stderr, "quillon: %s\n", line.c_str());
        }
        quillon_.reset();
        field_.reset();
        if (display_) {
            // A test that stopped half-way must not leave the chord held for the tests after it.
            chord(false);
            XCloseDisplay(display_);
        }
    }

    // Quillon and the test's speech use the session's sound server unless a test starts its own.
    virtual void startSoundServer() {}

    // Gives the fixture's window the focus and `widget` within it, and waits until the desktop's
    // accessibility bus reports that widget focused.
    void focus(const std::string& widget) {
        const int pid = field_->pid();
        ASSERT_TRUE(poll([&] { return applications_.activate(pid); }, 60s));
        ASSERT_TRUE(poll([&] { return applications_.frontmostProcessIdentifier() == pid; }));
        ASSERT_EQ(field_->ask("focus " + widget), "ok");
        ASSERT_TRUE(poll([&] { return focusedEntry() != nullptr; }));
    }

    ElementRef focusedEntry() {
        const ElementRef application = accessibility_.applicationElement(field_->pid());
        const ElementRef focused = application ? accessibility_.focusedElement(application) : nullptr;
        return focused && accessibility_.role(focused) == AccessibilityRole::textField ? focused : nullptr;
    }

    // Waits for a line of Quillon's log holding `text`, reading past the lines before it.
    bool waitForLog(const std::string& text, std::chrono::seconds timeout = 30s) {
        return waitForLog({text}, timeout);
    }
    // The same for a line holding any of `texts`.
    bool waitForLog(std::initializer_list<std::string_view> texts, std::chrono::seconds timeout = 30s) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        const auto holdsOne = [&](const std::string& line) {
            return std::ranges::any_of(
                texts, [&](std::string_view text) { return line.find(text) != std::string::npos; });
        };
        for (;;) {
            if (std::ranges::any_of(lines_, holdsOne)) {
                lines_.clear();
                return true;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left <= 0ms) return false;
            if (auto line = quillon_->readLine(left)) {
                lines_.push_back(*line);
                seen_.push_back(*line);
            }
        }
    }

    void key(KeySym symbol, bool down) {
        XTestFakeKeyEvent(display_, XKeysymToKeycode(display_, symbol), down ? True : False, CurrentTime);
        XSync(display_, False);
    }
    void chord(bool down) {
        key(down ? XK_Control_L : XK_Super_L, down);
        key(down ? XK_Super_L : XK_Control_L, down);
    }

    // Plays `wav` into the virtual microphone, to its end.
    void speak(const std::filesystem::path& wav) {
        EXPECT_EQ(runProcess({"paplay", "--device=microphone", wav.string()}, soundServer_).exitCode, 0);
    }

    // The field's text, asked of the application itself: one line, where reading it over the
    // accessibility bus walks the window's tree, beside Quillon's own calls, every 20 ms.
    std::string fieldText() {
        const std::string dump = field_->ask("dump plain").value_or("");
        return dump.starts_with("plain=") ? dump.substr(6) : "<no field>";
    }

    std::vector<std::string> recordingsLeft() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(home_.path())) {
            const std::string name = entry.path().filename().string();
            if (name.starts_with("recording_")) found.push_back(name);
        }
        return found;
    }

    testing::ScratchDirectory home_;
    ManualScheduler logQueue_;
    testing::TestLog log_{logQueue_};
    RunningApplicationsX11 applications_;
    AccessibilityAtspi accessibility_{applications_, log_.logger(LogCategory::insertion)};
    Display* display_ = nullptr;
    std::unique_ptr<TestApplication> field_;
    std::unique_ptr<TestApplication> quillon_;
    std::map<std::string, std::string> soundServer_;  // PULSE_SERVER when the test has its own
    std::vector<std::string> lines_;                  // since the last line waited for
    std::vector<std::string> seen_;                   // all of it, shown when a test fails
};

TEST_F(DictationProgram, HoldingOrTappingTheChordDictatesIntoTheFocusedFieldAndKeepsNoAudio) {
    const std::string said = "please call my mother tomorrow morning the weather is nice today";
    const auto speech = testing::media("both.wav");
    // The same speech reaches Quillon through the sound server, resampled twice on the way, so one
    // word more or less than the decoder on the file itself is the margin.
    const double reference = wordErrorRate(said, referenceDecode(speech)) + 1.0 / words(said).size();

    // Held, the words arrive while the chord is down and the rest once it is let go; tapped, a short
    // press starts a recording that the next press stops.
    for (const bool tapped : {false, true}) {
        SCOPED_TRACE(tapped ? "tapped" : "held");
        ASSERT_EQ(field_->ask("load plain /dev/null"), "ok");
        chord(true);
        if (tapped) chord(false);
        ASSERT_TRUE(waitForLog("Recording started ("));
        speak(speech);
        if (tapped) chord(true);
        chord(false);
        ASSERT_TRUE(waitForLog("Transcription complete", 60s));
        // The last phrase is inserted after the transcript is complete.
        std::string heard;
        EXPECT_TRUE(poll(
            [&] {
                heard = fieldText();
                return wordErrorRate(said, heard) <= reference + 1e-9;
            },
            10s))
            << "heard \"" << heard << "\", allowed " << reference;
    }
    EXPECT_TRUE(poll([&] { return recordingsLeft().empty(); }));
}

TEST_F(DictationProgram, WordsThatFindNoFieldAreLeftOnTheClipboard) {
    chord(true);
    ASSERT_TRUE(waitForLog("Recording started ("));
    // The focus moves to a button while the user speaks: the text has nowhere to go.
    ASSERT_EQ(field_->ask("focus button"), "ok");
    speak(testing::media("call.wav"));
    chord(false);
    ASSERT_TRUE(waitForLog("Transcription complete", 60s));
    std::string clipboard;
    EXPECT_TRUE(poll([&] {
        clipboard = runProcess({"xclip", "-o", "-selection", "clipboard"}).out;
        return words(clipboard).size() >= 2;
    })) << "clipboard \""
        << clipboard << "\"";
    EXPECT_EQ(fieldText(), "");
    EXPECT_TRUE(poll([&] { return recordingsLeft().empty(); }));
}

// A sound server of the test's own, made like the session's (a microphone sink fed silence all
// along, whose monitor is the default source), so that killing it leaves the session's server to
// the tests after this one.
class DictationProgramOnItsOwnSoundServer : public DictationProgram {
protected:
    void startSoundServer() override {
        const auto folder = home_.path() / "sound-server";
        std::filesystem::create_directories(folder);
        std::ofstream(folder / "default.pa")
            << "load-module module-native-protocol-unix socket=" << (folder / "native").string()
            << " auth-anonymous=1\n"
               "load-module module-null-sink sink_name=speakers\n"
               "load-module module-null-sink sink_name=microphone\n"
               "load-module module-remap-source source_name=mic master=microphone.monitor\n"
               "set-default-sink speakers\nset-default-source mic\n";
        soundServer_["PULSE_SERVER"] = "unix:" + (folder / "native").string();
        server_ = std::make_unique<TestApplication>(
            "/usr/bin/env",
            std::vector<std::string>{"XDG_RUNTIME_DIR=" + folder.string(),
                                     // no session bus: the session's own server holds the name there
                                     "DBUS_SESSION_BUS_ADDRESS=unix:path=" + (folder / "no-bus").string(),
                                     "pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1",
                                     "--use-pid-file=no", "-F", (folder / "default.pa").string()},
            true);
        ASSERT_TRUE(poll([&] { return runProcess({"pactl", "info"}, soundServer_).exitCode == 0; }));
        microphoneFeed_ = std::make_unique<TestApplication>(
            "/usr/bin/env",
            std::vector<std::string>{"PULSE_SERVER=" + soundServer_["PULSE_SERVER"], "/bin/sh", "-c",
                                     "exec pacat --playback --device=microphone --raw --format=s16le "
                                     "--rate=48000 --channels=1 --latency-msec=20 </dev/zero"},
            true);
    }

    void TearDown() override {
        DictationProgram::TearDown();
        microphoneFeed_.reset();
        server_.reset();
    }

    std::unique_ptr<TestApplication> server_;
    std::unique_ptr<TestApplication> microphoneFeed_;
};

TEST_F(DictationProgramOnItsOwnSoundServer, ASoundServerThatDiesMidDictationEndsItInErrorAndKeepsTheWords) {
    // The second sentence ends with the sound server: no silence after it tells the recogniser
    // that it is over.
    const auto cutShort = home_.path() / "weather-cut-short.wav";
    ASSERT_EQ(
        runProcess({"sox", testing::media("weather.wav").string(), cutShort.string(), "trim", "0", "-0.8"})
            .exitCode,
        0);
    chord(true);
    chord(false);
    ASSERT_TRUE(waitForLog("Recording started ("));
    speak(testing::media("call.wav"));
    std::string recognised;
    ASSERT_TRUE(poll(
        [&] {
            recognised = fieldText();
            return words(recognised).size() >= 3;
        },
        60s))
        << "heard \"" << recognised << "\"";

    speak(cutShort);
    server_->signal(SIGKILL);
    ASSERT_TRUE(server_->waitForExit(10s));
    // The tray's error state, with the product's words for it.
    EXPECT_TRUE(waitForLog("Recording error: The connection to the sound server was lost."));
    // What was heard before the server went is still recognised: after the first sentence in the
    // field or, should the field not take it, on the clipboard.
    std::string field, clipboard;
    EXPECT_TRUE(poll(
        [&] {
            field = fieldText();
            clipboard = runProcess({"xclip", "-o", "-selection", "clipboard"}).out;
            return field.starts_with(recognised) &&
                   (words(field).size() >= words(recognised).size() + 2 || words(clipboard).size() >= 2);
        },
        60s))
        << "field \"" << field << "\" after \"" << recognised << "\", clipboard \"" << clipboard << "\"";
    EXPECT_TRUE(poll([&] { return recordingsLeft().empty(); }));

    // Still listening: the next press ends at once in the error state (no sound server; or no
    // field, should the field's application not answer in time).
    chord(true);
    chord(false);
    EXPECT_TRUE(waitForLog({"Failed to start recording: ", "Could not bind recording"}));
}

}  // namespace
}  // namespace quillon
