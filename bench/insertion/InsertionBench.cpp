// Speed of text insertion into a real GTK application on the test desktop:
//   - focusedInsertionElement: median over repeated calls (target: at most 20 ms);
//   - insertText of a phrase on the accessibility path, pauses included (target: at most 150 ms);
//   - per-character typing: time per character (target: the 6 ms pace, no slower).
// A hung application's cost is DesktopFailureTest's to bound.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "DesktopPrograms.h"
#include "common/Figures.h"
#include "core/base/ManualScheduler.h"
#include "core/insertion/TextInserter.h"
#include "core/settings/SettingsManager.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakePasteboard.h"
#include "fakes/TestLog.h"
#include "platform/linux/accessibility/AccessibilityAtspi.h"
#include "platform/linux/apps/RunningApplicationsX11.h"
#include "platform/linux/keyboard/PacerThreadSleep.h"
#include "platform/linux/keyboard/SyntheticKeyboardXTest.h"

using namespace quillon;
using Clock = std::chrono::steady_clock;
using bench::milliseconds;
using testing::pollUntil;

namespace {

// The real running applications, except that the fixture is named like a chat application that
// takes text one character at a time.
class ChatNamedApplications final : public RunningApplications {
public:
    explicit ChatNamedApplications(RunningApplications& real) : real_(real) {}
    std::optional<RunningApplication> applicationWithProcessIdentifier(int pid) override {
        auto application = real_.applicationWithProcessIdentifier(pid);
        if (application && renaming) application->localizedName = "Discord";
        return application;
    }
    std::optional<int> frontmostProcessIdentifier() override { return real_.frontmostProcessIdentifier(); }
    bool activate(int pid) override { return real_.activate(pid); }
    bool renaming = false;

private:
    RunningApplications& real_;
};

// `count` timings of `step` in milliseconds, each divided by `per`; the bench ends at a step that fails.
std::vector<double> timings(int count, const std::function<bool()>& step, double per = 1) {
    std::vector<double> values;
    for (int i = 0; i < count; ++i) {
        const auto start = Clock::now();
        if (!step()) {
            std::fprintf(stderr, "a measured step failed\n");
            std::exit(1);
        }
        values.push_back(milliseconds(Clock::now() - start) / per);
    }
    return values;
}

}  // namespace

int main() {
    ManualScheduler mainQueue;
    testing::TestLog log{mainQueue};
    log.output.setMinimumLevel(LogLevel::error);
    testing::FakeKeyValueStore store;
    testing::FakeLoginItem loginItem;
    SettingsManager settings{store, loginItem, log.logger(LogCategory::settings)};
    settings.setAppendSpaceAfterInsertion(true);
    RunningApplicationsX11 realApplications;
    ChatNamedApplications applications(realApplications);
    AccessibilityAtspi accessibility{applications, log.logger(LogCategory::insertion)};
    SyntheticKeyboardXTest keyboard;
    PacerThreadSleep pacer;
    testing::FakePasteboard pasteboard;
    TextInserter inserter{accessibility, keyboard, pasteboard, applications, pacer,
                          mainQueue,     settings, log.logger(LogCategory::insertion)};
    if (!realApplications.isConnected() || !keyboard.isAvailable() || accessibility.enableAccessibility()) {
        std::fprintf(stderr, "bench_insertion needs the desktop session (tests/integration/desktop-session)\n");
        return 1;
    }

    testing::TestApplication app(QUILLON_GTK_FIXTURE, {});
    if (app.readLine(std::chrono::seconds(20)) != "ready" ||
        !pollUntil([&] { return applications.activate(app.pid()); })) {
        std::fprintf(stderr, "the GTK test program did not start\n");
        return 1;
    }
    app.ask("focus notes");
    if (!pollUntil([&] {
            auto element = inserter.focusedInsertionElement();
            return element && accessibility.processIdentifier(element) == app.pid();
        })) {
        std::fprintf(stderr, "the GTK test program's text view never had the focus\n");
        return 1;
    }

    const auto lookups = timings(100, [&] { return inserter.focusedInsertionElement() != nullptr; });
    const auto insertions = timings(
        15, [&] { return inserter.insertText("the quick brown fox jumps over the lazy dog").has_value(); });
    applications.renaming = true;
    const std::string phrase = "per character typing at its pace";
    const auto perCharacter = timings(
        5, [&] { return inserter.insertText(phrase).has_value(); }, static_cast<double>(phrase.size() + 1));
    app.send("quit");

    std::printf("focusedInsertionElement: %s (target: median <= 20 ms)\n", bench::spread(lookups, "ms", 2).c_str());
    std::printf("insertText of a phrase, accessibility path: %s (target <= 150 ms, pauses 100 ms)\n",
                bench::spread(insertions, "ms", 1).c_str());
    std::printf("per-character typing, a character: %s (pace 6 ms)\n",
                bench::spread(perCharacter, "ms", 2).c_str());
    return 0;
}
