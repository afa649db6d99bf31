#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "core/app/MenuBarController.h"
#include "core/base/ManualScheduler.h"
#include "core/dictation/LiveTranscriptActivity.h"
#include "core/dictation/RecordingCoordinator.h"
#include "core/settings/SettingsManager.h"
#include "fakes/CallJournal.h"
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

// A whole dictation world on virtual time: the coordinator with every collaborator faked, a
// real menu bar controller over a fake tray and clipboard, and chunk files in a private
// temporary directory. The user starts typing in "editor" (process 100).
class DictationWorld : public ::testing::Test {
protected:
    DictationWorld() {
        recorder.journal = &journal;
        hotkey.journal = &journal;
        insertion.journal = &journal;
        sessions.journal = &journal;
        indicator.journal = &journal;
        sounds.journal = &journal;
        insertion.focused = editor;
        coordinator->setMenuBarController(menu);
        coordinator->setTranscriptWindows(&windows);
    }

    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        chunkDirectory = std::filesystem::temp_directory_path() /
                         ("quillon-dictation-" + std::string(info->name()) + "-" + Uuid::random().toString());
        std::filesystem::create_directories(chunkDirectory);
        recorder.directory = chunkDirectory;
    }

    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(chunkDirectory, ignored);
    }

    // The hotkey's signals, and what the main queue does with them right away.
    void pressStart() {
        hotkey.pressStart();
        main.runUntilIdle();
    }
    void pressStop() {
        hotkey.pressStop();
        main.runUntilIdle();
    }
    // A phrase finalised by the n-th session, on the session's thread.
    void phrase(std::size_t session, const std::string& text, const std::string& accumulated) {
        sessions.session(session)->finalizePhrase(text, accumulated);
        main.runUntilIdle();
    }
    void finishSession(std::size_t session, std::expected<std::string, TranscriptionError> result) {
        sessions.session(session)->finish(std::move(result));
        main.runUntilIdle();
    }

    AppState state() {
        main.runUntilIdle();
        return menu->state();
    }
    std::vector<std::string> errors() const { return log.output.messages(LogLevel::error); }
    std::vector<std::string> infos() const { return log.output.messages(LogLevel::info); }
    std::size_t chunkFilesOnDisk() const {
        std::size_t count = 0;
        for (const auto& file : recorder.chunkFiles) count += std::filesystem::exists(file) ? 1 : 0;
        return count;
    }

    ManualScheduler main;
    ManualScheduler logQueue;
    TestLog log{logQueue};
    CallJournal journal;
    FakeKeyValueStore store;
    FakeLoginItem loginItem;
    SettingsManager settings{store, loginItem, log.logger(LogCategory::settings)};
    FakeDictationRecorder recorder;
    FakeDictationHotkey hotkey;
    FakeTextInsertion insertion;
    FakeSpeechSessionFactory sessions;
    FakeFileTranscriber files;
    FakeRecordingIndicator indicator;
    FakeSoundPlayer sounds;
    LiveTranscriptActivity liveTranscript;
    FakeTranscriptWindows windows;
    FakeStatusItem statusItem;
    FakePasteboard pasteboard;
    std::shared_ptr<MenuBarController> menu =
        std::make_shared<MenuBarController>(main, statusItem, pasteboard, log.logger(LogCategory::app));
    std::unique_ptr<RecordingCoordinator> coordinator = std::make_unique<RecordingCoordinator>(
        RecordingCoordinator::Collaborators{main, recorder, hotkey, insertion, sessions, files, indicator, sounds,
                                            settings, liveTranscript},
        log.logger(LogCategory::app));
    std::shared_ptr<FakeTextElement> editor = FakeTextInsertion::makeField("editor", 100);
    std::shared_ptr<FakeTextElement> notes = FakeTextInsertion::makeField("notes", 200);
    std::filesystem::path chunkDirectory;
};

}  // namespace quillon::testing
