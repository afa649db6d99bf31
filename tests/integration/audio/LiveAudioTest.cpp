// The live audio sources against a real PulseAudio server: the private one of the test desktop
// session, and for the server's death a second private one that the test starts and kills.
//
// Each test application plays an espeak-ng sentence mixed with a quiet pilot tone of its own, so
// what a capture heard is measured by the tone's amplitude (Goertzel), not guessed.

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "DesktopPrograms.h"
#include "DesktopSession.h"
#include "SpeechTestFiles.h"
#include "core/audio/LiveAudioCaptureController.h"
#include "core/audio/LiveAudioFileRecorder.h"
#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"
#include "platform/linux/apps/DesktopEntryIndex.h"
#include "platform/linux/audio/AudioCapturePulse.h"
#include "platform/linux/audio/SystemAudioProcessesPulse.h"
#include "platform/linux/audio/SystemAudioTapPulse.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/base/TemporaryFilesPosix.h"
#include "platform/linux/media/AudioFileWriterFFmpeg.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::TestApplication;

constexpr double alphaTone = 440.0;
constexpr double bravoTone = 1300.0;
constexpr double laterTone = 1900.0;
constexpr double microphoneTone = 700.0;
constexpr auto patience = 20s;  // the longest any event may take before the test gives up

int run(const std::string& command) { return std::system(command.c_str()); }

// Everything a source delivered, with a wait for "enough".
class Collector {
public:
    void add(std::span<const std::byte> block) {
        std::lock_guard lock(mutex_);
        const std::size_t old = samples_.size();
        samples_.resize(old + block.size() / 2);
        std::memcpy(samples_.data() + old, block.data(), (block.size() / 2) * 2);
        changed_.notify_all();
    }
    void fail(const AudioCaptureError& error) {
        std::lock_guard lock(mutex_);
        errors_.push_back(error);
        changed_.notify_all();
    }
    // Waits until `count` more samples than now have arrived; returns them.
    std::vector<std::int16_t> next(std::size_t count) {
        std::unique_lock lock(mutex_);
        const std::size_t from = samples_.size();
        changed_.wait_for(lock, patience, [&] { return samples_.size() >= from + count; });
        if (samples_.size() < from + count) return {};
        return {samples_.begin() + static_cast<std::ptrdiff_t>(from),
                samples_.begin() + static_cast<std::ptrdiff_t>(from + count)};
    }
    bool waitForError() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [&] { return !errors_.empty(); });
    }
    std::vector<AudioCaptureError> errors() {
        std::lock_guard lock(mutex_);
        return errors_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::int16_t> samples_;
    std::vector<AudioCaptureError> errors_;
};

// The amplitude of one frequency in 48000 Hz samples (Goertzel), in sample units.
double toneAmplitude(const std::vector<std::int16_t>& samples, double frequency) {
    if (samples.empty()) return 0;
    const double w = 2.0 * M_PI * frequency / 48000.0;
    const double coefficient = 2.0 * std::cos(w);
    double s1 = 0, s2 = 0;
    for (auto sample : samples) {
        const double s0 = sample + coefficient * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    const double power = s1 * s1 + s2 * s2 - coefficient * s1 * s2;
    return 2.0 * std::sqrt(std::max(power, 0.0)) / static_cast<double>(samples.size());
}

// The typical amplitude of one frequency over 100 ms windows: the median, so that windows a late
// source was padded in (the test server's null sinks fall behind the clock on a loaded machine)
// do not count.
double typicalToneAmplitude(const std::vector<std::int16_t>& samples, double frequency) {
    std::vector<double> amplitudes;
    for (std::size_t at = 0; at + 4800 <= samples.size(); at += 4800) {
        amplitudes.push_back(toneAmplitude({samples.begin() + static_cast<std::ptrdiff_t>(at),
                                            samples.begin() + static_cast<std::ptrdiff_t>(at + 4800)},
                                           frequency));
    }
    if (amplitudes.empty()) return 0;
    std::sort(amplitudes.begin(), amplitudes.end());
    return amplitudes[amplitudes.size() / 2];
}

class LiveAudioTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        scratch_ = std::make_unique<testing::ScratchDirectory>();
        directory_ = scratch_->path();
        makeVoice("alpha", "The quick brown fox jumps over the lazy dog.", alphaTone);
        makeVoice("bravo", "Please call Stella and ask her to bring these things.", bravoTone);
        makeVoice("later", "A new video starts playing now.", laterTone);
        makeVoice("microphone", "Testing the microphone one two three.", microphoneTone);
    }
    static void TearDownTestSuite() { scratch_.reset(); }

    // Twelve seconds: the sentence, repeated, over a steady tone of amplitude 0.1.
    static void makeVoice(const std::string& name, const std::string& sentence, double tone) {
        const auto base = (directory_ / name).string();
        ok_ = ok_ && run("espeak-ng -w '" + base + "-speech.wav' '" + sentence + "' >/dev/null 2>&1") == 0 &&
              run("sox '" + base + "-speech.wav' -r 48000 -c 1 '" + base + "-long.wav' repeat 5 trim 0 12 >/dev/null 2>&1") == 0 &&
              run("sox -n -r 48000 -c 1 '" + base + "-tone.wav' synth 12 sine " + std::to_string(tone) +
                  " vol 0.2 >/dev/null 2>&1") == 0 &&
              run("sox -m '" + base + "-long.wav' '" + base + "-tone.wav' '" + base + ".wav' >/dev/null 2>&1") == 0;
    }
    static fs::path voice(const std::string& name) { return directory_ / (name + ".wav"); }

    void SetUp() override {
        if (const auto why = testing::sessionLacks({"sound server"}); !why.empty()) GTEST_SKIP() << why;
        ASSERT_TRUE(ok_) << "espeak-ng and sox could not make the test voices";
    }

    // Plays a file into a sink under an application name, as a separate program would, and waits
    // until the source list shows it playing.
    std::unique_ptr<TestApplication> play(const std::string& name, const std::string& application,
                                          const std::string& sink = "speakers") {
        auto player = std::make_unique<TestApplication>(
            "paplay", std::vector<std::string>{"--client-name=" + application, "--device=" + sink,
                                               "--latency-msec=20", voice(name).string()});
        EXPECT_TRUE(testing::pollUntil(
            [&] {
                return std::ranges::any_of(processes_.processes(), [&](const auto& p) {
                    return p.applicationIdentifier == application && p.isRunningOutput;
                });
            },
            patience))
            << application << " never played";
        return player;
    }

    // A tap whose blocks and errors go to `heard`.
    struct Tap {
        explicit Tap(DesktopEntryIndex& index) : tap(index) {
            tap.setOnPCM16Data([this](std::span<const std::byte> block) { heard.add(block); });
            tap.setOnError([this](const AudioCaptureError& e) { heard.fail(e); });
        }
        Collector heard;
        SystemAudioTapPulse tap;
    };

    // The live capture as the application wires it, its output and errors going to `heard`.
    struct Capture {
        explicit Capture(DesktopEntryIndex& index) : tap(index) {
            controller.onPCM16Data = [this](std::span<const std::byte> block) { heard.add(block); };
            controller.onError = [this](const AudioCaptureError& e) { heard.fail(e); };
        }
        Collector heard;
        SerialQueue main{"com.lanternmoth.Quillon.test-main"};
        SerialQueue mixerQueue{"com.lanternmoth.Quillon.live-audio-mixer"};
        AudioCapturePulse microphone;
        SystemAudioTapPulse tap;
        LiveAudioCaptureController controller{main, mixerQueue, microphone, tap};
    };

    static inline std::unique_ptr<testing::ScratchDirectory> scratch_;
    static inline fs::path directory_;
    static inline bool ok_ = true;
    DesktopEntryIndex index_;
    SystemAudioProcessesPulse processes_{index_};
};

constexpr double toneLevel = 0.1 * 32767;  // each voice file's tone after sox's mix
// A tone that is not there: the speech of the streams that are heard has some energy at every
// frequency, up to about 90 at one second of two voices at once; a stream that leaked in would
// bring its whole tone, some 3300.
constexpr double absentToneLevel = toneLevel * 0.1;

TEST_F(LiveAudioTest, AllSystemAudioOrOneApplicationAloneAlsoThroughSinkInputsItOpensLater) {
    auto alpha = play("alpha", "Alpha Player");
    auto bravo = play("bravo", "Bravo Player");
    std::vector<std::string> names;
    for (const auto& p : processes_.processes()) names.push_back(p.applicationName);
    EXPECT_NE(std::ranges::find(names, "Alpha Player"), names.end());
    EXPECT_NE(std::ranges::find(names, "Bravo Player"), names.end());
    {
        Tap everything(index_);
        ASSERT_TRUE(everything.tap.start(std::nullopt));
        const auto all = everything.heard.next(48000);
        EXPECT_GT(toneAmplitude(all, alphaTone), toneLevel * 0.7);
        EXPECT_GT(toneAmplitude(all, bravoTone), toneLevel * 0.7);
    }

    Tap one(index_);
    ASSERT_TRUE(one.tap.start("Alpha Player"));
    const auto first = one.heard.next(48000);
    ASSERT_EQ(first.size(), 48000u);
    EXPECT_GT(toneAmplitude(first, alphaTone), toneLevel * 0.7);
    EXPECT_LT(toneAmplitude(first, bravoTone), absentToneLevel);

    // The same application opens a second stream: it is attached and heard too.
    auto later = play("later", "Alpha Player");
    ASSERT_TRUE(testing::pollUntil([&] { return one.tap.attachedCount() == 2; }, patience));
    one.heard.next(9600);  // let the new stream's first fragments through
    const auto both = one.heard.next(48000);
    EXPECT_GT(toneAmplitude(both, alphaTone), toneLevel * 0.7);
    EXPECT_GT(toneAmplitude(both, laterTone), toneLevel * 0.7);
    EXPECT_LT(toneAmplitude(both, bravoTone), absentToneLevel);

    // The application quits: its streams are detached, and that is no error.
    alpha.reset();
    later.reset();
    ASSERT_TRUE(testing::pollUntil([&] { return one.tap.attachedCount() == 0; }, patience));
    one.tap.stop();
    EXPECT_TRUE(one.heard.errors().empty());

    // An application that plays nothing cannot be chosen.
    auto refused = one.tap.start("Alpha Player");
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, AudioCaptureError::Kind::applicationUnavailable);
}

TEST_F(LiveAudioTest, OneApplicationMovedToAnotherOutputIsStillHeard) {
    auto mover = play("alpha", "Mover Player");
    Tap one(index_);
    ASSERT_TRUE(one.tap.start("Mover Player"));
    ASSERT_EQ(one.heard.next(9600).size(), 9600u);

    // As a user would in the sound settings: the player's stream goes to the other output.
    ASSERT_EQ(run("pactl move-sink-input \"$(pactl list sink-inputs | awk '/^Sink Input #/ { id = substr($3, 2) } "
                  "/application.name = \"Mover Player\"/ { print id }')\" microphone"),
              0);
    one.heard.next(9600);  // the move and the new stream's first fragments
    const auto after = one.heard.next(48000);
    ASSERT_EQ(after.size(), 48000u) << "nothing heard after the move";
    EXPECT_GT(toneAmplitude(after, alphaTone), toneLevel * 0.7);
    EXPECT_EQ(one.tap.attachedCount(), 1u);
    EXPECT_TRUE(one.heard.errors().empty());
}

TEST_F(LiveAudioTest, MicrophoneMixedWithOneApplicationArrivesAtThreeQuarters) {
    auto alpha = play("alpha", "Alpha Player");
    auto speaker = play("microphone", "Test Speaker", "microphone");
    Capture capture(index_);
    auto& heard = capture.heard;

    // Each source alone first, for its level; then both through the mixer. The first half second
    // after each start is left out: the streams are still getting ready.
    ASSERT_TRUE(capture.controller.start({LiveAudioMode::microphone, std::nullopt, ""}));
    heard.next(24000);
    const auto microphoneAlone = heard.next(96000);
    ASSERT_TRUE(capture.controller.reconfigure({LiveAudioMode::systemAudio, "Alpha Player", "Alpha Player"}));
    heard.next(24000);
    const auto alphaAlone = heard.next(96000);
    ASSERT_TRUE(capture.controller.reconfigure(
        {LiveAudioMode::microphoneAndSystemAudio, "Alpha Player", "Alpha Player"}));
    heard.next(24000);
    const auto mixed = heard.next(96000);
    capture.controller.stop();

    const double microphoneLevel = typicalToneAmplitude(microphoneAlone, microphoneTone);
    const double alphaLevel = typicalToneAmplitude(alphaAlone, alphaTone);
    ASSERT_GT(microphoneLevel, toneLevel * 0.7);
    ASSERT_GT(alphaLevel, toneLevel * 0.7);
    EXPECT_NEAR(typicalToneAmplitude(mixed, microphoneTone) / microphoneLevel, 0.75, 0.06);
    EXPECT_NEAR(typicalToneAmplitude(mixed, alphaTone) / alphaLevel, 0.75, 0.06);
}

// A second, private server that the test kills in the middle of a capture.
TEST_F(LiveAudioTest, AServerThatDiesMidCaptureIsReportedOnceAndStopStillReturns) {
    testing::PrivateSoundServer server(directory_ / "doomed");
    ASSERT_TRUE(server.ready());
    server.feedSilence("speakers");
    const std::string sessionServer = std::getenv("PULSE_SERVER") ? std::getenv("PULSE_SERVER") : "";
    setenv("PULSE_SERVER", server.address().c_str(), 1);
    Capture capture(index_);
    auto started = capture.controller.start({LiveAudioMode::microphoneAndSystemAudio, std::nullopt, ""});
    setenv("PULSE_SERVER", sessionServer.c_str(), 1);
    ASSERT_TRUE(started) << started.error().description();
    ASSERT_EQ(capture.heard.next(9600).size(), 9600u);

    ASSERT_TRUE(server.kill());
    ASSERT_TRUE(capture.heard.waitForError());
    capture.controller.stop();
    const auto errors = capture.heard.errors();
    ASSERT_EQ(errors.size(), 1u);  // both sources failed; the capture reports once
    EXPECT_EQ(errors[0].kind, AudioCaptureError::Kind::connectionLost);
    EXPECT_FALSE(capture.controller.isRunning());
}

TEST_F(LiveAudioTest, ATenSecondRecordingPlaysBackForTenSeconds) {
    auto alpha = play("alpha", "Alpha Player");
    SerialQueue main("com.lanternmoth.Quillon.test-main");
    SerialQueue fileQueue("com.lanternmoth.Quillon.live-audio-file-recorder");
    AudioFileWriterFFmpeg files;
    ManualScheduler logQueue;
    testing::TestLog log(logQueue);
    TemporaryFilesPosix temporaryFiles(directory_.string(), directory_, log.logger(LogCategory::audio));
    LiveAudioFileRecorder recorder(main, fileQueue, files, temporaryFiles);
    SystemAudioTapPulse tap(index_);
    Collector heard;
    std::size_t fed = 0;
    tap.setOnPCM16Data([&](std::span<const std::byte> block) {
        if (fed >= 480000) return;
        const auto part = block.first(std::min(block.size(), (480000 - fed) * 2));
        recorder.appendPCM16(part);
        fed += part.size() / 2;
        heard.add(part);
    });
    ASSERT_TRUE(recorder.start());
    ASSERT_TRUE(tap.start(std::nullopt));
    ASSERT_EQ(heard.next(480000).size(), 480000u);
    tap.stop();  // the stream ends as it is, with no fade or flush of its own

    std::promise<std::optional<fs::path>> finished;
    recorder.finish([&](std::optional<fs::path> path) { finished.set_value(path); });
    auto recorded = finished.get_future();
    ASSERT_EQ(recorded.wait_for(patience), std::future_status::ready);
    const auto path = recorded.get();
    ASSERT_TRUE(path.has_value());
    const fs::path& file = *path;
    EXPECT_EQ(fs::status(file).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);

    const auto probe = testing::runProcess({"ffprobe", "-v", "error", "-show_entries", "format=duration:stream=codec_name",
                                            "-of", "default=nw=1", file.string()});
    ASSERT_EQ(probe.exitCode, 0) << probe.err;
    const std::string& output = probe.out;
    EXPECT_NE(output.find("codec_name=aac"), std::string::npos) << output;
    const auto at = output.find("duration=");
    ASSERT_NE(at, std::string::npos) << output;
    EXPECT_NEAR(std::stod(output.substr(at + 9)), 10.0, 0.05) << output;
    fs::remove(file);
}

}  // namespace
}  // namespace quillon
