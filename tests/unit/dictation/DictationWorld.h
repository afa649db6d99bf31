#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "core/tray/MenuBarController.h"
#include "core/base/ManualScheduler.h"
#include "core/dictation/RecordingCoordinator.h"
#include "fakes/FakeDictationHotkey.h"
#include "fakes/FakeDictationRecorder.h"
#include "fakes/FakeFileTranscriber.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeRecordingIndicator.h"
#include "fakes/FakeSoundPlayer.h"
#include "fakes/FakeSpeechSessionFactory.h"
#include "fakes/FakeStatusItem.h"
#include "fakes/FakeTextInsertion.h"
#include "fakes/FakeTranscriptWindows.h"
#include "fakes/TestLog.h"

namespace quillon::testing {

using Calls = std::vector<std::string>;

// A whole dictation world on virtual time: the coordinator with every collaborator faked and
// writing to one journal, a real menu bar controller over a fake tray and clipboard, and chunk
// files in a private directory. The user starts typing in "editor" (process 100).
class DictationWorld : public ::testing::Test {
protected:
    DictationWorld() {
        recorder.journal = hotkey.journal = insertion.journal = sessions.journal = indicator.journal = sounds.journal =
            windows.journal = &journal;
        recorder.directory = std::filesystem::temp_directory_path() / ("quillon-dictation-" + Uuid::random().toString());
        std::filesystem::create_directories(recorder.directory);
        insertion.focused = editor;
        coordinator->setTranscriptWindows(&windows);
    }
    ~DictationWorld() override {
        std::error_code ignored;
        std::filesystem::remove_all(recorder.directory, ignored);
    }

    // Runs the main queue and insertion's worker until neither has anything left to do now.
    void settle() {
        while (main.runUntilIdle() + worker.runUntilIdle() > 0) {
        }
    }
    // Moves virtual time on, letting the worker answer after each timer as a real one would.
    void advance(Duration by) {
        const TimePoint end = main.now() + by;
        settle();
        while (const auto due = main.nextDueTime()) {
            if (*due > end) break;
            main.advance(*due - main.now());
            settle();
        }
        main.advance(end - main.now());
        settle();
    }

    // The hotkey's signals and the n-th session's results, and what the queues make of them.
    void start() {
        hotkey.onStartRecording();
        settle();
    }
    void stop() {
        hotkey.onStopRecording();
        settle();
    }
    void phrase(std::size_t session, const std::string& text) {
        sessions.at(session)->handlers.onPhraseFinalized(text, text);
        settle();
    }
    void finish(std::size_t session, std::expected<std::string, TranscriptionError> result) {
        sessions.at(session)->finish(std::move(result));
        settle();
    }
    AppState state() {
        settle();
        return menu->state();
    }
    std::size_t chunksOnDisk() const {
        return std::ranges::count_if(recorder.chunkFiles, [](const auto& file) { return std::filesystem::exists(file); });
    }
    Calls errors() const { return log.output.messages(LogLevel::error); }

    ManualScheduler main;
    ManualScheduler worker;  // insertion's
    ManualScheduler logQueue;
    TestLog log{logQueue};
    CallJournal journal;
    FakeKeyValueStore store;
    FakeLoginItem loginItem;
    SettingsManager settings{store, loginItem, log.logger(LogCategory::settings)};
    FakeDictationRecorder recorder;
    FakeDictationHotkey hotkey;
    FakeTextInsertion insertion{main, worker};
    FakeSpeechSessionFactory sessions;
    FakeFileTranscriber files;
    FakeRecordingIndicator indicator;
    FakeSoundPlayer sounds;
    LiveTranscriptActivity liveTranscript;
    FakeTranscriptWindows windows;
    FakeStatusItem statusItem;
    FakePasteboard pasteboard;
    std::unique_ptr<MenuBarController> menu =
        std::make_unique<MenuBarController>(main, statusItem, pasteboard, log.logger(LogCategory::app));
    RecordingCoordinator::Collaborators collaborators{
        main, recorder, hotkey, insertion, sessions, files, indicator, sounds, pasteboard, *menu, settings, liveTranscript};
    std::unique_ptr<RecordingCoordinator> coordinator =
        std::make_unique<RecordingCoordinator>(collaborators, log.logger(LogCategory::app));
    std::shared_ptr<FakeTextElement> editor = FakeTextInsertion::field("editor", 100);
    std::shared_ptr<FakeTextElement> notes = FakeTextInsertion::field("notes", 200);
};

}  // namespace quillon::testing
