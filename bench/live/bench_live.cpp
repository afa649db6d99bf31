// One recogniser update applied to a live transcript of 100,000 characters: the merge with the
// user's edits, the model, and the notice to the running summary, which is open and has already
// summarised the transcript (the steady state of a long session). Target: at most 1 ms each.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "core/base/ManualScheduler.h"
#include "core/codex/CodexAppServerClient.h"
#include "core/live/LiveTranscriptCoordinator.h"
#include "fakes/FakeTemporaryFiles.h"
#include "fakes/FakeAudioCapture.h"
#include "fakes/FakeAudioFileWriter.h"
#include "fakes/FakeBackgroundJobs.h"
#include "fakes/FakeCodexAppServer.h"
#include "fakes/FakeFileMover.h"
#include "fakes/FakeHostEnvironment.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLiveTranscriptWindow.h"
#include "fakes/FakeSaveDialog.h"
#include "fakes/FakeSpeechSessionFactory.h"
#include "fakes/FakeUrlOpener.h"
#include "fakes/FakeWallClock.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t transcriptCharacters = 100'000;
const std::string sentence = "This is a line of plain dictated English text, with commas and a full stop. ";

struct SilentStatus final : DictationStatus {
    void updateState(AppState) override {}
    void addTranscription(const std::string&) override {}
};

// A listening coordinator on fakes whose summary runs against a scripted Codex app server.
struct LiveWorld {
    LiveWorld() {
        host.vars = {{"HOME", (std::filesystem::temp_directory_path() / "quillon-bench-live-home").string()},
                     {"PATH", "/usr/bin:/bin"}};
        host.executables = {"/usr/bin/codex"};
        server.answeringHandshake().withAccount("chatgpt").answeringThreads().completingTurnsWith(
            R"({"markdown":"# Summary"})");
        coordinator.toggleSummary();
        main.runUntilIdle();
        coordinator.start();
    }

    // The session's committed text becomes `text`; applied on the main thread as the hop would.
    void apply(const std::string& text) { coordinator.apply(TranscriptionUpdate{text, "and then", true}); }

    // Lets the summary catch up with the transcript, as it does every 30 seconds.
    void summarise() {
        main.advance(LiveSummaryCoordinator::throttle);
        main.runUntilIdle();
    }

    ManualScheduler main;
    ManualScheduler mixerQueue;
    ManualScheduler fileQueue;
    ManualScheduler logQueue;
    testing::FakeAudioCapture microphone;
    testing::FakeSystemAudioTap tap;
    LiveAudioCaptureController capture{main, mixerQueue, microphone, tap};
    testing::FakeAudioFileWriterFactory files;
    testing::FakeTemporaryFiles temporaryFiles;
    LiveAudioFileRecorder fileRecorder{main, fileQueue, files, temporaryFiles};
    testing::FakeSpeechSessionFactory sessions;
    testing::FakeKeyValueStore store;
    SilentStatus status;
    LiveTranscriptActivity activity;
    testing::FakeLiveTranscriptWindows windows;
    testing::FakeUrlOpener urls;
    testing::FakeHostEnvironment host;
    testing::FakeCodexAppServer server;
    testing::TestLog log{logQueue};
    testing::FakeSaveDialog saveDialog;
    testing::FakeFileMover fileMover;
    testing::FakeBackgroundJobs jobs;
    testing::FakeWallClock clock;
    TranscriptCleanupService cleanup{main, [this] { return CodexAppServerClient::make({main, server.factory(), host}); }};
    LiveTranscriptCoordinator coordinator{
        {main, capture, fileRecorder, sessions, store, status, activity, [] { return false; }, windows.factory(),
         [this]() -> std::expected<std::shared_ptr<CodexAppServerClient>, CodexAppServerError> {
             return CodexAppServerClient::make({main, server.factory(), host});
         },
         urls, saveDialog, fileMover, jobs, clock, cleanup},
        log.logger(LogCategory::app)};
};

// Where the user edited the transcript before the updates (absent: no edit), in characters.
void updateAt100kChars(benchmark::State& state, std::optional<std::size_t> editAt) {
    LiveWorld world;
    std::string source;
    while (source.size() < transcriptCharacters) source += sentence;
    world.apply(source);
    if (editAt) {
        std::string edited = world.coordinator.model().committedText();
        edited.insert(*editAt, "[edited] ");
        world.coordinator.editCommittedTranscript(edited);
    }
    world.summarise();
    if (world.coordinator.model().summaryMarkdown().empty()) state.SkipWithError("the summary did not run");

    for (auto _ : state) {
        source += "word ";  // the recogniser committed one more word
        world.apply(source);
    }
    state.counters["transcript_chars"] = static_cast<double>(world.coordinator.model().committedText().size());
}

// The transcript grows by five characters per iteration: a fixed count keeps it near 100,000.
BENCHMARK_CAPTURE(updateAt100kChars, NoEdit, std::nullopt)->Unit(benchmark::kMicrosecond)->Iterations(2000);
BENCHMARK_CAPTURE(updateAt100kChars, EditNearStart, 1'000)->Unit(benchmark::kMicrosecond)->Iterations(2000);
BENCHMARK_CAPTURE(updateAt100kChars, EditNearEnd, 99'000)->Unit(benchmark::kMicrosecond)->Iterations(2000);

}  // namespace
}  // namespace quillon
