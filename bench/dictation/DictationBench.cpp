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
// The chord is held through each dictation. A press that starts no recording within 5 s is
// counted and shown with Quillon's log. Arguments: the number of later dictations (10) and of
// launches each way (3).
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
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
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TestApplication.h"
#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"
#include "platform/linux/accessibility/AccessibilityAtspi.h"
#include "platform/linux/apps/RunningApplicationsX11.h"

using namespace quillon;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// The recogniser's silence window after speech (50 frames of 10 ms) before it ends an utterance.
constexpr auto silenceWindow = 500ms;

double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

void printSpread(const char* what, std::vector<double> values, const char* unit = "ms") {
    if (values.empty()) {
        std::printf("  %s: no measurement\n", what);
        return;
    }
    std::ranges::sort(values);
    std::printf("  %s (%zu): median %.0f %s, min %.0f %s, max %.0f %s\n", what, values.size(),
                values[values.size() / 2], unit, values.front(), unit, values.back(), unit);
}

bool run(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

// The length of the silence at the end of a 16-bit mono WAV file: the samples after the last one
// above 1 % of full scale.
Clock::duration trailingSilence(const std::filesystem::path& wav) {
    std::ifstream in(wav, std::ios::binary | std::ios::ate);
    std::string bytes(static_cast<std::size_t>(std::max<std::streamoff>(in.tellg(), 0)), '\0');
    in.seekg(0);
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const auto data = bytes.find("data");
    if (data == std::string::npos) return {};
    const std::size_t first = data + 8;
    const std::size_t count = (bytes.size() - first) / 2;
    std::size_t last = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto sample =
            static_cast<std::int16_t>(static_cast<unsigned char>(bytes[first + 2 * i]) |
                                      static_cast<unsigned char>(bytes[first + 2 * i + 1]) << 8);
        if (std::abs(sample) > 327) last = i;
    }
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>((count - last) / 16000.0));
}

long residentKB(int pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
    return 0;
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

    void discard() {
        alignas(inotify_event) char buffer[4096];
        while (read(fd_, buffer, sizeof buffer) > 0) {
        }
    }

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
    bool answered = false;  // the press started a recording within 5 s
    std::optional<double> toFirstSample;
    std::optional<double> beyondWindow;
};

class Bench {
public:
    Bench()
        : speech_(std::filesystem::temp_directory_path() /
                  ("quillon-dictation-bench-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(speech_);
        display_ = XOpenDisplay(nullptr);
        accessibility_.enableAccessibility();
        field_ = std::make_unique<testing::TestApplication>(QUILLON_GTK_FIXTURE, std::vector<std::string>{});
        field_->readLine(60s);
        // The speech, by flite's slt voice at 16 kHz mono with half a second of silence before it
        // and 0.8 s after: a sentence, and a short answer for the first dictation, where a model
        // still loading would show.
        for (const auto& [name, text] : {std::pair{"sentence", "please call my mother tomorrow morning"},
                                         std::pair{"answer", "yes please"}}) {
            const std::string flite = (speech_ / (std::string(name) + ".flite.wav")).string();
            const std::string wav = (speech_ / (std::string(name) + ".wav")).string();
            run(std::string("flite -voice slt -t '") + text + "' -o " + flite);
            run("sox " + flite + " -r 16000 -c 1 -b 16 " + wav + " pad 0.5 0.8");
            trailing_[name] = trailingSilence(wav);
        }
    }
    ~Bench() {
        quillon_.reset();
        field_.reset();
        if (display_) XCloseDisplay(display_);
        std::filesystem::remove_all(speech_);
    }

    bool ready() const {
        return display_ != nullptr && field_ && trailing_.size() == 2 &&
               std::ranges::all_of(trailing_,
                                   [](const auto& entry) { return entry.second > Clock::duration::zero(); });
    }

    // Starts Quillon on a fresh configuration and waits for `launched` in its log.
    bool launch(bool speechAtLaunch, const std::filesystem::path& home) {
        std::filesystem::create_directories(home / "config" / "Quillon");
        std::filesystem::permissions(home, std::filesystem::perms::owner_all);
        std::ofstream(home / "config" / "Quillon" / "Quillon.conf")
            << "[General]\nsoundFeedbackEnabled=false\n";
        std::vector<std::string> command{"XDG_CONFIG_HOME=" + (home / "config").string(),
                                         "XDG_RUNTIME_DIR=" + home.string()};
        if (!speechAtLaunch) command.push_back("QUILLON_SPEECH_AT_LAUNCH=0");
        command.push_back(QUILLON_BINARY);
        quillon_ = std::make_unique<testing::TestApplication>("/usr/bin/env", command, true);
        home_ = home;
        return waitForLog(
            speechAtLaunch ? "Speech recognition is ready" : "Speech recognition is prepared at the first",
            60s);
    }
    void quit() { quillon_.reset(); }
    int pid() const { return quillon_->pid(); }

    bool focusField() {
        const int pid = field_->pid();
        for (int i = 0; i < 300; ++i) {
            applications_.activate(pid);
            if (applications_.frontmostProcessIdentifier() == pid && field_->ask("focus plain") == "ok") {
                const ElementRef application = accessibility_.applicationElement(pid);
                const ElementRef focused = application ? accessibility_.focusedElement(application) : nullptr;
                if (focused && accessibility_.role(focused) == AccessibilityRole::textField) return true;
            }
            std::this_thread::sleep_for(20ms);
        }
        return false;
    }

    // One dictation of `speech` with the chord held throughout; the text is left in the field
    // until the next.
    DictationTimes dictate(const std::string& speech) {
        DictationTimes result;
        field_->ask("load plain /dev/null");
        std::this_thread::sleep_for(500ms);  // a user's pause between dictations
        RecordingFileWatch watch(home_);
        watch.discard();
        key(XK_Control_L, true);
        std::this_thread::sleep_for(30ms);  // a hand's chord, one key after the other
        key(XK_Super_L, true);
        const auto pressed = Clock::now();
        const auto firstSample = watch.firstWrite(5s);
        if (!firstSample || !waitForLog("Recording started (", 10s)) {
            std::fprintf(stderr, "The recording did not start (%s); Quillon's log:\n",
                         firstSample ? "no log line" : "no recording file written");
            for (const auto& line : seen_) std::fprintf(stderr, "  %s\n", line.c_str());
            release();
            waitForLog("Transcription complete", 10s);
            return result;
        }
        result.answered = true;
        result.toFirstSample = milliseconds(*firstSample - pressed);

        // The speech plays while the field is watched: the text may come before the file's
        // trailing silence has played out. The field's text is read from the application itself;
        // its last change is the utterance's text.
        std::atomic<Clock::rep> played{0};
        std::jthread player([&] {
            run("paplay --device=microphone " + (speech_ / (speech + ".wav")).string());
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

        release();
        waitForLog("Transcription complete", 60s);
        if (!changed) {
            std::fputs("No text reached the field; Quillon's log:\n", stderr);
            for (const auto& line : seen_) std::fprintf(stderr, "  %s\n", line.c_str());
        }
        return result;
    }

private:
    void release() {
        key(XK_Super_L, false);
        key(XK_Control_L, false);
    }

    void key(KeySym symbol, bool down) {
        XTestFakeKeyEvent(display_, XKeysymToKeycode(display_, symbol), down ? True : False, CurrentTime);
        XSync(display_, False);
    }

    bool waitForLog(const std::string& text, std::chrono::seconds timeout) {
        const auto deadline = Clock::now() + timeout;
        while (Clock::now() < deadline) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            auto line = quillon_->readLine(left);
            if (!line) continue;
            if (line->find("to answer the accessibility bus") != std::string::npos) ++timedOutCalls;
            seen_.push_back(*line);
            if (seen_.size() > 30) seen_.erase(seen_.begin());
            if (line->find(text) != std::string::npos) return true;
        }
        return false;
    }

    std::filesystem::path speech_;
    std::filesystem::path home_;
    std::map<std::string, Clock::duration> trailing_;  // each speech file's silence after its last word
public:
    // Accessibility calls to the field's application that ran into the time-out, as Quillon's
    // log tells them.
    static inline int timedOutCalls = 0;

private:
    std::vector<std::string> seen_;                    // Quillon's log, shown when a step fails
    ManualScheduler logQueue_;
    testing::TestLog log_{logQueue_};
    RunningApplicationsX11 applications_;
    AccessibilityAtspi accessibility_{applications_, log_.logger(LogCategory::insertion)};
    Display* display_ = nullptr;
    std::unique_ptr<testing::TestApplication> field_;
    std::unique_ptr<testing::TestApplication> quillon_;
};

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
    const std::filesystem::path root =
        std::filesystem::temp_directory_path() / ("quillon-dictation-bench-home-" + std::to_string(getpid()));
    struct Way {
        bool atLaunch;
        std::vector<double> residentMB, toFirstSample, beyondWindow;
    };
    std::vector<Way> ways{{true, {}, {}, {}}, {false, {}, {}, {}}};
    std::vector<double> toFirstSample, beyondWindow;
    int presses = 0, unanswered = 0;
    const auto count = [&](const DictationTimes& times) {
        ++presses;
        if (!times.answered) ++unanswered;
    };
    for (int launch = 0; launch < launches; ++launch) {
        for (Way& way : ways) {
            const auto home = root / std::to_string(launch * 2 + (way.atLaunch ? 0 : 1));
            if (!bench.launch(way.atLaunch, home) || !bench.focusField()) {
                std::fputs("Quillon did not launch, or the field did not take the focus\n", stderr);
                return 1;
            }
            std::this_thread::sleep_for(5s);  // launch's own work is over
            way.residentMB.push_back(static_cast<double>(residentKB(bench.pid())) / 1024.0);
            const DictationTimes first = bench.dictate("answer");
            count(first);
            if (first.toFirstSample) way.toFirstSample.push_back(*first.toFirstSample);
            if (first.beyondWindow) way.beyondWindow.push_back(*first.beyondWindow);
            // The later dictations of the product's own way.
            if (way.atLaunch && launch == 0) {
                for (int i = 0; i < runs; ++i) {
                    const DictationTimes later = bench.dictate("sentence");
                    count(later);
                    if (later.toFirstSample) toFirstSample.push_back(*later.toFirstSample);
                    if (later.beyondWindow) beyondWindow.push_back(*later.beyondWindow);
                }
            }
            bench.quit();
        }
    }
    std::filesystem::remove_all(root);
    double loadAfter[3] = {};
    getloadavg(loadAfter, 3);

    std::printf(
        "Dictation in the quillon program (load average %.1f at the start, %.1f at the end); %d of %d "
        "presses started no recording:\n",
        load[0], loadAfter[0], unanswered, presses);
    std::printf("Accessibility calls that ran into the 1.5 s time-out: %d\n", Bench::timedOutCalls);
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
