#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/base/ManualScheduler.h"
#include "core/live/LiveTranscriptCoordinator.h"
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
#include "fakes/FakeTemporaryFiles.h"
#include "fakes/FakeUrlOpener.h"
#include "fakes/FakeWallClock.h"
#include "fakes/TestLog.h"

namespace quillon::testing {

inline const LiveAudioConfiguration microphone{};
inline const LiveAudioConfiguration callApp{LiveAudioMode::systemAudio, "chromium", "Chromium"};
inline const AudioCaptureError appGone{AudioCaptureError::Kind::applicationUnavailable, ""};
inline const AudioCaptureError noMicrophone{AudioCaptureError::Kind::noMicrophone, ""};

// What the tray is told.
struct RecordedStatus final : DictationStatus {
    void updateState(AppState state) override { states.push_back(std::move(state)); }
    void addTranscription(const std::string& text) override { transcriptions.push_back(text); }
    std::vector<AppState> states;
    std::vector<std::string> transcriptions;
};

class LiveTranscriptCoordinatorTest : public ::testing::Test {
public:
    LiveTranscriptCoordinatorTest() {
        microphone_.journal = &journal;
        tap.journal = &journal;
        sessions.journal = &journal;
        windows.journal = &journal;
    }

    LiveTranscriptCoordinator& coordinator() {
        if (!coordinator_) {
            coordinator_ = std::make_unique<LiveTranscriptCoordinator>(
                LiveTranscriptCoordinator::Collaborators{
                    main, capture, fileRecorder, sessions, store, status, activity,
                    [this] { return dictationRecording; }, windows.factory(),
                    [] { return std::unexpected(CodexAppServerError::executableNotFound()); }, urls,
                    saveDialog, fileMover, jobs, clock, cleanup},
                log.logger(LogCategory::app));
        }
        return *coordinator_;
    }
    const LiveTranscriptModel& model() { return coordinator().model(); }
    // A new coordinator with no session made yet, for the next case of a table.
    void restart() {
        coordinator_.reset();
        sessions.sessions.clear();
    }

    // A running session whose first update has arrived; the journal starts empty.
    void listen() {
        coordinator().start();
        update(last(), "", "");
        journal.clear();
    }
    std::size_t last() const { return sessions.sessions.size() - 1; }
    FakeSpeechSession& session(std::size_t index) { return *sessions.at(index); }

    // Each arrives the way the session's own thread sends it, then the main thread catches up.
    void update(std::size_t index, std::string committed, std::string provisional = "",
                bool processing = true) {
        session(index).handlers.onUpdate({std::move(committed), std::move(provisional), processing});
        main.runUntilIdle();
    }
    void finished(std::size_t index, const std::string& finalText) {
        session(index).handlers.onFinished(finalText);
        main.runUntilIdle();
    }
    void failed(std::size_t index, const std::string& message) {
        session(index).handlers.onFailure(message);
        main.runUntilIdle();
    }

    ManualScheduler main;
    ManualScheduler mixerQueue;
    ManualScheduler fileQueue;
    ManualScheduler logQueue;
    CallJournal journal;
    FakeAudioCapture microphone_;
    FakeSystemAudioTap tap;
    LiveAudioCaptureController capture{main, mixerQueue, microphone_, tap};
    FakeAudioFileWriterFactory files;
    FakeTemporaryFiles temporaryFiles;
    LiveAudioFileRecorder fileRecorder{main, fileQueue, files, temporaryFiles};
    FakeSpeechSessionFactory sessions;
    FakeKeyValueStore store;
    RecordedStatus status;
    LiveTranscriptActivity activity;
    bool dictationRecording = false;
    FakeLiveTranscriptWindows windows;
    FakeUrlOpener urls;
    TestLog log{logQueue};
    FakeSaveDialog saveDialog;
    FakeFileMover fileMover;
    FakeBackgroundJobs jobs;
    FakeWallClock clock;
    FakeHostEnvironment host;
    FakeCodexAppServer server;
    // The AI cleanup runs its clients on the main queue.
    TranscriptCleanupService cleanup{main, [this] {
                                         return CodexAppServerClient::make({main, server.factory(), host});
                                     }};
    std::unique_ptr<LiveTranscriptCoordinator> coordinator_;
};

}  // namespace quillon::testing
