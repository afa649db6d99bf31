#include "core/dictation/RecordingCoordinator.h"

#include "DictationWorld.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using Calls = std::vector<std::string>;

class ImportedMediaTest : public testing::DictationWorld {};

struct ImportCase {
    const char* name;
    std::expected<std::string, TranscriptionError> result;
    std::optional<std::string> shownTranscript;
    std::optional<std::string> shownFailure;
    std::optional<std::string> lastTranscription;
    LogLevel level;
    std::string logged;
};

TEST_F(ImportedMediaTest, ResultGoesToTheJobsWindowAndNeverIntoAField) {
    const std::vector<ImportCase> cases = {
        {"transcript", "Welcome to the meeting.", "Welcome to the meeting.", std::nullopt, "Welcome to the meeting.",
         LogLevel::info, "Imported media transcription complete"},
        // An empty result is tested as it stands; blank text counts as text.
        {"empty", "", "", std::nullopt, std::nullopt, LogLevel::info, "Transcription produced no insertable text"},
        {"failure", std::unexpected(TranscriptionError::noAudioTrack()), std::nullopt,
         "This file does not contain an audio track.", std::nullopt, LogLevel::error,
         "Imported media transcription failed: This file does not contain an audio track."},
    };
    for (std::size_t index = 0; index < cases.size(); ++index) {
        const auto& testCase = cases[index];
        SCOPED_TRACE(testCase.name);
        auto fresh = std::make_shared<MenuBarController>(main, statusItem, pasteboard, log.logger(LogCategory::app));
        coordinator->setMenuBarController(fresh);
        log.output.clear();

        const std::filesystem::path file = "/home/user/Recordings/interview " + std::to_string(index) + ".mp4";
        coordinator->transcribeImportedMedia(file);
        EXPECT_EQ(infos(), (Calls{"Starting imported media transcription: " + file.string()}));
        ASSERT_EQ(windows.windows.size(), index + 1);
        EXPECT_EQ(windows.windows[index].source, file);

        files.complete(index, testCase.result);
        EXPECT_FALSE(windows.windows[index].transcript || windows.windows[index].failure) << "waits for the main thread";
        main.runUntilIdle();

        const auto& window = windows.windows[index];
        EXPECT_EQ(window.transcript, testCase.shownTranscript);
        EXPECT_EQ(window.failure, testCase.shownFailure);
        EXPECT_EQ(window.sourceName, "interview " + std::to_string(index) + ".mp4");
        EXPECT_EQ(fresh->lastTranscription(), testCase.lastTranscription);
        EXPECT_TRUE(log.output.contains(testCase.level, testCase.logged));
    }
    EXPECT_TRUE(insertion.insertions.empty());
    EXPECT_EQ(state(), AppState::idle());
    EXPECT_EQ(indicator.showCount + indicator.hideCount, 0);
}

TEST_F(ImportedMediaTest, ClosedOrMissingWindowsOnlyLeaveTheLog) {
    coordinator->transcribeImportedMedia("/tmp/a.wav");
    windows.windows[0].open = false;
    files.complete(0, "text for nobody");
    main.runUntilIdle();
    EXPECT_FALSE(windows.windows[0].transcript);
    EXPECT_EQ(infos().back(), "Imported media transcription complete");

    coordinator->setTranscriptWindows(nullptr);
    coordinator->transcribeImportedMedia("/tmp/b.wav");
    files.complete(1, std::unexpected(TranscriptionError::audioLoadFailed()));
    main.runUntilIdle();
    EXPECT_EQ(windows.windows.size(), 1u);
    EXPECT_EQ(errors().back(), "Imported media transcription failed: Failed to prepare audio for transcription.");
}

TEST_F(ImportedMediaTest, FileTranscriptionDoesNotDisturbADictation) {
    pressStart();
    coordinator->transcribeImportedMedia("/tmp/lecture.m4a");
    phrase(0, "Dictated.", "Dictated.");
    files.complete(0, "Lecture text.");
    main.runUntilIdle();

    EXPECT_EQ(state(), AppState::recording());
    EXPECT_EQ(insertion.insertedTexts(), (Calls{"Dictated."}));
    EXPECT_EQ(windows.windows[0].transcript, "Lecture text.");
    pressStop();
    finishSession(0, "Dictated.");
    EXPECT_EQ(state(), AppState::idle());
}

TEST_F(ImportedMediaTest, ResultForAGoneCoordinatorIsDropped) {
    coordinator->transcribeImportedMedia("/tmp/a.wav");
    coordinator.reset();
    files.complete(0, "late");
    main.runUntilIdle();
    EXPECT_FALSE(windows.windows[0].transcript);
}

class SoundsTest : public testing::DictationWorld {};

TEST_F(SoundsTest, NoSoundsWhenSoundFeedbackIsOff) {
    settings.setSoundFeedbackEnabled(false);
    pressStart();
    pressStop();
    EXPECT_TRUE(sounds.loaded.empty());
}

TEST_F(SoundsTest, MissingOrBrokenSoundsAreLoggedAndTheRecordingGoesOn) {
    sounds.resources.erase("Start");
    sounds.undecodable.insert("End");
    pressStart();
    pressStop();
    EXPECT_EQ(errors(), (Calls{"Could not find sound file: Start.m4a",
                               "Could not load sound file: /usr/share/quillon/sounds/End.m4a"}));
    EXPECT_EQ(state(), AppState::transcribing());
    EXPECT_EQ(main.pendingCount(), 0u);
}

TEST_F(SoundsTest, PlayingSoundsAreHeldForTwoSecondsAfterTheLastStartedAndThenReleasedTogether) {
    pressStart();
    ASSERT_EQ(sounds.loaded.size(), 1u);
    EXPECT_EQ(sounds.loaded[0].lock()->playCount, 1);
    main.advance(1500ms);
    pressStop();  // the End sound starts while Start is still held
    EXPECT_EQ(sounds.heldCount(), 2u);

    // Start's release drops every sound held, End included.
    main.advance(500ms);
    EXPECT_EQ(sounds.heldCount(), 0u);
    main.advance(2s);
    EXPECT_EQ(main.pendingCount(), 0u);
}

}  // namespace
}  // namespace quillon
