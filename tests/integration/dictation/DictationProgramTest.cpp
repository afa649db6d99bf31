// Dictation as a user meets it: the quillon program running on the desktop session, a GTK field
// with the focus, the Control+Super chord held (or tapped) through XTest, and speech played into
// the session's virtual microphone (the sink "microphone", whose monitor is the default source).
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "DesktopPrograms.h"
#include "DesktopSession.h"
#include "SpeechTestFiles.h"
#include "XTestKeys.h"
#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"
#include "platform/linux/accessibility/AccessibilityAtspi.h"
#include "platform/linux/apps/RunningApplicationsX11.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using testing::pollUntil;
using testing::runProcess;
using testing::TestApplication;
using testing::words;

// Word error rate of `heard` against `said`: the edit distance over words, per word said.
double wordErrorRate(const std::string& said, const std::string& heard) {
    const auto spoken = words(said);
    return static_cast<double>(testing::wordEditDistance(spoken, words(heard))) /
           static_cast<double>(std::max<std::size_t>(spoken.size(), 1));
}

class DictationProgram : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto why = testing::sessionLacks(); !why.empty()) GTEST_SKIP() << why;
        ASSERT_TRUE(keys_.ready());
        // The desktop's accessibility switched on, as a user of dictation has it.
        accessibility_.enableAccessibility();
        startSoundServer();
        if (HasFatalFailure()) return;

        field_ = std::make_unique<TestApplication>(QUILLON_GTK_FIXTURE, std::vector<std::string>{});
        ASSERT_EQ(field_->readLine(60s), "ready");
        // A tap is a press shorter than this; long enough that a loaded machine's late key event
        // cannot turn the test's tap into a hold.
        quillon_ = std::make_unique<testing::QuillonRun>(QUILLON_BINARY, home_.path(),
                                                         "doubleTapThreshold=1.5\n", soundServer_);
        // The model is read and a decoder made in the background after launch: a user may press
        // the hotkey meanwhile, but a test that does competes for the two cores with it.
        ASSERT_TRUE(quillon_->waitForLog("Speech recognition is ready", 60s));

        // The field focused, once the desktop's accessibility bus reports it so.
        const int pid = field_->pid();
        ASSERT_TRUE(pollUntil([&] { return applications_.activate(pid); }, 60s));
        ASSERT_TRUE(pollUntil([&] { return applications_.frontmostProcessIdentifier() == pid; }));
        ASSERT_EQ(field_->ask("focus plain"), "ok");
        ASSERT_TRUE(pollUntil([&] {
            const ElementRef application = accessibility_.applicationElement(pid);
            const ElementRef focused = application ? accessibility_.focusedElement(application) : nullptr;
            return focused && accessibility_.role(focused) == AccessibilityRole::textField;
        }));
    }

    void TearDown() override {
        if (HasFailure() && quillon_) {
            for (const auto& line : quillon_->log()) std::fprintf(stderr, "quillon: %s\n", line.c_str());
        }
        quillon_.reset();
        field_.reset();
        // A test that stopped half-way must not leave the chord held for the tests after it.
        if (keys_.ready()) keys_.chord(false);
    }

    // Quillon and the test's speech use the session's sound server unless a test starts its own.
    virtual void startSoundServer() {}

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

    bool noRecordingLeft() const {
        return std::ranges::none_of(
            std::filesystem::recursive_directory_iterator(home_.path()),
            [](const auto& entry) { return entry.path().filename().string().starts_with("recording_"); });
    }

    testing::ScratchDirectory home_;
    ManualScheduler logQueue_;
    testing::TestLog log_{logQueue_};
    RunningApplicationsX11 applications_;
    AccessibilityAtspi accessibility_{applications_, log_.logger(LogCategory::insertion)};
    testing::XTestKeys keys_;
    std::unique_ptr<TestApplication> field_;
    std::unique_ptr<testing::QuillonRun> quillon_;
    std::map<std::string, std::string> soundServer_;  // PULSE_SERVER when the test has its own
};

TEST_F(DictationProgram, HoldingOrTappingTheChordDictatesIntoTheFocusedFieldAndKeepsNoAudio) {
    const std::string said = "please call my mother tomorrow morning the weather is nice today";
    const auto speech = testing::media("both.wav");
    // The same speech reaches Quillon through the sound server, resampled twice on the way, so one
    // word more or less than the decoder on the file itself is the margin.
    const double reference =
        wordErrorRate(said, testing::referenceDecode(speech).out) + 1.0 / words(said).size();

    // Held, the words arrive while the chord is down and the rest once it is let go; tapped, a short
    // press starts a recording that the next press stops.
    for (const bool tapped : {false, true}) {
        SCOPED_TRACE(tapped ? "tapped" : "held");
        ASSERT_EQ(field_->ask("load plain /dev/null"), "ok");
        keys_.chord(true);
        if (tapped) keys_.chord(false);
        ASSERT_TRUE(quillon_->waitForLog("Recording started ("));
        speak(speech);
        if (tapped) keys_.chord(true);
        keys_.chord(false);
        ASSERT_TRUE(quillon_->waitForLog("Transcription complete", 60s));
        // The last phrase is inserted after the transcript is complete.
        std::string heard;
        EXPECT_TRUE(pollUntil(
            [&] {
                heard = fieldText();
                return wordErrorRate(said, heard) <= reference + 1e-9;
            },
            10s))
            << "heard \"" << heard << "\", allowed " << reference;
    }
    EXPECT_TRUE(pollUntil([&] { return noRecordingLeft(); }));
}

TEST_F(DictationProgram, WordsThatFindNoFieldAreLeftOnTheClipboard) {
    keys_.chord(true);
    ASSERT_TRUE(quillon_->waitForLog("Recording started ("));
    // The focus moves to a button while the user speaks: the text has nowhere to go.
    ASSERT_EQ(field_->ask("focus button"), "ok");
    speak(testing::media("call.wav"));
    keys_.chord(false);
    ASSERT_TRUE(quillon_->waitForLog("Transcription complete", 60s));
    std::string clipboard;
    EXPECT_TRUE(pollUntil([&] {
        clipboard = runProcess({"xclip", "-o", "-selection", "clipboard"}).out;
        return words(clipboard).size() >= 2;
    })) << "clipboard \""
        << clipboard << "\"";
    EXPECT_EQ(fieldText(), "");
    EXPECT_TRUE(pollUntil([&] { return noRecordingLeft(); }));
}

// A sound server of the test's own, its microphone fed silence all along, so that killing it
// leaves the session's server to the tests after this one.
class DictationProgramOnItsOwnSoundServer : public DictationProgram {
protected:
    void startSoundServer() override {
        server_ = std::make_unique<testing::PrivateSoundServer>(home_.path() / "sound-server");
        ASSERT_TRUE(server_->ready());
        server_->feedSilence("microphone");
        soundServer_["PULSE_SERVER"] = server_->address();
    }

    void TearDown() override {
        DictationProgram::TearDown();
        server_.reset();
    }

    std::unique_ptr<testing::PrivateSoundServer> server_;
};

TEST_F(DictationProgramOnItsOwnSoundServer, ASoundServerThatDiesMidDictationEndsItInErrorAndKeepsTheWords) {
    // The second sentence ends with the sound server: no silence after it tells the recogniser
    // that it is over.
    const auto cutShort = home_.path() / "weather-cut-short.wav";
    ASSERT_EQ(
        runProcess({"sox", testing::media("weather.wav").string(), cutShort.string(), "trim", "0", "-0.8"})
            .exitCode,
        0);
    keys_.chord(true);
    keys_.chord(false);
    ASSERT_TRUE(quillon_->waitForLog("Recording started ("));
    speak(testing::media("call.wav"));
    std::string recognised;
    ASSERT_TRUE(pollUntil(
        [&] {
            recognised = fieldText();
            return words(recognised).size() >= 3;
        },
        60s))
        << "heard \"" << recognised << "\"";

    speak(cutShort);
    ASSERT_TRUE(server_->kill());
    // The tray's error state, with the product's words for it.
    EXPECT_TRUE(quillon_->waitForLog("Recording error: The connection to the sound server was lost."));
    // What was heard before the server went is still recognised: after the first sentence in the
    // field or, should the field not take it, on the clipboard.
    std::string field, clipboard;
    EXPECT_TRUE(pollUntil(
        [&] {
            field = fieldText();
            clipboard = runProcess({"xclip", "-o", "-selection", "clipboard"}).out;
            return field.starts_with(recognised) &&
                   (words(field).size() >= words(recognised).size() + 2 || words(clipboard).size() >= 2);
        },
        60s))
        << "field \"" << field << "\" after \"" << recognised << "\", clipboard \"" << clipboard << "\"";
    EXPECT_TRUE(pollUntil([&] { return noRecordingLeft(); }));

    // Still listening: the next press ends at once in the error state (no sound server; or no
    // field, should the field's application not answer in time).
    keys_.chord(true);
    keys_.chord(false);
    EXPECT_TRUE(quillon_->waitForLog({"Failed to start recording: ", "Could not bind recording"}));
}

}  // namespace
}  // namespace quillon
