// Dictation's speed and memory as a user meets them: the real quillon program on the desktop
// session, a GTK field with the focus, the Control+Super chord pressed through XTest and speech
// played into the session's virtual microphone (the sink "microphone"). Run it inside
// tests/integration/desktop-session. It prints:
//   - the hotkey going down to the first captured microphone sample: the press goes through the
//     hotkey, the focus search over the accessibility bus and the recorder's start; the first
//     block is seen as the first write of the recording file (the audio thread wakes its writer
//     with each block, so this is within a queue hop of the capture);
//   - the end of an utterance to its text in the field, beyond the endpointer's silence window:
//     the last speech sample played is paplay's end less the file's trailing silence, the text's
//     arrival is the field's last change, read from the application itself every 20 ms while the
//     speech plays (read more often, the application was too busy to answer Quillon in time);
//   - resident memory while idle, with the speech model loaded at launch and without it
//     (QUILLON_SPEECH_AT_LAUNCH=0), and the first dictation's delays either way (a short answer,
//     so that a model still loading when the speech ends would show).
//   - the tray app's own cost while idle after launch: its CPU over a minute.
// The chord is held through each dictation. A press that starts no recording within 5 s is
// counted and shown with Quillon's log. Arguments: the number of later dictations (10) and of
// launches each way (3).
#include <X11/keysym.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "DesktopPrograms.h"
#include "SpeechTestFiles.h"
#include "XTestKeys.h"
#include "common/Figures.h"
#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"
#include "platform/linux/accessibility/AccessibilityAtspi.h"
#include "platform/linux/apps/RunningApplicationsX11.h"

using namespace quillon;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using bench::milliseconds;

namespace {

// The recogniser's silence window after speech (50 frames of 10 ms) before it ends an utterance.
constexpr auto silenceWindow = 500ms;
constexpr int idleSeconds = 60;

// The length of the silence at the end of a 16 kHz WAV file: the samples after the last one above
// 1 % of full scale.
Clock::duration trailingSilence(const std::filesystem::path& wav) {
    const auto samples = testing::readWavSamples(wav);
    const auto last =
        std::ranges::find_if(samples.rbegin(), samples.rend(), [](auto s) { return std::abs(s) > 327; });
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(static_cast<double>(last - samples.rbegin()) / 16000.0));
}

// Sees the first write into a recording file of Quillon's private temporary folder.
class RecordingFileWatch {
public:
    explicit RecordingFileWatch(const std::filesystem::path& runtime) : folder_(runtime / "quillon") {
        fd_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        inotify_add_watch(fd_, runtime.c_str(), IN_CREATE);
        inotify_add_watch(fd_, folder_.c_str(), IN_MODIFY);
    }
    ~RecordingFileWatch() { close(fd_); }

    // The moment a recording file was first written to, or absent after `timeout`.
    std::optional<Clock::time_point> firstWrite(Clock::duration timeout) {
        const auto deadline = Clock::now() + timeout;
        alignas(inotify_event) char buffer[4096];
        while (Clock::now() < deadline) {
            pollfd ready{fd_, POLLIN, 0};
            if (::poll(&ready, 1, 10) <= 0) continue;
            const ssize_t length = read(fd_, buffer, sizeof buffer);
            const auto now = Clock::now();
            for (ssize_t at = 0; at < length;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
                const std::string name = event->len > 0 ? event->name : "";
                // The folder is made with Quillon's first temporary file.
                if ((event->mask & IN_CREATE) && name == "quillon")
                    inotify_add_watch(fd_, folder_.c_str(), IN_MODIFY);
                if ((event->mask & IN_MODIFY) && name.starts_with("recording_")) return now;
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
        return std::nullopt;
    }

private:
    std::filesystem::path folder_;
    int fd_ = -1;
};

// One dictation's figures, in milliseconds; absent when that step did not happen.
struct DictationTimes {
    std::optional<double> toFirstSample;  // absent: the press started no recording within 5 s
    std::optional<double> beyondWindow;
};

class Bench {
public:
    Bench() {
        accessibility_.enableAccessibility();
        field_ = std::make_unique<testing::TestApplication>(QUILLON_GTK_FIXTURE, std::vector<std::string>{});
        field_->readLine(60s);
        // The speech, by flite's slt voice at 16 kHz mono with half a second of silence before it
        // and 0.8 s after: a sentence, and a short answer for the first dictation, where a model
        // still loading would show.
        for (const auto& [name, text] : {std::pair{"sentence", "please call my mother tomorrow morning"},
                                         std::pair{"answer", "yes please"}}) {
            const auto flite = speech_ / (std::string(name) + ".flite.wav");
            const auto wav = speech_ / (std::string(name) + ".wav");
            if (testing::runProcess({"flite", "-voice", "slt", "-t", text, "-o", flite}).exitCode == 0 &&
                testing::runProcess(
                    {"sox", flite, "-r", "16000", "-c", "1", "-b", "16", wav, "pad", "0.5", "0.8"})
                        .exitCode == 0) {
                trailing_[name] = trailingSilence(wav);
            }
        }
    }

    bool ready() const {
        return keys_.ready() && field_ && trailing_.size() == 2 &&
               std::ranges::all_of(trailing_,
                                   [](const auto& entry) { return entry.second > Clock::duration::zero(); });
    }

    // Starts Quillon on a fresh configuration and waits until it has launched.
    bool launch(bool speechAtLaunch, const std::filesystem::path& home) {
        std::map<std::string, std::string> environment;
        if (!speechAtLaunch) environment["QUILLON_SPEECH_AT_LAUNCH"] = "0";
        quillon_ = std::make_unique<testing::QuillonRun>(QUILLON_BINARY, home, "soundFeedbackEnabled=false\n",
                                                         environment);
        home_ = home;
        return quillon_->waitForLog(
            speechAtLaunch ? "Speech recognition is ready" : "Speech recognition is prepared at the first",
            60s);
    }
    // Quits Quillon, counting the accessibility calls to the field's application that ran into the
    // time-out, as its log tells them.
    void quit() {
        timedOutCalls += std::ranges::count_if(quillon_->log(), [](const std::string& line) {
            return line.contains("to answer the accessibility bus");
        });
        quillon_.reset();
    }
    int pid() const { return quillon_->pid(); }

    bool focusField() {
        const int pid = field_->pid();
        return testing::pollUntil(
            [&] {
                applications_.activate(pid);
                if (applications_.frontmostProcessIdentifier() != pid || field_->ask("focus plain") != "ok")
                    return false;
                const ElementRef application = accessibility_.applicationElement(pid);
                const ElementRef focused = application ? accessibility_.focusedElement(application) : nullptr;
                return focused && accessibility_.role(focused) == AccessibilityRole::textField;
            },
            6s);
    }

    // One dictation of `speech` with the chord held throughout; the text is left in the field
    // until the next.
    DictationTimes dictate(const std::string& speech) {
        DictationTimes result;
        field_->ask("load plain /dev/null");
        std::this_thread::sleep_for(500ms);  // a user's pause between dictations
        RecordingFileWatch watch(home_);
        keys_.key(XK_Control_L, true);
        std::this_thread::sleep_for(30ms);  // a hand's chord, one key after the other
        keys_.key(XK_Super_L, true);
        const auto pressed = Clock::now();
        const auto firstSample = watch.firstWrite(5s);
        if (!firstSample || !quillon_->waitForLog("Recording started (", 10s)) {
            printLog(firstSample ? "The recording did not start (no log line)"
                                 : "The recording did not start (no recording file written)");
            keys_.chord(false);
            quillon_->waitForLog("Transcription complete", 10s);
            return result;
        }
        result.toFirstSample = milliseconds(*firstSample - pressed);

        // The speech plays while the field is watched: the text may come before the file's
        // trailing silence has played out. The field's text is read from the application itself;
        // its last change is the utterance's text.
        std::atomic<Clock::rep> played{0};
        std::jthread player([&] {
            testing::runProcess({"paplay", "--device=microphone", speech_ / (speech + ".wav")});
            played = Clock::now().time_since_epoch().count();
        });
        std::string text = "plain=";
        std::optional<Clock::time_point> changed;
        for (const auto started = Clock::now(); Clock::now() - started < 30s;) {
            if (auto dump = field_->ask("dump plain"); dump && *dump != text) {
                text = *dump;
                changed = Clock::now();
            }
            if (played != 0 && changed && Clock::now() - *changed > 3s) break;
            std::this_thread::sleep_for(20ms);
        }
        player.join();
        const auto lastSpeech = Clock::time_point(Clock::duration(played.load())) - trailing_.at(speech);
        if (changed) result.beyondWindow = milliseconds(*changed - lastSpeech - silenceWindow);

        keys_.chord(false);
        quillon_->waitForLog("Transcription complete", 60s);
        if (!changed) printLog("No text reached the field");
        return result;
    }

    long timedOutCalls = 0;

private:
    // `what` went wrong: with Quillon's last 30 lines of log.
    void printLog(const char* what) {
        std::fprintf(stderr, "%s; Quillon's log:\n", what);
        const auto& log = quillon_->log();
        for (auto line = log.size() > 30 ? log.end() - 30 : log.begin(); line != log.end(); ++line)
            std::fprintf(stderr, "  %s\n", line->c_str());
    }

    testing::ScratchDirectory speech_;
    std::filesystem::path home_;
    std::map<std::string, Clock::duration> trailing_;  // each speech file's silence after its last word
    ManualScheduler logQueue_;
    testing::TestLog log_{logQueue_};
    RunningApplicationsX11 applications_;
    AccessibilityAtspi accessibility_{applications_, log_.logger(LogCategory::insertion)};
    testing::XTestKeys keys_;
    std::unique_ptr<testing::TestApplication> field_;
    std::unique_ptr<testing::QuillonRun> quillon_;
};

std::uintmax_t folderSize(const std::filesystem::path& folder) {
    std::uintmax_t total = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, error))
        if (entry.is_regular_file(error)) total += entry.file_size(error);
    return total;
}

void printSpread(const char* what, const std::vector<double>& values, const char* unit = "ms") {
    std::printf("  %s: %s\n", what, bench::spread(values, unit).c_str());
}

}  // namespace

int main(int argc, char** argv) {
    const int runs = argc > 1 ? std::atoi(argv[1]) : 10;
    const int launches = argc > 2 ? std::atoi(argv[2]) : 3;
    Bench bench;
    if (!bench.ready()) {
        std::fputs("Needs the desktop session, flite and sox\n", stderr);
        return 1;
    }
    double load[3] = {};
    getloadavg(load, 3);

    // Each way of loading the model: fresh launches, idle memory, then the first dictation.
    testing::ScratchDirectory root;
    double idleCpu = -1;
    struct Way {
        bool atLaunch;
        std::vector<double> residentMB, toFirstSample, beyondWindow;
    };
    std::vector<Way> ways{{true, {}, {}, {}}, {false, {}, {}, {}}};
    std::vector<double> toFirstSample, beyondWindow;
    int presses = 0, unanswered = 0;
    const auto note = [&](const DictationTimes& times, std::vector<double>& toFirst,
                          std::vector<double>& beyond) {
        ++presses;
        unanswered += !times.toFirstSample;
        if (times.toFirstSample) toFirst.push_back(*times.toFirstSample);
        if (times.beyondWindow) beyond.push_back(*times.beyondWindow);
    };
    for (int launch = 0; launch < launches; ++launch) {
        for (Way& way : ways) {
            const auto home = root / std::to_string(launch * 2 + (way.atLaunch ? 0 : 1));
            if (!bench.launch(way.atLaunch, home) || !bench.focusField()) {
                std::fputs("Quillon did not launch, or the field did not take the focus\n", stderr);
                return 1;
            }
            std::this_thread::sleep_for(5s);  // launch's own work is over
            way.residentMB.push_back(bench::residentMB(bench.pid()));
            // The tray app left alone once, the product's way: no timer, no open stream.
            if (way.atLaunch && launch == 0) {
                const double before = bench::cpuSeconds(bench.pid());
                std::this_thread::sleep_for(std::chrono::seconds(idleSeconds));
                idleCpu = bench::cpuSeconds(bench.pid()) - before;
            }
            note(bench.dictate("answer"), way.toFirstSample, way.beyondWindow);
            // The later dictations of the product's own way.
            if (way.atLaunch && launch == 0) {
                for (int i = 0; i < runs; ++i) note(bench.dictate("sentence"), toFirstSample, beyondWindow);
            }
            bench.quit();
        }
    }
    double loadAfter[3] = {};
    getloadavg(loadAfter, 3);

    std::printf(
        "Dictation in the quillon program (load average %.1f at the start, %.1f at the end); %d of %d "
        "presses started no recording:\n",
        load[0], loadAfter[0], unanswered, presses);
    std::printf("Accessibility calls that ran into the 1.5 s time-out: %ld\n", bench.timedOutCalls);
    std::printf(
        "Idle after launch, model loaded: %.2f s of CPU in %d s; the speech model on disk (en-us, Debian): "
        "%.1f MB\n",
        idleCpu, idleSeconds, static_cast<double>(folderSize("/usr/share/pocketsphinx/model/en-us")) / 1e6);
    std::printf("Later dictations of \"please call my mother tomorrow morning\", model loaded at launch:\n");
    printSpread("hotkey down to the first captured microphone sample", toFirstSample);
    printSpread("end of the utterance to its text in the field, beyond the 500 ms silence window",
                beyondWindow);
    for (const Way& way : ways) {
        std::printf("Speech model %s:\n", way.atLaunch
                                              ? "loaded in the background at launch (the product's way)"
                                              : "loaded at the first dictation (QUILLON_SPEECH_AT_LAUNCH=0)");
        printSpread("resident memory while idle", way.residentMB, "MB");
        printSpread("first dictation after launch, \"yes please\": hotkey down to the first sample",
                    way.toFirstSample);
        printSpread("the same: end of the utterance to its text, beyond the window", way.beyondWindow);
    }
    return 0;
}
